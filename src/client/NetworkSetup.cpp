#include "client/NetworkSetup.h"

#include <algorithm>

#include "client/ClientError.h"
#include "client/Messages.h"

namespace qrn {

CNetworkSetup::CNetworkSetup(const Options& options)
    : m_options(options),
      m_receives(options.command != Command::kSend),
      m_port(options.port) {
    if (options.network.srtpKey) {
        m_key = LoadSrtpKey(*options.network.srtpKey);
    }
    const std::string& local = options.network.localAddress;
    if (m_receives && m_port == 0) {
        m_port = FindFreeEvenPort(local);
    }
    RequireFreePort(local, m_port);
    if (options.network.interfaceAddress) {
        RequireFreePort(*options.network.interfaceAddress, 0);
    }
}

std::optional<SenderNetwork> CNetworkSetup::ForSending(const CStopSignal& stop) const {
    const NetworkOptions& asked = m_options.network;
    auto destinations = FindDestinations(stop);
    if (!destinations) {
        return std::nullopt;
    }
    const auto isGroup = [](const Destination& destination) { return IsGroup(destination.address); };
    if (asked.ttl && std::none_of(destinations->begin(), destinations->end(), isGroup)) {
        RefuseUse("--ttl is for groups, and no destination is one");
    }
    SenderNetwork network;
    network.localAddress = asked.interfaceAddress.value_or(asked.localAddress);
    network.localPort = m_receives ? 0 : m_port;
    network.destinations = std::move(*destinations);
    network.parityGroup = asked.parityGroup;
    network.ttl = asked.ttl;
    network.tos = asked.tos;
    network.key = m_key;
    return network;
}

std::optional<std::vector<Destination>> CNetworkSetup::FindDestinations(const CStopSignal& stop) const {
    const NetworkOptions& asked = m_options.network;
    if (m_receives) {
        constexpr const char* kAny = "0.0.0.0";
        const std::string here = asked.localAddress == kAny ? "127.0.0.1" : asked.localAddress;
        return std::vector{Destination{asked.group.value_or(here), m_port}};
    }
    std::vector<Destination> destinations;
    for (const FarEnd& far : asked.farEnds) {
        const auto address = ResolveIpv4(far.host, stop);
        if (!address) {
            return std::nullopt;
        }
        destinations.push_back({*address, far.port});
    }
    return destinations;
}

ReceiverNetwork CNetworkSetup::ForReceiving() const {
    const NetworkOptions& asked = m_options.network;
    ReceiverNetwork network;
    network.localAddress = asked.localAddress;
    network.port = m_port;
    network.parityGroup = asked.parityGroup;
    network.reorderWindow = asked.reorderWindow;
    network.group = asked.group;
    network.groupInterface = asked.interfaceAddress;
    network.key = m_key;
    return network;
}

std::string DestinationNames(const std::vector<Destination>& destinations) {
    std::string names;
    for (const Destination& destination : destinations) {
        names += (names.empty() ? "" : ", ") + destination.address + ":" + std::to_string(destination.port);
    }
    return names;
}

CFarEnds::CFarEnds(const std::vector<Destination>& destinations) {
    for (const Destination& destination : destinations) {
        if (!IsGroup(destination.address)) {
            m_ends.push_back({destination, std::make_unique<CFarEndProbe>(destination.address, destination.port)});
        }
    }
}

void CFarEnds::AskAgain() {
    for (FarEndState& end : m_ends) {
        const bool refuses = end.probe->AskAgain();
        if (refuses && !end.refuses) {
            Say("no program receives at " + DestinationNames({end.destination}) + ": its machine refuses the packets");
        }
        end.refuses = refuses;
    }
}

bool CFarEnds::AllRefuse() const {
    return !m_ends.empty() &&
           std::all_of(m_ends.begin(), m_ends.end(), [](const FarEndState& end) { return end.refuses; });
}

bool CFarEnds::AnyRefuses() const {
    return std::any_of(m_ends.begin(), m_ends.end(), [](const FarEndState& end) { return end.refuses; });
}

std::string CFarEnds::RefusingNames() const {
    std::vector<Destination> refusing;
    for (const FarEndState& end : m_ends) {
        if (end.refuses) {
            refusing.push_back(end.destination);
        }
    }
    return DestinationNames(refusing);
}

}  // namespace qrn
