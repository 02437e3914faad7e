#include "host/CFilterGraph.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/GraphFixture.h"

namespace qrn {
namespace {

using test::CFakeFilter;

class FilterGraphTest : public test::GraphFixture {
protected:
    std::wstring NameOf(IBaseFilter& filter) {
        FILTER_INFO info{};
        EXPECT_EQ(filter.QueryFilterInfo(&info), S_OK);
        if (info.pGraph != nullptr) {
            info.pGraph->Release();
        }
        return info.achName;
    }
    ComPtr<CFakeFilter> Loose(int inputs = 1, int outputs = 1) {
        return CFakeFilter::Make("loose", m_journal, inputs, outputs);
    }
};

TEST_F(FilterGraphTest, NamesAreMadeUnique) {
    const std::wstring longest(MAX_FILTER_NAME - 1, L'x');
    const struct {
        const wchar_t* wanted;
        HRESULT result;
        std::wstring name;
    } rows[] = {{L"Camera", S_OK, L"Camera"},
                {L"Camera", VFW_S_DUPLICATE_NAME, L"Camera 0001"},
                {L"Camera", VFW_S_DUPLICATE_NAME, L"Camera 0002"},
                {L"Camera 0001", VFW_S_DUPLICATE_NAME, L"Camera 0001 0001"},
                {L"camera", S_OK, L"camera"},
                {nullptr, S_OK, L"Filter"},
                {L"", S_OK, L"Filter 0001"},
                {longest.c_str(), S_OK, longest},
                {longest.c_str(), VFW_S_DUPLICATE_NAME, longest.substr(0, MAX_FILTER_NAME - 6) + L" 0001"}};
    for (const auto& row : rows) {
        const auto filter = Loose();
        EXPECT_EQ(m_graph->AddFilter(filter.Get(), row.wanted), row.result);
        EXPECT_EQ(NameOf(*filter), row.name);
        ComPtr<IBaseFilter> found;
        EXPECT_EQ(m_graph->FindFilterByName(row.name.c_str(), found.Put()), S_OK);
        EXPECT_TRUE(found == filter.Get());
    }
    ComPtr<IBaseFilter> none;
    EXPECT_EQ(m_graph->FindFilterByName(L"Microphone", none.Put()), VFW_E_NOT_FOUND);
    EXPECT_FALSE(none);
}

TEST_F(FilterGraphTest, WhatCannotJoinIsNotIn) {
    EXPECT_EQ(m_graph->AddFilter(nullptr, L"none"), E_POINTER);

    const auto twice = Add("twice", 1, 1);
    EXPECT_EQ(m_graph->AddFilter(twice.Get(), L"other"), E_INVALIDARG);
    const auto otherGraph = ComPtr<CFilterGraph>::Share(new CFilterGraph(nullptr, m_time));
    EXPECT_EQ(otherGraph->AddFilter(twice.Get(), L"twice"), E_INVALIDARG);

    const auto unwilling = Loose();
    unwilling->joinResult = E_ACCESSDENIED;
    EXPECT_EQ(m_graph->AddFilter(unwilling.Get(), L"unwilling"), E_ACCESSDENIED);
    EXPECT_FALSE(HasFilter(L"unwilling"));

    const auto clockless = Loose();
    clockless->clockResult = E_OUTOFMEMORY;
    EXPECT_EQ(m_graph->AddFilter(clockless.Get(), L"clockless"), E_OUTOFMEMORY);
    EXPECT_FALSE(HasFilter(L"clockless"));
    EXPECT_EQ(clockless->GetFilterGraph(), nullptr);
}

TEST_F(FilterGraphTest, RemovingDisconnectsBothEnds) {
    const auto source = Add("source", 0, 1);
    const auto transform = Add("transform", 1, 1);
    const auto sink = Add("sink", 1, 0);
    Connect(source->Output(), transform->Input());
    Connect(transform->Output(), sink->Input());

    EXPECT_EQ(m_graph->RemoveFilter(transform.Get()), S_OK);
    EXPECT_FALSE(IsConnected(source->Output()));
    EXPECT_FALSE(IsConnected(transform->Input()));
    EXPECT_FALSE(IsConnected(transform->Output()));
    EXPECT_FALSE(IsConnected(sink->Input()));
    EXPECT_EQ(transform->GetFilterGraph(), nullptr);
    EXPECT_FALSE(transform->GivenClock());
    EXPECT_FALSE(HasFilter(L"transform"));
    EXPECT_EQ(m_graph->RemoveFilter(transform.Get()), VFW_E_NOT_IN_GRAPH);
    EXPECT_EQ(m_graph->RemoveFilter(nullptr), E_POINTER);
}

TEST_F(FilterGraphTest, ARunningGraphIsNotPulledApart) {
    const auto source = Add("source", 0, 2);
    const auto sink = Add("sink", 1, 0);
    const auto spare = Add("spare", 1, 0);
    Connect(source->Output(), sink->Input());
    ASSERT_EQ(m_graph->Run(), S_OK);

    EXPECT_EQ(m_graph->RemoveFilter(sink.Get()), VFW_E_NOT_STOPPED);
    EXPECT_EQ(m_graph->Disconnect(sink->Input()), VFW_E_NOT_STOPPED);
    EXPECT_EQ(m_graph->Reconnect(sink->Input()), VFW_E_NOT_STOPPED);
    EXPECT_EQ(m_graph->ConnectDirect(source->Output(1), spare->Input(), nullptr), VFW_E_NOT_STOPPED);
    EXPECT_EQ(m_graph->Connect(source->Output(1), spare->Input()), VFW_E_NOT_STOPPED);
    EXPECT_TRUE(IsConnected(sink->Input()));
    EXPECT_EQ(GraphState(), State_Running);
    EXPECT_EQ(m_graph->Stop(), S_OK);
    EXPECT_EQ(m_graph->RemoveFilter(sink.Get()), S_OK);
}

TEST_F(FilterGraphTest, AFilterAddedWhileRunningJoinsTheNextChange) {
    Add("first", 0, 0);
    ASSERT_EQ(m_graph->Run(), S_OK);
    const auto late = Add("late", 0, 0);
    EXPECT_EQ(late->State(), State_Stopped);
    EXPECT_TRUE(late->GivenClock());
    EXPECT_EQ(m_graph->Pause(), S_OK);
    EXPECT_EQ(late->State(), State_Paused);
    EXPECT_EQ(m_graph->Run(), S_OK);
    EXPECT_EQ(late->State(), State_Running);
    EXPECT_EQ(m_graph->Stop(), S_OK);
    EXPECT_EQ(late->State(), State_Stopped);
}

TEST_F(FilterGraphTest, ConnectingChecksThePins) {
    const auto source = Add("source", 0, 2);
    const auto sink = Add("sink", 2, 0);
    const auto stranger = Loose();
    EXPECT_EQ(m_graph->ConnectDirect(nullptr, sink->Input(), nullptr), E_POINTER);
    EXPECT_EQ(m_graph->Connect(source->Output(), nullptr), E_POINTER);
    EXPECT_EQ(m_graph->Connect(sink->Input(), source->Output()), VFW_E_INVALID_DIRECTION);
    EXPECT_EQ(m_graph->ConnectDirect(source->Output(), source->Output(1), nullptr), VFW_E_INVALID_DIRECTION);
    EXPECT_EQ(m_graph->ConnectDirect(source->Output(), stranger->Input(), nullptr), VFW_E_NOT_IN_GRAPH);
    EXPECT_EQ(m_graph->Connect(stranger->Output(), sink->Input()), VFW_E_NOT_IN_GRAPH);
    EXPECT_FALSE(IsConnected(stranger->Input()));

    Connect(source->Output(), sink->Input());
    EXPECT_EQ(m_graph->Connect(source->Output(), sink->Input(1)), VFW_E_ALREADY_CONNECTED);
    EXPECT_EQ(m_graph->Connect(source->Output(1), sink->Input()), VFW_E_ALREADY_CONNECTED);
}

TEST_F(FilterGraphTest, ConnectTriesTheOfferedTypes) {
    const auto source = Add("source", 0, 1);
    const auto sink = Add("sink", 1, 0);
    source->refusesOpenConnect = true;
    source->offers = {MEDIASUBTYPE_PCM, FORMAT_VideoInfo, FORMAT_WaveFormatEx};
    sink->takes = FORMAT_VideoInfo;
    EXPECT_EQ(m_graph->ConnectDirect(source->Output(), sink->Input(), nullptr), VFW_E_NO_ACCEPTABLE_TYPES);
    EXPECT_EQ(m_graph->Connect(source->Output(), sink->Input()), S_OK);
    CMediaType type;
    EXPECT_EQ(sink->Input()->ConnectionMediaType(&type), S_OK);
    EXPECT_EQ(type.subtype, FORMAT_VideoInfo);

    EXPECT_EQ(m_graph->Disconnect(sink->Input()), S_OK);
    EXPECT_EQ(m_graph->Disconnect(source->Output()), S_OK);
    EXPECT_EQ(m_graph->Disconnect(source->Output()), S_FALSE);
    sink->takes = FORMAT_None;
    EXPECT_EQ(m_graph->Connect(source->Output(), sink->Input()), VFW_E_NO_ACCEPTABLE_TYPES);
    EXPECT_FALSE(IsConnected(source->Output()));
    EXPECT_FALSE(IsConnected(sink->Input()));
}

TEST_F(FilterGraphTest, ReconnectNegotiatesAnew) {
    const auto source = Add("source", 0, 1);
    const auto sink = Add("sink", 1, 0);
    EXPECT_EQ(m_graph->Reconnect(sink->Input()), VFW_E_NOT_CONNECTED);
    Connect(source->Output(), sink->Input());
    source->offers = {FORMAT_VideoInfo};
    EXPECT_EQ(m_graph->Reconnect(sink->Input()), S_OK);  // asked for at either end
    CMediaType type;
    EXPECT_EQ(source->Output()->ConnectionMediaType(&type), S_OK);
    EXPECT_EQ(type.subtype, FORMAT_VideoInfo);
    source->offers = {MEDIASUBTYPE_PCM};
    EXPECT_EQ(m_graph->Reconnect(source->Output()), S_OK);
    type.InitMediaType();
    EXPECT_EQ(sink->Input()->ConnectionMediaType(&type), S_OK);
    EXPECT_EQ(type.subtype, MEDIASUBTYPE_PCM);
}

TEST_F(FilterGraphTest, AReconnectionAskedForWithinAConnectionComesAfterIt) {
    const auto source = Add("source", 0, 1);
    const auto transform = Add("transform", 1, 1);
    const auto sink = Add("sink", 1, 0);
    Connect(transform->Output(), sink->Input());
    transform->offers = {FORMAT_VideoInfo};
    transform->onInputConnected = [&] {
        EXPECT_EQ(m_graph->Reconnect(transform->Output()), S_OK);
        CMediaType type;
        EXPECT_EQ(sink->Input()->ConnectionMediaType(&type), S_OK);
        EXPECT_EQ(type.subtype, MEDIASUBTYPE_PCM);  // not yet
    };
    Connect(source->Output(), transform->Input());
    CMediaType type;
    EXPECT_EQ(sink->Input()->ConnectionMediaType(&type), S_OK);
    EXPECT_EQ(type.subtype, FORMAT_VideoInfo);
}

TEST_F(FilterGraphTest, TheEnumeratorNoticesThatFiltersComeAndGo) {
    const auto first = Add("first", 0, 0);
    const auto second = Add("second", 0, 0);
    ComPtr<IEnumFilters> list;
    ASSERT_EQ(m_graph->EnumFilters(list.Put()), S_OK);
    ComPtr<IBaseFilter> filter;
    EXPECT_EQ(list->Next(1, filter.Put(), nullptr), S_OK);
    EXPECT_TRUE(filter == first.Get());
    ComPtr<IEnumFilters> clone;
    ASSERT_EQ(list->Clone(clone.Put()), S_OK);
    EXPECT_EQ(clone->Next(1, filter.Put(), nullptr), S_OK);
    EXPECT_TRUE(filter == second.Get());

    const auto third = Add("third", 0, 0);
    ULONG fetched = 99;
    EXPECT_EQ(list->Next(1, filter.Put(), &fetched), VFW_E_ENUM_OUT_OF_SYNC);
    EXPECT_EQ(fetched, 0U);
    EXPECT_FALSE(filter);
    EXPECT_EQ(list->Skip(1), VFW_E_ENUM_OUT_OF_SYNC);
    EXPECT_EQ(list->Clone(clone.Put()), VFW_E_ENUM_OUT_OF_SYNC);
    EXPECT_EQ(list->Reset(), S_OK);
    EXPECT_EQ(m_graph->RemoveFilter(second.Get()), S_OK);
    EXPECT_EQ(list->Next(1, filter.Put(), &fetched), VFW_E_ENUM_OUT_OF_SYNC);
    EXPECT_EQ(list->Reset(), S_OK);

    IBaseFilter* many[4]{};
    EXPECT_EQ(list->Next(4, many, nullptr), E_INVALIDARG);
    EXPECT_EQ(list->Next(4, many, &fetched), S_FALSE);
    ASSERT_EQ(fetched, 2U);
    EXPECT_EQ(many[0], first.Get());
    EXPECT_EQ(many[1], third.Get());
    many[0]->Release();
    many[1]->Release();
    EXPECT_EQ(list->Next(1, filter.Put(), &fetched), S_FALSE);
    EXPECT_EQ(list->Reset(), S_OK);
    EXPECT_EQ(list->Skip(2), S_OK);
    EXPECT_EQ(list->Skip(1), S_FALSE);
}

TEST_F(FilterGraphTest, TheEnumeratorOutlivesTheClientsReference) {
    Add("only", 0, 0);
    ComPtr<IEnumFilters> list;
    ASSERT_EQ(m_graph->EnumFilters(list.Put()), S_OK);
    m_graph.Reset();
    ComPtr<IBaseFilter> filter;
    EXPECT_EQ(list->Next(1, filter.Put(), nullptr), S_OK);
    EXPECT_TRUE(filter);
}

TEST_F(FilterGraphTest, WhoHoldsTheEventSinkDoesNotHoldTheGraph) {
    const auto source = Add("source", 0, 0);
    ASSERT_EQ(m_graph->Run(), S_OK);
    m_journal.Take();
    // As a streaming thread in the midst of sending an event.
    const ComPtr<IMediaEventSink> sink = m_graph.As<IMediaEventSink>();
    ASSERT_TRUE(sink);
    m_graph.Reset();
    EXPECT_EQ(m_journal.Take(), std::vector<std::string>{"source stop"});
    EXPECT_EQ(sink->Notify(EC_ERRORABORT, E_FAIL, 0), S_OK);
    EXPECT_EQ(source->NotifyEvent(EC_ERRORABORT, E_FAIL, 0), E_NOTIMPL);
}

TEST_F(FilterGraphTest, TheLastReleaseStopsAndTakesApart) {
    const auto source = Add("source", 0, 1);
    const auto sink = Add("sink", 1, 0);
    Connect(source->Output(), sink->Input());
    ASSERT_EQ(m_graph->Run(), S_OK);
    m_journal.Take();
    m_graph.Reset();
    EXPECT_EQ(m_journal.Take(), (std::vector<std::string>{"sink stop", "source stop"}));
    EXPECT_FALSE(IsConnected(source->Output()));
    EXPECT_FALSE(IsConnected(sink->Input()));
    EXPECT_EQ(source->GetFilterGraph(), nullptr);
}

}  // namespace
}  // namespace qrn
