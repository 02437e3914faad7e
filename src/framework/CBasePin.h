#pragma once
/// The base of every pin: connection and negotiation.

#include <atomic>
#include <string>

#include "framework/CCritSec.h"
#include "framework/CMediaType.h"
#include "framework/CPinCounters.h"
#include "framework/CUnknown.h"
#include "platform/system/Lock.h"
#include "qrn/filters.h"

class CBaseFilter;

/// Part of its filter: references to a pin count on the filter. Connections change under the filter's lock and only
/// while the filter is stopped, so streaming threads read them freely. Other threads see a connection and its type
/// through IPin, at any time and without waiting for the filter's lock.
class CBasePin : public CUnknown, public IPin, public IQualityControl, public IQRN_PinStatistics {
public:
    DECLARE_IUNKNOWN

    /// @param result  receives a failure of construction; may be null. @param name  the pin's name and, by default, id.
    CBasePin(const wchar_t* objectName, CBaseFilter* filter, CCritSec* lock, HRESULT* result, const wchar_t* name,
             PIN_DIRECTION direction);
    ~CBasePin() override;

    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override;
    ULONG NonDelegatingAddRef() override;
    ULONG NonDelegatingRelease() override;

    // IPin
    HRESULT Connect(IPin* receivePin, const AM_MEDIA_TYPE* type) override;
    HRESULT ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) override;
    HRESULT Disconnect() override;
    HRESULT ConnectedTo(IPin** pin) override;
    HRESULT ConnectionMediaType(AM_MEDIA_TYPE* type) override;
    HRESULT QueryPinInfo(PIN_INFO* info) override;
    HRESULT QueryDirection(PIN_DIRECTION* direction) override;
    HRESULT QueryId(wchar_t** id) override;
    /// S_FALSE for a type that CheckMediaType refuses.
    HRESULT QueryAccept(const AM_MEDIA_TYPE* type) override;
    HRESULT EnumMediaTypes(IEnumMediaTypes** types) override;
    /// E_NOTIMPL: every input pin feeds every output pin.
    HRESULT QueryInternalConnections(IPin** pins, ULONG* count) override;
    HRESULT EndOfStream() override;
    HRESULT NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;

    // IQualityControl
    HRESULT Notify(IBaseFilter* self, Quality quality) override;
    HRESULT SetSink(IQualityControl* sink) override;

    // IQRN_PinStatistics
    HRESULT GetPinStatistics(QRN_PIN_STATISTICS* statistics) override;
    /// For whoever moves samples through this pin, on its streaming thread.
    qrn::CPinCounters& Counters() { return m_counters; }

    bool IsConnected() const { return m_Connected.Get() != nullptr; }
    /// The pin at the other end, not counted.
    IPin* GetConnected() const { return m_Connected.Get(); }
    bool IsStopped() const;
    const std::wstring& Name() const { return m_name; }

    // The negotiation; called with the filter's lock held.
    /// S_OK accepts.
    virtual HRESULT CheckMediaType(const CMediaType* type) = 0;
    /// The types that the pin offers, best first. VFW_S_NO_MORE_ITEMS past the last one. None by default.
    virtual HRESULT GetMediaType(int position, CMediaType* type);
    virtual HRESULT SetMediaType(const CMediaType* type);
    /// Before types are tried: whether this connection may be at all. VFW_E_INVALID_DIRECTION for two of a kind.
    virtual HRESULT CheckConnect(IPin* pin);
    /// The connection has come to nothing or has ended. May be called without a CheckConnect.
    virtual HRESULT BreakConnect();
    virtual HRESULT CompleteConnect(IPin* receivePin);

    // Streaming
    virtual HRESULT Active();
    virtual HRESULT Inactive();
    virtual HRESULT Run(REFERENCE_TIME start);

    /// The type of the connection.
    const CMediaType& CurrentMediaType() const { return m_mt; }
    CMediaType& CurrentMediaType() { return m_mt; }
    REFERENCE_TIME CurrentStartTime() const { return m_tStart; }
    REFERENCE_TIME CurrentStopTime() const { return m_tStop; }
    double CurrentRate() const { return m_dRate; }

    LONG GetMediaTypeVersion() const { return m_typeVersion; }
    /// To be called when the offered types change: enumerators notice.
    void IncrementTypeVersion() { ++m_typeVersion; }

    /// Allows connecting and disconnecting while the filter is active.
    void SetReconnectWhenActive(bool can) { m_bCanReconnectWhenActive = can; }

protected:
    HRESULT DisconnectInternal();

    CBaseFilter* const m_pFilter;
    CCritSec* const m_pLock;
    const PIN_DIRECTION m_dir;
    qrn::ComPtr<IPin> m_Connected;
    CMediaType m_mt;
    /// Which list Connect walks first: this pin's, or the other's.
    bool m_bTryMyTypesFirst = true;
    bool m_bCanReconnectWhenActive = false;
    /// A failure that ended the stream; samples are refused until the filter has been stopped.
    std::atomic<bool> m_bRunTimeError{false};
    /// Where quality messages go instead of upstream. Not counted, by the contract of SetSink.
    std::atomic<IQualityControl*> m_pQSink{nullptr};
    // The segment that NewSegment told. Streaming thread only.
    REFERENCE_TIME m_tStart = 0;
    REFERENCE_TIME m_tStop = INT64_MAX;
    double m_dRate = 1.0;

private:
    HRESULT AgreeMediaType(IPin* receivePin, const CMediaType& wanted);
    HRESULT TryMediaTypes(IPin* receivePin, const CMediaType& wanted, IEnumMediaTypes* types);
    HRESULT AttemptConnection(IPin* receivePin, const CMediaType& type);
    HRESULT TakeUpConnection(IPin* other, const CMediaType& type);
    void AbandonConnection();
    void SetConnected(qrn::ComPtr<IPin> pin);

    /// Held for single looks at m_Connected and m_mt from outside and while they are written, never while another
    /// object works: a look at the graph must not wait for a state change, nor a streaming thread for a look.
    mutable qrn::CMutex m_lookLock;
    qrn::CPinCounters m_counters;
    const std::wstring m_name;
    std::atomic<LONG> m_typeVersion{1};
};
