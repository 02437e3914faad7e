#include "rtp/RtpPacket.h"

#include "rtp/WireCursor.h"

namespace qrn {
namespace {

// RFC 3550 section 5.1: V(2) P(1) X(1) CC(4), M(1) PT(7).
constexpr std::uint8_t kVersionMask = 0xC0;
constexpr std::uint8_t kVersion2 = 0x80;
constexpr std::uint8_t kPaddingBit = 0x20;
constexpr std::uint8_t kExtensionBit = 0x10;
constexpr std::uint8_t kCsrcCountMask = 0x0F;
constexpr std::uint8_t kMarkerBit = 0x80;
constexpr std::uint8_t kPayloadTypeMask = 0x7F;

/// Takes the CSRC list, the extension and the padding off. False when the datagram is too short for what it announces.
bool StripToPayload(CWireReader& reader, std::uint8_t firstByte) {
    reader.Skip(4u * (firstByte & kCsrcCountMask));
    if ((firstByte & kExtensionBit) != 0) {
        reader.Skip(2);  // the profile's own word
        reader.Skip(std::size_t{4} * reader.ReadU16());
    }
    if ((firstByte & kPaddingBit) != 0 && reader.Ok()) {
        if (reader.Remaining().empty()) {
            return false;
        }
        // A count of 0 is against the RFC but harmless: it takes nothing off.
        reader.DropLast(reader.Remaining().back());
    }
    return reader.Ok();
}

}  // namespace

std::uint8_t PayloadTypeOfVideo(std::uint32_t encoder) {
    switch (encoder) {
        case 3:
            return kPayloadTheora;
        case 4:
            return kPayloadH264;
        case 5:
            return kPayloadVc1;
        case 6:
            return kPayloadVp8;
        default:
            return kPayloadVideo;
    }
}

std::size_t BuildRtpPacket(std::span<std::uint8_t> packet, const RtpHeader& header,
                           std::span<const std::uint8_t> payload) {
    CWireWriter writer(packet);
    writer.WriteU8(kVersion2);
    writer.WriteU8(
        static_cast<std::uint8_t>((header.marker ? kMarkerBit : 0) | (header.payloadType & kPayloadTypeMask)));
    writer.WriteU16(header.sequence);
    writer.WriteU32(header.timestamp);
    writer.WriteU32(header.ssrc);
    writer.WriteBytes(payload);
    return writer.Ok() ? writer.Written() : 0;
}

}  // namespace qrn

int ParseRtpPacket(const std::uint8_t* buffer, std::int32_t length, RtpPacketInfo& info) {
    if (buffer == nullptr || length < qrn::kRtpHeaderBytes) {
        return -1;
    }
    qrn::CWireReader reader(std::span(buffer, static_cast<std::size_t>(length)));
    const std::uint8_t first = reader.ReadU8();
    const std::uint8_t second = reader.ReadU8();
    const std::uint16_t sequence = reader.ReadU16();
    const std::uint32_t timestamp = reader.ReadU32();
    const std::uint32_t ssrc = reader.ReadU32();
    if ((first & qrn::kVersionMask) != qrn::kVersion2 || !qrn::StripToPayload(reader, first)) {
        return -1;
    }
    const std::span<const std::uint8_t> payload = reader.Remaining();
    info.ssrc = ssrc;
    info.timestamp = timestamp;
    info.sequence = sequence;
    info.extendedSequence = sequence;
    info.payloadType = second & qrn::kPayloadTypeMask;
    info.marker = (second & qrn::kMarkerBit) != 0 ? 1 : 0;
    info.payload = payload.data();
    info.payloadLength = static_cast<std::int32_t>(payload.size());
    return 0;
}
