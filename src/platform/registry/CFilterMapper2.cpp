#include "platform/registry/CFilterMapper2.h"

#include <utility>

#include "platform/registry/Boundary.h"
#include "platform/registry/FilterCategory.h"

namespace qrn {

namespace {

REFCLSID CategoryOf(const CLSID* category) {
    return category != nullptr ? *category : CLSID_LegacyAmFilterCategory;
}

std::wstring InstanceOf(const wchar_t* instance, REFCLSID filter) {
    return instance != nullptr ? instance : BracedText(filter);
}

}  // namespace

CFilterMapper2::CFilterMapper2(std::shared_ptr<CRegistry> registry) : m_registry(std::move(registry)) {}

HRESULT CFilterMapper2::QueryInterface(REFIID id, void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    *object = nullptr;
    if (id != IID_IUnknown && id != IID_IFilterMapper2) {
        return E_NOINTERFACE;
    }
    *object = static_cast<IFilterMapper2*>(this);
    AddRef();
    return S_OK;
}

ULONG CFilterMapper2::AddRef() {
    return ++m_references;
}

ULONG CFilterMapper2::Release() {
    const ULONG left = --m_references;
    if (left == 0) {
        delete this;
    }
    return left;
}

HRESULT CFilterMapper2::CreateCategory(REFCLSID category, DWORD merit, const wchar_t* description) {
    if (description == nullptr) {
        return E_POINTER;
    }
    return AtRegistryBoundary([&] { return WriteCategory(*m_registry, category, merit, description); });
}

HRESULT CFilterMapper2::UnregisterFilter(const CLSID* category, const wchar_t* instance, REFCLSID filter) {
    return AtRegistryBoundary(
        [&] { return RemoveCategoryEntry(*m_registry, CategoryOf(category), InstanceOf(instance, filter)); });
}

HRESULT CFilterMapper2::RegisterFilter(REFCLSID filter, const wchar_t* name, IMoniker** moniker, const CLSID* category,
                                       const wchar_t* instance, const REGFILTER2* record) {
    if (name == nullptr || record == nullptr) {
        return E_POINTER;
    }
    if (moniker != nullptr && *moniker != nullptr) {
        return E_NOTIMPL;
    }
    if (record->dwVersion != 1) {
        return E_INVALIDARG;
    }
    return AtRegistryBoundary([&] {
        std::optional<std::vector<RegisteredPin>> pins = PinsOf(record->rgPins, record->cPins);
        if (!pins) {
            return ERROR_INVALID_PARAMETER;
        }
        return WriteCategoryEntry(*m_registry, CategoryOf(category),
                                  {InstanceOf(instance, filter), filter, name, record->dwMerit, *std::move(pins)});
    });
}

HRESULT CFilterMapper2::EnumMatchingFilters(IEnumMoniker** filters, DWORD /*flags*/, BOOL /*exactMatch*/,
                                            DWORD /*merit*/, BOOL /*inputNeeded*/, DWORD /*inputTypeCount*/,
                                            const GUID* /*inputTypes*/, const REGPINMEDIUM* /*inputMedium*/,
                                            const CLSID* /*inputPinCategory*/, BOOL /*render*/, BOOL /*outputNeeded*/,
                                            DWORD /*outputTypeCount*/, const GUID* /*outputTypes*/,
                                            const REGPINMEDIUM* /*outputMedium*/, const CLSID* /*outputPinCategory*/) {
    if (filters == nullptr) {
        return E_POINTER;
    }
    *filters = nullptr;
    return E_NOTIMPL;
}

}  // namespace qrn
