#include "rtp/RtpPacket.h"

#include <gtest/gtest.h>

#include <string>

#include "TestWire.h"

using qrn::test::Bytes;

namespace {

/// Header bytes 1 to 11 are the same in all rows: marker, type 113, sequence 0x0102, timestamp 0x03040506, SSRC
/// 0x0708090A.
struct ParseCase {
    const char* name;
    std::uint8_t firstByte;
    Bytes rest;         // behind the 12 bytes
    int payloadLength;  // -1: no packet
    int payloadOffset;
};

void PrintTo(const ParseCase& row, std::ostream* stream) {
    *stream << row.name;
}

class RtpParse : public testing::TestWithParam<ParseCase> {};

TEST_P(RtpParse, TakesThePayloadOutOrRefuses) {
    const ParseCase& row = GetParam();
    // Exactly as long as the datagram, so that a sanitizer sees a read past its end.
    Bytes datagram{row.firstByte, 0x80 | 113, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    datagram.insert(datagram.end(), row.rest.begin(), row.rest.end());
    RtpPacketInfo info;
    info.timestamp = 99;
    const int result = ParseRtpPacket(datagram.data(), static_cast<std::int32_t>(datagram.size()), info);
    if (row.payloadLength < 0) {
        EXPECT_EQ(result, -1);
        EXPECT_EQ(info.timestamp, 99u) << "written though the parse failed";
        return;
    }
    ASSERT_EQ(result, 0);
    EXPECT_EQ(info.payloadLength, row.payloadLength);
    EXPECT_EQ(info.payload - datagram.data(), row.payloadOffset);
    EXPECT_EQ(info.marker, 1);
    EXPECT_EQ(info.payloadType, 113);
    EXPECT_EQ(info.sequence, 0x0102u);
    EXPECT_EQ(info.extendedSequence, 0x0102u);
    EXPECT_EQ(info.timestamp, 0x03040506u);
    EXPECT_EQ(info.ssrc, 0x0708090Au);
}

INSTANTIATE_TEST_SUITE_P(
    Datagrams, RtpParse,
    testing::Values(
        ParseCase{"HeaderOnly", 0x80, {}, 0, 12}, ParseCase{"OneByte", 0x80, {5}, 1, 12},
        ParseCase{"Version1", 0x40, {5}, -1, 0}, ParseCase{"Version3", 0xC0, {5}, -1, 0},
        ParseCase{"Version0", 0x00, {5}, -1, 0}, ParseCase{"FifteenSourcesCutOff", 0x8F, Bytes(71 - 12), -1, 0},
        ParseCase{"FifteenSources", 0x8F, Bytes(72 - 12), 0, 72},
        ParseCase{"OneSourceAndPayload", 0x81, Bytes(4 + 3), 3, 16},
        ParseCase{"ExtensionCutOff", 0x90, Bytes(3), -1, 0}, ParseCase{"EmptyExtension", 0x90, Bytes(4), 0, 16},
        ParseCase{"ExtensionOfTwoWords", 0x90, {0, 0, 0, 2, 1, 2, 3, 4, 5, 6, 7, 8, 9}, 1, 24},
        ParseCase{"ExtensionOneByteShort", 0x90, {0, 0, 0, 2, 1, 2, 3, 4, 5, 6, 7}, -1, 0},
        ParseCase{"ExtensionOfAllWords", 0x90, {0, 0, 0xFF, 0xFF, 1, 2, 3, 4}, -1, 0},
        ParseCase{"SourceAndExtension", 0x91, {9, 9, 9, 9, 0, 0, 0, 1, 1, 2, 3, 4, 5, 6}, 2, 24},
        ParseCase{"PaddingWithoutPayload", 0xA0, {}, -1, 0}, ParseCase{"PaddingOfAll", 0xA0, {0, 0, 3}, 0, 12},
        ParseCase{"PaddingOfMore", 0xA0, {0, 0, 4}, -1, 0}, ParseCase{"PaddingOfNone", 0xA0, {1, 2, 0}, 3, 12},
        ParseCase{"PaddingOfSome", 0xA0, {0, 0, 0, 0, 0, 0, 0, 3}, 5, 12},
        ParseCase{"PaddingReachesIntoExtension", 0xB0, {0, 0, 0, 1, 1, 2, 3, 4, 2}, -1, 0},
        ParseCase{"EverythingAtOnce", 0xB1, {9, 9, 9, 9, 0, 0, 0, 1, 1, 2, 3, 4, 7, 1}, 1, 24}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(RtpParseLength, NothingShorterThanAHeaderIsAPacket) {
    const Bytes datagram(12, 0x80);
    RtpPacketInfo info;
    for (std::int32_t length = -1; length < 12; ++length) {
        EXPECT_EQ(ParseRtpPacket(datagram.data(), length, info), -1) << length;
    }
    EXPECT_EQ(ParseRtpPacket(nullptr, 12, info), -1);
    EXPECT_EQ(info.payload, nullptr);
}

TEST(RtpBuild, EveryFieldStandsWhereTheStandardPutsIt) {
    const Bytes payload{0xAA, 0xBB};
    Bytes packet(14);
    ASSERT_EQ(qrn::BuildRtpPacket(packet, {0x80 | 115, true, 0x0102, 0x03040506, 0x0708090A}, payload), 14u);
    EXPECT_EQ(packet, (Bytes{0x80, 0xF3, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 0xAA, 0xBB}));
    ASSERT_EQ(qrn::BuildRtpPacket(packet, {115, false, 0xFFFF, 0xFFFFFFFF, 0}, payload), 14u);
    EXPECT_EQ(packet, (Bytes{0x80, 0x73, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0xAA, 0xBB}));
}

TEST(RtpBuild, RefusesABufferThatIsTooSmall) {
    Bytes packet(13);
    EXPECT_EQ(qrn::BuildRtpPacket(packet, {115, true, 1, 1, 1}, Bytes(2)), 0u);
    EXPECT_EQ(qrn::BuildRtpPacket(std::span(packet).first(5), {115, true, 1, 1, 1}, Bytes(2)), 0u);
}

}  // namespace
