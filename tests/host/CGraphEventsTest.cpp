#include "host/CGraphEvents.h"

#include <gtest/gtest.h>

#include <optional>
#include <thread>
#include <vector>

#include "support/FakeClock.h"

namespace qrn {
namespace {

using namespace std::chrono_literals;

class GraphEventsTest : public testing::Test {
protected:
    static const IBaseFilter* Filter(LONG_PTR address) { return reinterpret_cast<const IBaseFilter*>(address); }
    static const IUnknown* Identity(LONG_PTR address) { return reinterpret_cast<const IUnknown*>(address); }

    /// Two renderers, each known by two pointers.
    void RunWithTwoRenderers() {
        m_events.BeginStreaming({{Filter(0x100), Identity(0x101)}, {Filter(0x200), Identity(0x201)}});
        m_events.SetRunning(true);
    }

    std::optional<GraphEvent> Next() {
        GraphEvent event{};
        return m_events.GetEvent(&event.code, &event.param1, &event.param2, 0) == S_OK ? std::optional(event)
                                                                                       : std::nullopt;
    }
    std::vector<LONG> Codes() {
        std::vector<LONG> codes;
        while (const auto event = Next()) {
            codes.push_back(event->code);
        }
        return codes;
    }

    test::CManualClock m_time;
    CGraphEvents m_events{m_time};
};

TEST_F(GraphEventsTest, OneCompletionWhenAllRenderersHaveCompleted) {
    RunWithTwoRenderers();
    m_events.Notify(EC_COMPLETE, S_OK, 0x100);
    m_events.Notify(EC_COMPLETE, S_OK, 0x101);  // the same renderer by its other pointer
    EXPECT_FALSE(Next());
    m_events.Notify(EC_COMPLETE, E_FAIL, 0x201);

    const auto event = Next();
    ASSERT_TRUE(event);
    EXPECT_EQ(event->code, EC_COMPLETE);
    EXPECT_EQ(event->param1, E_FAIL);  // the first failure among them
    EXPECT_EQ(event->param2, 0);
    EXPECT_FALSE(Next());
}

TEST_F(GraphEventsTest, OnlyRenderersThatGetMediaCount) {
    RunWithTwoRenderers();
    m_events.Notify(EC_COMPLETE, S_OK, 0x100);
    m_events.Notify(EC_COMPLETE, S_OK, 0x999);  // one that nothing is connected to
    EXPECT_FALSE(Next());
    m_events.Notify(EC_COMPLETE, S_OK, 0);  // does not say who it is
    EXPECT_EQ(Codes(), std::vector<LONG>{EC_COMPLETE});

    m_events.SetRunning(false);
    m_events.BeginStreaming({});
    m_events.SetRunning(true);
    m_events.Notify(EC_COMPLETE, S_OK, 0x999);
    EXPECT_EQ(Codes(), std::vector<LONG>{EC_COMPLETE});
}

TEST_F(GraphEventsTest, CompletionsAreCollectedAnewInEachRun) {
    RunWithTwoRenderers();
    m_events.Notify(EC_COMPLETE, S_OK, 0x100);
    m_events.SetRunning(false);
    RunWithTwoRenderers();
    m_events.Notify(EC_COMPLETE, S_OK, 0x200);
    EXPECT_FALSE(Next());
    m_events.Notify(EC_COMPLETE, S_OK, 0x100);
    EXPECT_EQ(Codes(), std::vector<LONG>{EC_COMPLETE});
    // Flushed and fed again without a stop: another round.
    m_events.Notify(EC_COMPLETE, S_OK, 0x100);
    EXPECT_FALSE(Next());
    m_events.Notify(EC_COMPLETE, S_OK, 0x200);
    EXPECT_EQ(Codes(), std::vector<LONG>{EC_COMPLETE});
}

TEST_F(GraphEventsTest, EachCompletionWithoutDefaultHandling) {
    EXPECT_EQ(m_events.SetDefaultHandling(EC_QUALITY_CHANGE, false), S_FALSE);
    EXPECT_EQ(m_events.SetDefaultHandling(EC_COMPLETE, false), S_OK);
    RunWithTwoRenderers();
    m_events.Notify(EC_COMPLETE, S_OK, 0x100);
    const auto first = Next();
    ASSERT_TRUE(first);
    EXPECT_EQ(first->param2, 0x100);
    LONG code = 0;
    EXPECT_EQ(m_events.WaitForCompletion(0, &code), E_ABORT);  // one is still missing
    m_events.Notify(EC_COMPLETE, S_OK, 0x200);
    EXPECT_EQ(Codes(), std::vector<LONG>{EC_COMPLETE});
    EXPECT_EQ(m_events.WaitForCompletion(0, &code), S_OK);

    EXPECT_EQ(m_events.SetDefaultHandling(EC_COMPLETE, true), S_OK);
    m_events.Notify(EC_COMPLETE, S_OK, 0x100);
    EXPECT_FALSE(Next());
}

TEST_F(GraphEventsTest, WaitForCompletion) {
    LONG code = 99;
    EXPECT_EQ(m_events.WaitForCompletion(-1, &code), VFW_E_WRONG_STATE);
    EXPECT_EQ(code, 0);

    RunWithTwoRenderers();
    EXPECT_EQ(m_events.WaitForCompletion(0, &code), E_ABORT);
    m_events.Notify(EC_QUALITY_CHANGE, 0, 0);
    EXPECT_EQ(m_events.WaitForCompletion(0, &code), E_ABORT);
    m_events.Notify(EC_ERRORABORT, E_FAIL, 0);
    EXPECT_EQ(m_events.WaitForCompletion(-1, &code), S_OK);
    EXPECT_EQ(code, EC_ERRORABORT);
    EXPECT_EQ(Codes(), (std::vector<LONG>{EC_QUALITY_CHANGE, EC_ERRORABORT}));  // the wait took none of them

    m_events.SetRunning(false);
    RunWithTwoRenderers();  // a new run is not over because the last one was
    EXPECT_EQ(m_events.WaitForCompletion(0, &code), E_ABORT);
}

TEST_F(GraphEventsTest, LeavingTheRunEndsTheWait) {
    RunWithTwoRenderers();
    HRESULT result = S_OK;
    std::thread waiter([&] {
        LONG code = 0;
        result = m_events.WaitForCompletion(-1, &code);
    });
    EXPECT_TRUE(m_time.WaitForBlocked(1));
    m_events.SetRunning(false);
    waiter.join();
    EXPECT_EQ(result, VFW_E_WRONG_STATE);
}

TEST_F(GraphEventsTest, GetEventWaitsAsLongAsAsked) {
    HRESULT result = S_OK;
    LONG code = 99;
    std::thread waiter([&] {
        LONG_PTR ignored = 0;
        result = m_events.GetEvent(&code, &ignored, &ignored, 30);
    });
    EXPECT_TRUE(m_time.WaitForBlocked(1));
    m_time.Advance(29ms);
    EXPECT_TRUE(m_time.WaitForBlocked(1));
    m_time.Advance(1ms);
    waiter.join();
    EXPECT_EQ(result, E_ABORT);
    EXPECT_EQ(code, 0);
}

TEST_F(GraphEventsTest, TheHandleIsReadableWhileEventsWait) {
    const auto isReadable = [&] {
        pollfd look{m_events.Descriptor(), POLLIN, 0};
        return poll(&look, 1, 0) == 1;
    };
    EXPECT_FALSE(isReadable());
    m_events.Notify(0x8064, 1, 2);
    m_events.Notify(0x8065, 3, 4);
    EXPECT_TRUE(isReadable());
    EXPECT_EQ(Next()->param2, 2);
    EXPECT_TRUE(isReadable());
    EXPECT_EQ(Next()->param1, 3);
    EXPECT_FALSE(isReadable());
}

TEST_F(GraphEventsTest, EachEventGoesToOneOfManyReaders) {
    constexpr int kEvents = 400;
    std::atomic<int> taken{0};
    std::vector<std::thread> readers;
    for (int reader = 0; reader < 3; ++reader) {
        readers.emplace_back([&] {
            LONG code = 0;
            LONG_PTR ignored = 0;
            while (m_events.GetEvent(&code, &ignored, &ignored, -1) == S_OK && code != EC_USERABORT) {
                ++taken;
            }
        });
    }
    for (int event = 0; event < kEvents; ++event) {
        ASSERT_EQ(m_events.Notify(0x8064, event, 0), S_OK);
    }
    for (std::size_t reader = 0; reader < readers.size(); ++reader) {
        m_events.Notify(EC_USERABORT, 0, 0);
    }
    for (std::thread& reader : readers) {
        reader.join();
    }
    EXPECT_EQ(taken, kEvents);
}

TEST_F(GraphEventsTest, AFloodDropsTheOldestButNeverTheEnd) {
    m_events.Notify(EC_ERRORABORT, E_FAIL, 0);
    const auto flood = static_cast<LONG_PTR>(CEventQueue::kCapacity) + 10;
    for (LONG_PTR number = 0; number < flood; ++number) {
        EXPECT_EQ(m_events.Notify(EC_QUALITY_CHANGE, number, 0), S_OK);
    }
    EXPECT_EQ(Next()->code, EC_ERRORABORT);
    EXPECT_EQ(Next()->param1, 11);
    EXPECT_EQ(Codes().size(), CEventQueue::kCapacity - 2);
}

TEST_F(GraphEventsTest, AFloodOfEndsKeepsTheFirst) {
    for (std::size_t number = 0; number < CEventQueue::kCapacity; ++number) {
        ASSERT_EQ(m_events.Notify(EC_ERRORABORT, static_cast<LONG_PTR>(number), 0), S_OK);
    }
    EXPECT_EQ(m_events.Notify(EC_ERRORABORT, 7, 0), E_FAIL);
    EXPECT_EQ(m_events.Notify(EC_QUALITY_CHANGE, 7, 0), E_FAIL);
    EXPECT_EQ(Next()->param1, 0);
    EXPECT_EQ(Codes().size(), CEventQueue::kCapacity - 1);
}

}  // namespace
}  // namespace qrn
