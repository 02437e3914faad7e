#pragma once
/// A circle of sound with a play cursor that time moves.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/sound/CByteQueue.h"
#include "platform/sound/ISoundSink.h"

namespace qrn {

/// The cursor stands where the time given says, exactly to the frame: it neither drifts nor depends on how often
/// anybody looks. `now` is one monotonic clock's time in every call. No locks: its user has one.
class CLoopingBuffer {
public:
    /// Silent and stopped at 0. @param bytes  at least 1; need not be whole frames.
    CLoopingBuffer(const SoundFormat& format, std::size_t bytes);

    std::size_t Size() const { return m_bytes.size(); }
    bool IsPlaying() const { return m_playing; }

    void Play(std::chrono::nanoseconds now);
    /// Call Advance first, or the time since the last one is lost.
    void Stop() { m_playing = false; }
    /// @param offset  below Size(). As Stop: Advance first.
    void SetCursor(std::size_t offset, std::chrono::nanoseconds now);

    /// Moves the cursor on to where it stands now and hands over what it passed, round and round as often as it went.
    /// @return bytes that `played` had no room for.
    std::size_t Advance(std::chrono::nanoseconds now, CByteQueue& played);
    /// Where Advance left it.
    std::size_t Cursor() const { return m_cursor; }

    /// Changes what is played when the cursor comes by. @param offset  below Size(); goes round the end.
    void Write(std::size_t offset, std::span<const std::uint8_t> bytes);

private:
    std::uint64_t FramesUntil(std::chrono::nanoseconds now) const;

    const SoundFormat m_format;
    std::vector<std::uint8_t> m_bytes;
    std::size_t m_cursor = 0;
    bool m_playing = false;
    std::chrono::nanoseconds m_startTime{};
    std::uint64_t m_playedFrames = 0;  // since m_startTime
};

}  // namespace qrn
