#pragma once
/// A queue of bytes in memory that is taken once.

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qrn {

/// Keeps the newest bytes when more are pushed than fit. No locks: its user has one.
class CByteQueue {
public:
    explicit CByteQueue(std::size_t capacity);

    std::size_t Size() const { return m_size; }
    std::size_t Capacity() const { return m_bytes.size(); }

    /// @return the number of oldest bytes that gave way.
    std::size_t Push(std::span<const std::uint8_t> bytes);
    /// @return how many bytes were taken: all that fit into `out`, or all there are.
    std::size_t Pop(std::span<std::uint8_t> out);
    /// Throws the oldest bytes away, at most all.
    void Drop(std::size_t bytes);
    void Clear() { Drop(m_size); }

private:
    std::vector<std::uint8_t> m_bytes;
    std::size_t m_first = 0;
    std::size_t m_size = 0;
};

}  // namespace qrn
