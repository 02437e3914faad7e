#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "client/CReceiveMeter.h"
#include "client/CSendMeter.h"
#include "client/PacketCheck.h"
#include "support/FakeClock.h"

namespace qrn {
namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;

constexpr PcmFormat kFormat{8000, 1};
constexpr std::size_t kPacket = 640;

std::vector<std::int16_t> Block(std::size_t count, std::int16_t value = 1000) {
    return std::vector<std::int16_t>(count, value);
}

TEST(Meters, MeasureFromTheFirstSampleOfAPacketToItsDecoding) {
    test::CAutoClock clock;
    CSendMeter sender(kFormat, kPacket, clock);
    CReceiveMeter receiver(kFormat, &sender, clock);
    // Two packets of four blocks, then another one: the receiver is 30 ms behind.
    for (std::uint32_t packet = 0; packet < 3; ++packet) {
        for (int block = 0; block < 4; ++block) {
            sender.OnPcm(Block(160));
            clock.Advance(milliseconds(20));
        }
        sender.OnPacket(packet * 80, 132);
        clock.Advance(milliseconds(30));
        receiver.OnPacket(132, packet * 80);
        clock.Advance(milliseconds(1));
        receiver.OnPcm(Block(640));
    }
    EXPECT_EQ(receiver.Latencies().Count(), 3u);
    EXPECT_NEAR(*receiver.Latencies().PercentileMs(0), 111, 0.01);
    EXPECT_NEAR(*receiver.Latencies().PercentileMs(100), 111, 0.01);
}

TEST(Meters, FindTheBlockInWhichAPacketBegins) {
    test::CAutoClock clock;
    CSendMeter sender(kFormat, 400, clock);  // two blocks and a half, 50 ms
    for (int block = 0; block < 8; ++block) {
        sender.OnPcm(Block(160));
        clock.Advance(milliseconds(20));
    }
    sender.OnPacket(0, 100);
    sender.OnPacket(50, 100);
    sender.OnPacket(112, 100);  // stamped late, within its own time
    EXPECT_EQ(*sender.EntryTimeOf(50) - *sender.EntryTimeOf(0), milliseconds(40));
    EXPECT_EQ(*sender.EntryTimeOf(112) - *sender.EntryTimeOf(0), milliseconds(100));
    EXPECT_EQ(sender.EntryTimeOf(51), sender.EntryTimeOf(50)) << "bit 0 is framing";
    EXPECT_FALSE(sender.EntryTimeOf(52));
}

TEST(Meters, MeasureRightAfterAPacketThatWasNotCoded) {
    test::CAutoClock clock;
    CSendMeter sender(kFormat, 160, clock);
    for (std::uint32_t packet = 0; packet < 5; ++packet) {
        sender.OnPcm(Block(160));
        if (packet != 2) {
            sender.OnPacket(20 * packet, 33);
        }
        clock.Advance(milliseconds(20));
    }
    EXPECT_EQ(*sender.EntryTimeOf(80) - *sender.EntryTimeOf(0), milliseconds(80));
    EXPECT_EQ(sender.SentSound().size(), 5u * 160);
}

TEST(Meters, CountPacketsOfLargeFrames) {
    CSendMeter sender(kFormat, kPacket);
    sender.OnPacket(0, 1088);
    EXPECT_EQ(sender.Total().packets, 1u);
    sender.OnPacket(80, 1089);
    EXPECT_EQ(sender.Total().packets, 3u);
    EXPECT_EQ(sender.Total().codedBytes, 1088u + 1089u);
}

TEST(Meters, CountSilenceBetweenPacketsOnly) {
    CReceiveMeter receiver(kFormat, nullptr);
    for (const std::size_t bytes : {0, 0, 132, 0, 132, 0, 0}) {
        receiver.OnPacket(bytes, std::nullopt);
        receiver.OnPcm(Block(640, bytes == 0 ? 0 : 1000));
    }
    EXPECT_EQ(receiver.Total().silentTurns, 1u);
    EXPECT_EQ(receiver.Total().frames, 2u);
    EXPECT_EQ(receiver.Total().samples, 7u * 640);
    EXPECT_EQ(receiver.Latencies().Count(), 0u) << "no sender in this process";
}

TEST(Meters, KeepWhatWentIntoWholePackets) {
    CSendMeter sender({8000, 2}, kPacket);
    sender.OnPcm(Block(2 * 1000));
    EXPECT_TRUE(sender.SentSound().empty());
    sender.OnPacket(0, 264);
    EXPECT_EQ(sender.SentSound().size(), 2u * 640);
}

TEST(Meters, KeepABoundedLength) {
    CSendMeter sender(kFormat, kPacket);
    CReceiveMeter receiver(kFormat, nullptr);
    const auto second = Block(8000);
    for (int i = 0; i < kMaxComparedSeconds + 60; ++i) {
        sender.OnPcm(second);
        sender.OnPacket(static_cast<std::uint32_t>(1000 * i), 132);
        receiver.OnPcm(second);
    }
    EXPECT_EQ(sender.SentSound().size(), 8000u * kMaxComparedSeconds);
    EXPECT_LT(receiver.ReceivedSound().size(), 8000u * (kMaxComparedSeconds + 30));
    EXPECT_EQ(receiver.Total().samples, 8000u * (kMaxComparedSeconds + 60));
}

// ---------------------------------------------------------------------------------------------------------------------

std::vector<BYTE> GsmFrame(int channels) {
    std::vector<BYTE> frame(static_cast<std::size_t>(132 * channels), 0x11);
    for (std::size_t i = 0; i < frame.size(); i += 33) {
        frame[i] = 0xD4;
    }
    return frame;
}

/// Two frames of 20 ms of one channel, at a constant rate.
std::vector<BYTE> OpusPart(std::size_t frameBytes) {
    std::vector<BYTE> part(1 + 2 * frameBytes, 0x42);
    part[0] = 0x79;  // configuration 15 (hybrid, full band, 20 ms), mono, two equal frames
    return part;
}

struct FrameCase {
    const char* name;
    const char* codec;
    int channels;
    std::optional<std::size_t> expectedBytes;
    std::vector<BYTE> frame;
    const char* fault;  // null: none
};
void PrintTo(const FrameCase& test, std::ostream* out) {
    *out << test.name;
}

class FrameCheck : public testing::TestWithParam<FrameCase> {};

TEST_P(FrameCheck, TellsForeignFrames) {
    const FrameCase& test = GetParam();
    const auto fault = FindFrameFault(*FindCodec(test.codec), test.channels, test.expectedBytes, test.frame);
    if (test.fault == nullptr) {
        EXPECT_EQ(fault, std::nullopt);
    } else {
        ASSERT_TRUE(fault);
        EXPECT_THAT(*fault, HasSubstr(test.fault));
    }
}

std::vector<BYTE> Twice(std::vector<BYTE> part) {
    const std::vector<BYTE> copy = part;
    part.insert(part.end(), copy.begin(), copy.end());
    return part;
}

INSTANTIATE_TEST_SUITE_P(
    Frames, FrameCheck,
    testing::Values(FrameCase{"Gsm", "gsm", 1, 132, GsmFrame(1), nullptr},
                    FrameCase{"GsmStereo", "gsm", 2, 264, GsmFrame(2), nullptr},
                    FrameCase{"GsmOfOneChannelForTwo", "gsm", 2, 264, GsmFrame(1), "132 bytes instead of 264"},
                    FrameCase{"G72xForGsm", "gsm", 1, 132, std::vector<BYTE>(320), "320 bytes instead of 132"},
                    FrameCase{"RubbishOfTheRightLength", "gsm", 1, 132, std::vector<BYTE>(132, 0x55), "mark of GSM"},
                    FrameCase{"Opus", "opus", 1, std::nullopt, OpusPart(80), nullptr},
                    FrameCase{"OpusStereo", "opus", 2, std::nullopt, Twice(OpusPart(80)), nullptr},
                    FrameCase{"OpusStereoForMono", "opus", 1, std::nullopt, Twice(OpusPart(80)), "of 1 channel"},
                    FrameCase{"OpusMonoForStereo", "opus", 2, std::nullopt, OpusPart(80), "of 2 channels"},
                    FrameCase{"SpeexAtAnotherRate", "speex", 1, 152, std::vector<BYTE>(248), "instead of 152"},
                    FrameCase{"Mp3HasNoFixedLength", "mp3", 1, std::nullopt, std::vector<BYTE>(7), nullptr}),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST(FrameCheck, KnowsTheLengthFromTheCodedType) {
    WAVEFORMATEX wave{};
    wave.nChannels = 2;
    wave.nSamplesPerSec = 1650;  // 33 bytes for 20 ms
    EXPECT_EQ(ExpectedFrameBytes(*FindCodec("gsm"), wave), 264u);
    wave.nSamplesPerSec = 0;
    EXPECT_EQ(ExpectedFrameBytes(*FindCodec("opus"), wave), std::nullopt);
}

}  // namespace
}  // namespace qrn
