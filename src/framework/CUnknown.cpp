#include "framework/CUnknown.h"

CUnknown::CUnknown(const wchar_t* name, IUnknown* outer)
    : CBaseObject(name),
      m_inner(*this),
      m_owner(outer != nullptr ? outer : &m_inner) {}

CUnknown::~CUnknown() = default;

HRESULT CUnknown::NonDelegatingQueryInterface(REFIID id, void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    if (id == IID_IUnknown) {
        return GetInterface(static_cast<IUnknown*>(&m_inner), object);
    }
    *object = nullptr;
    return E_NOINTERFACE;
}

ULONG CUnknown::NonDelegatingAddRef() {
    return ++m_count;
}

ULONG CUnknown::NonDelegatingRelease() {
    const ULONG left = --m_count;
    if (left == 0) {
        // What runs from here on may take and give back references, which must not end the object a second time.
        ++m_count;
        FinalRelease();
        delete this;
    }
    return left;
}
