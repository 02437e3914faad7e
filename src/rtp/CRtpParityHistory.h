#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>

#include "rtp/CRtpParityRecord.h"
#include "rtp/CRtpSequenceTracker.h"

/// What a receiver with parity keeps of the packets that arrived: the latest media packets and the latest parity
/// packets, each kind by ascending number. Nothing rebuilds a lost packet from them. Records are used again, so that
/// nothing is allocated once they have grown to the packets' size. One thread, but for ResetTrackers.
class CRtpParityHistory {
public:
    /// The latest packets of one kind by ascending extended number, equal ones in the order of their coming.
    class CList {
    public:
        static constexpr std::size_t kCapacity = 24;

        CList();
        /// When the list is longer than its capacity then, its first entry goes. @return, @throws as
        /// CRtpParityRecord::Assign, and the list is as it was.
        bool Insert(std::span<const std::uint8_t> datagram, bool isParity, std::uint32_t extendedSequence);
        std::size_t Size() const { return m_size; }
        const CRtpParityRecord& operator[](std::size_t index) const { return m_records[m_order[index]]; }

    private:
        std::array<CRtpParityRecord, kCapacity + 1> m_records;
        /// Indices of the records in use, in the list's order, then of the free ones.
        std::array<std::uint8_t, kCapacity + 1> m_order;
        std::size_t m_size = 0;
    };

    /// Takes a datagram in. @param groupSize  0: no parity is expected, and nothing is kept.
    /// @return its length when it is to be passed on, 0 for a parity packet, -14 for what is no packet or too short.
    int OnPacketReceived(std::span<const std::uint8_t> datagram, std::uint32_t groupSize);

    /// The next packet of either kind starts its numbers anew. Any thread.
    void ResetTrackers() { m_resetAsked = true; }

    const CList& Media() const { return m_media; }
    const CList& Parity() const { return m_parity; }

private:
    bool Keep(std::span<const std::uint8_t> datagram, bool isParity);

    std::atomic<bool> m_resetAsked{false};
    CRtpSequenceTracker m_mediaTracker;
    CRtpSequenceTracker m_parityTracker;
    CList m_media;
    CList m_parity;
};
