#include "runtime/CNetworkBuffer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace {

struct Taken {
    bool isThere;
    std::string bytes;
    std::uint32_t timestamp;
    std::uint32_t lost;
    std::uint8_t payloadType;
};

bool Push(CNetworkBuffer& ring, std::string_view text, std::uint32_t timestamp, std::uint8_t payloadType) {
    return ring.Push(reinterpret_cast<const std::uint8_t*>(text.data()), static_cast<std::uint32_t>(text.size()),
                     timestamp, payloadType);
}

Taken Pop(CNetworkBuffer& ring, std::uint32_t room) {
    std::string bytes(room, '-');
    Taken taken{false, "", 11, 22, 33};
    std::uint32_t length = room;
    taken.isThere = ring.Pop(reinterpret_cast<std::uint8_t*>(bytes.data()), &length, &taken.timestamp, &taken.lost,
                             &taken.payloadType);
    taken.bytes = taken.isThere ? bytes.substr(0, length) : bytes;
    return taken;
}

TEST(NetworkBuffer, BytesComeWithTheirFacts) {
    CNetworkBuffer ring(2);
    EXPECT_TRUE(Push(ring, "frame", 0xFFFFFFFF, 's'));
    const Taken taken = Pop(ring, 5);
    EXPECT_TRUE(taken.isThere);
    EXPECT_EQ(taken.bytes, "frame");
    EXPECT_EQ(taken.timestamp, 0xFFFFFFFFu);
    EXPECT_EQ(taken.lost, 0u);
    EXPECT_EQ(taken.payloadType, 's');
}

TEST(NetworkBuffer, ElementThatDoesNotFitStaysAndNothingIsWritten) {
    CNetworkBuffer ring(2);
    Push(ring, "frame", 1, 'p');
    const Taken refused = Pop(ring, 4);
    EXPECT_FALSE(refused.isThere);
    EXPECT_EQ(refused.bytes, "----");
    EXPECT_EQ(refused.timestamp, 11u);
    EXPECT_EQ(refused.lost, 22u);
    EXPECT_EQ(refused.payloadType, 33u);
    EXPECT_FALSE(Pop(ring, 4).isThere);
    EXPECT_EQ(Pop(ring, 100).bytes, "frame");
    EXPECT_FALSE(Pop(ring, 100).isThere);
}

TEST(NetworkBuffer, SlotKeepsSequenceAndLostFlagFromItsLastPacket) {
    CNetworkBuffer ring(1);
    CPacket packet;
    ASSERT_TRUE(packet.Allocate(1));
    packet.m_length = 1;
    packet.m_sequence = 9;
    packet.m_lost = 1;
    ring.Push(packet);
    EXPECT_FALSE(Push(ring, "raw", 5, 'r'));
    ASSERT_TRUE(ring.Pop(packet));
    EXPECT_EQ(packet.m_sequence, 9u);
    EXPECT_EQ(packet.m_lost, 1u);
    EXPECT_EQ(packet.m_timestamp, 5u);
    EXPECT_EQ(packet.m_payloadType, 'r');
    EXPECT_EQ(packet.m_length, 3u);
}

TEST(NetworkBuffer, EmptyElementNeedsNoRoom) {
    CNetworkBuffer ring(1);
    EXPECT_TRUE(ring.Push(nullptr, 0, 3, 'q'));
    std::uint8_t byte = 7;
    std::uint32_t length = 0;
    EXPECT_TRUE(ring.Pop(&byte, &length, nullptr, nullptr, nullptr));
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(byte, 7);
}

TEST(NetworkBuffer, LengthWithoutBytesGivesNothingOfTheSlotsPast) {
    CNetworkBuffer ring(1);
    Push(ring, "secret", 1, 'p');
    ring.Push(nullptr, 6, 2, 'p');
    EXPECT_EQ(Pop(ring, 6).bytes, std::string(6, '\0'));
}

TEST(NetworkBuffer, WithoutMemoryTheElementIsEmpty) {
    CNetworkBuffer ring(2);
    const std::uint8_t byte = 1;
    EXPECT_TRUE(ring.Push(&byte, 0x80000000, 4, 'q'));
    const Taken taken = Pop(ring, 10);
    EXPECT_TRUE(taken.isThere);
    EXPECT_EQ(taken.bytes, "");
    EXPECT_EQ(taken.timestamp, 4u);
}

TEST(NetworkBuffer, PopWithoutDestinationTakesNothing) {
    CNetworkBuffer ring(1);
    Push(ring, "x", 1, 'p');
    std::uint32_t length = 10;
    std::uint8_t byte = 0;
    EXPECT_FALSE(ring.Pop(nullptr, &length, nullptr, nullptr, nullptr));
    EXPECT_FALSE(ring.Pop(&byte, nullptr, nullptr, nullptr, nullptr));
    EXPECT_TRUE(Pop(ring, 1).isThere);
}

}  // namespace
