#pragma once
/// What a receiver counts.

#include <atomic>
#include <cstdint>

namespace qrn {

/// Totals since the session was made. Each counts on its own: read while packets come, they may differ by a few.
struct ReceiveStatistics {
    std::uint64_t datagrams = 0;    ///< read from the system or the external stream, of every kind
    std::uint64_t bytes = 0;        ///< of those datagrams, without the headers of UDP and IP
    std::uint64_t systemCalls = 0;  ///< that read or tried to, or asked the external stream; waits apart
    std::uint64_t waits = 0;        ///< for a datagram or the stop event
    std::uint64_t malformed = 0;    ///< datagrams that are no packet
    std::uint64_t parity = 0;       ///< parity packets that were kept away from the frames
    std::uint64_t otherTypes = 0;   ///< packets of a payload type that was not wanted
    std::uint64_t late = 0;         ///< packets that came after their place was given up or taken, twins among them
    std::uint64_t heldBack = 0;     ///< packets that came before their turn
    std::uint64_t duplicates = 0;   ///< packets that were held back beside one of the same number
    std::uint64_t refused = 0;      ///< packets that could not be held back, for lack of room or memory
    std::uint64_t noRoom = 0;       ///< datagrams that reached this machine and found the socket's buffer full
};

/// One thread counts, any thread reads.
class CReceiveCounters {
public:
    void AddSystemCall() { Add(m_systemCalls, 1); }
    void AddRead(std::uint64_t datagrams, std::uint64_t bytes) {
        Add(m_datagrams, datagrams);
        Add(m_bytes, bytes);
    }
    void AddWait() { Add(m_waits, 1); }
    void AddMalformed() { Add(m_malformed, 1); }
    void AddParity() { Add(m_parity, 1); }
    void AddOtherType() { Add(m_otherTypes, 1); }
    void AddLate() { Add(m_late, 1); }
    void AddHeldBack() { Add(m_heldBack, 1); }
    void AddDuplicate() { Add(m_duplicates, 1); }
    void AddRefused() { Add(m_refused, 1); }
    void AddNoRoom(std::uint64_t datagrams) { Add(m_noRoom, datagrams); }

    std::uint64_t NoRoom() const { return m_noRoom.load(std::memory_order_relaxed); }
    ReceiveStatistics Read() const {
        const auto value = [](const Counter& counter) { return counter.load(std::memory_order_relaxed); };
        return {value(m_datagrams), value(m_bytes),      value(m_systemCalls), value(m_waits),
                value(m_malformed), value(m_parity),     value(m_otherTypes),  value(m_late),
                value(m_heldBack),  value(m_duplicates), value(m_refused),     value(m_noRoom)};
    }

private:
    using Counter = std::atomic<std::uint64_t>;
    /// With one writer a locked addition is not needed.
    static void Add(Counter& counter, std::uint64_t count) {
        counter.store(counter.load(std::memory_order_relaxed) + count, std::memory_order_relaxed);
    }

    Counter m_datagrams{0};
    Counter m_bytes{0};
    Counter m_systemCalls{0};
    Counter m_waits{0};
    Counter m_malformed{0};
    Counter m_parity{0};
    Counter m_otherTypes{0};
    Counter m_late{0};
    Counter m_heldBack{0};
    Counter m_duplicates{0};
    Counter m_refused{0};
    Counter m_noRoom{0};
};

}  // namespace qrn
