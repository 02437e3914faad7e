// Our Opus stream as a receiver hears it that shares nothing with us but the codec's library.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <vector>

#include "integration/AudioGraphs.h"
#include "integration/GStreamer.h"
#include "support/TempFolder.h"

namespace qrn::test {
namespace {

constexpr AudioFormat kOpus{kQrnCodecOpus, 64, 1};

/// How alike two signals are when the second one is late by `lag`: 1 for the same, 0 for strangers.
double Likeness(std::span<const std::int16_t> first, std::span<const std::int16_t> second, std::size_t lag) {
    double product = 0;
    double firstPower = 0;
    double secondPower = 0;
    for (std::size_t i = 0; i + lag < second.size() && i < first.size(); ++i) {
        product += 1.0 * first[i] * second[i + lag];
        firstPower += 1.0 * first[i] * first[i];
        secondPower += 1.0 * second[i + lag] * second[i + lag];
    }
    return firstPower > 0 && secondPower > 0 ? product / std::sqrt(firstPower * secondPower) : 0;
}

std::vector<std::int16_t> ReadSamples(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    std::vector<std::int16_t> samples;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        samples.push_back(static_cast<std::int16_t>(static_cast<std::uint8_t>(bytes[i]) |
                                                    static_cast<std::uint8_t>(bytes[i + 1]) << 8));
    }
    return samples;
}

TEST(GStreamer, PlaysOurOpusStream) {
    if (!HasProgram("gst-launch-1.0")) {
        GTEST_SKIP() << "gst-launch-1.0 is not here (packaging/install-deps test)";
    }
    constexpr unsigned kPackets = 25;
    const std::uint16_t port = FreeEvenPort();
    const CTempFolder folder;
    const std::string file = folder.File("heard.s16");
    // Its jitter buffer is told the truth, that our timestamps count milliseconds; the depayloader, which takes nothing
    // but 48 kHz, gets the packets in order and with their times.
    CGStreamer player("udpsrc address=127.0.0.1 port=" + std::to_string(port) +
                      " num-buffers=" + std::to_string(kPackets) +
                      " caps='application/x-rtp,media=audio,encoding-name=OPUS,payload=115,clock-rate=1000'"
                      " ! rtpjitterbuffer latency=200"
                      " ! capssetter caps='application/x-rtp,clock-rate=(int)48000'"
                      " ! rtpopusdepay ! opusdec ! audioconvert"
                      " ! audio/x-raw,format=S16LE,rate=48000,channels=1 ! filesink location=" +
                      file);
    ASSERT_TRUE(WaitForUdpPort(port));
    const std::vector<std::int16_t> sent = TestSignal(kOpus, kPackets, 1);
    {
        CSendGraph call(kOpus, port);
        for (unsigned i = 0; i < kPackets; ++i) {
            call.Push(std::span(sent).subspan(std::size_t{i} * kOpus.PacketSamples(), kOpus.PacketSamples()),
                      REFERENCE_TIME{10000} * i * kOpus.PacketMs());
        }
    }
    ASSERT_EQ(player.Finish(), "");

    const std::vector<std::int16_t> heard = ReadSamples(file);
    EXPECT_EQ(heard.size(), sent.size())
        << "a packet was not played, or something in the place of one that was not lost";
    double best = 0;
    std::size_t bestLag = 0;
    for (std::size_t lag = 0; lag < 1000; ++lag) {
        if (const double likeness = Likeness(sent, heard, lag); likeness > best) {
            best = likeness;
            bestLag = lag;
        }
    }
    EXPECT_GT(best, 0.9);
    EXPECT_NEAR(static_cast<double>(bestLag), 312, 8) << "6.5 ms is how far the encoder looks ahead";
}

}  // namespace
}  // namespace qrn::test
