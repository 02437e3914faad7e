#pragma once
/// Where a stream is, and going elsewhere in it. Live sources offer none of it, so the graph of a call answers
/// E_NOTIMPL.
///
/// A client asks the graph's renderers, each of which passes the question upstream from pin to pin to whoever can seek.

#include "qrn/codes.h"

/// Seconds.
using REFTIME = double;

// What a position may count: frames, samples, fields, bytes, or time in units of 100 nanoseconds.
inline constexpr GUID TIME_FORMAT_NONE = GUID_NULL;
inline constexpr GUID TIME_FORMAT_FRAME = qrn::Guid("7B785570-8C82-11CF-BC0C-00AA00AC74F6");
inline constexpr GUID TIME_FORMAT_BYTE = qrn::Guid("7B785571-8C82-11CF-BC0C-00AA00AC74F6");
inline constexpr GUID TIME_FORMAT_SAMPLE = qrn::Guid("7B785572-8C82-11CF-BC0C-00AA00AC74F6");
inline constexpr GUID TIME_FORMAT_FIELD = qrn::Guid("7B785573-8C82-11CF-BC0C-00AA00AC74F6");
inline constexpr GUID TIME_FORMAT_MEDIA_TIME = qrn::Guid("7B785574-8C82-11CF-BC0C-00AA00AC74F6");

inline constexpr DWORD AM_SEEKING_CanSeekAbsolute = 0x1;
inline constexpr DWORD AM_SEEKING_CanSeekForwards = 0x2;
inline constexpr DWORD AM_SEEKING_CanSeekBackwards = 0x4;
inline constexpr DWORD AM_SEEKING_CanGetCurrentPos = 0x8;
inline constexpr DWORD AM_SEEKING_CanGetStopPos = 0x10;
inline constexpr DWORD AM_SEEKING_CanGetDuration = 0x20;
inline constexpr DWORD AM_SEEKING_CanPlayBackwards = 0x40;
inline constexpr DWORD AM_SEEKING_CanDoSegments = 0x80;
inline constexpr DWORD AM_SEEKING_Source = 0x100;

// How SetPositions takes each of its positions.
inline constexpr DWORD AM_SEEKING_NoPositioning = 0;
inline constexpr DWORD AM_SEEKING_AbsolutePositioning = 1;
inline constexpr DWORD AM_SEEKING_RelativePositioning = 2;
inline constexpr DWORD AM_SEEKING_IncrementalPositioning = 3;

/// Positions are in the time format that is set, unless an operation says otherwise.
struct IMediaSeeking : IUnknown {
    /// AM_SEEKING_Can... .
    virtual HRESULT GetCapabilities(DWORD* capabilities) = 0;
    /// Leaves of the bits those that are there. S_FALSE when it is not all of them, E_FAIL for none.
    virtual HRESULT CheckCapabilities(DWORD* capabilities) = 0;
    virtual HRESULT IsFormatSupported(const GUID* format) = 0;
    virtual HRESULT QueryPreferredFormat(GUID* format) = 0;
    virtual HRESULT GetTimeFormat(GUID* format) = 0;
    virtual HRESULT IsUsingTimeFormat(const GUID* format) = 0;
    virtual HRESULT SetTimeFormat(const GUID* format) = 0;
    virtual HRESULT GetDuration(LONGLONG* duration) = 0;
    virtual HRESULT GetStopPosition(LONGLONG* stop) = 0;
    virtual HRESULT GetCurrentPosition(LONGLONG* current) = 0;
    /// Null for a format: the one that is set.
    virtual HRESULT ConvertTimeFormat(LONGLONG* target, const GUID* targetFormat, LONGLONG source,
                                      const GUID* sourceFormat) = 0;
    virtual HRESULT SetPositions(LONGLONG* current, DWORD currentFlags, LONGLONG* stop, DWORD stopFlags) = 0;
    virtual HRESULT GetPositions(LONGLONG* current, LONGLONG* stop) = 0;
    virtual HRESULT GetAvailable(LONGLONG* earliest, LONGLONG* latest) = 0;
    virtual HRESULT SetRate(double rate) = 0;
    virtual HRESULT GetRate(double* rate) = 0;
    virtual HRESULT GetPreroll(LONGLONG* preroll) = 0;

protected:
    ~IMediaSeeking() = default;
};
inline constexpr IID IID_IMediaSeeking = qrn::Guid("36B73880-C2C8-11CF-8B46-00805F6CEF60");
template <>
inline constexpr IID IID_Of<IMediaSeeking> = IID_IMediaSeeking;

/// The same in seconds. Without the scripting operations, as IMediaControl.
struct IMediaPosition : IUnknown {
    virtual HRESULT get_Duration(REFTIME* duration) = 0;
    virtual HRESULT put_CurrentPosition(REFTIME current) = 0;
    virtual HRESULT get_CurrentPosition(REFTIME* current) = 0;
    virtual HRESULT get_StopTime(REFTIME* stop) = 0;
    virtual HRESULT put_StopTime(REFTIME stop) = 0;
    virtual HRESULT get_PrerollTime(REFTIME* preroll) = 0;
    virtual HRESULT put_PrerollTime(REFTIME preroll) = 0;
    virtual HRESULT put_Rate(double rate) = 0;
    virtual HRESULT get_Rate(double* rate) = 0;
    /// 0 or -1.
    virtual HRESULT CanSeekForward(LONG* can) = 0;
    virtual HRESULT CanSeekBackward(LONG* can) = 0;

protected:
    ~IMediaPosition() = default;
};
inline constexpr IID IID_IMediaPosition = qrn::Guid("56A868B2-0AD4-11CE-B03A-0020AF0BA770");
template <>
inline constexpr IID IID_Of<IMediaPosition> = IID_IMediaPosition;
