#include "client/CallReport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <nlohmann/json.hpp>
#include <numbers>

#include "client/CLatencyStatistics.h"
#include "client/CLevelMeter.h"
#include "client/Verdict.h"

namespace qrn {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// Of a call in which all went well.
CallReport GoodReport() {
    CallReport report;
    report.command = "demo";
    report.codec = "gsm";
    report.kbps = 13;
    report.sampleRate = 8000;
    report.channels = 1;
    report.port = 5000;
    report.seconds = 10;
    report.samplesIn = 80000;
    report.samplesOut = 81280;
    report.packetsSent = 125;
    report.packetsReceived = 125;
    report.packetsLost = 0;
    report.packetsPlayed = 125;
    report.silentPackets = 1;
    report.bitrateKbps = 13.2;
    report.latency = LatencySummary{95.4, 120.9, 125};
    report.levelInDbfs = {-20.5};
    report.levelOutDbfs = {-20.9};
    report.fidelity = {{.segments = 18,
                        .matchedShare = 1,
                        .correlation = 0.985,
                        .snrDb = 15,
                        .gainDb = -0.4,
                        .delayMs = 240,
                        .bandLossDb = 1.2}};
    report.comparedSeconds = 10;
    return report;
}

struct FaultCase {
    const char* name;
    std::function<void(CallReport&)> change;
    const char* sentence;  // null: still a good call
};
void PrintTo(const FaultCase& test, std::ostream* out) {
    *out << test.name;
}

class Verdict : public testing::TestWithParam<FaultCase> {};

TEST_P(Verdict, NamesTheFault) {
    CallReport report = GoodReport();
    GetParam().change(report);
    std::vector<std::string> faults = FindCallFaults(report);
    for (const std::string& fault : FindSoundFaults(report.fidelity, FindCodec("gsm")->limits)) {
        faults.push_back(fault);
    }
    if (GetParam().sentence == nullptr) {
        EXPECT_THAT(faults, IsEmpty());
    } else {
        EXPECT_THAT(faults, ElementsAre(HasSubstr(GetParam().sentence)));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Reports, Verdict,
    testing::Values(
        FaultCase{"None", [](CallReport&) {}, nullptr},
        FaultCase{"NothingSent", [](CallReport& r) { r.packetsSent = 0; }, "no packet was sent"},
        FaultCase{"NothingReceived", [](CallReport& r) { r.packetsReceived = 0; }, "no packet arrived"},
        FaultCase{"OneLost", [](CallReport& r) { r.packetsLost = 1; }, nullptr},
        FaultCase{"TenLost", [](CallReport& r) { r.packetsLost = 10; }, "7.4 % of the packets were lost"},
        FaultCase{"NonePlayed", [](CallReport& r) { r.packetsPlayed = 0; }, "none reached the decompressor"},
        FaultCase{"HalfPlayed", [](CallReport& r) { r.packetsPlayed = 62; }, "only 50 % of the packets"},
        FaultCase{"SilentOutput", [](CallReport& r) { r.levelOutDbfs = {kSilenceDbfs}; }, "nothing but silence"},
        FaultCase{"TooShort", [](CallReport& r) { r.fidelity[0].segments = 0; }, "too little sound"},
        FaultCase{"OtherSound", [](CallReport& r) { r.fidelity[0].correlation = 0.9; }, "not what was sent"},
        FaultCase{"FewSegmentsFound", [](CallReport& r) { r.fidelity[0].matchedShare = 0.5; }, "50 % found again"},
        FaultCase{"Noisy", [](CallReport& r) { r.fidelity[0].snrDb = 9; }, "segmental SNR 9.0 dB"},
        FaultCase{"Quieter", [](CallReport& r) { r.fidelity[0].gainDb = -6; }, "changed by -6.0 dB"},
        FaultCase{"Louder", [](CallReport& r) { r.fidelity[0].gainDb = 6; }, "changed by +6.0 dB"},
        FaultCase{"Dull", [](CallReport& r) { r.fidelity[0].bandLossDb = 9; }, "weaker by 9.0 dB"}),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST(CallReport, SaysTheSameInTextAndJson) {
    CallReport report = GoodReport();
    report.faults = {"1 % of the packets were \"lost\""};
    const auto json = nlohmann::json::parse(FormatReportAsJson(report));
    EXPECT_EQ(json["ok"], false);
    EXPECT_EQ(json["codec"], "gsm");
    EXPECT_EQ(json["packets_sent"], 125);
    EXPECT_EQ(json["latency"]["p99_ms"], 120.9);
    EXPECT_EQ(json["fidelity"][0]["segmental_snr_db"], 15.0);
    EXPECT_EQ(json["faults"][0], report.faults[0]);
    EXPECT_EQ(FormatReportAsJson(report).find('\n'), std::string::npos);

    const std::string text = FormatReport(report);
    for (const char* part :
         {"gsm, 13 kbit/s, 8000 Hz, 1 channel\n", "in 80000, out 81280", "sent 125, received 125, lost 0",
          "13.2 kbit/s", "p50 95.4 ms, p99 120.9 ms", "-20.5 dBFS", "-20.9 dBFS",
          "correlation 0.985, segmental SNR 15.0 dB", report.faults[0].c_str(), "failed\n"}) {
        EXPECT_THAT(text, HasSubstr(part));
    }
    EXPECT_EQ(nlohmann::json::parse(FormatReportAsJson(GoodReport()))["ok"], true);
    EXPECT_THAT(FormatReport(GoodReport()), HasSubstr("result       ok\n"));
}

TEST(CallReport, TellsWhatTheNetworkCounted) {
    CallReport report = GoodReport();
    report.seconds = 2;
    SendFigures& sending = report.sending.emplace();
    sending.session.datagrams = 100;
    sending.session.bytes = 22'200;
    sending.session.failures = 3;
    ReceiveFigures& receiving = report.receiving.emplace();
    receiving.session.kernelDrops = 4;
    receiving.session.late = 5;
    receiving.session.bufferBytes = 32768;
    receiving.srtp.emplace().notAuthentic = 6;
    receiving.srtp->replayed = 7;
    report.codedBytesSent = 125 * 132;

    const auto json = nlohmann::json::parse(FormatReportAsJson(report));
    EXPECT_EQ(json["wire_kbps"], 100.0) << "25000 bytes with their headers in 2 s";
    EXPECT_EQ(json["packet_bytes"], 132.0);
    EXPECT_EQ(json["sending"]["failures"], 3);
    EXPECT_TRUE(json["sending"]["srtp"].is_null());
    EXPECT_EQ(json["receiving"]["kernel_drops"], 4);
    EXPECT_EQ(json["receiving"]["srtp"]["not_authentic"], 6);
    EXPECT_EQ(json["receiving"]["buffer_bytes"], 32768);
    EXPECT_EQ(TroubleAsText(receiving), "  late 5  dropped by this machine 4  not authentic 6  replayed 7");
    EXPECT_EQ(TroubleAsText(ReceiveFigures{}), "");
    const std::string text = FormatReport(report);
    for (const char* part : {"100 datagrams, 22200 bytes", "not taken by the system 3", "dropped by this machine 4",
                             "buffer of 32 KiB", "not authentic 6, replayed 7"}) {
        EXPECT_THAT(text, HasSubstr(part));
    }
}

TEST(CallReport, LeavesOutWhatWasNotMeasured) {
    CallReport report;
    report.codec = "opus";
    const auto json = nlohmann::json::parse(FormatReportAsJson(report));
    for (const char* name : {"samples_out", "packets_received", "latency", "fidelity", "far_end", "port"}) {
        EXPECT_TRUE(json[name].is_null()) << name;
    }
    EXPECT_THAT(FormatReport(report), HasSubstr("received not known"));
}

TEST(CallReport, IsJsonAlsoWithBytesThatAreNoText) {
    CallReport report;
    report.farEnd = "\xFF\xFE";
    EXPECT_TRUE(nlohmann::json::accept(FormatReportAsJson(report)));
}

TEST(CallReport, ShowsTheSecondInALine) {
    EXPECT_EQ(
        FormatStatus({.seconds = 3,
                      .packetsSent = 38,
                      .packetsReceived = 37,
                      .packetsLost = 1,
                      .bitrateKbps = 13.2,
                      .latencyMs = 94.6,
                      .levelInDbfs = -20.51,
                      .levelOutDbfs = -20.9,
                      .trouble = "  late 2"}),
        "   3.0 s  sent 38  received 37  lost 1  13.2 kbit/s  late 2  latency 95 ms  in -20.5 dBFS  out -20.9 dBFS");
    StatusSample sender;
    sender.seconds = 1;
    sender.packetsSent = 12;
    sender.bitrateKbps = 13;
    EXPECT_EQ(FormatStatus(sender), "   1.0 s  sent 12  13.0 kbit/s");
}

TEST(LatencyStatistics, GivesNearestRanks) {
    CLatencyStatistics statistics;
    EXPECT_FALSE(statistics.PercentileMs(50));
    EXPECT_FALSE(statistics.LastMs());
    for (int i = 200; i >= 1; --i) {
        statistics.Add(i);
    }
    EXPECT_EQ(statistics.PercentileMs(0), 1);
    EXPECT_EQ(statistics.PercentileMs(50), 100);
    EXPECT_EQ(statistics.PercentileMs(99), 198);
    EXPECT_EQ(statistics.PercentileMs(100), 200);
    EXPECT_EQ(statistics.LastMs(), 1);
}

TEST(LevelMeter, MeasuresChannelsApart) {
    CLevelMeter meter(2);
    EXPECT_THAT(meter.TotalDbfs(), ElementsAre(kSilenceDbfs, kSilenceDbfs));
    std::vector<std::int16_t> block;
    for (int i = 0; i < 8000; ++i) {
        block.push_back(static_cast<std::int16_t>(32767 * std::sin(2 * std::numbers::pi * i / 80)));
        block.push_back(i % 2 == 0 ? 328 : -328);
    }
    meter.Add(block);
    EXPECT_NEAR(meter.TotalDbfs()[0], -3.01, 0.01);
    EXPECT_NEAR(meter.TotalDbfs()[1], -40.0, 0.01);
    EXPECT_NEAR(meter.TakeRecentDbfs(), -3.01, 0.01);
    EXPECT_EQ(meter.TakeRecentDbfs(), kSilenceDbfs) << "nothing since";
    EXPECT_TRUE(meter.HeardAnything());
}

TEST(LevelMeter, TakesZerosForSilence) {
    CLevelMeter meter(1);
    meter.Add(std::vector<std::int16_t>(100, 0));
    EXPECT_FALSE(meter.HeardAnything());
    EXPECT_EQ(meter.TotalDbfs()[0], kSilenceDbfs);
}

}  // namespace
}  // namespace qrn
