#pragma once
/// An input pin that receives samples.

#include <atomic>

#include "framework/CBasePin.h"

/// Receive, EndOfStream and NewSegment come on the upstream filter's streaming thread; flushes on any thread.
class CBaseInputPin : public CBasePin, public IMemInputPin {
public:
    DECLARE_IUNKNOWN

    CBaseInputPin(const wchar_t* objectName, CBaseFilter* filter, CCritSec* lock, HRESULT* result, const wchar_t* name);

    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override;

    HRESULT BreakConnect() override;

    // IPin
    /// From here on Receive answers S_FALSE. The caller holds the filter's lock and passes the flush on.
    HRESULT BeginFlush() override;
    HRESULT EndFlush() override;

    // IMemInputPin
    HRESULT GetAllocator(IMemAllocator** allocator) override;
    HRESULT NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) override;
    /// E_NOTIMPL: no wishes.
    HRESULT GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) override;
    /// Checks the state and takes down the sample's properties (SampleProps). S_OK: to be worked on. A sample with a
    /// new type that CheckMediaType refuses ends the stream with EC_ERRORABORT and VFW_E_INVALIDMEDIATYPE.
    HRESULT Receive(IMediaSample* sample) override;
    /// One by one, until a Receive answers anything but S_OK.
    HRESULT ReceiveMultiple(IMediaSample** samples, LONG count, LONG* processed) override;
    /// S_FALSE when none of the filters that this one feeds blocks; S_OK also for a filter that feeds none.
    HRESULT ReceiveCanBlock() override;

    HRESULT Inactive() override;

    /// S_OK, S_FALSE while flushing, VFW_E_NOT_CONNECTED, VFW_E_WRONG_STATE while stopped, VFW_E_RUNTIME_ERROR after a
    /// failure that ended the stream.
    virtual HRESULT CheckStreaming();

    /// Passes a quality message upstream, or to the sink that was set. VFW_E_NOT_FOUND when nobody takes it.
    HRESULT PassNotify(const Quality& quality);

    bool IsReadOnly() const { return m_bReadOnly; }
    bool IsFlushing() const { return m_bFlushing; }
    /// Not counted.
    IMemAllocator* Allocator() const { return m_pAllocator.Get(); }
    /// Of the sample that Receive was given last. Its pMediaType lives as long as that sample. Streaming thread only.
    AM_SAMPLE2_PROPERTIES* SampleProps() { return &m_SampleProps; }

protected:
    qrn::ComPtr<IMemAllocator> m_pAllocator;
    bool m_bReadOnly = false;
    std::atomic<bool> m_bFlushing{false};

private:
    HRESULT AcceptSample(IMediaSample* sample);
    void ReadSampleProperties(IMediaSample* sample);

    AM_SAMPLE2_PROPERTIES m_SampleProps{};
};
