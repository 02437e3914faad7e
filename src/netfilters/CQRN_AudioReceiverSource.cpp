#include "netfilters/CQRN_AudioReceiverSource.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "audiocoding/AudioFilterHelp.h"
#include "audiocoding/CAudioEncoder.h"
#include "netfilters/CQRN_AudioReceiverPin.h"
#include "netfilters/NetworkStatistics.h"
#include "platform/com/TaskMemory.h"
#include "platform/com/Text.h"
#include "rtp/RtpErrors.h"
#include "runtime/base_exception.h"

namespace {

/// More buffers than any call has use for would only take the process's memory.
constexpr DWORD kMostBuffers = 65536;
constexpr DWORD kReorderTimeoutMs = CReorderQueue::kLongestHoldMs;
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
    : CLiveSource(L"QRN Audio Receiver", outer, CLSID_QRN_AudioReceiver, result),
      m_ring(kFirstRingPackets) {
    // The pin adds itself to the filter, which deletes it.
    [[maybe_unused]] const auto* pin = new CQRN_AudioReceiverPin(this, result, CAudioReceiver::Clock());
}  // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks): see above

CQRN_AudioReceiverSource::~CQRN_AudioReceiverSource() {
    StopEngine();
}

HRESULT CQRN_AudioReceiverSource::NonDelegatingQueryInterface(REFIID id, void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    if (id == IID_IQRN_AudioReceiver) {
        return GetInterface(static_cast<IQRN_AudioReceiver*>(this), object);
    }
    if (id == IID_IQRN_NetworkStatistics) {
        return GetInterface(static_cast<IQRN_NetworkStatistics*>(this), object);
    }
    return CLiveSource::NonDelegatingQueryInterface(id, object);
}

int CQRN_AudioReceiverSource::OnPacket(const CPacket& packet) {
    if (m_outputEnabled) {
        m_ring.Push(packet);
    }
    return 0;
}

HRESULT CQRN_AudioReceiverSource::GetOutputType(CMediaType* type) const {
    if (type == nullptr) {
        return E_POINTER;
    }
    const qrn::CScopedLock lock(m_setupLock);
    return m_configured ? type->Set(m_mediaType) : VFW_S_NO_MORE_ITEMS;
}

LONG CQRN_AudioReceiverSource::SampleBytes() const {
    const qrn::CScopedLock lock(m_setupLock);
    return m_configured ? static_cast<LONG>(m_packetCapacity * kPacketsPerSample) : -1;
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
    return qrn::WithoutExceptions([&] {
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
        if (const HRESULT result = m_mediaType.Set(type); FAILED(result)) {
            return result;
        }
        m_codec = codec;
        m_bitrate = static_cast<DWORD>(encoder.GetBitrate());
        m_packetMs = static_cast<DWORD>(encoder.GetPacketDuration());
        m_packetCapacity = static_cast<std::uint32_t>(capacity);
        m_configured = true;
        return S_OK;
    });
}

HRESULT CQRN_AudioReceiverSource::OpenNetwork(DWORD channel) {
    return qrn::WithoutExceptions([&] {
        const qrn::CScopedLock lock(m_setupLock);
        try {
            return m_configured && OpenChannel(channel, m_transport) == qrn::kRtpOk ? S_OK : E_FAIL;
        } catch (const base_exception&) {  // a wrong local address
            return E_FAIL;
        }
    });
}

HRESULT CQRN_AudioReceiverSource::SetLocalPort(DWORD portWord) {
    m_port = portWord;
    return S_OK;
}

HRESULT CQRN_AudioReceiverSource::GetLocalPort(DWORD* portWord) {
    if (portWord == nullptr) {
        return E_INVALIDARG;
    }
    *portWord = m_port;
    return S_OK;
}

HRESULT CQRN_AudioReceiverSource::SetLocalAddress(const wchar_t* address) {
    if (address == nullptr) {
        return E_INVALIDARG;
    }
    return qrn::WithoutExceptions([&] {
        SetAddress(qrn::ToUtf8(address));
        return S_OK;
    });
}

HRESULT CQRN_AudioReceiverSource::GetLocalAddress(wchar_t** address) {
    if (address == nullptr) {
        return E_INVALIDARG;
    }
    return qrn::WithoutExceptions([&] {
        *address = qrn::CopyToTaskMemory(qrn::ToWide(Address()));
        return *address != nullptr ? S_OK : E_OUTOFMEMORY;
    });
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
    return qrn::WithoutExceptions([&] {
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

HRESULT CQRN_AudioReceiverSource::SetOutputEnabled(BYTE enabled) {
    m_outputEnabled = enabled != 0;
    return S_OK;
}

HRESULT CQRN_AudioReceiverSource::GetOutputEnabled(BYTE* enabled) {
    if (enabled == nullptr) {
        return E_INVALIDARG;
    }
    *enabled = m_outputEnabled ? 1 : 0;
    return S_OK;
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

HRESULT CQRN_AudioReceiverSource::SetBufferCount(DWORD count) {
    if (count == 0) {
        return E_INVALIDARG;
    }
    if (count > kMostBuffers) {
        return E_OUTOFMEMORY;
    }
    return qrn::WithoutExceptions([&] {
        const qrn::CScopedLock lock(m_setupLock);
        if (count != m_ringPackets) {
            // A ring keeps its positions when its size changes, which is right for an empty one only.
            for (CPacket dropped; m_ring.Pop(dropped);) {
            }
            m_ring.Resize(count);
            m_ringPackets = count;
        }
        m_bufferCount = count;
        return S_OK;
    });
}

HRESULT CQRN_AudioReceiverSource::GetBufferCount(DWORD* count) {
    if (count == nullptr) {
        return E_INVALIDARG;
    }
    const qrn::CScopedLock lock(m_setupLock);
    *count = m_bufferCount;
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
    const qrn::CScopedLock lock(m_setupLock);
    m_transport = transport;
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

HRESULT CQRN_AudioReceiverSource::GetReceiveStatistics(DWORD channel, QRN_RECEIVE_STATISTICS* statistics) {
    if (channel >= kChannels) {
        return E_INVALIDARG;
    }
    const qrn::CScopedLock lock(m_setupLock);
    return qrn::ReadStatistics(&Session(channel), statistics);
}
