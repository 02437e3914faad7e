#pragma once
/// The graph of filters, its state and its events.

#include "qrn/pins.h"

struct IEnumFilters : IUnknown {
    virtual HRESULT Next(ULONG count, IBaseFilter** filters, ULONG* fetched) = 0;
    virtual HRESULT Skip(ULONG count) = 0;
    virtual HRESULT Reset() = 0;
    virtual HRESULT Clone(IEnumFilters** clone) = 0;

protected:
    ~IEnumFilters() = default;
};
inline constexpr IID IID_IEnumFilters = qrn::Guid("56A86893-0AD4-11CE-B03A-0020AF0BA770");
template <>
inline constexpr IID IID_Of<IEnumFilters> = IID_IEnumFilters;

struct IFilterGraph : IUnknown {
    virtual HRESULT AddFilter(IBaseFilter* filter, const wchar_t* name) = 0;
    virtual HRESULT RemoveFilter(IBaseFilter* filter) = 0;
    virtual HRESULT EnumFilters(IEnumFilters** filters) = 0;
    virtual HRESULT FindFilterByName(const wchar_t* name, IBaseFilter** filter) = 0;
    virtual HRESULT ConnectDirect(IPin* output, IPin* input, const AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT Reconnect(IPin* pin) = 0;
    virtual HRESULT Disconnect(IPin* pin) = 0;
    virtual HRESULT SetDefaultSyncSource() = 0;

protected:
    ~IFilterGraph() = default;
};
inline constexpr IID IID_IFilterGraph = qrn::Guid("56A8689F-0AD4-11CE-B03A-0020AF0BA770");
template <>
inline constexpr IID IID_Of<IFilterGraph> = IID_IFilterGraph;

struct IGraphBuilder : IFilterGraph {
    /// Tries the types that the output pin offers, then those of the input pin.
    virtual HRESULT Connect(IPin* output, IPin* input) = 0;
    virtual HRESULT Render(IPin* output) = 0;
    virtual HRESULT RenderFile(const wchar_t* file, const wchar_t* playList) = 0;
    virtual HRESULT AddSourceFilter(const wchar_t* file, const wchar_t* name, IBaseFilter** filter) = 0;
    virtual HRESULT SetLogFile(DWORD_PTR file) = 0;
    virtual HRESULT Abort() = 0;
    virtual HRESULT ShouldOperationContinue() = 0;

protected:
    ~IGraphBuilder() = default;
};
inline constexpr IID IID_IGraphBuilder = qrn::Guid("56A868A9-0AD4-11CE-B03A-0020AF0BA770");
template <>
inline constexpr IID IID_Of<IGraphBuilder> = IID_IGraphBuilder;

inline constexpr CLSID CLSID_FilterGraph = qrn::Guid("E436EBB3-524F-11CE-9F53-0020AF0BA770");
inline constexpr CLSID CLSID_SystemClock = qrn::Guid("E436EBB1-524F-11CE-9F53-0020AF0BA770");

/// Control of the whole graph. The scripting operations that stand before these elsewhere are left out: nothing on this
/// system calls them.
struct IMediaControl : IUnknown {
    /// S_FALSE: on its way, ask GetState.
    virtual HRESULT Run() = 0;
    virtual HRESULT Pause() = 0;
    virtual HRESULT Stop() = 0;
    /// VFW_S_STATE_INTERMEDIATE after the time-out (-1: for ever) while a change is under way; VFW_S_CANT_CUE for a
    /// paused graph with a live source.
    virtual HRESULT GetState(LONG timeoutMs, FILTER_STATE* state) = 0;
    virtual HRESULT StopWhenReady() = 0;

protected:
    ~IMediaControl() = default;
};
inline constexpr IID IID_IMediaControl = qrn::Guid("56A868B1-0AD4-11CE-B03A-0020AF0BA770");
template <>
inline constexpr IID IID_Of<IMediaControl> = IID_IMediaControl;

inline constexpr LONG EC_COMPLETE = 0x01;
inline constexpr LONG EC_USERABORT = 0x02;
inline constexpr LONG EC_ERRORABORT = 0x03;
inline constexpr LONG EC_QUALITY_CHANGE = 0x0B;

struct IMediaEventSink : IUnknown {
    virtual HRESULT Notify(LONG code, LONG_PTR param1, LONG_PTR param2) = 0;

protected:
    ~IMediaEventSink() = default;
};
inline constexpr IID IID_IMediaEventSink = qrn::Guid("56A868A2-0AD4-11CE-B03A-0020AF0BA770");
template <>
inline constexpr IID IID_Of<IMediaEventSink> = IID_IMediaEventSink;

/// The graph's events as the client reads them. Without the scripting operations, as IMediaControl.
struct IMediaEvent : IUnknown {
    /// A descriptor that is readable while events wait. It belongs to the graph.
    virtual HRESULT GetEventHandle(HEVENT* event) = 0;
    /// E_ABORT after the time-out (-1: for ever).
    virtual HRESULT GetEvent(LONG* code, LONG_PTR* param1, LONG_PTR* param2, LONG timeoutMs) = 0;
    /// Waits for EC_COMPLETE, EC_ERRORABORT or EC_USERABORT. E_ABORT after the time-out.
    virtual HRESULT WaitForCompletion(LONG timeoutMs, LONG* code) = 0;
    virtual HRESULT CancelDefaultHandling(LONG code) = 0;
    virtual HRESULT RestoreDefaultHandling(LONG code) = 0;
    virtual HRESULT FreeEventParams(LONG code, LONG_PTR param1, LONG_PTR param2) = 0;

protected:
    ~IMediaEvent() = default;
};
inline constexpr IID IID_IMediaEvent = qrn::Guid("56A868B6-0AD4-11CE-B03A-0020AF0BA770");
template <>
inline constexpr IID IID_Of<IMediaEvent> = IID_IMediaEvent;
