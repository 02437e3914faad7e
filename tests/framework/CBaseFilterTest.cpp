#include "framework/CBaseFilter.h"

#include <gtest/gtest.h>

#include <string>

#include "Chain.h"
#include "TestFilters.h"

namespace qrn::test {
namespace {

constexpr CLSID kClass = qrn::Guid("5B1C0E7A-3C6D-4F15-8C19-5D0E5A7B9C01");

/// Three output pins.
class CThreePins final : public CBaseFilter {
public:
    CThreePins() : CBaseFilter(L"three", nullptr, &m_lock, kClass) {}
    int GetPinCount() override { return 3; }
    CBasePin* GetPin(int index) override { return index >= 0 && index < 3 ? &pins[index] : nullptr; }

private:
    CCritSec m_lock;

public:
    CFeedPin pins[3] = {{this, &m_lock}, {this, &m_lock}, {this, &m_lock}};
};

TEST(BaseFilter, AnswersItsInterfacesAndClass) {
    CHeld<CThreePins> filter;
    for (const IID& id : {IID_IUnknown, IID_IPersist, IID_IMediaFilter, IID_IBaseFilter, IID_IAMovieSetup}) {
        qrn::ComPtr<IUnknown> object;
        EXPECT_EQ(filter->QueryInterface(id, object.PutVoid()), S_OK);
        EXPECT_TRUE(object);
    }
    CLSID id = GUID_NULL;
    EXPECT_EQ(filter->GetClassID(&id), S_OK);
    EXPECT_EQ(id, kClass);
    EXPECT_EQ(filter->GetClassID(nullptr), E_POINTER);
    EXPECT_EQ(filter->Register(), E_NOTIMPL);
    EXPECT_EQ(filter->Unregister(), E_NOTIMPL);
    wchar_t* vendor = nullptr;
    EXPECT_EQ(filter->QueryVendorInfo(&vendor), E_NOTIMPL);
}

TEST(BaseFilter, PinsCountOnTheirFilter) {
    const LONG before = CBaseObject::ActiveObjects();
    auto filter = std::make_unique<CHeld<CThreePins>>();
    const auto pin = qrn::ComPtr<IPin>::Share((*filter)->GetPin(1));
    filter.reset();
    EXPECT_EQ(CBaseObject::ActiveObjects(), before + 4) << "the filter and its three pins";
    PIN_DIRECTION direction = PINDIR_INPUT;
    EXPECT_EQ(pin->QueryDirection(&direction), S_OK);
}

TEST(BaseFilter, StreamTimeCountsFromTheStart) {
    CHeld<CFeedFilter> filter;
    REFERENCE_TIME time = 7;
    EXPECT_EQ(filter->StreamTime(time), VFW_E_NO_CLOCK);
    EXPECT_EQ(time, 7) << "a failure leaves the caller's time alone";
    CChain chain;
    chain.Add(filter.Get());
    chain.Run();
    chain.clock->Advance(1234);
    EXPECT_EQ(filter->StreamTime(time), S_OK);
    EXPECT_EQ(time, 1234);
    qrn::ComPtr<IReferenceClock> clock;
    EXPECT_EQ(filter->GetSyncSource(clock.Put()), S_OK);
    EXPECT_EQ(clock, static_cast<IReferenceClock*>(chain.clock.Get()));
}

TEST(BaseFilter, KnowsItsGraphAndName) {
    CHeld<CFeedFilter> filter;
    EXPECT_EQ(filter->NotifyEvent(EC_ERRORABORT, 1, 2), E_NOTIMPL);
    const auto graph = qrn::ComPtr<CFakeGraph>::Share(new CFakeGraph);
    ASSERT_EQ(filter->JoinFilterGraph(graph.Get(), std::wstring(200, L'n').c_str()), S_OK);
    FILTER_INFO info{};
    ASSERT_EQ(filter->QueryFilterInfo(&info), S_OK);
    EXPECT_EQ(std::wstring(info.achName), std::wstring(127, L'n')) << "cut, with its closing zero";
    EXPECT_EQ(info.pGraph, static_cast<IFilterGraph*>(graph.Get()));
    info.pGraph->Release();
    EXPECT_EQ(filter->NotifyEvent(EC_ERRORABORT, 1, 2), S_OK);
    EXPECT_EQ(filter->NotifyEvent(EC_COMPLETE, S_OK, 0), S_OK);
    ASSERT_EQ(graph->Events().size(), 2u);
    EXPECT_EQ(graph->Events()[0].param2, 2);
    EXPECT_EQ(graph->Events()[1].param2, reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(filter.Get())));
    filter->JoinFilterGraph(nullptr, nullptr);
    EXPECT_EQ(filter->NotifyEvent(EC_ERRORABORT, 1, 2), E_NOTIMPL);
}

TEST(BaseFilter, PinsAreWalkedAndFound) {
    CHeld<CThreePins> filter;
    qrn::ComPtr<IEnumPins> walk;
    ASSERT_EQ(filter->EnumPins(walk.Put()), S_OK);
    IPin* pins[4] = {};
    ULONG fetched = 0;
    EXPECT_EQ(walk->Next(1, pins, nullptr), S_OK);
    EXPECT_EQ(pins[0], filter->GetPin(0));
    pins[0]->Release();
    EXPECT_EQ(walk->Next(4, pins, &fetched), S_FALSE);
    EXPECT_EQ(fetched, 2u);
    pins[0]->Release();
    pins[1]->Release();
    EXPECT_EQ(walk->Reset(), S_OK);
    EXPECT_EQ(walk->Skip(3), S_OK);
    EXPECT_EQ(walk->Skip(1), S_FALSE);
    filter->IncrementPinVersion();
    EXPECT_EQ(walk->Next(1, pins, nullptr), VFW_E_ENUM_OUT_OF_SYNC);
    EXPECT_EQ(walk->Skip(1), VFW_E_ENUM_OUT_OF_SYNC);

    qrn::ComPtr<IPin> pin;
    EXPECT_EQ(filter->FindPin(L"Feed", pin.Put()), S_OK);
    EXPECT_EQ(filter->FindPin(L"feed", pin.Put()), VFW_E_NOT_FOUND);
    EXPECT_EQ(filter->FindPin(nullptr, pin.Put()), E_POINTER);
}

TEST(BaseFilter, FailedPauseTakesBackWhatWasActive) {
    CHeld<CThreePins> filter;
    CHeld<CTakeFilter> sinks[3];
    CChain chain;
    chain.Add(filter.Get());
    for (int i = 0; i < 3; ++i) {
        chain.Add(sinks[i].Get());
        ASSERT_EQ(chain.Connect(filter->GetPin(i), &sinks[i]->pin), S_OK);
    }
    filter->pins[1].activeResult = E_FAIL;
    EXPECT_EQ(filter->Pause(), E_FAIL);
    EXPECT_TRUE(filter->IsStopped());
    EXPECT_EQ(filter->pins[0].inactives, 1);
    EXPECT_EQ(filter->pins[2].inactives, 0);
    filter->pins[1].activeResult = S_OK;
    EXPECT_EQ(filter->Run(0), S_OK);
    FILTER_STATE state = State_Stopped;
    EXPECT_EQ(filter->GetState(0, &state), S_OK);
    EXPECT_EQ(state, State_Running);
}

TEST(BaseFilter, LetGoOfWhileActiveStopsFirst) {
    class CWatched final : public CBaseFilter {
    public:
        explicit CWatched(int* stops) : CBaseFilter(L"watched", nullptr, &m_lock, GUID_NULL), m_stops(stops) {}
        int GetPinCount() override { return 0; }
        CBasePin* GetPin(int) override { return nullptr; }
        HRESULT Stop() override {
            ++*m_stops;
            return CBaseFilter::Stop();
        }

    private:
        CCritSec m_lock;
        int* const m_stops;
    };
    int stops = 0;
    {
        CHeld<CWatched, int*> filter(&stops);
        filter->Run(0);
    }
    EXPECT_EQ(stops, 1);
}

}  // namespace
}  // namespace qrn::test
