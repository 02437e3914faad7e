#include "framework/CTransformFilter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>

#include "Chain.h"
#include "TestFilters.h"
#include "platform/com/TaskMemory.h"

namespace qrn::test {
namespace {

class CScriptedTransform final : public CTransformFilter {
public:
    CScriptedTransform() : CTransformFilter(L"scripted", nullptr, GUID_NULL) {}

    HRESULT Transform(IMediaSample* in, IMediaSample* out) override {
        ++transforms;
        BYTE* from = nullptr;
        BYTE* to = nullptr;
        in->GetPointer(&from);
        out->GetPointer(&to);
        std::memcpy(to, from, static_cast<std::size_t>(in->GetActualDataLength()));
        out->SetActualDataLength(in->GetActualDataLength());
        return transformResult;
    }
    HRESULT CheckInputType(const CMediaType* in) override {
        return *in == TypeOf(1) || *in == TypeOf(2) ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
    }
    HRESULT CheckTransform(const CMediaType*, const CMediaType* out) override {
        return *out == TypeOf(10) ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
    }
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
        request->cBuffers = outBuffers;
        request->cbBuffer = 64;
        ALLOCATOR_PROPERTIES actual{};
        return allocator->SetProperties(request, &actual);
    }
    HRESULT GetMediaType(int position, CMediaType* type) override {
        if (position != 0) {
            return VFW_S_NO_MORE_ITEMS;
        }
        *type = TypeOf(10);
        return S_OK;
    }
    HRESULT StartStreaming() override {
        calls += "+";
        return startResult;
    }
    HRESULT StopStreaming() override {
        calls += "-";
        return S_OK;
    }
    HRESULT SetMediaType(PIN_DIRECTION direction, const CMediaType*) override {
        calls += direction == PINDIR_INPUT ? "i" : "o";
        return S_OK;
    }
    HRESULT BreakConnect(PIN_DIRECTION direction) override {
        calls += direction == PINDIR_INPUT ? "b" : "B";
        return S_OK;
    }
    HRESULT CompleteConnect(PIN_DIRECTION direction, IPin*) override {
        calls += direction == PINDIR_INPUT ? "c" : "C";
        return S_OK;
    }
    HRESULT AlterQuality(Quality quality) override {
        return takesQuality ? S_OK : CTransformFilter::AlterQuality(quality);
    }
    bool IsSkipped() const { return m_bSampleSkipped; }

    std::atomic<int> transforms{0};
    HRESULT transformResult = S_OK;
    HRESULT startResult = S_OK;
    LONG outBuffers = 1;
    bool takesQuality = false;
    std::string calls;
};

class Transform : public testing::Test {
protected:
    void SetUp() override {
        m_chain.Add(m_feed.Get());
        m_chain.Add(m_transform.Get());
        m_chain.Add(m_take.Get());
    }
    void ConnectAll() {
        ASSERT_EQ(m_chain.Connect(&m_feed->pin, m_transform->GetPin(0)), S_OK);
        ASSERT_EQ(m_chain.Connect(m_transform->GetPin(1), &m_take->pin), S_OK);
    }

    CHeld<CFeedFilter> m_feed;
    CHeld<CScriptedTransform> m_transform;
    CHeld<CTakeFilter> m_take;
    CChain m_chain;
};

TEST_F(Transform, OutputConnectsOnlyAfterTheInput) {
    CBasePin* output = m_transform->GetPin(1);
    EXPECT_EQ(output->Connect(&m_take->pin, nullptr), E_UNEXPECTED);
    CMediaType type;
    EXPECT_EQ(output->GetMediaType(0, &type), VFW_S_NO_MORE_ITEMS);
    const CMediaType ten = TypeOf(10);
    EXPECT_EQ(output->CheckMediaType(&ten), E_INVALIDARG);
    m_transform->calls.clear();
    ASSERT_EQ(m_chain.Connect(&m_feed->pin, m_transform->GetPin(0)), S_OK);
    EXPECT_EQ(m_transform->calls, "ic");
    EXPECT_EQ(output->GetMediaType(0, &type), S_OK);
    m_transform->calls.clear();
    EXPECT_EQ(m_chain.Connect(output, &m_take->pin), S_OK);
    EXPECT_EQ(m_transform->calls, "oC");
}

TEST_F(Transform, PinsHaveTheirIds) {
    EXPECT_EQ(m_transform->GetPin(2), nullptr);
    EXPECT_EQ(m_transform->GetPin(-1), nullptr);
    for (const wchar_t* id : {L"In", L"Out"}) {
        qrn::ComPtr<IPin> pin;
        ASSERT_EQ(m_transform->FindPin(id, pin.Put()), S_OK);
        wchar_t* told = nullptr;
        ASSERT_EQ(pin->QueryId(&told), S_OK);
        EXPECT_EQ(std::wstring(told), id);
        CoTaskMemFree(told);
    }
    qrn::ComPtr<IPin> none;
    EXPECT_EQ(m_transform->FindPin(L"Sideways", none.Put()), VFW_E_NOT_FOUND);
}

TEST_F(Transform, SampleArrivesWithItsProperties) {
    ConnectAll();
    m_chain.Run();
    const auto sample = m_feed->Sample(1000, 2000, true, 5);
    const LONGLONG media = 40;
    const LONGLONG mediaEnd = 41;
    sample->SetMediaTime(&media, &mediaEnd);
    sample->SetDiscontinuity(TRUE);
    sample->SetPreroll(TRUE);
    EXPECT_EQ(m_feed->pin.Deliver(sample.Get()), S_OK);
    ASSERT_EQ(m_take->pin.All().size(), 1u);
    const Taken taken = m_take->pin.All()[0];
    EXPECT_EQ(taken.start, 1000);
    EXPECT_EQ(taken.stop, 2000);
    EXPECT_EQ(taken.bytes, 5);
    EXPECT_TRUE(taken.isSync);
    EXPECT_TRUE(taken.isDiscontinuity);
    EXPECT_TRUE(taken.isPreroll);
    EXPECT_EQ(taken.mediaStart, 40);
}

TEST_F(Transform, SampleWithoutTimesStaysWithout) {
    ConnectAll();
    m_chain.Run();
    EXPECT_EQ(m_feed->Feed(-1, -1, false), S_OK);
    const Taken taken = m_take->pin.All().at(0);
    EXPECT_EQ(taken.start, -1);
    EXPECT_FALSE(taken.isSync);
    EXPECT_EQ(taken.mediaStart, -1);
}

TEST_F(Transform, NothingThisTimeIsToldOnceUntilStopped) {
    ConnectAll();
    m_chain.Run();
    m_transform->transformResult = S_FALSE;
    EXPECT_EQ(m_feed->Feed(), S_OK);
    EXPECT_EQ(m_feed->Feed(), S_OK);
    EXPECT_TRUE(m_transform->IsSkipped());
    EXPECT_EQ(m_chain.graph->Count(EC_QUALITY_CHANGE), 1u);
    EXPECT_TRUE(m_take->pin.All().empty());
    m_transform->transformResult = S_OK;
    EXPECT_EQ(m_feed->Feed(), S_OK);
    EXPECT_FALSE(m_transform->IsSkipped());
    EXPECT_EQ(m_take->pin.All().size(), 1u);

    m_chain.Stop();
    m_chain.Run();
    m_transform->transformResult = S_FALSE;
    m_feed->Feed();
    EXPECT_EQ(m_chain.graph->Count(EC_QUALITY_CHANGE), 2u);
}

TEST_F(Transform, FailureIsTheAnswer) {
    ConnectAll();
    m_chain.Run();
    m_transform->transformResult = E_OUTOFMEMORY;
    EXPECT_EQ(m_feed->Feed(), E_OUTOFMEMORY);
    EXPECT_TRUE(m_take->pin.All().empty());
    m_transform->transformResult = S_OK;
    m_take->pin.onReceive = [](IMediaSample*) { return E_ABORT; };
    EXPECT_EQ(m_feed->Feed(), E_ABORT) << "what the next filter answers goes upstream";
}

TEST_F(Transform, OtherStreamsPassUnchanged) {
    ConnectAll();
    m_chain.Run();
    const auto sample = m_feed->Sample(1, 2);
    AM_SAMPLE2_PROPERTIES properties{};
    const auto sample2 = sample.As<IMediaSample2>();
    sample2->GetProperties(sizeof(properties), reinterpret_cast<BYTE*>(&properties));
    properties.dwStreamId = AM_STREAM_CONTROL;
    sample2->SetProperties(sizeof(properties), reinterpret_cast<const BYTE*>(&properties));
    IMediaSample* passed = nullptr;
    m_take->pin.onReceive = [&passed](IMediaSample* got) {
        passed = got;
        return S_OK;
    };
    EXPECT_EQ(m_feed->pin.Deliver(sample.Get()), S_OK);
    EXPECT_EQ(passed, sample.Get());
    EXPECT_EQ(m_transform->transforms, 0);
}

TEST_F(Transform, StartAndStopOncePerPause) {
    ConnectAll();
    m_transform->calls.clear();
    m_chain.Pause();
    m_chain.Run();
    m_chain.Pause();
    EXPECT_EQ(m_transform->calls, "+");
    m_chain.Stop();
    m_chain.Stop();
    EXPECT_EQ(m_transform->calls, "+-");
    m_transform->startResult = E_FAIL;
    EXPECT_EQ(m_transform->Pause(), E_FAIL);
    EXPECT_TRUE(m_transform->IsStopped());
}

TEST_F(Transform, UnwiredFilterStartsNothing) {
    m_transform->GetPin(0);
    EXPECT_EQ(m_transform->Run(0), S_OK);
    EXPECT_EQ(m_transform->Stop(), S_OK);
    ASSERT_EQ(m_chain.Connect(&m_feed->pin, m_transform->GetPin(0)), S_OK);
    m_transform->calls.clear();
    EXPECT_EQ(m_chain.Run(), S_OK);
    EXPECT_TRUE(FAILED(m_feed->Feed())) << "there is nowhere to put it";
    m_chain.Stop();
    EXPECT_EQ(m_transform->calls, "");
}

TEST_F(Transform, EndFlushAndSegmentPassThrough) {
    ConnectAll();
    m_chain.Run();
    EXPECT_EQ(m_feed->pin.DeliverNewSegment(5, 6, 2.0), S_OK);
    EXPECT_EQ(m_take->pin.CurrentStartTime(), 5);
    EXPECT_EQ(m_take->pin.CurrentRate(), 2.0);
    EXPECT_EQ(m_feed->pin.DeliverBeginFlush(), S_OK);
    EXPECT_EQ(m_feed->Feed(), S_FALSE);
    EXPECT_EQ(m_feed->pin.DeliverEndFlush(), S_OK);
    EXPECT_EQ(m_take->pin.calls, "SBE");
    EXPECT_EQ(m_feed->Feed(), S_OK);
    EXPECT_EQ(m_feed->pin.DeliverEndOfStream(), S_OK);
    EXPECT_EQ(m_take->pin.Ends(), 1);
}

TEST_F(Transform, QualityGoesUpstreamUnlessTaken) {
    ConnectAll();
    m_take->pin.PassNotify({Famine, 900, 50, 60});
    ASSERT_EQ(m_feed->pin.notes.size(), 1u);
    EXPECT_EQ(m_feed->pin.notes[0].Late, 50);
    m_transform->takesQuality = true;
    EXPECT_EQ(m_take->pin.PassNotify({Famine, 900, 50, 60}), S_OK);
    EXPECT_EQ(m_feed->pin.notes.size(), 1u);

    CHeld<CFeedFilter> sink;
    m_take->pin.SetSink(&sink->pin);
    m_take->pin.PassNotify({Flood, 1100, 0, 0});
    EXPECT_EQ(sink->pin.notes.size(), 1u);
    EXPECT_EQ(m_feed->pin.notes.size(), 1u);
    m_take->pin.SetSink(nullptr);
}

TEST_F(Transform, StopEndsAWaitForABuffer) {
    ConnectAll();
    m_take->pin.keepsSamples = true;  // the only output buffer never comes back by itself
    m_chain.Run();
    ASSERT_EQ(m_feed->Feed(), S_OK);
    std::atomic<HRESULT> result{S_OK};
    std::thread streaming([this, &result] { result = m_feed->Feed(); });
    m_chain.Stop();
    streaming.join();
    EXPECT_TRUE(FAILED(result));
    EXPECT_EQ(m_transform->transforms, 1);
    m_take->pin.ReleaseKept();
}

TEST_F(Transform, ReceiveCanBlockAsTheFiltersBehindCan) {
    auto* input = static_cast<CTransformInputPin*>(m_transform->GetPin(0));
    ConnectAll();
    EXPECT_EQ(input->ReceiveCanBlock(), S_OK) << "a filter without outputs may block";
}

TEST_F(Transform, InputTypeIsCheckedAgainstTheConnectedOutput) {
    ConnectAll();
    const CMediaType two = TypeOf(2);
    const CMediaType three = TypeOf(3);
    EXPECT_EQ(m_transform->GetPin(0)->QueryAccept(&two), S_OK);
    EXPECT_EQ(m_transform->GetPin(0)->QueryAccept(&three), S_FALSE);
}

}  // namespace
}  // namespace qrn::test
