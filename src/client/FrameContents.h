#pragma once
/// What is in a made-up frame: enough for the far end to know it again and to find it damaged or late.

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>

namespace qrn {

struct FrameHeader {
    std::uint32_t number = 0;
    std::uint32_t periodUs = 0;          // from one frame to the next
    std::chrono::nanoseconds sentAt{0};  // on the sending machine's wall clock, when the frame was made
};

/// Big-endian: the mark "QFRM", length of the whole frame, number, period (32 bits each), time (64), checksum (64). The
/// checksum is FNV-1a (64 bits; Fowler, Noll, Vo, draft-eastlake-fnv) over all the rest.
inline constexpr std::size_t kFrameHeaderBytes = 32;

/// @param frame  at least kFrameHeaderBytes. What is behind the header differs from frame to frame.
void WriteFrame(const FrameHeader& header, std::span<std::uint8_t> frame);

enum class FrameState {
    kWhole,
    kDamaged,
    kForeign,  // no frame of this program
};

/// @param header  written unless the frame is foreign; of a damaged one it may be wrong.
FrameState ReadFrame(std::span<const std::uint8_t> frame, FrameHeader& header);

}  // namespace qrn
