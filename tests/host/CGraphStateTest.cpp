#include "host/CGraphState.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/GraphFixture.h"

namespace qrn {
namespace {

using namespace std::chrono_literals;
using test::CFakeFilter;
using Lines = std::vector<std::string>;

constexpr REFERENCE_TIME kMs = 10'000;
constexpr REFERENCE_TIME kStart = test::kFakeStart / 100ns;

class GraphStateTest : public test::GraphFixture {
protected:
    struct Chain {
        ComPtr<CFakeFilter> source;
        ComPtr<CFakeFilter> transform;
        ComPtr<CFakeFilter> sink;
    };
    /// source -> transform -> sink, added in an order that is none of the two right ones.
    Chain MakeChain() {
        Chain chain;
        chain.transform = Add("transform", 1, 1);
        chain.source = Add("source", 0, 1);
        chain.sink = Add("sink", 1, 0);
        Connect(chain.source->Output(), chain.transform->Input());
        Connect(chain.transform->Output(), chain.sink->Input());
        return chain;
    }
    HRESULT StateNow(FILTER_STATE* state = nullptr) {
        FILTER_STATE ignored{};
        return m_graph->GetState(LONG{0}, state != nullptr ? state : &ignored);
    }
};

TEST_F(GraphStateTest, ChangesGoFromTheRendererUpstream) {
    const Chain chain = MakeChain();
    EXPECT_EQ(m_graph->Pause(), S_OK);
    EXPECT_EQ(m_journal.Take(), (Lines{"sink pause", "transform pause", "source pause"}));
    EXPECT_EQ(m_graph->Run(), S_OK);
    EXPECT_EQ(m_journal.Take(), (Lines{"sink run", "transform run", "source run"}));
    EXPECT_EQ(m_graph->Pause(), S_OK);
    EXPECT_EQ(m_journal.Take(), (Lines{"sink pause", "transform pause", "source pause"}));
    EXPECT_EQ(m_graph->Stop(), S_OK);
    EXPECT_EQ(m_journal.Take(), (Lines{"sink stop", "transform stop", "source stop"}));
    // Where the graph is already nothing is done.
    EXPECT_EQ(m_graph->Stop(), S_OK);
    EXPECT_EQ(m_journal.Take(), Lines{});
    // Run from the stop pauses first.
    EXPECT_EQ(m_graph->Run(), S_OK);
    EXPECT_EQ(m_journal.Take(),
              (Lines{"sink pause", "transform pause", "source pause", "sink run", "transform run", "source run"}));
    EXPECT_EQ(m_graph->Run(), S_OK);
    EXPECT_EQ(m_journal.Take(), Lines{});
}

TEST_F(GraphStateTest, AFilterWithTwoWaysDownComesBehindBoth) {
    // A tap: one output by a short way, the other by a long one, to a mixer.
    const auto tap = Add("tap", 0, 2);
    const auto mixer = Add("mixer", 2, 0);
    const auto near = Add("near", 1, 1);
    const auto far = Add("far", 1, 1);
    Connect(tap->Output(0), mixer->Input(0));
    Connect(tap->Output(1), near->Input());
    Connect(near->Output(), far->Input());
    Connect(far->Output(), mixer->Input(1));
    EXPECT_EQ(m_graph->Pause(), S_OK);
    EXPECT_EQ(m_journal.Take(), (Lines{"mixer pause", "far pause", "near pause", "tap pause"}));
}

TEST_F(GraphStateTest, ACircleIsWalkedOnce) {
    // One lock for both: each connects to the other with its own held, an order that thread checkers rightly mistrust.
    CCritSec lock;
    const auto a = Add("a", 1, 1, &lock);
    const auto b = Add("b", 1, 1, &lock);
    const auto alone = Add("alone", 1, 1);
    Connect(a->Output(), b->Input());
    Connect(b->Output(), a->Input());
    EXPECT_EQ(m_graph->Run(), S_OK);
    Lines lines = m_journal.Take();
    std::sort(lines.begin(), lines.end());
    EXPECT_EQ(lines, (Lines{"a pause", "a run", "alone pause", "alone run", "b pause", "b run"}));
    m_graph.Reset();  // before the lock
}

TEST_F(GraphStateTest, AFailureWhilePausingStopsWhatHasStarted) {
    const Chain chain = MakeChain();
    chain.transform->pauseResult = E_ACCESSDENIED;
    EXPECT_EQ(m_graph->Run(), E_ACCESSDENIED);
    EXPECT_EQ(m_journal.Take(), (Lines{"sink pause", "transform pause", "sink stop", "transform stop"}));
    EXPECT_EQ(GraphState(), State_Stopped);
    EXPECT_EQ(chain.sink->State(), State_Stopped);

    chain.transform->pauseResult = S_OK;  // the graph is as good as new
    EXPECT_EQ(m_graph->Run(), S_OK);
    EXPECT_EQ(GraphState(), State_Running);
}

TEST_F(GraphStateTest, AFailureWhilePausingTheRunningGraphStopsAll) {
    const Chain chain = MakeChain();
    ASSERT_EQ(m_graph->Run(), S_OK);
    m_journal.Take();
    chain.sink->pauseResult = E_FAIL;
    EXPECT_EQ(m_graph->Pause(), E_FAIL);
    EXPECT_EQ(m_journal.Take(), (Lines{"sink pause", "sink stop", "transform stop", "source stop"}));
    EXPECT_EQ(GraphState(), State_Stopped);
}

TEST_F(GraphStateTest, AFailureWhileRunningStopsAll) {
    const Chain chain = MakeChain();
    chain.transform->runResult = VFW_E_RUNTIME_ERROR;
    EXPECT_EQ(m_graph->Run(), VFW_E_RUNTIME_ERROR);
    EXPECT_EQ(m_journal.Take(), (Lines{"sink pause", "transform pause", "source pause", "sink run", "transform run",
                                       "sink stop", "transform stop", "source stop"}));
    EXPECT_EQ(GraphState(), State_Stopped);
    LONG code = 0;
    EXPECT_EQ(m_graph->WaitForCompletion(-1, &code), VFW_E_WRONG_STATE);
}

TEST_F(GraphStateTest, AFailureWhileStoppingDoesNotKeepTheOthersFromIt) {
    const Chain chain = MakeChain();
    ASSERT_EQ(m_graph->Run(), S_OK);
    m_journal.Take();
    chain.sink->stopResult = E_FAIL;
    chain.transform->stopResult = E_ACCESSDENIED;
    EXPECT_EQ(m_graph->Stop(), E_FAIL);
    EXPECT_EQ(m_journal.Take(), (Lines{"sink stop", "transform stop", "source stop"}));
    EXPECT_EQ(GraphState(), State_Stopped);
}

TEST_F(GraphStateTest, AFilterThatThrowsIsAFailure) {
    const Chain chain = MakeChain();
    chain.source->pauseThrows = true;
    EXPECT_EQ(m_graph->Run(), E_FAIL);
    EXPECT_EQ(GraphState(), State_Stopped);
    EXPECT_EQ(StateNow(), S_OK);  // no change is left hanging
}

TEST_F(GraphStateTest, AFilterCannotChangeTheStateFromWithin) {
    const Chain chain = MakeChain();
    chain.transform->onPause = [&] {
        EXPECT_EQ(m_graph->Stop(), VFW_E_WRONG_STATE);
        EXPECT_EQ(m_graph->Run(), VFW_E_WRONG_STATE);
        EXPECT_EQ(m_graph->Pause(), VFW_E_WRONG_STATE);
        EXPECT_EQ(m_graph->RemoveFilter(chain.sink.Get()), VFW_E_NOT_STOPPED);
        EXPECT_EQ(StateNow(), VFW_S_STATE_INTERMEDIATE);
        EXPECT_TRUE(HasFilter(L"sink"));
    };
    EXPECT_EQ(m_graph->Run(), S_OK);
    EXPECT_EQ(GraphState(), State_Running);
}

struct LiveCase {
    const char* name;
    ULONG miscFlags;
    HRESULT stateResult;
};
class LiveGraph : public GraphStateTest, public testing::WithParamInterface<LiveCase> {};

TEST_P(LiveGraph, IsNotWaitedFor) {
    const Chain chain = MakeChain();
    chain.source->miscFlags = GetParam().miscFlags;
    chain.source->stateResult = GetParam().stateResult;
    chain.sink->pauseResult = S_FALSE;  // waits for a sample that comes only when the graph runs
    chain.sink->stateResult = VFW_S_STATE_INTERMEDIATE;
    EXPECT_EQ(m_graph->Pause(), VFW_S_CANT_CUE);
    EXPECT_EQ(m_graph->Pause(), VFW_S_CANT_CUE);
    FILTER_STATE state{};
    EXPECT_EQ(m_graph->GetState(LONG{-1}, &state), VFW_S_CANT_CUE);
    EXPECT_EQ(state, State_Paused);
    EXPECT_EQ(m_graph->Run(), S_FALSE);  // at once: nobody moves the clock
    EXPECT_EQ(GraphState(), State_Running);
    EXPECT_EQ(m_graph->StopWhenReady(), S_OK);
    EXPECT_EQ(GraphState(), State_Stopped);
    EXPECT_EQ(StateNow(), S_OK);
}

INSTANTIATE_TEST_SUITE_P(KnownBy, LiveGraph,
                         testing::Values(LiveCase{"ItsFlag", AM_FILTER_MISC_FLAGS_IS_SOURCE, S_OK},
                                         LiveCase{"ItsState", 0, VFW_S_CANT_CUE}),
                         [](const auto& each) { return std::string(each.param.name); });

/// Run on a thread of its own, for graphs that make it wait.
class CRunner {
public:
    explicit CRunner(std::function<HRESULT()> call) : m_thread([this, call = std::move(call)] { m_result = call(); }) {}
    HRESULT Result() {
        m_thread.join();
        return m_result;
    }

private:
    HRESULT m_result = E_UNEXPECTED;
    std::thread m_thread;
};

class CueingGraph : public GraphStateTest {
protected:
    CueingGraph() {
        m_chain = MakeChain();
        m_chain.sink->pauseResult = S_FALSE;
        m_chain.sink->stateResult = VFW_S_STATE_INTERMEDIATE;
    }
    bool Step() {
        if (!m_time.WaitForBlocked(1)) {
            return false;
        }
        m_time.Advance(5ms);
        return true;
    }
    Chain m_chain;
};

TEST_F(CueingGraph, RunWaitsForTheFirstSamples) {
    EXPECT_EQ(m_graph->Pause(), S_FALSE);
    EXPECT_EQ(m_graph->Pause(), S_FALSE);
    EXPECT_EQ(StateNow(), VFW_S_STATE_INTERMEDIATE);
    m_journal.Take();
    CRunner runner([&] { return m_graph->Run(); });
    for (int step = 0; step < 10; ++step) {
        ASSERT_TRUE(Step());
    }
    ASSERT_TRUE(m_time.WaitForBlocked(1));
    EXPECT_EQ(m_journal.Take(), Lines{});
    m_chain.sink->stateResult = S_OK;
    m_time.Advance(5ms);
    EXPECT_EQ(runner.Result(), S_OK);
    EXPECT_EQ(m_journal.Take(), (Lines{"sink run", "transform run", "source run"}));
}

TEST_F(CueingGraph, RunDoesNotWaitForEver) {
    CRunner runner([&] { return m_graph->Run(); });
    for (int step = 0; step < 100; ++step) {
        ASSERT_TRUE(Step()) << step;
    }
    EXPECT_EQ(runner.Result(), S_FALSE);
    EXPECT_EQ(GraphState(), State_Running);
    EXPECT_EQ(m_time.Now(), test::kFakeStart + CGraphState::kLongestCue);
}

TEST_F(CueingGraph, StopEndsTheWait) {
    CRunner runner([&] { return m_graph->Run(); });
    ASSERT_TRUE(m_time.WaitForBlocked(1));
    EXPECT_EQ(m_graph->Stop(), S_OK);
    EXPECT_EQ(runner.Result(), E_ABORT);
    EXPECT_EQ(GraphState(), State_Stopped);
    EXPECT_EQ(m_chain.sink->State(), State_Stopped);
    // The next run is not taken for stopped.
    m_chain.sink->stateResult = S_OK;
    EXPECT_EQ(m_graph->Run(), S_OK);
}

TEST_F(CueingGraph, GetStateWaitsAsLongAsAsked) {
    ASSERT_EQ(m_graph->Pause(), S_FALSE);
    FILTER_STATE state{};
    CRunner late([&] { return m_graph->GetState(LONG{10}, &state); });
    ASSERT_TRUE(Step());
    ASSERT_TRUE(Step());
    EXPECT_EQ(late.Result(), VFW_S_STATE_INTERMEDIATE);
    EXPECT_EQ(state, State_Paused);

    CRunner inTime([&] { return m_graph->GetState(LONG{-1}, &state); });
    ASSERT_TRUE(Step());
    ASSERT_TRUE(m_time.WaitForBlocked(1));
    m_chain.sink->stateResult = S_OK;
    m_time.Advance(5ms);
    EXPECT_EQ(inTime.Result(), S_OK);
}

TEST_F(CueingGraph, StopWhenReadyLetsTheFirstSamplesIn) {
    CRunner runner([&] { return m_graph->StopWhenReady(); });
    ASSERT_TRUE(Step());
    ASSERT_TRUE(m_time.WaitForBlocked(1));
    EXPECT_EQ(m_journal.Take(), (Lines{"sink pause", "transform pause", "source pause"}));
    m_chain.sink->stateResult = S_OK;
    m_time.Advance(5ms);
    EXPECT_EQ(runner.Result(), S_OK);
    EXPECT_EQ(m_journal.Take(), (Lines{"sink stop", "transform stop", "source stop"}));
}

TEST_F(GraphStateTest, StreamTimeStandsStillWhilePaused) {
    const Chain chain = MakeChain();
    ASSERT_EQ(m_graph->Run(), S_OK);
    EXPECT_EQ(chain.source->GivenStart(), kStart + CGraphState::kStartDelay);
    EXPECT_EQ(chain.sink->GivenStart(), chain.source->GivenStart());
    m_time.Advance(1010ms);  // one second of stream
    EXPECT_EQ(m_graph->Pause(), S_OK);
    m_time.Advance(1h);
    EXPECT_EQ(m_graph->Run(), S_OK);
    REFERENCE_TIME streamTime = 0;
    EXPECT_EQ(chain.sink->StreamTime(streamTime), S_OK);
    EXPECT_EQ(streamTime, 1000 * kMs - CGraphState::kStartDelay);

    ASSERT_EQ(m_graph->Stop(), S_OK);
    ASSERT_EQ(m_graph->Run(), S_OK);  // after a stop it begins anew
    EXPECT_EQ(chain.sink->StreamTime(streamTime), S_OK);
    EXPECT_EQ(streamTime, -CGraphState::kStartDelay);
    ASSERT_EQ(m_graph->Stop(), S_OK);
    ASSERT_EQ(m_graph->Run(kStart + 77), S_OK);
    EXPECT_EQ(chain.source->GivenStart(), kStart + 77);
}

TEST_F(GraphStateTest, AGraphWithoutAClockGetsTheDefaultOne) {
    const Chain chain = MakeChain();
    ComPtr<IReferenceClock> clock;
    EXPECT_EQ(m_graph->GetSyncSource(clock.Put()), S_OK);
    EXPECT_FALSE(clock);
    ASSERT_EQ(m_graph->Run(), S_OK);
    EXPECT_EQ(m_graph->GetSyncSource(clock.Put()), S_OK);
    ASSERT_TRUE(clock);
    EXPECT_TRUE(chain.source->GivenClock() == clock);
    EXPECT_TRUE(chain.sink->GivenClock() == clock);
    REFERENCE_TIME time = 0;
    EXPECT_EQ(clock->GetTime(&time), S_FALSE);  // the graph has asked it at this very time
    EXPECT_EQ(time, kStart);
    EXPECT_EQ(m_graph->SetSyncSource(nullptr), VFW_E_NOT_STOPPED);
    EXPECT_EQ(m_graph->SetDefaultSyncSource(), VFW_E_NOT_STOPPED);
}

TEST_F(GraphStateTest, AClientMayWantNoClock) {
    const Chain chain = MakeChain();
    EXPECT_EQ(m_graph->SetDefaultSyncSource(), S_OK);
    EXPECT_TRUE(chain.sink->GivenClock());
    EXPECT_EQ(m_graph->SetSyncSource(nullptr), S_OK);
    EXPECT_EQ(m_graph->Run(), S_OK);
    EXPECT_FALSE(chain.sink->GivenClock());
}

TEST_F(GraphStateTest, AClockThatAFilterRefusesLeavesTheOldOne) {
    const Chain chain = MakeChain();
    ASSERT_EQ(m_graph->SetDefaultSyncSource(), S_OK);
    const ComPtr<IReferenceClock> before = chain.transform->GivenClock();
    chain.sink->clockResult = E_FAIL;  // the last of the three that are asked
    EXPECT_EQ(m_graph->SetDefaultSyncSource(), E_FAIL);
    EXPECT_TRUE(chain.transform->GivenClock() == before);
    EXPECT_TRUE(chain.source->GivenClock() == before);
    ComPtr<IReferenceClock> now;
    m_graph->GetSyncSource(now.Put());
    EXPECT_TRUE(now == before);
}

TEST_F(GraphStateTest, TheClientSeesOneCompletionOfTwoRenderers) {
    const auto source = Add("source", 0, 2);
    const auto audio = Add("audio", 1, 0);
    const auto video = Add("video", 1, 0);
    const auto unused = Add("unused", 1, 0);  // nothing comes there, so nothing completes
    Connect(source->Output(0), audio->Input());
    Connect(source->Output(1), video->Input());
    ASSERT_EQ(m_graph->Run(), S_OK);
    LONG code = 0;
    audio->NotifyEvent(EC_COMPLETE, S_OK, 0);
    EXPECT_EQ(m_graph->WaitForCompletion(0, &code), E_ABORT);
    video->NotifyEvent(EC_COMPLETE, S_OK, 0);
    EXPECT_EQ(m_graph->WaitForCompletion(0, &code), S_OK);
    EXPECT_EQ(code, EC_COMPLETE);
    LONG_PTR param = 0;
    EXPECT_EQ(m_graph->GetEvent(&code, &param, &param, 0), S_OK);
    EXPECT_EQ(code, EC_COMPLETE);
    EXPECT_EQ(m_graph->GetEvent(&code, &param, &param, 0), E_ABORT);
}

TEST_F(GraphStateTest, ARendererThatSaysSoCountsAsOne) {
    const auto tap = Add("tap", 1, 1);  // has an output, and is a renderer nevertheless
    const auto source = Add("source", 0, 1);
    const auto sink = Add("sink", 1, 0);
    tap->miscFlags = AM_FILTER_MISC_FLAGS_IS_RENDERER;
    Connect(source->Output(), tap->Input());
    Connect(tap->Output(), sink->Input());
    ASSERT_EQ(m_graph->Run(), S_OK);
    LONG code = 0;
    sink->NotifyEvent(EC_COMPLETE, S_OK, 0);
    EXPECT_EQ(m_graph->WaitForCompletion(0, &code), E_ABORT);
    tap->NotifyEvent(EC_COMPLETE, S_OK, 0);
    EXPECT_EQ(m_graph->WaitForCompletion(0, &code), S_OK);
}

TEST_F(GraphStateTest, AStreamingThreadMaySendEventsWhileItIsWaitedFor) {
    const Chain chain = MakeChain();
    ASSERT_EQ(m_graph->Run(), S_OK);
    chain.source->onStop = [&] {
        // As a source that joins its thread, which just then has something to say and to ask.
        std::thread streaming([&] {
            EXPECT_EQ(chain.source->NotifyEvent(EC_ERRORABORT, E_FAIL, 0), S_OK);
            EXPECT_EQ(StateNow(), VFW_S_STATE_INTERMEDIATE);
            EXPECT_TRUE(HasFilter(L"sink"));
        });
        streaming.join();
    };
    EXPECT_EQ(m_graph->Stop(), S_OK);
    LONG code = 0;
    LONG_PTR param = 0;
    EXPECT_EQ(m_graph->GetEvent(&code, &param, &param, 0), S_OK);
    EXPECT_EQ(code, EC_ERRORABORT);
}

}  // namespace
}  // namespace qrn
