#pragma once
/// A graph on a clock that the test moves, with fake filters.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/CFilterGraph.h"
#include "host/FakeFilter.h"
#include "support/FakeClock.h"

namespace qrn::test {

class GraphFixture : public testing::Test {
protected:
    /// A filter that is in the graph.
    ComPtr<CFakeFilter> Add(const std::string& name, int inputs, int outputs, CCritSec* lock = nullptr) {
        auto filter = CFakeFilter::Make(name, m_journal, inputs, outputs, lock);
        EXPECT_EQ(m_graph->AddFilter(filter.Get(), std::wstring(name.begin(), name.end()).c_str()), S_OK);
        return filter;
    }
    void Connect(IPin* output, IPin* input) { EXPECT_EQ(m_graph->ConnectDirect(output, input, nullptr), S_OK); }

    FILTER_STATE GraphState() {
        FILTER_STATE state{};
        m_graph->GetState(LONG{0}, &state);
        return state;
    }
    bool HasFilter(const wchar_t* name) {
        ComPtr<IBaseFilter> filter;
        return m_graph->FindFilterByName(name, filter.Put()) == S_OK;
    }
    static bool IsConnected(IPin* pin) {
        ComPtr<IPin> peer;
        return pin->ConnectedTo(peer.Put()) == S_OK;
    }

    CManualClock m_time;
    CJournal m_journal;
    ComPtr<CFilterGraph> m_graph = ComPtr<CFilterGraph>::Share(new CFilterGraph(nullptr, m_time));
};

}  // namespace qrn::test
