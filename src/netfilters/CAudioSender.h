#pragma once
/// The sink filter "QRN Audio Sender": a codec's packets in, RTP out.

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "framework/CBaseRenderer.h"
#include "framework/CPersistStream.h"
#include "platform/system/Lock.h"
#include "qrn/QRN_Media2.h"
#include "rtp/CNetworkSender.h"

/// Gives each sample to a session on the graph's streaming thread; has no thread of its own. A host may change
/// everything while the graph runs, also open anew: m_sessionLock keeps the session while a sample is sent. It is taken
/// last and held while a sample's packets leave, which a full socket may delay by a few tenths of a second.
class CAudioSender :
    public CBaseRenderer,
    public CPersistStream,
    public IQRN_AudioSender,
    public IQRN_NetworkStatistics {
public:
    /// Null with E_OUTOFMEMORY in `result` when there is no memory for it.
    static CUnknown* CreateInstance(IUnknown* outer, HRESULT* result);
    ~CAudioSender() override;

    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override;

    // CBaseRenderer
    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT SetMediaType(const CMediaType* type) override;
    HRESULT OnStartStreaming() override;
    HRESULT OnStopStreaming() override;
    HRESULT ShouldDrawSampleNow(IMediaSample* sample, REFERENCE_TIME* start, REFERENCE_TIME* end) override;
    /// S_OK also for a sample that is dropped; S_FALSE when sending failed.
    HRESULT DoRenderSample(IMediaSample* sample) override;

    // CPersistStream: TTL, port word, type of service.
    HRESULT GetClassID(CLSID* id) override { return CBaseRenderer::GetClassID(id); }
    int SizeMax() override;
    HRESULT WriteToStream(IStream* stream) override;
    HRESULT ReadFromStream(IStream* stream) override;

    // IQRN_AudioSender
    HRESULT OpenNetwork() override;
    HRESULT SetLocalPort(DWORD portWord) override;
    HRESULT GetLocalPort(DWORD* portWord) override;
    HRESULT SetLocalAddress(const wchar_t* address) override;
    HRESULT GetLocalAddress(wchar_t** address) override;
    HRESULT AddDestination(const wchar_t* address, DWORD port) override;
    HRESULT RemoveDestination(const wchar_t* address, DWORD port) override;
    HRESULT SetTtl(DWORD ttl) override;
    HRESULT GetTtl(DWORD* ttl) override;
    HRESULT SetEnabled(BYTE enabled) override;
    HRESULT GetEnabled(BYTE* enabled) override;
    HRESULT SetTos(DWORD tos) override;
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

private:
    using DestinationOperation = int (CNetworkSender::*)(const char* addressText, std::uint32_t port);

    CAudioSender(IUnknown* outer, HRESULT* result);

    HRESULT ChangeDestination(DestinationOperation operation, const wchar_t* address, DWORD port);
    int Send(std::span<const std::uint8_t> data, std::uint32_t timestamp) QRN_REQUIRES(m_sessionLock);
    void NoteSendResult(int result) QRN_REQUIRES(m_sessionLock);

    qrn::CMutex m_sessionLock;
    DWORD m_ttl QRN_GUARDED_BY(m_sessionLock) = 128;  // the socket itself starts at 1
    DWORD m_portWord QRN_GUARDED_BY(m_sessionLock) = 0;
    DWORD m_tos QRN_GUARDED_BY(m_sessionLock) = 0;
    DWORD m_parityGroup QRN_GUARDED_BY(m_sessionLock) = 0;
    IExternalTransport* m_transport QRN_GUARDED_BY(m_sessionLock) = nullptr;
    std::string m_localAddress QRN_GUARDED_BY(m_sessionLock) = "0.0.0.0";
    std::unique_ptr<CNetworkSender> m_session QRN_GUARDED_BY(m_sessionLock);
    int m_lastSendResult QRN_GUARDED_BY(m_sessionLock) = 0;

    // Single words that the host's thread touches while a stream runs.
    std::atomic<bool> m_enabled{true};
    std::atomic<bool> m_renderAtOnce{true};
    std::atomic<WORD> m_formatTag{0};
};
