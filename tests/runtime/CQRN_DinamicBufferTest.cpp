#include "runtime/CQRN_DinamicBuffer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace {

constexpr std::uint32_t kTooMuch = 0x80000000;

void Assign(CQRN_DinamicBuffer& buffer, std::string_view text) {
    buffer.Assign(reinterpret_cast<const std::uint8_t*>(text.data()), static_cast<std::uint32_t>(text.size()));
}

std::string_view TextOf(const CQRN_DinamicBuffer& buffer, std::uint32_t length) {
    return {reinterpret_cast<const char*>(buffer.m_data), length};
}

TEST(DinamicBuffer, ReserveKeepsTheBytesAndNotTheLength) {
    CQRN_DinamicBuffer buffer;
    buffer.Reserve(0);
    EXPECT_EQ(buffer.m_data, nullptr);
    Assign(buffer, "0123456789");
    buffer.m_length = 4;
    buffer.Reserve(10);
    EXPECT_EQ(buffer.m_length, 4u) << "nothing to grow";
    buffer.Reserve(1000);
    EXPECT_EQ(buffer.m_capacity, 1000u);
    EXPECT_EQ(buffer.m_length, 0u);
    EXPECT_EQ(TextOf(buffer, 10), "0123456789");
}

TEST(DinamicBuffer, AssignNeverShrinks) {
    CQRN_DinamicBuffer buffer;
    Assign(buffer, "a long one");
    const std::uint8_t* const memory = buffer.m_data;
    Assign(buffer, "short");
    EXPECT_EQ(buffer.m_data, memory);
    EXPECT_EQ(buffer.m_capacity, 10u);
    EXPECT_EQ(TextOf(buffer, buffer.m_length), "short");
}

TEST(DinamicBuffer, CopyTakesTheWholeCapacityAndLaterLargerOnesGetMemory) {
    CQRN_DinamicBuffer small;
    Assign(small, "0123456789");
    small.m_length = 2;
    CQRN_DinamicBuffer buffer;
    buffer.Reserve(100);
    const std::uint8_t* const memory = buffer.m_data;
    buffer = small;
    EXPECT_EQ(buffer.m_data, memory) << "the 100 bytes are still held";
    EXPECT_EQ(buffer.m_capacity, 10u);
    EXPECT_EQ(buffer.m_length, 2u);
    EXPECT_EQ(TextOf(buffer, 10), "0123456789");

    CQRN_DinamicBuffer large;
    Assign(large, std::string(50, 'x'));
    buffer = large;
    EXPECT_EQ(buffer.m_capacity, 50u);
    EXPECT_EQ(TextOf(buffer, 50), std::string(50, 'x'));

    const CQRN_DinamicBuffer& alias = buffer;
    buffer = alias;
    EXPECT_EQ(TextOf(buffer, 50), std::string(50, 'x'));
}

TEST(DinamicBuffer, MemoryHeldBehindACapacityOfZeroIsNotLost) {
    // Leaks are found by the address sanitizer.
    const CQRN_DinamicBuffer empty;
    CQRN_DinamicBuffer reserved;
    reserved.Reserve(100);
    reserved = empty;
    EXPECT_EQ(reserved.m_capacity, 0u);
    reserved.Reserve(5);
    EXPECT_EQ(reserved.m_capacity, 5u);
    reserved = empty;
    Assign(reserved, "assigned");
    EXPECT_EQ(TextOf(reserved, reserved.m_length), "assigned");
}

TEST(DinamicBuffer, WithoutMemoryItIsEmpty) {
    CQRN_DinamicBuffer buffer;
    Assign(buffer, "kept");
    buffer.Reserve(kTooMuch);
    EXPECT_EQ(buffer.m_capacity, 4u);
    EXPECT_EQ(buffer.m_length, 0u);
    EXPECT_EQ(TextOf(buffer, 4), "kept");

    const std::uint8_t byte = 1;
    buffer.Assign(&byte, kTooMuch);
    EXPECT_EQ(buffer.m_data, nullptr);
    EXPECT_EQ(buffer.m_capacity, 0u);
    EXPECT_EQ(buffer.m_length, 0u);
}

TEST(DinamicBuffer, NoSourceGivesZerosAndNotWhatWasThere) {
    CQRN_DinamicBuffer buffer;
    Assign(buffer, "old");
    buffer.Assign(nullptr, 3);
    EXPECT_EQ(TextOf(buffer, buffer.m_length), std::string(3, '\0'));
}

}  // namespace
