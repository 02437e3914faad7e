#include "rtp/CRtpDestinationList.h"

#include <arpa/inet.h>

#include <algorithm>
#include <new>

#include "rtp/RtpErrors.h"
#include "rtp/Socket.h"

int CRtpDestinationList::Add(std::uint32_t addressNetworkOrder, std::uint16_t port) {
    const qrn::CScopedLock lock(m_gate);
    try {
        m_entries.push_back({addressNetworkOrder, htons(port), htons(static_cast<std::uint16_t>(port + 1))});
    } catch (const std::bad_alloc&) {
        return qrn::kRtpOutOfMemory;
    }
    ++m_version;
    return qrn::kRtpOk;
}

int CRtpDestinationList::Remove(std::uint32_t addressNetworkOrder, std::uint16_t port) {
    const qrn::CScopedLock lock(m_gate);
    const auto newest = std::find_if(m_entries.rbegin(), m_entries.rend(), [&](const Entry& entry) {
        return entry.address == addressNetworkOrder && entry.rtpPort == htons(port);
    });
    if (newest == m_entries.rend()) {
        return qrn::kRtpNoSuchDestination;
    }
    m_entries.erase(std::next(newest).base());
    ++m_version;
    return qrn::kRtpOk;
}

void CRtpDestinationList::Clear() {
    const qrn::CScopedLock lock(m_gate);
    m_entries.clear();
    ++m_version;
}

bool CRtpDestinationList::Refresh(Copy& copy) const {
    if (m_version == copy.version) {
        return true;
    }
    const qrn::CScopedLock lock(m_gate);
    try {
        copy.addresses.reserve(m_entries.size());
    } catch (const std::bad_alloc&) {
        return false;
    }
    copy.addresses.clear();
    copy.areDistinct = true;
    for (auto entry = m_entries.rbegin(); entry != m_entries.rend(); ++entry) {
        copy.areDistinct = copy.areDistinct && std::none_of(m_entries.rbegin(), entry, [&](const Entry& newer) {
                               return newer.address == entry->address && newer.rtpPort == entry->rtpPort;
                           });
        copy.addresses.push_back(qrn::SocketAddress(entry->address, entry->rtpPort));
    }
    copy.version = m_version;
    return true;
}
