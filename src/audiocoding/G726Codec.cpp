#include "audiocoding/G726Codec.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "audiocoding/g726/CG72xState.h"

namespace qrn {

namespace {

constexpr std::size_t kFrameSamples = 160;
constexpr int kPacketFrames = 4;
constexpr int kWordsPerGroup = 8;
constexpr std::size_t kLargestFrameBytes = 100;

using Words = std::array<std::uint8_t, kFrameSamples>;

/// Eight words fill as many bytes as a word has bits. A word is not cut to its bits: what the last of a group has above
/// them is dropped.
template <int Bits>
void Pack(const Words& words, std::span<std::uint8_t> out) {
    auto to = out.begin();
    for (auto word = words.begin(); word != words.end(); word += kWordsPerGroup) {
        std::uint64_t group = 0;
        for (int i = 0; i < kWordsPerGroup; ++i) {
            group |= std::uint64_t{word[i]} << (i * Bits);
        }
        for (int i = 0; i < Bits; ++i) {
            *to++ = static_cast<std::uint8_t>(group >> (8 * i));
        }
    }
}

template <int Bits>
void Unpack(std::span<const std::uint8_t> bytes, Words& words) {
    auto from = bytes.begin();
    for (auto word = words.begin(); word != words.end(); word += kWordsPerGroup) {
        std::uint64_t group = 0;
        for (int i = 0; i < Bits; ++i) {
            group |= std::uint64_t{*from++} << (8 * i);
        }
        for (int i = 0; i < kWordsPerGroup; ++i) {
            word[i] = static_cast<std::uint8_t>((group >> (i * Bits)) & ((1U << Bits) - 1));
        }
    }
}

struct Rate {
    int kbps;  ///< of the row, and the lowest asked that gets it
    int bits;
    std::size_t codedSamples;  ///< of a frame
    void (*pack)(const Words& words, std::span<std::uint8_t> out);
    void (*unpack)(std::span<const std::uint8_t> bytes, Words& words);

    std::size_t FrameBytes() const { return kFrameSamples * static_cast<std::size_t>(bits) / 8; }
};
/// At 24 kbit/s the last sample of a frame is not coded: its own low bits take the place of its word, and a decoder
/// takes them for one. Both ends are meant to do so.
constexpr Rate kRates[] = {
    {40, 5, 160, Pack<5>, Unpack<5>},
    {32, 4, 160, Pack<4>, Unpack<4>},
    {24, 3, 159, Pack<3>, Unpack<3>},
    {16, 2, 160, Pack<2>, Unpack<2>},
};

const Rate& RateOf(int askedKbps) {
    for (const Rate& rate : kRates) {
        if (askedKbps >= rate.kbps) {
            return rate;
        }
    }
    return kRates[std::size(kRates) - 1];
}

class CG726Encoder : public IAudioPacketEncoder {
public:
    explicit CG726Encoder(const Rate& rate) : m_rate(rate), m_state(rate.bits) {}

    int BitrateKbps() const override { return m_rate.kbps; }
    int FrameBytes() const override { return static_cast<int>(m_rate.FrameBytes()); }
    int MaxPacketBytes() const override { return FrameBytes() * kPacketFrames; }

    int Encode(std::span<const std::int16_t> pcm, std::span<std::uint8_t> out) override {
        const std::size_t frameBytes = m_rate.FrameBytes();
        std::size_t written = 0;
        for (; !pcm.empty() && out.size() - written >= frameBytes; written += frameBytes) {
            const std::size_t count = std::min(pcm.size(), kFrameSamples);
            std::fill(std::copy_n(pcm.begin(), count, m_samples.begin()), m_samples.end(), std::int16_t{0});
            m_words.back() = static_cast<std::uint8_t>(m_samples.back());
            m_state.Encode(std::span(m_samples).first(m_rate.codedSamples), m_words);
            m_rate.pack(m_words, out.subspan(written));
            pcm = pcm.subspan(count);
        }
        return static_cast<int>(written);
    }

private:
    const Rate& m_rate;
    CG72xState m_state;
    std::array<std::int16_t, kFrameSamples> m_samples{};
    Words m_words{};
};

class CG726Decoder : public IAudioPacketDecoder {
public:
    explicit CG726Decoder(const Rate& rate) : m_rate(rate), m_state(rate.bits) {}

    int BitrateKbps() const override { return m_rate.kbps; }

    int Decode(std::span<const std::uint8_t> data, std::span<std::int16_t> pcm) override {
        std::size_t written = 0;
        for (; !data.empty() && pcm.size() - written >= kFrameSamples; written += kFrameSamples) {
            const std::size_t count = std::min(data.size(), m_rate.FrameBytes());
            std::fill(std::copy_n(data.begin(), count, m_frame.begin()), m_frame.end(), std::uint8_t{0});
            m_rate.unpack(m_frame, m_words);
            m_state.Decode(m_words, pcm.subspan(written));
            data = data.subspan(count);
        }
        return static_cast<int>(written * sizeof(std::int16_t));
    }

private:
    const Rate& m_rate;
    CG72xState m_state;
    std::array<std::uint8_t, kLargestFrameBytes> m_frame{};
    Words m_words{};
};

}  // namespace

std::unique_ptr<IAudioPacketEncoder> MakeG726Encoder(const AudioCodecRequest& request) {
    return std::make_unique<CG726Encoder>(RateOf(request.bitrateKbps));
}

std::unique_ptr<IAudioPacketDecoder> MakeG726Decoder(const AudioCodecRequest& request) {
    return std::make_unique<CG726Decoder>(RateOf(request.bitrateKbps));
}

}  // namespace qrn
