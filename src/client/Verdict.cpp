#include "client/Verdict.h"

#include <algorithm>
#include <cmath>

#include "client/CLevelMeter.h"
#include "client/FormatText.h"

namespace qrn {
namespace {

// Shares of the packets on a line without loss of its own; what the machine's scheduling costs stays far below.
constexpr double kMaxLostShare = 0.02;
constexpr double kMinPlayedShare = 0.95;
constexpr double kMinMatchedShare = 0.6;
constexpr double kMaxGainDb = 4.0;
constexpr double kMaxBandLossDb = 5.0;
constexpr int kMinSegments = 1;

double Share(std::uint64_t part, std::uint64_t whole) {
    return whole == 0 ? 0 : static_cast<double>(part) / static_cast<double>(whole);
}

void JudgePackets(const CallReport& report, std::vector<std::string>& faults) {
    if (report.packetsLost && report.packetsReceived) {
        const double lost = Share(*report.packetsLost, *report.packetsLost + *report.packetsReceived);
        if (lost > kMaxLostShare) {
            faults.push_back(FormatText("%.1f %% of the packets were lost", 100 * lost));
        }
    }
    if (report.packetsPlayed && report.packetsReceived) {
        const double played = Share(*report.packetsPlayed, *report.packetsReceived);
        if (report.packetsPlayed == 0) {
            faults.push_back("packets arrived, but none reached the decompressor");
        } else if (report.packetsSent && played < kMinPlayedShare) {
            faults.push_back(FormatText("only %.0f %% of the packets that arrived were played", 100 * played));
        }
    }
}

void JudgeLevels(const CallReport& report, std::vector<std::string>& faults) {
    const auto silent = [](double level) { return level <= kSilenceDbfs; };
    if (!report.levelOutDbfs.empty() && std::all_of(report.levelOutDbfs.begin(), report.levelOutDbfs.end(), silent)) {
        faults.push_back("the decompressor gave nothing but silence");
    }
}

void JudgeChannel(const ChannelFidelity& channel, std::size_t number, FidelityLimits limits,
                  std::vector<std::string>& faults) {
    const std::string name = FormatText("channel %zu: ", number);
    if (channel.segments < kMinSegments) {
        faults.push_back(name + "too little sound was sent to compare");
        return;
    }
    if (channel.matchedShare < kMinMatchedShare || channel.correlation < limits.minCorrelation) {
        faults.push_back(name + FormatText("what arrived is not what was sent (%.0f %% found again, correlation %.2f)",
                                           100 * channel.matchedShare, channel.correlation));
        return;
    }
    if (channel.snrDb < limits.minSnrDb) {
        faults.push_back(name + FormatText("the sound is disturbed (segmental SNR %.1f dB)", channel.snrDb));
    }
    if (std::abs(channel.gainDb) > kMaxGainDb) {
        faults.push_back(name + FormatText("the level has changed by %+.1f dB", channel.gainDb));
    }
    if (channel.bandLossDb > kMaxBandLossDb) {
        faults.push_back(name + FormatText("a part of the speech band is weaker by %.1f dB", channel.bandLossDb));
    }
}

}  // namespace

std::vector<std::string> FindCallFaults(const CallReport& report) {
    if (report.packetsSent == 0) {
        return {"no packet was sent"};
    }
    if (report.packetsReceived == 0) {
        return {"no packet arrived"};
    }
    std::vector<std::string> faults;
    JudgePackets(report, faults);
    JudgeLevels(report, faults);
    return faults;
}

std::vector<std::string> FindSoundFaults(const std::vector<ChannelFidelity>& channels, FidelityLimits limits) {
    std::vector<std::string> faults;
    for (std::size_t i = 0; i < channels.size(); ++i) {
        JudgeChannel(channels[i], i, limits, faults);
    }
    return faults;
}

}  // namespace qrn
