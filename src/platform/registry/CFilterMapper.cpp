#include "platform/registry/CFilterMapper.h"

#include <algorithm>
#include <utility>

#include "platform/registry/Boundary.h"
#include "platform/registry/CRegistryTransaction.h"
#include "platform/registry/FilterCategory.h"

namespace qrn {

namespace {

auto FindPin(RegisteredFilter& filter, const wchar_t* name) {
    return std::find_if(filter.pins.begin(), filter.pins.end(),
                        [name](const RegisteredPin& pin) { return pin.name == name; });
}

}  // namespace

CFilterMapper::CFilterMapper(std::shared_ptr<CRegistry> registry) : m_registry(std::move(registry)) {}

HRESULT CFilterMapper::QueryInterface(REFIID id, void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    *object = nullptr;
    if (id != IID_IUnknown && id != IID_IFilterMapper) {
        return E_NOINTERFACE;
    }
    *object = static_cast<IFilterMapper*>(this);
    AddRef();
    return S_OK;
}

ULONG CFilterMapper::AddRef() {
    return ++m_references;
}

ULONG CFilterMapper::Release() {
    const ULONG left = --m_references;
    if (left == 0) {
        delete this;
    }
    return left;
}

HRESULT CFilterMapper::RegisterFilter(CLSID filter, const wchar_t* name, DWORD merit) {
    if (name == nullptr) {
        return E_POINTER;
    }
    return AtRegistryBoundary([&] {
        return WriteCategoryEntry(*m_registry, CLSID_LegacyAmFilterCategory,
                                  {BracedText(filter), filter, name, merit, {}});
    });
}

HRESULT CFilterMapper::RegisterFilterInstance(CLSID /*filter*/, const wchar_t* /*name*/, CLSID* /*instance*/) {
    return E_NOTIMPL;
}

HRESULT CFilterMapper::RegisterPin(CLSID filter, const wchar_t* name, BOOL rendered, BOOL output, BOOL zero, BOOL many,
                                   CLSID connectsToFilter, const wchar_t* connectsToPin) {
    const AMOVIESETUP_PIN pin{name, rendered, output, zero, many, &connectsToFilter, connectsToPin, 0, nullptr};
    if (name == nullptr) {
        return E_POINTER;
    }
    return AtRegistryBoundary([&] {
        return ChangeFilter(filter, [&](RegisteredFilter& record) {
            const auto same = FindPin(record, name);
            if (same != record.pins.end()) {
                record.pins.erase(same);
            }
            record.pins.push_back(PinsOf(&pin, 1)->front());
            return ERROR_SUCCESS;
        });
    });
}

HRESULT CFilterMapper::RegisterPinType(CLSID filter, const wchar_t* pin, CLSID majorType, CLSID subType) {
    if (pin == nullptr) {
        return E_POINTER;
    }
    return AtRegistryBoundary([&] {
        return ChangeFilter(filter, [&](RegisteredFilter& record) {
            const auto found = FindPin(record, pin);
            if (found == record.pins.end()) {
                return ERROR_FILE_NOT_FOUND;
            }
            found->types.push_back({majorType, subType});
            return ERROR_SUCCESS;
        });
    });
}

HRESULT CFilterMapper::UnregisterFilter(CLSID filter) {
    return AtRegistryBoundary(
        [&] { return RemoveCategoryEntry(*m_registry, CLSID_LegacyAmFilterCategory, BracedText(filter)); });
}

HRESULT CFilterMapper::UnregisterFilterInstance(CLSID /*instance*/) {
    return E_NOTIMPL;
}

HRESULT CFilterMapper::UnregisterPin(CLSID filter, const wchar_t* name) {
    if (name == nullptr) {
        return E_POINTER;
    }
    return AtRegistryBoundary([&] {
        return ChangeFilter(filter, [&](RegisteredFilter& record) {
            const auto found = FindPin(record, name);
            if (found == record.pins.end()) {
                return ERROR_FILE_NOT_FOUND;
            }
            record.pins.erase(found);
            return ERROR_SUCCESS;
        });
    });
}

HRESULT CFilterMapper::EnumMatchingFilters(IEnumRegFilters** filters, DWORD /*merit*/, BOOL /*inputNeeded*/,
                                           CLSID /*inputMajorType*/, CLSID /*inputSubType*/, BOOL /*render*/,
                                           BOOL /*outputNeeded*/, CLSID /*outputMajorType*/, CLSID /*outputSubType*/) {
    if (filters == nullptr) {
        return E_POINTER;
    }
    *filters = nullptr;
    return E_NOTIMPL;
}

LONG CFilterMapper::ChangeFilter(REFCLSID filter, const std::function<LONG(RegisteredFilter&)>& change) {
    CRegistryTransaction transaction(*m_registry, RegistryRoot::kClassesRoot);
    RegisteredFilter record;
    LONG error = transaction.Error();
    if (error == ERROR_SUCCESS) {
        error = ReadCategoryEntry(*m_registry, CLSID_LegacyAmFilterCategory, BracedText(filter), record);
    }
    error = error == ERROR_SUCCESS ? change(record) : error;
    error = error == ERROR_SUCCESS ? WriteCategoryEntry(*m_registry, CLSID_LegacyAmFilterCategory, record) : error;
    return error == ERROR_SUCCESS ? transaction.Commit() : error;
}

}  // namespace qrn
