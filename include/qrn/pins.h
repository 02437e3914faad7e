#pragma once
/// Pins, filters, and the clock that they follow.

#include "qrn/samples.h"

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
