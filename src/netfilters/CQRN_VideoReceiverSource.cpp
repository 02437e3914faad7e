#include "netfilters/CQRN_VideoReceiverSource.h"

#include <cstdlib>
#include <limits>
#include <string>
#include <utility>

#include "framework/Boundary.h"
#include "netfilters/CQRN_VideoReceiverPin.h"
#include "platform/com/Text.h"
#include "rtp/RtpErrors.h"

namespace {

constexpr std::uint32_t kFirstRingFrames = 20;
constexpr DWORD kFirstRefusedEncoder = 10;
constexpr DWORD kLastRefusedEncoder = 14;
/// From here on an id leaves the payload type as it is.
constexpr DWORD kEncodersWithPayloadType = 7;
constexpr REFERENCE_TIME kUnitsPerSecond = 10'000'000;

constexpr DWORD FourCharacterCode(const GUID& subtype) {
    return subtype.Data1;
}

/// Room for one byte per pixel in rows of whole 32-bit words, which no compressed frame is larger than.
std::uint64_t ImageBytes(const BITMAPINFOHEADER& picture, DWORD width) {
    const std::uint64_t rowBytes = (std::uint64_t{width} * picture.biBitCount + 31) / 8 / 4 * 4;
    return rowBytes * static_cast<std::uint64_t>(std::llabs(picture.biHeight));
}

VIDEOINFOHEADER CodedFormat(DWORD width, DWORD height, DWORD framesPerSecond, const GUID& subtype) {
    VIDEOINFOHEADER format{};
    format.AvgTimePerFrame = kUnitsPerSecond / framesPerSecond;
    format.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
    format.bmiHeader.biWidth = static_cast<LONG>(width);
    format.bmiHeader.biHeight = static_cast<LONG>(height);
    format.bmiHeader.biPlanes = 1;
    format.bmiHeader.biBitCount = 8;
    format.bmiHeader.biCompression = FourCharacterCode(subtype);
    return format;
}

}  // namespace

CUnknown* CQRN_VideoReceiverSource::CreateInstance(IUnknown* outer, HRESULT* result) {
    return qrn::CreateWithoutExceptions(result, [&] { return new CQRN_VideoReceiverSource(outer, result); });
}

CQRN_VideoReceiverSource::CQRN_VideoReceiverSource(IUnknown* outer, HRESULT* result)
    : CReceiverFilter(CLSID_QRN_VideoReceiver, L"QRN Video Receiver", kFirstRingFrames, outer, result) {
    // The pin adds itself to the filter, which deletes it.
    [[maybe_unused]] const auto* pin = new CQRN_VideoReceiverPin(this, result, CVideoReceiver::Clock());
}  // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks): see above

CQRN_VideoReceiverSource::~CQRN_VideoReceiverSource() {
    StopEngine();
}

int CQRN_VideoReceiverSource::OnFrame(const CPacket& frame) {
    if (frame.m_lost != 0) {
        ++m_damagedFrames;
    }
    Push(frame);
    return 0;
}

LONG CQRN_VideoReceiverSource::FrameCapacity() const {
    const qrn::CScopedLock lock(m_setupLock);
    return IsConfigured() ? static_cast<LONG>(m_capacity.load()) : -1;
}

VideoReceiverLinks CQRN_VideoReceiverSource::Links() const {
    const qrn::CScopedLock lock(m_setupLock);
    return m_links;
}

/// Here and in Link the old one is let go of without the lock: nobody else may hold it any more.
void CQRN_VideoReceiverSource::SetDecompressor(qrn::ComPtr<IQRN_VideoDeCompressor> decompressor) {
    const qrn::CScopedLock lock(m_setupLock);
    std::swap(m_links.decompressor, decompressor);
}

void CQRN_VideoReceiverSource::AskDecompressor() {
    const auto decompressor = Links().decompressor;
    DWORD isVp8 = 0;
    if (decompressor && SUCCEEDED(decompressor->GetIsVp8(&isVp8))) {
        m_tolerateGaps = isVp8;
    }
}

HRESULT CQRN_VideoReceiverSource::SetFormat(DWORD width, DWORD height, DWORD framesPerSecond, DWORD encoder) {
    if (encoder >= kFirstRefusedEncoder && encoder <= kLastRefusedEncoder) {
        return E_FAIL;
    }
    if (framesPerSecond == 0) {
        return E_INVALIDARG;
    }
    const GUID& subtype = encoder == 0 ? MEDIASUBTYPE_QRN1 : MEDIASUBTYPE_QRN2;
    VIDEOINFOHEADER format = CodedFormat(width, height, framesPerSecond, subtype);
    const std::uint64_t capacity = ImageBytes(format.bmiHeader, width);
    if (capacity > std::uint64_t{std::numeric_limits<LONG>::max()}) {
        return E_INVALIDARG;
    }
    format.bmiHeader.biSizeImage = static_cast<DWORD>(capacity);
    CMediaType type(&MEDIATYPE_Video);
    type.SetSubtype(&subtype);
    type.SetFormatType(&FORMAT_VideoInfo);
    type.SetTemporalCompression(TRUE);
    type.SetVariableSize();
    type.lSampleSize = static_cast<ULONG>(capacity);
    if (!type.SetFormat(reinterpret_cast<const BYTE*>(&format), sizeof(format))) {
        return E_OUTOFMEMORY;
    }
    const qrn::CScopedLock lock(m_setupLock);
    if (const HRESULT result = Configure(type); FAILED(result)) {
        return result;
    }
    if (encoder < kEncodersWithPayloadType) {
        m_codecIndex = encoder;
    }
    m_links.framePeriodMs = 1000 / framesPerSecond;
    m_capacity = static_cast<std::uint32_t>(capacity);
    return S_OK;
}

int CQRN_VideoReceiverSource::OpenEngine(DWORD /*channel*/, IExternalTransport* transport) {
    return OpenSession(transport);
}

HRESULT CQRN_VideoReceiverSource::JoinGroup(const wchar_t* address) {
    return ChangeGroup(&CNetworkReceiver::JoinGroup, address);
}

HRESULT CQRN_VideoReceiverSource::LeaveGroup(const wchar_t* address) {
    return ChangeGroup(&CNetworkReceiver::LeaveGroup, address);
}

HRESULT CQRN_VideoReceiverSource::ChangeGroup(GroupOperation operation, const wchar_t* address) {
    if (address == nullptr) {
        return E_INVALIDARG;
    }
    return qrn::AnswerFor([&] {
        const std::string narrow = qrn::ToUtf8(address);
        const qrn::CScopedLock lock(m_setupLock);
        return (Session().*operation)(narrow.c_str()) == qrn::kRtpOk ? S_OK : E_FAIL;
    });
}

HRESULT CQRN_VideoReceiverSource::SetAudioReceiver(IUnknown* audioReceiver) {
    return Link(&VideoReceiverLinks::audioReceiver, audioReceiver);
}

HRESULT CQRN_VideoReceiverSource::SetAudioRender(IUnknown* audioRender) {
    return Link(&VideoReceiverLinks::audioRender, audioRender);
}

template <class Interface>
HRESULT CQRN_VideoReceiverSource::Link(qrn::ComPtr<Interface> VideoReceiverLinks::*link, IUnknown* object) {
    if (object == nullptr) {
        return E_INVALIDARG;
    }
    qrn::ComPtr<Interface> found;
    const HRESULT result = object->QueryInterface(IID_Of<Interface>, found.PutVoid());
    const qrn::CScopedLock lock(m_setupLock);
    std::swap(m_links.*link, found);  // also one without the interface takes the old one away
    return result;
}

HRESULT CQRN_VideoReceiverSource::SetReportLoss(DWORD report) {
    const qrn::CScopedLock lock(m_setupLock);
    m_links.reportLoss = report != 0;
    return S_OK;
}

HRESULT CQRN_VideoReceiverSource::GetReportLoss(DWORD* report) {
    if (report == nullptr) {
        return E_INVALIDARG;
    }
    const qrn::CScopedLock lock(m_setupLock);
    *report = m_links.reportLoss ? 1 : 0;
    return S_OK;
}

HRESULT CQRN_VideoReceiverSource::SetExternalTransport(IExternalTransport* transport) {
    SetTransport(transport);
    return S_OK;
}

HRESULT CQRN_VideoReceiverSource::SetReorder(BYTE on, DWORD window, DWORD parityGroup) {
    if (on != 0) {
        m_timeoutMs = kReorderTimeoutMs;
    }
    Session().SetReorder(on != 0);
    Session().SetWindow(window);
    Session().SetParityGroup(parityGroup);
    return S_OK;
}

HRESULT CQRN_VideoReceiverSource::GetStatistics(DWORD* received, DWORD* gaps) {
    if (received != nullptr && gaps != nullptr) {
        *received = Session().TakeReceivedCount();
        *gaps = Session().TakeGapCount();
    }
    return S_OK;
}

/// A receiver sends nothing that could come back; the operation keeps its place for callers.
HRESULT CQRN_VideoReceiverSource::SetMulticastLoop(DWORD /*on*/) {
    return S_OK;
}

HRESULT CQRN_VideoReceiverSource::GetReceiveStatistics(DWORD channel, QRN_RECEIVE_STATISTICS* statistics) {
    const HRESULT result = CReceiverFilter::GetReceiveStatistics(channel, statistics);
    if (SUCCEEDED(result)) {
        statistics->damagedFrames = m_damagedFrames;
    }
    return result;
}
