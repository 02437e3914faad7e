#include "audiocoding/SpeexCodec.h"

#include <speex/speex.h>

#include <algorithm>
#include <array>
#include <cfenv>

#include "audiocoding/SpeexFrameCheck.h"

namespace qrn {

namespace {

constexpr int kPacketFrames = 4;
constexpr std::size_t kLongestFrameSamples = 640;
constexpr std::size_t kLongestFrameBytes = 110;

/// One constant rate of the codec: the highest row whose threshold the asked rate reaches is taken.
struct SpeexRate {
    int fromKbps;
    int bitrateKbps;
    int frameBytes;
    spx_int32_t bitsPerSecond;
};

constexpr SpeexRate kNarrowbandRates[] = {
    {25, 25, 62, 25000}, {15, 15, 38, 15000}, {11, 11, 28, 11000},     {8, 8, 20, 8000},
    {6, 6, 15, 6000},    {4, 4, 10, 4000},    {INT32_MIN, 2, 6, 2150},
};
// Thresholds of 22 and 18 for 23 and 19 are meant: the far end gets the rate as coded bytes per second, and those of
// the 23 row round to 22.
constexpr SpeexRate kUltraWidebandRates[] = {
    {44, 44, 110, 44000}, {36, 36, 90, 36000}, {30, 30, 74, 30000}, {26, 26, 64, 26000},      {22, 23, 56, 23000},
    {18, 19, 47, 19000},  {15, 15, 37, 15000}, {12, 12, 29, 12000}, {INT32_MIN, 8, 19, 8000},
};

/// What sets the two codec ids apart.
struct SpeexBand {
    const SpeexMode& mode;
    spx_int32_t sampleRateHz;
    std::size_t frameSamples;
    std::span<const SpeexRate> rates;
    bool isUltraWideband;
};

SpeexBand Narrowband() {
    return {speex_nb_mode, 8000, 160, kNarrowbandRates, false};
}

SpeexBand UltraWideband() {
    return {speex_uwb_mode, 32000, kLongestFrameSamples, kUltraWidebandRates, true};
}

const SpeexRate& RateFor(std::span<const SpeexRate> rates, int askedKbps) {
    return *std::find_if(rates.begin(), rates.end(), [&](const SpeexRate& rate) { return askedKbps >= rate.fromKbps; });
}

struct EncoderDeleter {
    void operator()(void* state) const { speex_encoder_destroy(state); }
};
struct DecoderDeleter {
    void operator()(void* state) const { speex_decoder_destroy(state); }
};
using EncoderPtr = std::unique_ptr<void, EncoderDeleter>;
using DecoderPtr = std::unique_ptr<void, DecoderDeleter>;

class CSpeexEncoder : public IAudioPacketEncoder {
public:
    CSpeexEncoder(EncoderPtr state, std::size_t frameSamples, const SpeexRate& rate)
        : m_state(std::move(state)),
          m_frameSamples(frameSamples),
          m_rate(rate) {
        speex_bits_init(&m_bits);
    }
    ~CSpeexEncoder() override { speex_bits_destroy(&m_bits); }
    CSpeexEncoder(const CSpeexEncoder&) = delete;
    CSpeexEncoder& operator=(const CSpeexEncoder&) = delete;

    int BitrateKbps() const override { return m_rate.bitrateKbps; }
    int FrameBytes() const override { return m_rate.frameBytes; }
    int MaxPacketBytes() const override { return m_rate.frameBytes * kPacketFrames; }

    int Encode(std::span<const std::int16_t> pcm, std::span<std::uint8_t> out) override {
        const auto frameBytes = static_cast<std::size_t>(m_rate.frameBytes);
        const std::size_t room = out.size();
        while (!pcm.empty() && out.size() >= frameBytes) {
            // The library takes its samples without const; the copy also completes a last frame.
            const std::size_t count = std::min(pcm.size(), m_frameSamples);
            std::fill(std::copy_n(pcm.begin(), count, m_frame.begin()), m_frame.end(), spx_int16_t{0});
            speex_bits_reset(&m_bits);
            speex_encode_int(m_state.get(), m_frame.data(), &m_bits);
            // The terminator fills up the last byte, which is counted already, and adds none.
            const int bytes = std::min(speex_bits_nbytes(&m_bits), static_cast<int>(out.size()));
            speex_bits_insert_terminator(&m_bits);
            const int written = speex_bits_write(&m_bits, reinterpret_cast<char*>(out.data()), bytes);
            out = out.subspan(static_cast<std::size_t>(written));
            pcm = pcm.subspan(count);
        }
        return static_cast<int>(room - out.size());
    }

private:
    EncoderPtr m_state;
    const std::size_t m_frameSamples;
    const SpeexRate m_rate;
    SpeexBits m_bits{};
    std::array<spx_int16_t, kLongestFrameSamples> m_frame{};
};

class CSpeexDecoder : public IAudioPacketDecoder {
public:
    CSpeexDecoder(DecoderPtr state, const SpeexBand& band, const SpeexRate& rate)
        : m_state(std::move(state)),
          m_frameSamples(band.frameSamples),
          m_isUltraWideband(band.isUltraWideband),
          m_rate(rate) {}

    int BitrateKbps() const override { return m_rate.bitrateKbps; }

    int Decode(std::span<const std::uint8_t> data, std::span<std::int16_t> pcm) override {
        const std::size_t room = pcm.size();
        while (!data.empty() && pcm.size() >= m_frameSamples) {
            const std::size_t count = std::min(data.size(), static_cast<std::size_t>(m_rate.frameBytes));
            std::fill(std::copy_n(data.begin(), count, m_frame.begin()), m_frame.end(), std::uint8_t{0});
            DecodeFrame(pcm.first(m_frameSamples));
            data = data.subspan(count);
            pcm = pcm.subspan(m_frameSamples);
        }
        return static_cast<int>((room - pcm.size()) * sizeof(std::int16_t));
    }

private:
    void DecodeFrame(std::span<std::int16_t> pcm) {
        const auto rewind = [this] { speex_bits_set_bit_buffer(&m_bits, m_frame.data(), m_rate.frameBytes); };
        rewind();
        const bool isKnown = HasKnownSpeexModes(m_bits, m_isUltraWideband);
        rewind();
        // For a frame without speech in it the library hands out what its stack held: silence in its place.
        if (!isKnown || speex_decode_int(m_state.get(), &m_bits, pcm.data()) != 0) {
            std::fill(pcm.begin(), pcm.end(), std::int16_t{0});
        }
    }

    DecoderPtr m_state;
    const std::size_t m_frameSamples;
    const bool m_isUltraWideband;
    const SpeexRate m_rate;
    /// Points at m_frame while a frame is decoded and owns nothing, so it needs neither init nor destroy.
    SpeexBits m_bits{};
    std::array<std::uint8_t, kLongestFrameBytes> m_frame{};
};

/// The library divides by zero and underflows on silence, in good order; a host that has these trapped on the thread
/// that opens the codec must not be stopped by it.
void MaskFloatingPointExceptions() {
    std::fenv_t previous;
    std::feholdexcept(&previous);
}

void SetOption(void* encoder, int option, spx_int32_t value) {
    speex_encoder_ctl(encoder, option, &value);
}

std::unique_ptr<IAudioPacketEncoder> MakeEncoder(const SpeexBand& band, int askedKbps) {
    MaskFloatingPointExceptions();
    EncoderPtr state(speex_encoder_init(&band.mode));
    if (!state) {
        return nullptr;
    }
    SetOption(state.get(), SPEEX_SET_SAMPLING_RATE, band.sampleRateHz);
    // Frames of one size: nothing between them tells where the next one begins.
    SetOption(state.get(), SPEEX_SET_VBR, 0);
    SetOption(state.get(), SPEEX_SET_HIGHPASS, 1);
    if (band.isUltraWideband) {
        SetOption(state.get(), SPEEX_SET_VAD, 0);
        SetOption(state.get(), SPEEX_SET_DTX, 0);
    }
    const SpeexRate& rate = RateFor(band.rates, askedKbps);
    SetOption(state.get(), SPEEX_SET_BITRATE, rate.bitsPerSecond);
    return std::make_unique<CSpeexEncoder>(std::move(state), band.frameSamples, rate);
}

std::unique_ptr<IAudioPacketDecoder> MakeDecoder(const SpeexBand& band, int askedKbps) {
    MaskFloatingPointExceptions();
    DecoderPtr state(speex_decoder_init(&band.mode));
    if (!state) {
        return nullptr;
    }
    spx_int32_t enhance = 1;
    speex_decoder_ctl(state.get(), SPEEX_SET_ENH, &enhance);
    return std::make_unique<CSpeexDecoder>(std::move(state), band, RateFor(band.rates, askedKbps));
}

}  // namespace

std::unique_ptr<IAudioPacketEncoder> MakeSpeexEncoder(const AudioCodecRequest& request) {
    return MakeEncoder(Narrowband(), request.bitrateKbps);
}

std::unique_ptr<IAudioPacketDecoder> MakeSpeexDecoder(const AudioCodecRequest& request) {
    return MakeDecoder(Narrowband(), request.bitrateKbps);
}

std::unique_ptr<IAudioPacketEncoder> MakeSpeexHqEncoder(const AudioCodecRequest& request) {
    return MakeEncoder(UltraWideband(), request.bitrateKbps);
}

std::unique_ptr<IAudioPacketDecoder> MakeSpeexHqDecoder(const AudioCodecRequest& request) {
    return MakeDecoder(UltraWideband(), request.bitrateKbps);
}

}  // namespace qrn
