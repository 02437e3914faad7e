#include "engines/MediaData.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>

namespace {

using UMC::MediaData;

TEST(MediaData, WrapsABufferWithoutItsBytesBeingData) {
    std::array<std::uint8_t, 10> bytes{};
    MediaData data;
    ASSERT_EQ(data.SetBufferPointer(bytes.data(), bytes.size()), UMC::kOk);
    EXPECT_EQ(data.GetBufferPointer(), bytes.data());
    EXPECT_EQ(data.GetBufferSize(), 10U);
    EXPECT_EQ(data.GetDataSize(), 0U);
    EXPECT_EQ(data.SetDataSize(10), UMC::kOk);
    EXPECT_EQ(data.SetBufferPointer(bytes.data(), 10), UMC::kOk);
    EXPECT_EQ(data.GetDataSize(), 0U);
    EXPECT_EQ(data.SetBufferPointer(nullptr, 10), UMC::kBadArgument);
}

struct MoveCase {
    std::size_t dataSize;
    std::ptrdiff_t first, second;
    UMC::Status status;  // of the second move
    std::ptrdiff_t position;
    std::size_t left;
};

TEST(MediaData, TheDataPointerStaysWithinTheBuffer) {
    constexpr std::ptrdiff_t kFar = std::numeric_limits<std::ptrdiff_t>::max();
    const MoveCase cases[] = {
        {8, 0, 3, UMC::kOk, 3, 5},
        {8, 3, -3, UMC::kOk, 0, 8},
        {8, 0, 10, UMC::kOk, 10, 0},
        {8, 3, 8, UMC::kOutOfRange, 3, 5},
        {8, 3, -4, UMC::kOutOfRange, 3, 5},
        {8, 3, kFar, UMC::kOutOfRange, 3, 5},
        {8, 3, -kFar, UMC::kOutOfRange, 3, 5},
    };
    std::array<std::uint8_t, 10> bytes{};
    for (const MoveCase& row : cases) {
        SCOPED_TRACE(row.second);
        MediaData data;
        data.SetBufferPointer(bytes.data(), bytes.size());
        data.SetDataSize(row.dataSize);
        ASSERT_EQ(data.MoveDataPointer(row.first), UMC::kOk);
        EXPECT_EQ(data.MoveDataPointer(row.second), row.status);
        EXPECT_EQ(data.GetDataPointer() - data.GetBufferPointer(), row.position);
        EXPECT_EQ(data.GetDataSize(), row.left);
        EXPECT_EQ(data.SetDataSize(static_cast<std::size_t>(10 - row.position) + 1), UMC::kOutOfRange);
        EXPECT_EQ(data.SetDataSize(std::numeric_limits<std::size_t>::max()), UMC::kOutOfRange);
        EXPECT_EQ(data.GetDataSize(), row.left);
    }
    MediaData none;
    EXPECT_EQ(none.MoveDataPointer(0), UMC::kOk);
    EXPECT_EQ(none.MoveDataPointer(1), UMC::kOutOfRange);
    EXPECT_EQ(none.SetDataSize(1), UMC::kOutOfRange);
}

TEST(MediaData, ResetForgetsAllButTheBuffer) {
    MediaData data;
    ASSERT_EQ(data.Alloc(16), UMC::kOk);
    data.SetDataSize(8);
    data.MoveDataPointer(4);
    data.SetTime(1.0, 2.0);
    data.SetFrameType(UMC::kFrameI);
    data.SetInvalid(true);
    data.Reset();
    double start = 0;
    double end = 0;
    data.GetTime(start, end);
    EXPECT_EQ(start, -1.0);
    EXPECT_EQ(end, -1.0);
    EXPECT_EQ(data.GetDataPointer(), data.GetBufferPointer());
    EXPECT_NE(data.GetBufferPointer(), nullptr);
    EXPECT_EQ(data.GetBufferSize(), 16U);
    EXPECT_EQ(data.GetDataSize(), 0U);
    EXPECT_EQ(data.GetFrameType(), UMC::kFrameNone);
    EXPECT_FALSE(data.IsInvalid());
}

TEST(MediaData, AllocThatFailsLeavesNothing) {
    MediaData data;
    ASSERT_EQ(data.Alloc(16), UMC::kOk);
    EXPECT_EQ(data.Alloc(std::numeric_limits<std::size_t>::max()), UMC::kNoMemory);
    EXPECT_EQ(data.GetBufferPointer(), nullptr);
    EXPECT_EQ(data.GetBufferSize(), 0U);
}

TEST(MediaData, MovesItsDataBehindAnothers) {
    std::array<std::uint8_t, 4> from{1, 2, 3, 4};
    std::array<std::uint8_t, 6> to{9, 9, 9, 9, 9, 9};
    MediaData source;
    MediaData target;
    source.SetBufferPointer(from.data(), from.size());
    source.SetDataSize(4);
    source.SetTime(3.0, 4.0);
    source.SetFrameType(UMC::kFrameP);
    target.SetBufferPointer(to.data(), to.size());
    target.SetDataSize(3);
    EXPECT_EQ(source.MoveDataTo(target), UMC::kOutOfRange);
    EXPECT_EQ(source.GetDataSize(), 4U);
    target.SetDataSize(2);
    EXPECT_EQ(source.MoveDataTo(target), UMC::kOk);
    EXPECT_EQ(to, (std::array<std::uint8_t, 6>{9, 9, 1, 2, 3, 4}));
    EXPECT_EQ(target.GetDataSize(), 6U);
    EXPECT_EQ(target.GetFrameType(), UMC::kFrameP);
    EXPECT_EQ(source.GetDataSize(), 0U);
    EXPECT_EQ(source.MoveDataTo(source), UMC::kBadArgument);
}

}  // namespace
