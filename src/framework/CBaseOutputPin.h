#pragma once
/// An output pin that hands samples of an allocator to an input pin.

#include "framework/CBasePin.h"

/// Deliver and GetDeliveryBuffer belong to the streaming thread; the rest as CBasePin.
class CBaseOutputPin : public CBasePin {
public:
    CBaseOutputPin(const wchar_t* objectName, CBaseFilter* filter, CCritSec* lock, HRESULT* result,
                   const wchar_t* name);

    /// E_NOINTERFACE for a pin without IMemInputPin.
    HRESULT CheckConnect(IPin* pin) override;
    HRESULT BreakConnect() override;
    /// Agrees on the allocator.
    HRESULT CompleteConnect(IPin* receivePin) override;

    /// Commits the allocator; VFW_E_NO_ALLOCATOR without one.
    HRESULT Active() override;
    /// Decommits it, which ends a wait for a buffer.
    HRESULT Inactive() override;

    // An output pin is never told of these.
    HRESULT EndOfStream() override;
    HRESULT BeginFlush() override;
    HRESULT EndFlush() override;

    /// Takes the input pin's allocator if DecideBufferSize and the input pin agree to it, else one of its own.
    virtual HRESULT DecideAllocator(IMemInputPin* pin, IMemAllocator** allocator);
    /// Fills in the request (which holds what the input pin requires), sets it on the allocator and looks at what it
    /// got.
    virtual HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) = 0;
    /// Makes the pin's own allocator.
    virtual HRESULT InitAllocator(IMemAllocator** allocator);

    /// The next free sample; blocks. VFW_E_NOT_COMMITTED while the pin is inactive.
    virtual HRESULT GetDeliveryBuffer(IMediaSample** sample, const REFERENCE_TIME* start, const REFERENCE_TIME* end,
                                      DWORD flags);
    /// VFW_E_NOT_CONNECTED, or what the input pin answers; anything but S_OK ends the stream.
    virtual HRESULT Deliver(IMediaSample* sample);
    virtual HRESULT DeliverEndOfStream();
    virtual HRESULT DeliverBeginFlush();
    virtual HRESULT DeliverEndFlush();
    virtual HRESULT DeliverNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate);

    /// Not counted; null while not connected.
    IMemAllocator* Allocator() const { return m_pAllocator.Get(); }

protected:
    qrn::ComPtr<IMemAllocator> m_pAllocator;
    qrn::ComPtr<IMemInputPin> m_pInputPin;
};
