#include "client/CallReport.h"

#include <nlohmann/json.hpp>

#include "client/FormatText.h"

namespace qrn {
namespace {

using Json = nlohmann::ordered_json;

std::string Count(const std::optional<std::uint64_t>& count) {
    return count ? std::to_string(*count) : "not known";
}

std::string Levels(const std::vector<double>& levels) {
    std::string text;
    for (const double level : levels) {
        text += (text.empty() ? "" : ", ") + FormatText("%.1f dBFS", level);
    }
    return text.empty() ? "not measured" : text;
}

/// One line of the report, its name in a column of its own.
std::string Line(const char* name, const std::string& text) {
    return FormatText("%-12s ", name) + text + "\n";
}

std::string PacketsLine(const CallReport& report) {
    std::string text = "sent " + Count(report.packetsSent) + ", received " + Count(report.packetsReceived) + ", lost " +
                       Count(report.packetsLost);
    if (report.packetsPlayed && report.silentPackets) {
        text += ", played " + Count(report.packetsPlayed) + ", replaced by silence " + Count(report.silentPackets);
    }
    return text;
}

std::string FidelityLine(const ChannelFidelity& channel) {
    return FormatText(
        "correlation %.3f, segmental SNR %.1f dB, gain %+.1f dB, worst band %.1f dB lost, %.0f %% of %d segments found "
        "after %.0f ms",
        channel.correlation, channel.snrDb, channel.gainDb, channel.bandLossDb, 100 * channel.matchedShare,
        channel.segments, channel.delayMs);
}

std::string SrtpLines(const CallReport& report) {
    std::string text;
    if (report.sending && report.sending->srtp) {
        text += Line("encrypted", SrtpAsText(*report.sending->srtp));
    }
    if (report.receiving && report.receiving->srtp) {
        text += Line("decrypted", SrtpAsText(*report.receiving->srtp));
    }
    return text;
}

template <class T>
Json OrNull(const std::optional<T>& value) {
    return value ? Json(*value) : Json(nullptr);
}

/// Enough digits to judge by, and none that only repeat the binary form.
double Rounded(double value) {
    return static_cast<double>(static_cast<long long>(value * 1000 + (value < 0 ? -0.5 : 0.5))) / 1000;
}

Json RoundedList(const std::vector<double>& values) {
    Json list = Json::array();
    for (const double value : values) {
        list.push_back(Rounded(value));
    }
    return list;
}

Json LatencyAsJson(const std::optional<LatencySummary>& latency) {
    if (!latency) {
        return nullptr;
    }
    return {{"p50_ms", Rounded(latency->p50Ms)}, {"p99_ms", Rounded(latency->p99Ms)}, {"packets", latency->packets}};
}

Json FidelityAsJson(const std::vector<ChannelFidelity>& fidelity) {
    if (fidelity.empty()) {
        return nullptr;
    }
    Json channels = Json::array();
    for (const ChannelFidelity& channel : fidelity) {
        channels.push_back({{"correlation", Rounded(channel.correlation)},
                            {"segmental_snr_db", Rounded(channel.snrDb)},
                            {"gain_db", Rounded(channel.gainDb)},
                            {"band_loss_db", Rounded(channel.bandLossDb)},
                            {"matched_share", Rounded(channel.matchedShare)},
                            {"segments", channel.segments},
                            {"delay_ms", Rounded(channel.delayMs)}});
    }
    return channels;
}

}  // namespace

std::string FormatReport(const CallReport& report) {
    std::string text =
        Line("codec", FormatText("%s, %d kbit/s, %d Hz, %d %s", report.codec.c_str(), report.kbps, report.sampleRate,
                                 report.channels, report.channels == 1 ? "channel" : "channels"));
    if (!report.farEnd.empty()) {
        text += Line("far end", report.farEnd);
    }
    if (report.port != 0) {
        text += Line("port", std::to_string(report.port));
    }
    if (!report.output.empty()) {
        text += Line("output", report.output);
    }
    text += Line("duration", FormatText("%.1f s", report.seconds));
    text += Line("samples", "in " + Count(report.samplesIn) + ", out " + Count(report.samplesOut));
    text += Line("packets", PacketsLine(report));
    text += Line("bitrate", FormatText("%.1f kbit/s", report.bitrateKbps));
    if (report.sending) {
        text += Line("sending", FiguresAsText(*report.sending));
    }
    if (report.receiving) {
        text += Line("receiving", FiguresAsText(*report.receiving));
    }
    text += SrtpLines(report);
    if (report.latency) {
        text += Line("latency", FormatText("p50 %.1f ms, p99 %.1f ms (compressor in to renderer in, %llu packets)",
                                           report.latency->p50Ms, report.latency->p99Ms,
                                           static_cast<unsigned long long>(report.latency->packets)));
    }
    text += Line("level in", Levels(report.levelInDbfs));
    text += Line("level out", Levels(report.levelOutDbfs));
    for (const ChannelFidelity& channel : report.fidelity) {
        text += Line("fidelity", FidelityLine(channel));
    }
    for (const ChannelFidelity& channel : report.codecFidelity) {
        text += Line("codec alone", FidelityLine(channel));
    }
    for (const std::string& fault : report.faults) {
        text += Line("fault", fault);
    }
    return text + Line("result", report.Ok() ? "ok" : "failed");
}

std::optional<double> CallReport::PacketBytes() const {
    if (!codedBytesSent || packetsSent.value_or(0) == 0) {
        return std::nullopt;
    }
    return static_cast<double>(*codedBytesSent) / static_cast<double>(*packetsSent);
}

Json ReportAsJson(const CallReport& report) {
    const auto packetBytes = report.PacketBytes();
    return {
        {"ok", report.Ok()},
        {"command", report.command},
        {"codec", report.codec},
        {"kbps", report.kbps},
        {"sample_rate", report.sampleRate},
        {"channels", report.channels},
        {"far_end", report.farEnd.empty() ? Json(nullptr) : Json(report.farEnd)},
        {"port", report.port == 0 ? Json(nullptr) : Json(report.port)},
        {"output", report.output.empty() ? Json(nullptr) : Json(report.output)},
        {"seconds", Rounded(report.seconds)},
        {"samples_in", OrNull(report.samplesIn)},
        {"samples_out", OrNull(report.samplesOut)},
        {"packets_sent", OrNull(report.packetsSent)},
        {"packets_received", OrNull(report.packetsReceived)},
        {"packets_lost", OrNull(report.packetsLost)},
        {"packets_played", OrNull(report.packetsPlayed)},
        {"silent_packets", OrNull(report.silentPackets)},
        {"packet_bytes", packetBytes ? Json(Rounded(*packetBytes)) : Json(nullptr)},
        {"bitrate_kbps", Rounded(report.bitrateKbps)},
        {"wire_kbps", report.sending ? Json(Rounded(WireKbps(*report.sending, report.seconds))) : Json(nullptr)},
        {"sending", report.sending ? FiguresAsJson(*report.sending) : Json(nullptr)},
        {"receiving", report.receiving ? FiguresAsJson(*report.receiving) : Json(nullptr)},
        {"cpu_ms_per_second", Rounded(report.cpuMsPerSecond)},
        {"latency", LatencyAsJson(report.latency)},
        {"level_in_dbfs", RoundedList(report.levelInDbfs)},
        {"level_out_dbfs", RoundedList(report.levelOutDbfs)},
        {"compared_seconds", Rounded(report.comparedSeconds)},
        {"fidelity", FidelityAsJson(report.fidelity)},
        {"codec_fidelity", FidelityAsJson(report.codecFidelity)},
        {"faults", report.faults},
    };
}

std::string FormatReportAsJson(const CallReport& report) {
    // A path or a message of the system need not be UTF-8.
    return ReportAsJson(report).dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string FormatStatus(const StatusSample& sample) {
    std::string text = FormatText("%6.1f s", sample.seconds);
    if (sample.packetsSent) {
        text += FormatText("  sent %llu", static_cast<unsigned long long>(*sample.packetsSent));
    }
    if (sample.packetsReceived) {
        text += FormatText("  received %llu", static_cast<unsigned long long>(*sample.packetsReceived));
    }
    if (sample.packetsLost) {
        text += FormatText("  lost %llu", static_cast<unsigned long long>(*sample.packetsLost));
    }
    text += FormatText("  %.1f kbit/s", sample.bitrateKbps);
    text += sample.trouble;
    if (sample.latencyMs) {
        text += FormatText("  latency %.0f ms", *sample.latencyMs);
    }
    if (sample.levelInDbfs) {
        text += FormatText("  in %.1f dBFS", *sample.levelInDbfs);
    }
    if (sample.levelOutDbfs) {
        text += FormatText("  out %.1f dBFS", *sample.levelOutDbfs);
    }
    return text;
}

}  // namespace qrn
