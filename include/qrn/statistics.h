#pragma once
/// What a running pin counts.

#include "qrn/com.h"

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
