#pragma once
/// What stands between two clocks: the one by which sound is sent and the one by which a device takes it.

#include <cstdint>
#include <span>

#include "platform/sound/CByteQueue.h"
#include "platform/sound/ISoundSink.h"
#include "platform/system/Lock.h"

namespace qrn {

/// Filled by the feeder (Push), emptied by the device's thread (Pull); neither waits for more than a copy. The device's
/// clock runs a little faster or slower than ours: when the queue has run dry it collects a cushion before it gives
/// anything again, and when it is full the oldest sound goes, down to the cushion. So the delay stays bounded.
class CPlayoutQueue {
public:
    /// @param devicePeriodMs  what the device takes at a time; the cushion is that and one period of the feeder.
    CPlayoutQueue(const SoundFormat& format, std::uint32_t devicePeriodMs);

    void Push(std::span<const std::uint8_t> frames) QRN_EXCLUDES(m_gate);
    /// Fills all of `out`, with silence where there is nothing.
    void Pull(std::span<std::uint8_t> out) QRN_EXCLUDES(m_gate);

private:
    const std::size_t m_cushionBytes;

    CMutex m_gate;
    CByteQueue m_queue QRN_GUARDED_BY(m_gate);
    bool m_collecting QRN_GUARDED_BY(m_gate) = true;
};

}  // namespace qrn
