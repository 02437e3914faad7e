#pragma once
/// Reading and writing of wire data field by field: network byte order, bounds-checked, no structure laid over bytes.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace qrn {

/// Reads from a view of bytes. A read past the end gives 0 and makes Ok() false for good, so that a parser may read a
/// whole record and look once. The view must outlive the reader.
class CWireReader {
public:
    explicit CWireReader(std::span<const std::uint8_t> bytes) : m_bytes(bytes) {}

    std::uint8_t ReadU8() { return static_cast<std::uint8_t>(Read(1)); }
    std::uint16_t ReadU16() { return static_cast<std::uint16_t>(Read(2)); }
    std::uint32_t ReadU32() { return Read(4); }
    void Skip(std::size_t count) {
        if (Require(count)) {
            m_at += count;
        }
    }
    /// Takes `count` bytes off the end of the view.
    void DropLast(std::size_t count) {
        if (Require(count)) {
            m_bytes = m_bytes.first(m_bytes.size() - count);
        }
    }

    bool Ok() const { return m_ok; }
    std::span<const std::uint8_t> Remaining() const { return m_bytes.subspan(m_at); }

private:
    bool Require(std::size_t count) {
        m_ok = m_ok && m_bytes.size() - m_at >= count;
        return m_ok;
    }
    std::uint32_t Read(std::size_t count) {
        if (!Require(count)) {
            return 0;
        }
        std::uint32_t value = 0;
        for (const std::uint8_t byte : m_bytes.subspan(m_at, count)) {
            value = value << 8 | byte;
        }
        m_at += count;
        return value;
    }

    std::span<const std::uint8_t> m_bytes;
    std::size_t m_at = 0;
    bool m_ok = true;
};

/// Writes into a view of bytes. A write past the end writes nothing and makes Ok() false for good.
class CWireWriter {
public:
    explicit CWireWriter(std::span<std::uint8_t> bytes) : m_bytes(bytes) {}

    void WriteU8(std::uint8_t value) { Write(value, 1); }
    void WriteU16(std::uint16_t value) { Write(value, 2); }
    void WriteU32(std::uint32_t value) { Write(value, 4); }
    void WriteBytes(std::span<const std::uint8_t> bytes) {
        if (Require(bytes.size())) {
            // With pointers: between views g++ 12 copies byte by byte.
            std::copy_n(bytes.data(), bytes.size(), m_bytes.data() + m_at);
            m_at += bytes.size();
        }
    }

    bool Ok() const { return m_ok; }
    std::size_t Written() const { return m_at; }

private:
    bool Require(std::size_t count) {
        m_ok = m_ok && m_bytes.size() - m_at >= count;
        return m_ok;
    }
    void Write(std::uint32_t value, std::size_t count) {
        if (!Require(count)) {
            return;
        }
        for (std::size_t i = count; i > 0; --i) {
            m_bytes[m_at++] = static_cast<std::uint8_t>(value >> 8 * (i - 1));
        }
    }

    std::span<std::uint8_t> m_bytes;
    std::size_t m_at = 0;
    bool m_ok = true;
};

}  // namespace qrn
