#pragma once
/// From the options of a call to the networks of its halves.

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "client/CStopSignal.h"
#include "client/NetworkCheck.h"
#include "client/Options.h"
#include "client/ReceiverNetwork.h"
#include "client/SenderNetwork.h"

namespace qrn {

/// The network of a call. A demo's halves meet on this machine, or in the group that they join.
class CNetworkSetup {
public:
    /// Reads the key, and finds a port for a demo without one.
    /// @throws CClientError also when the port is in use.
    explicit CNetworkSetup(const Options& options);

    /// Looks the far ends up. @return nothing when `stop` came first. @throws CClientError
    std::optional<SenderNetwork> ForSending(const CStopSignal& stop) const;
    ReceiverNetwork ForReceiving() const;
    /// Of the receiving half, or of the sender's own end.
    int Port() const { return m_port; }

private:
    std::optional<std::vector<Destination>> FindDestinations(const CStopSignal& stop) const;

    const Options& m_options;
    const bool m_receives;
    int m_port;
    std::optional<SrtpKey> m_key;
};

/// "ADDRESS:PORT, ADDRESS:PORT"
std::string DestinationNames(const std::vector<Destination>& destinations);

/// Asks once a second whether the far ends refuse what comes. One thread.
class CFarEnds {
public:
    /// Groups cannot refuse.
    explicit CFarEnds(const std::vector<Destination>& destinations);

    /// Says it once for each end that begins to refuse.
    void AskAgain();
    bool AllRefuse() const;
    bool AnyRefuses() const;
    /// Those that refuse.
    std::string RefusingNames() const;

private:
    struct FarEndState {
        Destination destination;
        std::unique_ptr<CFarEndProbe> probe;
        bool refuses = false;
    };
    std::vector<FarEndState> m_ends;
};

}  // namespace qrn
