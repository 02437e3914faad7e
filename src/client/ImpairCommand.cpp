#include "client/ImpairCommand.h"

#include <cstdio>
#include <nlohmann/json.hpp>

#include "client/FormatText.h"
#include "client/Messages.h"
#include "client/NetworkCheck.h"
#include "client/impair/CUdpRelay.h"

namespace qrn {
namespace {

using Json = nlohmann::ordered_json;

unsigned long long Plain(std::uint64_t number) {
    return number;
}

void ShowStatus(double seconds, const ImpairmentCounters& now) {
    std::fprintf(stderr, "%6.1f s  in %llu  out %llu  lost %llu + %llu in bursts  dropped %llu  waiting %llu\n",
                 seconds, Plain(now.offered), Plain(now.delivered), Plain(now.lost), Plain(now.lostInBursts),
                 Plain(now.droppedByQueue), Plain(now.waiting));
}

std::string FormatAsText(const ImpairmentCounters& counters, std::uint64_t sendFailures) {
    return FormatText(
        "in          %llu datagrams, %llu bytes\n"
        "out         %llu datagrams, %llu bytes\n"
        "lost        %llu one by one, %llu in bursts, %llu by the full queue\n"
        "duplicated  %llu\n"
        "reordered   %llu\n"
        "under way   %llu at the end\n"
        "not taken   %llu by the system\n",
        Plain(counters.offered), Plain(counters.offeredBytes), Plain(counters.delivered),
        Plain(counters.deliveredBytes), Plain(counters.lost), Plain(counters.lostInBursts),
        Plain(counters.droppedByQueue), Plain(counters.duplicated), Plain(counters.reordered), Plain(counters.waiting),
        Plain(sendFailures));
}

std::string FormatAsJson(const Options& options, const ImpairmentCounters& counters, std::uint64_t sendFailures) {
    const Json json = {{"ok", true},
                       {"command", CommandName(options.command)},
                       {"seed", options.impairment.seed},
                       {"datagrams_in", counters.offered},
                       {"bytes_in", counters.offeredBytes},
                       {"datagrams_out", counters.delivered},
                       {"bytes_out", counters.deliveredBytes},
                       {"lost", counters.lost},
                       {"lost_in_bursts", counters.lostInBursts},
                       {"dropped_by_queue", counters.droppedByQueue},
                       {"duplicated", counters.duplicated},
                       {"reordered", counters.reordered},
                       {"under_way", counters.waiting},
                       {"send_failures", sendFailures}};
    return json.dump() + "\n";
}

}  // namespace

std::string RunImpair(const Options& options, const CStopSignal& stop) {
    const FarEnd& far = options.network.farEnds.front();
    const auto farAddress = ResolveIpv4(far.host, stop);
    CUdpRelay::Ends ends;
    ends.localAddress = options.network.localAddress;
    ends.localPort = static_cast<std::uint16_t>(options.port);
    ends.farAddress = farAddress.value_or(options.network.localAddress);  // stopped while it was looked up
    ends.farPort = static_cast<std::uint16_t>(far.port);
    CUdpRelay relay(ends, options.impairment);
    Say("relaying UDP port " + std::to_string(relay.Port()) + " of " + options.network.localAddress + " to " +
        ends.farAddress + ":" + std::to_string(far.port) + ", seed " + std::to_string(options.impairment.seed));
    double seconds = 0;
    relay.Run(stop.Descriptor(), [&](const ImpairmentCounters& now) { ShowStatus(++seconds, now); });
    return options.json ? FormatAsJson(options, relay.Counters(), relay.SendFailures())
                        : FormatAsText(relay.Counters(), relay.SendFailures());
}

}  // namespace qrn
