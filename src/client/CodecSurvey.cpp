#include "client/CodecSurvey.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "client/CCallRun.h"
#include "client/FormatText.h"
#include "client/Messages.h"

namespace qrn {
namespace {

using Json = nlohmann::ordered_json;

std::string NameOf(const CallReport& call) {
    return call.codec + FormatText(", %d channel%s", call.channels, call.channels == 1 ? "" : "s");
}

/// The channel that has come through worst.
const ChannelFidelity* WorstOf(const CallReport& call) {
    const auto worst = std::min_element(call.fidelity.begin(), call.fidelity.end(),
                                        [](const auto& a, const auto& b) { return a.correlation < b.correlation; });
    return worst == call.fidelity.end() ? nullptr : &*worst;
}

std::string RowOf(const CallReport& call) {
    const ChannelFidelity* fidelity = WorstOf(call);
    return FormatText("%-9s %2d %6d %7.0f %8.1f", call.codec.c_str(), call.channels, call.kbps,
                      call.PacketBytes().value_or(0), call.sending ? WireKbps(*call.sending, call.seconds) : 0) +
           (fidelity != nullptr ? FormatText("   %.3f  %5.1f", fidelity->correlation, fidelity->snrDb)
                                : std::string("       -      -")) +
           (call.latency ? FormatText("  %6.1f %6.1f", call.latency->p50Ms, call.latency->p99Ms)
                         : std::string("       -      -")) +
           FormatText("  %5.1f  %s\n", call.cpuMsPerSecond, call.Ok() ? "ok" : "failed");
}

}  // namespace

SurveyReport RunSurvey(const Options& options, const CStopSignal& stop, const CDumpSignal& dump) {
    SurveyReport survey;
    Options one = options;
    one.showStatus = false;
    for (const CodecInfo& codec : Codecs()) {
        for (const int channels : {1, 2}) {
            if (options.givenChannels && channels != *options.givenChannels) {
                continue;
            }
            one.codec = &codec;
            one.kbps = codec.defaultKbps;
            one.channels = channels;
            CallReport call = CCallRun(one, stop, dump).Run();
            if (stop.HasCome()) {  // in the middle of a call, which says nothing then
                survey.faults.push_back("stopped before the call with " + NameOf(call) + " was over");
                return survey;
            }
            Say(NameOf(call) + (call.Ok() ? ": ok" : ": failed"));
            for (const std::string& fault : call.faults) {
                survey.faults.push_back(NameOf(call) + ": " + fault);
            }
            survey.calls.push_back(std::move(call));
        }
    }
    return survey;
}

std::string FormatSurvey(const SurveyReport& survey) {
    std::string text =
        "             kbit/s   bytes    kbit/s            SNR   latency, ms   CPU ms\n"
        "codec     ch  asked  packet   on wire   corr.     dB     p50    p99   per s\n";
    for (const CallReport& call : survey.calls) {
        text += RowOf(call);
    }
    for (const std::string& fault : survey.faults) {
        text += "fault        " + fault + "\n";
    }
    return text + "result       " + (survey.Ok() ? "ok" : "failed") + "\n";
}

std::string FormatSurveyAsJson(const SurveyReport& survey) {
    Json json = {{"ok", survey.Ok()}, {"command", "demo"}, {"calls", Json::array()}, {"faults", survey.faults}};
    for (const CallReport& call : survey.calls) {
        json["calls"].push_back(ReportAsJson(call));
    }
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace qrn
