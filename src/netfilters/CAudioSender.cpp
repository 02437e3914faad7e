#include "netfilters/CAudioSender.h"

#include <cstring>

#include "audiocoding/AudioFilterHelp.h"
#include "netfilters/NetworkStatistics.h"
#include "platform/com/TaskMemory.h"
#include "platform/com/Text.h"
#include "platform/system/Log.h"
#include "rtp/RtpErrors.h"

namespace {

constexpr const char* kLogArea = "netfilters";
/// The wire's unit is the millisecond.
constexpr REFERENCE_TIME kUnitsPerMs = 10000;
/// Has no effect, and every session is given it.
constexpr double kTimestampUnit = 0.000125;

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
    : CBaseRenderer(CLSID_QRN_AudioSender, L"QRN Audio Sender", outer, result),
      CPersistStream(outer, result) {}

CAudioSender::~CAudioSender() = default;

HRESULT CAudioSender::NonDelegatingQueryInterface(REFIID id, void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    if (id == IID_IQRN_AudioSender) {
        return GetInterface(static_cast<IQRN_AudioSender*>(this), object);
    }
    if (id == IID_IQRN_NetworkStatistics) {
        return GetInterface(static_cast<IQRN_NetworkStatistics*>(this), object);
    }
    if (id == IID_IPersistStream) {
        return GetInterface(static_cast<IPersistStream*>(this), object);
    }
    return CBaseRenderer::NonDelegatingQueryInterface(id, object);
}

HRESULT CAudioSender::CheckMediaType(const CMediaType* type) {
    if (!m_enabled) {
        return E_FAIL;
    }
    // Subtype and format are not looked at: a stream of another codec connects, and its samples fail.
    return type != nullptr && *type->Type() == MEDIATYPE_Audio ? S_OK : E_INVALIDARG;
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

HRESULT CAudioSender::ShouldDrawSampleNow(IMediaSample* sample, REFERENCE_TIME* start, REFERENCE_TIME* end) {
    return m_renderAtOnce ? S_OK : CBaseRenderer::ShouldDrawSampleNow(sample, start, end);
}

HRESULT CAudioSender::DoRenderSample(IMediaSample* sample) {
    if (sample == nullptr) {
        return E_FAIL;
    }
    if (!m_enabled || sample->IsPreroll() == S_OK || sample->GetActualDataLength() < 1) {
        return S_OK;
    }
    BYTE* buffer = nullptr;
    if (const HRESULT result = sample->GetPointer(&buffer); FAILED(result)) {
        return result;
    }
    REFERENCE_TIME start = 0;
    REFERENCE_TIME end = 0;
    if (FAILED(sample->GetTime(&start, &end))) {
        start = 0;
    }
    const qrn::CScopedLock lock(m_sessionLock);
    if (m_session == nullptr) {
        return S_OK;
    }
    if (!IsCodecTag(m_formatTag)) {
        return E_FAIL;
    }
    const int result = Send(qrn::DataOf(*sample, buffer), static_cast<std::uint32_t>(start / kUnitsPerMs));
    NoteSendResult(result);
    return result == qrn::kRtpOk ? S_OK : S_FALSE;
}

int CAudioSender::Send(std::span<const std::uint8_t> data, std::uint32_t timestamp) {
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

HRESULT CAudioSender::OpenNetwork() {
    const qrn::CScopedLock lock(m_sessionLock);
    m_session.reset();  // first: the new one may want its port
    m_session = std::make_unique<CNetworkSender>();
    m_session->SetExternalTransport(m_transport);
    m_session->SetParityGroup(m_parityGroup);
    m_lastSendResult = qrn::kRtpOk;
    const int result = m_session->Open(m_portWord, m_localAddress.c_str(), kTimestampUnit, true);
    return result < 0 ? E_FAIL : S_OK;
}

HRESULT CAudioSender::SetLocalPort(DWORD portWord) {
    const qrn::CScopedLock lock(m_sessionLock);
    m_portWord = portWord;
    return S_OK;
}

HRESULT CAudioSender::GetLocalPort(DWORD* portWord) {
    if (portWord == nullptr) {
        return E_INVALIDARG;
    }
    const qrn::CScopedLock lock(m_sessionLock);
    *portWord = m_portWord;
    return S_OK;
}

HRESULT CAudioSender::SetLocalAddress(const wchar_t* address) {
    if (address == nullptr) {
        return E_INVALIDARG;
    }
    return qrn::WithoutExceptions([&] {
        std::string narrow = qrn::ToUtf8(address);
        const qrn::CScopedLock lock(m_sessionLock);
        m_localAddress = std::move(narrow);
        return S_OK;
    });
}

HRESULT CAudioSender::GetLocalAddress(wchar_t** address) {
    if (address == nullptr) {
        return E_INVALIDARG;
    }
    return qrn::WithoutExceptions([&] {
        const qrn::CScopedLock lock(m_sessionLock);
        *address = qrn::CopyToTaskMemory(qrn::ToWide(m_localAddress));
        return *address != nullptr ? S_OK : E_OUTOFMEMORY;
    });
}

HRESULT CAudioSender::AddDestination(const wchar_t* address, DWORD port) {
    return ChangeDestination(&CNetworkSender::AddDestination, address, port);
}

HRESULT CAudioSender::RemoveDestination(const wchar_t* address, DWORD port) {
    return ChangeDestination(&CNetworkSender::RemoveDestination, address, port);
}

HRESULT CAudioSender::ChangeDestination(DestinationOperation operation, const wchar_t* address, DWORD port) {
    return qrn::WithoutExceptions([&] {
        const qrn::CScopedLock lock(m_sessionLock);
        if (m_session == nullptr) {
            return S_OK;
        }
        if (address == nullptr) {
            return E_INVALIDARG;
        }
        return ((*m_session).*operation)(qrn::ToUtf8(address).c_str(), port) == qrn::kRtpOk ? S_OK : E_FAIL;
    });
}

HRESULT CAudioSender::SetTtl(DWORD ttl) {
    const qrn::CScopedLock lock(m_sessionLock);
    if (m_session == nullptr) {
        return S_OK;
    }
    m_ttl = ttl;
    return m_session->SetMulticastTtl(ttl) == qrn::kRtpOk ? S_OK : S_FALSE;
}

HRESULT CAudioSender::GetTtl(DWORD* ttl) {
    if (ttl == nullptr) {
        return E_INVALIDARG;
    }
    const qrn::CScopedLock lock(m_sessionLock);
    *ttl = m_ttl;
    return S_OK;
}

HRESULT CAudioSender::SetEnabled(BYTE enabled) {
    m_enabled = enabled != 0;
    return S_OK;
}

HRESULT CAudioSender::GetEnabled(BYTE* enabled) {
    if (enabled == nullptr) {
        return E_INVALIDARG;
    }
    *enabled = m_enabled ? 1 : 0;
    return S_OK;
}

HRESULT CAudioSender::SetTos(DWORD tos) {
    const qrn::CScopedLock lock(m_sessionLock);
    if (m_session == nullptr) {
        return S_OK;
    }
    m_tos = tos;
    return m_session->SetTos(tos) == qrn::kRtpOk ? S_OK : E_FAIL;
}

HRESULT CAudioSender::GetTos(DWORD* tos) {
    if (tos == nullptr) {
        return E_INVALIDARG;
    }
    const qrn::CScopedLock lock(m_sessionLock);
    *tos = m_tos;
    return S_OK;
}

HRESULT CAudioSender::SetExternalTransport(IExternalTransport* transport) {
    const qrn::CScopedLock lock(m_sessionLock);
    m_transport = transport;
    return S_OK;
}

HRESULT CAudioSender::SetParityGroup(DWORD groupSize) {
    const qrn::CScopedLock lock(m_sessionLock);
    m_parityGroup = groupSize;
    return S_OK;
}

HRESULT CAudioSender::SetMaxPacketSize(DWORD bytes) {
    if (bytes == 0) {
        return S_OK;
    }
    const qrn::CScopedLock lock(m_sessionLock);
    if (m_session == nullptr) {
        return E_FAIL;
    }
    m_session->SetPacketLimit(static_cast<std::int32_t>(bytes));  // a size refused is not reported
    return S_OK;
}

HRESULT CAudioSender::GetMaxPacketSize(DWORD* bytes) {
    if (bytes == nullptr) {
        return E_INVALIDARG;
    }
    const qrn::CScopedLock lock(m_sessionLock);
    if (m_session == nullptr) {
        return E_FAIL;
    }
    *bytes = static_cast<DWORD>(m_session->PayloadSize() + qrn::kRtpHeaderBytes);
    return S_OK;
}

HRESULT CAudioSender::SetRenderAtOnce(BYTE atOnce) {
    m_renderAtOnce = atOnce != 0;
    return S_OK;
}

HRESULT CAudioSender::GetSendStatistics(QRN_SEND_STATISTICS* statistics) {
    const qrn::CScopedLock lock(m_sessionLock);
    return qrn::ReadStatistics(m_session.get(), statistics);
}
