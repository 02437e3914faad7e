#include "rtp/CRtpMulticastTable.h"

#include <algorithm>
#include <new>

#include "rtp/RtpErrors.h"

int CRtpMulticastTable::Insert(std::uint32_t group) {
    const auto place = std::ranges::lower_bound(m_groups, group);
    if (place != m_groups.end() && *place == group) {
        return qrn::kRtpAlreadyInGroup;
    }
    try {
        m_groups.insert(place, group);
    } catch (const std::bad_alloc&) {
        return qrn::kRtpOutOfMemory;
    }
    return qrn::kRtpOk;
}

int CRtpMulticastTable::Remove(std::uint32_t group) {
    const auto place = std::ranges::lower_bound(m_groups, group);
    if (place == m_groups.end() || *place != group) {
        return qrn::kRtpNotInGroup;
    }
    m_groups.erase(place);
    return qrn::kRtpOk;
}
