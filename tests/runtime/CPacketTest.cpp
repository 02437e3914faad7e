#include "runtime/CPacket.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

namespace {

/// More than one piece of memory may have, so that the allocation fails on every machine.
constexpr std::uint32_t kTooMuch = 0x80000000;

void Fill(CPacket& packet, std::string_view text, std::uint32_t capacity) {
    ASSERT_TRUE(packet.Allocate(capacity));
    std::copy(text.begin(), text.end(), packet.m_data);
    packet.m_length = static_cast<std::uint32_t>(text.size());
    packet.m_timestamp = 0xFFFFFFFE;
    packet.m_sequence = 65535;
    packet.m_lost = 1;
    packet.m_payloadType = 'q';
}

std::string TextOf(const CPacket& packet) {
    return {reinterpret_cast<const char*>(packet.m_data), packet.m_length};
}

void ExpectFactsOf(const CPacket& packet, const CPacket& source) {
    EXPECT_EQ(packet.m_timestamp, source.m_timestamp);
    EXPECT_EQ(packet.m_sequence, source.m_sequence);
    EXPECT_EQ(packet.m_lost, source.m_lost);
    EXPECT_EQ(packet.m_payloadType, source.m_payloadType);
}

TEST(Packet, AssignmentTakesWhatIsInUseAndKeepsLargerMemory) {
    CPacket source;
    Fill(source, "frame", 100);
    CPacket packet;
    packet = source;
    EXPECT_EQ(packet.m_capacity, 5u) << "the length, not the capacity";
    EXPECT_EQ(TextOf(packet), "frame");
    ExpectFactsOf(packet, source);

    CPacket large;
    Fill(large, "something longer", 64);
    const std::uint8_t* const memory = large.m_data;
    large = source;
    EXPECT_EQ(large.m_data, memory);
    EXPECT_EQ(large.m_capacity, 64u);
    EXPECT_EQ(TextOf(large), "frame");
}

TEST(Packet, EmptyOneIsCopiedWithItsCapacity) {
    CPacket source;
    Fill(source, "", 4096);
    CPacket packet;
    packet = source;
    EXPECT_NE(packet.m_data, nullptr);
    EXPECT_EQ(packet.m_capacity, 4096u);
    EXPECT_EQ(packet.m_length, 0u);
    ExpectFactsOf(packet, source);
}

TEST(Packet, CopyAllTakesTheSmallerCapacityAndALaterLargerOneGetsMemory) {
    CPacket small;
    Fill(small, "abc", 10);
    CPacket packet;
    Fill(packet, "abcdef", 100);
    packet.CopyAll(small);
    EXPECT_EQ(packet.m_capacity, 10u);
    EXPECT_EQ(TextOf(packet), "abc");

    CPacket large;
    Fill(large, std::string(90, 'x'), 90);
    packet.CopyAll(large);
    EXPECT_EQ(packet.m_capacity, 90u);
    EXPECT_EQ(TextOf(packet), std::string(90, 'x'));
}

TEST(Packet, SelfAssignmentAndCopyConstructionKeepTheBytes) {
    CPacket packet;
    Fill(packet, "same", 4);
    const CPacket& alias = packet;
    packet = alias;
    packet.CopyAll(alias);
    EXPECT_EQ(TextOf(packet), "same");
    const CPacket copy(packet);
    EXPECT_EQ(TextOf(copy), "same");
    EXPECT_NE(copy.m_data, packet.m_data);
}

TEST(Packet, WithoutMemoryItIsEmpty) {
    CPacket packet;
    Fill(packet, "abc", 3);
    EXPECT_FALSE(packet.Allocate(kTooMuch));
    EXPECT_EQ(packet.m_data, nullptr);
    EXPECT_EQ(packet.m_capacity, 0u);
    EXPECT_EQ(packet.m_length, 0u);

    CPacket impossible;  // claims more than it can have; nothing of that may be read
    impossible.m_length = kTooMuch;
    impossible.m_capacity = kTooMuch;
    impossible.m_sequence = 7;
    packet = impossible;
    EXPECT_EQ(packet.m_length, 0u);
    EXPECT_EQ(packet.m_sequence, 7u);
    impossible.m_length = 0;
    packet = impossible;
    EXPECT_EQ(packet.m_capacity, 0u);
    EXPECT_EQ(packet.m_length, 0u);
    impossible.m_capacity = 0;
}

}  // namespace
