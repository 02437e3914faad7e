#pragma once
/// The network of a sending filter, set up as the options have it: one order of operations for sound and frames.

#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "client/CGraph.h"
#include "client/ClientError.h"
#include "client/Srtp.h"
#include "platform/com/Text.h"

namespace qrn {

struct SenderNetwork {
    std::string localAddress;  // also chooses the interface of multicast
    int localPort = 0;         // 0: any
    std::vector<Destination> destinations;
    int parityGroup = 0;
    std::optional<int> ttl;
    std::optional<int> tos;
    std::optional<SrtpKey> key;

    /// Null for a call that is not encrypted. To be held longer than the filter. @throws CClientError
    ComPtr<IQRN_SrtpTransport> MakeTransport() const;
    /// What the session is told: an encrypting transport looks only at the port, so there is one entry for each.
    std::vector<Destination> SessionDestinations() const;
};

/// @param sender  IQRN_AudioSender or IQRN_VideoSender. @throws CClientError
template <class Sender>
void OpenSender(Sender& sender, const SenderNetwork& network, IExternalTransport* transport) {
    // With a transport the session has no port of its own: the transport's socket is bound to it.
    const int port = transport != nullptr ? 0 : network.localPort;
    const std::string local = network.localAddress + ":" + std::to_string(port);
    const auto requireDone = [](HRESULT result, const std::string& what) {
        Require(result == S_FALSE ? E_FAIL : result, what);  // S_FALSE: not done either
    };
    try {
        Require(sender.SetLocalPort(static_cast<DWORD>(port)), "set the local port");
        Require(sender.SetLocalAddress(ToWide(network.localAddress).c_str()), "set the local address");
        Require(sender.SetParityGroup(static_cast<DWORD>(network.parityGroup)), "set the parity group");
        Require(sender.SetExternalTransport(transport), "set the transport");
        Require(sender.OpenNetwork(), "open the network for sending from " + local);
        for (const Destination& to : network.SessionDestinations()) {
            Require(sender.AddDestination(ToWide(to.address).c_str(), static_cast<DWORD>(to.port)),
                    "send to " + to.address + ":" + std::to_string(to.port));
        }
        if (network.ttl) {
            requireDone(sender.SetTtl(static_cast<DWORD>(*network.ttl)), "set the TTL");
        }
        if (network.tos) {
            requireDone(sender.SetTos(static_cast<DWORD>(*network.tos)), "set the type of service");
        }
    } catch (const CClientError&) {
        throw;
    } catch (const std::exception& error) {
        throw CClientError("cannot open the network for sending from " + local + ": " + error.what());
    }
}

}  // namespace qrn
