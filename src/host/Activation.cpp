#include "host/Activation.h"

#include "host/Boundary.h"
#include "host/CModuleHolder.h"
#include "host/HostClasses.h"
#include "qrn/host.h"

namespace qrn {

HRESULT GetClassObject(CModuleHolder& holder, REFCLSID classId, DWORD context, REFIID interfaceId, void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    *object = nullptr;
    if ((context & CLSCTX_INPROC_SERVER) == 0) {
        return REGDB_E_CLASSNOTREG;  // nothing here lives in a process of its own
    }
    HRESULT result = GetHostClassObject(classId, interfaceId, object);
    if (result == CLASS_E_CLASSNOTAVAILABLE) {
        result = AtBoundary([&] { return holder.GetClassObject(classId, interfaceId, object); });
    }
    return result == CLASS_E_CLASSNOTAVAILABLE ? REGDB_E_CLASSNOTREG : result;
}

HRESULT CreateObject(CModuleHolder& holder, REFCLSID classId, IUnknown* outer, DWORD context, REFIID interfaceId,
                     void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    *object = nullptr;
    // The factory counts as an object of the module and so keeps it loaded during the call.
    ComPtr<IClassFactory> factory;
    const HRESULT result = GetClassObject(holder, classId, context, IID_IClassFactory, factory.PutVoid());
    if (FAILED(result)) {
        return result;
    }
    return factory ? factory->CreateInstance(outer, interfaceId, object) : E_UNEXPECTED;
}

}  // namespace qrn
