#include "audiocoding/GsmCodec.h"

#include <gsm.h>

#include <algorithm>
#include <array>
#include <type_traits>

namespace qrn {

namespace {

constexpr int kFrameSamples = 160;
constexpr int kFrameBytes = 33;
constexpr int kPacketFrames = 4;
constexpr int kBitrateKbps = 13;

struct GsmDeleter {
    void operator()(gsm state) const { gsm_destroy(state); }
};
using GsmState = std::unique_ptr<std::remove_pointer_t<gsm>, GsmDeleter>;

class CGsmEncoder : public IAudioPacketEncoder {
public:
    explicit CGsmEncoder(GsmState state) : m_state(std::move(state)) {}

    int BitrateKbps() const override { return kBitrateKbps; }
    int FrameBytes() const override { return kFrameBytes; }
    int MaxPacketBytes() const override { return kFrameBytes * kPacketFrames; }

    int Encode(std::span<const std::int16_t> pcm, std::span<std::uint8_t> out) override {
        std::size_t written = 0;
        for (; !pcm.empty() && out.size() - written >= kFrameBytes; written += kFrameBytes) {
            // The library takes its samples without const; the copy also completes a last frame.
            const std::size_t count = std::min<std::size_t>(pcm.size(), kFrameSamples);
            std::fill(std::copy_n(pcm.begin(), count, m_frame.begin()), m_frame.end(), gsm_signal{0});
            gsm_encode(m_state.get(), m_frame.data(), out.data() + written);
            pcm = pcm.subspan(count);
        }
        return static_cast<int>(written);
    }

private:
    GsmState m_state;
    std::array<gsm_signal, kFrameSamples> m_frame{};
};

class CGsmDecoder : public IAudioPacketDecoder {
public:
    explicit CGsmDecoder(GsmState state) : m_state(std::move(state)) {}

    int BitrateKbps() const override { return kBitrateKbps; }

    int Decode(std::span<const std::uint8_t> data, std::span<std::int16_t> pcm) override {
        std::size_t written = 0;
        for (; !data.empty() && pcm.size() - written >= kFrameSamples; written += kFrameSamples) {
            const std::size_t count = std::min<std::size_t>(data.size(), kFrameBytes);
            std::fill(std::copy_n(data.begin(), count, m_frame.begin()), m_frame.end(), gsm_byte{0});
            // A frame without the signature nibble is refused and nothing written: silence in its place, so that
            // the packet keeps its length and no old memory is heard.
            if (gsm_decode(m_state.get(), m_frame.data(), pcm.data() + written) != 0) {
                std::fill_n(pcm.begin() + static_cast<std::ptrdiff_t>(written), kFrameSamples, std::int16_t{0});
            }
            data = data.subspan(count);
        }
        return static_cast<int>(written * sizeof(std::int16_t));
    }

private:
    GsmState m_state;
    std::array<gsm_byte, kFrameBytes> m_frame{};
};

template <class Interface, class Codec>
std::unique_ptr<Interface> Make() {
    GsmState state(gsm_create());
    if (!state) {
        return nullptr;
    }
    return std::make_unique<Codec>(std::move(state));
}

}  // namespace

std::unique_ptr<IAudioPacketEncoder> MakeGsmEncoder(const AudioCodecRequest&) {
    return Make<IAudioPacketEncoder, CGsmEncoder>();
}

std::unique_ptr<IAudioPacketDecoder> MakeGsmDecoder(const AudioCodecRequest&) {
    return Make<IAudioPacketDecoder, CGsmDecoder>();
}

}  // namespace qrn
