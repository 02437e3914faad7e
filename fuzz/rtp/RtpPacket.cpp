// ParseRtpPacket and the parity coder on any datagram; what parses is built again.
//
// Input: the datagram.

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <vector>

#include "rtp/CRtpParityCoder.h"
#include "rtp/RtpPacket.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // A block of the exact size, so that the first byte past it is noticed.
    const std::vector<std::uint8_t> datagram(data, data + size);
    static const auto coder = [] {
        auto made = std::make_unique<CRtpParityCoder>();
        made->SetGroupSize(3);
        return made;
    }();
    const int passed = coder->OnPacketReceived(datagram);
    if (passed > static_cast<int>(size)) {
        std::abort();
    }
    RtpPacketInfo info;
    if (ParseRtpPacket(datagram.data(), static_cast<std::int32_t>(size), info) != 0) {
        return 0;
    }
    const std::span whole(datagram);
    if (info.payload < datagram.data() + qrn::kRtpHeaderBytes || info.payloadLength < 0 ||
        info.payload + info.payloadLength > whole.data() + whole.size() || info.marker > 1 || info.payloadType > 127) {
        std::abort();
    }
    // The same packet in its plainest form says the same.
    const std::span payload(info.payload, static_cast<std::size_t>(info.payloadLength));
    std::vector<std::uint8_t> plain(payload.size() + qrn::kRtpHeaderBytes);
    const std::size_t built = qrn::BuildRtpPacket(
        plain,
        {info.payloadType, info.marker != 0, static_cast<std::uint16_t>(info.sequence), info.timestamp, info.ssrc},
        payload);
    RtpPacketInfo again;
    if (built != plain.size() || ParseRtpPacket(plain.data(), static_cast<std::int32_t>(built), again) != 0 ||
        again.ssrc != info.ssrc || again.timestamp != info.timestamp || again.sequence != info.sequence ||
        again.payloadType != info.payloadType || again.marker != info.marker ||
        again.payloadLength != info.payloadLength) {
        std::abort();
    }
    return 0;
}
