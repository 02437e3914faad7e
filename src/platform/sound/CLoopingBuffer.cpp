#include "platform/sound/CLoopingBuffer.h"

#include <algorithm>

namespace qrn {

CLoopingBuffer::CLoopingBuffer(const SoundFormat& format, std::size_t bytes) : m_format(format), m_bytes(bytes) {}

void CLoopingBuffer::Play(std::chrono::nanoseconds now) {
    if (m_playing) {
        return;
    }
    m_playing = true;
    m_startTime = now;
    m_playedFrames = 0;
}

void CLoopingBuffer::SetCursor(std::size_t offset, std::chrono::nanoseconds now) {
    m_cursor = offset;
    m_startTime = now;
    m_playedFrames = 0;
}

std::uint64_t CLoopingBuffer::FramesUntil(std::chrono::nanoseconds now) const {
    const auto elapsed = std::max(now - m_startTime, std::chrono::nanoseconds::zero());
    // Seconds apart from the rest, so that days of playing do not overflow.
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(elapsed);
    const auto rest = static_cast<std::uint64_t>((elapsed - seconds).count());
    return static_cast<std::uint64_t>(seconds.count()) * m_format.samplesPerSec +
           rest * m_format.samplesPerSec / 1'000'000'000U;
}

std::size_t CLoopingBuffer::Advance(std::chrono::nanoseconds now, CByteQueue& played) {
    if (!m_playing) {
        return 0;
    }
    const std::uint64_t frames = FramesUntil(now);
    if (frames <= m_playedFrames) {
        return 0;
    }
    std::uint64_t due = (frames - m_playedFrames) * m_format.FrameBytes();
    m_playedFrames = frames;
    // After a very long gap only the end of it would stay in the queue: go there at once.
    std::size_t lost = 0;
    const std::uint64_t room = played.Capacity() - played.Capacity() % m_format.FrameBytes();
    if (due > room) {
        lost = due - room;
        m_cursor = (m_cursor + lost) % Size();
        due = room;
    }
    while (due > 0) {
        const std::size_t step = std::min<std::uint64_t>(due, Size() - m_cursor);
        lost += played.Push(std::span(m_bytes).subspan(m_cursor, step));
        m_cursor = (m_cursor + step) % Size();
        due -= step;
    }
    return lost;
}

void CLoopingBuffer::Write(std::size_t offset, std::span<const std::uint8_t> bytes) {
    const std::size_t head = std::min(bytes.size(), Size() - offset);
    std::copy_n(bytes.begin(), head, m_bytes.begin() + static_cast<std::ptrdiff_t>(offset));
    const std::span<const std::uint8_t> tail = bytes.subspan(head);
    std::copy_n(tail.begin(), std::min(tail.size(), Size()), m_bytes.begin());
}

}  // namespace qrn
