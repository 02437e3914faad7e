#pragma once

#include <cstdint>

/// One received or to-be-sent media frame with its RTP facts. Belongs to one thread at a time.
class CPacket {
public:
    CPacket() = default;
    CPacket(const CPacket& other) { *this = other; }
    virtual ~CPacket();

    /// Copies the bytes in use and the facts. The memory held is kept where it is large enough. Without memory for the
    /// bytes the packet is empty (length 0) and has the facts.
    CPacket& operator=(const CPacket& other);

    /// As the assignment, but with room for all that `other` has room for, and its capacity is recorded.
    void CopyAll(const CPacket& other);

    /// Makes room for at least `size` bytes; what the packet held is gone then. @return false without memory.
    bool Allocate(std::uint32_t size);

    std::uint8_t* m_data = nullptr;  ///< owned, or null
    std::uint32_t m_capacity = 0;    ///< bytes that may be used of m_data
    std::uint32_t m_length = 0;      ///< bytes in use
    std::uint32_t m_timestamp = 0;   ///< RTP timestamp of the frame, in milliseconds
    std::uint32_t m_sequence = 0;    ///< RTP sequence number of the frame's last packet
    std::uint32_t m_lost = 0;        ///< 1 when the receiver saw a gap inside or before this frame
    std::uint8_t m_payloadType = 0;  ///< as a character; on a read request a filter, where 0 takes any type

private:
    void CopyFacts(const CPacket& other);
};
