#include "rtp/CRtpParityCoder.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "TestWire.h"

using qrn::test::Bytes;
using qrn::test::Encode;
using qrn::test::WirePacket;

namespace {

/// Runs a packet through the coder. @return the parity packet, empty while the group is not full.
Bytes Add(CRtpParityCoder& coder, const WirePacket& packet) {
    Bytes buffer = Encode(packet);
    auto length = static_cast<std::int32_t>(buffer.size());
    buffer.resize(65536);
    const int result = coder.AddPacket(buffer, length, packet.timestamp);
    if (result <= 0) {
        EXPECT_EQ(result, 0);
        return {};
    }
    EXPECT_EQ(result, length);
    buffer.resize(static_cast<std::size_t>(length));
    return buffer;
}

TEST(ParityCoder, ThreePacketsGiveTheirXor) {
    CRtpParityCoder coder;
    coder.SetGroupSize(3);
    const WirePacket a{
        .sequence = 0x0102, .timestamp = 0x01020304, .payload = std::string(10, '\x11'), .ssrc = 0xA1A2A3A4};
    const WirePacket b{
        .sequence = 0x0103, .timestamp = 0x01020305, .payload = std::string(7, '\x22'), .ssrc = 0xA1A2A3A4};
    const WirePacket c{.sequence = 0x0104,
                       .timestamp = 0x11020305,
                       .marker = true,
                       .payload = std::string(12, '\x44'),
                       .type = 112,
                       .ssrc = 0xA1A2A3A4};
    EXPECT_TRUE(Add(coder, a).empty());
    EXPECT_TRUE(Add(coder, b).empty());
    const Bytes parity = Add(coder, c);
    Bytes expected{0x80,
                   0x80 | 127,  // marker: 0 ^ 0 ^ 1
                   0,
                   1,  // its own counter
                   0x11,
                   0x02,
                   0x03,
                   0x07,  // the last timestamp and 2
                   0xA1,
                   0xA2,
                   0xA3,
                   0xA4,  // SSRC
                   0x01,
                   0x02,  // the first number
                   0,
                   0x0A ^ 0x07 ^ 0x0C,      // lengths
                   (113 ^ 113 ^ 112) << 1,  // payload types
                   0x00,
                   0x07,
                   0x00,  // members 0 to 2
                   0x11,
                   0x02,
                   0x03,
                   0x04};  // timestamps
    expected.insert(expected.end(), 7, 0x11 ^ 0x22 ^ 0x44);
    expected.insert(expected.end(), 3, 0x11 ^ 0x44);
    expected.insert(expected.end(), 2, 0x44);
    EXPECT_EQ(parity, expected);
    EXPECT_EQ(parity.size(), 36u);
}

TEST(ParityCoder, TheNextGroupStartsAfreshAndTheCounterGoesOn) {
    CRtpParityCoder coder;
    coder.SetGroupSize(2);
    Add(coder, {.sequence = 1, .payload = "long payload"});
    ASSERT_FALSE(Add(coder, {.sequence = 2, .payload = "x"}).empty());
    Add(coder, {.sequence = 3, .payload = "a"});
    const Bytes parity = Add(coder, {.sequence = 4, .payload = "a"});
    ASSERT_EQ(parity.size(), 25u);
    EXPECT_EQ(parity[3], 2) << "the second parity packet";
    EXPECT_EQ(parity[13], 3) << "the group's first number";
    EXPECT_EQ(parity[24], 'a' ^ 'a');
    EXPECT_EQ(parity[15], 0) << "equal lengths";
}

TEST(ParityCoder, TheMaskReachesIntoItsHighPart) {
    CRtpParityCoder coder;
    coder.SetGroupSize(30);  // acts as 24
    for (std::uint16_t i = 0; i < 23; ++i) {
        ASSERT_TRUE(Add(coder, {.sequence = i, .payload = "x"}).empty()) << i;
    }
    const Bytes parity = Add(coder, {.sequence = 23, .payload = "x"});
    ASSERT_EQ(parity.size(), 25u);
    EXPECT_EQ(parity[17], 0xFF);
    EXPECT_EQ(parity[18], 0xFF);
    EXPECT_EQ(parity[19], 0xFF);
}

TEST(ParityCoder, AGroupOfOneActsAsTwo) {
    CRtpParityCoder coder;
    coder.SetGroupSize(1);
    EXPECT_EQ(coder.GroupSize(), 2u);
    EXPECT_TRUE(Add(coder, {.payload = "x"}).empty());
    EXPECT_FALSE(Add(coder, {.payload = "x"}).empty());
}

TEST(ParityCoder, RefusesWhatIsNoPacket) {
    CRtpParityCoder coder;
    Bytes buffer(65536);
    std::int32_t length = 12;
    EXPECT_EQ(coder.AddPacket(buffer, length, 0), 0) << "no group is set";
    coder.SetGroupSize(2);
    EXPECT_EQ(coder.AddPacket({}, length, 0), -19);
    length = 0;
    EXPECT_EQ(coder.AddPacket(buffer, length, 0), -19);
    length = 11;
    EXPECT_EQ(coder.AddPacket(buffer, length, 0), 0);
}

TEST(ParityCoder, AParityPacketTooLongForADatagramEndsItsGroup) {
    CRtpParityCoder coder;
    coder.SetGroupSize(2);
    Add(coder, {.sequence = 1, .payload = std::string(65512, 'a')});
    Bytes buffer = Encode({.sequence = 2, .payload = "b"});
    auto length = static_cast<std::int32_t>(buffer.size());
    buffer.resize(65536);
    EXPECT_EQ(coder.AddPacket(buffer, length, 0), -11);
    EXPECT_TRUE(Add(coder, {.sequence = 3, .payload = "c"}).empty()) << "a new group has begun";
    EXPECT_EQ(Add(coder, {.sequence = 4, .payload = "c"}).size(), 25u);
}

}  // namespace
