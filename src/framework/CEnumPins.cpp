#include "framework/CEnumPins.h"

#include "framework/CBaseFilter.h"

LONG PinWalk::Version(const CBaseFilter& filter) {
    return filter.GetPinVersion();
}

HRESULT PinWalk::Get(CBaseFilter& filter, int position, IPin** pin) {
    if (position >= filter.GetPinCount()) {
        return S_FALSE;
    }
    *pin = filter.GetPin(position);
    if (*pin == nullptr) {
        return E_OUTOFMEMORY;
    }
    (*pin)->AddRef();
    return S_OK;
}
