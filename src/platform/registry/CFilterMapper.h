#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "platform/registry/CRegistry.h"
#include "platform/registry/RegisteredFilter.h"
#include "qrn/filters.h"

namespace qrn {

/// The older filter mapper, over the same entries: those of the legacy category whose instance is the filter's class
/// id. An error e of the registry is answered as `e | 0x80070000`: 0x80070002 for a filter or pin that is not
/// registered. Any thread.
class CFilterMapper final : public IFilterMapper {
public:
    /// Made without a reference.
    explicit CFilterMapper(std::shared_ptr<CRegistry> registry);

    HRESULT QueryInterface(REFIID id, void** object) override;
    ULONG AddRef() override;
    ULONG Release() override;

    // IFilterMapper
    HRESULT RegisterFilter(CLSID filter, const wchar_t* name, DWORD merit) override;
    /// E_NOTIMPL: instances with ids of their own came out of use with the older mapper.
    HRESULT RegisterFilterInstance(CLSID filter, const wchar_t* name, CLSID* instance) override;
    HRESULT RegisterPin(CLSID filter, const wchar_t* name, BOOL rendered, BOOL output, BOOL zero, BOOL many,
                        CLSID connectsToFilter, const wchar_t* connectsToPin) override;
    HRESULT RegisterPinType(CLSID filter, const wchar_t* pin, CLSID majorType, CLSID subType) override;
    HRESULT UnregisterFilter(CLSID filter) override;
    /// E_NOTIMPL.
    HRESULT UnregisterFilterInstance(CLSID instance) override;
    HRESULT UnregisterPin(CLSID filter, const wchar_t* name) override;
    /// E_NOTIMPL. ListCategory tells what is registered.
    HRESULT EnumMatchingFilters(IEnumRegFilters** filters, DWORD merit, BOOL inputNeeded, CLSID inputMajorType,
                                CLSID inputSubType, BOOL render, BOOL outputNeeded, CLSID outputMajorType,
                                CLSID outputSubType) override;

private:
    ~CFilterMapper() = default;

    LONG ChangeFilter(REFCLSID filter, const std::function<LONG(RegisteredFilter&)>& change);

    const std::shared_ptr<CRegistry> m_registry;
    std::atomic<ULONG> m_references{0};
};

}  // namespace qrn
