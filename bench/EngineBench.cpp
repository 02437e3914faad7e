// What the codec engines cost beyond their libraries.
//
// "ours" is a picture through the engine, "bare" the same picture by the library alone, set up alike; both sides copy
// what a decoder gave into a picture of the caller's. They take turns every few pictures, and the median of the
// quotients of such rounds is told: what else the machine does meets both alike.

#include <benchmark/benchmark.h>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "engines/BareH264.h"
#include "engines/Clip.h"
#include "engines/H264VideoDecoder.h"
#include "engines/H264VideoEncoder.h"
#include "engines/MJPEGVideoDecoder.h"
#include "engines/TurboJpeg.h"
#include "engines/VideoDecoderParams.h"

namespace {

using qrn::test::Frame;
using qrn::test::Picture;

constexpr int kWidth = 640;
constexpr int kHeight = 480;
constexpr int kPictures = 50;  // of the clip, over and over
constexpr int kPicturesARound = 2;
constexpr int kRounds = 200;
constexpr int kFps = 25;
constexpr int kKbps = 1000;
constexpr double kMayAdd = 0.02;  // of the bare time
constexpr std::size_t kRoomBytes = 1 << 20;

void Check(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "bench_engine: %s failed\n", what);
        std::exit(1);
    }
}

double CpuMicroseconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

double Median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

struct Line {
    std::string name;
    double ours, bare, quotient;
};
std::vector<Line> g_lines;

using Step = std::function<void(std::size_t)>;

double Timed(const Step& step, std::size_t first) {
    const double start = CpuMicroseconds();
    for (std::size_t n = first; n < first + kPicturesARound; ++n) {
        step(n);
    }
    return (CpuMicroseconds() - start) / kPicturesARound;
}

void RunRounds(benchmark::State& state, const char* name, const Step& ours, const Step& bare) {
    std::vector<double> ourTimes;
    std::vector<double> bareTimes;
    std::vector<double> quotients;
    for (auto _ : state) {
        const std::size_t first = ourTimes.size() * kPicturesARound;
        const bool isOursFirst = ourTimes.size() % 2 == 0;
        const double early = Timed(isOursFirst ? ours : bare, first);
        const double late = Timed(isOursFirst ? bare : ours, first);
        ourTimes.push_back(isOursFirst ? early : late);
        bareTimes.push_back(isOursFirst ? late : early);
        quotients.push_back(ourTimes.back() / bareTimes.back());
        state.SetIterationTime(ourTimes.back() * kPicturesARound / 1e6);
    }
    g_lines.push_back({name, Median(ourTimes), Median(bareTimes), Median(quotients)});
}

std::vector<Picture>& Clip() {
    static std::vector<Picture> clip;
    for (int n = static_cast<int>(clip.size()); n < kPictures; ++n) {
        clip.push_back(qrn::test::MovingPicture(kWidth, kHeight, n));
    }
    return clip;
}

void Encode(benchmark::State& state) {
    UMC::H264EncoderParams params;
    params.m_width = kWidth;
    params.m_height = kHeight;
    params.m_frameRate = kFps;
    params.m_bitrate = 1000 * kKbps;
    params.m_keyFrameInterval = kPictures;
    UMC::H264VideoEncoder encoder;
    Check(encoder.Init(&params) == UMC::kOk, "opening the encoder");
    qrn::test::BareEncoder bareEncoder(kWidth, kHeight, kFps, kKbps, kPictures);
    UMC::VideoData picture;
    UMC::MediaData out;
    Check(out.Alloc(kRoomBytes) == UMC::kOk, "memory");
    Frame bareFrame;
    std::size_t ourBytes = 0;
    std::size_t bareBytes = 0;
    RunRounds(
        state, "h264 encode",
        [&](std::size_t n) {
            qrn::test::Wrap(Clip()[n % kPictures], picture);
            out.SetDataSize(0);
            Check(encoder.GetFrame(&picture, &out) == UMC::kOk, "encoding");
            ourBytes += out.GetDataSize();
        },
        [&](std::size_t n) {
            bareFrame = bareEncoder.Encode(Clip()[n % kPictures]);
            bareBytes += bareFrame.size();
        });
    Check(ourBytes == bareBytes, "comparing what both sides encoded");
}

void CopyRows(const std::uint8_t* source, int pitch, int width, int height, std::uint8_t*& target) {
    for (int y = 0; y < height; ++y, target += width) {
        std::memcpy(target, source + std::ptrdiff_t{y} * pitch, static_cast<std::size_t>(width));
    }
}

class CopyingPost : public UMC::Typed<CopyingPost, UMC::BaseCodec> {
public:
    static const char* ClassName() { return "CopyingPost"; }
    UMC::Status Init(UMC::BaseCodecParams*) override { return UMC::kOk; }
    UMC::Status GetFrame(UMC::MediaData* in, UMC::MediaData*) override {
        const auto* const picture = UMC::As<UMC::VideoData>(in);
        std::uint8_t* target = m_copy.data();
        for (int index = 0; index < picture->GetNumPlanes(); ++index) {
            const UMC::VideoData::Plane plane = picture->GetPlane(index);
            CopyRows(plane.pointer, plane.pitch, plane.width, plane.height, target);
        }
        return UMC::kOk;
    }
    UMC::Status GetInfo(UMC::BaseCodecParams*) override { return UMC::kOk; }
    UMC::Status Close() override { return UMC::kOk; }
    UMC::Status Reset() override { return UMC::kOk; }
    std::vector<std::uint8_t> m_copy = std::vector<std::uint8_t>(kWidth * kHeight * 3 / 2);
};

/// FFmpeg's decoder alone, with the packets that its manual asks for.
class BareAvDecoder {
public:
    explicit BareAvDecoder(AVCodecID id) {
        m_context = avcodec_alloc_context3(avcodec_find_decoder(id));
        m_context->thread_count = 1;
        m_context->flags |= AV_CODEC_FLAG_LOW_DELAY;
        Check(avcodec_open2(m_context, nullptr, nullptr) == 0, "opening the bare decoder");
    }
    ~BareAvDecoder() {
        av_packet_free(&m_packet);
        av_frame_free(&m_frame);
        avcodec_free_context(&m_context);
    }
    void Decode(const Frame& frame) {
        Check(av_new_packet(m_packet, static_cast<int>(frame.size())) == 0, "memory");
        std::memcpy(m_packet->data, frame.data(), frame.size());
        Check(avcodec_send_packet(m_context, m_packet) == 0, "bare decoding");
        av_packet_unref(m_packet);
        Check(avcodec_receive_frame(m_context, m_frame) == 0, "bare decoding");
        std::uint8_t* target = m_copy.data();
        for (int plane = 0; plane < 3; ++plane) {
            const int half = plane == 0 ? 1 : 2;
            CopyRows(m_frame->data[plane], m_frame->linesize[plane], kWidth / half, kHeight / half, target);
        }
    }
    std::vector<std::uint8_t> m_copy = std::vector<std::uint8_t>(kWidth * kHeight * 3 / 2);

private:
    AVCodecContext* m_context = nullptr;
    AVFrame* m_frame = av_frame_alloc();
    AVPacket* m_packet = av_packet_alloc();
};

void Decode(benchmark::State& state, const char* name, UMC::VideoDecoder& decoder, AVCodecID id,
            std::vector<Frame> frames) {
    CopyingPost post;
    UMC::VideoDecoderParams params;
    params.m_postProcessing = &post;
    Check(decoder.Init(&params) == UMC::kOk, "opening the decoder");
    BareAvDecoder bare(id);
    UMC::MediaData in;
    UMC::VideoData out;
    RunRounds(
        state, name,
        [&](std::size_t n) {
            Frame& frame = frames[n % frames.size()];
            in.SetBufferPointer(frame.data(), frame.size());
            in.SetDataSize(frame.size());
            Check(decoder.GetFrame(&in, &out) == UMC::kOk, "decoding");
        },
        [&](std::size_t n) { bare.Decode(frames[n % frames.size()]); });
    Check(post.m_copy == bare.m_copy, "comparing what both sides decoded");
}

void DecodeH264(benchmark::State& state) {
    qrn::test::BareEncoder encoder(kWidth, kHeight, kFps, kKbps, kPictures);
    std::vector<Frame> frames;
    for (const Picture& picture : Clip()) {
        frames.push_back(encoder.Encode(picture));
    }
    UMC::H264VideoDecoder decoder;
    Decode(state, "h264 decode", decoder, AV_CODEC_ID_H264, std::move(frames));
}

void DecodeMjpeg(benchmark::State& state) {
    UMC::MJPEGVideoDecoder decoder;
    Decode(state, "mjpeg decode", decoder, AV_CODEC_ID_MJPEG,
           {qrn::test::CompressJpeg(kWidth, kHeight, qrn::test::Sampling::k420, false)});
}

void PrintTable() {
    std::printf(
        "\n%d x %d; microseconds of CPU a picture and what the engine adds (medians of %d rounds); it may add "
        "%.0f %%\n",
        kWidth, kHeight, kRounds, kMayAdd * 100);
    std::printf("%-14s %10s %10s %10s\n", "picture", "ours", "bare", "added %");
    for (const Line& line : g_lines) {
        const double added = line.quotient - 1.0;
        std::printf("%-14s %10.1f %10.1f %10.2f%s\n", line.name.c_str(), line.ours, line.bare, added * 100,
                    added > kMayAdd ? "  too much" : "");
    }
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    const auto add = [](const char* name, void (*rounds)(benchmark::State&)) {
        benchmark::RegisterBenchmark(name, rounds)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(kRounds);
    };
    add("h264_encode", Encode);
    add("h264_decode", DecodeH264);
    add("mjpeg_decode", DecodeMjpeg);
    benchmark::RunSpecifiedBenchmarks();
    PrintTable();
    return 0;
}
