#pragma once
/// Made-up frames in place of sound: what a call of them is asked for.

#include <optional>
#include <string>

namespace qrn {

/// As they are typed; empty: not given.
struct FrameTexts {
    std::string frames;  // BYTES,PER_SECOND[,KEY_BYTES,KEY_EVERY]
    std::string pace;    // BURST,RATE
    std::string stuff;   // BYTES[,PORT]
};

/// A key frame is larger, as an encoder's is.
struct FrameTraffic {
    int bytes = 0;
    double perSecond = 0;
    int keyBytes = 0;
    int keyEvery = 0;  // the first of so many frames is a key frame; 0: none is
};

struct FramePacing {
    int burstPackets = 0;
    int kbps = 0;
};

struct FrameStuffing {
    int bytesPerFrame = 0;
    int port = 0;
};

struct FrameOptions {
    FrameTraffic traffic;
    std::optional<FramePacing> pacing;
    std::optional<FrameStuffing> stuffing;
};

/// What a receiver has room for, and so the most that a frame may have.
inline constexpr int kLargestFrameBytes = 1 << 20;

/// @return nothing when no frames are asked for. @throws CClientError (wrong use) that names the option and what it
/// takes, also for pacing and stuffing without frames.
std::optional<FrameOptions> ParseFrames(const FrameTexts& texts);

}  // namespace qrn
