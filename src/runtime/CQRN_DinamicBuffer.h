#pragma once

#include <cstdint>

/// A byte buffer that grows. Belongs to one thread at a time. Without memory a copy leaves it empty.
class CQRN_DinamicBuffer {
public:
    CQRN_DinamicBuffer() = default;
    CQRN_DinamicBuffer(const CQRN_DinamicBuffer& other) { *this = other; }
    virtual ~CQRN_DinamicBuffer();

    /// Copies the whole capacity of `other`, and its numbers: the capacity recorded may fall below the memory held.
    CQRN_DinamicBuffer& operator=(const CQRN_DinamicBuffer& other);

    /// Grows to at least `size` bytes. When it grows the bytes survive and the length does not: it is 0 afterwards, and
    /// the caller sets it. Without memory the capacity stays below `size`.
    void Reserve(std::uint32_t size);

    /// Replaces the contents; never shrinks.
    void Assign(const std::uint8_t* bytes, std::uint32_t size);

    std::uint8_t* m_data = nullptr;  ///< owned, or null
    std::uint32_t m_capacity = 0;    ///< bytes that may be used of m_data
    std::uint32_t m_length = 0;      ///< bytes in use
};
