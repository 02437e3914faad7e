#include "host/CEnumFilters.h"

#include <vector>

#include "host/Boundary.h"
#include "host/CFilterGraph.h"

namespace qrn {

CEnumFilters::CEnumFilters(CFilterGraph& graph, std::uint64_t version, std::size_t position)
    : CUnknown(L"filter enumerator", nullptr),
      m_graphHold(ComPtr<IFilterGraph>::Share(&graph)),
      m_graph(graph),
      m_version(version),
      m_position(position) {}

HRESULT CEnumFilters::NonDelegatingQueryInterface(REFIID id, void** object) {
    if (id == IID_IEnumFilters) {
        return GetInterface(static_cast<IEnumFilters*>(this), object);
    }
    return CUnknown::NonDelegatingQueryInterface(id, object);
}

HRESULT CEnumFilters::Next(ULONG count, IBaseFilter** filters, ULONG* fetched) {
    if (filters == nullptr) {
        return E_POINTER;
    }
    if (fetched == nullptr && count != 1) {
        return E_INVALIDARG;
    }
    return AtBoundary([&]() -> HRESULT {
        CScopedLock lock(m_lock);
        std::vector<ComPtr<IBaseFilter>> slice;
        const bool isInSync = m_graph.Filters().Slice(m_version, m_position, count, slice);
        if (fetched != nullptr) {
            *fetched = static_cast<ULONG>(slice.size());
        }
        if (!isInSync) {
            return VFW_E_ENUM_OUT_OF_SYNC;
        }
        for (std::size_t at = 0; at < slice.size(); ++at) {
            filters[at] = slice[at].Detach();
        }
        m_position += slice.size();
        return slice.size() == count ? S_OK : S_FALSE;
    });
}

HRESULT CEnumFilters::Skip(ULONG count) {
    return AtBoundary([&]() -> HRESULT {
        CScopedLock lock(m_lock);
        std::vector<ComPtr<IBaseFilter>> slice;
        if (!m_graph.Filters().Slice(m_version, m_position, count, slice)) {
            return VFW_E_ENUM_OUT_OF_SYNC;
        }
        m_position += slice.size();
        return slice.size() == count ? S_OK : S_FALSE;
    });
}

HRESULT CEnumFilters::Reset() {
    CScopedLock lock(m_lock);
    m_version = m_graph.Filters().Version();
    m_position = 0;
    return S_OK;
}

HRESULT CEnumFilters::Clone(IEnumFilters** clone) {
    if (clone == nullptr) {
        return E_POINTER;
    }
    *clone = nullptr;
    return AtBoundary([&]() -> HRESULT {
        CScopedLock lock(m_lock);
        if (m_version != m_graph.Filters().Version()) {
            return VFW_E_ENUM_OUT_OF_SYNC;
        }
        ComPtr<IEnumFilters>::Share(new CEnumFilters(m_graph, m_version, m_position)).CopyTo(clone);
        return S_OK;
    });
}

}  // namespace qrn
