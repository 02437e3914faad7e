#include "netfilters/CQRN_AudioReceiverSource.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "audiocoding/CAudioEncoder.h"
#include "framework/Boundary.h"
#include "netfilters/CQRN_AudioReceiverPin.h"
#include "platform/com/Text.h"
#include "rtp/RtpErrors.h"

namespace {

constexpr std::uint32_t kFirstRingPackets = 4;
/// A sample has room for two packets.
constexpr std::uint64_t kPacketsPerSample = 2;

WAVEFORMATEX CodedFormat(const CAudioEncoder& encoder, DWORD codec, WORD channels) {
    const auto byteRate = static_cast<DWORD>(encoder.GetByteRate());
    WAVEFORMATEX format{};
    format.wFormatTag = static_cast<WORD>(kQrnAudioFormatTag + codec);
    format.nChannels = channels;
    format.nSamplesPerSec = byteRate;  // bytes a second stand in the place of samples a second
    format.wBitsPerSample = 8;
    format.nBlockAlign = channels;
    format.nAvgBytesPerSec = channels * byteRate;
    return format;
}

}  // namespace

CUnknown* CQRN_AudioReceiverSource::CreateInstance(IUnknown* outer, HRESULT* result) {
    return qrn::CreateWithoutExceptions(result, [&] { return new CQRN_AudioReceiverSource(outer, result); });
}

CQRN_AudioReceiverSource::CQRN_AudioReceiverSource(IUnknown* outer, HRESULT* result)
    : CReceiverFilter(CLSID_QRN_AudioReceiver, L"QRN Audio Receiver", kFirstRingPackets, outer, result) {
    // The pin adds itself to the filter, which deletes it.
    [[maybe_unused]] const auto* pin = new CQRN_AudioReceiverPin(this, result, CAudioReceiver::Clock());
}  // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks): see above

CQRN_AudioReceiverSource::~CQRN_AudioReceiverSource() {
    StopEngine();
}

int CQRN_AudioReceiverSource::OnPacket(const CPacket& packet) {
    Push(packet);
    return 0;
}

LONG CQRN_AudioReceiverSource::SampleBytes() const {
    const qrn::CScopedLock lock(m_setupLock);
    return IsConfigured() ? static_cast<LONG>(m_capacity * kPacketsPerSample) : -1;
}

DWORD CQRN_AudioReceiverSource::PacketMs() const {
    const qrn::CScopedLock lock(m_setupLock);
    return m_packetMs;
}

HRESULT CQRN_AudioReceiverSource::SetFormat(DWORD codec, DWORD bitrate, DWORD channels) {
    if (codec >= kQrnAudioCodecCount) {
        return E_FAIL;
    }
    if (channels > std::numeric_limits<WORD>::max()) {
        return E_INVALIDARG;
    }
    constexpr DWORD kHighestRate = std::numeric_limits<std::int32_t>::max();
    return qrn::AnswerFor([&] {
        const CAudioEncoder encoder(static_cast<int>(codec), static_cast<int>(std::min(bitrate, kHighestRate)));
        const auto capacity = static_cast<std::uint64_t>(encoder.GetMaxPacketSize()) * channels;
        // A codec that is not there opens no stream either; its packets have no size.
        if (encoder.GetMaxPacketSize() <= 0 ||
            capacity * kPacketsPerSample > static_cast<std::uint64_t>(std::numeric_limits<LONG>::max())) {
            return E_FAIL;
        }
        const WAVEFORMATEX format = CodedFormat(encoder, codec, static_cast<WORD>(channels));
        CMediaType type;
        if (const HRESULT result = CreateAudioMediaType(format, &type, true); FAILED(result)) {
            return result;
        }
        const qrn::CScopedLock lock(m_setupLock);
        if (const HRESULT result = Configure(type); FAILED(result)) {
            return result;
        }
        m_codec = codec;
        m_bitrate = static_cast<DWORD>(encoder.GetBitrate());
        m_packetMs = static_cast<DWORD>(encoder.GetPacketDuration());
        m_capacity = static_cast<std::uint32_t>(capacity);
        return S_OK;
    });
}

int CQRN_AudioReceiverSource::OpenEngine(DWORD channel, IExternalTransport* transport) {
    return OpenChannel(channel, transport);
}

HRESULT CQRN_AudioReceiverSource::JoinGroup(const wchar_t* address) {
    return ChangeGroup(&CNetworkReceiver::JoinGroup, address);
}

HRESULT CQRN_AudioReceiverSource::LeaveGroup(const wchar_t* address) {
    return ChangeGroup(&CNetworkReceiver::LeaveGroup, address);
}

HRESULT CQRN_AudioReceiverSource::ChangeGroup(GroupOperation operation, const wchar_t* address) {
    if (address == nullptr) {
        return E_INVALIDARG;
    }
    return qrn::AnswerFor([&] {
        const std::string narrow = qrn::ToUtf8(address);
        const qrn::CScopedLock lock(m_setupLock);
        for (std::uint32_t channel = 0; channel < kChannels; ++channel) {
            if (IsChannelOpen(channel) && (Session(channel).*operation)(narrow.c_str()) != qrn::kRtpOk) {
                return E_FAIL;
            }
        }
        return S_OK;
    });
}

HRESULT CQRN_AudioReceiverSource::GetSyncPoint(DWORD* timestamp, DWORD* positionMs) {
    if (timestamp == nullptr || positionMs == nullptr) {
        return E_INVALIDARG;
    }
    const auto times = m_syncPoint.Get();
    if (!times) {
        return S_FALSE;
    }
    *timestamp = times->timestamp;
    *positionMs = times->positionMs;
    return S_OK;
}

HRESULT CQRN_AudioReceiverSource::GetBitrate(DWORD* bitrate) {
    if (bitrate == nullptr) {
        return E_INVALIDARG;
    }
    const qrn::CScopedLock lock(m_setupLock);
    *bitrate = m_bitrate;
    return S_OK;
}

HRESULT CQRN_AudioReceiverSource::SelectChannel(DWORD channel) {
    if (IsChannelOpen(channel)) {
        m_selected = channel;
    }
    return S_OK;
}

HRESULT CQRN_AudioReceiverSource::GetSelectedChannel(DWORD* channel) {
    if (channel == nullptr) {
        return E_INVALIDARG;
    }
    *channel = m_selected;
    return S_OK;
}

HRESULT CQRN_AudioReceiverSource::SetExternalTransport(DWORD /*reserved*/, IExternalTransport* transport) {
    SetTransport(transport);
    return S_OK;
}

HRESULT CQRN_AudioReceiverSource::SetReorder(DWORD channel, BYTE on, DWORD window, DWORD parityGroup) {
    if (channel >= kChannels) {
        return S_OK;
    }
    if (on != 0) {
        m_timeoutMs = kReorderTimeoutMs;  // of all channels
    }
    CNetworkReceiver& session = Session(channel);
    session.SetReorder(on != 0);
    session.SetWindow(window);
    session.SetParityGroup(parityGroup);
    return S_OK;
}

HRESULT CQRN_AudioReceiverSource::GetStatistics(DWORD channel, DWORD* received, DWORD* gaps) {
    if (channel < kChannels && received != nullptr && gaps != nullptr) {
        *received = Session(channel).TakeReceivedCount();
        *gaps = Session(channel).TakeGapCount();
    }
    return S_OK;
}

HRESULT CQRN_AudioReceiverSource::SetMulticastLoop(DWORD on) {
    const qrn::CScopedLock lock(m_setupLock);
    for (std::uint32_t channel = 0; channel < kChannels; ++channel) {
        if (IsChannelOpen(channel) && Session(channel).SetMulticastLoop(on != 0) != qrn::kRtpOk) {
            break;
        }
    }
    return S_OK;
}
