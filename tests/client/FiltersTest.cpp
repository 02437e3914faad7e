#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>

#include "client/AudioTypes.h"
#include "client/BuiltInSpeech.h"
#include "client/CGraph.h"
#include "client/CNullRenderer.h"
#include "client/CPcmSourceFilter.h"
#include "client/CTapFilter.h"
#include "client/ClientError.h"
#include "platform/system/Clock.h"
#include "platform/system/Condition.h"
#include "platform/system/Lock.h"
#include "qrn/host.h"

namespace qrn {
namespace {

using std::chrono::milliseconds;

constexpr std::chrono::seconds kPatience{20};
constexpr PcmFormat kFormat{8000, 1};
constexpr REFERENCE_TIME kBlock = 200'000;  // 20 ms

struct Seen {
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    std::chrono::nanoseconds at{};
    std::vector<std::int16_t> pcm;
};

/// Notes what passes a tap.
class CSeenSamples {
public:
    CTapFilter::Observer Observer() {
        return [this](IMediaSample& sample) {
            Seen seen;
            EXPECT_EQ(sample.GetTime(&seen.start, &seen.stop), S_OK);
            seen.at = SystemClock().Now();
            const auto pcm = PcmOf(sample);
            seen.pcm.assign(pcm.begin(), pcm.end());
            CScopedLock lock(m_lock);
            m_seen.push_back(std::move(seen));
            m_changed.NotifyAll();
        };
    }
    bool WaitFor(std::size_t count) {
        const auto deadline = SystemClock().Now() + kPatience;
        CScopedLock lock(m_lock);
        while (m_seen.size() < count && SystemClock().Now() < deadline) {
            m_changed.WaitFor(m_lock, milliseconds(100));
        }
        return m_seen.size() >= count;
    }
    std::vector<Seen> All() {
        CScopedLock lock(m_lock);
        return m_seen;
    }

private:
    CMutex m_lock;
    CCondition m_changed;
    std::vector<Seen> m_seen QRN_GUARDED_BY(m_lock);
};

/// Counts up, `length` values long; fails at `failAt`.
class CCounter final : public IPcmSource {
public:
    explicit CCounter(std::size_t length, std::size_t failAt = SIZE_MAX) : m_length(length), m_failAt(failAt) {}
    PcmFormat Format() const override { return kFormat; }
    std::size_t Read(std::span<std::int16_t> interleaved) override {
        std::size_t count = 0;
        while (count < interleaved.size() && m_next < m_length) {
            if (m_next == m_failAt) {
                throw CClientError("the disk has gone");
            }
            interleaved[count++] = static_cast<std::int16_t>(m_next++);
        }
        return count;
    }

private:
    const std::size_t m_length;
    const std::size_t m_failAt;
    std::size_t m_next = 0;
};

/// source, tap, renderer
class SourceGraph : public testing::Test {
protected:
    void Build(std::unique_ptr<IPcmSource> sound) {
        m_source = CPcmSourceFilter::Create(std::move(sound));
        m_tap = CTapFilter::Create(L"tap", m_seen.Observer());
        m_renderer = CNullRenderer::Create();
        m_graph.Add(m_source.Get(), "source");
        m_graph.Add(m_tap.Get(), "tap");
        m_graph.Add(m_renderer.Get(), "renderer");
        m_graph.Connect(m_source.Get(), m_tap.Get());
        m_graph.Connect(m_tap.Get(), m_renderer.Get());
    }

    CSeenSamples m_seen;
    ComPtr<CPcmSourceFilter> m_source;
    ComPtr<CTapFilter> m_tap;
    ComPtr<CNullRenderer> m_renderer;
    CGraph m_graph;
};

TEST_F(SourceGraph, GivesEveryBlockInTimeAndNotBefore) {
    Build(std::make_unique<CCounter>(100000));
    const auto start = SystemClock().Now();
    m_graph.Run();
    ASSERT_TRUE(m_seen.WaitFor(15));
    m_graph.Stop();
    std::int16_t next = 0;
    REFERENCE_TIME time = 0;
    for (const Seen& seen : m_seen.All()) {
        EXPECT_EQ(seen.start, time);
        EXPECT_EQ(seen.stop, time + kBlock);
        EXPECT_GE(seen.at - start, std::chrono::nanoseconds(seen.start * 100)) << "before its time";
        for (const std::int16_t value : seen.pcm) {
            ASSERT_EQ(value, next++);
        }
        time += kBlock;
    }
}

TEST_F(SourceGraph, EndsWithTheSoundAndItsLastPiece) {
    Build(std::make_unique<CCounter>(400));  // two blocks and a half
    m_graph.Run();
    const auto end = m_graph.WaitForEnd(20'000);
    ASSERT_TRUE(end);
    EXPECT_FALSE(end->failed);
    const auto seen = m_seen.All();
    ASSERT_EQ(seen.size(), 3u);
    EXPECT_EQ(seen[2].pcm.size(), 80u);
    EXPECT_EQ(seen[2].stop, 2 * kBlock + kBlock / 2);
}

TEST_F(SourceGraph, TellsWhyTheSoundCannotBeReadOn) {
    Build(std::make_unique<CCounter>(100000, 500));
    m_graph.Run();
    ASSERT_TRUE(m_graph.WaitForEnd(20'000));
    EXPECT_EQ(m_seen.All().size(), 3u);
    EXPECT_EQ(m_source->Failure(), "the disk has gone");
}

TEST_F(SourceGraph, RunsAsFastAsItCanWithoutAClock) {
    Build(std::make_unique<CCounter>(8000 * 600));  // ten minutes
    m_graph.RunWithoutClock();
    const auto end = m_graph.WaitForEnd(20'000);
    ASSERT_TRUE(end);
    EXPECT_EQ(m_seen.All().size(), 600u * 50);
}

TEST_F(SourceGraph, StopsAndRunsAgainFromZero) {
    Build(std::make_unique<CCounter>(100000));
    m_graph.Run();
    ASSERT_TRUE(m_seen.WaitFor(3));
    m_graph.Stop();
    const std::size_t before = m_seen.All().size();
    m_graph.Run();
    ASSERT_TRUE(m_seen.WaitFor(before + 2));
    m_graph.Stop();
    const auto seen = m_seen.All();
    EXPECT_EQ(seen[before].start, 0);
    EXPECT_EQ(seen[before].pcm[0], static_cast<std::int16_t>(160 * before))
        << "the sound goes on, the time begins anew";
}

TEST_F(SourceGraph, KeepsSilentWhilePaused) {
    Build(std::make_unique<CCounter>(100000));
    ComPtr<IBaseFilter> filter = m_source.As<IBaseFilter>();
    FILTER_INFO info{};
    ASSERT_EQ(filter->QueryFilterInfo(&info), S_OK);
    const auto graph = ComPtr<IFilterGraph>::Adopt(info.pGraph);
    const auto control = graph.As<IMediaControl>();
    ASSERT_TRUE(SUCCEEDED(control->Pause()));
    FILTER_STATE state = State_Stopped;
    EXPECT_EQ(control->GetState(100, &state), VFW_S_CANT_CUE);
    EXPECT_EQ(state, State_Paused);
    EXPECT_TRUE(m_seen.All().empty());
    EXPECT_EQ(control->Stop(), S_OK);
}

TEST_F(SourceGraph, StopsAtOnce) {
    Build(std::make_unique<CCounter>(100000));
    m_graph.Run();
    ASSERT_TRUE(m_seen.WaitFor(2));
    const auto start = SystemClock().Now();
    m_graph.Stop();
    EXPECT_LT(SystemClock().Now() - start, std::chrono::seconds(1));
    EXPECT_EQ(m_source->GetPin(0)->IsStopped(), true);
}

TEST_F(SourceGraph, ShowsTheUpstreamAllocatorThroughTheTap) {
    Build(std::make_unique<CCounter>(1000));
    auto* sourcePin = dynamic_cast<CBaseOutputPin*>(m_source->GetPin(0));
    ASSERT_NE(sourcePin, nullptr);
    auto* rendererPin = dynamic_cast<CBaseInputPin*>(m_renderer->GetPin(0));
    ASSERT_NE(rendererPin, nullptr);
    ALLOCATOR_PROPERTIES properties{};
    ASSERT_EQ(rendererPin->Allocator()->GetProperties(&properties), S_OK);
    EXPECT_EQ(rendererPin->Allocator(), sourcePin->Allocator());
    EXPECT_EQ(properties.cbBuffer, 320);
}

TEST(TapFilter, ConnectsItsInputFirstAndTakesWhatTheProgramCarries) {
    const auto tap = CTapFilter::Create(L"tap", [](IMediaSample&) {});
    const auto renderer = CNullRenderer::Create();
    CGraph graph;
    graph.Add(tap.Get(), "tap");
    graph.Add(renderer.Get(), "renderer");
    EXPECT_THROW(graph.Connect(tap.Get(), renderer.Get()), CClientError);
    const CMediaType video(&MEDIATYPE_Video);
    EXPECT_EQ(tap->Input().CheckMediaType(&video), S_OK) << "frames have no format";
    const CMediaType audio(&MEDIATYPE_Audio);
    EXPECT_NE(tap->Input().CheckMediaType(&audio), S_OK) << "sound without a format";
}

TEST(NullRenderer, TakesLinear16BitSoundAndNoOther) {
    const auto renderer = CNullRenderer::Create();
    CMediaType type;
    ASSERT_EQ(MakePcmType({48000, 2}, type), S_OK);
    EXPECT_EQ(renderer->CheckMediaType(&type), S_OK);
    EXPECT_EQ(PcmFormatOf(type), (PcmFormat{48000, 2}));
    reinterpret_cast<WAVEFORMATEX*>(type.Format())->wBitsPerSample = 8;
    EXPECT_NE(renderer->CheckMediaType(&type), S_OK);
    type.ResetFormatBuffer();
    EXPECT_NE(renderer->CheckMediaType(&type), S_OK);
}

}  // namespace
}  // namespace qrn
