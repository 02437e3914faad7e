#include "audiocoding/CAudioDecoder.h"

#include <algorithm>
#include <new>

#include "platform/system/FaultGuard.h"
#include "runtime/DebugLog.h"

namespace {

constexpr int kNoCodecOpen = -1;

}  // namespace

CAudioDecoder::CAudioDecoder(int codec, int bitrate) {
    Open(codec, bitrate);
}

CAudioDecoder::~CAudioDecoder() = default;

int CAudioDecoder::Decode(const std::uint8_t* data, int length, std::int16_t* pcm, int maxBytes) {
    if (m_codec == qrn::kNoAudioCodec) {
        return kNoCodecOpen;
    }
    if (length < 0) {
        return 0;
    }
    const std::span input(data, static_cast<std::size_t>(length));
    const std::span output(pcm, static_cast<std::size_t>(std::max(maxBytes, 0)) / sizeof(std::int16_t));
    int written = 0;
    const auto fault = qrn::RunGuarded([&] { written = m_decoder->Decode(input, output); });
    if (fault) {
        RecoverFrom(fault->code);
        return 0;
    }
    return written;
}

int CAudioDecoder::GetPacketBytes() const {
    return m_decoder ? m_row->packetSamples * static_cast<int>(sizeof(std::int16_t)) : 0;
}

int CAudioDecoder::GetSampleRate() const {
    return m_decoder ? m_row->sampleRateHz : 0;
}

void CAudioDecoder::Open(int codec, int bitrate) {
    m_row = qrn::FindAudioCodec(codec);
    if (m_row == nullptr || m_row->makeDecoder == nullptr) {
        return;
    }
    m_decoder = m_row->makeDecoder({bitrate, m_avLock});
    if (!m_decoder) {
        return;
    }
    m_codec = codec;
    m_bitrate = m_decoder->BitrateKbps();
}

void CAudioDecoder::Close() {
    m_decoder.reset();
    m_codec = qrn::kNoAudioCodec;
}

void CAudioDecoder::RecoverFrom(std::uint32_t faultCode) noexcept {
    if (!m_logFault) {
        return;
    }
    m_logFault = false;
    const int codec = m_codec;
    Close();
    try {
        qrn::WriteDebugLog(qrn::kAudioDecoderFault, faultCode);
        Open(codec, m_bitrate);
    } catch (const std::bad_alloc&) {
        Close();
    }
}
