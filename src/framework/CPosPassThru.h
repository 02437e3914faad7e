#pragma once
/// Questions about the position, passed upstream.

#include "framework/CMediaPosition.h"
#include "qrn/pins.h"
#include "qrn/position.h"

/// Hands every operation to the pin that `pin` is connected to. E_NOTIMPL when it is connected to none, or to one that
/// does not know. Any thread, but not the streaming thread: whoever answers may hold its locks while it waits for that.
class CPosPassThru : public CMediaPosition, public IMediaSeeking {
public:
    DECLARE_IUNKNOWN

    /// @param pin  the input pin of the same filter, not counted: it lives as long as this.
    CPosPassThru(const wchar_t* name, IUnknown* outer, IPin* pin);

    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override;

    /// What is being rendered, in the time format that is set; `end` may be null. E_FAIL when it is not known here.
    virtual HRESULT GetMediaTime(LONGLONG* start, LONGLONG* end);

    // IMediaSeeking
    HRESULT GetCapabilities(DWORD* capabilities) override;
    HRESULT CheckCapabilities(DWORD* capabilities) override;
    HRESULT IsFormatSupported(const GUID* format) override;
    HRESULT QueryPreferredFormat(GUID* format) override;
    HRESULT GetTimeFormat(GUID* format) override;
    HRESULT IsUsingTimeFormat(const GUID* format) override;
    HRESULT SetTimeFormat(const GUID* format) override;
    HRESULT GetDuration(LONGLONG* duration) override;
    HRESULT GetStopPosition(LONGLONG* stop) override;
    /// GetMediaTime, where that knows it.
    HRESULT GetCurrentPosition(LONGLONG* current) override;
    HRESULT ConvertTimeFormat(LONGLONG* target, const GUID* targetFormat, LONGLONG source,
                              const GUID* sourceFormat) override;
    HRESULT SetPositions(LONGLONG* current, DWORD currentFlags, LONGLONG* stop, DWORD stopFlags) override;
    HRESULT GetPositions(LONGLONG* current, LONGLONG* stop) override;
    HRESULT GetAvailable(LONGLONG* earliest, LONGLONG* latest) override;
    HRESULT SetRate(double rate) override;
    HRESULT GetRate(double* rate) override;
    HRESULT GetPreroll(LONGLONG* preroll) override;

    // IMediaPosition
    HRESULT get_Duration(REFTIME* duration) override;
    HRESULT put_CurrentPosition(REFTIME current) override;
    HRESULT get_CurrentPosition(REFTIME* current) override;
    HRESULT get_StopTime(REFTIME* stop) override;
    HRESULT put_StopTime(REFTIME stop) override;
    HRESULT get_PrerollTime(REFTIME* preroll) override;
    HRESULT put_PrerollTime(REFTIME preroll) override;
    HRESULT put_Rate(double rate) override;
    HRESULT get_Rate(double* rate) override;
    HRESULT CanSeekForward(LONG* can) override;
    HRESULT CanSeekBackward(LONG* can) override;

private:
    IPin* const m_pPin;
};
