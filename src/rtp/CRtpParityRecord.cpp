#include "rtp/CRtpParityRecord.h"

#include <algorithm>
#include <bit>

#include "rtp/RtpPacket.h"
#include "rtp/WireCursor.h"

namespace {

constexpr std::size_t kRecoveryHeaderBytes = 8;
constexpr std::size_t kLongestRecovery = 65535;
constexpr std::uint8_t kVersionMask = 0xC0;
constexpr std::uint8_t kMarkerBit = 0x80;

constexpr std::size_t RoundedToWords(std::size_t bytes) {
    return (bytes + 3) / 4 * 4;
}

}  // namespace

bool CRtpParityRecord::Assign(std::span<const std::uint8_t> datagram, bool isParity, std::uint32_t extendedSequence) {
    m_recovery.clear();
    const auto headerBytes = static_cast<std::size_t>(isParity ? qrn::kParityHeaderBytes : qrn::kRtpHeaderBytes);
    if (datagram.size() < headerBytes) {
        return false;
    }
    const std::span<const std::uint8_t> payload = datagram.subspan(headerBytes);
    const std::size_t recoveryBytes = RoundedToWords(kRecoveryHeaderBytes + payload.size());
    if (recoveryBytes > kLongestRecovery) {
        return false;
    }
    m_recovery.reserve(recoveryBytes);
    m_recovery.resize(kRecoveryHeaderBytes);
    m_recovery.insert(m_recovery.end(), payload.begin(), payload.end());
    m_recovery.resize(recoveryBytes);

    qrn::CWireReader reader(datagram);
    reader.Skip(2);
    m_sequence = reader.ReadU16();
    m_timestamp = reader.ReadU32();
    m_ssrc = reader.ReadU32();
    m_extendedSequence = extendedSequence;
    m_recovery[0] = datagram[0] & static_cast<std::uint8_t>(~kVersionMask);
    if (isParity) {
        AssignParity(datagram);
    } else {
        AssignMedia(datagram);
    }
    return true;
}

void CRtpParityRecord::AssignMedia(std::span<const std::uint8_t> datagram) {
    m_sequenceBase = 0;
    m_highestMember = -1;
    const std::size_t payloadBytes = datagram.size() - qrn::kRtpHeaderBytes;
    const std::span<std::uint8_t> recovery(m_recovery);
    qrn::CWireWriter writer(recovery.subspan(1));
    writer.WriteU8(datagram[1]);
    writer.WriteU16(static_cast<std::uint16_t>(payloadBytes));
    writer.WriteBytes(datagram.subspan(4, 4));
}

void CRtpParityRecord::AssignParity(std::span<const std::uint8_t> datagram) {
    // The packet's own fields behind the RTP header: base, length, payload type, mask, timestamp.
    qrn::CWireReader reader(datagram.subspan(qrn::kRtpHeaderBytes));
    m_sequenceBase = reader.ReadU16();
    const std::uint16_t length = reader.ReadU16();
    const std::uint8_t payloadType = reader.ReadU8();
    const std::uint32_t maskHigh = reader.ReadU8();
    // The one field that is little-endian.
    const std::uint32_t maskLow = reader.ReadU8();
    const std::uint32_t maskMiddle = reader.ReadU8();
    const std::uint32_t mask = maskHigh << 16 | maskMiddle << 8 | maskLow;
    m_highestMember = static_cast<int>(std::bit_width(mask)) - 1;

    const std::span<std::uint8_t> recovery(m_recovery);
    qrn::CWireWriter writer(recovery.subspan(1));
    writer.WriteU8(static_cast<std::uint8_t>((datagram[1] & kMarkerBit) | payloadType >> 1));
    writer.WriteU16(length);
    writer.WriteU32(reader.ReadU32());
}
