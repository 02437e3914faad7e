#include "client/PacketCheck.h"

namespace qrn {
namespace {

constexpr std::size_t kGsmFrameBytes = 33;

/// A GSM 06.10 frame in libgsm's form begins with the nibble 0xD.
bool LooksLikeGsm(std::span<const BYTE> frame) {
    for (std::size_t i = 0; i < frame.size(); i += kGsmFrameBytes) {
        if (frame[i] >> 4 != 0xD) {
            return false;
        }
    }
    return true;
}

/// One channel's packet (RFC 6716, section 3.2): two frames of equal length stand behind one byte.
bool LooksLikeOpus(std::span<const BYTE> part) {
    constexpr int kTwoEqualFrames = 1;
    return !part.empty() && ((part[0] & 3) != kTwoEqualFrames || part.size() % 2 == 1);
}

}  // namespace

std::optional<std::size_t> ExpectedFrameBytes(const CodecInfo& codec, const WAVEFORMATEX& codedType) {
    const bool constantRate = codec.payloadType == 112;
    if (!constantRate || codedType.nSamplesPerSec == 0) {
        return std::nullopt;
    }
    // nSamplesPerSec of a coded type is its bytes per second of one channel.
    return static_cast<std::size_t>(codedType.nSamplesPerSec) * codedType.nChannels *
           static_cast<std::size_t>(codec.packetMs) / 1000;
}

std::optional<std::string> FindFrameFault(const CodecInfo& codec, int channels,
                                          std::optional<std::size_t> expectedBytes, std::span<const BYTE> frame) {
    if (expectedBytes && frame.size() != *expectedBytes) {
        return "of " + std::to_string(frame.size()) + " bytes instead of " + std::to_string(*expectedBytes);
    }
    if (codec.id == 0 && !LooksLikeGsm(frame)) {
        return "without the mark of GSM frames";
    }
    if (codec.id != 5) {
        return std::nullopt;
    }
    const std::size_t part = frame.size() / static_cast<std::size_t>(channels);
    if (frame.size() % static_cast<std::size_t>(channels) != 0 || !LooksLikeOpus(frame.first(part)) ||
        !LooksLikeOpus(frame.last(part))) {
        return "that are no Opus packets of " + std::to_string(channels) + (channels == 1 ? " channel" : " channels");
    }
    return std::nullopt;
}

}  // namespace qrn
