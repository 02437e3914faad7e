#pragma once
/// Filters in a row, from the source to the last one, in a graph of their own.

#include <vector>

#include "FakeGraph.h"
#include "framework/CBaseFilter.h"
#include "support/FakeReferenceClock.h"

namespace qrn::test {

/// Changes states from the last filter upstream, as a graph does. Takes everything apart when it goes.
class CChain {
public:
    CChain() = default;
    ~CChain() {
        Stop();
        for (const auto& [output, input] : m_links) {
            output->Disconnect();
            input->Disconnect();
        }
        for (CBaseFilter* filter : m_filters) {
            filter->SetSyncSource(nullptr);
            filter->JoinFilterGraph(nullptr, nullptr);
        }
    }
    CChain(const CChain&) = delete;
    CChain& operator=(const CChain&) = delete;

    void Add(CBaseFilter* filter, bool withClock = true) {
        m_filters.push_back(filter);
        filter->JoinFilterGraph(graph.Get(), L"filter");
        filter->SetSyncSource(withClock ? clock.Get() : nullptr);
    }
    HRESULT Connect(CBasePin* output, CBasePin* input, const AM_MEDIA_TYPE* type = nullptr) {
        const HRESULT result = output->Connect(input, type);
        if (SUCCEEDED(result)) {
            m_links.emplace_back(output, input);
        }
        return result;
    }
    /// The answer of the last filter of the row that gives another one than S_OK.
    HRESULT Pause() {
        return Change([](CBaseFilter& filter) { return filter.Pause(); });
    }
    HRESULT Run() {
        start = clock->Now();
        return Change([this](CBaseFilter& filter) { return filter.Run(start); });
    }
    HRESULT Stop() {
        return Change([](CBaseFilter& filter) { return filter.Stop(); });
    }

    ComPtr<CFakeGraph> graph = ComPtr<CFakeGraph>::Share(new CFakeGraph);
    ComPtr<CFakeReferenceClock> clock = ComPtr<CFakeReferenceClock>::Share(new CFakeReferenceClock);
    /// The clock's time at the last Run.
    REFERENCE_TIME start = 0;

private:
    template <class Call>
    HRESULT Change(Call call) {
        HRESULT result = S_OK;
        for (auto filter = m_filters.rbegin(); filter != m_filters.rend(); ++filter) {
            const HRESULT changed = call(**filter);
            if (result == S_OK) {
                result = changed;
            }
        }
        return result;
    }

    std::vector<CBaseFilter*> m_filters;
    std::vector<std::pair<CBasePin*, CBasePin*>> m_links;
};

}  // namespace qrn::test
