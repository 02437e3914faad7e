#pragma once
/// The classes that the host has itself: filter graph, system clock, memory allocator, filter mappers.

#include "qrn/com.h"

namespace qrn {

/// The factory of one of them; CLASS_E_CLASSNOTAVAILABLE for any other class. Any thread.
HRESULT GetHostClassObject(REFCLSID classId, REFIID interfaceId, void** object);

}  // namespace qrn
