#include "netfilters/CVideoSender.h"

#include <utility>

#include "framework/Boundary.h"
#include "netfilters/FilterOfPin.h"
#include "platform/system/Log.h"
#include "rtp/RtpErrors.h"

namespace {

/// What stands for an encoder that is not known.
constexpr LONG kNoEncoder = 7;
/// A sample that is farther from stream time than this gets stream time.
constexpr REFERENCE_TIME kMostTimeError = 5000000;

}  // namespace

CUnknown* CVideoSender::CreateInstance(IUnknown* outer, HRESULT* result) {
    return qrn::CreateWithoutExceptions(result, [&] { return new CVideoSender(outer, result); });
}

CVideoSender::CVideoSender(IUnknown* outer, HRESULT* result)
    : CSenderFilter(CLSID_QRN_VideoSender, L"QRN Video Sender", MEDIATYPE_Video, E_FAIL, outer, result) {}

CVideoSender::~CVideoSender() = default;

HRESULT CVideoSender::CompleteConnect(IPin* receivePin) {
    SetCompressor(qrn::FilterOfPin<IQRN_VideoCompressor2>(receivePin));
    return S_OK;
}

HRESULT CVideoSender::BreakConnect() {
    SetCompressor(nullptr);
    return CBaseRenderer::BreakConnect();
}

/// The old one is let go of without the lock: it may be the last to hold its filter.
void CVideoSender::SetCompressor(qrn::ComPtr<IQRN_VideoCompressor2> compressor) {
    const qrn::CScopedLock lock(m_sessionLock);
    std::swap(m_compressor, compressor);
}

LONG CVideoSender::AskEncoder() {
    qrn::ComPtr<IQRN_VideoCompressor2> compressor;
    {
        const qrn::CScopedLock lock(m_sessionLock);
        compressor = m_compressor;
    }
    LONG encoder = kNoEncoder;
    if (compressor && FAILED(compressor->GetVideoEncoder(&encoder))) {
        encoder = kNoEncoder;
    }
    return encoder;
}

HRESULT CVideoSender::OnStartStreaming() {
    const LONG encoder = AskEncoder();
    const qrn::CScopedLock lock(m_sessionLock);
    for (CNetworkSender* session : {m_plainSession.get(), static_cast<CNetworkSender*>(m_pacedSession.get())}) {
        if (session == nullptr) {
            continue;
        }
        if (encoder < kNoEncoder) {  // others leave what the session had
            session->SetCodecIndex(static_cast<std::uint32_t>(encoder));
        }
        session->StartExternal();
    }
    // After its stream: frames that a stop left in the ring leave at once.
    if (m_pacedSession != nullptr && !m_pacedSession->Start()) {
        qrn::Log(qrn::LogLevel::kWarn, "netfilters", "video sender: the paced thread does not start");
        return E_FAIL;
    }
    return S_OK;
}

HRESULT CVideoSender::OnStopStreaming() {
    const qrn::CScopedLock lock(m_sessionLock);
    if (m_plainSession != nullptr) {
        m_plainSession->StopExternal();
    }
    if (m_pacedSession != nullptr) {
        m_pacedSession->Stop();
        m_pacedSession->StopExternal();
    }
    return S_OK;
}

CNetworkSender& CVideoSender::MakeSession() {
    if (!m_paced) {
        m_plainSession.reset();  // first: the new one may want its port
        m_plainSession = std::make_unique<CNetworkSender>();
        return *m_plainSession;
    }
    m_pacedSession.reset();
    m_pacedSession = std::make_unique<CNetworkTSender>();
    m_pacedSession->SetPacing(m_burstPackets, m_pacingRate);
    return *m_pacedSession;
}

CNetworkSender* CVideoSender::Session() {
    return m_pacedSession != nullptr ? m_pacedSession.get() : m_plainSession.get();
}

HRESULT CVideoSender::Send(IMediaSample& sample, std::span<const std::uint8_t> data) {
    const auto timestamp = static_cast<std::uint32_t>(CorrectedTime(sample) / kUnitsPerMs);
    const qrn::CScopedLock lock(m_sessionLock);
    if (m_pacedSession != nullptr) {
        // After a fault in its thread a session is not to be used any more.
        return !m_pacedSession->IsBroken() && m_pacedSession->EnqueueFrame(data, timestamp) == qrn::kRtpOk ? S_OK
                                                                                                           : E_FAIL;
    }
    return m_plainSession != nullptr && m_plainSession->SendVideoFrame(data, timestamp) == qrn::kRtpOk ? S_OK : E_FAIL;
}

/// The sample's time while it is near stream time: a source whose clock has gone astray must not take the far end's
/// lip sync with it.
REFERENCE_TIME CVideoSender::CorrectedTime(IMediaSample& sample) {
    REFERENCE_TIME start = 0;
    REFERENCE_TIME end = 0;
    if (FAILED(sample.GetTime(&start, &end))) {
        return 0;
    }
    REFERENCE_TIME now = 0;
    const bool hasClock = SUCCEEDED(StreamTime(now));
    return hasClock && (start < now - kMostTimeError || start > now + kMostTimeError) ? now : start;
}

HRESULT CVideoSender::SetTtl(DWORD ttl) {
    const qrn::CScopedLock lock(m_sessionLock);
    CNetworkSender* session = Session();
    if (session == nullptr) {
        return S_FALSE;
    }
    m_ttl = ttl;
    return session->SetMulticastTtl(ttl) == qrn::kRtpOk ? S_OK : E_FAIL;
}

HRESULT CVideoSender::SetStuffing(DWORD bitsPerFrame, DWORD port) {
    const qrn::CScopedLock lock(m_sessionLock);
    CNetworkSender* session = Session();
    if (session == nullptr) {
        return E_FAIL;
    }
    session->SetStuffing(static_cast<std::int32_t>(bitsPerFrame / 8), port);
    return S_OK;
}

HRESULT CVideoSender::SetTos(DWORD tos) {
    const qrn::CScopedLock lock(m_sessionLock);
    CNetworkSender* session = Session();
    if (session == nullptr || session->SetTos(tos) != qrn::kRtpOk) {
        return E_FAIL;
    }
    m_tos = tos;
    return S_OK;
}

HRESULT CVideoSender::SetPacing(DWORD burstPackets, DWORD rate) {
    const qrn::CScopedLock lock(m_sessionLock);
    m_paced = rate != 0;
    m_burstPackets = burstPackets;
    m_pacingRate = rate;
    return S_OK;
}
