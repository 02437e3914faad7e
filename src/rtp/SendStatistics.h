#pragma once
/// What a sender counts.

#include <atomic>
#include <cstdint>

namespace qrn {

/// Totals since the session was made. Each counts on its own: read while packets leave, they may differ by a few.
struct SendStatistics {
    std::uint64_t packets = 0;      ///< media packets that took a sequence number and were not refused
    std::uint64_t datagrams = 0;    ///< handed to the system or the external stream; one a destination, all kinds
    std::uint64_t bytes = 0;        ///< of those datagrams, without the headers of UDP and IP
    std::uint64_t systemCalls = 0;  ///< that sent or tried to
    std::uint64_t failures = 0;     ///< datagrams that the system did not take
};

/// One thread counts, any thread reads.
class CSendCounters {
public:
    void AddPacket() { Add(m_packets, 1); }
    void AddSent(std::uint64_t datagrams, std::uint64_t bytes) {
        Add(m_datagrams, datagrams);
        Add(m_bytes, bytes);
    }
    void AddSystemCall() { Add(m_systemCalls, 1); }
    void AddFailures(std::uint64_t datagrams) { Add(m_failures, datagrams); }

    std::uint64_t Failures() const { return m_failures.load(std::memory_order_relaxed); }
    SendStatistics Read() const {
        const auto value = [](const Counter& counter) { return counter.load(std::memory_order_relaxed); };
        return {value(m_packets), value(m_datagrams), value(m_bytes), value(m_systemCalls), value(m_failures)};
    }

private:
    using Counter = std::atomic<std::uint64_t>;
    /// With one writer a locked addition is not needed.
    static void Add(Counter& counter, std::uint64_t count) {
        counter.store(counter.load(std::memory_order_relaxed) + count, std::memory_order_relaxed);
    }

    Counter m_packets{0};
    Counter m_datagrams{0};
    Counter m_bytes{0};
    Counter m_systemCalls{0};
    Counter m_failures{0};
};

}  // namespace qrn
