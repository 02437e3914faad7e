#pragma once
/// Where sound goes in the end.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace qrn {

/// Interleaved signed 16-bit samples, little-endian.
struct SoundFormat {
    std::uint32_t samplesPerSec = 0;
    std::uint16_t channels = 0;

    /// One sample of every channel.
    std::size_t FrameBytes() const { return std::size_t{channels} * 2; }
    std::size_t BytesPerSecond() const { return FrameBytes() * samplesPerSec; }
    /// Whole frames, at least one.
    std::size_t BytesOf(std::size_t milliseconds) const {
        const std::size_t frames = std::size_t{samplesPerSec} * milliseconds / 1000;
        return (frames > 0 ? frames : 1) * FrameBytes();
    }

    friend bool operator==(const SoundFormat&, const SoundFormat&) = default;
};

/// Takes sound at the pace at which it is to be heard. Used by one thread at a time.
class ISoundSink {
public:
    virtual ~ISoundSink() = default;

    /// Opens the device or file; called again after Close to get a lost one back.
    /// @return nothing on success, else the reason, for the log.
    virtual std::optional<std::string> Open(const SoundFormat& format) = 0;

    /// Whole frames, in order. May take its time but never waits for the sound to be heard. Allocates nothing.
    /// @return false when the device has gone.
    virtual bool Write(std::span<const std::uint8_t> bytes) = 0;

    /// No effect when closed.
    virtual void Close() = 0;
};

using SoundSinkMaker = std::function<std::unique_ptr<ISoundSink>()>;

}  // namespace qrn
