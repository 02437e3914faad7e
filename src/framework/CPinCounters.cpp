#include "framework/CPinCounters.h"

#include <algorithm>
#include <utility>

#include "platform/system/Clock.h"

namespace qrn {

void CPinCounters::CountSample(LONG bytes, bool isDiscontinuity) {
    const std::int64_t now = CoarseNow().count();
    const std::uint64_t before = m_samples.load(std::memory_order_relaxed);
    if (before == 0) {
        m_firstSampleNs.store(now, std::memory_order_relaxed);
    }
    m_lastSampleNs.store(now, std::memory_order_relaxed);
    Add(m_bytes, static_cast<std::uint64_t>(std::max<LONG>(bytes, 0)));
    if (isDiscontinuity) {
        Add(m_discontinuities, 1);
    }
    // Last, so that who has seen this sample counted sees its bytes and times too.
    m_samples.store(before + 1, std::memory_order_release);
}

void CPinCounters::Reset() {
    for (Figure* figure : {&m_samples, &m_bytes, &m_discontinuities, &m_dropped, &m_skipped}) {
        figure->store(0, std::memory_order_relaxed);
    }
    m_firstSampleNs.store(0, std::memory_order_relaxed);
    m_lastSampleNs.store(0, std::memory_order_relaxed);
}

void CPinCounters::SetAllocator(IMemAllocator* allocator) {
    auto held = ComPtr<IMemAllocator>::Share(allocator);
    const CScopedLock lock(m_allocatorLock);
    std::swap(m_allocator, held);
}

void CPinCounters::Read(QRN_PIN_STATISTICS& statistics) const {
    statistics = {};
    statistics.samples = m_samples.load(std::memory_order_acquire);
    statistics.bytes = m_bytes.load(std::memory_order_relaxed);
    statistics.discontinuities = m_discontinuities.load(std::memory_order_relaxed);
    statistics.dropped = m_dropped.load(std::memory_order_relaxed);
    statistics.skipped = m_skipped.load(std::memory_order_relaxed);
    statistics.firstSampleNs = m_firstSampleNs.load(std::memory_order_relaxed);
    statistics.lastSampleNs = m_lastSampleNs.load(std::memory_order_relaxed);
    statistics.nowNs = CoarseNow().count();
    ComPtr<IMemAllocator> allocator;
    {
        const CScopedLock lock(m_allocatorLock);
        allocator = m_allocator;
    }
    const auto usage = allocator.As<IQRN_AllocatorStatistics>();
    if (!usage || FAILED(usage->GetBufferUsage(&statistics.buffersInUse, &statistics.bufferCount))) {
        statistics.buffersInUse = -1;
        statistics.bufferCount = -1;
    }
}

}  // namespace qrn
