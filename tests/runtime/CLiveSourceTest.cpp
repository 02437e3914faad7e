#include "runtime/CLiveSource.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>

#include "framework/CBaseRenderer.h"
#include "framework/Chain.h"
#include "framework/TestFilters.h"
#include "runtime/CLiveSourceStream.h"
#include "runtime/LiveTime.h"

namespace qrn::test {
namespace {

/// Makes a sample whenever it is asked, or ends.
class CLivePin final : public CLiveSourceStream {
public:
    explicit CLivePin(CLiveSource* filter) : CLiveSourceStream(L"live pin", nullptr, filter, L"Live") {}

    HRESULT FillBuffer(IMediaSample* sample) override {
        ++fills;
        const REFERENCE_TIME start = sampleStart;
        const REFERENCE_TIME stop = start + 1;
        sample->SetTime(&start, &stop);
        return fillResult;
    }
    HRESULT OnThreadStartPlay() override {
        ++plays;
        return S_OK;
    }
    using CSourceStream::GetMediaType;
    using CSourceStream::IsLooping;
    HRESULT GetMediaType(CMediaType* type) override {
        *type = TypeOf(1);
        return S_OK;
    }
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
        request->cBuffers = 2;
        request->cbBuffer = 8;
        ALLOCATOR_PROPERTIES actual{};
        return allocator->SetProperties(request, &actual);
    }

    std::atomic<int> fills{0};
    std::atomic<int> plays{0};
    std::atomic<HRESULT> fillResult{S_OK};
    std::atomic<REFERENCE_TIME> sampleStart{0};
};

class CLiveFilter final : public CLiveSource {
public:
    CLiveFilter() : CLiveSource(L"live filter", nullptr, GUID_NULL), pin(new CLivePin(this)) {}
    CLivePin* const pin;  // the base deletes it
};

class CCountingRenderer final : public CBaseRenderer {
public:
    CCountingRenderer() : CBaseRenderer(GUID_NULL, L"counting", nullptr, nullptr) {}
    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    HRESULT DoRenderSample(IMediaSample*) override {
        ++rendered;
        return S_OK;
    }
    std::atomic<int> rendered{0};
};

class LiveSource : public testing::Test {
protected:
    void SetUp() override {
        m_chain.Add(m_source.Get());
        m_chain.Add(m_take.Get());
        ASSERT_EQ(m_chain.Connect(m_source->pin, &m_take->pin), S_OK);
    }
    HRESULT StateAnswer() {
        FILTER_STATE state = State_Stopped;
        return m_source->GetState(0, &state);
    }

    CHeld<CLiveFilter> m_source;
    CHeld<CTakeFilter> m_take;
    CChain m_chain;
};

TEST_F(LiveSource, CannotCueWhilePaused) {
    EXPECT_EQ(StateAnswer(), S_OK);
    m_chain.Pause();
    EXPECT_EQ(StateAnswer(), VFW_S_CANT_CUE);
    m_chain.Run();
    EXPECT_EQ(StateAnswer(), S_OK);
    m_chain.Stop();
    EXPECT_EQ(StateAnswer(), S_OK);
    EXPECT_EQ(m_source->GetState(0, nullptr), E_POINTER);
}

TEST_F(LiveSource, IsSilentBetweenPauseAndRun) {
    m_chain.Pause();
    EXPECT_TRUE(m_source->pin->ThreadExists());
    // The worker answers one command after the other: with this answer the pause before has been dealt with.
    EXPECT_EQ(m_source->pin->CallWorker(99), static_cast<DWORD>(E_NOTIMPL));
    EXPECT_EQ(m_source->pin->fills, 0);
    EXPECT_EQ(m_source->pin->plays, 0);
    m_chain.Run();
    EXPECT_TRUE(m_take->pin.WaitForSamples(3));
    EXPECT_EQ(m_source->pin->plays, 1);
    m_chain.Stop();
    EXPECT_FALSE(m_source->pin->ThreadExists());
}

TEST_F(LiveSource, FallsSilentWhenPausedAndSpeaksWhenRunAgain) {
    m_chain.Run();
    EXPECT_TRUE(m_take->pin.WaitForSamples(1));
    EXPECT_EQ(m_chain.Pause(), S_OK);
    EXPECT_TRUE(WaitUntil([this] { return !m_source->pin->IsLooping(); }));
    const int fills = m_source->pin->fills;
    EXPECT_EQ(m_source->pin->CallWorker(99), static_cast<DWORD>(E_NOTIMPL)) << "answered outside the buffer loop";
    EXPECT_EQ(m_source->pin->fills, fills);
    m_chain.Run();
    EXPECT_TRUE(WaitUntil([this, fills] { return m_source->pin->fills > fills; }));
}

TEST_F(LiveSource, AbsenceOfDataKeepsTheStreamAlive) {
    m_source->pin->fillResult = E_ABORT;
    m_chain.Run();
    EXPECT_TRUE(WaitUntil([this] { return m_source->pin->fills > 20; }));
    EXPECT_TRUE(m_take->pin.All().empty());
    m_source->pin->fillResult = S_OK;
    EXPECT_TRUE(m_take->pin.WaitForSamples(1));
    m_source->pin->fillResult = S_FALSE;
    EXPECT_TRUE(WaitUntil([this] { return m_take->pin.Ends() == 1; }));
    m_chain.Stop();
    EXPECT_EQ(m_take->pin.Ends(), 1);
}

TEST(LiveSourceBeforeRenderer, StatesChangeWhileTheRendererHoldsASample) {
    CHeld<CLiveFilter> source;
    CHeld<CCountingRenderer> renderer;
    CChain chain;
    chain.Add(source.Get());
    chain.Add(renderer.Get());
    ASSERT_EQ(chain.Connect(source->pin, renderer->GetPin(0)), S_OK);
    source->pin->sampleStart = 10'000'000;
    chain.Run();
    EXPECT_GT(chain.clock->WaitForPending(1), 0) << "the worker waits in the renderer";
    EXPECT_TRUE(SUCCEEDED(renderer->Pause()));
    EXPECT_EQ(source->Pause(), S_OK) << "without waiting for the worker";
    // The wrong order on purpose: the source must not wait for a worker that only the renderer can release.
    EXPECT_EQ(source->Run(chain.start), S_OK);
    EXPECT_EQ(renderer->Run(chain.start), S_OK);
    chain.clock->Advance(10'000'000);
    EXPECT_TRUE(WaitUntil([&renderer] { return renderer->rendered >= 3; })) << "and the stream goes on";
    EXPECT_TRUE(SUCCEEDED(renderer->Pause()));
    EXPECT_EQ(source->Pause(), S_OK);
    chain.Stop();
    EXPECT_FALSE(source->pin->ThreadExists());
}

TEST_F(LiveSource, AnswersItsInterfaces) {
    const auto flags = ComPtr<IBaseFilter>::Share(m_source.Get()).As<IAMFilterMiscFlags>();
    ASSERT_TRUE(flags);
    EXPECT_EQ(flags->GetMiscFlags(), 2u);
    const auto push = ComPtr<IPin>::Share(m_source->pin).As<IAMPushSource>();
    ASSERT_TRUE(push);
    EXPECT_TRUE(push.As<IKsPropertySet>());
    EXPECT_TRUE(push.As<IPin>());
    ULONG value = 9;
    REFERENCE_TIME time = 0;
    EXPECT_EQ(push->GetPushSourceFlags(&value), S_OK);
    EXPECT_EQ(value, 0u);
    EXPECT_EQ(push->SetPushSourceFlags(1), E_NOTIMPL);
    EXPECT_EQ(push->GetLatency(&time), E_NOTIMPL);
    EXPECT_EQ(push->SetStreamOffset(1), E_NOTIMPL);
    EXPECT_EQ(push->GetStreamOffset(&time), E_NOTIMPL);
    EXPECT_EQ(push->SetMaxStreamOffset(1), E_NOTIMPL);
    EXPECT_EQ(push->GetMaxStreamOffset(&time), E_NOTIMPL);
}

struct PropertyCase {
    const char* name;
    bool rightSet;
    DWORD id;
    bool withData;
    DWORD dataBytes;
    bool withReturned;
    HRESULT result;
    DWORD returned;
};

class PinCategory : public testing::TestWithParam<PropertyCase> {};

TEST_P(PinCategory, IsRead) {
    CHeld<CLiveFilter> source;
    GUID category = GUID_NULL;
    DWORD returned = 77;
    EXPECT_EQ(source->pin->Get(GetParam().rightSet ? AMPROPSETID_Pin : GUID_NULL, GetParam().id, nullptr, 0,
                               GetParam().withData ? &category : nullptr, GetParam().dataBytes,
                               GetParam().withReturned ? &returned : nullptr),
              GetParam().result);
    EXPECT_EQ(returned, GetParam().returned);
    const bool written = GetParam().withData && GetParam().result == S_OK;
    EXPECT_EQ(category, written ? PIN_CATEGORY_CAPTURE : GUID_NULL);
}

INSTANTIATE_TEST_SUITE_P(Rows, PinCategory,
                         testing::Values(PropertyCase{"Whole", true, 0, true, 16, true, S_OK, 16},
                                         PropertyCase{"MoreRoomThanNeeded", true, 0, true, 40, true, S_OK, 16},
                                         PropertyCase{"WithoutReturned", true, 0, true, 16, false, S_OK, 77},
                                         PropertyCase{"SizeOnly", true, 0, false, 0, true, S_OK, 16},
                                         PropertyCase{"OneByteShort", true, 0, true, 15, true, E_UNEXPECTED, 16},
                                         PropertyCase{"Neither", true, 0, false, 16, false, E_POINTER, 77},
                                         PropertyCase{"OtherSet", false, 0, true, 16, true, E_PROP_SET_UNSUPPORTED, 77},
                                         PropertyCase{"OtherId", true, 1, true, 16, true, E_PROP_ID_UNSUPPORTED, 77}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(PinCategorySupport, IsGetOnly) {
    CHeld<CLiveFilter> source;
    DWORD support = 0;
    EXPECT_EQ(source->pin->QuerySupported(AMPROPSETID_Pin, 0, &support), S_OK);
    EXPECT_EQ(support, KSPROPERTY_SUPPORT_GET);
    EXPECT_EQ(source->pin->QuerySupported(AMPROPSETID_Pin, 0, nullptr), S_OK);
    EXPECT_EQ(source->pin->QuerySupported(AMPROPSETID_Pin, 1, &support), E_PROP_ID_UNSUPPORTED);
    EXPECT_EQ(source->pin->QuerySupported(GUID_NULL, 0, &support), E_PROP_SET_UNSUPPORTED);
    EXPECT_EQ(source->pin->Set(AMPROPSETID_Pin, 0, nullptr, 0, &support, 4), E_NOTIMPL);
}

struct TimeCase {
    const char* name;
    REFERENCE_TIME next;
    REFERENCE_TIME now;
    REFERENCE_TIME result;
    bool sleeps;
};

class LiveTime : public testing::TestWithParam<TimeCase> {};

TEST_P(LiveTime, StaysNearTheStreamClock) {
    CAutoClock clock;
    EXPECT_EQ(KeepLiveTime(GetParam().next, GetParam().now, &clock), GetParam().result);
    const auto slept = clock.Now() - kFakeStart;
    EXPECT_EQ(slept, std::chrono::milliseconds(GetParam().sleeps ? 5 : 0));
    EXPECT_EQ(KeepLiveTime(GetParam().next, GetParam().now, nullptr), GetParam().result);
    EXPECT_EQ(clock.Now() - kFakeStart, slept);
}

INSTANTIATE_TEST_SUITE_P(Rows, LiveTime,
                         testing::Values(TimeCase{"ASecondBehind", 10'000'000, 20'000'000, 20'050'000, true},
                                         TimeCase{"JustBehind", 20'049'999, 20'000'000, 20'050'000, true},
                                         TimeCase{"JustAhead", 20'050'000, 20'000'000, 20'050'000, false},
                                         TimeCase{"FarthestAhead", 25'000'000, 20'000'000, 25'000'000, false},
                                         TimeCase{"TooFarAhead", 25'000'001, 20'000'000, 25'000'000, false},
                                         TimeCase{"TwoSecondsAhead", 40'000'000, 20'000'000, 25'000'000, false},
                                         TimeCase{"BeforeTheStart", 0, -10'000'000, 0, false},
                                         TimeCase{"BehindBeforeTheStart", -30'000'000, -10'000'000, 0, true}),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace qrn::test
