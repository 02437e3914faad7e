#include "framework/CBaseRenderer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "Chain.h"
#include "TestFilters.h"

namespace qrn::test {
namespace {

constexpr REFERENCE_TIME kMs = 10'000;

class CRecordingRenderer final : public CBaseRenderer {
public:
    CRecordingRenderer() : CBaseRenderer(GUID_NULL, L"recording", nullptr, nullptr) {}

    HRESULT CheckMediaType(const CMediaType* type) override {
        return *type == TypeOf(9) ? VFW_E_TYPE_NOT_ACCEPTED : S_OK;
    }
    HRESULT SetMediaType(const CMediaType*) override {
        ++typesSet;
        return S_OK;
    }
    HRESULT DoRenderSample(IMediaSample* sample) override {
        REFERENCE_TIME start = -1;
        REFERENCE_TIME stop = 0;
        sample->GetTime(&start, &stop);
        if (onRender) {
            onRender();
        }
        CScopedLock lock(m_gate);
        m_rendered.push_back(start);
        return renderResult;
    }
    HRESULT ShouldDrawSampleNow(IMediaSample* sample, REFERENCE_TIME* start, REFERENCE_TIME* end) override {
        return drawsAtOnce ? S_OK : CBaseRenderer::ShouldDrawSampleNow(sample, start, end);
    }
    HRESULT OnStartStreaming() override {
        Note('+');
        return S_OK;
    }
    HRESULT OnStopStreaming() override {
        Note('-');
        return S_OK;
    }
    void OnReceiveFirstSample(IMediaSample*) override { Note('1'); }

    std::vector<REFERENCE_TIME> Rendered() const {
        CScopedLock lock(m_gate);
        return m_rendered;
    }
    bool WaitForRendered(std::size_t count) {
        return WaitUntil([this, count] { return Rendered().size() >= count; });
    }
    std::string Notes() const {
        CScopedLock lock(m_gate);
        return m_notes;
    }
    CCritSec& InterfaceLock() { return m_InterfaceLock; }

    std::function<void()> onRender;
    bool drawsAtOnce = false;
    HRESULT renderResult = S_OK;
    std::atomic<int> typesSet{0};

private:
    void Note(char what) {
        CScopedLock lock(m_gate);
        m_notes += what;
    }

    mutable CMutex m_gate;
    std::vector<REFERENCE_TIME> m_rendered QRN_GUARDED_BY(m_gate);
    std::string m_notes QRN_GUARDED_BY(m_gate);
};

class Renderer : public testing::Test {
protected:
    void SetUp() override {
        m_feed->pin.buffers = 4;
        m_chain.Add(m_feed.Get());
        m_chain.Add(m_renderer.Get());
        ASSERT_EQ(m_chain.Connect(&m_feed->pin, m_renderer->GetPin(0)), S_OK);
    }
    void TearDown() override {
        m_ends = true;
        m_chain.Stop();
        JoinStreaming();
    }
    /// Feeds on a streaming thread of its own.
    void FeedAside(REFERENCE_TIME start, REFERENCE_TIME stop) {
        JoinStreaming();
        m_streaming = std::thread([this, start, stop] { m_fed = m_feed->Feed(start, stop); });
    }
    void JoinStreaming() {
        if (m_streaming.joinable()) {
            m_streaming.join();
        }
    }
    bool WaitForPaused() {
        FILTER_STATE state = State_Stopped;
        return m_renderer->GetState(20'000, &state) == S_OK && state == State_Paused;
    }

    CHeld<CFeedFilter> m_feed;
    CHeld<CRecordingRenderer> m_renderer;
    CChain m_chain;
    std::thread m_streaming;
    std::atomic<bool> m_ends{false};
    std::atomic<HRESULT> m_fed{kNotFedYet};

    static constexpr HRESULT kNotFedYet = static_cast<HRESULT>(0x8000000Au);
};

TEST_F(Renderer, RendersEachSampleAtItsTime) {
    m_chain.Run();
    FeedAside(40 * kMs, 80 * kMs);
    EXPECT_EQ(m_chain.clock->WaitForPending(1, m_chain.start), 40 * kMs);
    m_chain.clock->Advance(39 * kMs);
    EXPECT_TRUE(m_renderer->Rendered().empty());
    m_chain.clock->Advance(1 * kMs);
    EXPECT_TRUE(m_renderer->WaitForRendered(1));
    JoinStreaming();
    EXPECT_EQ(m_fed, S_OK);
    EXPECT_EQ(m_chain.clock->PendingCount(), 0u);
}

struct AtOnceCase {
    const char* name;
    REFERENCE_TIME start;
    bool withClock;
    bool drawsAtOnce;
    bool rendered;
};

class RendererAtOnce : public Renderer, public testing::WithParamInterface<AtOnceCase> {};

TEST_P(RendererAtOnce, DoesNotWait) {
    if (!GetParam().withClock) {
        m_renderer->SetSyncSource(nullptr);
    }
    m_renderer->drawsAtOnce = GetParam().drawsAtOnce;
    m_chain.Run();
    m_chain.clock->Advance(100 * kMs);
    const REFERENCE_TIME stop = GetParam().rendered ? GetParam().start + kMs : 0;
    EXPECT_EQ(m_feed->Feed(GetParam().start, stop), S_OK);
    EXPECT_EQ(m_renderer->Rendered().size(), GetParam().rendered ? 1u : 0u);
}

INSTANTIATE_TEST_SUITE_P(Rows, RendererAtOnce,
                         testing::Values(AtOnceCase{"NoTime", -1, true, false, true},
                                         AtOnceCase{"Late", 99 * kMs, true, false, true},
                                         AtOnceCase{"DueNow", 100 * kMs, true, false, true},
                                         AtOnceCase{"NoClock", 500 * kMs, false, false, true},
                                         AtOnceCase{"TheFilterSaysSo", 500 * kMs, true, true, true},
                                         AtOnceCase{"EndBeforeStartIsDropped", 5 * kMs, true, false, false}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(Renderer, PausedHoldsItsFirstSampleUntilRun) {
    EXPECT_EQ(m_renderer->Pause(), S_FALSE) << "nothing has come yet";
    m_feed->Pause();
    FILTER_STATE state = State_Stopped;
    EXPECT_EQ(m_renderer->GetState(0, &state), VFW_S_STATE_INTERMEDIATE);
    EXPECT_EQ(state, State_Paused);
    FeedAside(0, 40 * kMs);
    EXPECT_TRUE(WaitForPaused());
    EXPECT_EQ(m_renderer->Notes(), "1");
    EXPECT_TRUE(m_renderer->HaveCurrentSample());
    EXPECT_TRUE(m_renderer->Rendered().empty());
    m_chain.Run();
    EXPECT_TRUE(m_renderer->WaitForRendered(1));
    EXPECT_EQ(m_renderer->Notes(), "1+");
}

TEST_F(Renderer, HeldSampleWaitsForItsTimeAfterRun) {
    m_chain.Pause();
    FeedAside(30 * kMs, 40 * kMs);
    EXPECT_TRUE(WaitForPaused());
    m_chain.Run();
    EXPECT_EQ(m_chain.clock->WaitForPending(1, m_chain.start), 30 * kMs);
    m_chain.clock->Advance(30 * kMs);
    EXPECT_TRUE(m_renderer->WaitForRendered(1));
}

TEST_F(Renderer, StopReleasesAHeldSample) {
    m_chain.Pause();
    FeedAside(0, 40 * kMs);
    EXPECT_TRUE(WaitForPaused());
    EXPECT_EQ(m_renderer->Stop(), S_OK);
    JoinStreaming();
    EXPECT_FALSE(m_renderer->HaveCurrentSample());
    EXPECT_TRUE(m_renderer->Rendered().empty());
    EXPECT_EQ(m_feed->Feed(0, kMs), VFW_E_NOT_COMMITTED) << "the two share the allocator";
}

TEST_F(Renderer, StopReleasesAWaitForASamplesTime) {
    m_chain.Run();
    FeedAside(10'000 * kMs, 10'040 * kMs);
    EXPECT_GT(m_chain.clock->WaitForPending(1), 0);
    EXPECT_EQ(m_renderer->Stop(), S_OK);
    JoinStreaming();
    EXPECT_EQ(m_chain.clock->PendingCount(), 0u) << "the clock was told";
    EXPECT_TRUE(m_renderer->Rendered().empty());
    EXPECT_EQ(m_renderer->Notes(), "+-");
}

TEST_F(Renderer, PauseTakesTheNotificationBackAndRunAsksAnew) {
    m_chain.Run();
    FeedAside(50 * kMs, 90 * kMs);
    EXPECT_GT(m_chain.clock->WaitForPending(1), 0);
    EXPECT_EQ(m_renderer->Pause(), S_OK) << "it has a sample";
    EXPECT_EQ(m_chain.clock->PendingCount(), 0u);
    m_chain.clock->Advance(500 * kMs);
    EXPECT_TRUE(m_renderer->Rendered().empty());
    m_chain.start = m_chain.clock->Now() - 20 * kMs;
    m_renderer->Run(m_chain.start);
    EXPECT_EQ(m_chain.clock->WaitForPending(1, m_chain.start), 50 * kMs);
    m_chain.clock->Advance(30 * kMs);
    EXPECT_TRUE(m_renderer->WaitForRendered(1));
    EXPECT_EQ(m_renderer->Notes(), "+-+");
}

TEST_F(Renderer, FlushReleasesAndForgets) {
    m_chain.Run();
    FeedAside(10'000 * kMs, 10'040 * kMs);
    EXPECT_GT(m_chain.clock->WaitForPending(1), 0);
    EXPECT_EQ(m_feed->pin.DeliverBeginFlush(), S_OK);
    JoinStreaming();
    EXPECT_EQ(m_feed->Feed(0, kMs), S_FALSE);
    EXPECT_EQ(m_feed->pin.DeliverEndFlush(), S_OK);
    EXPECT_TRUE(m_renderer->Rendered().empty());
    EXPECT_EQ(m_feed->Feed(0, kMs), S_OK);
    EXPECT_EQ(m_renderer->Rendered().size(), 1u);
}

TEST_F(Renderer, FlushWhilePausedWaitsForASampleAgain) {
    m_chain.Pause();
    FeedAside(0, 40 * kMs);
    EXPECT_TRUE(WaitForPaused());
    m_feed->pin.DeliverBeginFlush();
    JoinStreaming();
    m_feed->pin.DeliverEndFlush();
    FILTER_STATE state = State_Stopped;
    EXPECT_EQ(m_renderer->GetState(0, &state), VFW_S_STATE_INTERMEDIATE);
    FeedAside(0, 40 * kMs);
    EXPECT_TRUE(WaitForPaused());
}

TEST_F(Renderer, CompletesOnceARun) {
    m_chain.Run();
    EXPECT_EQ(m_feed->pin.DeliverEndOfStream(), S_OK);
    EXPECT_EQ(m_feed->pin.DeliverEndOfStream(), S_OK);
    EXPECT_EQ(m_chain.graph->Count(EC_COMPLETE), 1u);
    EXPECT_EQ(m_chain.graph->Events()[0].param2,
              reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(m_renderer.Get())));
    EXPECT_EQ(m_feed->Feed(), E_UNEXPECTED) << "nothing may follow the end";
    m_chain.Pause();
    m_chain.Run();
    EXPECT_EQ(m_chain.graph->Count(EC_COMPLETE), 2u) << "a new run, at whose start the end is known";
    m_chain.Stop();
    m_chain.Run();
    EXPECT_EQ(m_feed->Feed(), S_OK) << "stopping forgets the end";
    EXPECT_EQ(m_chain.graph->Count(EC_COMPLETE), 2u);
}

TEST_F(Renderer, CompletesWhenTheLastSampleEnds) {
    m_chain.Run();
    FeedAside(10 * kMs, 50 * kMs);
    m_chain.clock->WaitForPending(1);
    m_chain.clock->Advance(10 * kMs);
    JoinStreaming();
    m_streaming = std::thread([this] { m_feed->pin.DeliverEndOfStream(); });
    EXPECT_EQ(m_chain.clock->WaitForPending(1, m_chain.start), 50 * kMs);
    EXPECT_EQ(m_chain.graph->Count(EC_COMPLETE), 0u);
    m_chain.clock->Advance(40 * kMs);
    EXPECT_TRUE(m_chain.graph->WaitFor(EC_COMPLETE, 1));
}

TEST_F(Renderer, StopEndsTheWaitForTheLastSamplesEnd) {
    m_chain.Run();
    m_chain.clock->Advance(10 * kMs);
    FeedAside(20 * kMs, 50'000 * kMs);
    m_chain.clock->WaitForPending(1);
    m_chain.clock->Advance(10 * kMs);
    JoinStreaming();
    m_streaming = std::thread([this] { m_feed->pin.DeliverEndOfStream(); });
    EXPECT_EQ(m_chain.clock->WaitForPending(1, m_chain.start), 50'000 * kMs);
    m_chain.Stop();
    JoinStreaming();
    EXPECT_EQ(m_chain.graph->Count(EC_COMPLETE), 0u);
}

TEST_F(Renderer, EndWhilePausedCompletesThePauseAndIsToldAtRun) {
    EXPECT_EQ(m_chain.Pause(), S_FALSE);
    m_feed->pin.DeliverEndOfStream();
    EXPECT_TRUE(WaitForPaused());
    EXPECT_EQ(m_chain.graph->Count(EC_COMPLETE), 0u);
    m_chain.Run();
    EXPECT_EQ(m_chain.graph->Count(EC_COMPLETE), 1u);
}

TEST_F(Renderer, UnconnectedRendererCompletesAtOnce) {
    CHeld<CRecordingRenderer> lonely;
    CChain chain;
    chain.Add(lonely.Get());
    EXPECT_EQ(chain.Pause(), S_OK);
    EXPECT_EQ(chain.Run(), S_OK);
    EXPECT_EQ(chain.graph->Count(EC_COMPLETE), 1u);
    EXPECT_EQ(lonely->Notes(), "");
}

TEST_F(Renderer, FailedRenderingLosesTheSampleOnly) {
    m_renderer->renderResult = E_FAIL;
    m_chain.Run();
    EXPECT_EQ(m_feed->Feed(0, kMs), S_OK);
    EXPECT_EQ(m_feed->Feed(0, kMs), S_OK);
    EXPECT_EQ(m_renderer->Rendered().size(), 2u);
    EXPECT_TRUE(m_chain.graph->Events().empty());
}

TEST_F(Renderer, NewTypeInTheStreamIsSetBeforeItsSample) {
    m_chain.Run();
    const int before = m_renderer->typesSet;
    const auto sample = m_feed->Sample(0, kMs);
    const CMediaType type = TypeOf(2);
    sample->SetMediaType(&type);
    EXPECT_EQ(m_feed->pin.Deliver(sample.Get()), S_OK);
    EXPECT_EQ(m_renderer->typesSet, before + 1);
    EXPECT_TRUE(m_renderer->GetPin(0)->CurrentMediaType() == TypeOf(2));
}

TEST_F(Renderer, RefusedTypeInTheStreamAborts) {
    m_chain.Run();
    const auto sample = m_feed->Sample(0, kMs);
    const CMediaType type = TypeOf(9);
    sample->SetMediaType(&type);
    EXPECT_EQ(m_feed->pin.Deliver(sample.Get()), VFW_E_INVALIDMEDIATYPE);
    EXPECT_EQ(m_chain.graph->Count(EC_ERRORABORT), 1u);
    EXPECT_TRUE(m_renderer->Rendered().empty());
    EXPECT_EQ(m_feed->Feed(0, kMs), VFW_E_RUNTIME_ERROR);
}

TEST_F(Renderer, RenderingMayUseTheFiltersLockWhileAStopWaits) {
    m_renderer->onRender = [this] {
        while (!m_renderer->IsStopping()) {
            std::this_thread::yield();  // until Stop has got in
        }
        CAutoLock lock(&m_renderer->InterfaceLock());
    };
    m_chain.Run();
    FeedAside(0, kMs);
    while (!m_renderer->HaveCurrentSample() && m_renderer->Rendered().empty()) {
        std::this_thread::yield();
    }
    EXPECT_EQ(m_renderer->Stop(), S_OK);
    JoinStreaming();
    EXPECT_LE(m_renderer->Rendered().size(), 1u);
}

TEST_F(Renderer, StatesChangeUnderABusyStream) {
    m_renderer->drawsAtOnce = true;
    m_streaming = std::thread([this] {
        while (!m_ends) {
            m_feed->Feed(0, kMs);
        }
    });
    for (int i = 0; i < 100; ++i) {
        ASSERT_TRUE(SUCCEEDED(m_chain.Run()));
        ASSERT_TRUE(SUCCEEDED(m_chain.Pause()));
        ASSERT_TRUE(SUCCEEDED(m_chain.Run()));
        ASSERT_TRUE(m_renderer->WaitForRendered(static_cast<std::size_t>(i) + 1));
        ASSERT_TRUE(SUCCEEDED(m_chain.Stop()));
        ASSERT_FALSE(m_renderer->HaveCurrentSample());
    }
}

TEST_F(Renderer, FlushesUnderABusyStream) {
    m_chain.Run();
    m_streaming = std::thread([this] {
        while (!m_ends) {
            m_feed->Feed(1'000'000 * kMs, 1'000'001 * kMs);
        }
    });
    for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(m_feed->pin.DeliverBeginFlush(), S_OK);
        ASSERT_FALSE(m_renderer->HaveCurrentSample());
        ASSERT_EQ(m_feed->pin.DeliverEndFlush(), S_OK);
    }
}

}  // namespace
}  // namespace qrn::test
