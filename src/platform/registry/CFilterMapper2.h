#pragma once

#include <atomic>
#include <memory>

#include "platform/registry/CRegistry.h"
#include "qrn/filters.h"

namespace qrn {

/// The filter mapper over the registry. Each call is one transaction, or a part of the one that the registry is in. An
/// error e of the registry is answered as `e | 0x80070000`. Any thread.
class CFilterMapper2 final : public IFilterMapper2 {
public:
    /// Made without a reference.
    explicit CFilterMapper2(std::shared_ptr<CRegistry> registry);

    HRESULT QueryInterface(REFIID id, void** object) override;
    ULONG AddRef() override;
    ULONG Release() override;

    // IFilterMapper2
    HRESULT CreateCategory(REFCLSID category, DWORD merit, const wchar_t* description) override;
    HRESULT UnregisterFilter(const CLSID* category, const wchar_t* instance, REFCLSID filter) override;
    /// E_INVALIDARG for a record of another version than 1, E_NOTIMPL for a moniker.
    HRESULT RegisterFilter(REFCLSID filter, const wchar_t* name, IMoniker** moniker, const CLSID* category,
                           const wchar_t* instance, const REGFILTER2* record) override;
    /// E_NOTIMPL: there are no monikers here. ListCategory tells what is registered.
    HRESULT EnumMatchingFilters(IEnumMoniker** filters, DWORD flags, BOOL exactMatch, DWORD merit, BOOL inputNeeded,
                                DWORD inputTypeCount, const GUID* inputTypes, const REGPINMEDIUM* inputMedium,
                                const CLSID* inputPinCategory, BOOL render, BOOL outputNeeded, DWORD outputTypeCount,
                                const GUID* outputTypes, const REGPINMEDIUM* outputMedium,
                                const CLSID* outputPinCategory) override;

private:
    ~CFilterMapper2() = default;

    const std::shared_ptr<CRegistry> m_registry;
    std::atomic<ULONG> m_references{0};
};

}  // namespace qrn
