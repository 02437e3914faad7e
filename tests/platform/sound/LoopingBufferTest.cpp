#include "platform/sound/CLoopingBuffer.h"

#include <gtest/gtest.h>

#include <numeric>

namespace {

using namespace std::chrono_literals;
using qrn::CByteQueue;
using qrn::CLoopingBuffer;
using qrn::SoundFormat;
using Bytes = std::vector<std::uint8_t>;

constexpr std::chrono::nanoseconds kStart = 5s;

Bytes Ramp(std::size_t count, std::uint8_t first = 0) {
    Bytes bytes(count);
    std::iota(bytes.begin(), bytes.end(), first);
    return bytes;
}

Bytes TakeAll(CByteQueue& queue) {
    Bytes bytes(queue.Size());
    queue.Pop(bytes);
    return bytes;
}

struct CursorCase {
    const char* name;
    SoundFormat format;
    std::size_t bufferBytes;
    std::chrono::nanoseconds elapsed;
    std::size_t cursor;
};

class CursorAt : public testing::TestWithParam<CursorCase> {};

TEST_P(CursorAt, IsWhatTheTimeSays) {
    const CursorCase& c = GetParam();
    CLoopingBuffer once(c.format, c.bufferBytes);
    CByteQueue played(c.format.BytesOf(1000));
    once.Play(kStart);
    once.Advance(kStart + c.elapsed, played);
    EXPECT_EQ(once.Cursor(), c.cursor);

    // However often anybody looks on the way.
    CLoopingBuffer often(c.format, c.bufferBytes);
    often.Play(kStart);
    for (int i = 1; i <= 1000; ++i) {
        often.Advance(kStart + c.elapsed / 1000 * i, played);
    }
    often.Advance(kStart + c.elapsed, played);
    EXPECT_EQ(often.Cursor(), c.cursor);
}

INSTANTIATE_TEST_SUITE_P(
    Times, CursorAt,
    testing::Values(CursorCase{"None", {8000, 1}, 7680, 0ns, 0},
                    CursorCase{"BelowAFrame", {8000, 1}, 7680, 124999ns, 0},
                    CursorCase{"OneFrame", {8000, 1}, 7680, 125us, 2},
                    CursorCase{"JustBeforeTheEnd", {8000, 1}, 7680, 480ms - 1ns, 7678},
                    CursorCase{"TheEnd", {8000, 1}, 7680, 480ms, 0},
                    CursorCase{"StereoTenMilliseconds", {48000, 2}, 11520, 10ms, 1920},
                    // 44100 frames a second are not whole in a millisecond: floor(44.1 * 7) = 308.
                    CursorCase{"BrokenFrames", {44100, 2}, 100000, 7ms, 308 * 4},
                    // 10 days of 192000 bytes a second, modulo 11520 bytes.
                    CursorCase{"TenDays", {48000, 2}, 11520, 240h + 10ms, (864000ULL * 192000 + 1920) % 11520},
                    // Frames of 4 bytes in 4 * 3 + 1 bytes: after 5 frames 20 bytes, that is 7 into the second round.
                    CursorCase{"BufferOfBrokenFrames", {1000, 2}, 13, 5ms, 7}),
    [](const auto& c) { return std::string(c.param.name); });

TEST(LoopingBuffer, HandsOverWhatTheCursorPassesRoundAndRound) {
    CLoopingBuffer buffer({1000, 1}, 8);
    CByteQueue played(2000);
    buffer.Write(0, Ramp(8));
    buffer.Play(kStart);
    EXPECT_EQ(buffer.Advance(kStart + 3ms, played), 0U);
    EXPECT_EQ(TakeAll(played), Ramp(6));
    buffer.Advance(kStart + 13ms, played);
    EXPECT_EQ(TakeAll(played), (Bytes{6, 7, 0, 1, 2, 3, 4, 5, 6, 7, 0, 1, 2, 3, 4, 5, 6, 7, 0, 1}));
}

TEST(LoopingBuffer, WriteGoesRoundTheEnd) {
    CLoopingBuffer buffer({1000, 1}, 8);
    CByteQueue played(2000);
    buffer.Write(6, Bytes{1, 2, 3, 4});
    buffer.Play(kStart);
    buffer.Advance(kStart + 4ms, played);
    EXPECT_EQ(TakeAll(played), (Bytes{3, 4, 0, 0, 0, 0, 1, 2}));
}

TEST(LoopingBuffer, StandsWhileStoppedAndGoesOnFromThere) {
    CLoopingBuffer buffer({1000, 1}, 100);
    CByteQueue played(2000);
    buffer.Play(kStart);
    buffer.Advance(kStart + 5ms, played);
    buffer.Stop();
    buffer.Advance(kStart + 1s, played);
    EXPECT_EQ(buffer.Cursor(), 10U);
    buffer.Play(kStart + 2s);
    buffer.Play(kStart + 2s + 1ms);  // has no effect while playing
    buffer.Advance(kStart + 2s + 2ms, played);
    EXPECT_EQ(buffer.Cursor(), 14U);
    EXPECT_EQ(played.Size(), 14U);
}

TEST(LoopingBuffer, ALongGapKeepsItsEndAndCountsWhatIsLost) {
    CLoopingBuffer buffer({1000, 1}, 6);
    CByteQueue played(4);
    buffer.Write(0, Ramp(6));
    buffer.Play(kStart);
    EXPECT_EQ(buffer.Advance(kStart + 24h + 1ms, played), 86400ULL * 2000 + 2 - 4);
    // 86400001 frames: 2 bytes into a round of 6.
    EXPECT_EQ(buffer.Cursor(), (86400001ULL * 2) % 6);
    const Bytes heard = TakeAll(played);
    const auto at = static_cast<std::uint8_t>(buffer.Cursor());
    EXPECT_EQ(heard, (Bytes{static_cast<std::uint8_t>((at + 2) % 6), static_cast<std::uint8_t>((at + 3) % 6),
                            static_cast<std::uint8_t>((at + 4) % 6), static_cast<std::uint8_t>((at + 5) % 6)}));
}

TEST(LoopingBuffer, AClockThatStandsMovesNothing) {
    CLoopingBuffer buffer({8000, 1}, 100);
    CByteQueue played(100);
    buffer.Play(kStart);
    buffer.Advance(kStart + 1ms, played);
    buffer.Advance(kStart + 1ms, played);
    buffer.Advance(kStart - 1ms, played);
    EXPECT_EQ(buffer.Cursor(), 16U);
}

TEST(ByteQueue, TheOldestGivesWay) {
    CByteQueue queue(5);
    EXPECT_EQ(queue.Push(Ramp(4)), 0U);
    EXPECT_EQ(queue.Push(Ramp(3, 4)), 2U);
    EXPECT_EQ(TakeAll(queue), Ramp(5, 2));
    EXPECT_EQ(queue.Push(Ramp(9)), 4U);
    EXPECT_EQ(TakeAll(queue), Ramp(5, 4));
}

TEST(ByteQueue, TakesPartsAcrossItsEnd) {
    CByteQueue queue(4);
    Bytes out(3);
    queue.Push(Ramp(3));
    EXPECT_EQ(queue.Pop(out), 3U);
    queue.Push(Ramp(4, 10));
    EXPECT_EQ(queue.Pop(out), 3U);
    EXPECT_EQ(out, Ramp(3, 10));
    EXPECT_EQ(queue.Pop(out), 1U);
    EXPECT_EQ(out[0], 13);
    EXPECT_EQ(queue.Pop(out), 0U);
}

}  // namespace
