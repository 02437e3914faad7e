#pragma once
/// A bad network, seeded: what becomes of each datagram that goes over it, and when.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <span>
#include <vector>

namespace qrn {

/// How bad it is. Shares are 0 to 1; what is left as it stands does nothing.
struct ImpairmentSettings {
    /// Share of the datagrams lost one by one.
    double loss = 0;
    /// Share of the datagrams, of those outside a burst, that begin one, and the mean number that a burst takes away
    /// (at least 1). A Gilbert model: within a burst everything is lost, outside of it `loss` is at work (E. N.
    /// Gilbert, "Capacity of a burst-noise channel", Bell System Technical Journal 39, 1960).
    double burstStart = 0;
    double burstLength = 1;
    std::chrono::nanoseconds delay{0};
    /// Added to the delay, evenly spread from nothing to this; datagrams do not overtake each other by it.
    std::chrono::nanoseconds jitter{0};
    /// Share of the datagrams that are overtaken by those behind them, by 1 to `reorderDistance` of them.
    double reorder = 0;
    std::uint32_t reorderDistance = 0;
    /// Share of the datagrams that arrive twice, the copy directly behind the first.
    double duplicate = 0;
    /// Of the line, in kilobits a second with the 28 bytes of IPv4 and UDP in front of each datagram; 0: endless.
    std::uint32_t rateKbit = 0;
    /// Datagrams that wait for the line at most; what finds the queue full is dropped.
    std::size_t queueDatagrams = 100;
    std::uint64_t seed = 1;
};

/// offered + duplicated = delivered + lost + lostInBursts + droppedByQueue + waiting, at any time.
struct ImpairmentCounters {
    std::uint64_t offered = 0;
    std::uint64_t delivered = 0;
    std::uint64_t lost = 0;
    std::uint64_t lostInBursts = 0;
    std::uint64_t droppedByQueue = 0;
    std::uint64_t duplicated = 0;
    std::uint64_t reordered = 0;
    std::uint64_t waiting = 0;
    std::uint64_t offeredBytes = 0;
    std::uint64_t deliveredBytes = 0;
};

/// What the seed has in store for the datagram of one number.
struct DatagramFate {
    bool isLost = false;
    bool isInBurst = false;  // then it is lost too
    bool isDuplicated = false;
    std::uint32_t overtakenBy = 0;  // 0: none
    double jitterShare = 0;         // 0 to 1
};

/// Datagrams in with the time at which they came, datagrams out with the time at which they leave, in order of time.
/// Time is the caller's: a clock or a number that a test counts up.
///
/// Fates hang on the seed and the datagram's number alone, never on time, so that the same seed treats the same stream
/// alike in a test and on a socket. What the queue of a limited rate drops does hang on time. One thread.
class CImpairmentModel {
public:
    using Time = std::chrono::nanoseconds;

    struct Datagram {
        std::vector<std::uint8_t> bytes;
        Time leaves{0};
        std::uint64_t number = 0;  // in order of arrival from 0; a copy has the number of its first
    };

    /// A datagram to be overtaken goes on after this time also when no others come.
    static constexpr Time kLongestHold = std::chrono::milliseconds(200);

    /// Settings out of their range are taken as the nearest that is in it.
    explicit CImpairmentModel(const ImpairmentSettings& settings);

    /// @param now  not before that of an earlier call. @return what becomes of it.
    DatagramFate Offer(std::span<const std::uint8_t> bytes, Time now);
    /// When to call Take next, if nothing more is offered before; nothing while nothing waits.
    std::optional<Time> NextTime() const;
    /// The next datagram that has left by `now`.
    std::optional<Datagram> Take(Time now);

    const ImpairmentCounters& Counters() const { return m_counters; }

private:
    struct Held {
        Datagram datagram;
        double jitterShare;
        Time since;
    };

    DatagramFate DecideFate();
    double Draw(std::uint64_t purpose) const;
    void ReleaseHeld(Time now);
    void Pass(Datagram datagram, double jitterShare, Time now);

    ImpairmentSettings m_settings;
    ImpairmentCounters m_counters;
    bool m_inBurst = false;
    /// By the number behind which the datagram goes on.
    std::multimap<std::uint64_t, Held> m_held;
    Time m_lineFree{0};
    std::deque<Time> m_onTheLine;  // when each that waits for the line, or is on it, has left it
    std::deque<Datagram> m_underWay;
};

}  // namespace qrn
