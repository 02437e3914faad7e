#include "framework/CBasePin.h"

#include <gtest/gtest.h>

#include <string>

#include "Chain.h"
#include "TestFilters.h"
#include "framework/CEnumMediaTypes.h"
#include "platform/com/TaskMemory.h"

namespace qrn::test {
namespace {

struct AgreeCase {
    const char* name;
    std::vector<std::uint32_t> source;  // what the output pin offers and accepts
    std::vector<std::uint32_t> offers;  // what the input pin offers
    std::vector<std::uint32_t> accepts;
    bool mineFirst;
    std::uint32_t wanted;  // 0: whatever
    HRESULT result;
    std::uint32_t agreed;
};

class Agreement : public testing::TestWithParam<AgreeCase> {
protected:
    static std::vector<CMediaType> Types(const std::vector<std::uint32_t>& numbers) {
        std::vector<CMediaType> types;
        for (const std::uint32_t number : numbers) {
            types.push_back(TypeOf(number));
        }
        return types;
    }
};

TEST_P(Agreement, TakesTheFirstTypeThatBothAccept) {
    CHeld<CFeedFilter> feed;
    CHeld<CTakeFilter> take;
    CChain chain;
    chain.Add(feed.Get());
    chain.Add(take.Get());
    feed->pin.types = Types(GetParam().source);
    feed->pin.m_bTryMyTypesFirst = GetParam().mineFirst;
    take->pin.offers = Types(GetParam().offers);
    take->pin.accepts = Types(GetParam().accepts);
    const CMediaType wanted = TypeOf(GetParam().wanted);
    EXPECT_EQ(chain.Connect(&feed->pin, &take->pin, GetParam().wanted != 0 ? &wanted : nullptr), GetParam().result);
    EXPECT_EQ(feed->pin.IsConnected(), SUCCEEDED(GetParam().result));
    EXPECT_EQ(take->pin.IsConnected(), SUCCEEDED(GetParam().result));
    if (SUCCEEDED(GetParam().result)) {
        EXPECT_TRUE(feed->pin.CurrentMediaType() == TypeOf(GetParam().agreed));
        EXPECT_TRUE(take->pin.CurrentMediaType() == TypeOf(GetParam().agreed));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Agreement,
    testing::Values(AgreeCase{"First", {1, 2}, {}, {1, 2}, true, 0, S_OK, 1},
                    AgreeCase{"SecondOnly", {1, 2}, {}, {2}, true, 0, S_OK, 2},
                    AgreeCase{"SourceListFirst", {1, 2}, {2, 1}, {1, 2}, true, 0, S_OK, 1},
                    AgreeCase{"InputListFirst", {1, 2}, {2, 1}, {1, 2}, false, 0, S_OK, 2},
                    AgreeCase{"Nothing", {1}, {2}, {2}, true, 0, VFW_E_NO_ACCEPTABLE_TYPES, 0},
                    AgreeCase{"NoTypes", {}, {}, {2}, true, 0, VFW_E_NO_ACCEPTABLE_TYPES, 0},
                    AgreeCase{"Wanted", {1, 2}, {}, {1, 2}, true, 2, S_OK, 2},
                    AgreeCase{"WantedRefusedHere", {1}, {}, {1, 2}, true, 2, VFW_E_TYPE_NOT_ACCEPTED, 0},
                    AgreeCase{"WantedRefusedThere", {1, 2}, {}, {1}, true, 2, VFW_E_TYPE_NOT_ACCEPTED, 0}),
    [](const auto& row) { return std::string(row.param.name); });

class Pins : public testing::Test {
protected:
    void SetUp() override {
        m_chain.Add(m_feed.Get());
        m_chain.Add(m_take.Get());
    }

    CHeld<CFeedFilter> m_feed;
    CHeld<CTakeFilter> m_take;
    CChain m_chain;
};

TEST_F(Pins, PartialTypeIsFilledFromTheList) {
    m_feed->pin.types = {TypeOf(1, MEDIATYPE_Audio), TypeOf(2, MEDIATYPE_Video)};
    CMediaType partial;
    partial.SetType(&MEDIATYPE_Video);
    ASSERT_EQ(m_chain.Connect(&m_feed->pin, &m_take->pin, &partial), S_OK);
    EXPECT_TRUE(m_feed->pin.CurrentMediaType() == TypeOf(2));
}

TEST_F(Pins, TwoOfAKindDoNotConnect) {
    CHeld<CFeedFilter> other;
    EXPECT_EQ(m_feed->pin.Connect(&other->pin, nullptr), VFW_E_INVALID_DIRECTION);
    EXPECT_EQ(m_feed->pin.Connect(nullptr, nullptr), E_POINTER);
}

TEST_F(Pins, ConnectedPinRefusesAnother) {
    ASSERT_EQ(m_chain.Connect(&m_feed->pin, &m_take->pin), S_OK);
    CHeld<CTakeFilter> second;
    EXPECT_EQ(m_feed->pin.Connect(&second->pin, nullptr), VFW_E_ALREADY_CONNECTED);
    CHeld<CFeedFilter> other;
    EXPECT_EQ(other->pin.Connect(&m_take->pin, nullptr), VFW_E_ALREADY_CONNECTED);
    EXPECT_FALSE(other->pin.IsConnected());
}

TEST_F(Pins, ConnectionsStandWhileActive) {
    ASSERT_EQ(m_chain.Connect(&m_feed->pin, &m_take->pin), S_OK);
    ASSERT_EQ(m_chain.Pause(), S_OK);
    EXPECT_EQ(m_feed->pin.Disconnect(), VFW_E_NOT_STOPPED);
    EXPECT_EQ(m_take->pin.Disconnect(), VFW_E_NOT_STOPPED);
    m_chain.Stop();
    EXPECT_EQ(m_feed->pin.Disconnect(), S_OK);
    EXPECT_EQ(m_feed->pin.Disconnect(), S_FALSE);
    EXPECT_EQ(m_take->pin.Disconnect(), S_OK);
    m_feed->Pause();
    EXPECT_EQ(m_feed->pin.Connect(&m_take->pin, nullptr), VFW_E_NOT_STOPPED);
}

TEST_F(Pins, FailureOfTheHookUndoesBothSides) {
    m_feed->pin.completeResult = E_OUTOFMEMORY;
    EXPECT_EQ(m_chain.Connect(&m_feed->pin, &m_take->pin), E_OUTOFMEMORY);
    EXPECT_FALSE(m_feed->pin.IsConnected());
    EXPECT_FALSE(m_take->pin.IsConnected());
    m_feed->pin.completeResult = S_OK;
    EXPECT_EQ(m_chain.Connect(&m_feed->pin, &m_take->pin), S_OK);
}

TEST_F(Pins, AllocatorIsTheInputPinsWhenItHasOne) {
    m_take->pin.requirements = {5, 100, 32, 0};
    ASSERT_EQ(m_chain.Connect(&m_feed->pin, &m_take->pin), S_OK);
    EXPECT_EQ(m_feed->pin.Allocator(), m_take->pin.Allocator());
    ASSERT_EQ(m_feed->pin.requests.size(), 1u);
    EXPECT_EQ(m_feed->pin.requests[0].cBuffers, 5);
    EXPECT_EQ(m_feed->pin.requests[0].cbAlign, 32);
    ALLOCATOR_PROPERTIES properties{};
    m_feed->pin.Allocator()->GetProperties(&properties);
    EXPECT_EQ(properties.cbBuffer, 16);
    EXPECT_EQ(properties.cbAlign, 32);
}

TEST_F(Pins, AllocatorIsTheOutputPinsWhenTheInputHasNone) {
    m_take->pin.allocatorResult = VFW_E_NO_ALLOCATOR;
    ASSERT_EQ(m_chain.Connect(&m_feed->pin, &m_take->pin), S_OK);
    ASSERT_EQ(m_feed->pin.requests.size(), 1u);
    EXPECT_EQ(m_feed->pin.requests[0].cbAlign, 1) << "no wishes mean no alignment";
    EXPECT_NE(m_feed->pin.Allocator(), nullptr);
    EXPECT_EQ(m_take->pin.Allocator(), m_feed->pin.Allocator());
}

TEST_F(Pins, WithoutAnAllocatorThereIsNoConnection) {
    m_feed->pin.decideResult = E_INVALIDARG;
    EXPECT_EQ(m_chain.Connect(&m_feed->pin, &m_take->pin), VFW_E_NO_ACCEPTABLE_TYPES);
    EXPECT_EQ(m_feed->pin.requests.size(), 2u) << "the input's allocator, then the pin's own";
    EXPECT_FALSE(m_take->pin.IsConnected());
}

TEST_F(Pins, TellWhatTheyAre) {
    ASSERT_EQ(m_chain.Connect(&m_feed->pin, &m_take->pin), S_OK);
    PIN_INFO info{};
    ASSERT_EQ(m_feed->pin.QueryPinInfo(&info), S_OK);
    EXPECT_EQ(info.pFilter, static_cast<IBaseFilter*>(m_feed.Get()));
    EXPECT_EQ(info.dir, PINDIR_OUTPUT);
    EXPECT_EQ(std::wstring(info.achName), L"Feed");
    info.pFilter->Release();
    wchar_t* id = nullptr;
    ASSERT_EQ(m_take->pin.QueryId(&id), S_OK);
    EXPECT_EQ(std::wstring(id), L"Take");
    CoTaskMemFree(id);
    qrn::ComPtr<IPin> peer;
    ASSERT_EQ(m_feed->pin.ConnectedTo(peer.Put()), S_OK);
    EXPECT_EQ(peer, static_cast<IPin*>(&m_take->pin));
    AM_MEDIA_TYPE type{};
    ASSERT_EQ(m_take->pin.ConnectionMediaType(&type), S_OK);
    EXPECT_TRUE(TypeOf(1).IsEqual(type));
    FreeMediaType(type);
    m_take->pin.accepts = {TypeOf(1)};
    EXPECT_EQ(m_take->pin.QueryAccept(&m_feed->pin.types[0]), S_OK);
    const CMediaType other = TypeOf(3);
    EXPECT_EQ(m_take->pin.QueryAccept(&other), S_FALSE);
}

TEST_F(Pins, UnconnectedPinSaysSo) {
    qrn::ComPtr<IPin> peer;
    EXPECT_EQ(m_feed->pin.ConnectedTo(peer.Put()), VFW_E_NOT_CONNECTED);
    EXPECT_FALSE(peer);
    AM_MEDIA_TYPE type{};
    EXPECT_EQ(m_feed->pin.ConnectionMediaType(&type), VFW_E_NOT_CONNECTED);
    EXPECT_EQ(m_feed->pin.Deliver(nullptr), VFW_E_NOT_CONNECTED);
    EXPECT_EQ(m_feed->pin.DeliverEndOfStream(), VFW_E_NOT_CONNECTED);
    EXPECT_EQ(m_take->pin.Receive(nullptr), E_POINTER);
}

TEST_F(Pins, InputRefusesSamplesOutOfState) {
    ASSERT_EQ(m_chain.Connect(&m_feed->pin, &m_take->pin), S_OK);
    m_feed->Pause();
    EXPECT_EQ(m_feed->Feed(), VFW_E_WRONG_STATE);
    m_take->Pause();
    EXPECT_EQ(m_feed->Feed(), S_OK);
    m_take->pin.BeginFlush();
    EXPECT_EQ(m_feed->Feed(), S_FALSE);
    m_take->pin.EndFlush();
    EXPECT_EQ(m_feed->Feed(), S_OK);
    EXPECT_EQ(m_take->pin.All().size(), 2u);
}

TEST_F(Pins, SamplePropertiesAreTakenDown) {
    ASSERT_EQ(m_chain.Connect(&m_feed->pin, &m_take->pin), S_OK);
    m_chain.Pause();
    ASSERT_EQ(m_feed->Feed(10, 20, true, 7), S_OK);
    const AM_SAMPLE2_PROPERTIES& properties = *m_take->pin.SampleProps();
    EXPECT_EQ(properties.dwSampleFlags, AM_SAMPLE_TIMEVALID | AM_SAMPLE_STOPVALID | AM_SAMPLE_SPLICEPOINT);
    EXPECT_EQ(properties.tStart, 10);
    EXPECT_EQ(properties.tStop, 20);
    EXPECT_EQ(properties.lActual, 7);
    EXPECT_EQ(properties.dwStreamId, AM_STREAM_MEDIA);
}

TEST_F(Pins, RefusedTypeInTheStreamEndsIt) {
    ASSERT_EQ(m_chain.Connect(&m_feed->pin, &m_take->pin), S_OK);
    m_take->pin.accepts = {TypeOf(1), TypeOf(2)};
    m_chain.Pause();
    for (const std::uint32_t number : {2u, 3u}) {
        const auto sample = m_feed->Sample();
        const CMediaType type = TypeOf(number);
        sample->SetMediaType(&type);
        EXPECT_EQ(m_feed->pin.Deliver(sample.Get()), number == 2 ? S_OK : VFW_E_INVALIDMEDIATYPE);
    }
    EXPECT_EQ(m_take->pin.Ends(), 1);
    ASSERT_EQ(m_chain.graph->Count(EC_ERRORABORT), 1u);
    EXPECT_EQ(m_chain.graph->Events()[0].param1, VFW_E_TYPE_NOT_ACCEPTED);
    EXPECT_EQ(m_feed->Feed(), VFW_E_RUNTIME_ERROR);
    m_chain.Stop();
    m_chain.Pause();
    EXPECT_EQ(m_feed->Feed(), S_OK) << "a stop forgives";
}

TEST_F(Pins, ManySamplesAtOnceStopAtTheFirstRefusal) {
    m_feed->pin.buffers = 3;
    ASSERT_EQ(m_chain.Connect(&m_feed->pin, &m_take->pin), S_OK);
    m_chain.Pause();
    const auto a = m_feed->Sample();
    const auto b = m_feed->Sample();
    const auto c = m_feed->Sample();
    IMediaSample* samples[] = {a.Get(), b.Get(), c.Get()};
    int received = 0;
    m_take->pin.onReceive = [&received](IMediaSample*) { return ++received == 2 ? S_FALSE : S_OK; };
    LONG processed = -1;
    EXPECT_EQ(m_take->pin.ReceiveMultiple(samples, 3, &processed), S_FALSE);
    EXPECT_EQ(processed, 1);
    EXPECT_EQ(received, 2);
}

TEST_F(Pins, MediaTypesAreWalkedAndTheWalkNoticesAChange) {
    m_feed->pin.types = {TypeOf(1), TypeOf(2), TypeOf(3)};
    qrn::ComPtr<IEnumMediaTypes> types;
    ASSERT_EQ(m_feed->pin.EnumMediaTypes(types.Put()), S_OK);
    AM_MEDIA_TYPE* got[4] = {};
    ULONG fetched = 0;
    EXPECT_EQ(types->Next(2, got, nullptr), E_INVALIDARG);
    EXPECT_EQ(types->Skip(1), S_OK);
    qrn::ComPtr<IEnumMediaTypes> clone;
    ASSERT_EQ(types->Clone(clone.Put()), S_OK);
    EXPECT_EQ(types->Next(4, got, &fetched), S_FALSE);
    ASSERT_EQ(fetched, 2u);
    EXPECT_TRUE(TypeOf(2).IsEqual(*got[0]));
    EXPECT_TRUE(TypeOf(3).IsEqual(*got[1]));
    DeleteMediaType(got[0]);
    DeleteMediaType(got[1]);
    EXPECT_EQ(types->Skip(1), S_FALSE);
    ASSERT_EQ(clone->Next(1, got, nullptr), S_OK);
    EXPECT_TRUE(TypeOf(2).IsEqual(*got[0])) << "a clone stands where its original stood";
    DeleteMediaType(got[0]);

    m_feed->pin.IncrementTypeVersion();
    EXPECT_EQ(types->Next(1, got, &fetched), VFW_E_ENUM_OUT_OF_SYNC);
    EXPECT_EQ(types->Reset(), S_OK);
    EXPECT_EQ(types->Next(1, got, &fetched), S_OK);
    DeleteMediaType(got[0]);
}

}  // namespace
}  // namespace qrn::test
