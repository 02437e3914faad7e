#include "netfilters/CAudioSender.h"

#include <cstring>

#include "audiocoding/AudioFilterHelp.h"
#include "framework/Boundary.h"
#include "platform/system/Log.h"
#include "rtp/RtpErrors.h"

namespace {

constexpr const char* kLogArea = "netfilters";

constexpr WORD kTagMp3 = kQrnAudioFormatTag + kQrnCodecMp3;
constexpr WORD kTagOpus = kQrnAudioFormatTag + kQrnCodecOpus;

bool IsCodecTag(WORD tag) {
    return tag >= kQrnAudioFormatTag && tag < kQrnAudioFormatTag + kQrnAudioCodecCount;
}

}  // namespace

CUnknown* CAudioSender::CreateInstance(IUnknown* outer, HRESULT* result) {
    return qrn::CreateWithoutExceptions(result, [&] { return new CAudioSender(outer, result); });
}

CAudioSender::CAudioSender(IUnknown* outer, HRESULT* result)
    : CSenderFilter(CLSID_QRN_AudioSender, L"QRN Audio Sender", MEDIATYPE_Audio, S_OK, outer, result),
      CPersistStream(outer, result) {}

CAudioSender::~CAudioSender() = default;

HRESULT CAudioSender::NonDelegatingQueryInterface(REFIID id, void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    if (id == IID_IPersistStream) {
        return GetInterface(static_cast<IPersistStream*>(this), object);
    }
    return CSenderFilter::NonDelegatingQueryInterface(id, object);
}

HRESULT CAudioSender::SetMediaType(const CMediaType* type) {
    if (type == nullptr) {
        return E_POINTER;
    }
    if (type->Format() == nullptr) {
        return E_OUTOFMEMORY;
    }
    WORD tag = 0;
    if (type->FormatLength() < sizeof(tag)) {
        return E_INVALIDARG;
    }
    std::memcpy(&tag, type->Format(), sizeof(tag));
    m_formatTag = tag;
    return S_OK;
}

HRESULT CAudioSender::OnStartStreaming() {
    const qrn::CScopedLock lock(m_sessionLock);
    if (m_session != nullptr) {
        m_session->StartExternal();
    }
    return S_OK;
}

HRESULT CAudioSender::OnStopStreaming() {
    const qrn::CScopedLock lock(m_sessionLock);
    if (m_session != nullptr) {
        m_session->StopExternal();
    }
    return S_OK;
}

CNetworkSender& CAudioSender::MakeSession() {
    m_session.reset();  // first: the new one may want its port
    m_session = std::make_unique<CNetworkSender>();
    m_lastSendResult = qrn::kRtpOk;
    return *m_session;
}

HRESULT CAudioSender::Send(IMediaSample& sample, std::span<const std::uint8_t> data) {
    REFERENCE_TIME start = 0;
    REFERENCE_TIME end = 0;
    if (FAILED(sample.GetTime(&start, &end))) {
        start = 0;
    }
    const qrn::CScopedLock lock(m_sessionLock);
    if (m_session == nullptr) {
        return S_OK;
    }
    if (!IsCodecTag(m_formatTag)) {
        return E_FAIL;
    }
    const int result = SendPackets(data, static_cast<std::uint32_t>(start / kUnitsPerMs));
    NoteSendResult(result);
    return result == qrn::kRtpOk ? S_OK : S_FALSE;
}

int CAudioSender::SendPackets(std::span<const std::uint8_t> data, std::uint32_t timestamp) {
    switch (m_formatTag) {
        case kTagMp3:
            return m_session->SendFrame(data, timestamp, qrn::kPayloadMp3);
        case kTagOpus:
            return m_session->SendFrame(data, timestamp, qrn::kPayloadOpus);
        default:
            return m_session->SendSingle(data, timestamp);
    }
}

void CAudioSender::NoteSendResult(int result) {
    if (result != m_lastSendResult && result != qrn::kRtpOk) {
        const char* text = qrn::RtpErrorText(result);
        qrn::Log(qrn::LogLevel::kWarn, kLogArea, "audio sender: packets do not leave: %s (%d)",
                 text != nullptr ? text : "unknown failure", result);
    }
    m_lastSendResult = result;
}

int CAudioSender::SizeMax() {
    return 3 * sizeof(DWORD);
}

HRESULT CAudioSender::WriteToStream(IStream* stream) {
    const qrn::CScopedLock lock(m_sessionLock);
    for (const DWORD value : {m_ttl, m_portWord, m_tos}) {
        if (const HRESULT result = qrn::WriteLittleEndian(stream, value); FAILED(result)) {
            return result;
        }
    }
    return S_OK;
}

HRESULT CAudioSender::ReadFromStream(IStream* stream) {
    if (mPS_dwFileVersion != GetSoftwareVersion()) {
        return E_FAIL;
    }
    DWORD ttl = 0;
    DWORD portWord = 0;
    DWORD tos = 0;
    for (DWORD* value : {&ttl, &portWord, &tos}) {
        if (const HRESULT result = qrn::ReadLittleEndian(stream, value); FAILED(result)) {
            return result;
        }
    }
    const qrn::CScopedLock lock(m_sessionLock);
    m_ttl = ttl;
    m_portWord = portWord;
    m_tos = tos;
    return S_OK;
}

HRESULT CAudioSender::SetTtl(DWORD ttl) {
    const qrn::CScopedLock lock(m_sessionLock);
    if (m_session == nullptr) {
        return S_OK;
    }
    m_ttl = ttl;
    return m_session->SetMulticastTtl(ttl) == qrn::kRtpOk ? S_OK : S_FALSE;
}

HRESULT CAudioSender::SetTos(DWORD tos) {
    const qrn::CScopedLock lock(m_sessionLock);
    if (m_session == nullptr) {
        return S_OK;
    }
    m_tos = tos;
    return m_session->SetTos(tos) == qrn::kRtpOk ? S_OK : E_FAIL;
}
