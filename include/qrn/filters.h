#pragma once
/// The interfaces of the filter framework: media types and samples, pins, filters, the graph, clocks and events.
/// Order of operations, identifiers and constants are those of the native framework, so that a filter written against
/// them compiles there too. Times are REFERENCE_TIME: signed, in units of 100 nanoseconds.
///
/// Texts that come out of an operation (`wchar_t** text`) stand in task memory and are freed with CoTaskMemFree; format
/// blocks of media types too.

#include "qrn/com.h"
#include "qrn/pages.h"

using REFERENCE_TIME = LONGLONG;

/// An eventfd: "signalled" means that 1 is added to it. A counting semaphore is one made with EFD_SEMAPHORE.
using HEVENT = int;
using HSEMAPHORE = int;

// Result codes of the framework.
inline constexpr HRESULT VFW_S_NO_MORE_ITEMS = 0x00040103;
inline constexpr HRESULT VFW_S_STATE_INTERMEDIATE = 0x00040237;
inline constexpr HRESULT VFW_S_DUPLICATE_NAME = 0x0004022D;
inline constexpr HRESULT VFW_S_CANT_CUE = 0x00040268;
inline constexpr HRESULT VFW_E_INVALIDMEDIATYPE = static_cast<HRESULT>(0x80040200u);
inline constexpr HRESULT VFW_E_ENUM_OUT_OF_SYNC = static_cast<HRESULT>(0x80040203u);
inline constexpr HRESULT VFW_E_ALREADY_CONNECTED = static_cast<HRESULT>(0x80040204u);
inline constexpr HRESULT VFW_E_FILTER_ACTIVE = static_cast<HRESULT>(0x80040205u);
inline constexpr HRESULT VFW_E_NO_TYPES = static_cast<HRESULT>(0x80040206u);
inline constexpr HRESULT VFW_E_NO_ACCEPTABLE_TYPES = static_cast<HRESULT>(0x80040207u);
inline constexpr HRESULT VFW_E_INVALID_DIRECTION = static_cast<HRESULT>(0x80040208u);
inline constexpr HRESULT VFW_E_NOT_CONNECTED = static_cast<HRESULT>(0x80040209u);
inline constexpr HRESULT VFW_E_NO_ALLOCATOR = static_cast<HRESULT>(0x8004020Au);
inline constexpr HRESULT VFW_E_RUNTIME_ERROR = static_cast<HRESULT>(0x8004020Bu);
inline constexpr HRESULT VFW_E_BUFFER_OVERFLOW = static_cast<HRESULT>(0x8004020Du);
inline constexpr HRESULT VFW_E_BADALIGN = static_cast<HRESULT>(0x8004020Eu);
inline constexpr HRESULT VFW_E_ALREADY_COMMITTED = static_cast<HRESULT>(0x8004020Fu);
inline constexpr HRESULT VFW_E_BUFFERS_OUTSTANDING = static_cast<HRESULT>(0x80040210u);
inline constexpr HRESULT VFW_E_NOT_COMMITTED = static_cast<HRESULT>(0x80040211u);
inline constexpr HRESULT VFW_E_SIZENOTSET = static_cast<HRESULT>(0x80040212u);
inline constexpr HRESULT VFW_E_NO_CLOCK = static_cast<HRESULT>(0x80040213u);
inline constexpr HRESULT VFW_E_NO_SINK = static_cast<HRESULT>(0x80040214u);
inline constexpr HRESULT VFW_E_NOT_FOUND = static_cast<HRESULT>(0x80040216u);
inline constexpr HRESULT VFW_E_CANNOT_CONNECT = static_cast<HRESULT>(0x80040217u);
inline constexpr HRESULT VFW_E_CANNOT_RENDER = static_cast<HRESULT>(0x80040218u);
inline constexpr HRESULT VFW_E_NOT_STOPPED = static_cast<HRESULT>(0x80040224u);
inline constexpr HRESULT VFW_E_WRONG_STATE = static_cast<HRESULT>(0x80040227u);
inline constexpr HRESULT VFW_E_START_TIME_AFTER_END = static_cast<HRESULT>(0x80040228u);
inline constexpr HRESULT VFW_E_TYPE_NOT_ACCEPTED = static_cast<HRESULT>(0x8004022Au);
inline constexpr HRESULT VFW_E_SAMPLE_REJECTED = static_cast<HRESULT>(0x8004022Bu);
inline constexpr HRESULT VFW_E_DUPLICATE_NAME = static_cast<HRESULT>(0x8004022Du);
inline constexpr HRESULT VFW_E_TIMEOUT = static_cast<HRESULT>(0x8004022Eu);
inline constexpr HRESULT VFW_E_SAMPLE_TIME_NOT_SET = static_cast<HRESULT>(0x80040249u);
inline constexpr HRESULT VFW_E_MEDIA_TIME_NOT_SET = static_cast<HRESULT>(0x80040251u);
inline constexpr HRESULT VFW_E_NOT_IN_GRAPH = static_cast<HRESULT>(0x8004025Fu);

// ---------------------------------------------------------------------------------------------------------------------
// Media types

/// What flows through a pin. The format block is task memory owned by whoever owns the record.
struct AM_MEDIA_TYPE {
    GUID majortype;
    GUID subtype;
    BOOL bFixedSizeSamples;
    BOOL bTemporalCompression;
    ULONG lSampleSize;
    GUID formattype;
    IUnknown* pUnk;
    ULONG cbFormat;
    BYTE* pbFormat;
};

#pragma pack(push, 1)
/// The format block of audio (FORMAT_WaveFormatEx), 18 bytes.
struct WAVEFORMATEX {
    WORD wFormatTag;
    WORD nChannels;
    DWORD nSamplesPerSec;
    DWORD nAvgBytesPerSec;
    WORD nBlockAlign;
    WORD wBitsPerSample;
    WORD cbSize;
};
#pragma pack(pop)
static_assert(sizeof(WAVEFORMATEX) == 18);

inline constexpr WORD WAVE_FORMAT_PCM = 1;

inline constexpr GUID MEDIATYPE_Video = qrn::Guid("73646976-0000-0010-8000-00AA00389B71");
inline constexpr GUID MEDIATYPE_Audio = qrn::Guid("73647561-0000-0010-8000-00AA00389B71");
inline constexpr GUID MEDIASUBTYPE_PCM = qrn::Guid("00000001-0000-0010-8000-00AA00389B71");
inline constexpr GUID FORMAT_None = qrn::Guid("0F6417D6-C318-11D0-A43F-00A0C9223196");
inline constexpr GUID FORMAT_VideoInfo = qrn::Guid("05589F80-C356-11CE-BF01-00AA0055595A");
inline constexpr GUID FORMAT_WaveFormatEx = qrn::Guid("05589F81-C356-11CE-BF01-00AA0055595A");

// ---------------------------------------------------------------------------------------------------------------------
// Samples and allocators

struct IMediaSample : IUnknown {
    virtual HRESULT GetPointer(BYTE** buffer) = 0;
    /// The capacity of the buffer in bytes.
    virtual LONG GetSize() = 0;
    /// VFW_E_SAMPLE_TIME_NOT_SET without a time; VFW_S_NO_STOP_TIME (S-code 0x00040270) with a start time only, `end`
    /// is then one unit after `start`.
    virtual HRESULT GetTime(REFERENCE_TIME* start, REFERENCE_TIME* end) = 0;
    /// Null for both: no time. Null for `end`: a start time only.
    virtual HRESULT SetTime(const REFERENCE_TIME* start, const REFERENCE_TIME* end) = 0;
    virtual HRESULT IsSyncPoint() = 0;
    virtual HRESULT SetSyncPoint(BOOL isSyncPoint) = 0;
    virtual HRESULT IsPreroll() = 0;
    virtual HRESULT SetPreroll(BOOL isPreroll) = 0;
    virtual LONG GetActualDataLength() = 0;
    /// VFW_E_BUFFER_OVERFLOW for a length below 0 or above the capacity; the length then stays.
    virtual HRESULT SetActualDataLength(LONG length) = 0;
    /// S_FALSE and null when the type has not changed; otherwise the caller frees a copy.
    virtual HRESULT GetMediaType(AM_MEDIA_TYPE** type) = 0;
    virtual HRESULT SetMediaType(const AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT IsDiscontinuity() = 0;
    virtual HRESULT SetDiscontinuity(BOOL isDiscontinuity) = 0;
    virtual HRESULT GetMediaTime(LONGLONG* start, LONGLONG* end) = 0;
    virtual HRESULT SetMediaTime(const LONGLONG* start, const LONGLONG* end) = 0;

protected:
    ~IMediaSample() = default;
};
inline constexpr HRESULT VFW_S_NO_STOP_TIME = 0x00040270;
inline constexpr IID IID_IMediaSample = qrn::Guid("56A8689A-0AD4-11CE-B03A-0020AF0BA770");
template <>
inline constexpr IID IID_Of<IMediaSample> = IID_IMediaSample;

inline constexpr DWORD AM_STREAM_MEDIA = 0;
inline constexpr DWORD AM_STREAM_CONTROL = 1;

inline constexpr DWORD AM_SAMPLE_SPLICEPOINT = 0x1;
inline constexpr DWORD AM_SAMPLE_PREROLL = 0x2;
inline constexpr DWORD AM_SAMPLE_DATADISCONTINUITY = 0x4;
inline constexpr DWORD AM_SAMPLE_TYPECHANGED = 0x8;
inline constexpr DWORD AM_SAMPLE_TIMEVALID = 0x10;
inline constexpr DWORD AM_SAMPLE_TIMEDISCONTINUITY = 0x40;
inline constexpr DWORD AM_SAMPLE_STOPVALID = 0x100;

/// All properties of a sample at once.
struct AM_SAMPLE2_PROPERTIES {
    DWORD cbData;
    DWORD dwTypeSpecificFlags;
    DWORD dwSampleFlags;
    LONG lActual;
    REFERENCE_TIME tStart;
    REFERENCE_TIME tStop;
    DWORD dwStreamId;
    AM_MEDIA_TYPE* pMediaType;
    BYTE* pbBuffer;
    LONG cbBuffer;
};

struct IMediaSample2 : IMediaSample {
    /// Copies the first `bytes` bytes of the properties.
    virtual HRESULT GetProperties(DWORD bytes, BYTE* properties) = 0;
    virtual HRESULT SetProperties(DWORD bytes, const BYTE* properties) = 0;

protected:
    ~IMediaSample2() = default;
};
inline constexpr IID IID_IMediaSample2 = qrn::Guid("36B73884-C2C8-11CF-8B46-00805F6CEF60");
template <>
inline constexpr IID IID_Of<IMediaSample2> = IID_IMediaSample2;

/// Counts and sizes in buffers and bytes.
struct ALLOCATOR_PROPERTIES {
    LONG cBuffers;
    LONG cbBuffer;
    LONG cbAlign;
    LONG cbPrefix;
};

// Flags of IMemAllocator::GetBuffer.
inline constexpr DWORD AM_GBF_PREVFRAMESKIPPED = 1;
inline constexpr DWORD AM_GBF_NOTASYNCPOINT = 2;
/// VFW_E_TIMEOUT at once instead of waiting for a free buffer.
inline constexpr DWORD AM_GBF_NOWAIT = 4;

struct IMemAllocator : IUnknown {
    virtual HRESULT SetProperties(const ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) = 0;
    virtual HRESULT GetProperties(ALLOCATOR_PROPERTIES* properties) = 0;
    virtual HRESULT Commit() = 0;
    /// Ends every wait in GetBuffer with VFW_E_NOT_COMMITTED.
    virtual HRESULT Decommit() = 0;
    /// Waits for a free buffer.
    virtual HRESULT GetBuffer(IMediaSample** sample, const REFERENCE_TIME* start, const REFERENCE_TIME* end,
                              DWORD flags) = 0;
    virtual HRESULT ReleaseBuffer(IMediaSample* sample) = 0;

protected:
    ~IMemAllocator() = default;
};
inline constexpr IID IID_IMemAllocator = qrn::Guid("56A8689C-0AD4-11CE-B03A-0020AF0BA770");
template <>
inline constexpr IID IID_Of<IMemAllocator> = IID_IMemAllocator;

inline constexpr CLSID CLSID_MemoryAllocator = qrn::Guid("1E651CC0-B199-11D0-8212-00C04FC32C45");

// ---------------------------------------------------------------------------------------------------------------------
// Clocks

struct IReferenceClock : IUnknown {
    virtual HRESULT GetTime(REFERENCE_TIME* time) = 0;
    /// Signals `event` once, when the clock reaches base + stream. VFW: E_INVALIDARG for a sum below 0 or past the end.
    virtual HRESULT AdviseTime(REFERENCE_TIME base, REFERENCE_TIME stream, HEVENT event, DWORD_PTR* cookie) = 0;
    /// Adds 1 to `semaphore` at `start` and every `period` after it.
    virtual HRESULT AdvisePeriodic(REFERENCE_TIME start, REFERENCE_TIME period, HSEMAPHORE semaphore,
                                   DWORD_PTR* cookie) = 0;
    /// S_FALSE for a cookie that is no longer pending.
    virtual HRESULT Unadvise(DWORD_PTR cookie) = 0;

protected:
    ~IReferenceClock() = default;
};
inline constexpr IID IID_IReferenceClock = qrn::Guid("56A86897-0AD4-11CE-B03A-0020AF0BA770");
template <>
inline constexpr IID IID_Of<IReferenceClock> = IID_IReferenceClock;

// ---------------------------------------------------------------------------------------------------------------------
// Pins and filters

struct IBaseFilter;
struct IEnumMediaTypes;
struct IEnumPins;
struct IFilterGraph;

enum PIN_DIRECTION : std::int32_t { PINDIR_INPUT = 0, PINDIR_OUTPUT = 1 };
enum FILTER_STATE : std::int32_t { State_Stopped = 0, State_Paused = 1, State_Running = 2 };

inline constexpr std::size_t MAX_PIN_NAME = 128;
inline constexpr std::size_t MAX_FILTER_NAME = 128;

/// `pFilter` carries a reference that the caller releases.
struct PIN_INFO {
    IBaseFilter* pFilter;
    PIN_DIRECTION dir;
    wchar_t achName[MAX_PIN_NAME];
};

/// `pGraph` carries a reference that the caller releases.
struct FILTER_INFO {
    wchar_t achName[MAX_FILTER_NAME];
    IFilterGraph* pGraph;
};

struct IPin : IUnknown {
    /// On an output pin. Null `type`: whatever both pins accept.
    virtual HRESULT Connect(IPin* receivePin, const AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) = 0;
    /// S_FALSE when the pin was not connected.
    virtual HRESULT Disconnect() = 0;
    virtual HRESULT ConnectedTo(IPin** pin) = 0;
    virtual HRESULT ConnectionMediaType(AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT QueryPinInfo(PIN_INFO* info) = 0;
    virtual HRESULT QueryDirection(PIN_DIRECTION* direction) = 0;
    virtual HRESULT QueryId(wchar_t** id) = 0;
    virtual HRESULT QueryAccept(const AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT EnumMediaTypes(IEnumMediaTypes** types) = 0;
    virtual HRESULT QueryInternalConnections(IPin** pins, ULONG* count) = 0;
    virtual HRESULT EndOfStream() = 0;
    virtual HRESULT BeginFlush() = 0;
    virtual HRESULT EndFlush() = 0;
    virtual HRESULT NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) = 0;

protected:
    ~IPin() = default;
};
inline constexpr IID IID_IPin = qrn::Guid("56A86891-0AD4-11CE-B03A-0020AF0BA770");
template <>
inline constexpr IID IID_Of<IPin> = IID_IPin;

struct IEnumPins : IUnknown {
    virtual HRESULT Next(ULONG count, IPin** pins, ULONG* fetched) = 0;
    virtual HRESULT Skip(ULONG count) = 0;
    virtual HRESULT Reset() = 0;
    virtual HRESULT Clone(IEnumPins** clone) = 0;

protected:
    ~IEnumPins() = default;
};
inline constexpr IID IID_IEnumPins = qrn::Guid("56A86892-0AD4-11CE-B03A-0020AF0BA770");
template <>
inline constexpr IID IID_Of<IEnumPins> = IID_IEnumPins;

struct IEnumMediaTypes : IUnknown {
    /// Each type comes as a record in task memory, with its format block: the caller frees both.
    virtual HRESULT Next(ULONG count, AM_MEDIA_TYPE** types, ULONG* fetched) = 0;
    virtual HRESULT Skip(ULONG count) = 0;
    virtual HRESULT Reset() = 0;
    virtual HRESULT Clone(IEnumMediaTypes** clone) = 0;

protected:
    ~IEnumMediaTypes() = default;
};
inline constexpr IID IID_IEnumMediaTypes = qrn::Guid("89C31040-846B-11CE-97D3-00AA0055595A");
template <>
inline constexpr IID IID_Of<IEnumMediaTypes> = IID_IEnumMediaTypes;

/// The input pin's side of the transport.
struct IMemInputPin : IUnknown {
    virtual HRESULT GetAllocator(IMemAllocator** allocator) = 0;
    virtual HRESULT NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) = 0;
    virtual HRESULT GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) = 0;
    virtual HRESULT Receive(IMediaSample* sample) = 0;
    virtual HRESULT ReceiveMultiple(IMediaSample** samples, LONG count, LONG* processed) = 0;
    /// S_OK when Receive may block, S_FALSE when it never does.
    virtual HRESULT ReceiveCanBlock() = 0;

protected:
    ~IMemInputPin() = default;
};
inline constexpr IID IID_IMemInputPin = qrn::Guid("56A8689D-0AD4-11CE-B03A-0020AF0BA770");
template <>
inline constexpr IID IID_Of<IMemInputPin> = IID_IMemInputPin;

struct IPersist : IUnknown {
    virtual HRESULT GetClassID(CLSID* id) = 0;

protected:
    ~IPersist() = default;
};
inline constexpr IID IID_IPersist = qrn::Guid("0000010C-0000-0000-C000-000000000046");
template <>
inline constexpr IID IID_Of<IPersist> = IID_IPersist;

struct IMediaFilter : IPersist {
    virtual HRESULT Stop() = 0;
    virtual HRESULT Pause() = 0;
    /// `start` is the clock's time at which stream time is 0.
    virtual HRESULT Run(REFERENCE_TIME start) = 0;
    virtual HRESULT GetState(DWORD timeoutMs, FILTER_STATE* state) = 0;
    virtual HRESULT SetSyncSource(IReferenceClock* clock) = 0;
    virtual HRESULT GetSyncSource(IReferenceClock** clock) = 0;

protected:
    ~IMediaFilter() = default;
};
inline constexpr IID IID_IMediaFilter = qrn::Guid("56A86899-0AD4-11CE-B03A-0020AF0BA770");
template <>
inline constexpr IID IID_Of<IMediaFilter> = IID_IMediaFilter;

struct IBaseFilter : IMediaFilter {
    virtual HRESULT EnumPins(IEnumPins** pins) = 0;
    virtual HRESULT FindPin(const wchar_t* id, IPin** pin) = 0;
    virtual HRESULT QueryFilterInfo(FILTER_INFO* info) = 0;
    /// The graph holds the filter, never the other way round. Null `graph`: the filter leaves.
    virtual HRESULT JoinFilterGraph(IFilterGraph* graph, const wchar_t* name) = 0;
    virtual HRESULT QueryVendorInfo(wchar_t** info) = 0;

protected:
    ~IBaseFilter() = default;
};
inline constexpr IID IID_IBaseFilter = qrn::Guid("56A86895-0AD4-11CE-B03A-0020AF0BA770");
template <>
inline constexpr IID IID_Of<IBaseFilter> = IID_IBaseFilter;

enum QualityMessageType : std::int32_t { Famine = 0, Flood = 1 };

/// A renderer's word to the filters before it. Proportion 1000 means that the rate is right.
struct Quality {
    QualityMessageType Type;
    LONG Proportion;
    REFERENCE_TIME Late;
    REFERENCE_TIME TimeStamp;
};

struct IQualityControl : IUnknown {
    virtual HRESULT Notify(IBaseFilter* self, Quality quality) = 0;
    virtual HRESULT SetSink(IQualityControl* sink) = 0;

protected:
    ~IQualityControl() = default;
};
inline constexpr IID IID_IQualityControl = qrn::Guid("56A868A5-0AD4-11CE-B03A-0020AF0BA770");
template <>
inline constexpr IID IID_Of<IQualityControl> = IID_IQualityControl;

// ---------------------------------------------------------------------------------------------------------------------
// The graph, its state and its events

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

// ---------------------------------------------------------------------------------------------------------------------
// What single filters and pins offer beside

inline constexpr ULONG AM_FILTER_MISC_FLAGS_IS_RENDERER = 1;
inline constexpr ULONG AM_FILTER_MISC_FLAGS_IS_SOURCE = 2;

struct IAMFilterMiscFlags : IUnknown {
    virtual ULONG GetMiscFlags() = 0;

protected:
    ~IAMFilterMiscFlags() = default;
};
inline constexpr IID IID_IAMFilterMiscFlags = qrn::Guid("2DD74950-A890-11D1-ABE8-00A0C905F375");
template <>
inline constexpr IID IID_Of<IAMFilterMiscFlags> = IID_IAMFilterMiscFlags;

struct IAMLatency : IUnknown {
    virtual HRESULT GetLatency(REFERENCE_TIME* latency) = 0;

protected:
    ~IAMLatency() = default;
};
inline constexpr IID IID_IAMLatency = qrn::Guid("62EA93BA-EC62-11D2-B770-00C04FB6BD3D");
template <>
inline constexpr IID IID_Of<IAMLatency> = IID_IAMLatency;

struct IAMPushSource : IAMLatency {
    virtual HRESULT GetPushSourceFlags(ULONG* flags) = 0;
    virtual HRESULT SetPushSourceFlags(ULONG flags) = 0;
    virtual HRESULT SetStreamOffset(REFERENCE_TIME offset) = 0;
    virtual HRESULT GetStreamOffset(REFERENCE_TIME* offset) = 0;
    virtual HRESULT GetMaxStreamOffset(REFERENCE_TIME* offset) = 0;
    virtual HRESULT SetMaxStreamOffset(REFERENCE_TIME offset) = 0;

protected:
    ~IAMPushSource() = default;
};
inline constexpr IID IID_IAMPushSource = qrn::Guid("F185FE76-E64E-11D2-B76E-00C04FB6BD3D");
template <>
inline constexpr IID IID_Of<IAMPushSource> = IID_IAMPushSource;

inline constexpr DWORD KSPROPERTY_SUPPORT_GET = 1;
inline constexpr GUID AMPROPSETID_Pin = qrn::Guid("9B00F101-1567-11D1-B3F1-00AA003761C5");
inline constexpr DWORD AMPROPERTY_PIN_CATEGORY = 0;
inline constexpr GUID PIN_CATEGORY_CAPTURE = qrn::Guid("FB6C4281-0353-11D1-905F-0000C0CC16BA");

struct IKsPropertySet : IUnknown {
    virtual HRESULT Set(REFGUID set, DWORD id, const void* instance, DWORD instanceBytes, const void* data,
                        DWORD dataBytes) = 0;
    virtual HRESULT Get(REFGUID set, DWORD id, const void* instance, DWORD instanceBytes, void* data, DWORD dataBytes,
                        DWORD* returned) = 0;
    virtual HRESULT QuerySupported(REFGUID set, DWORD id, DWORD* support) = 0;

protected:
    ~IKsPropertySet() = default;
};
inline constexpr IID IID_IKsPropertySet = qrn::Guid("31EFAC30-515C-11D0-A9AA-00AA0061BE93");
template <>
inline constexpr IID IID_Of<IKsPropertySet> = IID_IKsPropertySet;

struct ISequentialStream : IUnknown {
    virtual HRESULT Read(void* data, ULONG bytes, ULONG* read) = 0;
    virtual HRESULT Write(const void* data, ULONG bytes, ULONG* written) = 0;

protected:
    ~ISequentialStream() = default;
};
inline constexpr IID IID_ISequentialStream = qrn::Guid("0C733A30-2A1C-11CE-ADE5-00AA0044773D");
template <>
inline constexpr IID IID_Of<ISequentialStream> = IID_ISequentialStream;

struct STATSTG;

/// A stream of bytes. Only Read and Write are used by the module; another stream may answer E_NOTIMPL to the rest.
struct IStream : ISequentialStream {
    virtual HRESULT Seek(LONGLONG move, DWORD origin, ULONGLONG* position) = 0;
    virtual HRESULT SetSize(ULONGLONG size) = 0;
    virtual HRESULT CopyTo(IStream* target, ULONGLONG bytes, ULONGLONG* read, ULONGLONG* written) = 0;
    virtual HRESULT Commit(DWORD flags) = 0;
    virtual HRESULT Revert() = 0;
    virtual HRESULT LockRegion(ULONGLONG offset, ULONGLONG bytes, DWORD type) = 0;
    virtual HRESULT UnlockRegion(ULONGLONG offset, ULONGLONG bytes, DWORD type) = 0;
    virtual HRESULT Stat(STATSTG* stat, DWORD flags) = 0;
    virtual HRESULT Clone(IStream** clone) = 0;

protected:
    ~IStream() = default;
};
inline constexpr IID IID_IStream = qrn::Guid("0000000C-0000-0000-C000-000000000046");
template <>
inline constexpr IID IID_Of<IStream> = IID_IStream;

struct IPersistStream : IPersist {
    virtual HRESULT IsDirty() = 0;
    virtual HRESULT Load(IStream* stream) = 0;
    virtual HRESULT Save(IStream* stream, BOOL clearDirty) = 0;
    virtual HRESULT GetSizeMax(ULONGLONG* bytes) = 0;

protected:
    ~IPersistStream() = default;
};
inline constexpr IID IID_IPersistStream = qrn::Guid("00000109-0000-0000-C000-000000000046");
template <>
inline constexpr IID IID_Of<IPersistStream> = IID_IPersistStream;

/// Bytes handed to a media object.
struct IMediaBuffer : IUnknown {
    virtual HRESULT SetLength(DWORD length) = 0;
    virtual HRESULT GetMaxLength(DWORD* maxLength) = 0;
    virtual HRESULT GetBufferAndLength(BYTE** buffer, DWORD* length) = 0;

protected:
    ~IMediaBuffer() = default;
};
inline constexpr IID IID_IMediaBuffer = qrn::Guid("59EFF8B9-938C-4A26-82F2-95CB84CDC837");
template <>
inline constexpr IID IID_Of<IMediaBuffer> = IID_IMediaBuffer;

// ---------------------------------------------------------------------------------------------------------------------
// What a filter says of itself to whoever registers it

struct AMOVIESETUP_MEDIATYPE {
    const CLSID* clsMajorType;
    const CLSID* clsMinorType;
};

struct AMOVIESETUP_PIN {
    const wchar_t* strName;
    BOOL bRendered;
    BOOL bOutput;
    BOOL bZero;
    BOOL bMany;
    const CLSID* clsConnectsToFilter;
    const wchar_t* strConnectsToPin;
    UINT nMediaTypes;
    const AMOVIESETUP_MEDIATYPE* lpMediaType;
};

struct AMOVIESETUP_FILTER {
    const CLSID* clsID;
    const wchar_t* strName;
    DWORD dwMerit;
    UINT nPins;
    const AMOVIESETUP_PIN* lpPin;
};

inline constexpr DWORD MERIT_NORMAL = 0x600000;
inline constexpr DWORD MERIT_UNLIKELY = 0x200000;

struct IAMovieSetup : IUnknown {
    virtual HRESULT Register() = 0;
    virtual HRESULT Unregister() = 0;

protected:
    ~IAMovieSetup() = default;
};
inline constexpr IID IID_IAMovieSetup = qrn::Guid("A3D8CEC0-7E5A-11CF-BBC5-00805F6CEF20");
template <>
inline constexpr IID IID_Of<IAMovieSetup> = IID_IAMovieSetup;

// ---------------------------------------------------------------------------------------------------------------------
// The filter mapper: the registered filters, by category

inline constexpr CLSID CLSID_LegacyAmFilterCategory = qrn::Guid("083863F1-70DE-11D0-BD40-00A0C911CE86");
inline constexpr CLSID CLSID_VideoCompressorCategory = qrn::Guid("33D9A760-90C8-11D0-BD43-00A0C911CE86");
inline constexpr CLSID CLSID_AudioCompressorCategory = qrn::Guid("33D9A761-90C8-11D0-BD43-00A0C911CE86");
/// The category of the categories.
inline constexpr CLSID CLSID_ActiveMovieCategories = qrn::Guid("DA4E3DA0-D07D-11D0-BD50-00A0C911CE86");

using REGPINTYPES = AMOVIESETUP_MEDIATYPE;
using REGFILTERPINS = AMOVIESETUP_PIN;

/// What is registered of a filter, version 1.
struct REGFILTER2 {
    DWORD dwVersion;
    DWORD dwMerit;
    ULONG cPins;
    const REGFILTERPINS* rgPins;
};

struct IMoniker;
struct IEnumMoniker;
struct IEnumRegFilters;
struct REGPINMEDIUM;

struct IFilterMapper2 : IUnknown {
    virtual HRESULT CreateCategory(REFCLSID category, DWORD merit, const wchar_t* description) = 0;
    /// Null `category`: the legacy category. Null `instance`: the filter's class id in braces. 0x80070002 when there is
    /// no such entry.
    virtual HRESULT UnregisterFilter(const CLSID* category, const wchar_t* instance, REFCLSID filter) = 0;
    /// The same defaults; an entry of that name is replaced. `moniker` is null, or points to null.
    virtual HRESULT RegisterFilter(REFCLSID filter, const wchar_t* name, IMoniker** moniker, const CLSID* category,
                                   const wchar_t* instance, const REGFILTER2* record) = 0;
    virtual HRESULT EnumMatchingFilters(IEnumMoniker** filters, DWORD flags, BOOL exactMatch, DWORD merit,
                                        BOOL inputNeeded, DWORD inputTypeCount, const GUID* inputTypes,
                                        const REGPINMEDIUM* inputMedium, const CLSID* inputPinCategory, BOOL render,
                                        BOOL outputNeeded, DWORD outputTypeCount, const GUID* outputTypes,
                                        const REGPINMEDIUM* outputMedium, const CLSID* outputPinCategory) = 0;

protected:
    ~IFilterMapper2() = default;
};
inline constexpr CLSID CLSID_FilterMapper2 = qrn::Guid("CDA42200-BD88-11D0-BD4E-00A0C911CE86");
inline constexpr IID IID_IFilterMapper2 = qrn::Guid("B79BB0B0-33C1-11D1-ABE1-00A0C905F375");
template <>
inline constexpr IID IID_Of<IFilterMapper2> = IID_IFilterMapper2;

/// The older mapper: it knows the legacy category only, and takes a filter piece by piece.
struct IFilterMapper : IUnknown {
    virtual HRESULT RegisterFilter(CLSID filter, const wchar_t* name, DWORD merit) = 0;
    virtual HRESULT RegisterFilterInstance(CLSID filter, const wchar_t* name, CLSID* instance) = 0;
    /// GUID_NULL and null where the pin connects to nothing else.
    virtual HRESULT RegisterPin(CLSID filter, const wchar_t* name, BOOL rendered, BOOL output, BOOL zero, BOOL many,
                                CLSID connectsToFilter, const wchar_t* connectsToPin) = 0;
    virtual HRESULT RegisterPinType(CLSID filter, const wchar_t* pin, CLSID majorType, CLSID subType) = 0;
    virtual HRESULT UnregisterFilter(CLSID filter) = 0;
    virtual HRESULT UnregisterFilterInstance(CLSID instance) = 0;
    virtual HRESULT UnregisterPin(CLSID filter, const wchar_t* name) = 0;
    virtual HRESULT EnumMatchingFilters(IEnumRegFilters** filters, DWORD merit, BOOL inputNeeded, CLSID inputMajorType,
                                        CLSID inputSubType, BOOL render, BOOL outputNeeded, CLSID outputMajorType,
                                        CLSID outputSubType) = 0;

protected:
    ~IFilterMapper() = default;
};
inline constexpr CLSID CLSID_FilterMapper = qrn::Guid("E436EBB2-524F-11CE-9F53-0020AF0BA770");
inline constexpr IID IID_IFilterMapper = qrn::Guid("56A868A3-0AD4-11CE-B03A-0020AF0BA770");
template <>
inline constexpr IID IID_Of<IFilterMapper> = IID_IFilterMapper;

// ---------------------------------------------------------------------------------------------------------------------
// What a running pin counts

/// Since the filter last left the stopped state. An input pin counts a sample when it comes, an output pin when it has
/// been delivered: while one sample more has come in than the pin before has delivered, it is being worked on.
struct QRN_PIN_STATISTICS {
    /// Accepted by the input pin, or delivered with success by the output pin.
    ULONGLONG samples;
    /// The actual data of those.
    ULONGLONG bytes;
    /// Those of them that are marked as discontinuities.
    ULONGLONG discontinuities;
    /// Came to nothing. Input pin: refused (stopped, flushing, a wrong type), or rejected by the filter after it was
    /// accepted, as a renderer does with one that is too late. Output pin: not accepted by the next pin.
    ULONGLONG dropped;
    /// Output pin: how often its filter made no sample of what it was given. A coder that gathers does so by design.
    ULONGLONG skipped;
    /// Buffers of the connection's allocator that are out, of how many: the queue. -1 for both when it does not tell.
    LONG buffersInUse;
    LONG bufferCount;
    /// The first and the last of `samples`, and this reading, on the system's monotonic clock in nanoseconds, a few
    /// milliseconds coarse. The first two are 0 without samples.
    LONGLONG firstSampleNs;
    LONGLONG lastSampleNs;
    LONGLONG nowNs;
};

/// Answered by the pins of the framework's base classes.
struct IQRN_PinStatistics : IUnknown {
    /// Never waits for the stream. The figures are read one by one while the stream goes on, so `bytes` may be ahead of
    /// `samples` by one sample.
    virtual HRESULT GetPinStatistics(QRN_PIN_STATISTICS* statistics) = 0;

protected:
    ~IQRN_PinStatistics() = default;
};
inline constexpr IID IID_IQRN_PinStatistics = qrn::Guid("7874D65D-CE82-411B-8D40-B9AF239846D5");
template <>
inline constexpr IID IID_Of<IQRN_PinStatistics> = IID_IQRN_PinStatistics;

/// Answered by the allocators of the framework's base classes.
struct IQRN_AllocatorStatistics : IUnknown {
    /// How many buffers are out, of how many there are to be.
    virtual HRESULT GetBufferUsage(LONG* inUse, LONG* count) = 0;

protected:
    ~IQRN_AllocatorStatistics() = default;
};
inline constexpr IID IID_IQRN_AllocatorStatistics = qrn::Guid("8240A28D-DEFF-43E1-8392-0998DA4AB748");
template <>
inline constexpr IID IID_Of<IQRN_AllocatorStatistics> = IID_IQRN_AllocatorStatistics;
