#include "rtp/CRtpParityHistory.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TestWire.h"
#include "rtp/CRtpParityCoder.h"

using qrn::test::Bytes;
using qrn::test::Encode;
using qrn::test::WirePacket;

namespace {

constexpr std::uint32_t kGroup = 3;

Bytes RecoveryOf(const CRtpParityRecord& record) {
    return {record.Recovery().begin(), record.Recovery().end()};
}

std::vector<std::uint32_t> NumbersOf(const CRtpParityHistory::CList& list) {
    std::vector<std::uint32_t> numbers;
    for (std::size_t i = 0; i < list.Size(); ++i) {
        numbers.push_back(list[i].ExtendedSequence());
    }
    return numbers;
}

/// A parity packet by hand: 24 bytes of header with the given mask bytes 17 to 19, and 3 of payload.
Bytes Parity(std::uint16_t base, std::array<std::uint8_t, 3> mask = {0, 7, 0}) {
    return {0x85,
            0xFF,
            0x01,
            0x02,
            0x11,
            0x12,
            0x13,
            0x14,
            0x21,
            0x22,
            0x23,
            0x24,
            static_cast<std::uint8_t>(base / 256),
            static_cast<std::uint8_t>(base % 256),
            0x0A,
            0x0B,
            0xE3,
            mask[0],
            mask[1],
            mask[2],
            0x31,
            0x32,
            0x33,
            0x34,
            0x41,
            0x42,
            0x43};
}

TEST(ParityHistory, BothKindsAreKeptInOneForm) {
    CRtpParityHistory history;
    EXPECT_EQ(
        history.OnPacketReceived(
            Encode(
                {.sequence = 0x0506, .timestamp = 0x01020304, .marker = true, .payload = "abcde", .ssrc = 0xA1A2A3A4}),
            kGroup),
        17);
    EXPECT_EQ(history.OnPacketReceived(Parity(0x0504), kGroup), 0);
    ASSERT_EQ(history.Media().Size(), 1u);
    ASSERT_EQ(history.Parity().Size(), 1u);

    const CRtpParityRecord& media = history.Media()[0];
    EXPECT_EQ(RecoveryOf(media), (Bytes{0, 128 + 113, 0, 5, 1, 2, 3, 4, 'a', 'b', 'c', 'd', 'e', 0, 0, 0}));
    EXPECT_EQ(media.Timestamp(), 0x01020304u);
    EXPECT_EQ(media.Ssrc(), 0xA1A2A3A4u);
    EXPECT_EQ(media.Sequence(), 0x0506);
    EXPECT_EQ(media.ExtendedSequence(), 0x0506u);
    EXPECT_EQ(media.HighestMember(), -1);

    const CRtpParityRecord& parity = history.Parity()[0];
    EXPECT_EQ(RecoveryOf(parity), (Bytes{0x05, 0x80 | 0x71, 0x0A, 0x0B, 0x31, 0x32, 0x33, 0x34, 0x41, 0x42, 0x43, 0}));
    EXPECT_EQ(parity.Timestamp(), 0x11121314u);
    EXPECT_EQ(parity.Ssrc(), 0x21222324u);
    EXPECT_EQ(parity.Sequence(), 0x0102);
    EXPECT_EQ(parity.SequenceBase(), 0x0504);
    EXPECT_EQ(parity.ExtendedSequence(), 0x0504u) << "of the group's base, not of the packet itself";
    EXPECT_EQ(parity.HighestMember(), 2);
}

TEST(ParityHistory, AParityPacketIsTheSumOfItsGroup) {
    CRtpParityCoder coder;
    coder.SetGroupSize(kGroup);
    Bytes sum(200);
    Bytes parity;
    for (std::uint16_t i = 0; i < kGroup; ++i) {
        Bytes buffer = Encode({.sequence = static_cast<std::uint16_t>(65534 + i),
                               .timestamp = 90u * i,
                               .marker = i == 1,
                               .payload = std::string(11 + 7 * i, static_cast<char>('a' + i))});
        EXPECT_GT(coder.OnPacketReceived(buffer), 0);
        const CRtpParityHistory::CList& media = coder.History().Media();
        const Bytes recovery = RecoveryOf(media[media.Size() - 1]);
        for (std::size_t at = 0; at < recovery.size(); ++at) {
            sum[at] ^= recovery[at];
        }
        auto length = static_cast<std::int32_t>(buffer.size());
        buffer.resize(65536);
        if (coder.AddPacket(buffer, length, 0) > 0) {
            parity.assign(buffer.begin(), buffer.begin() + length);
        }
    }
    ASSERT_FALSE(parity.empty());
    EXPECT_EQ(coder.OnPacketReceived(parity), 0);
    const CRtpParityRecord& record = coder.History().Parity()[0];
    const Bytes recovery = RecoveryOf(record);
    EXPECT_EQ(recovery, Bytes(sum.begin(), sum.begin() + static_cast<std::ptrdiff_t>(recovery.size())));
    EXPECT_EQ(record.HighestMember(), static_cast<int>(kGroup) - 1);
    EXPECT_EQ(NumbersOf(coder.History().Media()), (std::vector<std::uint32_t>{65534, 65535, 65536}));
}

TEST(ParityHistory, TheHighestMemberIsTheLastBitOfTheMask) {
    const struct {
        std::array<std::uint8_t, 3> mask;
        int highest;
    } rows[] = {{{0, 0, 0}, -1},    {{0, 1, 0}, 0},  {{0, 0x80, 0}, 7},    {{0, 1, 1}, 8},
                {{0, 0, 0x80}, 15}, {{1, 0, 0}, 16}, {{0x80, 0xFF, 0}, 23}};
    for (const auto& row : rows) {
        CRtpParityHistory history;
        history.OnPacketReceived(Parity(1, row.mask), kGroup);
        EXPECT_EQ(history.Parity()[0].HighestMember(), row.highest);
    }
}

TEST(ParityHistory, TwentyFourOfEachKindStay) {
    CRtpParityHistory history;
    std::vector<std::uint32_t> expected;
    for (std::uint16_t i = 0; i < 40; ++i) {
        // Pairs swapped: 101, 100, 103, 102 and so on.
        history.OnPacketReceived(Encode({.sequence = static_cast<std::uint16_t>(100 + (i ^ 1)), .payload = "x"}),
                                 kGroup);
        history.OnPacketReceived(Parity(static_cast<std::uint16_t>(65530 + i)), kGroup);
        if (i >= 16) {
            expected.push_back(100u + i);
        }
    }
    EXPECT_EQ(NumbersOf(history.Media()), expected);
    const std::vector<std::uint32_t> parity = NumbersOf(history.Parity());
    ASSERT_EQ(parity.size(), 24u);
    EXPECT_EQ(parity.front(), 65546u);
    EXPECT_EQ(parity.back(), 65569u);

    history.OnPacketReceived(Encode({.sequence = 90, .payload = "too old to stay"}), kGroup);
    EXPECT_EQ(NumbersOf(history.Media()), expected) << "the first entry goes, and that is this one";
    history.OnPacketReceived(Encode({.sequence = 139, .payload = "a twin"}), kGroup);
    EXPECT_EQ(RecoveryOf(history.Media()[23]).size(), 16u) << "behind its equal";
    EXPECT_EQ(RecoveryOf(history.Media()[22]).size(), 12u);
}

TEST(ParityHistory, AResetStartsTheNumbersAnewAndKeepsTheRecords) {
    CRtpParityHistory history;
    history.OnPacketReceived(Encode({.sequence = 65535, .payload = "x"}), kGroup);
    history.OnPacketReceived(Encode({.sequence = 1, .payload = "x"}), kGroup);
    history.ResetTrackers();
    history.OnPacketReceived(Encode({.sequence = 2, .payload = "x"}), kGroup);
    EXPECT_EQ(NumbersOf(history.Media()), (std::vector<std::uint32_t>{2, 65535, 65537}));
}

Bytes Filled(std::uint8_t first, std::uint8_t second, std::size_t size) {
    Bytes bytes(size);
    bytes[0] = first;
    if (size > 1) {
        bytes[1] = second;
    }
    return bytes;
}

TEST(ParityHistory, JudgesEveryDatagram) {
    const struct {
        const char* name;
        std::uint32_t groupSize;
        Bytes datagram;
        int result;
        std::size_t kept;
    } rows[] = {{"Media", 3, Filled(0x80, 113, 30), 30, 1},
                {"LargestMedia", 3, Filled(0x80, 113, 65535), 65535, 1},
                {"Parity", 3, Filled(0x80, 127, 30), 0, 1},
                {"ParityWithMarker", 3, Filled(0x80, 255, 24), 0, 1},
                {"ShortMedia", 3, Filled(0x80, 113, 11), -14, 0},
                {"ShortParity", 3, Filled(0x80, 127, 23), -14, 0},
                {"ParityWithoutBase", 3, Filled(0x80, 127, 13), -14, 0},
                {"WrongVersion", 3, Filled(0x40, 113, 30), -14, 0},
                {"OneByte", 3, Filled(0x80, 0, 1), -14, 0},
                {"Nothing", 3, Bytes{}, -14, 0},
                {"MediaWithoutGroup", 0, Filled(0x80, 113, 30), 30, 0},
                {"ShortMediaWithoutGroup", 0, Filled(0x80, 113, 3), 3, 0},
                {"ParityWithoutGroup", 0, Filled(0x80, 127, 30), 0, 0}};
    for (const auto& row : rows) {
        CRtpParityHistory history;
        EXPECT_EQ(history.OnPacketReceived(row.datagram, row.groupSize), row.result) << row.name;
        EXPECT_EQ(history.Media().Size() + history.Parity().Size(), row.kept) << row.name;
    }
}

TEST(ParityHistory, APacketCutOffBehindItsNumberMovesTheNumbers) {
    CRtpParityHistory history;
    EXPECT_EQ(history.OnPacketReceived(Bytes{0x80, 113, 0xFF, 0xFF}, kGroup), -14);
    history.OnPacketReceived(Encode({.sequence = 3, .payload = "x"}), kGroup);
    EXPECT_EQ(NumbersOf(history.Media()), (std::vector<std::uint32_t>{65539}));
}

}  // namespace
