#include "framework/CEnumPins.h"

#include "framework/CBaseFilter.h"

CEnumPins::CEnumPins(CBaseFilter* filter) : CEnumPins(filter, 0, filter->GetPinVersion()) {}

CEnumPins::CEnumPins(CBaseFilter* filter, int position, LONG version)
    : m_filter(filter),
      m_position(position),
      m_version(version) {
    m_filter->AddRef();
}

CEnumPins::~CEnumPins() {
    m_filter->Release();
}

HRESULT CEnumPins::QueryInterface(REFIID id, void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    if (id == IID_IUnknown || id == IID_IEnumPins) {
        return GetInterface(static_cast<IEnumPins*>(this), object);
    }
    *object = nullptr;
    return E_NOINTERFACE;
}

ULONG CEnumPins::AddRef() {
    return ++m_count;
}

ULONG CEnumPins::Release() {
    const ULONG left = --m_count;
    if (left == 0) {
        delete this;
    }
    return left;
}

HRESULT CEnumPins::Next(ULONG count, IPin** pins, ULONG* fetched) {
    if (pins == nullptr || (fetched == nullptr && count > 1)) {
        return pins == nullptr ? E_POINTER : E_INVALIDARG;
    }
    CAutoLock lock(&m_lock);
    if (fetched != nullptr) {
        *fetched = 0;
    }
    if (IsOutOfSync()) {
        return VFW_E_ENUM_OUT_OF_SYNC;
    }
    ULONG given = 0;
    while (given < count && m_position < m_filter->GetPinCount()) {
        CBasePin* pin = m_filter->GetPin(m_position);
        if (pin == nullptr) {
            break;
        }
        ++m_position;
        pin->AddRef();
        pins[given++] = pin;
    }
    if (fetched != nullptr) {
        *fetched = given;
    }
    return given == count ? S_OK : S_FALSE;
}

HRESULT CEnumPins::Skip(ULONG count) {
    CAutoLock lock(&m_lock);
    if (IsOutOfSync()) {
        return VFW_E_ENUM_OUT_OF_SYNC;
    }
    const int left = m_filter->GetPinCount() - m_position;
    if (left < 0 || count > static_cast<ULONG>(left)) {
        return S_FALSE;
    }
    m_position += static_cast<int>(count);
    return S_OK;
}

HRESULT CEnumPins::Reset() {
    CAutoLock lock(&m_lock);
    m_position = 0;
    m_version = m_filter->GetPinVersion();
    return S_OK;
}

HRESULT CEnumPins::Clone(IEnumPins** clone) {
    if (clone == nullptr) {
        return E_POINTER;
    }
    CAutoLock lock(&m_lock);
    *clone = nullptr;
    if (IsOutOfSync()) {
        return VFW_E_ENUM_OUT_OF_SYNC;
    }
    *clone = new CEnumPins(m_filter, m_position, m_version);
    return S_OK;
}

bool CEnumPins::IsOutOfSync() const {
    return m_filter->GetPinVersion() != m_version;
}
