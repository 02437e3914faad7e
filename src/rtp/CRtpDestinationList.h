#pragma once

#include <netinet/in.h>

#include <atomic>
#include <cstdint>
#include <vector>

#include "platform/system/Lock.h"

/// Where a session sends to, the newest entry first. The client's thread changes it while the sending thread reads; the
/// sending thread works on a copy of its own, so that no lock is held while it sends.
class CRtpDestinationList {
public:
    /// All in network order.
    struct Entry {
        std::uint32_t address;
        std::uint16_t rtpPort;
        std::uint16_t rtcpPort;  // the RTP port plus 1; nothing is sent there
    };

    /// There is no test for a duplicate: a pair added twice receives everything twice.
    /// @param port  host order. @return 0, -1 without memory.
    int Add(std::uint32_t addressNetworkOrder, std::uint16_t port) QRN_EXCLUDES(m_gate);
    /// Takes out the newest entry of that pair. @return 0, -10 when there is none.
    int Remove(std::uint32_t addressNetworkOrder, std::uint16_t port) QRN_EXCLUDES(m_gate);
    void Clear() QRN_EXCLUDES(m_gate);

    /// A sending thread's own copy, newest first.
    struct Copy {
        std::vector<sockaddr_in> addresses;
        bool areDistinct = true;    // no pair stands there twice
        std::uint64_t version = 0;  // of the list that it shows
    };
    /// Brings `copy` up to date; costs one atomic read while nothing has changed. @return false without memory, with
    /// `copy` as it was or empty.
    [[nodiscard]] bool Refresh(Copy& copy) const QRN_EXCLUDES(m_gate);

private:
    mutable qrn::CMutex m_gate;
    // A call has few destinations, so that a search is a walk; newest last, which makes adding cheap.
    std::vector<Entry> m_entries QRN_GUARDED_BY(m_gate);
    std::atomic<std::uint64_t> m_version{1};
};
