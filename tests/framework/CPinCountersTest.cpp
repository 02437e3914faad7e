#include "framework/CPinCounters.h"

#include <gtest/gtest.h>

#include "Chain.h"
#include "TestFilters.h"
#include "framework/CBaseRenderer.h"

namespace qrn::test {
namespace {

QRN_PIN_STATISTICS StatisticsOf(IPin& pin) {
    QRN_PIN_STATISTICS statistics{};
    const auto counting = ComPtr<IPin>::Share(&pin).As<IQRN_PinStatistics>();
    EXPECT_TRUE(counting);
    if (counting) {
        EXPECT_EQ(counting->GetPinStatistics(&statistics), S_OK);
        EXPECT_EQ(counting->GetPinStatistics(nullptr), E_POINTER);
    }
    return statistics;
}

class PinCounters : public testing::Test {
protected:
    void SetUp() override {
        m_feed->pin.buffers = 4;
        m_chain.Add(m_feed.Get());
        m_chain.Add(m_take.Get());
        ASSERT_EQ(m_chain.Connect(&m_feed->pin, &m_take->pin), S_OK);
    }
    QRN_PIN_STATISTICS Out() { return StatisticsOf(m_feed->pin); }
    QRN_PIN_STATISTICS In() { return StatisticsOf(m_take->pin); }

    CHeld<CFeedFilter> m_feed;
    CHeld<CTakeFilter> m_take;
    CChain m_chain;
};

TEST_F(PinCounters, BothEndsCountWhatPasses) {
    ASSERT_EQ(m_chain.Run(), S_OK);
    EXPECT_EQ(Out().firstSampleNs, 0);
    const std::int64_t before = CoarseNow().count();
    EXPECT_EQ(m_feed->Feed(-1, -1, true, 4), S_OK);
    EXPECT_EQ(m_feed->Feed(-1, -1, true, 0), S_OK);
    const ComPtr<IMediaSample> marked = m_feed->Sample(-1, -1, true, 9);
    marked->SetDiscontinuity(TRUE);
    EXPECT_EQ(m_feed->pin.Deliver(marked.Get()), S_OK);
    for (const QRN_PIN_STATISTICS& statistics : {Out(), In()}) {
        EXPECT_EQ(statistics.samples, 3u);
        EXPECT_EQ(statistics.bytes, 13u);
        EXPECT_EQ(statistics.discontinuities, 1u);
        EXPECT_EQ(statistics.dropped, 0u);
        EXPECT_EQ(statistics.skipped, 0u);
        EXPECT_GE(statistics.firstSampleNs, before);
        EXPECT_GE(statistics.lastSampleNs, statistics.firstSampleNs);
        EXPECT_GE(statistics.nowNs, statistics.lastSampleNs);
    }
}

TEST_F(PinCounters, TheNextFilterMayChangeTheSample) {
    m_take->pin.onReceive = [](IMediaSample* sample) { return sample->SetActualDataLength(1); };
    ASSERT_EQ(m_chain.Run(), S_OK);
    EXPECT_EQ(m_feed->Feed(-1, -1, true, 7), S_OK);
    EXPECT_EQ(Out().bytes, 7u);
    EXPECT_EQ(In().bytes, 7u);
}

TEST_F(PinCounters, WhatIsRefusedIsDroppedAtBothEnds) {
    ASSERT_EQ(m_chain.Run(), S_OK);
    m_take->pin.BeginFlush();
    EXPECT_EQ(m_feed->Feed(), S_FALSE);
    m_take->pin.EndFlush();
    EXPECT_EQ(m_feed->Feed(), S_OK);
    for (const QRN_PIN_STATISTICS& statistics : {Out(), In()}) {
        EXPECT_EQ(statistics.samples, 1u);
        EXPECT_EQ(statistics.dropped, 1u);
    }
}

TEST_F(PinCounters, AFilterThatFailsHasTakenTheSampleAllTheSame) {
    m_take->pin.onReceive = [](IMediaSample*) { return E_FAIL; };
    ASSERT_EQ(m_chain.Run(), S_OK);
    EXPECT_EQ(m_feed->Feed(), E_FAIL);
    EXPECT_EQ(In().samples, 1u);
    EXPECT_EQ(In().dropped, 0u);
    EXPECT_EQ(Out().samples, 0u);
    EXPECT_EQ(Out().dropped, 1u);
}

TEST_F(PinCounters, TheQueueIsTheBuffersThatAreOut) {
    EXPECT_EQ(Out().buffersInUse, 0);
    EXPECT_EQ(Out().bufferCount, 4);
    ASSERT_EQ(m_chain.Run(), S_OK);
    m_take->pin.keepsSamples = true;
    EXPECT_EQ(m_feed->Feed(), S_OK);
    EXPECT_EQ(m_feed->Feed(), S_OK);
    for (const QRN_PIN_STATISTICS& statistics : {Out(), In()}) {
        EXPECT_EQ(statistics.buffersInUse, 2);
        EXPECT_EQ(statistics.bufferCount, 4);
    }
    m_take->pin.ReleaseKept();
    EXPECT_EQ(Out().buffersInUse, 0);
}

TEST_F(PinCounters, WithoutAConnectionThereIsNoQueue) {
    m_feed->pin.Disconnect();
    m_take->pin.Disconnect();
    for (const QRN_PIN_STATISTICS& statistics : {Out(), In()}) {
        EXPECT_EQ(statistics.buffersInUse, -1);
        EXPECT_EQ(statistics.bufferCount, -1);
    }
}

TEST_F(PinCounters, CountsStayAfterTheStopAndBeginAnewWithTheNextStart) {
    ASSERT_EQ(m_chain.Run(), S_OK);
    EXPECT_EQ(m_feed->Feed(), S_OK);
    ASSERT_EQ(m_chain.Pause(), S_OK);
    ASSERT_EQ(m_chain.Run(), S_OK);
    EXPECT_EQ(m_feed->Feed(), S_OK);
    ASSERT_EQ(m_chain.Stop(), S_OK);
    EXPECT_EQ(Out().samples, 2u);
    EXPECT_EQ(In().samples, 2u);
    ASSERT_EQ(m_chain.Pause(), S_OK);
    for (const QRN_PIN_STATISTICS& statistics : {Out(), In()}) {
        EXPECT_EQ(statistics.samples, 0u);
        EXPECT_EQ(statistics.bytes, 0u);
        EXPECT_EQ(statistics.lastSampleNs, 0);
    }
}

/// Renders nothing: every sample is too late.
class CLateRenderer final : public CBaseRenderer {
public:
    CLateRenderer() : CBaseRenderer(GUID_NULL, L"late", nullptr, nullptr) {}
    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    HRESULT DoRenderSample(IMediaSample*) override { return S_OK; }
    HRESULT ShouldDrawSampleNow(IMediaSample*, REFERENCE_TIME*, REFERENCE_TIME*) override { return E_FAIL; }
};

TEST(PinCountersOfARenderer, WhatIsTooLateIsDropped) {
    CHeld<CFeedFilter> feed;
    CHeld<CLateRenderer> renderer;
    CChain chain;
    chain.Add(feed.Get());
    chain.Add(renderer.Get());
    ASSERT_EQ(chain.Connect(&feed->pin, renderer->GetPin(0)), S_OK);
    ASSERT_TRUE(SUCCEEDED(chain.Run()));
    EXPECT_EQ(feed->Feed(0, 10), S_OK);
    const QRN_PIN_STATISTICS in = StatisticsOf(*renderer->GetPin(0));
    EXPECT_EQ(in.samples, 1u);
    EXPECT_EQ(in.dropped, 1u);
    EXPECT_EQ(StatisticsOf(feed->pin).dropped, 0u);
}

/// Makes one sample of every two.
class CEverySecond final : public CTransformFilter {
public:
    CEverySecond() : CTransformFilter(L"every second", nullptr, GUID_NULL) {}
    HRESULT Transform(IMediaSample*, IMediaSample* out) override {
        out->SetActualDataLength(3);
        return ++m_transforms % 2 == 0 ? S_OK : S_FALSE;
    }
    HRESULT CheckInputType(const CMediaType*) override { return S_OK; }
    HRESULT CheckTransform(const CMediaType*, const CMediaType*) override { return S_OK; }
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES*) override {
        const ALLOCATOR_PROPERTIES request{1, 8, 1, 0};
        ALLOCATOR_PROPERTIES actual{};
        return allocator->SetProperties(&request, &actual);
    }
    HRESULT GetMediaType(int position, CMediaType* type) override {
        *type = TypeOf(1);
        return position == 0 ? S_OK : VFW_S_NO_MORE_ITEMS;
    }

private:
    int m_transforms = 0;
};

TEST(PinCountersOfATransform, WhatItMakesNothingOfIsSkipped) {
    CHeld<CFeedFilter> feed;
    CHeld<CEverySecond> transform;
    CHeld<CTakeFilter> take;
    CChain chain;
    chain.Add(feed.Get());
    chain.Add(transform.Get());
    chain.Add(take.Get());
    ASSERT_EQ(chain.Connect(&feed->pin, transform->GetPin(0)), S_OK);
    ASSERT_EQ(chain.Connect(transform->GetPin(1), &take->pin), S_OK);
    ASSERT_EQ(chain.Run(), S_OK);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(feed->Feed(), S_OK);
    }
    const QRN_PIN_STATISTICS in = StatisticsOf(*transform->GetPin(0));
    const QRN_PIN_STATISTICS out = StatisticsOf(*transform->GetPin(1));
    EXPECT_EQ(in.samples, 5u);
    EXPECT_EQ(out.samples, 2u);
    EXPECT_EQ(out.bytes, 6u);
    EXPECT_EQ(out.skipped, 3u);
    EXPECT_EQ(out.dropped, 0u);
}

/// One of another make.
TEST(PinCountersOfAnAllocator, AnAllocatorThatDoesNotTellLeavesTheQueueOpen) {
    class CSilentAllocator final : public IMemAllocator {
    public:
        HRESULT QueryInterface(REFIID, void** object) override {
            *object = nullptr;
            return E_NOINTERFACE;
        }
        ULONG AddRef() override { return ++references; }
        ULONG Release() override { return --references; }
        HRESULT SetProperties(const ALLOCATOR_PROPERTIES*, ALLOCATOR_PROPERTIES*) override { return E_NOTIMPL; }
        HRESULT GetProperties(ALLOCATOR_PROPERTIES*) override { return E_NOTIMPL; }
        HRESULT Commit() override { return S_OK; }
        HRESULT Decommit() override { return S_OK; }
        HRESULT GetBuffer(IMediaSample**, const REFERENCE_TIME*, const REFERENCE_TIME*, DWORD) override {
            return E_NOTIMPL;
        }
        HRESULT ReleaseBuffer(IMediaSample*) override { return E_NOTIMPL; }
        ULONG references = 0;
    } allocator;
    {
        CPinCounters counters;
        counters.SetAllocator(&allocator);
        QRN_PIN_STATISTICS statistics{};
        counters.Read(statistics);
        EXPECT_EQ(statistics.buffersInUse, -1);
        EXPECT_EQ(statistics.bufferCount, -1);
        EXPECT_EQ(allocator.references, 1u);
    }
    EXPECT_EQ(allocator.references, 0u);
}

}  // namespace
}  // namespace qrn::test
