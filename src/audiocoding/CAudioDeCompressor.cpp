#include "audiocoding/CAudioDeCompressor.h"

#include <algorithm>
#include <cstring>

#include "audiocoding/AudioFilterHelp.h"
#include "framework/Boundary.h"
#include "framework/CBasePropertyPage.h"

namespace {

constexpr DWORD kLeft = 0;
constexpr DWORD kRight = 1;
constexpr DWORD kBoth = 2;
constexpr DWORD kMono = 1;
constexpr DWORD kStereo = 2;
constexpr int kConstructedCodec = kQrnCodecGsm;
constexpr DWORD kDefaultCodec = kQrnCodecSpeexHq;
constexpr LONG kDefaultBitrate = 44;
constexpr std::size_t kBytesPerSample = sizeof(std::int16_t);
/// Of the left part's length, before a stereo MP3 packet, whose halves differ.
constexpr std::size_t kLengthPrefixBytes = 2;

bool IsCodecTag(WORD tag) {
    return tag >= qrn::kFirstAudioFormatTag && tag <= qrn::kLastAudioFormatTag;
}

/// At most `length` bytes from `at` on; what does not exist is left out.
std::span<const std::uint8_t> Part(std::span<const std::uint8_t> payload, std::size_t at, std::size_t length) {
    const auto behind = payload.subspan(std::min(at, payload.size()));
    return behind.first(std::min(length, behind.size()));
}

/// Puts samples into every second place of an interleaved buffer, as far as it reaches.
void Spread(std::span<const std::int16_t> samples, std::size_t channel, std::span<std::uint8_t> out) {
    const std::size_t frames = out.size() / (2 * kBytesPerSample);
    for (std::size_t i = 0; i < std::min(samples.size(), frames); ++i) {
        std::memcpy(out.data() + (2 * i + channel) * kBytesPerSample, &samples[i], kBytesPerSample);
    }
}

}  // namespace

CUnknown* CAudioDeCompressor::CreateInstance(IUnknown* outer, HRESULT* result) {
    return qrn::CreateWithoutExceptions(result, [&] { return new CAudioDeCompressor(outer, result); });
}

// The decoder and the fields disagree until an input type comes.
CAudioDeCompressor::CAudioDeCompressor(IUnknown* outer, HRESULT*)
    : CTransformFilter(L"QRN Audio Decompressor", outer, CLSID_QRN_AudioDeCompressor),
      m_left(std::make_unique<CAudioDecoder>(kConstructedCodec, kDefaultBitrate)),
      m_codec(kDefaultCodec),
      m_bitrate(kDefaultBitrate) {}

CAudioDeCompressor::~CAudioDeCompressor() = default;

HRESULT CAudioDeCompressor::NonDelegatingQueryInterface(REFIID id, void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    if (id == IID_IQRN_AudioDeCompressor) {
        return GetInterface(static_cast<IQRN_AudioDeCompressor*>(this), object);
    }
    if (id == IID_ISpecifyPropertyPages) {
        return GetInterface(static_cast<ISpecifyPropertyPages*>(this), object);
    }
    return CTransformFilter::NonDelegatingQueryInterface(id, object);
}

HRESULT CAudioDeCompressor::CheckInputType(const CMediaType* type) {
    if (*type->Type() != MEDIATYPE_Audio) {
        return VFW_E_TYPE_NOT_ACCEPTED;
    }
    if (type->Format() == nullptr) {
        return E_OUTOFMEMORY;
    }
    const auto format = qrn::ReadWaveFormat(*type);
    return format && IsCodecTag(format->wFormatTag) ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT CAudioDeCompressor::CheckTransform(const CMediaType*, const CMediaType*) {
    return S_OK;
}

HRESULT CAudioDeCompressor::SetMediaType(PIN_DIRECTION direction, const CMediaType* type) {
    if (direction != PINDIR_INPUT) {
        return S_OK;
    }
    if (type->Format() == nullptr) {
        return E_OUTOFMEMORY;
    }
    const auto format = qrn::ReadWaveFormat(*type);
    return qrn::AnswerFor([&] {
        qrn::CScopedLock lock(m_decoderLock);
        m_left.reset();
        if (!format || !IsCodecTag(format->wFormatTag)) {
            return VFW_E_TYPE_NOT_ACCEPTED;
        }
        // The type announces coded bytes per second where a PCM type has samples.
        const std::uint64_t bitrate = (std::uint64_t{format->wBitsPerSample} * format->nSamplesPerSec + 500) / 1000;
        m_left = std::make_unique<CAudioDecoder>(format->wFormatTag - qrn::kFirstAudioFormatTag,
                                                 static_cast<int>(std::min<std::uint64_t>(bitrate, INT32_MAX)));
        m_inputChannels = format->nChannels;
        m_codec = static_cast<DWORD>(m_left->GetCodec());
        m_bitrate = m_left->GetBitrate();
        return S_OK;
    });
}

HRESULT CAudioDeCompressor::GetMediaType(int position, CMediaType* type) {
    if (position < 0) {
        return E_INVALIDARG;
    }
    if (position > 0) {
        return VFW_S_NO_MORE_ITEMS;
    }
    qrn::CScopedLock lock(m_decoderLock);
    if (!m_left) {
        return E_UNEXPECTED;
    }
    m_outputChannels = m_channelMode == kBoth ? kStereo : kMono;
    WAVEFORMATEX format{};
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = static_cast<WORD>(m_outputChannels);
    format.nSamplesPerSec = static_cast<DWORD>(m_left->GetSampleRate());
    format.wBitsPerSample = 16;
    format.nBlockAlign = static_cast<WORD>(m_outputChannels * kBytesPerSample);
    format.nAvgBytesPerSec = format.nSamplesPerSec * format.nBlockAlign;
    return qrn::WriteWaveFormat(format, MEDIASUBTYPE_PCM, type);
}

HRESULT CAudioDeCompressor::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) {
    if (m_pInput != nullptr && !m_pInput->IsConnected()) {
        return E_UNEXPECTED;
    }
    const HRESULT prepared = qrn::AnswerFor([&] {
        qrn::CScopedLock lock(m_decoderLock);
        if (!m_left) {
            return E_UNEXPECTED;
        }
        const std::uint32_t packetBytes = static_cast<std::uint32_t>(m_left->GetPacketBytes()) * m_outputChannels;
        m_scratch.assign(packetBytes / kBytesPerSample, 0);
        if (m_inputChannels == kStereo) {
            m_right = std::make_unique<CAudioDecoder>(m_left->GetCodec(), m_left->GetBitrate());
        }
        m_packetBytes = packetBytes;
        request->cbBuffer = static_cast<LONG>(packetBytes);
        return S_OK;
    });
    return FAILED(prepared) ? prepared : qrn::SetOneBuffer(allocator, request);
}

HRESULT CAudioDeCompressor::Transform(IMediaSample* in, IMediaSample* out) {
    BYTE* inBuffer = nullptr;
    BYTE* outBuffer = nullptr;
    if (FAILED(in->GetPointer(&inBuffer)) || FAILED(out->GetPointer(&outBuffer))) {
        return S_OK;
    }
    const Payload payload = qrn::DataOf(*in, inBuffer);
    const std::span buffer(outBuffer, static_cast<std::size_t>(std::max(out->GetSize(), 0)));
    qrn::CScopedLock lock(m_decoderLock);
    const int decoded = payload.empty() ? 0 : DecodePacket(payload, buffer);
    out->SetSyncPoint(TRUE);
    out->SetPreroll(FALSE);
    if (decoded > 0) {
        out->SetActualDataLength(decoded);
        return S_OK;
    }
    // Lost, refused by its codec, or without a codec: silence, so that the stream keeps its pace.
    const std::size_t silence = std::min<std::size_t>(m_packetBytes, buffer.size());
    std::fill_n(buffer.begin(), silence, std::uint8_t{0});
    out->SetActualDataLength(static_cast<LONG>(silence));
    return S_OK;
}

int CAudioDeCompressor::DecodePacket(Payload payload, std::span<std::uint8_t> out) {
    if (m_inputChannels != kStereo) {
        return DecodeOne(m_left.get(), payload, out);
    }
    const Halves halves = Split(payload);
    switch (m_channelMode) {
        case kBoth:
            return DecodeBoth(halves, out);
        case kRight:
            return halves.isValid ? DecodeOne(m_right.get(), halves.right, out) : 0;
        default:
            return halves.isValid ? DecodeOne(m_left.get(), halves.left, out) : 0;
    }
}

CAudioDeCompressor::Halves CAudioDeCompressor::Split(Payload payload) const {
    const std::size_t half = payload.size() / 2;
    if (m_codec != kQrnCodecMp3) {
        return {Part(payload, 0, half), Part(payload, half, half), true};
    }
    if (payload.size() < kLengthPrefixBytes) {
        return {{}, {}, false};
    }
    const std::size_t left = payload[0] | payload[1] << 8;
    if (left > 2 * half) {
        // With both channels wanted, the right one is looked for where equal parts would have put it.
        return {{}, Part(payload, kLengthPrefixBytes + half, half), false};
    }
    return {Part(payload, kLengthPrefixBytes, left), Part(payload, kLengthPrefixBytes + left, payload.size()), true};
}

int CAudioDeCompressor::DecodeOne(CAudioDecoder* decoder, Payload payload, std::span<std::uint8_t> out) {
    if (decoder == nullptr) {
        return 0;
    }
    const int decoded = decoder->Decode(payload.data(), static_cast<int>(payload.size()), m_scratch.data(),
                                        static_cast<int>(m_scratch.size() * kBytesPerSample));
    const auto kept = std::min(static_cast<std::size_t>(std::max(decoded, 0)), out.size());
    std::memcpy(out.data(), m_scratch.data(), kept);
    return decoded;
}

int CAudioDeCompressor::DecodeBoth(const Halves& halves, std::span<std::uint8_t> out) {
    const std::span scratch(m_scratch);
    const auto decode = [](CAudioDecoder* decoder, Payload payload, std::span<std::int16_t> room) {
        return decoder == nullptr ? 0
                                  : decoder->Decode(payload.data(), static_cast<int>(payload.size()), room.data(),
                                                    static_cast<int>(room.size_bytes()));
    };
    const auto samplesOf = [](int bytes) { return static_cast<std::size_t>(std::max(bytes, 0)) / kBytesPerSample; };

    const int leftBytes = decode(m_left.get(), halves.left, scratch);
    const auto left = scratch.first(samplesOf(leftBytes));
    const auto behind = scratch.subspan(left.size());
    const int rightBytes = decode(m_right.get(), halves.right, behind);
    const int decoded = leftBytes + rightBytes;
    // A failed half leaves its places free: no old memory is heard there.
    const std::size_t used = std::min(samplesOf(decoded) * kBytesPerSample, out.size());
    std::fill_n(out.begin(), used, std::uint8_t{0});
    Spread(left, kLeft, out);
    Spread(behind.first(std::min(samplesOf(rightBytes), samplesOf(decoded) / 2)), kRight, out);
    return decoded;
}

HRESULT CAudioDeCompressor::SetChannelMode(DWORD mode) {
    if (mode > kBoth) {
        return E_INVALIDARG;
    }
    CAutoLock filterLock(&m_csFilter);
    qrn::CScopedLock lock(m_decoderLock);
    const bool changesChannelCount = (mode == kBoth) != (m_channelMode == kBoth);
    if (m_pOutput != nullptr && m_pOutput->IsConnected() && m_inputChannels == kStereo && changesChannelCount) {
        return S_OK;
    }
    m_channelMode = m_inputChannels == kMono ? kLeft : mode;
    return S_OK;
}

HRESULT CAudioDeCompressor::GetChannelMode(DWORD* mode) {
    if (mode == nullptr) {
        return E_POINTER;
    }
    *mode = m_channelMode;
    return S_OK;
}

HRESULT CAudioDeCompressor::GetCodec(DWORD* codec) {
    if (codec == nullptr) {
        return E_POINTER;
    }
    qrn::CScopedLock lock(m_decoderLock);
    *codec = m_codec;
    return S_OK;
}

HRESULT CAudioDeCompressor::GetBitrate(LONG* bitrate) {
    if (bitrate == nullptr) {
        return E_POINTER;
    }
    qrn::CScopedLock lock(m_decoderLock);
    *bitrate = m_bitrate;
    return S_OK;
}

HRESULT CAudioDeCompressor::GetPages(CAUUID* pages) {
    return qrn::OnePage(CLSID_QRN_AudioDeCompressorPage, pages);
}
