#pragma once
/// What the filter at the other end of a connection can do.

#include "qrn/com.h"
#include "qrn/filters.h"

namespace qrn {

/// The pin's filter through one of its interfaces; null when it has none of that id.
template <class Interface>
ComPtr<Interface> FilterOfPin(IPin* pin) {
    PIN_INFO info{};
    if (pin == nullptr || FAILED(pin->QueryPinInfo(&info))) {
        return nullptr;
    }
    return ComPtr<IBaseFilter>::Adopt(info.pFilter).template As<Interface>();
}

}  // namespace qrn
