#pragma once

#include <cstdint>
#include <span>
#include <vector>

/// One received packet, media or parity, in the form that both kinds share: the string that parity is formed over (byte
/// 0 without the version bits, byte 1, length of the payload, timestamp, payload), as long as its packet needs and then
/// zeros up to a multiple of four. Keeps its memory when it is used again. One thread.
class CRtpParityRecord {
public:
    /// @param isParity  payload type 127. @param extendedSequence  of a parity packet the one of its group's base.
    /// @return false for a datagram shorter than its header (12 bytes, 24 of a parity packet) or longer than can be
    /// recorded; the record is empty then. @throws std::bad_alloc, and the record is empty.
    bool Assign(std::span<const std::uint8_t> datagram, bool isParity, std::uint32_t extendedSequence);

    bool IsEmpty() const { return m_recovery.empty(); }
    std::span<const std::uint8_t> Recovery() const { return m_recovery; }
    std::uint32_t Timestamp() const { return m_timestamp; }
    std::uint32_t Ssrc() const { return m_ssrc; }
    std::uint16_t Sequence() const { return m_sequence; }
    std::uint32_t ExtendedSequence() const { return m_extendedSequence; }
    /// The number of the group's first packet; 0 for a media packet.
    std::uint16_t SequenceBase() const { return m_sequenceBase; }
    /// Of the group's members that a parity packet covers the one behind all others, from 0; -1 for none.
    int HighestMember() const { return m_highestMember; }

private:
    void AssignMedia(std::span<const std::uint8_t> datagram);
    void AssignParity(std::span<const std::uint8_t> datagram);

    std::vector<std::uint8_t> m_recovery;
    std::uint32_t m_timestamp = 0;
    std::uint32_t m_ssrc = 0;
    std::uint32_t m_extendedSequence = 0;
    std::uint16_t m_sequence = 0;
    std::uint16_t m_sequenceBase = 0;
    int m_highestMember = -1;
};
