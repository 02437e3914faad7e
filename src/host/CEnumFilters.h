#pragma once

#include <cstddef>
#include <cstdint>

#include "framework/CUnknown.h"
#include "platform/system/Lock.h"
#include "qrn/filters.h"

namespace qrn {

class CFilterGraph;

/// Walks over the filters of a graph, which it keeps alive. Once a filter has come or gone Next, Skip and Clone answer
/// VFW_E_ENUM_OUT_OF_SYNC, until Reset begins anew. Any thread.
class CEnumFilters final : public CUnknown, public IEnumFilters {
public:
    CEnumFilters(CFilterGraph& graph, std::uint64_t version, std::size_t position);

    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override;

    // IEnumFilters
    /// @param fetched  may be null for a count of 1. S_FALSE for fewer than `count`.
    HRESULT Next(ULONG count, IBaseFilter** filters, ULONG* fetched) override;
    /// S_FALSE when the end came first.
    HRESULT Skip(ULONG count) override;
    HRESULT Reset() override;
    HRESULT Clone(IEnumFilters** clone) override;

private:
    const ComPtr<IFilterGraph> m_graphHold;
    CFilterGraph& m_graph;
    CMutex m_lock;
    std::uint64_t m_version QRN_GUARDED_BY(m_lock);
    std::size_t m_position QRN_GUARDED_BY(m_lock);
};

}  // namespace qrn
