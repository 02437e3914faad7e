#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <span>

#include "rtp/CRtpParityHistory.h"

/// Forms one XOR packet over each group of media packets (RFC 2733 with small differences: the recovery of the payload
/// type is shifted left, the member mask's low part is little-endian). Nothing rebuilds a lost packet from them: the
/// receiving side only keeps them away from reassembly. The group size may be set from any thread, all else belongs to
/// the thread that sends or receives.
class CRtpParityCoder {
public:
    static constexpr std::uint32_t kLargestGroup = 24;

    /// @param groupSize  media packets for one parity packet; 0 switches parity off, 1 acts as 2, above 24 as 24.
    void SetGroupSize(std::uint32_t groupSize);
    std::uint32_t GroupSize() const { return m_groupSize; }

    /// Takes a sent packet into the group. When that fills the group, the packet in `buffer` is overwritten by the
    /// parity packet, which may be longer.
    /// @param length  of the packet; the parity packet's length afterwards.
    /// @return 0 when the group is not full, the new length when `buffer` holds a parity packet, -19 without a packet,
    /// -11 when the parity packet would be too long; the group is dropped then.
    int AddPacket(std::span<std::uint8_t> buffer, std::int32_t& length, std::uint32_t timestamp);
    /// The same for a packet in two pieces, with the parity packet written apart from it.
    /// @param header  12 bytes. @param parity  room for BytesWith(payload's size); written when the group is full.
    int AddPacket(std::span<const std::uint8_t> header, std::span<const std::uint8_t> payload,
                  std::span<std::uint8_t> parity, std::uint32_t timestamp);
    /// Bytes of the group's parity packet, were it closed by a packet with so much payload.
    std::size_t BytesWith(std::size_t payloadBytes) const;

    /// Looks at a datagram before it is parsed, and keeps it in the history. @return its length when it is to be passed
    /// on, 0 for a parity packet, -14 for what is no packet.
    int OnPacketReceived(std::span<const std::uint8_t> datagram) {
        return m_history.OnPacketReceived(datagram, m_groupSize);
    }
    const CRtpParityHistory& History() const { return m_history; }

    /// Drops the group begun; the numbers of received packets start anew in the history. The numbers of the parity
    /// packets go on.
    void Reset();

private:
    void Accumulate(std::span<const std::uint8_t> header, std::span<const std::uint8_t> payload);
    int WriteParityPacket(std::span<std::uint8_t> buffer, std::uint32_t timestamp);

    std::atomic<std::uint32_t> m_groupSize{0};
    /// The XOR of the recovery strings: byte 0 without the version, byte 1, payload length, timestamp, payload.
    std::array<std::uint8_t, 65536> m_accumulator{};
    std::uint32_t m_count = 0;
    std::uint16_t m_baseSequence = 0;
    std::uint32_t m_lastSsrc = 0;
    std::size_t m_longestPayload = 0;
    std::uint16_t m_maskLow = 0;
    std::uint8_t m_maskHigh = 0;
    std::uint16_t m_paritySequence = 0;
    CRtpParityHistory m_history;  // of the receiving thread
};
