// The session against its model, on random networks: the one that reads several datagrams at once and the one that is
// given them one by one cannot be told apart.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "ComparedSession.h"
#include "MemoryWire.h"
#include "TestWire.h"
#include "UdpWire.h"

using qrn::test::Bytes;
using qrn::test::CComparedSession;
using qrn::test::CMemoryWire;
using qrn::test::CUdpWire;
using qrn::test::Encode;
using qrn::test::ModelSettings;
using qrn::test::SendManner;

namespace {

class CDice {
public:
    explicit CDice(std::uint32_t seed) : m_engine(seed) {}
    std::uint32_t Below(std::uint32_t end) { return static_cast<std::uint32_t>(m_engine() % end); }
    bool OneIn(std::uint32_t times) { return Below(times) == 0; }

private:
    std::mt19937 m_engine;
};

ModelSettings RandomSettings(CDice& dice) {
    constexpr std::uint32_t kWindows[] = {20, 20, 1, 3, 0xFFFFFFFF};
    ModelSettings settings;
    settings.tolerant = dice.OneIn(2);
    settings.parity = dice.OneIn(3);
    settings.reorder = settings.parity || !dice.OneIn(4);
    settings.window = kWindows[dice.Below(5)];
    settings.capacity = dice.OneIn(4) ? 3000 : 100000;
    settings.wantedType = dice.OneIn(2) ? std::uint8_t{113} : std::uint8_t{0};
    return settings;
}

/// Frames of equal packets with a shorter last one, as senders make them; now and then what no sender makes.
std::vector<Bytes> RandomStream(CDice& dice) {
    std::vector<Bytes> stream;
    std::uint16_t sequence = dice.OneIn(2) ? 65400 : 1;
    std::uint32_t timestamp = dice.Below(1000) * 2;
    std::uint32_t ssrc = 0x11111111;
    for (std::uint32_t frame = 0; frame < 120; ++frame) {
        const std::uint32_t packets = 1 + dice.Below(dice.OneIn(10) ? 80 : 8);
        const std::uint32_t bytes = dice.OneIn(8) ? 1 + dice.Below(9000) : 1088;
        const std::uint8_t type = dice.OneIn(12) ? std::uint8_t{112} : std::uint8_t{113};
        for (std::uint32_t i = 0; i < packets; ++i) {
            const bool isLast = i + 1 == packets;
            stream.push_back(Encode({.sequence = sequence++,
                                     .timestamp = i == 0 ? timestamp : timestamp | 1u,
                                     .marker = isLast,
                                     .payload = std::string(isLast ? 1 + dice.Below(bytes) : bytes,
                                                            static_cast<char>('a' + (frame + i) % 26)),
                                     .type = type,
                                     .ssrc = ssrc}));
            if (dice.OneIn(12)) {
                stream.push_back(Encode({.sequence = 7, .payload = std::string(dice.Below(40), 'p'), .type = 127}));
            }
        }
        timestamp += 40;
        if (dice.OneIn(40)) {
            ssrc = ssrc * 3 + 1;
            sequence = static_cast<std::uint16_t>(dice.Below(65536));
        }
    }
    return stream;
}

/// Loses, doubles, swaps and spoils.
std::vector<Bytes> ThroughABadNetwork(CDice& dice, std::vector<Bytes> stream) {
    const std::uint32_t rarity = 4 + dice.Below(60);
    std::vector<Bytes> arrived;
    for (Bytes& datagram : stream) {
        if (dice.OneIn(rarity)) {
            continue;
        }
        if (dice.OneIn(rarity)) {
            arrived.push_back(datagram);
        }
        if (dice.OneIn(rarity * 4)) {
            arrived.push_back(Bytes(dice.Below(30), 0x41));  // empty, or of another version
        }
        arrived.push_back(std::move(datagram));
        if (dice.OneIn(rarity)) {
            const std::size_t back = std::min<std::size_t>(dice.Below(30), arrived.size() - 1);
            std::rotate(arrived.end() - 1 - static_cast<std::ptrdiff_t>(back), arrived.end() - 1, arrived.end());
        }
    }
    return arrived;
}

template <class Wire>
void RunAgainstModel(std::uint32_t seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    CDice dice(seed);
    CComparedSession<Wire> session(RandomSettings(dice));
    ASSERT_TRUE(session.IsOpen());
    const std::vector<Bytes> arrived = ThroughABadNetwork(dice, RandomStream(dice));
    int code = 0;
    for (std::size_t at = 0; at < arrived.size();) {
        const std::size_t end = std::min<std::size_t>(arrived.size(), at + dice.Below(dice.OneIn(10) ? 300 : 12));
        for (; at < end; ++at) {
            session.Arrive(arrived[at]);
        }
        session.Advance(dice.OneIn(5) ? dice.Below(150) : 0);
        for (std::uint32_t calls = dice.Below(6); calls > 0; --calls) {
            ASSERT_EQ(session.Receive(code), "") << "of " << at << " datagrams";
        }
    }
    for (int quiet = 0; quiet < 5; quiet += code == 242 ? 1 : 0) {
        ASSERT_EQ(session.Receive(code), "");
    }
    EXPECT_EQ(session.CompareCounts(), "");
}

template <class Wire>
class ReassemblyProperty : public testing::Test {};

using Wires = testing::Types<CMemoryWire, CUdpWire<SendManner::kOneByOne>, CUdpWire<SendManner::kRunsTogether>>;

class WireNames {
public:
    template <class Wire>
    static std::string GetName(int index) {
        constexpr const char* kNames[] = {"OneByOne", "SocketPlain", "SocketTogether"};
        return kNames[index];
    }
};

TYPED_TEST_SUITE(ReassemblyProperty, Wires, WireNames);

TYPED_TEST(ReassemblyProperty, IsThatOfTheModel) {
    for (std::uint32_t seed = 1; seed <= 60 && !this->HasFailure(); ++seed) {
        RunAgainstModel<TypeParam>(seed);
    }
}

}  // namespace
