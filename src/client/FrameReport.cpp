#include "client/FrameReport.h"

#include <nlohmann/json.hpp>

#include "client/FormatText.h"

namespace qrn {
namespace {

using Json = nlohmann::ordered_json;

constexpr double kMaxLostShare = 0.02;  // as for the packets of sound

std::string Line(const char* name, const std::string& text) {
    return FormatText("%-12s ", name) + text + "\n";
}

std::string Number(std::uint64_t number) {
    return std::to_string(number);
}

std::string FramesLine(const FrameReport& report) {
    std::string text = report.framesSent ? "sent " + Number(*report.framesSent) : "sent not known";
    if (report.received) {
        text += ", received whole " + Number(report.received->whole) + ", damaged " + Number(report.received->damaged) +
                ", lost " + Number(report.lost.value_or(0));
        if (report.delays) {
            text += ", late " + Number(report.delays->late);
        }
    }
    return text;
}

Json ReceivedAsJson(const FrameReport& report) {
    if (!report.received) {
        return nullptr;
    }
    const CFrameMeter::Counts& counts = *report.received;
    return {{"whole", counts.whole},
            {"damaged", counts.damaged},
            {"foreign", counts.foreign},
            {"lost", report.lost.value_or(0)},
            {"late", report.delays ? Json(report.delays->late) : Json(nullptr)},
            {"bytes", counts.bytes}};
}

Json DelaysAsJson(const FrameReport& report) {
    if (!report.delays) {
        return nullptr;
    }
    return {{"p50_ms", report.delays->p50Ms},
            {"p99_ms", report.delays->p99Ms},
            {"over_fastest_p99_ms", report.delays->spreadP99Ms}};
}

Json BurstsAsJson(const FrameReport& report) {
    if (!report.bursts) {
        return nullptr;
    }
    return {{"count", report.bursts->count},
            {"median_datagrams", report.bursts->median},
            {"longest_datagrams", report.bursts->longest}};
}

}  // namespace

std::vector<std::string> FindFrameFaults(const FrameReport& report) {
    if (report.framesSent == 0) {
        return {"no frame was sent"};
    }
    if (!report.received) {
        return {};
    }
    std::vector<std::string> faults;
    if (report.received->whole == 0) {
        faults.push_back(report.received->foreign > 0 ? "what arrived are no frames of this program"
                                                      : "no frame arrived whole");
        return faults;
    }
    if (report.received->damaged > 0) {
        faults.push_back(Number(report.received->damaged) + " frames were delivered damaged");
    }
    if (report.framesSent &&
        static_cast<double>(report.lost.value_or(0)) > kMaxLostShare * static_cast<double>(*report.framesSent)) {
        faults.push_back(Number(*report.lost) + " of " + Number(*report.framesSent) + " frames did not arrive");
    }
    return faults;
}

std::string FormatFrameReport(const FrameReport& report) {
    std::string text;
    if (!report.farEnd.empty()) {
        text += Line("far end", report.farEnd);
    }
    if (report.port != 0) {
        text += Line("port", std::to_string(report.port));
    }
    text += Line("duration", FormatText("%.1f s", report.seconds));
    text += Line("frames", FramesLine(report));
    text += Line("bitrate", FormatText("%.1f kbit/s", report.kbps));
    if (report.sending) {
        text += Line("sending", FiguresAsText(*report.sending));
    }
    if (report.receiving) {
        text += Line("receiving", FiguresAsText(*report.receiving));
    }
    if (report.bursts) {
        text += Line("bursts", FormatText("%llu, of %llu datagrams (median), the longest of %llu",
                                          static_cast<unsigned long long>(report.bursts->count),
                                          static_cast<unsigned long long>(report.bursts->median),
                                          static_cast<unsigned long long>(report.bursts->longest)));
    }
    if (report.delays) {
        text += Line("latency", FormatText("p50 %.1f ms, p99 %.1f ms by the two clocks; p99 %.1f ms over the fastest",
                                           report.delays->p50Ms, report.delays->p99Ms, report.delays->spreadP99Ms));
    }
    for (const std::string& fault : report.faults) {
        text += Line("fault", fault);
    }
    return text + Line("result", report.Ok() ? "ok" : "failed");
}

std::string FormatFrameReportAsJson(const FrameReport& report) {
    const Json json = {
        {"ok", report.Ok()},
        {"command", report.command},
        {"far_end", report.farEnd.empty() ? Json(nullptr) : Json(report.farEnd)},
        {"port", report.port == 0 ? Json(nullptr) : Json(report.port)},
        {"seconds", report.seconds},
        {"kbps", report.kbps},
        {"frames_sent", report.framesSent ? Json(*report.framesSent) : Json(nullptr)},
        {"frames_received", ReceivedAsJson(report)},
        {"latency", DelaysAsJson(report)},
        {"bursts", BurstsAsJson(report)},
        {"wire_kbps", report.sending ? Json(WireKbps(*report.sending, report.seconds)) : Json(nullptr)},
        {"sending", report.sending ? FiguresAsJson(*report.sending) : Json(nullptr)},
        {"receiving", report.receiving ? FiguresAsJson(*report.receiving) : Json(nullptr)},
        {"faults", report.faults},
    };
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string FormatFrameStatus(const FrameReport& soFar, double kbps, std::optional<double> delayMs) {
    std::string text = FormatText("%6.1f s", soFar.seconds);
    if (soFar.framesSent) {
        text += "  sent " + Number(*soFar.framesSent);
    }
    if (soFar.received) {
        text += "  received " + Number(soFar.received->whole) + "  lost " + Number(soFar.received->missing);
    }
    text += FormatText("  %.1f kbit/s", kbps);
    if (delayMs) {
        text += FormatText("  latency %.0f ms", *delayMs);
    }
    if (soFar.sending) {
        text += TroubleAsText(*soFar.sending);
    }
    if (soFar.receiving) {
        text += TroubleAsText(*soFar.receiving);
    }
    return text;
}

}  // namespace qrn
