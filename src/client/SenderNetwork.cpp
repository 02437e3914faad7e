#include "client/SenderNetwork.h"

#include <set>

namespace qrn {

ComPtr<IQRN_SrtpTransport> SenderNetwork::MakeTransport() const {
    return key ? MakeSendingTransport(*key, localAddress, localPort, destinations) : nullptr;
}

std::vector<Destination> SenderNetwork::SessionDestinations() const {
    if (!key) {
        return destinations;
    }
    std::vector<Destination> sessionDestinations;
    std::set<int> ports;
    for (const Destination& destination : destinations) {
        if (ports.insert(destination.port).second) {
            sessionDestinations.push_back(destination);
        }
    }
    return sessionDestinations;
}

}  // namespace qrn
