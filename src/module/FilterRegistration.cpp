#include "module/FilterRegistration.h"

#include <span>

#include "platform/registry/RegistryErrors.h"

namespace {

HRESULT ForgiveNotFound(HRESULT result) {
    return result == qrn::ResultOf(ERROR_FILE_NOT_FOUND) ? S_OK : result;
}

CLSID ClassOf(const CLSID* classId) {
    return classId != nullptr ? *classId : GUID_NULL;
}

HRESULT RegisterPin(IFilterMapper& mapper, REFCLSID filter, const AMOVIESETUP_PIN& pin) {
    HRESULT result = mapper.RegisterPin(filter, pin.strName, pin.bRendered, pin.bOutput, pin.bZero, pin.bMany,
                                        ClassOf(pin.clsConnectsToFilter), pin.strConnectsToPin);
    for (const AMOVIESETUP_MEDIATYPE& type : std::span(pin.lpMediaType, pin.nMediaTypes)) {
        if (FAILED(result)) {
            break;
        }
        result = mapper.RegisterPinType(filter, pin.strName, ClassOf(type.clsMajorType), ClassOf(type.clsMinorType));
    }
    return result;
}

}  // namespace

HRESULT ChangeFilter(IFilterMapper2& mapper, const AMOVIESETUP_FILTER& setup, bool isRegistered) {
    const HRESULT result = ForgiveNotFound(mapper.UnregisterFilter(nullptr, nullptr, *setup.clsID));
    if (FAILED(result) || !isRegistered) {
        return result;
    }
    const REGFILTER2 record{1, setup.dwMerit, setup.nPins, setup.lpPin};
    return ForgiveNotFound(mapper.RegisterFilter(*setup.clsID, setup.strName, nullptr, nullptr, nullptr, &record));
}

HRESULT ChangeFilter(IFilterMapper& mapper, const AMOVIESETUP_FILTER& setup, bool isRegistered) {
    HRESULT result = ForgiveNotFound(mapper.UnregisterFilter(*setup.clsID));
    if (FAILED(result) || !isRegistered) {
        return result;
    }
    result = mapper.RegisterFilter(*setup.clsID, setup.strName, setup.dwMerit);
    for (const AMOVIESETUP_PIN& pin : std::span(setup.lpPin, setup.nPins)) {
        if (FAILED(result)) {
            break;
        }
        result = RegisterPin(mapper, *setup.clsID, pin);
    }
    return ForgiveNotFound(result);
}
