#pragma once
/// Frames from one thread to another over a transport, and what that took.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "transport/Ends.h"

namespace qrn::bench {

struct TransferFigures {
    double seconds = 0;       ///< from the first frame's start to the last one's arrival
    double cpuSeconds = 0;    ///< of both threads; the system's work for a datagram is on its sender's account
    std::uint64_t bytes = 0;  ///< of frames
    std::uint64_t datagrams = 0;
    std::uint64_t systemCalls = 0;  ///< of both ends, waits among them

    double CpuPerGigabyte() const { return cpuSeconds / static_cast<double>(bytes) * 1e9; }
};

/// When the far end looks for frames.
enum class Pattern {
    /// At all times. How often it finds nothing and sleeps, and so has to be woken by the sender, is a matter of luck
    /// and of what else the machine does: wakes may be most of the cost.
    kStream,
    /// Once half a window has been sent. What is measured is the work for the datagrams alone.
    kBatches,
};

/// Sends `frames` frames as fast as the far end takes them: never more than a window is on the way, so that nothing is
/// lost. Every frame's length and number is checked, and of a sample of them every byte. Ends the program if anything
/// is lost or changed.
TransferFigures Transfer(const Transport& transport, Pattern pattern, std::size_t frameBytes, std::size_t frames);

/// Sends a hundred frames a second. @return the microseconds from SendFrame to the whole frame, of each frame.
std::vector<double> MeasureLatency(const Transport& transport, std::size_t frameBytes, std::size_t frames);

}  // namespace qrn::bench
