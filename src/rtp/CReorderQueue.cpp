#include "rtp/CReorderQueue.h"

#include <algorithm>
#include <iterator>
#include <new>

CReorderQueue::Outcome CReorderQueue::Insert(const RtpPacketInfo& info, std::uint32_t expected, std::uint32_t nowMs) {
    const std::uint32_t sequence = info.extendedSequence;
    // Unsigned on purpose: below kLateDistance the lower bound wraps, and nothing is between.
    const bool isLate = sequence < expected && sequence > expected - kLateDistance;
    if (isLate) {
        return Outcome::kLate;
    }
    if (m_entries.size() >= kCapacity || !MakeFree(info)) {
        return Outcome::kRefused;
    }
    const auto entry = m_free.begin();
    entry->info = info;
    entry->info.payload = entry->payload.data();
    entry->arrivalMs = nowMs;
    const auto place = std::ranges::find_if(
        m_entries, [&](const PendingPacket& held) { return held.info.extendedSequence > sequence; });
    const bool hasTwin = place != m_entries.begin() && std::prev(place)->info.extendedSequence == sequence;
    m_entries.splice(place, m_free, entry);
    return hasTwin ? Outcome::kHeldTwin : Outcome::kHeld;
}

/// Makes the first free entry one that has the packet's payload. @return false without memory.
bool CReorderQueue::MakeFree(const RtpPacketInfo& info) {
    try {
        if (m_free.empty()) {
            m_free.emplace_back();
        }
        m_free.front().payload.assign(info.payload, info.payload + info.payloadLength);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

bool CReorderQueue::Take(std::uint32_t expected, std::uint32_t window, std::uint32_t nowMs, RtpPacketInfo& info) {
    if (m_entries.empty()) {
        return false;
    }
    const PendingPacket& head = m_entries.front();
    const bool isDue = head.info.extendedSequence == expected || m_entries.size() >= window ||
                       m_entries.size() >= kCapacity || nowMs - head.arrivalMs >= kLongestHoldMs;
    if (!isDue) {
        return false;
    }
    m_free.splice(m_free.begin(), m_taken);
    m_taken.splice(m_taken.begin(), m_entries, m_entries.begin());
    info = m_taken.front().info;
    return true;
}

void CReorderQueue::Clear() {
    m_free.splice(m_free.begin(), m_entries);
}
