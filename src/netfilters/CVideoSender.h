#pragma once
/// The sink filter "QRN Video Sender": a codec's frames in, RTP out.

#include <cstdint>
#include <memory>
#include <span>

#include "netfilters/CSenderFilter.h"
#include "rtp/CNetworkTSender.h"

/// Frames leave on the graph's streaming thread through a plain session, or on the thread of a paced one, which runs
/// while the graph does. The filter asks the compressor before it which encoder is at work.
class CVideoSender : public CSenderFilter<IQRN_VideoSender> {
public:
    /// Null with E_OUTOFMEMORY in `result` when there is no memory for it.
    static CUnknown* CreateInstance(IUnknown* outer, HRESULT* result);
    ~CVideoSender() override;

    // CBaseRenderer
    HRESULT CompleteConnect(IPin* receivePin) override;
    HRESULT BreakConnect() override;
    HRESULT OnStartStreaming() override;
    HRESULT OnStopStreaming() override;

    // IQRN_VideoSender
    HRESULT SetTtl(DWORD ttl) override;
    HRESULT SetStuffing(DWORD bitsPerFrame, DWORD port) override;
    HRESULT SetTos(DWORD tos) override;
    HRESULT SetPacing(DWORD burstPackets, DWORD rate) override;

protected:
    CNetworkSender& MakeSession() override QRN_REQUIRES(m_sessionLock);
    CNetworkSender* Session() override QRN_REQUIRES(m_sessionLock);
    /// E_FAIL without a session. A frame that does not leave is one that was lost: S_OK.
    HRESULT Send(IMediaSample& sample, std::span<const std::uint8_t> data) override QRN_EXCLUDES(m_sessionLock);

private:
    CVideoSender(IUnknown* outer, HRESULT* result);

    void SetCompressor(qrn::ComPtr<IQRN_VideoCompressor2> compressor);
    LONG AskEncoder();
    REFERENCE_TIME CorrectedTime(IMediaSample& sample);

    bool m_paced QRN_GUARDED_BY(m_sessionLock) = false;  // the next session is
    DWORD m_burstPackets QRN_GUARDED_BY(m_sessionLock) = 0;
    DWORD m_pacingRate QRN_GUARDED_BY(m_sessionLock) = 0;  // kbit/s
    // Opening one leaves the other as it is; the paced one counts where both are there.
    std::unique_ptr<CNetworkTSender> m_pacedSession QRN_GUARDED_BY(m_sessionLock);
    std::unique_ptr<CNetworkSender> m_plainSession QRN_GUARDED_BY(m_sessionLock);
    qrn::ComPtr<IQRN_VideoCompressor2> m_compressor QRN_GUARDED_BY(m_sessionLock);  // of the filter before this one
};
