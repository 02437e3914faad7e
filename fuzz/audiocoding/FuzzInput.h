#pragma once
/// Reads the parts of a fuzz input.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>

namespace qrn::fuzz {

/// Reads from the front; past the end everything is zero or empty.
class CInput {
public:
    explicit CInput(std::span<const std::uint8_t> data) : m_data(data) {}

    bool IsEmpty() const { return m_data.empty(); }
    std::uint8_t Byte() {
        const auto bytes = Bytes(1);
        return bytes.empty() ? std::uint8_t{0} : bytes[0];
    }
    std::uint16_t Word() {
        const std::uint8_t low = Byte();
        return static_cast<std::uint16_t>(low | Byte() << 8);
    }
    std::uint32_t DoubleWord() {
        const std::uint32_t low = Word();
        return low | static_cast<std::uint32_t>(Word()) << 16;
    }
    /// As many as there are, at most `length`.
    std::span<const std::uint8_t> Bytes(std::size_t length) {
        const auto bytes = m_data.first(std::min(length, m_data.size()));
        m_data = m_data.subspan(bytes.size());
        return bytes;
    }

private:
    std::span<const std::uint8_t> m_data;
};

/// A copy in a memory block of exactly its size.
class CBlock {
public:
    explicit CBlock(std::span<const std::uint8_t> bytes)
        : m_bytes(std::make_unique<std::uint8_t[]>(bytes.size())),
          m_length(static_cast<int>(bytes.size())) {
        std::copy(bytes.begin(), bytes.end(), m_bytes.get());
    }
    const std::uint8_t* Data() const { return m_bytes.get(); }
    int Length() const { return m_length; }

private:
    const std::unique_ptr<std::uint8_t[]> m_bytes;
    const int m_length;
};

}  // namespace qrn::fuzz
