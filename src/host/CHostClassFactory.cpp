#include "host/CHostClassFactory.h"

#include "host/Boundary.h"

namespace qrn {

CHostClassFactory::CHostClassFactory(Create create) : CUnknown(L"host class factory", nullptr), m_create(create) {}

HRESULT CHostClassFactory::NonDelegatingQueryInterface(REFIID id, void** object) {
    if (id == IID_IClassFactory) {
        return GetInterface(static_cast<IClassFactory*>(this), object);
    }
    return CUnknown::NonDelegatingQueryInterface(id, object);
}

HRESULT CHostClassFactory::CreateInstance(IUnknown* outer, REFIID id, void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    *object = nullptr;
    // An aggregate's outer object needs the inner object's own identity and nothing else.
    if (outer != nullptr && id != IID_IUnknown) {
        return E_NOINTERFACE;
    }
    return AtBoundary([&] { return m_create(outer, id, object); });
}

HRESULT CHostClassFactory::LockServer(BOOL /*lock*/) {
    return S_OK;
}

}  // namespace qrn
