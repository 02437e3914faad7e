#include "host/HostClasses.h"

#include <memory>

#include "framework/CMemAllocator.h"
#include "host/Boundary.h"
#include "host/CFilterGraph.h"
#include "host/CHostClassFactory.h"
#include "host/CSystemClock.h"
#include "platform/registry/CRegistry.h"
#include "platform/registry/FilterMappers.h"
#include "platform/system/Clock.h"
#include "qrn/filters.h"

namespace qrn {

namespace {

struct HostClass {
    CLSID id;
    CHostClassFactory::Create create;
};

/// Takes a new object, without a reference of its own, to the interface that is wanted.
HRESULT Give(CUnknown* created, REFIID id, void** object) {
    created->NonDelegatingAddRef();
    const HRESULT result = created->NonDelegatingQueryInterface(id, object);
    created->NonDelegatingRelease();
    return result;
}

HRESULT CreateGraph(IUnknown* outer, REFIID id, void** object) {
    return Give(new CFilterGraph(outer, SystemClock()), id, object);
}

HRESULT CreateClock(IUnknown* outer, REFIID id, void** object) {
    return Give(new CSystemClock(outer, SystemClock()), id, object);
}

HRESULT CreateAllocator(IUnknown* outer, REFIID id, void** object) {
    HRESULT result = S_OK;
    return Give(new CMemAllocator(L"memory allocator", outer, &result), id, object);
}

template <const CLSID& classId>
HRESULT CreateMapper(IUnknown* outer, REFIID id, void** object) {
    if (outer != nullptr) {
        return CLASS_E_NOAGGREGATION;
    }
    return CreateFilterMapper(std::make_shared<CRegistry>(), classId, id, object);
}

constexpr HostClass kClasses[] = {
    {CLSID_FilterGraph, CreateGraph},
    {CLSID_SystemClock, CreateClock},
    {CLSID_MemoryAllocator, CreateAllocator},
    {CLSID_FilterMapper2, CreateMapper<CLSID_FilterMapper2>},
    {CLSID_FilterMapper, CreateMapper<CLSID_FilterMapper>},
};

}  // namespace

HRESULT GetHostClassObject(REFCLSID classId, REFIID interfaceId, void** object) {
    for (const HostClass& row : kClasses) {
        if (row.id == classId) {
            return AtBoundary([&] { return Give(new CHostClassFactory(row.create), interfaceId, object); });
        }
    }
    return CLASS_E_CLASSNOTAVAILABLE;
}

}  // namespace qrn
