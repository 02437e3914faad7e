#include "runtime/CRing.h"

#include <gtest/gtest.h>
#include <sched.h>

#include <algorithm>
#include <cstdint>
#include <string>

#include "platform/system/Thread.h"
#include "runtime/CNetworkBuffer.h"
#include "runtime/CQRN_CircularBuffer.h"
#include "runtime/exceptions.h"

namespace {

struct PacketRing {
    using Ring = CNetworkBuffer;
    using Element = CPacket;
    using Exception = exc_CNetworkBuffer_;
    static constexpr const char* kWhat =
        "CNetworkBuffer_: was not possible create the circular buffer. (CNetworkBuffer:28)";
};

struct BufferRing {
    using Ring = CQRN_CircularBuffer;
    using Element = CQRN_DinamicBuffer;
    using Exception = exc_CQRN_CircularBuffer;
    static constexpr const char* kWhat =
        "CQRN_CircularBuffer: was not possible create the circular buffer. (DinamicBuffer:93)";
};

void SetBytes(CQRN_DinamicBuffer& buffer, const std::uint8_t* bytes, std::uint32_t size) {
    buffer.Assign(bytes, size);
}

void SetBytes(CPacket& packet, const std::uint8_t* bytes, std::uint32_t size) {
    packet.Allocate(size);
    std::copy(bytes, bytes + size, packet.m_data);
    packet.m_length = size;
}

/// An element of `value % 50 + 4` bytes, all of which tell the value.
template <class Element>
Element Numbered(std::uint32_t value) {
    std::uint8_t bytes[54];
    for (std::size_t i = 0; i < sizeof(bytes); ++i) {
        bytes[i] = static_cast<std::uint8_t>(value >> i % 4 * 8);
    }
    Element element;
    SetBytes(element, bytes, value % 50 + 4);
    return element;
}

/// The value of such an element; -1 for one that is no whole one.
template <class Element>
std::int64_t NumberOf(const Element& element) {
    if (element.m_length < 4) {
        return -1;
    }
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        value |= static_cast<std::uint32_t>(element.m_data[i]) << i * 8;
    }
    const Element whole = Numbered<Element>(value);
    const bool isWhole =
        std::equal(element.m_data, element.m_data + element.m_length, whole.m_data, whole.m_data + whole.m_length);
    return isWhole ? std::int64_t{value} : -1;
}

template <class Kind>
class Ring : public testing::Test {
protected:
    using RingType = typename Kind::Ring;
    using Element = typename Kind::Element;

    static bool Push(RingType& ring, std::uint32_t value) { return ring.Push(Numbered<Element>(value)); }

    /// The value at the head; -1 when there is none.
    static std::int64_t Pop(RingType& ring) {
        Element element;
        return ring.Pop(element) ? NumberOf(element) : -1;
    }
};

using Kinds = testing::Types<PacketRing, BufferRing>;
TYPED_TEST_SUITE(Ring, Kinds);

TYPED_TEST(Ring, CannotHaveNoSlots) {
    try {
        const typename TypeParam::Ring ring(0);
        FAIL();
    } catch (const typename TypeParam::Exception& exception) {
        EXPECT_STREQ(exception.what(), TypeParam::kWhat);
        EXPECT_EQ(exception.Code(), 0u);
    }
}

TYPED_TEST(Ring, EmptyOneLeavesTheDestinationAlone) {
    typename TypeParam::Ring ring(3);
    auto element = Numbered<typename TypeParam::Element>(42);
    EXPECT_FALSE(ring.Pop(element));
    EXPECT_EQ(NumberOf(element), 42);
}

TYPED_TEST(Ring, FullOneDropsTheOldest) {
    typename TypeParam::Ring ring(3);
    for (const std::uint32_t value : {1u, 2u, 3u}) {
        EXPECT_TRUE(this->Push(ring, value));
    }
    EXPECT_FALSE(this->Push(ring, 4));
    EXPECT_FALSE(this->Push(ring, 5));
    EXPECT_EQ(this->Pop(ring), 3);
    EXPECT_TRUE(this->Push(ring, 6));
    EXPECT_EQ(this->Pop(ring), 4);
    EXPECT_EQ(this->Pop(ring), 5);
    EXPECT_EQ(this->Pop(ring), 6);
    EXPECT_EQ(this->Pop(ring), -1);
}

TYPED_TEST(Ring, OneSlotHoldsTheNewest) {
    typename TypeParam::Ring ring(1);
    EXPECT_TRUE(this->Push(ring, 1));
    EXPECT_FALSE(this->Push(ring, 2));
    EXPECT_FALSE(this->Push(ring, 3));
    EXPECT_FALSE(ring.IsAlmostFull()) << "the unsigned limit of one slot is never reached";
    EXPECT_EQ(this->Pop(ring), 3);
    EXPECT_EQ(this->Pop(ring), -1);
    EXPECT_TRUE(this->Push(ring, 4));
}

TYPED_TEST(Ring, OrderHoldsAcrossEveryPositionOfTheWrap) {
    constexpr std::uint32_t kSlots = 5;
    typename TypeParam::Ring ring(kSlots);
    std::uint32_t pushed = 0;
    std::uint32_t popped = 0;
    for (std::uint32_t fill = 1; fill <= kSlots; ++fill) {
        for (int round = 0; round < 7; ++round) {
            for (std::uint32_t i = 0; i < fill; ++i) {
                ASSERT_TRUE(this->Push(ring, pushed++));
            }
            for (std::uint32_t i = 0; i < fill; ++i) {
                ASSERT_EQ(this->Pop(ring), popped++);
            }
        }
    }
    EXPECT_EQ(this->Pop(ring), -1);
}

TYPED_TEST(Ring, AlmostFullWithTwoFreeSlots) {
    typename TypeParam::Ring ring(4);
    EXPECT_FALSE(ring.IsAlmostFull());
    this->Push(ring, 1);
    EXPECT_FALSE(ring.IsAlmostFull());
    this->Push(ring, 2);
    EXPECT_TRUE(ring.IsAlmostFull());
    this->Push(ring, 3);
    this->Push(ring, 4);
    this->Push(ring, 5);
    EXPECT_TRUE(ring.IsAlmostFull());
}

TYPED_TEST(Ring, SameSizeKeepsTheContentsAndAnotherOneTheEmptiness) {
    typename TypeParam::Ring ring(3);
    this->Push(ring, 7);
    ring.Resize(3);
    EXPECT_EQ(this->Pop(ring), 7);
    ring.Resize(5);
    for (std::uint32_t value = 0; value < 5; ++value) {
        EXPECT_TRUE(this->Push(ring, value));
    }
    EXPECT_FALSE(this->Push(ring, 5));
    EXPECT_EQ(this->Pop(ring), 1);
}

/// Nobody should resize a ring in use, but then it must not reach beyond its slots either. Which elements come out is
/// open; they are whole ones, and no more of them than there are slots.
TYPED_TEST(Ring, ShrinkingInUseStaysInsideTheSlots) {
    for (const std::uint32_t count : {2u, 1u, 0u}) {
        typename TypeParam::Ring ring(8);
        for (std::uint32_t value = 0; value < 7; ++value) {
            this->Push(ring, value);
        }
        this->Pop(ring);
        ring.Resize(count);
        for (std::uint32_t value = 0; value < 20; ++value) {
            this->Push(ring, value);
            ring.IsAlmostFull();
        }
        for (std::uint32_t i = 0; i < count; ++i) {
            EXPECT_GE(this->Pop(ring), 20 - std::int64_t{count});
        }
        EXPECT_EQ(this->Pop(ring), -1);
    }
}

TYPED_TEST(Ring, ProducerAndConsumerLoseOnlyWhatIsDropped) {
    constexpr std::uint32_t kElements = 20000;
    using Item = typename TypeParam::Element;
    typename TypeParam::Ring ring(5);
    std::uint32_t dropped = 0;
    qrn::CThread producer;
    ASSERT_TRUE(producer.Start("producer", [&] {
        for (std::uint32_t value = 0; value < kElements; ++value) {
            dropped += ring.Push(Numbered<Item>(value)) ? 0 : 1;
        }
    }));
    std::uint32_t received = 0;
    std::int64_t last = -1;
    Item element;
    while (last != kElements - 1) {
        if (!ring.Pop(element)) {
            sched_yield();
            continue;
        }
        const auto value = NumberOf(element);
        ASSERT_GT(value, last);
        last = value;
        ++received;
    }
    producer.Join();
    EXPECT_EQ(received + dropped, kElements);
}

}  // namespace
