#include "audiocoding/CAudioCompressor.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "audiocoding/AudioFilterHelp.h"
#include "framework/Boundary.h"
#include "framework/CBasePropertyPage.h"

namespace {

constexpr DWORD kMono = 1;
constexpr DWORD kStereo = 2;
constexpr int kConstructedCodec = kQrnCodecGsm;
constexpr DWORD kDefaultCodec = kQrnCodecSpeexHq;
constexpr LONG kDefaultBitrate = 44;
constexpr REFERENCE_TIME kUnitsPerMillisecond = 10000;
constexpr std::size_t kBytesPerSample = sizeof(std::int16_t);
/// An MP3 encoder holds one packet back.
constexpr REFERENCE_TIME kMp3Delay = 72 * kUnitsPerMillisecond;
/// Of the left part's length, before a stereo MP3 packet, whose halves differ.
constexpr std::size_t kLengthPrefixBytes = 2;
constexpr DWORD kPersistedVersion = 1;

/// These codecs take the constant part out by themselves.
bool HasOwnHighPass(DWORD codec) {
    return codec == kQrnCodecSpeex || codec == kQrnCodecSpeexHq || codec == kQrnCodecOpus;
}

}  // namespace

CUnknown* CAudioCompressor::CreateInstance(IUnknown* outer, HRESULT* result) {
    return qrn::CreateWithoutExceptions(result, [&] { return new CAudioCompressor(outer, result); });
}

// The encoder and the fields disagree until a host sets the codec, which every host does.
CAudioCompressor::CAudioCompressor(IUnknown* outer, HRESULT* result)
    : CTransformFilter(L"QRN Audio Compressor", outer, CLSID_QRN_AudioCompressor),
      CPersistStream(outer, result),
      m_codec(kDefaultCodec),
      m_bitrate(kDefaultBitrate) {
    m_left.encoder = std::make_unique<CAudioEncoder>(kConstructedCodec, kDefaultBitrate);
}

CAudioCompressor::~CAudioCompressor() = default;

HRESULT CAudioCompressor::NonDelegatingQueryInterface(REFIID id, void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    if (id == IID_IQRN_AudioCompressor) {
        return GetInterface(static_cast<IQRN_AudioCompressor*>(this), object);
    }
    if (id == IID_IPersistStream) {
        return GetInterface(static_cast<IPersistStream*>(this), object);
    }
    if (id == IID_ISpecifyPropertyPages) {
        return GetInterface(static_cast<ISpecifyPropertyPages*>(this), object);
    }
    return CTransformFilter::NonDelegatingQueryInterface(id, object);
}

HRESULT CAudioCompressor::CheckInputType(const CMediaType* type) {
    if (*type->Type() != MEDIATYPE_Audio) {
        return VFW_E_TYPE_NOT_ACCEPTED;
    }
    if (type->Format() == nullptr) {
        return E_OUTOFMEMORY;
    }
    const auto format = qrn::ReadWaveFormat(*type);
    return qrn::AnswerFor([&] {
        qrn::CScopedLock lock(m_encoderLock);
        if (!format || format->nSamplesPerSec != static_cast<DWORD>(m_left.encoder->GetSampleRate()) ||
            format->wBitsPerSample != 16 || format->nChannels != m_channels) {
            return VFW_E_TYPE_NOT_ACCEPTED;
        }
        if (m_channels == kStereo && !m_right.encoder) {
            m_right.encoder = std::make_unique<CAudioEncoder>(static_cast<int>(m_codec), m_bitrate);
        }
        return S_OK;
    });
}

HRESULT CAudioCompressor::CheckTransform(const CMediaType*, const CMediaType*) {
    return S_OK;
}

HRESULT CAudioCompressor::GetMediaType(int position, CMediaType* type) {
    if (position < 0) {
        return E_INVALIDARG;
    }
    if (position > 0) {
        return VFW_S_NO_MORE_ITEMS;
    }
    qrn::CScopedLock lock(m_encoderLock);
    const auto byteRate = static_cast<DWORD>(m_left.encoder->GetByteRate());
    WAVEFORMATEX format{};
    format.wFormatTag = static_cast<WORD>(qrn::kFirstAudioFormatTag + m_codec);
    format.nChannels = static_cast<WORD>(m_channels);
    // Coded bytes and not samples: the far end finds the bit rate in nSamplesPerSec times wBitsPerSample.
    format.nSamplesPerSec = byteRate;
    format.nAvgBytesPerSec = m_channels * byteRate;
    format.nBlockAlign = static_cast<WORD>(m_channels);
    format.wBitsPerSample = 8;
    return qrn::WriteWaveFormat(format, qrn::FindAudioCodec(static_cast<int>(m_codec))->subtype, type);
}

HRESULT CAudioCompressor::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) {
    if (!m_pInput->IsConnected()) {
        return E_UNEXPECTED;
    }
    {
        qrn::CScopedLock lock(m_encoderLock);
        request->cbBuffer = m_left.encoder->GetMaxPacketSize() * static_cast<LONG>(m_channels);
    }
    return qrn::SetOneBuffer(allocator, request);
}

HRESULT CAudioCompressor::StopStreaming() {
    qrn::CScopedLock lock(m_encoderLock);
    m_resync = true;
    return S_OK;
}

HRESULT CAudioCompressor::Receive(IMediaSample* sample) {
    if (m_pInput->SampleProps()->dwStreamId != AM_STREAM_MEDIA) {
        return m_pOutput->Deliver(sample);
    }
    return DeliverPackets(sample);
}

HRESULT CAudioCompressor::DeliverPackets(IMediaSample* sample) {
    // The first round takes the input in, the others look for further whole packets in what has been gathered.
    for (IMediaSample* in = sample;; in = nullptr) {
        qrn::ComPtr<IMediaSample> out;
        if (const HRESULT result = InitializeOutputSample(sample, out.Put()); FAILED(result)) {
            return result;
        }
        const HRESULT result = Transform(in, out.Get());
        // A refused packet does not keep the next one back.
        FinishSample(result, out.Get());
        if (result != S_OK) {
            return S_OK;
        }
    }
}

HRESULT CAudioCompressor::Transform(IMediaSample* in, IMediaSample* out) {
    BYTE* inBuffer = nullptr;
    REFERENCE_TIME inTime = 0;
    if (in != nullptr) {
        inTime = TimeOf(in);
        if (FAILED(in->GetPointer(&inBuffer))) {
            return S_OK;
        }
    }
    qrn::CScopedLock lock(m_encoderLock);
    if (in != nullptr && m_resync) {
        m_resync = false;
        Anchor(inTime);
    }
    BYTE* outBuffer = nullptr;
    if (FAILED(out->GetPointer(&outBuffer))) {
        // Delivered as it stands, but once an input sample: the caller comes back for as long as it gets S_OK.
        return in != nullptr ? S_OK : S_FALSE;
    }
    if (in != nullptr) {
        Gather(qrn::DataOf(*in, inBuffer));
    }
    const std::uint32_t packetBytes = PacketBytes();
    if (m_buffered < packetBytes || (packetBytes == 0 && in == nullptr)) {
        m_resync = true;
        return S_FALSE;
    }
    ConditionAndMeter();
    if (m_mute) {
        // The buffers stay where they are, so the same PCM is metered again and partly overwritten: nobody hears it.
        m_buffered -= packetBytes;
        m_nextTime += PacketTime();
        return S_FALSE;
    }
    const int written = EncodePacket(std::span(outBuffer, static_cast<std::size_t>(std::max(out->GetSize(), 0))));
    DropPacket();
    out->SetMediaTime(nullptr, nullptr);
    out->SetTime(&m_nextTime, nullptr);
    m_nextTime += PacketTime();
    if (written == 0) {
        return S_FALSE;
    }
    // Without an open codec this is -1, which the sample refuses; it goes out with the length that it has.
    out->SetActualDataLength(written);
    out->SetPreroll(FALSE);
    out->SetSyncPoint(TRUE);
    return S_OK;
}

REFERENCE_TIME CAudioCompressor::TimeOf(IMediaSample* in) {
    if (!m_useSampleTimes) {
        REFERENCE_TIME now = 0;
        if (StreamTime(now) != VFW_E_NO_CLOCK) {
            return now;
        }
    }
    REFERENCE_TIME start = 0;
    REFERENCE_TIME end = 0;
    return SUCCEEDED(in->GetTime(&start, &end)) ? start : 0;
}

void CAudioCompressor::Anchor(REFERENCE_TIME sampleTime) {
    const REFERENCE_TIME bytesPerMillisecond =
        m_left.encoder->GetSampleRate() * static_cast<REFERENCE_TIME>(kBytesPerSample) / 1000;
    REFERENCE_TIME gathered = m_buffered * kUnitsPerMillisecond / bytesPerMillisecond;
    if (m_channels == kStereo) {
        // Each channel's bytes are counted already, and yet halved: receivers are used to these times.
        gathered /= 2;
    }
    const REFERENCE_TIME delay = m_codec == kQrnCodecMp3 ? kMp3Delay : 0;
    m_nextTime = std::max<REFERENCE_TIME>(sampleTime - gathered - delay, 0);
}

void CAudioCompressor::Gather(std::span<const std::uint8_t> pcm) {
    if (m_buffered + pcm.size() >= kGatherBytes) {
        return;
    }
    auto* left = reinterpret_cast<std::uint8_t*>(m_left.pcm.data()) + m_buffered;
    if (m_channels != kStereo) {
        std::memcpy(left, pcm.data(), pcm.size());
        m_buffered += static_cast<std::uint32_t>(pcm.size());
        return;
    }
    auto* right = reinterpret_cast<std::uint8_t*>(m_right.pcm.data()) + m_buffered;
    const std::size_t pairs = pcm.size() / (2 * kBytesPerSample);
    for (std::size_t i = 0; i < pairs; ++i) {
        std::memcpy(left + i * kBytesPerSample, pcm.data() + 2 * i * kBytesPerSample, kBytesPerSample);
        std::memcpy(right + i * kBytesPerSample, pcm.data() + (2 * i + 1) * kBytesPerSample, kBytesPerSample);
    }
    m_buffered += static_cast<std::uint32_t>(pcm.size() / 2);
}

void CAudioCompressor::ConditionAndMeter() {
    const int samples = m_left.encoder->GetPacketSamples();
    const std::span left(m_left.pcm.data(), static_cast<std::size_t>(samples));
    const std::span right(m_right.pcm.data(), static_cast<std::size_t>(samples));
    const bool isStereo = m_channels == kStereo;
    if (!HasOwnHighPass(m_codec)) {
        if (isStereo) {
            m_left.dcFilter.Process(left);
            m_right.dcFilter.Process(right);
        } else {
            // The only channel is filtered with the right one's state, which shows when channels change in mid-life.
            m_right.dcFilter.Process(left);
        }
    }
    m_levelLeft = CAudioEncoder::GetLevel(left.data(), samples);
    if (isStereo) {
        m_levelRight = CAudioEncoder::GetLevel(right.data(), samples);
    }
}

int CAudioCompressor::EncodePacket(std::span<std::uint8_t> out) {
    return m_channels == kStereo ? EncodeStereo(out) : EncodeChannel(m_left, out);
}

int CAudioCompressor::EncodeStereo(std::span<std::uint8_t> out) {
    if (m_codec != kQrnCodecMp3) {
        const int left = EncodeChannel(m_left, out);
        const int right = EncodeChannel(m_right, out.subspan(static_cast<std::size_t>(std::max(left, 0))));
        return left == right ? left + right : MakeHalvesEqual(out, left, right);
    }
    if (out.size() < kLengthPrefixBytes) {
        return 0;
    }
    const int left = EncodeChannel(m_left, out.subspan(kLengthPrefixBytes));
    out[0] = static_cast<std::uint8_t>(left);
    out[1] = static_cast<std::uint8_t>(left >> 8);
    const std::size_t behind = kLengthPrefixBytes + static_cast<std::size_t>(std::max(left, 0));
    return left + static_cast<int>(kLengthPrefixBytes) + EncodeChannel(m_right, out.subspan(behind));
}

/// The receiver splits in the middle, so the shorter half is lengthened to the other. Where one has nothing to send,
/// the other one alone would be split and come out as noise: nothing is sent then.
int CAudioCompressor::MakeHalvesEqual(std::span<std::uint8_t> out, int left, int right) {
    if (m_codec != kQrnCodecOpus) {
        return left + right;
    }
    if (left <= 0 || right <= 0) {
        return 0;
    }
    const auto leftBytes = static_cast<std::size_t>(left);
    const auto rightBytes = static_cast<std::size_t>(right);
    const std::size_t half = std::max(leftBytes, rightBytes);
    if (out.size() < 2 * half) {
        return 0;
    }
    if (left < right) {
        std::memmove(out.data() + half, out.data() + leftBytes, rightBytes);
        return m_left.encoder->Pad(out.first(half), left) ? 2 * right : 0;
    }
    return m_right.encoder->Pad(out.subspan(half, half), right) ? 2 * left : 0;
}

int CAudioCompressor::EncodeChannel(Channel& channel, std::span<std::uint8_t> out) {
    if (!channel.encoder) {
        return 0;
    }
    return channel.encoder->Encode(channel.pcm.data(), m_left.encoder->GetPacketSamples(), out.data(),
                                   static_cast<int>(out.size()));
}

void CAudioCompressor::DropPacket() {
    const std::uint32_t packetBytes = PacketBytes();
    m_buffered -= packetBytes;
    for (Channel* channel : {&m_left, &m_right}) {
        auto* bytes = reinterpret_cast<std::uint8_t*>(channel->pcm.data());
        std::memmove(bytes, bytes + packetBytes, m_buffered);
    }
}

std::uint32_t CAudioCompressor::PacketBytes() const {
    return static_cast<std::uint32_t>(m_left.encoder->GetPacketSamples()) * kBytesPerSample;
}

REFERENCE_TIME CAudioCompressor::PacketTime() const {
    return m_left.encoder->GetPacketDuration() * kUnitsPerMillisecond;
}

DWORD CAudioCompressor::GetSoftwareVersion() {
    return kPersistedVersion;
}

/// Short of the 12 bytes that follow the version; hosts have come to rely on the sum of 28.
int CAudioCompressor::SizeMax() {
    return 4;
}

HRESULT CAudioCompressor::WriteToStream(IStream* stream) {
    std::uint32_t values[3];
    {
        qrn::CScopedLock lock(m_encoderLock);
        values[0] = m_channels;
        values[1] = m_codec;
        values[2] = static_cast<std::uint32_t>(m_bitrate);
    }
    for (const std::uint32_t value : values) {
        if (const HRESULT result = qrn::WriteLittleEndian(stream, value); FAILED(result)) {
            return result;
        }
    }
    return S_OK;
}

HRESULT CAudioCompressor::ReadFromStream(IStream* stream) {
    if (mPS_dwFileVersion != kPersistedVersion) {
        return E_FAIL;
    }
    std::uint32_t values[3] = {};
    for (std::uint32_t& value : values) {
        if (const HRESULT result = qrn::ReadLittleEndian(stream, &value); FAILED(result)) {
            return result;
        }
    }
    const DWORD channels = values[0];
    const DWORD codec = values[1];
    const auto bitrate = static_cast<LONG>(values[2]);
    if ((channels != kMono && channels != kStereo) || codec >= kQrnAudioCodecCount) {
        return E_INVALIDARG;
    }
    return qrn::AnswerFor([&] {
        auto encoder = std::make_unique<CAudioEncoder>(static_cast<int>(codec), bitrate);
        // A stream may be loaded while another one is coded.
        qrn::CScopedLock lock(m_encoderLock);
        m_channels = channels;
        m_codec = codec;
        m_bitrate = bitrate;
        m_left.encoder.swap(encoder);
        return S_OK;
    });
}

bool CAudioCompressor::IsAnyPinConnected() const {
    return (m_pInput != nullptr && m_pInput->IsConnected()) || (m_pOutput != nullptr && m_pOutput->IsConnected());
}

HRESULT CAudioCompressor::SetChannels(DWORD channels) {
    if (channels != kMono && channels != kStereo) {
        return E_INVALIDARG;
    }
    CAutoLock filterLock(&m_csFilter);
    if (IsAnyPinConnected()) {
        return E_FAIL;
    }
    qrn::CScopedLock lock(m_encoderLock);
    m_channels = channels;
    return S_OK;
}

HRESULT CAudioCompressor::GetChannels(DWORD* channels) {
    if (channels == nullptr) {
        return E_POINTER;
    }
    qrn::CScopedLock lock(m_encoderLock);
    *channels = m_channels;
    return S_OK;
}

HRESULT CAudioCompressor::SetCodec(DWORD codec, LONG bitrate) {
    CAutoLock filterLock(&m_csFilter);
    if (IsAnyPinConnected() || codec >= kQrnAudioCodecCount) {
        return E_FAIL;
    }
    return qrn::AnswerFor([&] {
        const auto id = static_cast<int>(codec);
        auto left = std::make_unique<CAudioEncoder>(id, bitrate);
        auto right = std::make_unique<CAudioEncoder>(id, bitrate);
        qrn::CScopedLock lock(m_encoderLock);
        m_codec = codec;
        m_left.encoder.swap(left);
        if (m_channels == kStereo) {
            m_right.encoder.swap(right);
        }
        m_bitrate = m_left.encoder->GetBitrate();
        return S_OK;
    });
}

HRESULT CAudioCompressor::GetCodec(DWORD* codec) {
    if (codec == nullptr) {
        return E_POINTER;
    }
    qrn::CScopedLock lock(m_encoderLock);
    *codec = m_codec;
    return S_OK;
}

HRESULT CAudioCompressor::GetBitrate(LONG* bitrate) {
    if (bitrate == nullptr) {
        return E_POINTER;
    }
    qrn::CScopedLock lock(m_encoderLock);
    *bitrate = m_bitrate;
    return S_OK;
}

HRESULT CAudioCompressor::GetLevel(LONG* level, DWORD channel) {
    if (level == nullptr || channel > 1) {
        return E_INVALIDARG;
    }
    *level = channel == 0 ? m_levelLeft : m_levelRight;
    return S_OK;
}

HRESULT CAudioCompressor::GetInputPacketBytes(DWORD* bytes) {
    if (bytes == nullptr) {
        return E_INVALIDARG;
    }
    qrn::CScopedLock lock(m_encoderLock);
    *bytes = PacketBytes() * m_channels;
    return S_OK;
}

HRESULT CAudioCompressor::SetMute(bool mute) {
    m_mute = mute;
    return S_OK;
}

HRESULT CAudioCompressor::SetUseSampleTimes(bool useSampleTimes) {
    m_useSampleTimes = useSampleTimes;
    return S_OK;
}

HRESULT CAudioCompressor::GetPages(CAUUID* pages) {
    return qrn::OnePage(CLSID_QRN_AudioCompressorPage, pages);
}
