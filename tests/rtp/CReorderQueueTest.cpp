#include "rtp/CReorderQueue.h"

#include <gtest/gtest.h>

#include <string>

#include "TestWire.h"

using qrn::test::Bytes;

namespace {

constexpr std::uint32_t kNoWindow = 0xFFFFFFFF;

class ReorderQueue : public testing::Test {
protected:
    void Insert(std::uint32_t sequence, std::uint32_t expected, std::uint32_t nowMs = 0, std::uint32_t tag = 0) {
        Bytes payload(1 + sequence % 50, static_cast<std::uint8_t>(sequence));
        RtpPacketInfo info;
        info.extendedSequence = sequence;
        info.timestamp = tag;
        info.payload = payload.data();
        info.payloadLength = static_cast<std::int32_t>(payload.size());
        m_queue.Insert(info, expected, nowMs);
    }

    /// The number taken, or -1.
    std::int64_t Take(std::uint32_t expected, std::uint32_t window = kNoWindow, std::uint32_t nowMs = 0) {
        if (!m_queue.Take(expected, window, nowMs, m_taken)) {
            return -1;
        }
        const Bytes payload(m_taken.payload, m_taken.payload + m_taken.payloadLength);
        EXPECT_EQ(payload,
                  Bytes(1 + m_taken.extendedSequence % 50, static_cast<std::uint8_t>(m_taken.extendedSequence)));
        return m_taken.extendedSequence;
    }

    CReorderQueue m_queue;
    RtpPacketInfo m_taken;
};

TEST_F(ReorderQueue, GivesTheExpectedNumbersInOrder) {
    for (const std::uint32_t sequence : {104u, 102u, 105u, 103u}) {
        Insert(sequence, 101);
    }
    EXPECT_EQ(Take(101), -1);
    EXPECT_EQ(Take(102), 102);
    EXPECT_EQ(Take(103), 103);
    EXPECT_EQ(Take(104), 104);
    EXPECT_EQ(Take(106), -1) << "105 is not yet due";
    EXPECT_EQ(Take(105), 105);
    EXPECT_EQ(Take(106), -1);
}

TEST_F(ReorderQueue, AnEqualNumberGoesBehindItsTwin) {
    Insert(50, 40, 0, 1);
    Insert(50, 40, 0, 2);
    EXPECT_EQ(Take(50), 50);
    EXPECT_EQ(m_taken.timestamp, 1u);
    EXPECT_EQ(Take(50), 50);
    EXPECT_EQ(m_taken.timestamp, 2u);
}

TEST_F(ReorderQueue, ReleasesTheHeadAtTheWindow) {
    Insert(110, 101);
    Insert(112, 101);
    EXPECT_EQ(Take(101, 3), -1);
    Insert(111, 101);
    EXPECT_EQ(Take(101, 3), 110);
    EXPECT_EQ(Take(101, 3), -1);
}

TEST_F(ReorderQueue, ReleasesTheHeadByItsAgeAlsoOverTheClocksWrap) {
    const std::uint32_t beforeWrap = 0xFFFFFFF0;
    Insert(110, 101, beforeWrap);
    EXPECT_EQ(Take(101, kNoWindow, beforeWrap + 99), -1);
    EXPECT_EQ(Take(101, kNoWindow, beforeWrap + 100), 110);
}

struct LateCase {
    const char* name;
    std::uint32_t expected;
    std::uint32_t sequence;
    bool kept;
};

void PrintTo(const LateCase& row, std::ostream* stream) {
    *stream << row.name;
}

class ReorderLateness : public ReorderQueue, public testing::WithParamInterface<LateCase> {};

TEST_P(ReorderLateness, DropsWhatIsLate) {
    Insert(GetParam().sequence, GetParam().expected);
    EXPECT_EQ(m_queue.Size(), GetParam().kept ? 1u : 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Edges, ReorderLateness,
    testing::Values(LateCase{"OneBehind", 1000, 999, false}, LateCase{"NineteenBehind", 1000, 981, false},
                    LateCase{"TwentyBehind", 1000, 980, true}, LateCase{"Expected", 1000, 1000, true},
                    LateCase{"Ahead", 1000, 1001, true}, LateCase{"BehindBelowTwenty", 19, 18, true},
                    LateCase{"BehindAtTwenty", 20, 19, false}, LateCase{"FirstNumberAtTwenty", 20, 0, true},
                    LateCase{"SecondNumberAtTwenty", 20, 1, false}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(ReorderQueue, AFullQueueRefusesAndReleasesItsHead) {
    for (std::uint32_t i = 0; i < CReorderQueue::kCapacity + 5; ++i) {
        Insert(1000 + i, 100);
    }
    EXPECT_EQ(m_queue.Size(), CReorderQueue::kCapacity);
    EXPECT_EQ(Take(100), 1000);
    EXPECT_EQ(Take(100), -1);
}

TEST_F(ReorderQueue, WhatWasTakenStaysWhileTheQueueIsEmptied) {
    Insert(50, 40);
    Insert(60, 40);
    ASSERT_EQ(Take(50), 50);
    m_queue.Clear();
    EXPECT_EQ(m_queue.Size(), 0u);
    Insert(70, 60);  // uses the memory that Clear gave free
    EXPECT_EQ(Bytes(m_taken.payload, m_taken.payload + m_taken.payloadLength), Bytes(1, 50));
    EXPECT_EQ(Take(70), 70);
}

TEST_F(ReorderQueue, APacketWithoutPayloadIsHeldToo) {
    RtpPacketInfo info;
    info.extendedSequence = 60;
    m_queue.Insert(info, 50, 0);
    ASSERT_TRUE(m_queue.Take(60, kNoWindow, 0, m_taken));
    EXPECT_EQ(m_taken.payloadLength, 0);
}

}  // namespace
