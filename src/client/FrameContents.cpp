#include "client/FrameContents.h"

namespace qrn {
namespace {

constexpr std::uint32_t kMark = 0x5146524D;  // "QFRM"
constexpr std::size_t kChecksumAt = 24;
constexpr std::size_t kChecksumBytes = 8;

void Put(std::span<std::uint8_t> bytes, std::size_t at, std::size_t count, std::uint64_t value) {
    for (std::size_t i = 0; i < count; ++i) {
        bytes[at + i] = static_cast<std::uint8_t>(value >> (8 * (count - 1 - i)));
    }
}

std::uint64_t Get(std::span<const std::uint8_t> bytes, std::size_t at, std::size_t count) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < count; ++i) {
        value = value << 8 | bytes[at + i];
    }
    return value;
}

std::uint64_t AddToChecksum(std::uint64_t checksum, std::span<const std::uint8_t> bytes) {
    constexpr std::uint64_t kPrime = 0x100000001B3;
    for (const std::uint8_t byte : bytes) {
        checksum = (checksum ^ byte) * kPrime;
    }
    return checksum;
}

std::uint64_t ChecksumOf(std::span<const std::uint8_t> frame) {
    constexpr std::uint64_t kOffsetBasis = 0xCBF29CE484222325;
    return AddToChecksum(AddToChecksum(kOffsetBasis, frame.first(kChecksumAt)),
                         frame.subspan(kChecksumAt + kChecksumBytes));
}

}  // namespace

void WriteFrame(const FrameHeader& header, std::span<std::uint8_t> frame) {
    Put(frame, 0, 4, kMark);
    Put(frame, 4, 4, frame.size());
    Put(frame, 8, 4, header.number);
    Put(frame, 12, 4, header.periodUs);
    Put(frame, 16, 8, static_cast<std::uint64_t>(header.sentAt.count()));
    std::uint32_t state = header.number * 2654435761u + 1;
    for (std::uint8_t& byte : frame.subspan(kFrameHeaderBytes)) {
        state = state * 1664525u + 1013904223u;  // a linear congruential generator, Numerical Recipes' constants
        byte = static_cast<std::uint8_t>(state >> 24);
    }
    Put(frame, kChecksumAt, kChecksumBytes, ChecksumOf(frame));
}

FrameState ReadFrame(std::span<const std::uint8_t> frame, FrameHeader& header) {
    if (frame.size() < kFrameHeaderBytes || Get(frame, 0, 4) != kMark) {
        return FrameState::kForeign;
    }
    header.number = static_cast<std::uint32_t>(Get(frame, 8, 4));
    header.periodUs = static_cast<std::uint32_t>(Get(frame, 12, 4));
    header.sentAt = std::chrono::nanoseconds(static_cast<std::int64_t>(Get(frame, 16, 8)));
    const bool isWhole =
        Get(frame, 4, 4) == frame.size() && Get(frame, kChecksumAt, kChecksumBytes) == ChecksumOf(frame);
    return isWhole ? FrameState::kWhole : FrameState::kDamaged;
}

}  // namespace qrn
