#include "rtp/CRtpParityCoder.h"

#include <algorithm>
#include <cstring>

#include "rtp/RtpErrors.h"
#include "rtp/RtpPacket.h"
#include "rtp/WireCursor.h"

namespace {

constexpr std::size_t kRecoveryHeaderBytes = 8;  // of the recovery string, in front of the payload
constexpr std::uint8_t kVersionMask = 0xC0;
constexpr std::uint8_t kVersion2 = 0x80;
constexpr std::uint8_t kPayloadTypeMask = 0x7F;
constexpr std::uint8_t kMarkerBit = 0x80;
constexpr std::size_t kTooLongBytes = 65536;

/// In blocks, which the compiler makes vectors of: it would do it byte by byte.
void XorInto(std::span<std::uint8_t> target, std::span<const std::uint8_t> source) {
    using Block = std::array<std::uint64_t, 4>;
    std::size_t at = 0;
    for (; at + sizeof(Block) <= source.size(); at += sizeof(Block)) {
        Block a;
        Block b;
        std::memcpy(&a, &target[at], sizeof(Block));
        std::memcpy(&b, &source[at], sizeof(Block));
        for (std::size_t i = 0; i < a.size(); ++i) {
            a[i] ^= b[i];
        }
        std::memcpy(&target[at], &a, sizeof(Block));
    }
    for (; at < source.size(); ++at) {
        target[at] ^= source[at];
    }
}

}  // namespace

void CRtpParityCoder::SetGroupSize(std::uint32_t groupSize) {
    m_groupSize = groupSize == 1 ? 2 : std::min(groupSize, kLargestGroup);
}

int CRtpParityCoder::AddPacket(std::span<std::uint8_t> buffer, std::int32_t& length, std::uint32_t timestamp) {
    if (buffer.data() == nullptr || length <= 0) {
        return qrn::kRtpNullArgument;
    }
    const auto bytes = static_cast<std::size_t>(length);
    if (length < qrn::kRtpHeaderBytes || bytes > buffer.size()) {
        return 0;
    }
    const std::span<const std::uint8_t> packet = buffer.first(bytes);
    const int result =
        AddPacket(packet.first(qrn::kRtpHeaderBytes), packet.subspan(qrn::kRtpHeaderBytes), buffer, timestamp);
    if (result > 0) {
        length = result;
    }
    return result;
}

int CRtpParityCoder::AddPacket(std::span<const std::uint8_t> header, std::span<const std::uint8_t> payload,
                               std::span<std::uint8_t> parity, std::uint32_t timestamp) {
    const std::uint32_t groupSize = m_groupSize;
    if (groupSize == 0) {
        return 0;
    }
    Accumulate(header, payload);
    if (m_count < groupSize) {
        return 0;
    }
    const int parityBytes = WriteParityPacket(parity, timestamp);
    Reset();
    return parityBytes;
}

std::size_t CRtpParityCoder::BytesWith(std::size_t payloadBytes) const {
    return std::max(m_longestPayload, payloadBytes) + qrn::kParityHeaderBytes;
}

void CRtpParityCoder::Accumulate(std::span<const std::uint8_t> header, std::span<const std::uint8_t> payload) {
    qrn::CWireReader reader(header);
    reader.Skip(2);
    const std::uint16_t sequence = reader.ReadU16();
    const std::span<const std::uint8_t> timestampBytes = header.subspan(4, 4);
    reader.Skip(4);
    m_lastSsrc = reader.ReadU32();
    if (m_count == 0) {
        m_baseSequence = sequence;
    }

    const std::span<std::uint8_t> sum(m_accumulator);
    sum[0] ^= header[0] & static_cast<std::uint8_t>(~kVersionMask);
    sum[1] ^= header[1];
    sum[2] ^= static_cast<std::uint8_t>(payload.size() >> 8);
    sum[3] ^= static_cast<std::uint8_t>(payload.size());
    XorInto(sum.subspan(4), timestampBytes);
    XorInto(sum.subspan(kRecoveryHeaderBytes), payload);
    m_longestPayload = std::max(m_longestPayload, payload.size());

    if (m_count < 16) {
        m_maskLow = static_cast<std::uint16_t>(m_maskLow | 1u << m_count);
    } else {
        m_maskHigh = static_cast<std::uint8_t>(m_maskHigh | 1u << (m_count - 16));
    }
    ++m_count;
}

int CRtpParityCoder::WriteParityPacket(std::span<std::uint8_t> buffer, std::uint32_t timestamp) {
    ++m_paritySequence;
    const std::size_t bytes = BytesWith(0);
    const std::span<const std::uint8_t> sum(m_accumulator);
    qrn::CWireWriter writer(buffer);
    writer.WriteU8(static_cast<std::uint8_t>(kVersion2 | sum[0]));
    writer.WriteU8(static_cast<std::uint8_t>((sum[1] & kMarkerBit) | qrn::kPayloadParity));
    writer.WriteU16(m_paritySequence);
    writer.WriteU32(timestamp + 2);
    writer.WriteU32(m_lastSsrc);
    writer.WriteU16(m_baseSequence);
    writer.WriteBytes(sum.subspan(2, 2));
    writer.WriteU8(static_cast<std::uint8_t>((sum[1] & kPayloadTypeMask) << 1));
    writer.WriteU8(m_maskHigh);
    // The one field of the header that is little-endian.
    writer.WriteU8(static_cast<std::uint8_t>(m_maskLow));
    writer.WriteU8(static_cast<std::uint8_t>(m_maskLow >> 8));
    writer.WriteBytes(sum.subspan(4, 4));
    if (bytes >= kTooLongBytes) {
        return qrn::kRtpPacketTooLarge;
    }
    writer.WriteBytes(sum.subspan(kRecoveryHeaderBytes, m_longestPayload));
    return writer.Ok() ? static_cast<int>(bytes) : qrn::kRtpPacketTooLarge;
}

void CRtpParityCoder::Reset() {
    std::fill_n(m_accumulator.data(), kRecoveryHeaderBytes + m_longestPayload, std::uint8_t{0});
    m_count = 0;
    m_baseSequence = 0;
    m_lastSsrc = 0;
    m_longestPayload = 0;
    m_maskLow = 0;
    m_maskHigh = 0;
    m_history.ResetTrackers();
}
