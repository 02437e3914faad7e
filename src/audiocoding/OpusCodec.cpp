#include "audiocoding/OpusCodec.h"

#include <opus/opus.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace qrn {

namespace {

constexpr int kSampleRateHz = 48000;
constexpr int kFrameSamples = 960;
/// Room for one coded frame; bounds a frame at 384 kbit/s whatever rate is asked for.
constexpr int kFrameAreaBytes = 960;
constexpr int kFrameAreas = 4;
/// The size of the packet's PCM, which a coded packet never reaches.
constexpr int kMaxPacketBytes = 3840;
/// The longest packet that the format allows: 120 ms (RFC 6716 section 3.2.5).
constexpr int kLongestPacketSamples = 5760;
constexpr std::int64_t kLowestBitsPerSecond = 6000;
constexpr std::int64_t kHighestBitsPerSecond = 512000;
/// What the encoder answers for a frame with nothing to transmit.
constexpr opus_int32 kNothingToTransmit = 1;

struct OpusDeleter {
    void operator()(OpusEncoder* encoder) const { opus_encoder_destroy(encoder); }
    void operator()(OpusDecoder* decoder) const { opus_decoder_destroy(decoder); }
    void operator()(OpusRepacketizer* repacketizer) const { opus_repacketizer_destroy(repacketizer); }
};
using EncoderPtr = std::unique_ptr<OpusEncoder, OpusDeleter>;
using DecoderPtr = std::unique_ptr<OpusDecoder, OpusDeleter>;
using RepacketizerPtr = std::unique_ptr<OpusRepacketizer, OpusDeleter>;

class COpusEncoder : public IAudioPacketEncoder {
public:
    COpusEncoder(EncoderPtr encoder, RepacketizerPtr repacketizer, int bitrateKbps)
        : m_encoder(std::move(encoder)),
          m_repacketizer(std::move(repacketizer)),
          m_bitrateKbps(bitrateKbps) {}

    int BitrateKbps() const override { return m_bitrateKbps; }
    int FrameBytes() const override { return 0; }
    int MaxPacketBytes() const override { return kMaxPacketBytes; }

    int Encode(std::span<const std::int16_t> pcm, std::span<std::uint8_t> out) override {
        opus_repacketizer_init(m_repacketizer.get());
        int area = 0;
        for (; !pcm.empty(); pcm = pcm.subspan(std::min<std::size_t>(pcm.size(), kFrameSamples))) {
            // The repacketizer points into the frames given to it until the packet is out, so the area moves on only
            // when its frame was kept.
            auto& frame = m_frames[static_cast<std::size_t>(area)];
            const opus_int32 length =
                opus_encode(m_encoder.get(), WholeFrame(pcm), kFrameSamples, frame.data(), kFrameAreaBytes);
            if (length < 0) {
                return 0;
            }
            if (length == kNothingToTransmit) {
                continue;
            }
            if (opus_repacketizer_cat(m_repacketizer.get(), frame.data(), length) != OPUS_OK) {
                return 0;
            }
            area = (area + 1) % kFrameAreas;
        }
        const opus_int32 length =
            opus_repacketizer_out(m_repacketizer.get(), out.data(), static_cast<opus_int32>(out.size()));
        // No frame kept gives OPUS_BAD_ARG (-1), and the caller is meant to see it.
        return length == OPUS_BUFFER_TOO_SMALL ? 0 : length;
    }

    bool Pad(std::span<std::uint8_t> packet, int length) override {
        return opus_packet_pad(packet.data(), length, static_cast<opus_int32>(packet.size())) == OPUS_OK;
    }

private:
    const std::int16_t* WholeFrame(std::span<const std::int16_t> pcm) {
        if (pcm.size() >= kFrameSamples) {
            return pcm.data();
        }
        std::fill(std::copy(pcm.begin(), pcm.end(), m_lastFrame.begin()), m_lastFrame.end(), std::int16_t{0});
        return m_lastFrame.data();
    }

    EncoderPtr m_encoder;
    RepacketizerPtr m_repacketizer;
    const int m_bitrateKbps;
    std::array<std::array<unsigned char, kFrameAreaBytes>, kFrameAreas> m_frames{};
    std::array<std::int16_t, kFrameSamples> m_lastFrame{};
};

class COpusDecoder : public IAudioPacketDecoder {
public:
    COpusDecoder(DecoderPtr decoder, int bitrateKbps) : m_decoder(std::move(decoder)), m_bitrateKbps(bitrateKbps) {}

    int BitrateKbps() const override { return m_bitrateKbps; }

    int Decode(std::span<const std::uint8_t> data, std::span<std::int16_t> pcm) override {
        // The limit is the room in bytes and not in samples, so that packets up to twice the room are decoded and not
        // refused; what they give beyond the room is cut off. An empty packet makes the library conceal as many
        // samples as it is allowed, on its stack, hence the second bound.
        const auto limit = static_cast<int>(std::min<std::size_t>(pcm.size_bytes(), kLongestPacketSamples));
        const auto length = static_cast<opus_int32>(data.size());
        const int expected = data.empty() ? limit : opus_packet_get_nb_samples(data.data(), length, kSampleRateHz);
        if (expected <= static_cast<int>(pcm.size())) {
            return BytesOf(opus_decode(m_decoder.get(), data.data(), length, pcm.data(), limit, 0));
        }
        const int samples = opus_decode(m_decoder.get(), data.data(), length, m_scratch.data(), limit, 0);
        if (samples < 0) {
            return BytesOf(samples);
        }
        const int kept = std::min(samples, static_cast<int>(pcm.size()));
        std::copy_n(m_scratch.begin(), kept, pcm.begin());
        return BytesOf(kept);
    }

private:
    /// An error doubles as well, and the caller is meant to see it.
    static int BytesOf(int samples) { return samples * static_cast<int>(sizeof(std::int16_t)); }

    DecoderPtr m_decoder;
    const int m_bitrateKbps;
    std::array<std::int16_t, kLongestPacketSamples> m_scratch{};
};

}  // namespace

std::unique_ptr<IAudioPacketEncoder> MakeOpusEncoder(const AudioCodecRequest& request) {
    int error = OPUS_OK;
    EncoderPtr encoder(opus_encoder_create(kSampleRateHz, 1, OPUS_APPLICATION_VOIP, &error));
    RepacketizerPtr repacketizer(opus_repacketizer_create());
    if (error != OPUS_OK || !encoder || !repacketizer) {
        return nullptr;
    }
    const auto bitsPerSecond = static_cast<opus_int32>(
        std::clamp(std::int64_t{request.bitrateKbps} * 1000, kLowestBitsPerSecond, kHighestBitsPerSecond));
    opus_encoder_ctl(encoder.get(), OPUS_SET_BITRATE(bitsPerSecond));
    // A receiver finds the right half of a stereo sample at half its length, so both halves must be equally long. At
    // low rates they are not yet: the repacketizer takes the padding off that makes the rate constant (see Pad).
    opus_encoder_ctl(encoder.get(), OPUS_SET_VBR(0));
    return std::make_unique<COpusEncoder>(std::move(encoder), std::move(repacketizer), request.bitrateKbps);
}

std::unique_ptr<IAudioPacketDecoder> MakeOpusDecoder(const AudioCodecRequest& request) {
    int error = OPUS_OK;
    DecoderPtr decoder(opus_decoder_create(kSampleRateHz, 1, &error));
    if (error != OPUS_OK || !decoder) {
        return nullptr;
    }
    return std::make_unique<COpusDecoder>(std::move(decoder), request.bitrateKbps);
}

}  // namespace qrn
