#pragma once
/// What the two senders have in common.

#include <atomic>
#include <cstdint>
#include <span>
#include <string>

#include "framework/CBaseRenderer.h"
#include "platform/system/Lock.h"
#include "qrn/QRN_Media2.h"
#include "rtp/CNetworkSender.h"

/// A sink that gives each sample to a session on the graph's streaming thread: the settings, the session's set-up and
/// the choice of the samples that leave. A host may change everything while the graph runs, also open anew:
/// m_sessionLock keeps the session while a sample is sent. It is taken last and held while a sample's packets leave,
/// which a full socket may delay by a few tenths of a second.
/// @tparam Sender  IQRN_AudioSender or IQRN_VideoSender
template <class Sender>
class CSenderFilter : public CBaseRenderer, public Sender, public IQRN_NetworkStatistics {
public:
    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override;

    // CBaseRenderer
    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT ShouldDrawSampleNow(IMediaSample* sample, REFERENCE_TIME* start, REFERENCE_TIME* end) override;
    /// S_OK also for a sample that is dropped.
    HRESULT DoRenderSample(IMediaSample* sample) override;

    // Both interfaces
    HRESULT OpenNetwork() override;
    HRESULT SetLocalPort(DWORD portWord) override;
    HRESULT GetLocalPort(DWORD* portWord) override;
    HRESULT SetLocalAddress(const wchar_t* address) override;
    HRESULT GetLocalAddress(wchar_t** address) override;
    HRESULT AddDestination(const wchar_t* address, DWORD port) override;
    HRESULT RemoveDestination(const wchar_t* address, DWORD port) override;
    HRESULT GetTtl(DWORD* ttl) override;
    HRESULT SetEnabled(BYTE enabled) override;
    HRESULT GetEnabled(BYTE* enabled) override;
    HRESULT GetTos(DWORD* tos) override;
    HRESULT SetExternalTransport(IExternalTransport* transport) override;
    HRESULT SetParityGroup(DWORD groupSize) override;
    HRESULT SetMaxPacketSize(DWORD bytes) override;
    HRESULT GetMaxPacketSize(DWORD* bytes) override;
    HRESULT SetRenderAtOnce(BYTE atOnce) override;

    // IQRN_NetworkStatistics
    HRESULT GetSendStatistics(QRN_SEND_STATISTICS* statistics) override;
    HRESULT GetReceiveStatistics(DWORD /*channel*/, QRN_RECEIVE_STATISTICS* /*statistics*/) override {
        return E_NOTIMPL;
    }

protected:
    /// @param withoutSession  the answer to a change of destinations that finds no session
    CSenderFilter(REFCLSID classId, const wchar_t* name, const GUID& majorType, HRESULT withoutSession, IUnknown* outer,
                  HRESULT* result);

    /// Lets go of the session that is open and makes a new one, which is opened then.
    virtual CNetworkSender& MakeSession() QRN_REQUIRES(m_sessionLock) = 0;
    /// The session that packets leave through; null before the first OpenNetwork.
    virtual CNetworkSender* Session() QRN_REQUIRES(m_sessionLock) = 0;
    /// Sends what a sample holds, which is at least one byte.
    virtual HRESULT Send(IMediaSample& sample, std::span<const std::uint8_t> data) QRN_EXCLUDES(m_sessionLock) = 0;

    /// The wire's unit is the millisecond.
    static constexpr REFERENCE_TIME kUnitsPerMs = 10000;

    qrn::CMutex m_sessionLock;
    DWORD m_ttl QRN_GUARDED_BY(m_sessionLock) = 128;  // the socket itself starts at 1
    DWORD m_portWord QRN_GUARDED_BY(m_sessionLock) = 0;
    DWORD m_tos QRN_GUARDED_BY(m_sessionLock) = 0;

private:
    using DestinationOperation = int (CNetworkSender::*)(const char* addressText, std::uint32_t port);

    HRESULT ChangeDestination(DestinationOperation operation, const wchar_t* address, DWORD port);

    const GUID m_majorType;
    const HRESULT m_withoutSession;
    DWORD m_parityGroup QRN_GUARDED_BY(m_sessionLock) = 0;
    IExternalTransport* m_transport QRN_GUARDED_BY(m_sessionLock) = nullptr;
    std::string m_localAddress QRN_GUARDED_BY(m_sessionLock) = "0.0.0.0";

    // Single words that the host's thread touches while a stream runs.
    std::atomic<bool> m_enabled{true};
    std::atomic<bool> m_renderAtOnce{true};
};

extern template class CSenderFilter<IQRN_AudioSender>;
extern template class CSenderFilter<IQRN_VideoSender>;
