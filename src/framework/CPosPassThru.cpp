#include "framework/CPosPassThru.h"

namespace {

/// The operation of the pin that `pin` is connected to.
template <class Interface, class... Parameters, class... Arguments>
HRESULT AskUpstream(IPin* pin, HRESULT (Interface::*operation)(Parameters...), Arguments... arguments) {
    qrn::ComPtr<IPin> connected;
    if (FAILED(pin->ConnectedTo(connected.Put()))) {
        return E_NOTIMPL;
    }
    const qrn::ComPtr<Interface> upstream = connected.As<Interface>();
    return upstream ? (upstream.Get()->*operation)(arguments...) : E_NOTIMPL;
}

}  // namespace

CPosPassThru::CPosPassThru(const wchar_t* name, IUnknown* outer, IPin* pin)
    : CMediaPosition(name, outer),
      m_pPin(pin) {}

HRESULT CPosPassThru::NonDelegatingQueryInterface(REFIID id, void** object) {
    if (id == IID_IMediaSeeking) {
        return GetInterface(static_cast<IMediaSeeking*>(this), object);
    }
    return CMediaPosition::NonDelegatingQueryInterface(id, object);
}

HRESULT CPosPassThru::GetMediaTime(LONGLONG* /*start*/, LONGLONG* /*end*/) {
    return E_FAIL;
}

// ---------------------------------------------------------------------------------------------------------------------
// IMediaSeeking

HRESULT CPosPassThru::GetCapabilities(DWORD* capabilities) {
    return AskUpstream(m_pPin, &IMediaSeeking::GetCapabilities, capabilities);
}

HRESULT CPosPassThru::CheckCapabilities(DWORD* capabilities) {
    return AskUpstream(m_pPin, &IMediaSeeking::CheckCapabilities, capabilities);
}

HRESULT CPosPassThru::IsFormatSupported(const GUID* format) {
    return AskUpstream(m_pPin, &IMediaSeeking::IsFormatSupported, format);
}

HRESULT CPosPassThru::QueryPreferredFormat(GUID* format) {
    return AskUpstream(m_pPin, &IMediaSeeking::QueryPreferredFormat, format);
}

HRESULT CPosPassThru::GetTimeFormat(GUID* format) {
    return AskUpstream(m_pPin, &IMediaSeeking::GetTimeFormat, format);
}

HRESULT CPosPassThru::IsUsingTimeFormat(const GUID* format) {
    return AskUpstream(m_pPin, &IMediaSeeking::IsUsingTimeFormat, format);
}

HRESULT CPosPassThru::SetTimeFormat(const GUID* format) {
    return AskUpstream(m_pPin, &IMediaSeeking::SetTimeFormat, format);
}

HRESULT CPosPassThru::GetDuration(LONGLONG* duration) {
    return AskUpstream(m_pPin, &IMediaSeeking::GetDuration, duration);
}

HRESULT CPosPassThru::GetStopPosition(LONGLONG* stop) {
    return AskUpstream(m_pPin, &IMediaSeeking::GetStopPosition, stop);
}

HRESULT CPosPassThru::GetCurrentPosition(LONGLONG* current) {
    if (current == nullptr) {
        return E_POINTER;
    }
    return SUCCEEDED(GetMediaTime(current, nullptr)) ? S_OK
                                                     : AskUpstream(m_pPin, &IMediaSeeking::GetCurrentPosition, current);
}

HRESULT CPosPassThru::ConvertTimeFormat(LONGLONG* target, const GUID* targetFormat, LONGLONG source,
                                        const GUID* sourceFormat) {
    return AskUpstream(m_pPin, &IMediaSeeking::ConvertTimeFormat, target, targetFormat, source, sourceFormat);
}

HRESULT CPosPassThru::SetPositions(LONGLONG* current, DWORD currentFlags, LONGLONG* stop, DWORD stopFlags) {
    return AskUpstream(m_pPin, &IMediaSeeking::SetPositions, current, currentFlags, stop, stopFlags);
}

HRESULT CPosPassThru::GetPositions(LONGLONG* current, LONGLONG* stop) {
    return AskUpstream(m_pPin, &IMediaSeeking::GetPositions, current, stop);
}

HRESULT CPosPassThru::GetAvailable(LONGLONG* earliest, LONGLONG* latest) {
    return AskUpstream(m_pPin, &IMediaSeeking::GetAvailable, earliest, latest);
}

HRESULT CPosPassThru::SetRate(double rate) {
    return AskUpstream(m_pPin, &IMediaSeeking::SetRate, rate);
}

HRESULT CPosPassThru::GetRate(double* rate) {
    return AskUpstream(m_pPin, &IMediaSeeking::GetRate, rate);
}

HRESULT CPosPassThru::GetPreroll(LONGLONG* preroll) {
    return AskUpstream(m_pPin, &IMediaSeeking::GetPreroll, preroll);
}

// ---------------------------------------------------------------------------------------------------------------------
// IMediaPosition

HRESULT CPosPassThru::get_Duration(REFTIME* duration) {
    return AskUpstream(m_pPin, &IMediaPosition::get_Duration, duration);
}

HRESULT CPosPassThru::put_CurrentPosition(REFTIME current) {
    return AskUpstream(m_pPin, &IMediaPosition::put_CurrentPosition, current);
}

HRESULT CPosPassThru::get_CurrentPosition(REFTIME* current) {
    return AskUpstream(m_pPin, &IMediaPosition::get_CurrentPosition, current);
}

HRESULT CPosPassThru::get_StopTime(REFTIME* stop) {
    return AskUpstream(m_pPin, &IMediaPosition::get_StopTime, stop);
}

HRESULT CPosPassThru::put_StopTime(REFTIME stop) {
    return AskUpstream(m_pPin, &IMediaPosition::put_StopTime, stop);
}

HRESULT CPosPassThru::get_PrerollTime(REFTIME* preroll) {
    return AskUpstream(m_pPin, &IMediaPosition::get_PrerollTime, preroll);
}

HRESULT CPosPassThru::put_PrerollTime(REFTIME preroll) {
    return AskUpstream(m_pPin, &IMediaPosition::put_PrerollTime, preroll);
}

HRESULT CPosPassThru::put_Rate(double rate) {
    return AskUpstream(m_pPin, &IMediaPosition::put_Rate, rate);
}

HRESULT CPosPassThru::get_Rate(double* rate) {
    return AskUpstream(m_pPin, &IMediaPosition::get_Rate, rate);
}

HRESULT CPosPassThru::CanSeekForward(LONG* can) {
    return AskUpstream(m_pPin, &IMediaPosition::CanSeekForward, can);
}

HRESULT CPosPassThru::CanSeekBackward(LONG* can) {
    return AskUpstream(m_pPin, &IMediaPosition::CanSeekBackward, can);
}
