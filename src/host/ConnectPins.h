#pragma once

#include "qrn/filters.h"

namespace qrn {

/// Connects two pins: by what they agree on themselves, else by trying the types that the output pin offers and then
/// those of the input pin. @return the failure of the first attempt when none succeeds, since it tells most.
HRESULT ConnectPins(IPin& output, IPin& input);

}  // namespace qrn
