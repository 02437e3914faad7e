#include "framework/CBasePin.h"

#include <algorithm>
#include <cwchar>
#include <utility>

#include "framework/Boundary.h"
#include "framework/CBaseFilter.h"
#include "framework/CEnumMediaTypes.h"
#include "platform/com/TaskMemory.h"

CBasePin::CBasePin(const wchar_t* objectName, CBaseFilter* filter, CCritSec* lock, HRESULT* /*result*/,
                   const wchar_t* name, PIN_DIRECTION direction)
    : CUnknown(objectName, nullptr),
      m_pFilter(filter),
      m_pLock(lock),
      m_dir(direction),
      m_name(name != nullptr ? name : L"") {}

CBasePin::~CBasePin() = default;

HRESULT CBasePin::NonDelegatingQueryInterface(REFIID id, void** object) {
    if (id == IID_IPin) {
        return GetInterface(static_cast<IPin*>(this), object);
    }
    if (id == IID_IQualityControl) {
        return GetInterface(static_cast<IQualityControl*>(this), object);
    }
    if (id == IID_IQRN_PinStatistics) {
        return GetInterface(static_cast<IQRN_PinStatistics*>(this), object);
    }
    return CUnknown::NonDelegatingQueryInterface(id, object);
}

ULONG CBasePin::NonDelegatingAddRef() {
    return static_cast<IBaseFilter*>(m_pFilter)->AddRef();
}

ULONG CBasePin::NonDelegatingRelease() {
    return static_cast<IBaseFilter*>(m_pFilter)->Release();
}

bool CBasePin::IsStopped() const {
    return m_pFilter->IsStopped();
}

// ---------------------------------------------------------------------------------------------------------------------
// Connection

HRESULT CBasePin::Connect(IPin* receivePin, const AM_MEDIA_TYPE* type) {
    if (receivePin == nullptr) {
        return E_POINTER;
    }
    CAutoLock lock(m_pLock);
    if (m_Connected) {
        return VFW_E_ALREADY_CONNECTED;
    }
    if (!IsStopped() && !m_bCanReconnectWhenActive) {
        return VFW_E_NOT_STOPPED;
    }
    HRESULT result = qrn::AnswerFor([&] { return CheckConnect(receivePin); });
    if (SUCCEEDED(result)) {
        result = AgreeMediaType(receivePin, type != nullptr ? CMediaType(*type) : CMediaType());
    }
    if (FAILED(result)) {
        BreakConnect();
    }
    return result;
}

HRESULT CBasePin::AgreeMediaType(IPin* receivePin, const CMediaType& wanted) {
    if (!wanted.IsPartiallySpecified()) {
        return AttemptConnection(receivePin, wanted);
    }
    HRESULT result = VFW_E_NO_ACCEPTABLE_TYPES;
    for (const bool mine : {m_bTryMyTypesFirst, !m_bTryMyTypesFirst}) {
        qrn::ComPtr<IEnumMediaTypes> types;
        const HRESULT listed = mine ? EnumMediaTypes(types.Put()) : receivePin->EnumMediaTypes(types.Put());
        if (FAILED(listed) || !types) {
            continue;
        }
        const HRESULT tried = TryMediaTypes(receivePin, wanted, types.Get());
        if (SUCCEEDED(tried)) {
            return tried;
        }
        if (tried != VFW_E_NO_ACCEPTABLE_TYPES && result == VFW_E_NO_ACCEPTABLE_TYPES) {
            result = tried;
        }
    }
    return result;
}

HRESULT CBasePin::TryMediaTypes(IPin* receivePin, const CMediaType& wanted, IEnumMediaTypes* types) {
    types->Reset();
    HRESULT failure = VFW_E_NO_ACCEPTABLE_TYPES;
    for (;;) {
        AM_MEDIA_TYPE* record = nullptr;
        ULONG fetched = 0;
        if (types->Next(1, &record, &fetched) != S_OK || record == nullptr) {
            return failure;
        }
        const CMediaType type(*record);
        DeleteMediaType(record);
        if (!type.MatchesPartial(&wanted)) {
            continue;
        }
        const HRESULT result = AttemptConnection(receivePin, type);
        if (SUCCEEDED(result)) {
            return result;
        }
        // The first failure that says more than "not this type" is the one that helps.
        if (failure == VFW_E_NO_ACCEPTABLE_TYPES && result != E_FAIL && result != E_INVALIDARG &&
            result != VFW_E_TYPE_NOT_ACCEPTED) {
            failure = result;
        }
    }
}

HRESULT CBasePin::AttemptConnection(IPin* receivePin, const CMediaType& type) {
    HRESULT result = TakeUpConnection(receivePin, type);
    if (FAILED(result)) {
        return result;
    }
    result = receivePin->ReceiveConnection(this, &type);
    if (SUCCEEDED(result)) {
        result = qrn::AnswerFor([&] { return CompleteConnect(receivePin); });
        if (SUCCEEDED(result)) {
            return S_OK;
        }
        receivePin->Disconnect();
    }
    AbandonConnection();
    return result;
}

/// This pin's half: checks the other pin and the type, and takes both over. A failure leaves the pin unconnected.
HRESULT CBasePin::TakeUpConnection(IPin* other, const CMediaType& type) {
    HRESULT result = qrn::AnswerFor([&] { return CheckConnect(other); });
    if (FAILED(result)) {
        BreakConnect();
        return result;
    }
    result = qrn::AnswerFor([&] { return CheckMediaType(&type); });
    if (result != S_OK) {
        BreakConnect();
        const bool plain = SUCCEEDED(result) || result == E_FAIL || result == E_INVALIDARG;
        return plain ? VFW_E_TYPE_NOT_ACCEPTED : result;
    }
    SetConnected(qrn::ComPtr<IPin>::Share(other));
    result = qrn::AnswerFor([&] { return SetMediaType(&type); });
    if (FAILED(result)) {
        AbandonConnection();
    }
    return result;
}

void CBasePin::AbandonConnection() {
    BreakConnect();
    SetConnected(nullptr);
}

void CBasePin::SetConnected(qrn::ComPtr<IPin> pin) {
    qrn::CScopedLock look(m_lookLock);
    std::swap(m_Connected, pin);
    // The old one goes with the parameter, after the lock: its release may do anything.
}

HRESULT CBasePin::ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) {
    if (connector == nullptr || type == nullptr) {
        return E_POINTER;
    }
    CAutoLock lock(m_pLock);
    if (m_Connected) {
        return VFW_E_ALREADY_CONNECTED;
    }
    if (!IsStopped() && !m_bCanReconnectWhenActive) {
        return VFW_E_NOT_STOPPED;
    }
    HRESULT result = TakeUpConnection(connector, CMediaType(*type));
    if (FAILED(result)) {
        return result;
    }
    result = qrn::AnswerFor([&] { return CompleteConnect(connector); });
    if (FAILED(result)) {
        AbandonConnection();
        return result;
    }
    return S_OK;
}

HRESULT CBasePin::Disconnect() {
    CAutoLock lock(m_pLock);
    if (!IsStopped() && !m_bCanReconnectWhenActive) {
        return VFW_E_NOT_STOPPED;
    }
    return DisconnectInternal();
}

HRESULT CBasePin::DisconnectInternal() {
    if (!m_Connected) {
        return S_FALSE;
    }
    const HRESULT result = BreakConnect();
    if (FAILED(result)) {
        return result;
    }
    SetConnected(nullptr);
    return S_OK;
}

HRESULT CBasePin::ConnectedTo(IPin** pin) {
    if (pin == nullptr) {
        return E_POINTER;
    }
    // Without the filter's lock: a streaming thread may ask while a state change that holds it waits for that thread.
    qrn::CScopedLock look(m_lookLock);
    m_Connected.CopyTo(pin);
    return m_Connected ? S_OK : VFW_E_NOT_CONNECTED;
}

HRESULT CBasePin::ConnectionMediaType(AM_MEDIA_TYPE* type) {
    if (type == nullptr) {
        return E_POINTER;
    }
    qrn::CScopedLock look(m_lookLock);
    if (!m_Connected) {
        *type = AM_MEDIA_TYPE{};
        return VFW_E_NOT_CONNECTED;
    }
    return CopyMediaType(type, &m_mt);
}

HRESULT CBasePin::QueryPinInfo(PIN_INFO* info) {
    if (info == nullptr) {
        return E_POINTER;
    }
    info->pFilter = m_pFilter;
    static_cast<IBaseFilter*>(m_pFilter)->AddRef();
    info->dir = m_dir;
    const std::size_t length = std::min(m_name.size(), MAX_PIN_NAME - 1);
    std::wmemcpy(info->achName, m_name.data(), length);
    info->achName[length] = L'\0';
    return S_OK;
}

HRESULT CBasePin::QueryDirection(PIN_DIRECTION* direction) {
    if (direction == nullptr) {
        return E_POINTER;
    }
    *direction = m_dir;
    return S_OK;
}

HRESULT CBasePin::QueryId(wchar_t** id) {
    if (id == nullptr) {
        return E_POINTER;
    }
    *id = qrn::CopyToTaskMemory(m_name);
    return *id != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT CBasePin::QueryAccept(const AM_MEDIA_TYPE* type) {
    if (type == nullptr) {
        return E_POINTER;
    }
    const CMediaType proposed(*type);
    const HRESULT result = qrn::AnswerFor([&] { return CheckMediaType(&proposed); });
    return FAILED(result) ? S_FALSE : S_OK;
}

HRESULT CBasePin::EnumMediaTypes(IEnumMediaTypes** types) {
    if (types == nullptr) {
        return E_POINTER;
    }
    return CEnumMediaTypes::Create(this, types);
}

HRESULT CBasePin::QueryInternalConnections(IPin** /*pins*/, ULONG* /*count*/) {
    return E_NOTIMPL;
}

// ---------------------------------------------------------------------------------------------------------------------
// Hooks and streaming

HRESULT CBasePin::EndOfStream() {
    return S_OK;
}

HRESULT CBasePin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
    m_tStart = start;
    m_tStop = stop;
    m_dRate = rate;
    return S_OK;
}

HRESULT CBasePin::Notify(IBaseFilter* /*self*/, Quality /*quality*/) {
    return E_FAIL;
}

HRESULT CBasePin::SetSink(IQualityControl* sink) {
    CAutoLock lock(m_pLock);
    m_pQSink = sink;
    return S_OK;
}

HRESULT CBasePin::GetPinStatistics(QRN_PIN_STATISTICS* statistics) {
    if (statistics == nullptr) {
        return E_POINTER;
    }
    m_counters.Read(*statistics);
    return S_OK;
}

HRESULT CBasePin::GetMediaType(int /*position*/, CMediaType* /*type*/) {
    return E_UNEXPECTED;
}

HRESULT CBasePin::SetMediaType(const CMediaType* type) {
    // In the stream too, where a sample brings another type.
    qrn::CScopedLock look(m_lookLock);
    return m_mt.Set(*type);
}

HRESULT CBasePin::CheckConnect(IPin* pin) {
    PIN_DIRECTION direction = PINDIR_INPUT;
    const HRESULT result = pin->QueryDirection(&direction);
    if (FAILED(result)) {
        return result;
    }
    return direction == m_dir ? VFW_E_INVALID_DIRECTION : S_OK;
}

HRESULT CBasePin::BreakConnect() {
    return S_OK;
}

HRESULT CBasePin::CompleteConnect(IPin* /*receivePin*/) {
    return S_OK;
}

HRESULT CBasePin::Active() {
    return S_OK;
}

HRESULT CBasePin::Inactive() {
    m_bRunTimeError = false;
    return S_OK;
}

HRESULT CBasePin::Run(REFERENCE_TIME /*start*/) {
    return S_OK;
}
