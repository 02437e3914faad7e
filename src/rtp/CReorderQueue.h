#pragma once

#include <cstdint>
#include <list>
#include <vector>

#include "rtp/RtpPacket.h"

/// Holds packets back that came before their turn, ascending by extended sequence number. Bounded, and in steady state
/// without allocation: the entries and their bytes are used again. One thread.
class CReorderQueue {
public:
    /// A head of this age is released whatever its number.
    static constexpr std::uint32_t kLongestHoldMs = 100;
    /// A packet that is behind the expected one by less than this has been delivered or given up: it is late.
    static constexpr std::uint32_t kLateDistance = 20;
    /// Entries at most, for a window that sets no bound and for a queue that nobody empties.
    static constexpr std::size_t kCapacity = 256;

    enum class Outcome {
        kHeld,
        kHeldTwin,  // beside one of the same number
        kLate,
        kRefused,  // the queue is full, or there is no memory
    };

    /// Keeps a copy of the packet, unless it is late; behind one of an equal number.
    /// For an expected number below 20 no number is late.
    Outcome Insert(const RtpPacketInfo& info, std::uint32_t expected, std::uint32_t nowMs);

    /// Takes the head when it is the expected packet, when `window` packets wait, or when it is too old.
    /// @param info  written when there was one; its payload is valid until the next Take.
    /// @return false when nothing is to be released.
    bool Take(std::uint32_t expected, std::uint32_t window, std::uint32_t nowMs, RtpPacketInfo& info);

    /// What Take gave last stays valid.
    void Clear();

    std::size_t Size() const { return m_entries.size(); }
    bool IsEmpty() const { return m_entries.empty(); }

private:
    bool MakeFree(const RtpPacketInfo& info);

    struct PendingPacket {
        RtpPacketInfo info;  // points into `payload`
        std::vector<std::uint8_t> payload;
        std::uint32_t arrivalMs = 0;
    };

    std::list<PendingPacket> m_entries;
    std::list<PendingPacket> m_taken;  // the one given last, or none
    std::list<PendingPacket> m_free;
};
