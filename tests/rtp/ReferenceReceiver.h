#pragma once
/// What a receiver makes of a stream of packets, written a second time and as plainly as its rules can be told: no
/// reuse of memory, no sockets, no threads. It stands beside the receiver where what a bad network leads to is too
/// tangled to be written down case by case.

#include <chrono>
#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "TestWire.h"

namespace qrn::test {

class CReferenceReceiver {
public:
    using Time = std::chrono::nanoseconds;

    struct Arrival {
        Time at;
        WirePacket packet;
    };
    struct Result {
        std::vector<std::string> frames;
        std::uint64_t received = 0;
        std::uint64_t late = 0;
        std::uint64_t twins = 0;    // held back beside one of the same number; they are received later
        std::uint64_t flushed = 0;  // thrown away with the queue of another source
        /// The start of a frame that ended a damaged one goes through the queue, and so counts twice: received, then
        /// received or late. It is meant.
        std::uint64_t lookedAtAgain = 0;
        std::uint64_t gaps = 0;
        std::uint64_t tooLarge = 0;
    };

    CReferenceReceiver(bool isTolerant, std::size_t capacity) : m_isTolerant(isTolerant), m_capacity(capacity) {}

    /// A receiver with a time-out of 100 ms that runs from `start` on and is called again at once whenever it returns.
    Result Run(const std::vector<Arrival>& arrivals, Time start) {
        m_now = start;
        auto next = arrivals.begin();
        while (next != arrivals.end() || !m_queue.empty()) {
            if (IsHeadDue()) {
                const Numbered head = m_queue.front().packet;
                m_queue.pop_front();
                TakeInHand(head);
            } else if (next != arrivals.end() && next->at <= m_now + kTimeout) {
                m_now = std::max(m_now, next->at);
                Arrive({next->packet, Extend(next->packet)});
                ++next;
            } else {
                m_now += kTimeout;
            }
        }
        return m_result;
    }

private:
    static constexpr Time kTimeout = std::chrono::milliseconds(100);
    static constexpr std::uint32_t kWindow = 20;
    static constexpr std::uint32_t kLateDistance = 20;

    struct Numbered {
        WirePacket packet;
        std::uint32_t number;
    };
    struct Held {
        Numbered packet;
        std::int64_t sinceMs;
    };

    std::int64_t NowMs() const { return std::chrono::duration_cast<std::chrono::milliseconds>(m_now).count(); }

    /// A straggler from before a wrap that comes after it is taken for one a whole cycle later, and takes all that
    /// follow along: the numbers have no test of distance. It is meant, and costs a gap at the wrap.
    std::uint32_t Extend(const WirePacket& packet) {
        if (packet.ssrc != m_numberedSsrc) {
            m_numberedSsrc = packet.ssrc;
            m_cycles = packet.sequence == 0 ? 0x10000 : 0;
            return m_highest = m_cycles + packet.sequence;
        }
        const std::uint32_t low = m_highest % 0x10000;
        if (packet.sequence < low) {
            if (low - packet.sequence <= 0x8000) {
                return m_cycles + packet.sequence;
            }
            m_cycles += 0x10000;
        }
        return m_highest = m_cycles + packet.sequence;
    }

    bool IsHeadDue() const {
        return !m_queue.empty() && (m_queue.front().packet.number == m_expected || m_queue.size() >= kWindow ||
                                    NowMs() - m_queue.front().sinceMs >= 100);
    }

    void Arrive(const Numbered& packet) {
        // The tolerant way looks at nothing but the number: the first packet of a source is held back too, and empties
        // the queue of those behind it when it leaves it. It is meant.
        const bool isOfThisSource = m_expected != 0 && packet.packet.ssrc == m_currentSsrc;
        if (packet.number != m_expected && (m_isTolerant || isOfThisSource)) {
            Hold(packet);
        } else {
            TakeInHand(packet);
        }
    }

    void Hold(const Numbered& packet) {
        if (packet.number < m_expected && packet.number > m_expected - kLateDistance) {
            ++m_result.late;
            return;
        }
        auto place = m_queue.begin();
        bool hasTwin = false;
        while (place != m_queue.end() && place->packet.number <= packet.number) {
            hasTwin = place->packet.number == packet.number;
            ++place;
        }
        m_result.twins += hasTwin ? 1 : 0;
        m_queue.insert(place, {packet, NowMs()});
    }

    /// A packet that leaves the queue is not asked again whether it is late: the twin of one that was taken before it
    /// counts as a gap. It is meant.
    void TakeInHand(const Numbered& packet) {
        if (packet.packet.ssrc != m_currentSsrc) {
            m_currentSsrc = packet.packet.ssrc;
            m_resync = true;
            m_result.flushed += m_queue.size();
            m_queue.clear();
        }
        ++m_result.received;
        if (!m_resync && packet.number != m_expected) {
            ++m_result.gaps;
            m_resync = true;
        }
        const bool isStart = packet.packet.timestamp % 2 == 0;
        if (m_resync && isStart && m_isTolerant && !m_assembled.empty()) {
            ++m_result.lookedAtAgain;
            Hold(packet);
            Deliver();
            return;
        }
        if (m_resync && isStart) {
            m_expected = packet.number;
            m_resync = false;
            m_awaitsStart = false;
            m_assembled.clear();
        } else if (m_resync && (!m_isTolerant || m_awaitsStart)) {
            return;
        }
        Accept(packet);
    }

    void Accept(const Numbered& packet) {
        ++m_expected;
        if (m_assembled.size() + packet.packet.payload.size() > m_capacity) {
            ++m_result.tooLarge;
            m_resync = true;
            if (m_isTolerant) {
                m_awaitsStart = true;
                m_assembled.clear();
            } else {
                ++m_result.gaps;
            }
            return;
        }
        m_assembled += packet.packet.payload;
        if (packet.packet.marker) {
            Deliver();
        }
    }

    void Deliver() {
        m_result.frames.push_back(m_assembled);
        m_assembled.clear();
    }

    const bool m_isTolerant;
    const std::size_t m_capacity;
    Result m_result;
    Time m_now{0};
    std::list<Held> m_queue;
    std::uint32_t m_numberedSsrc = 0;
    std::uint32_t m_cycles = 0;
    std::uint32_t m_highest = 0;
    std::uint32_t m_currentSsrc = 0;
    std::uint32_t m_expected = 0;
    bool m_resync = true;
    bool m_awaitsStart = true;
    std::string m_assembled;
};

}  // namespace qrn::test
