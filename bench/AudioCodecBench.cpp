// What CAudioEncoder and CAudioDecoder cost beyond the codec's library.
//
// "ours" is one packet through the wrapper, fault guard and all; "bare" the same packet by the library alone, opened
// with the same settings and fed with the same sounds, so that both do the same work at any time. They take turns every
// few packets, and the median of the quotients of such rounds is told: what else the machine does meets both alike.

#include <benchmark/benchmark.h>
#include <gsm.h>
#include <opus.h>
#include <speex/speex.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "audiocoding/CAudioDecoder.h"
#include "audiocoding/CAudioEncoder.h"
#include "audiocoding/Signals.h"

namespace {

using qrn::test::Bytes;
using qrn::test::Pcm;

constexpr int kPackets = 32;       // of sound, over and over
constexpr int kPacketsARound = 8;  // by one side, then by the other
constexpr double kMayAdd = 0.03;   // of the bare time
constexpr std::size_t kRoomBytes = 8192;

void Check(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "bench_audio_codec: %s failed\n", what);
        std::exit(1);
    }
}

/// A codec's library by itself: one packet of one channel a call.
class IBareCodec {
public:
    virtual ~IBareCodec() = default;
    virtual std::size_t Encode(const std::int16_t* pcm, std::uint8_t* out) = 0;
    virtual void Decode(const std::uint8_t* data, std::size_t length, std::int16_t* pcm) = 0;
};

template <auto Destroy>
struct Deleter {
    template <class T>
    void operator()(T* object) const {
        Destroy(object);
    }
};

class CBareGsm final : public IBareCodec {
public:
    std::size_t Encode(const std::int16_t* pcm, std::uint8_t* out) override {
        for (std::size_t frame = 0; frame < 4; ++frame) {
            gsm_encode(m_encoder.get(), const_cast<std::int16_t*>(pcm) + 160 * frame, out + 33 * frame);
        }
        return 132;
    }
    void Decode(const std::uint8_t* data, std::size_t, std::int16_t* pcm) override {
        for (std::size_t frame = 0; frame < 4; ++frame) {
            gsm_decode(m_decoder.get(), const_cast<std::uint8_t*>(data) + 33 * frame, pcm + 160 * frame);
        }
    }

private:
    std::unique_ptr<gsm_state, Deleter<gsm_destroy>> m_encoder{gsm_create()};
    std::unique_ptr<gsm_state, Deleter<gsm_destroy>> m_decoder{gsm_create()};
};

class CBareSpeex final : public IBareCodec {
public:
    CBareSpeex(const SpeexMode& mode, int sampleRateHz, int bitsPerSecond, std::size_t frameBytes)
        : m_encoder(speex_encoder_init(&mode)),
          m_decoder(speex_decoder_init(&mode)),
          m_frameSamples(static_cast<std::size_t>(sampleRateHz) / 50),
          m_frameBytes(frameBytes) {
        for (auto [option, value] : {std::pair{SPEEX_SET_SAMPLING_RATE, sampleRateHz}, std::pair{SPEEX_SET_VBR, 0},
                                     std::pair{SPEEX_SET_HIGHPASS, 1}, std::pair{SPEEX_SET_BITRATE, bitsPerSecond}}) {
            speex_encoder_ctl(m_encoder.get(), option, &value);
        }
        int enhance = 1;
        speex_decoder_ctl(m_decoder.get(), SPEEX_SET_ENH, &enhance);
        speex_bits_init(&m_bits);
    }
    ~CBareSpeex() override { speex_bits_destroy(&m_bits); }
    CBareSpeex(const CBareSpeex&) = delete;
    CBareSpeex& operator=(const CBareSpeex&) = delete;

    std::size_t Encode(const std::int16_t* pcm, std::uint8_t* out) override {
        std::size_t written = 0;
        for (std::size_t frame = 0; frame < 4; ++frame) {
            speex_bits_reset(&m_bits);
            speex_encode_int(m_encoder.get(), const_cast<std::int16_t*>(pcm) + frame * m_frameSamples, &m_bits);
            written += static_cast<std::size_t>(
                speex_bits_write(&m_bits, reinterpret_cast<char*>(out + written), static_cast<int>(m_frameBytes)));
        }
        return written;
    }
    void Decode(const std::uint8_t* data, std::size_t, std::int16_t* pcm) override {
        for (std::size_t frame = 0; frame < 4; ++frame) {
            speex_bits_set_bit_buffer(&m_reading, const_cast<std::uint8_t*>(data) + frame * m_frameBytes,
                                      static_cast<int>(m_frameBytes));
            speex_decode_int(m_decoder.get(), &m_reading, pcm + frame * m_frameSamples);
        }
    }

private:
    std::unique_ptr<void, Deleter<speex_encoder_destroy>> m_encoder;
    std::unique_ptr<void, Deleter<speex_decoder_destroy>> m_decoder;
    const std::size_t m_frameSamples;
    const std::size_t m_frameBytes;
    SpeexBits m_bits{};
    SpeexBits m_reading{};
};

class CBareOpus final : public IBareCodec {
public:
    explicit CBareOpus(int kbps) {
        opus_encoder_ctl(m_encoder.get(), OPUS_SET_BITRATE(kbps * 1000));
        opus_encoder_ctl(m_encoder.get(), OPUS_SET_VBR(0));
    }
    std::size_t Encode(const std::int16_t* pcm, std::uint8_t* out) override {
        opus_repacketizer_init(m_repacketizer.get());
        for (std::size_t frame = 0; frame < 2; ++frame) {
            const int length = opus_encode(m_encoder.get(), pcm + 960 * frame, 960, m_frames[frame].data(), 960);
            opus_repacketizer_cat(m_repacketizer.get(), m_frames[frame].data(), length);
        }
        return static_cast<std::size_t>(opus_repacketizer_out(m_repacketizer.get(), out, 3840));
    }
    void Decode(const std::uint8_t* data, std::size_t length, std::int16_t* pcm) override {
        Check(opus_decode(m_decoder.get(), data, static_cast<opus_int32>(length), pcm, 1920, 0) == 1920, "opus_decode");
    }

private:
    int m_error = 0;
    std::unique_ptr<OpusEncoder, Deleter<opus_encoder_destroy>> m_encoder{
        opus_encoder_create(48000, 1, OPUS_APPLICATION_VOIP, &m_error)};
    std::unique_ptr<OpusDecoder, Deleter<opus_decoder_destroy>> m_decoder{opus_decoder_create(48000, 1, &m_error)};
    std::unique_ptr<OpusRepacketizer, Deleter<opus_repacketizer_destroy>> m_repacketizer{opus_repacketizer_create()};
    std::array<std::array<unsigned char, 960>, 2> m_frames{};
};

class CBareMp3 final : public IBareCodec {
public:
    CBareMp3()
        : m_encoder(Open(avcodec_find_encoder(AV_CODEC_ID_MP3))),
          m_decoder(Open(avcodec_find_decoder_by_name("mp3"))) {
        m_in->nb_samples = 1152;
        m_in->format = m_encoder->sample_fmt;
        av_channel_layout_copy(&m_in->ch_layout, &m_encoder->ch_layout);
        Check(av_frame_get_buffer(m_in.get(), 0) == 0, "av_frame_get_buffer");
    }
    std::size_t Encode(const std::int16_t* pcm, std::uint8_t* out) override {
        std::size_t written = 0;
        for (std::size_t frame = 0; frame < 2; ++frame) {
            av_frame_make_writable(m_in.get());
            std::memcpy(m_in->data[0], pcm + 1152 * frame, 2304);
            avcodec_send_frame(m_encoder.get(), m_in.get());
            while (avcodec_receive_packet(m_encoder.get(), m_packet.get()) == 0) {
                std::memcpy(out + written, m_packet->data, static_cast<std::size_t>(m_packet->size));
                written += static_cast<std::size_t>(m_packet->size);
                av_packet_unref(m_packet.get());
            }
        }
        return written;
    }
    void Decode(const std::uint8_t* data, std::size_t length, std::int16_t* pcm) override {
        // FFmpeg takes its own copy of what is not counted.
        m_packet->data = const_cast<std::uint8_t*>(data);
        m_packet->size = static_cast<int>(length);
        avcodec_send_packet(m_decoder.get(), m_packet.get());
        while (avcodec_receive_frame(m_decoder.get(), m_out.get()) == 0) {
            std::memcpy(pcm, m_out->data[0], 2304);
            pcm += 1152;
        }
    }

private:
    template <auto Free>
    struct AvDeleter {
        template <class T>
        void operator()(T* object) const {
            Free(&object);
        }
    };
    using ContextPtr = std::unique_ptr<AVCodecContext, AvDeleter<avcodec_free_context>>;

    static ContextPtr Open(const AVCodec* codec) {
        ContextPtr context(avcodec_alloc_context3(codec));
        context->log_level_offset = 2 * AV_LOG_TRACE;
        context->sample_rate = 32000;
        context->bit_rate = 64000;
        context->sample_fmt = AV_SAMPLE_FMT_S16;
        context->request_sample_fmt = AV_SAMPLE_FMT_S16;
        av_channel_layout_default(&context->ch_layout, 1);
        av_opt_set_int(context.get(), "reservoir", 0, AV_OPT_SEARCH_CHILDREN);
        Check(avcodec_open2(context.get(), codec, nullptr) == 0, "avcodec_open2");
        return context;
    }

    ContextPtr m_encoder;
    ContextPtr m_decoder;
    std::unique_ptr<AVFrame, AvDeleter<av_frame_free>> m_in{av_frame_alloc()};
    std::unique_ptr<AVFrame, AvDeleter<av_frame_free>> m_out{av_frame_alloc()};
    std::unique_ptr<AVPacket, AvDeleter<av_packet_free>> m_packet{av_packet_alloc()};
};

struct Codec {
    const char* name;
    int id;
    int kbps;
    std::function<std::unique_ptr<IBareCodec>()> makeBare;
};

const std::vector<Codec>& Codecs() {
    static const std::vector<Codec> codecs{
        {"gsm", 0, 13, [] { return std::make_unique<CBareGsm>(); }},
        {"speex", 2, 15, [] { return std::make_unique<CBareSpeex>(speex_nb_mode, 8000, 15000, 38); }},
        {"speex_hq", 3, 44, [] { return std::make_unique<CBareSpeex>(speex_uwb_mode, 32000, 44000, 110); }},
        {"mp3", 4, 64, [] { return std::make_unique<CBareMp3>(); }},
        {"opus", 5, 96, [] { return std::make_unique<CBareOpus>(96); }},
    };
    return codecs;
}

double CpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

/// Of all rounds of one codec in one direction.
struct Times {
    std::vector<double> ours;
    std::vector<double> bare;
    std::vector<double> quotients;
};
std::map<std::string, Times> g_times;

double Median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// Lets the two sides take turns; `step` takes the number of the packet.
template <class Ours, class Bare>
void RunRounds(benchmark::State& state, const std::string& name, Ours ours, Bare bare) {
    const auto time = [](auto& step, int from) {
        const double start = CpuSeconds();
        for (int i = 0; i < kPacketsARound; ++i) {
            step(static_cast<std::size_t>((from + i) % kPackets));
        }
        return (CpuSeconds() - start) / kPacketsARound;
    };
    int from = 0;
    bool isOursFirst = true;
    Times& times = g_times[name];
    for (auto unused : state) {
        double oursSeconds = isOursFirst ? time(ours, from) : 0.0;
        const double bareSeconds = time(bare, from);
        oursSeconds = isOursFirst ? oursSeconds : time(ours, from);
        times.ours.push_back(oursSeconds * 1e6);
        times.bare.push_back(bareSeconds * 1e6);
        times.quotients.push_back(oursSeconds / bareSeconds);
        state.SetIterationTime(oursSeconds);
        from = (from + kPacketsARound) % kPackets;
        isOursFirst = !isOursFirst;
    }
}

void EncodeRounds(benchmark::State& state, const Codec& codec) {
    CAudioEncoder ours(codec.id, codec.kbps);
    const auto bare = codec.makeBare();
    const int samples = ours.GetPacketSamples();
    const Pcm voice = qrn::test::Voice(samples * kPackets, ours.GetSampleRate());
    const auto at = [&](std::size_t packet) { return voice.data() + packet * static_cast<std::size_t>(samples); };
    Bytes ourOut(kRoomBytes);
    Bytes bareOut(kRoomBytes);
    RunRounds(
        state, std::string("encode/") + codec.name,
        [&](std::size_t packet) { ours.Encode(at(packet), samples, ourOut.data(), static_cast<int>(kRoomBytes)); },
        [&](std::size_t packet) { bare->Encode(at(packet), bareOut.data()); });
    Check(ourOut == bareOut, "comparing what both sides encoded");
}

void DecodeRounds(benchmark::State& state, const Codec& codec) {
    CAudioEncoder encoder(codec.id, codec.kbps);
    CAudioDecoder ours(codec.id, codec.kbps);
    const auto bare = codec.makeBare();
    const int samples = encoder.GetPacketSamples();
    const Pcm voice = qrn::test::Voice(samples * (kPackets + 1), encoder.GetSampleRate());
    std::vector<Bytes> packets;
    for (int i = 0; i <= kPackets; ++i) {
        Bytes packet(kRoomBytes);
        packet.resize(static_cast<std::size_t>(
            encoder.Encode(voice.data() + i * samples, samples, packet.data(), static_cast<int>(kRoomBytes))));
        packets.push_back(packet);
    }
    // An MP3 encoder keeps a part of its first packet back.
    packets.erase(packets.begin());
    Pcm ourOut(kRoomBytes / 2);
    Pcm bareOut(kRoomBytes / 2);
    RunRounds(
        state, std::string("decode/") + codec.name,
        [&](std::size_t packet) {
            ours.Decode(packets[packet].data(), static_cast<int>(packets[packet].size()), ourOut.data(), samples * 2);
        },
        [&](std::size_t packet) { bare->Decode(packets[packet].data(), packets[packet].size(), bareOut.data()); });
    Check(ourOut == bareOut, "comparing what both sides decoded");
}

void PrintTable() {
    std::printf("\nmicroseconds of CPU a packet and what the wrapper adds (medians of rounds); it may add %.0f %%\n",
                kMayAdd * 100);
    std::printf("%-18s %10s %10s %10s %10s\n", "packet", "ours", "bare", "added %", "rounds");
    for (const auto& [name, times] : g_times) {
        const double added = Median(times.quotients) - 1.0;
        std::printf("%-18s %10.2f %10.2f %10.2f %10zu%s\n", name.c_str(), Median(times.ours), Median(times.bare),
                    added * 100, times.quotients.size(), added > kMayAdd ? "  too much" : "");
    }
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    const auto add = [](const char* direction, const Codec& codec, void (*rounds)(benchmark::State&, const Codec&)) {
        benchmark::RegisterBenchmark((std::string(direction) + codec.name).c_str(), rounds, codec)
            ->UseManualTime()
            ->Unit(benchmark::kMicrosecond)
            ->Iterations(600);
    };
    for (const Codec& codec : Codecs()) {
        add("encode/", codec, EncodeRounds);
        add("decode/", codec, DecodeRounds);
    }
    benchmark::RunSpecifiedBenchmarks();
    PrintTable();
    return 0;
}
