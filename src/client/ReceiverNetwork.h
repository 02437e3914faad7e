#pragma once
/// The network of a receiving filter, as the options have it.

#include <optional>
#include <string>

#include "client/FileDescriptor.h"
#include "client/Srtp.h"

namespace qrn {

struct ReceiverNetwork {
    std::string localAddress;
    int port = 0;
    int parityGroup = 0;
    std::optional<int> reorderWindow;  // 0: packets do not wait for each other; nothing: as the session has it
    std::optional<std::string> group;
    std::optional<std::string> groupInterface;  // its address; none: the session's choice
    std::optional<SrtpKey> key;

    /// Null for a call that is not encrypted. To be held longer than the filter. @throws CClientError
    ComPtr<IQRN_SrtpTransport> MakeTransport() const;
    /// What the session is told: with a transport the port is not the session's.
    int SessionPort() const { return key ? 0 : port; }
    std::string Where() const { return "port " + std::to_string(port) + " on " + localAddress; }
};

/// Opens channel 0 of a receiver that has its format. @throws CClientError
void OpenReceiver(IQRN_AudioReceiver& receiver, const ReceiverNetwork& network, IExternalTransport* transport);
void OpenReceiver(IQRN_VideoReceiver& receiver, const ReceiverNetwork& network, IExternalTransport* transport);

/// Takes part in a group on an interface of the client's choice while it lives. A session takes its interface from the
/// address that it is bound to, and one that is bound to an address gets no group's packets from Linux; bound to all
/// addresses, it gets those of every group that any socket of this machine has joined (ip(7), IP_MULTICAST_ALL).
class CGroupMember {
public:
    /// @throws CClientError
    CGroupMember(const std::string& group, const std::string& interfaceAddress);

private:
    CFileDescriptor m_socket;
};

/// With an interface given, else nothing: the session joins then. @throws CClientError
std::optional<CGroupMember> JoinOnInterface(const ReceiverNetwork& network);

}  // namespace qrn
