#include "client/FrameOptions.h"

#include <cmath>

#include "client/FrameContents.h"
#include "client/OptionParsing.h"

namespace qrn {
namespace {

constexpr int kSmallestFrameBytes = static_cast<int>(kFrameHeaderBytes);
// A receiver's pin takes up to 10 ms for a frame.
constexpr double kMostFramesPerSecond = 100;
constexpr int kMostFrames = 1'000'000;
constexpr int kMostBurstPackets = 1000;
constexpr int kMostKbps = 10'000'000;
constexpr int kLargestPort = 65535;
// RFC 863: what comes there is thrown away.
constexpr int kDiscardPort = 9;

FrameTraffic ParseTraffic(const std::string& text) {
    constexpr const char* kOption = "--frames";
    const auto parts = SplitAtCommas(text);
    if (parts.size() != 2 && parts.size() != 4) {
        RefuseUse("--frames: '" + text + "' is not of the form BYTES,PER_SECOND[,KEY_BYTES,KEY_EVERY]");
    }
    FrameTraffic traffic;
    traffic.bytes = ParseIntegerIn(kOption, parts[0], kSmallestFrameBytes, kLargestFrameBytes);
    traffic.perSecond = ParseNumber<double>(kOption, parts[1]);
    if (!(traffic.perSecond >= 1 && traffic.perSecond <= kMostFramesPerSecond)) {
        RefuseUse("--frames: " + parts[1] + " frames a second are not between 1 and 100");
    }
    if (parts.size() == 4) {
        traffic.keyBytes = ParseIntegerIn(kOption, parts[2], kSmallestFrameBytes, kLargestFrameBytes);
        traffic.keyEvery = ParseIntegerIn(kOption, parts[3], 1, kMostFrames);
    }
    return traffic;
}

FramePacing ParsePacing(const std::string& text) {
    const auto parts = SplitAtCommas(text);
    if (parts.size() != 2) {
        RefuseUse("--pace: '" + text + "' is not of the form BURST,RATE: packets, and kbit/s");
    }
    return {ParseIntegerIn("--pace", parts[0], 1, kMostBurstPackets), ParseIntegerIn("--pace", parts[1], 1, kMostKbps)};
}

FrameStuffing ParseStuffing(const std::string& text) {
    const auto parts = SplitAtCommas(text);
    if (parts.size() > 2) {
        RefuseUse("--stuff: '" + text + "' is not of the form BYTES[,PORT]");
    }
    return {ParseIntegerIn("--stuff", parts[0], 1, kLargestFrameBytes),
            parts.size() == 2 ? ParseIntegerIn("--stuff", parts[1], 1, kLargestPort) : kDiscardPort};
}

}  // namespace

std::optional<FrameOptions> ParseFrames(const FrameTexts& texts) {
    if (texts.frames.empty()) {
        for (const auto& [option, text] : {std::pair<const char*, const std::string&>{"--pace", texts.pace},
                                           std::pair<const char*, const std::string&>{"--stuff", texts.stuff}}) {
            if (!text.empty()) {
                RefuseUse(std::string(option) +
                          " is for frames (--frames): sound leaves packet by packet, as it comes");
            }
        }
        return std::nullopt;
    }
    FrameOptions frames;
    frames.traffic = ParseTraffic(texts.frames);
    if (!texts.pace.empty()) {
        frames.pacing = ParsePacing(texts.pace);
    }
    if (!texts.stuff.empty()) {
        frames.stuffing = ParseStuffing(texts.stuff);
    }
    return frames;
}

}  // namespace qrn
