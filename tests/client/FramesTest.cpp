// Made-up frames: what is in them, how they come, and what is made of what arrives.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <nlohmann/json.hpp>

#include "client/AudioTypes.h"
#include "client/CBurstCounter.h"
#include "client/CFrameMeter.h"
#include "client/CFrameSourceFilter.h"
#include "client/CGraph.h"
#include "client/CNullRenderer.h"
#include "client/CTapFilter.h"
#include "client/FrameContents.h"
#include "client/FrameReport.h"

namespace qrn {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Bytes = std::vector<std::uint8_t>;

Bytes MakeFrame(std::uint32_t number, milliseconds sentAt = milliseconds(0), std::size_t bytes = 100) {
    Bytes frame(bytes);
    WriteFrame({number, 40'000, sentAt}, frame);
    return frame;
}

struct HarmCase {
    const char* name;
    std::function<void(Bytes&)> harm;
    FrameState state;
};
void PrintTo(const HarmCase& test, std::ostream* out) {
    *out << test.name;
}

class Frames : public testing::TestWithParam<HarmCase> {};

TEST_P(Frames, AreKnownAgain) {
    Bytes frame = MakeFrame(0x01020304, milliseconds(1234567890123));
    GetParam().harm(frame);
    FrameHeader header;
    EXPECT_EQ(ReadFrame(frame, header), GetParam().state);
    if (GetParam().state == FrameState::kWhole) {
        EXPECT_EQ(header.number, 0x01020304u);
        EXPECT_EQ(header.periodUs, 40'000u);
        EXPECT_EQ(header.sentAt, milliseconds(1234567890123));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Harms, Frames,
    testing::Values(HarmCase{"None", [](Bytes&) {}, FrameState::kWhole},
                    HarmCase{"FirstBit", [](Bytes& b) { b[0] ^= 0x80; }, FrameState::kForeign},
                    HarmCase{"Number", [](Bytes& b) { b[11] ^= 1; }, FrameState::kDamaged},
                    HarmCase{"Checksum", [](Bytes& b) { b[31] ^= 1; }, FrameState::kDamaged},
                    HarmCase{"LastBit", [](Bytes& b) { b.back() ^= 1; }, FrameState::kDamaged},
                    HarmCase{"Swapped", [](Bytes& b) { std::swap(b[50], b[51]); }, FrameState::kDamaged},
                    HarmCase{"CutShort", [](Bytes& b) { b.pop_back(); }, FrameState::kDamaged},
                    HarmCase{"Lengthened", [](Bytes& b) { b.push_back(0); }, FrameState::kDamaged},
                    HarmCase{"HeaderOnly", [](Bytes& b) { b.resize(kFrameHeaderBytes); }, FrameState::kDamaged},
                    HarmCase{"LessThanAHeader", [](Bytes& b) { b.resize(kFrameHeaderBytes - 1); },
                             FrameState::kForeign},
                    HarmCase{"Nothing", [](Bytes& b) { b.clear(); }, FrameState::kForeign}),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST(FrameMeter, CountsWhatCameAndWhatDidNot) {
    CFrameMeter meter;
    EXPECT_FALSE(meter.DelaysSoFar());
    Bytes damaged = MakeFrame(6);
    damaged.back() ^= 1;
    meter.OnFrame(MakeFrame(5, milliseconds(1000)), milliseconds(1010));  // the fastest
    meter.OnFrame(damaged, milliseconds(0));
    meter.OnFrame(MakeFrame(9, milliseconds(2000)), milliseconds(2051));  // a period of 40 ms behind, and more
    meter.OnFrame(MakeFrame(8, milliseconds(3000)), milliseconds(3050));  // just a period behind
    meter.OnFrame(Bytes(100), milliseconds(0));
    const auto counts = meter.Total();
    EXPECT_EQ(counts.whole, 3u);
    EXPECT_EQ(counts.damaged, 1u);
    EXPECT_EQ(counts.foreign, 1u);
    EXPECT_EQ(counts.missing, 1u) << "number 7; 6 came, if damaged";
    EXPECT_EQ(counts.bytes, 300u);
    const auto delays = meter.DelaysSoFar();
    EXPECT_EQ(delays->late, 1u);
    EXPECT_NEAR(delays->p50Ms, 50, 0.01);
    EXPECT_NEAR(delays->p99Ms, 51, 0.01);
    EXPECT_NEAR(delays->spreadP99Ms, 41, 0.01);
    EXPECT_NEAR(*meter.LastDelayMs(), 50, 0.01);
}

TEST(FrameMeter, KeepsLatenessWhateverTheClocksDifferBy) {
    CFrameMeter meter;
    for (std::uint32_t i = 0; i < 10; ++i) {  // the far end's clock is an hour ahead
        meter.OnFrame(MakeFrame(i, milliseconds(3'600'000 + 40 * i)), milliseconds(40 * i + (i == 7 ? 45 : 3)));
    }
    EXPECT_EQ(meter.DelaysSoFar()->late, 1u);
    EXPECT_NEAR(meter.DelaysSoFar()->spreadP99Ms, 42, 0.3) << "kept in single precision";
}

TEST(BurstCounter, TellsBurstsApartByThePausesBetweenThem) {
    CBurstCounter counter;
    EXPECT_EQ(counter.Total().count, 0u);
    std::uint64_t datagrams = 0;
    milliseconds now{0};
    const auto look = [&](std::uint64_t more, int pauseMs) {
        datagrams += more;
        counter.Look(now, datagrams);
        for (int i = 0; i < pauseMs; ++i) {
            now += milliseconds(1);
            counter.Look(now, datagrams);
        }
    };
    look(5, 29);
    look(3, 2);  // seen in two looks
    look(2, 29);
    look(30, 5);
    look(1, 0);  // has not ended
    const auto bursts = counter.Total();
    EXPECT_EQ(bursts.count, 4u);
    EXPECT_EQ(bursts.median, 5u);
    EXPECT_EQ(bursts.longest, 30u);
}

TEST(FrameSource, GivesFramesInTheirTimeAndSize) {
    CFrameMeter meter;
    std::vector<std::size_t> sizes;
    std::vector<REFERENCE_TIME> starts;
    const auto source = CFrameSourceFilter::Create({.bytes = 100, .perSecond = 50, .keyBytes = 700, .keyEvery = 3});
    const auto tap = CTapFilter::Create(L"tap", [&](IMediaSample& sample) {
        const auto frame = BytesOf(sample);
        REFERENCE_TIME start = 0;
        REFERENCE_TIME stop = 0;
        sample.GetTime(&start, &stop);
        meter.OnFrame(frame, milliseconds(0));
        sizes.push_back(frame.size());
        starts.push_back(start);
        if (sizes.size() == 7) {
            source->Frames().Finish();
        }
    });
    const auto renderer = CNullRenderer::Create();
    CGraph graph;
    graph.Add(source.Get(), "source");
    graph.Add(tap.Get(), "tap");
    graph.Add(renderer.Get(), "renderer");
    graph.Connect(source.Get(), tap.Get());
    graph.Connect(tap.Get(), renderer.Get());
    graph.Run();
    const auto end = graph.WaitForEnd(20'000);
    graph.Stop();
    ASSERT_TRUE(end);
    EXPECT_FALSE(end->failed);
    EXPECT_THAT(sizes, ElementsAre(700, 100, 100, 700, 100, 100, 700));
    EXPECT_EQ(starts[6], 6 * 200'000);
    EXPECT_EQ(meter.Total().whole, 7u);
    EXPECT_EQ(meter.Total().missing, 0u);
    EXPECT_EQ(source->Frames().FramesGiven(), 7u);
    EXPECT_EQ(source->Frames().BytesGiven(), 2500u);
}

FrameReport GoodReport() {
    FrameReport report;
    report.command = "demo";
    report.port = 5000;
    report.seconds = 4;
    report.kbps = 800.5;
    report.framesSent = 100;
    report.received = CFrameMeter::Counts{.whole = 100, .bytes = 400'000};
    report.lost = 0;
    report.delays = CFrameMeter::Delays{6.5, 9.25, 4.5, 2};
    report.bursts = CBurstCounter::Bursts{20, 5, 19};
    report.sending.emplace();
    report.receiving.emplace().session.kernelDrops = 77;
    return report;
}

TEST(FrameReports, NameTheFault) {
    FrameReport report = GoodReport();
    EXPECT_THAT(FindFrameFaults(report), IsEmpty());
    report.lost = 2;
    EXPECT_THAT(FindFrameFaults(report), IsEmpty()) << "two in a hundred";
    report.lost = 3;
    EXPECT_THAT(FindFrameFaults(report), ElementsAre("3 of 100 frames did not arrive"));
    report.framesSent.reset();
    EXPECT_THAT(FindFrameFaults(report), IsEmpty()) << "what a network loses is what a receiver is asked to measure";
    report.received->damaged = 1;
    EXPECT_THAT(FindFrameFaults(report), ElementsAre("1 frames were delivered damaged"));
    report.received->whole = 0;
    EXPECT_THAT(FindFrameFaults(report), ElementsAre("no frame arrived whole"));
    report.received->foreign = 1;
    EXPECT_THAT(FindFrameFaults(report), ElementsAre("what arrived are no frames of this program"));
    report.framesSent = 0;
    EXPECT_THAT(FindFrameFaults(report), ElementsAre("no frame was sent"));
}

TEST(FrameReports, SayTheSameInTextAndJson) {
    const auto json = nlohmann::json::parse(FormatFrameReportAsJson(GoodReport()));
    EXPECT_EQ(json["frames_sent"], 100);
    EXPECT_EQ(json["frames_received"]["whole"], 100);
    EXPECT_EQ(json["frames_received"]["late"], 2);
    EXPECT_EQ(json["bursts"]["longest_datagrams"], 19);
    EXPECT_EQ(json["latency"]["over_fastest_p99_ms"], 4.5);
    EXPECT_EQ(json["receiving"]["kernel_drops"], 77);
    const std::string text = FormatFrameReport(GoodReport());
    for (const char* part :
         {"sent 100, received whole 100, damaged 0, lost 0, late 2", "800.5 kbit/s",
          "20, of 5 datagrams (median), the longest of 19", "dropped by this machine 77",
          "p50 6.5 ms, p99 9.2 ms by the two clocks; p99 4.5 ms over the fastest", "result       ok"}) {
        EXPECT_THAT(text, HasSubstr(part));
    }
    EXPECT_EQ(FormatFrameStatus(GoodReport(), 790, 6.4),
              "   4.0 s  sent 100  received 100  lost 0  790.0 kbit/s  latency 6 ms  dropped by this machine 77");
    const auto sender = nlohmann::json::parse(FormatFrameReportAsJson(FrameReport{}));
    for (const char* name : {"frames_received", "latency", "bursts", "receiving", "port", "far_end"}) {
        EXPECT_TRUE(sender[name].is_null()) << name;
    }
}

}  // namespace
}  // namespace qrn
