#include "host/HostClasses.h"

#include "framework/CMemAllocator.h"
#include "host/Boundary.h"
#include "host/CFilterGraph.h"
#include "host/CHostClassFactory.h"
#include "host/CSystemClock.h"
#include "platform/system/Clock.h"

namespace qrn {

namespace {

struct HostClass {
    CLSID id;
    CHostClassFactory::Create create;
};

CUnknown* CreateGraph(IUnknown* outer) {
    return new CFilterGraph(outer, SystemClock());
}

CUnknown* CreateClock(IUnknown* outer) {
    return new CSystemClock(outer, SystemClock());
}

CUnknown* CreateAllocator(IUnknown* outer) {
    HRESULT result = S_OK;
    return new CMemAllocator(L"memory allocator", outer, &result);
}

constexpr HostClass kClasses[] = {
    {CLSID_FilterGraph, CreateGraph},
    {CLSID_SystemClock, CreateClock},
    {CLSID_MemoryAllocator, CreateAllocator},
};

}  // namespace

HRESULT GetHostClassObject(REFCLSID classId, REFIID interfaceId, void** object) {
    for (const HostClass& row : kClasses) {
        if (row.id == classId) {
            return AtBoundary([&] {
                CUnknown* factory = new CHostClassFactory(row.create);
                factory->NonDelegatingAddRef();
                const HRESULT result = factory->NonDelegatingQueryInterface(interfaceId, object);
                factory->NonDelegatingRelease();
                return result;
            });
        }
    }
    return CLASS_E_CLASSNOTAVAILABLE;
}

}  // namespace qrn
