#pragma once
/// What the client itself looks at on the network, so that it can say what is wrong with a call: the filters report
/// result codes only.

#include <chrono>
#include <optional>
#include <string>

#include "client/CStopSignal.h"
#include "client/CodecTable.h"
#include "client/FileDescriptor.h"

namespace qrn {

/// The dotted IPv4 address of a host's name or address.
/// @return nothing when `stop` came first. @throws CClientError when there is none.
std::optional<std::string> ResolveIpv4(const std::string& host, const CStopSignal& stop);

/// @param port  0: only the address is looked at.
/// @throws CClientError when the UDP port is held by another socket, or the address is not one of this machine. A
/// session would share the port without a word, since it binds with SO_REUSEADDR.
void RequireFreePort(const std::string& localAddress, int port);

/// An even port that nobody holds at this moment. @throws CClientError when there is none.
int FindFreeEvenPort(const std::string& localAddress);

/// Notices that the far end's machine refuses packets because no program receives them. Such refusals reach only a
/// connected socket, so this one asks with an empty datagram, which no receiver counts. A far end that
/// is silent has not refused: media goes one way, and nothing is ever sent back.
class CFarEndProbe {
public:
    /// Never fails: a probe that cannot be made sees no refusal.
    CFarEndProbe(const std::string& address, int port);

    /// Reads the answer to the last question and asks again.
    /// @return true when the last question was refused.
    bool AskAgain();

private:
    CFileDescriptor m_socket;
};

/// What arrives on a port in a short time.
struct Arrivals {
    int datagrams = 0;
    int rtpPackets = 0;              // by their version and length; one in four random datagrams looks so
    std::optional<int> payloadType;  // of the last RTP packet among them
    int payloadBytes = 0;            // of the same, all of what stands behind the fixed header
};

/// Takes the port from a session that has it: for when that session has received nothing.
Arrivals WatchPort(const std::string& localAddress, int port, std::chrono::milliseconds time, const CStopSignal& stop);

/// Why nothing was received, in a sentence that names port and codec.
std::string ExplainNothingReceived(const Arrivals& arrivals, int port, const CodecInfo& codec, double waitedSeconds);

}  // namespace qrn
