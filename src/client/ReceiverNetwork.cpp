#include "client/ReceiverNetwork.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <exception>
#include <system_error>

#include "client/CGraph.h"
#include "client/ClientError.h"
#include "platform/com/Text.h"

namespace qrn {
namespace {

// A receiver of sound has four; a call uses one.
constexpr DWORD kChannel = 0;

HRESULT SetTransport(IQRN_AudioReceiver& receiver, IExternalTransport* transport) {
    return receiver.SetExternalTransport(0, transport);
}

HRESULT SetTransport(IQRN_VideoReceiver& receiver, IExternalTransport* transport) {
    return receiver.SetExternalTransport(transport);
}

HRESULT SetReorder(IQRN_AudioReceiver& receiver, BYTE on, DWORD window, DWORD parityGroup) {
    return receiver.SetReorder(kChannel, on, window, parityGroup);
}

HRESULT SetReorder(IQRN_VideoReceiver& receiver, BYTE on, DWORD window, DWORD parityGroup) {
    return receiver.SetReorder(on, window, parityGroup);
}

template <class Receiver>
void Open(Receiver& receiver, const ReceiverNetwork& network, IExternalTransport* transport) {
    try {
        Require(receiver.SetLocalPort(static_cast<DWORD>(network.SessionPort())), "set the local port");
        Require(receiver.SetLocalAddress(ToWide(network.localAddress).c_str()), "set the local address");
        Require(SetTransport(receiver, transport), "set the transport");
        Require(receiver.OpenNetwork(kChannel), "open " + network.Where());
        if (network.reorderWindow || network.parityGroup != 0) {
            const auto window = static_cast<DWORD>(network.reorderWindow.value_or(0));  // 0 leaves it as it is
            const BYTE on = network.reorderWindow == 0 ? 0 : 1;
            Require(SetReorder(receiver, on, window, static_cast<DWORD>(network.parityGroup)), "set the reorder queue");
        }
        if (network.group && !network.groupInterface) {
            Require(receiver.JoinGroup(ToWide(*network.group).c_str()), "join the group " + *network.group);
        }
    } catch (const CClientError&) {
        throw;
    } catch (const std::exception& error) {
        throw CClientError("cannot open " + network.Where() + ": " + error.what());
    }
}

}  // namespace

ComPtr<IQRN_SrtpTransport> ReceiverNetwork::MakeTransport() const {
    return key ? MakeReceivingTransport(*key, localAddress, port) : nullptr;
}

void OpenReceiver(IQRN_AudioReceiver& receiver, const ReceiverNetwork& network, IExternalTransport* transport) {
    Open(receiver, network, transport);
}

void OpenReceiver(IQRN_VideoReceiver& receiver, const ReceiverNetwork& network, IExternalTransport* transport) {
    Open(receiver, network, transport);
}

CGroupMember::CGroupMember(const std::string& group, const std::string& interfaceAddress)
    : m_socket(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    ip_mreq request{};
    inet_pton(AF_INET, group.c_str(), &request.imr_multiaddr);
    inet_pton(AF_INET, interfaceAddress.c_str(), &request.imr_interface);
    if (!m_socket || setsockopt(m_socket.Get(), IPPROTO_IP, IP_ADD_MEMBERSHIP, &request, sizeof(request)) != 0) {
        throw CClientError("cannot join the group " + group + " on the interface of " + interfaceAddress + ": " +
                           std::generic_category().message(errno));
    }
}

std::optional<CGroupMember> JoinOnInterface(const ReceiverNetwork& network) {
    if (!network.group || !network.groupInterface) {
        return std::nullopt;
    }
    return std::optional<CGroupMember>(std::in_place, *network.group, *network.groupInterface);
}

}  // namespace qrn
