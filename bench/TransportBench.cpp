// What our transport costs beside the least that the system allows.
//
// Frames go from one thread to another over loopback: through our sessions, and through two bare programs that do with
// the same datagrams what cannot be left out, by several datagrams a call ("calls") and cut and put together by the
// system ("offload"). Ours is measured twice, the second time on a system that says it has no offload. All take turns
// in one run, so that what else the machine does meets all of them alike, and the figures are medians of the rounds.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "transport/Ends.h"
#include "transport/Offload.h"
#include "transport/Pacing.h"
#include "transport/Parity.h"
#include "transport/Statistics.h"
#include "transport/Transfer.h"

namespace {

using namespace qrn::bench;

constexpr std::size_t kFrameSizes[] = {1000, 4000, 20'000, kLargestFrame};
constexpr std::size_t kBytesPerTurn = 48'000'000;
constexpr std::size_t kMostFramesPerTurn = 20'000;
constexpr int kRounds = 9;
constexpr std::size_t kLatencyFrames = 60;
constexpr int kLatencyRounds = 5;

// What is promised.
constexpr double kMostOfOffload = 1.6;           // CPU, for frames of many packets
constexpr double kMostOfCallsWithOffload = 0.5;  // CPU, for frames of many packets
constexpr double kMostOfCalls = 1.25;            // CPU, for frames of one packet, and for all without offload
constexpr double kMostLatencyUs = 30;            // above the quicker bare program
constexpr double kMostOfCopy = 2;                // folding a packet
constexpr double kMostRateError = 0.03;
constexpr std::size_t kFewestOfMany = 20'000;  // bytes

struct PatternName {
    Pattern pattern;
    const char* text;
};
constexpr PatternName kPatterns[] = {{Pattern::kStream, "the receiver at it all the time, sleeping and woken"},
                                     {Pattern::kBatches, "the receiver let loose on half a window at a time"}};

int g_missed = 0;

const char* Judge(bool isMet) {
    g_missed += isMet ? 0 : 1;
    return isMet ? "met" : "MISSED";
}

/// One of those that take turns.
struct Contender {
    const char* name;
    Transport transport;
    std::vector<double> cpu{};      // seconds a gigabyte, one a round
    std::vector<double> goodput{};  // megabytes a second
    std::vector<double> packets{};  // a second
    double datagramsPerCall = 0;
};

Transport MakeOursWithoutOffload() {
    HideOffload(true);
    Transport transport = MakeOurTransport();
    HideOffload(false);
    return transport;
}

std::vector<Contender> MakeContenders() {
    std::vector<Contender> contenders;
    contenders.push_back({"ours", MakeOurTransport()});
    contenders.push_back({"calls", MakeManyCallsTransport()});
    if (HasOffload()) {
        contenders.push_back({"offload", MakeOffloadTransport()});
        contenders.push_back({"ours, no offload", MakeOursWithoutOffload()});
    }
    return contenders;
}

void TakeTurn(Contender& contender, Pattern pattern, std::size_t frameBytes) {
    const std::size_t frames = std::min(kBytesPerTurn / frameBytes, kMostFramesPerTurn);
    const TransferFigures figures = Transfer(contender.transport, pattern, frameBytes, frames);
    contender.cpu.push_back(figures.CpuPerGigabyte());
    contender.goodput.push_back(static_cast<double>(figures.bytes) / figures.seconds / 1e6);
    contender.packets.push_back(static_cast<double>(figures.datagrams) / figures.seconds);
    contender.datagramsPerCall = static_cast<double>(figures.datagrams) / static_cast<double>(figures.systemCalls);
}

/// The median of the rounds' ratios: both took their turn at about the same time.
double Ratio(const std::vector<double>& ours, const std::vector<double>& theirs) {
    std::vector<double> ratios;
    for (std::size_t i = 0; i < ours.size(); ++i) {
        ratios.push_back(ours[i] / theirs[i]);
    }
    return Median(ratios);
}

void PrintRatio(const char* what, const Contender& ours, const Contender& theirs, double most) {
    const double ratio = Ratio(ours.cpu, theirs.cpu);
    std::printf("%9s %-18s CPU / %-10s %6.2f   target %5.2f  %s\n", what, ours.name, theirs.name, ratio, most,
                Judge(ratio <= most));
}

void JudgeTransfer(std::size_t frameBytes, const std::vector<Contender>& contenders) {
    const std::string bytes = std::to_string(frameBytes);
    const Contender& ours = contenders[0];
    const Contender& calls = contenders[1];
    if (contenders.size() == 2) {
        PrintRatio(bytes.c_str(), ours, calls, kMostOfCalls);
        return;
    }
    if (frameBytes >= kFewestOfMany) {
        PrintRatio(bytes.c_str(), ours, contenders[2], kMostOfOffload);
        PrintRatio(bytes.c_str(), ours, calls, kMostOfCallsWithOffload);
    } else if (frameBytes <= kPayloadBytes) {
        PrintRatio(bytes.c_str(), ours, calls, kMostOfCalls);
    }
    PrintRatio(bytes.c_str(), contenders[3], calls, kMostOfCalls);
}

void MeasureTransfer(const PatternName& pattern) {
    std::vector<std::vector<Contender>> all;
    for (const std::size_t frameBytes : kFrameSizes) {
        all.push_back(MakeContenders());
        for (Contender& contender : all.back()) {
            Transfer(contender.transport, pattern.pattern, frameBytes, 100);
        }
    }
    for (int round = 0; round < kRounds; ++round) {
        for (std::size_t i = 0; i < all.size(); ++i) {
            // Another one begins each time.
            for (std::size_t j = 0; j < all[i].size(); ++j) {
                TakeTurn(all[i][(j + static_cast<std::size_t>(round)) % all[i].size()], pattern.pattern,
                         kFrameSizes[i]);
            }
        }
    }
    std::printf("\nframes over loopback, nothing lost, %s; medians of %d rounds\n", pattern.text, kRounds);
    std::printf("%9s %-18s %9s %12s %12s %16s\n", "frame", "", "MB/s", "packets/s", "CPU s/GB", "datagrams/call");
    for (std::size_t i = 0; i < all.size(); ++i) {
        for (const Contender& contender : all[i]) {
            std::printf("%9zu %-18s %9.0f %12.0f %12.3f %16.1f\n", kFrameSizes[i], contender.name,
                        Median(contender.goodput), Median(contender.packets), Median(contender.cpu),
                        contender.datagramsPerCall);
        }
    }
    std::printf("\n");
    for (std::size_t i = 0; i < all.size(); ++i) {
        JudgeTransfer(kFrameSizes[i], all[i]);
    }
}

void MeasureTransfers() {
    for (const PatternName& pattern : kPatterns) {
        MeasureTransfer(pattern);
    }
}

void MeasureLatencies() {
    std::printf("\nmicroseconds from SendFrame to the whole frame at 100 frames a second; medians of %d\n",
                kLatencyRounds * static_cast<int>(kLatencyFrames));
    for (const std::size_t frameBytes : {std::size_t{1000}, std::size_t{20'000}}) {
        const std::vector<Contender> contenders = MakeContenders();
        std::vector<std::vector<double>> all(contenders.size());
        for (int round = 0; round < kLatencyRounds; ++round) {
            for (std::size_t i = 0; i < contenders.size(); ++i) {
                const std::vector<double> some = MeasureLatency(contenders[i].transport, frameBytes, kLatencyFrames);
                all[i].insert(all[i].end(), some.begin(), some.end());
            }
        }
        double quickest = Median(all[1]);
        std::printf("%9zu", frameBytes);
        for (std::size_t i = 0; i < contenders.size(); ++i) {
            std::printf("   %s %.0f (99 %%: %.0f)", contenders[i].name, Median(all[i]), Quantile(all[i], 0.99));
            quickest = i == 2 ? std::min(quickest, Median(all[i])) : quickest;
        }
        const double added = Median(all[0]) - quickest;
        std::printf("\n%9s ours adds %.0f   target %.0f  %s\n", "", added, kMostLatencyUs,
                    Judge(added <= kMostLatencyUs));
    }
}

void MeasureParity() {
    std::printf("\nparity\n");
    for (const std::uint32_t group : {2u, 5u, 24u}) {
        const FoldingCost cost = MeasureFolding(group);
        std::printf("%9s groups of %2u: folding a packet %.0f ns, copying it %.0f ns: %.2f   target %.2f  %s\n", "",
                    group, cost.fold, cost.copy, cost.fold / cost.copy, kMostOfCopy,
                    Judge(cost.fold <= kMostOfCopy * cost.copy));
    }
    // A whole number of groups of 1076 bytes of payload.
    constexpr std::size_t kFramePackets = 20;
    constexpr std::size_t kFrameBytes = kFramePackets * 1076;
    constexpr std::size_t kFrames = 1000;
    constexpr std::uint32_t kGroups[] = {0, 2, 5, 20};
    std::vector<Contender> contenders;
    for (const std::uint32_t group : kGroups) {
        contenders.push_back({"", MakeOurTransport(group)});
    }
    std::vector<std::uint64_t> datagrams(contenders.size());
    for (int round = 0; round < kRounds; ++round) {
        for (std::size_t i = 0; i < contenders.size(); ++i) {
            const TransferFigures figures = Transfer(contenders[i].transport, Pattern::kBatches, kFrameBytes, kFrames);
            contenders[i].cpu.push_back(figures.CpuPerGigabyte());
            datagrams[i] += figures.datagrams;
        }
    }
    const std::uint64_t media = kFrames * kFramePackets * kRounds;
    for (std::size_t i = 1; i < contenders.size(); ++i) {
        std::printf("%9s groups of %2u: %llu datagrams for %llu packets, CPU %.2f times that without parity  %s\n", "",
                    kGroups[i], static_cast<unsigned long long>(datagrams[i]), static_cast<unsigned long long>(media),
                    Ratio(contenders[i].cpu, contenders[0].cpu), Judge(datagrams[i] == media + media / kGroups[i]));
    }
}

void MeasurePaces() {
    std::printf("\nthe paced sender as it arrives\n");
    struct Pace {
        std::uint32_t burstPackets;
        std::uint32_t rateKbit;
    };
    for (const Pace pace : {Pace{5, 1500}, Pace{5, 4000}, Pace{10, 8000}}) {
        const PacingFigures figures = MeasurePacing(pace.burstPackets, pace.rateKbit, 3);
        const double error = figures.kbitPerSecond / figures.formulaKbitPerSecond - 1;
        const bool isMet = std::abs(error) <= kMostRateError && figures.longestBurst <= pace.burstPackets;
        std::printf(
            "%9s %2u packets, %u kbit/s: %.0f kbit/s of %.0f (%+.1f %%, target %.0f %%), longest burst %zu, "
            "shortest pause %.1f ms of %u  %s\n",
            "", pace.burstPackets, pace.rateKbit, figures.kbitPerSecond, figures.formulaKbitPerSecond, 100 * error,
            100 * kMostRateError, figures.longestBurst, figures.worstPauseMs, figures.formulaPauseMs, Judge(isMet));
    }
}

}  // namespace

int main(int argc, char** argv) {
    struct Section {
        std::string name;
        void (*measure)();
    };
    const std::vector<Section> sections{{"transfer", MeasureTransfers},
                                        {"latency", MeasureLatencies},
                                        {"parity", MeasureParity},
                                        {"pacing", MeasurePaces}};
    std::printf("offload by the system: %s; receive buffer granted: %zu bytes\n", HasOffload() ? "yes" : "no",
                GrantedReceiveBuffer());
    bool isKnown = argc < 2;
    for (const Section& section : sections) {
        if (argc < 2 || argv[1] == section.name) {
            isKnown = true;
            section.measure();
        }
    }
    if (!isKnown) {
        std::fprintf(stderr, "usage: bench_transport [transfer|latency|parity|pacing]\n");
        return 2;
    }
    std::printf("\n%d targets missed\n", g_missed);
    return 0;
}
