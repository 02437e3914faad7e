#pragma once
/// The sink filter "QRN Audio Sender": a codec's packets in, RTP out.

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>

#include "framework/CPersistStream.h"
#include "netfilters/CSenderFilter.h"

/// Has no thread of its own: samples leave on the graph's streaming thread.
class CAudioSender : public CSenderFilter<IQRN_AudioSender>, public CPersistStream {
public:
    /// Null with E_OUTOFMEMORY in `result` when there is no memory for it.
    static CUnknown* CreateInstance(IUnknown* outer, HRESULT* result);
    ~CAudioSender() override;

    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override;

    // CBaseRenderer
    HRESULT SetMediaType(const CMediaType* type) override;
    HRESULT OnStartStreaming() override;
    HRESULT OnStopStreaming() override;

    // CPersistStream: TTL, port word, type of service.
    HRESULT GetClassID(CLSID* id) override { return CBaseRenderer::GetClassID(id); }
    int SizeMax() override;
    HRESULT WriteToStream(IStream* stream) override;
    HRESULT ReadFromStream(IStream* stream) override;

    // IQRN_AudioSender
    HRESULT SetTtl(DWORD ttl) override;
    HRESULT SetTos(DWORD tos) override;

protected:
    CNetworkSender& MakeSession() override QRN_REQUIRES(m_sessionLock);
    CNetworkSender* Session() override QRN_REQUIRES(m_sessionLock) { return m_session.get(); }
    /// S_FALSE when sending failed.
    HRESULT Send(IMediaSample& sample, std::span<const std::uint8_t> data) override QRN_EXCLUDES(m_sessionLock);

private:
    CAudioSender(IUnknown* outer, HRESULT* result);

    int SendPackets(std::span<const std::uint8_t> data, std::uint32_t timestamp) QRN_REQUIRES(m_sessionLock);
    void NoteSendResult(int result) QRN_REQUIRES(m_sessionLock);

    std::unique_ptr<CNetworkSender> m_session QRN_GUARDED_BY(m_sessionLock);
    int m_lastSendResult QRN_GUARDED_BY(m_sessionLock) = 0;
    std::atomic<WORD> m_formatTag{0};
};
