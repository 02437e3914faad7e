#pragma once
/// Activation by class id: the host's own classes, then the module's.

#include "qrn/com.h"

namespace qrn {

class CModuleHolder;

/// As CoGetClassObject and CoCreateInstance (qrn/host.h), with the module that `holder` holds. Any thread.
HRESULT GetClassObject(CModuleHolder& holder, REFCLSID classId, DWORD context, REFIID interfaceId, void** object);
HRESULT CreateObject(CModuleHolder& holder, REFCLSID classId, IUnknown* outer, DWORD context, REFIID interfaceId,
                     void** object);

}  // namespace qrn
