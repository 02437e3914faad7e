#pragma once
/// What a call came to, and how that is shown.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "client/Fidelity.h"
#include "client/NetworkFigures.h"

namespace qrn {

struct LatencySummary {
    double p50Ms = 0;
    double p99Ms = 0;
    std::uint64_t packets = 0;  // measured
};

/// Empty fields were not measured: a sender does not know what has arrived.
struct CallReport {
    std::string command;
    std::string codec;
    std::string farEnd;  // of a sender
    std::string output;  // where the sound went
    int kbps = 0;        // of one channel, as the codec snapped it
    int sampleRate = 0;
    int channels = 0;
    int port = 0;  // of a receiver
    double seconds = 0;
    std::optional<std::uint64_t> samplesIn;   // per channel
    std::optional<std::uint64_t> samplesOut;  // per channel
    std::optional<std::uint64_t> packetsSent;
    std::optional<std::uint64_t> codedBytesSent;  // the payloads of these
    std::optional<std::uint64_t> packetsReceived;
    std::optional<std::uint64_t> packetsLost;    // exact where both ends are known, else the gaps in the numbers
    std::optional<std::uint64_t> packetsPlayed;  // reached the decompressor
    std::optional<std::uint64_t> silentPackets;  // turns at which nothing had arrived in time
    double bitrateKbps = 0;                      // of the coded sound, without headers
    std::optional<LatencySummary> latency;       // compressor in to renderer in
    std::optional<SendFigures> sending;
    std::optional<ReceiveFigures> receiving;
    double cpuMsPerSecond = 0;        // of the whole program, while the call was carried
    std::vector<double> levelInDbfs;  // one entry a channel
    std::vector<double> levelOutDbfs;
    std::vector<ChannelFidelity> fidelity;
    double comparedSeconds = 0;
    /// Against what the codec alone makes of the input; only where the input is nothing that its waveform survives.
    std::vector<ChannelFidelity> codecFidelity;
    std::vector<std::string> faults;  // sentences; none when the call worked

    bool Ok() const { return faults.empty(); }
    /// Of the payload of one packet, on average.
    std::optional<double> PacketBytes() const;
};

/// Lines with a closing line feed each.
std::string FormatReport(const CallReport& report);

nlohmann::ordered_json ReportAsJson(const CallReport& report);
/// One object in one line; what was not measured is null.
std::string FormatReportAsJson(const CallReport& report);

/// What the second just past looked like.
struct StatusSample {
    double seconds = 0;
    std::optional<std::uint64_t> packetsSent;
    std::optional<std::uint64_t> packetsReceived;
    std::optional<std::uint64_t> packetsLost;
    double bitrateKbps = 0;  // in that second
    std::optional<double> latencyMs;
    std::optional<double> levelInDbfs;
    std::optional<double> levelOutDbfs;
    std::string trouble = {};  // as TroubleAsText has it
};

/// One line without a line feed.
std::string FormatStatus(const StatusSample& sample);

}  // namespace qrn
