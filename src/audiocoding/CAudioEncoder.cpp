#include "audiocoding/CAudioEncoder.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "platform/system/FaultGuard.h"
#include "runtime/DebugLog.h"

namespace {

constexpr int kClosedSampleRateHz = 8000;
constexpr int kNoCodecOpen = -1;

}  // namespace

CAudioEncoder::CAudioEncoder(int codec, int bitrate) : m_sampleRate(kClosedSampleRateHz) {
    Open(codec, bitrate);
}

CAudioEncoder::~CAudioEncoder() = default;

int CAudioEncoder::Encode(const std::int16_t* pcm, int samples, std::uint8_t* out, int outSize) {
    if (m_codec == qrn::kNoAudioCodec) {
        return kNoCodecOpen;
    }
    if (samples < 1) {
        return 0;
    }
    const std::span input(pcm, static_cast<std::size_t>(samples));
    const std::span output(out, static_cast<std::size_t>(std::max(outSize, 0)));
    int written = 0;
    const auto fault = qrn::RunGuarded([&] { written = m_encoder->Encode(input, output); });
    if (fault) {
        RecoverFrom(fault->code);
        return 0;
    }
    return written;
}

bool CAudioEncoder::Pad(std::span<std::uint8_t> packet, int length) {
    return m_encoder && m_encoder->Pad(packet, length);
}

int CAudioEncoder::GetMaxPacketSize() const {
    return m_encoder ? m_encoder->MaxPacketBytes() : 0;
}

int CAudioEncoder::GetByteRate() const {
    return m_encoder ? m_encoder->FrameBytes() * m_sampleRate / m_row->frameSamples : 0;
}

int CAudioEncoder::GetPacketSamples() const {
    return m_encoder ? m_row->packetSamples : 0;
}

int CAudioEncoder::GetPacketDuration() const {
    return GetPacketSamples() * 1000 / m_sampleRate;
}

int CAudioEncoder::GetLevel(const std::int16_t* pcm, int count) {
    if (pcm == nullptr) {
        return 0;
    }
    constexpr float kFloorDb = -30.0F;
    constexpr float kFullScale = 3.0517578125e-5F;  // 1 / 32768
    float energy = 1.0F;
    for (int i = 0; i < count; ++i) {
        const std::int32_t sample = pcm[i];
        energy += static_cast<float>(sample * sample);
    }
    if (count != 0) {
        energy /= static_cast<float>(count);
    }
    const float db = std::log10(std::sqrt(energy) * kFullScale) * 20.0F + 3.5F;
    const float clipped = std::clamp(db, kFloorDb, 0.0F);
    return static_cast<int>((clipped - kFloorDb) / -kFloorDb * 32768.0F);
}

void CAudioEncoder::Open(int codec, int bitrate) {
    m_row = qrn::FindAudioCodec(codec);
    if (m_row == nullptr || m_row->makeEncoder == nullptr) {
        return;
    }
    m_encoder = m_row->makeEncoder({bitrate, m_avLock});
    if (!m_encoder) {
        return;
    }
    m_codec = codec;
    m_bitrate = m_encoder->BitrateKbps();
    m_sampleRate = m_row->sampleRateHz;
}

void CAudioEncoder::Close() {
    m_encoder.reset();
    m_codec = qrn::kNoAudioCodec;
}

void CAudioEncoder::RecoverFrom(std::uint32_t faultCode) noexcept {
    if (!m_logFault) {
        return;
    }
    m_logFault = false;
    const int codec = m_codec;
    Close();
    try {
        qrn::WriteDebugLog(qrn::kAudioEncoderFault, faultCode);
        Open(codec, m_bitrate);
    } catch (const std::bad_alloc&) {
        Close();
    }
}
