#include "framework/CEnumMediaTypes.h"

#include "framework/CBasePin.h"

CEnumMediaTypes::CEnumMediaTypes(CBasePin* pin) : CEnumMediaTypes(pin, 0, pin->GetMediaTypeVersion()) {}

CEnumMediaTypes::CEnumMediaTypes(CBasePin* pin, int position, LONG version)
    : m_pin(pin),
      m_position(position),
      m_version(version) {
    m_pin->AddRef();
}

CEnumMediaTypes::~CEnumMediaTypes() {
    m_pin->Release();
}

HRESULT CEnumMediaTypes::QueryInterface(REFIID id, void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    if (id == IID_IUnknown || id == IID_IEnumMediaTypes) {
        return GetInterface(static_cast<IEnumMediaTypes*>(this), object);
    }
    *object = nullptr;
    return E_NOINTERFACE;
}

ULONG CEnumMediaTypes::AddRef() {
    return ++m_count;
}

ULONG CEnumMediaTypes::Release() {
    const ULONG left = --m_count;
    if (left == 0) {
        delete this;
    }
    return left;
}

HRESULT CEnumMediaTypes::Next(ULONG count, AM_MEDIA_TYPE** types, ULONG* fetched) {
    if (types == nullptr || (fetched == nullptr && count > 1)) {
        return types == nullptr ? E_POINTER : E_INVALIDARG;
    }
    CAutoLock lock(&m_lock);
    if (fetched != nullptr) {
        *fetched = 0;
    }
    if (IsOutOfSync()) {
        return VFW_E_ENUM_OUT_OF_SYNC;
    }
    ULONG given = 0;
    while (given < count) {
        CMediaType type;
        if (m_pin->GetMediaType(m_position, &type) != S_OK) {
            break;
        }
        types[given] = CreateMediaType(&type);
        if (types[given] == nullptr) {
            break;
        }
        ++m_position;
        ++given;
    }
    if (fetched != nullptr) {
        *fetched = given;
    }
    return given == count ? S_OK : S_FALSE;
}

HRESULT CEnumMediaTypes::Skip(ULONG count) {
    CAutoLock lock(&m_lock);
    if (IsOutOfSync()) {
        return VFW_E_ENUM_OUT_OF_SYNC;
    }
    for (ULONG i = 0; i < count; ++i) {
        CMediaType type;
        if (m_pin->GetMediaType(m_position, &type) != S_OK) {
            return S_FALSE;
        }
        ++m_position;
    }
    return S_OK;
}

HRESULT CEnumMediaTypes::Reset() {
    CAutoLock lock(&m_lock);
    m_position = 0;
    m_version = m_pin->GetMediaTypeVersion();
    return S_OK;
}

HRESULT CEnumMediaTypes::Clone(IEnumMediaTypes** clone) {
    if (clone == nullptr) {
        return E_POINTER;
    }
    CAutoLock lock(&m_lock);
    *clone = nullptr;
    if (IsOutOfSync()) {
        return VFW_E_ENUM_OUT_OF_SYNC;
    }
    *clone = new CEnumMediaTypes(m_pin, m_position, m_version);
    return S_OK;
}

bool CEnumMediaTypes::IsOutOfSync() const {
    return m_pin->GetMediaTypeVersion() != m_version;
}
