#pragma once
/// What passes through a pin, in figures.

#include <atomic>
#include <cstdint>

#include "platform/system/Lock.h"
#include "qrn/filters.h"

namespace qrn {

/// Counted by one thread at a time, the streaming one, and read by any. Counting takes no lock and no locked
/// instruction: each figure has a single writer.
class CPinCounters {
public:
    void CountSample(LONG bytes, bool isDiscontinuity);
    void CountDropped() { Add(m_dropped, 1); }
    void CountSkipped() { Add(m_skipped, 1); }
    /// All figures to 0, when nothing streams yet.
    void Reset();

    /// Whose buffers are the queue; null for none. It is held until the next call.
    void SetAllocator(IMemAllocator* allocator);

    void Read(QRN_PIN_STATISTICS& statistics) const;

private:
    using Figure = std::atomic<std::uint64_t>;

    static void Add(Figure& figure, std::uint64_t amount) {
        figure.store(figure.load(std::memory_order_relaxed) + amount, std::memory_order_relaxed);
    }

    Figure m_samples{0};
    Figure m_bytes{0};
    Figure m_discontinuities{0};
    Figure m_dropped{0};
    Figure m_skipped{0};
    std::atomic<std::int64_t> m_firstSampleNs{0};
    std::atomic<std::int64_t> m_lastSampleNs{0};

    mutable CMutex m_allocatorLock;  // held to copy the pointer only
    ComPtr<IMemAllocator> m_allocator QRN_GUARDED_BY(m_allocatorLock);
};

}  // namespace qrn
