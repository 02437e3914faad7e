/// The picture primitives of the frame path beside a call of libyuv that does the same, and beside two copies of
/// memory: one that moves the same bytes (that reads and writes as many as the primitive together), and one of the
/// bytes that are written. Figures are microseconds a picture, the least of many rounds, and the ratios. Where libyuv
/// is the back end, `times_libyuv` is what our checks cost; the rows that are marked own are loops of ours, and libyuv
/// stands there, if it has the operation, as a peer whose values are less exact.

#include <benchmark/benchmark.h>
#include <libyuv.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "platform/imaging/IppBgrToYuv.h"
#include "platform/imaging/IppDeinterlace.h"
#include "platform/imaging/IppHdtv.h"
#include "platform/imaging/IppPlane.h"
#include "platform/imaging/IppResize.h"
#include "platform/imaging/IppYuv.h"
#include "platform/imaging/IppYuvToBgr.h"

namespace {

/// Memory for a picture in any layout, with planes of 4:2:0 where it has them.
class Picture {
public:
    explicit Picture(IppiSize size) : m_size(size), m_bytes(static_cast<std::size_t>(size.width * size.height * 4)) {
        std::minstd_rand random(1);
        std::generate(m_bytes.begin(), m_bytes.end(), [&] { return static_cast<Ipp8u>(random() >> 9); });
        const int luma = size.width * size.height;
        planes[0] = bytes();
        planes[1] = bytes() + luma;
        planes[2] = bytes() + luma + luma / 4;
        steps[0] = size.width;
        steps[1] = steps[2] = size.width / 2;
    }
    Ipp8u* bytes() { return m_bytes.data(); }
    [[nodiscard]] int Step(int pixelBytes) const { return m_size.width * pixelBytes; }

    Ipp8u* planes[3];
    int steps[3];

private:
    IppiSize m_size;
    std::vector<Ipp8u> m_bytes;
};

struct Row {
    const char* name;
    double written;  ///< bytes a pixel
    double read;
    bool own;
    std::function<void(Picture&, Picture&, IppiSize)> ours;
    std::function<void(Picture&, Picture&, IppiSize)> bare;  ///< empty for own loops
};

IppiSize Half(IppiSize size) {
    return {size.width / 2, size.height / 2};
}

void Scale(Picture& from, Picture& to, IppiSize size, IppiSize made) {
    ippiResize_8u_C1R(from.bytes(), size, size.width, {0, 0, size.width, size.height}, to.bytes(), made.width, made,
                      static_cast<double>(made.width) / size.width, static_cast<double>(made.height) / size.height,
                      IPPI_INTER_LINEAR);
}

void ScaleBare(Picture& from, Picture& to, IppiSize size, IppiSize made) {
    libyuv::ScalePlane(from.bytes(), size.width, size.width, size.height, to.bytes(), made.width, made.width,
                       made.height, libyuv::kFilterBilinear);
}

std::vector<Row> Rows() {
    return {
        {"ippiCopy_8u_C1R", 1, 1, false,
         [](auto& a, auto& b, IppiSize s) { ippiCopy_8u_C1R(a.bytes(), a.Step(1), b.bytes(), b.Step(1), s); },
         [](auto& a, auto& b, IppiSize s) {
             libyuv::CopyPlane(a.bytes(), a.Step(1), b.bytes(), b.Step(1), s.width, s.height);
         }},
        {"ippiCopy_16s_C1R", 2, 2, false,
         [](auto& a, auto& b, IppiSize s) {
             ippiCopy_16s_C1R(reinterpret_cast<Ipp16s*>(a.bytes()), a.Step(2), reinterpret_cast<Ipp16s*>(b.bytes()),
                              b.Step(2), s);
         },
         [](auto& a, auto& b, IppiSize s) {
             libyuv::CopyPlane(a.bytes(), a.Step(2), b.bytes(), b.Step(2), 2 * s.width, s.height);
         }},
        {"ippiYCbCr422ToYCbCr420_8u_C2P3R", 1.5, 2, false,
         [](auto& a, auto& b, IppiSize s) {
             ippiYCbCr422ToYCbCr420_8u_C2P3R(a.bytes(), a.Step(2), b.planes, b.steps, s);
         },
         [](auto& a, auto& b, IppiSize s) {
             libyuv::YUY2ToI420(a.bytes(), a.Step(2), b.planes[0], b.steps[0], b.planes[1], b.steps[1], b.planes[2],
                                b.steps[2], s.width, s.height);
         }},
        {"ippiYCrCb422ToYCbCr420_8u_C2P3R", 1.5, 2, false,
         [](auto& a, auto& b, IppiSize s) {
             ippiYCrCb422ToYCbCr420_8u_C2P3R(a.bytes(), a.Step(2), b.planes, b.steps, s);
         },
         [](auto& a, auto& b, IppiSize s) {
             libyuv::UYVYToI420(a.bytes(), a.Step(2), b.planes[0], b.steps[0], b.planes[1], b.steps[1], b.planes[2],
                                b.steps[2], s.width, s.height);
         }},
        {"ippiBGRToYCbCr420_8u_C3P3R", 1.5, 3, true,
         [](auto& a, auto& b, IppiSize s) { ippiBGRToYCbCr420_8u_C3P3R(a.bytes(), a.Step(3), b.planes, b.steps, s); },
         [](auto& a, auto& b, IppiSize s) {
             libyuv::RGB24ToI420(a.bytes(), a.Step(3), b.planes[0], b.steps[0], b.planes[1], b.steps[1], b.planes[2],
                                 b.steps[2], s.width, s.height);
         }},
        {"ippiBGRToYCbCr420_8u_AC4P3R", 1.5, 4, true,
         [](auto& a, auto& b, IppiSize s) { ippiBGRToYCbCr420_8u_AC4P3R(a.bytes(), a.Step(4), b.planes, b.steps, s); },
         [](auto& a, auto& b, IppiSize s) {
             libyuv::ARGBToI420(a.bytes(), a.Step(4), b.planes[0], b.steps[0], b.planes[1], b.steps[1], b.planes[2],
                                b.steps[2], s.width, s.height);
         }},
        {"ippiYCrCb420ToYCbCr422_8u_P3C2R", 2, 1.5, false,
         [](auto& a, auto& b, IppiSize s) {
             ippiYCrCb420ToYCbCr422_8u_P3C2R(a.planes, a.steps, b.bytes(), b.Step(2), s);
         },
         [](auto& a, auto& b, IppiSize s) {
             libyuv::I420ToYUY2(a.planes[0], a.steps[0], a.planes[2], a.steps[2], a.planes[1], a.steps[1], b.bytes(),
                                b.Step(2), s.width, s.height);
         }},
        {"ippiYCrCb420ToCbYCr422_8u_P3C2R", 2, 1.5, false,
         [](auto& a, auto& b, IppiSize s) {
             ippiYCrCb420ToCbYCr422_8u_P3C2R(a.planes, a.steps, b.bytes(), b.Step(2), s);
         },
         [](auto& a, auto& b, IppiSize s) {
             libyuv::I420ToUYVY(a.planes[0], a.steps[0], a.planes[2], a.steps[2], a.planes[1], a.steps[1], b.bytes(),
                                b.Step(2), s.width, s.height);
         }},
        {"ippiYCbCr422ToCbYCr422_8u_C2R", 2, 2, false,
         [](auto& a, auto& b, IppiSize s) {
             ippiYCbCr422ToCbYCr422_8u_C2R(a.bytes(), a.Step(2), b.bytes(), b.Step(2), s);
         },
         [](auto& a, auto& b, IppiSize s) {
             static constexpr uint8_t kPairs[16] = {1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14};
             libyuv::ARGBShuffle(a.bytes(), a.Step(2), b.bytes(), b.Step(2), kPairs, s.width / 2, s.height);
         }},
        {"ippiYCbCr420ToBGR_8u_P3C4R", 4, 1.5, true,
         [](auto& a, auto& b, IppiSize s) {
             ippiYCbCr420ToBGR_8u_P3C4R(a.planes, a.steps, b.bytes(), b.Step(4), s, 0);
         },
         [](auto& a, auto& b, IppiSize s) {
             libyuv::I420ToARGB(a.planes[0], a.steps[0], a.planes[1], a.steps[1], a.planes[2], a.steps[2], b.bytes(),
                                b.Step(4), s.width, s.height);
         }},
        {"ippiYCbCr420ToBGR_8u_P3C3R", 3, 1.5, true,
         [](auto& a, auto& b, IppiSize s) { ippiYCbCr420ToBGR_8u_P3C3R(a.planes, a.steps, b.bytes(), b.Step(3), s); },
         [](auto& a, auto& b, IppiSize s) {
             libyuv::I420ToRGB24(a.planes[0], a.steps[0], a.planes[1], a.steps[1], a.planes[2], a.steps[2], b.bytes(),
                                 b.Step(3), s.width, s.height);
         }},
        {"ippiYCbCr420ToBGR555_8u16u_P3C3R", 2, 1.5, true,
         [](auto& a, auto& b, IppiSize s) {
             ippiYCbCr420ToBGR555_8u16u_P3C3R(a.planes, a.steps, reinterpret_cast<Ipp16u*>(b.bytes()), b.Step(2), s);
         },
         [](auto& a, auto& b, IppiSize s) {
             libyuv::I420ToARGB1555(a.planes[0], a.steps[0], a.planes[1], a.steps[1], a.planes[2], a.steps[2],
                                    b.bytes(), b.Step(2), s.width, s.height);
         }},
        {"ippiResize_8u_C1R, half, linear", 0.25, 1, false,
         [](auto& a, auto& b, IppiSize s) { Scale(a, b, s, Half(s)); },
         [](auto& a, auto& b, IppiSize s) { ScaleBare(a, b, s, Half(s)); }},
        {"ippiResize_8u_C1R, two thirds, linear", 0.444, 1, true,
         [](auto& a, auto& b, IppiSize s) {
             Scale(a, b, s, {s.width * 2 / 3, s.height * 2 / 3});
         },
         [](auto& a, auto& b, IppiSize s) {
             ScaleBare(a, b, s, {s.width * 2 / 3, s.height * 2 / 3});
         }},
        {"ippiResize_8u_C1R, three halves, linear", 2.25, 1, true,
         [](auto& a, auto& b, IppiSize s) {
             Scale(a, b, s, {s.width * 3 / 2, s.height * 3 / 2});
         },
         [](auto& a, auto& b, IppiSize s) {
             ScaleBare(a, b, s, {s.width * 3 / 2, s.height * 3 / 2});
         }},
        {"ippiResize_8u_C1R, half, cubic", 0.25, 1, true,
         [](auto& a, auto& b, IppiSize s) {
             ippiResize_8u_C1R(a.bytes(), s, a.Step(1), {0, 0, s.width, s.height}, b.bytes(), s.width / 2, Half(s), 0.5,
                               0.5, IPPI_INTER_CUBIC);
         },
         nullptr},
        {"ippiMirror_8u_C1IR", 1, 1, true,
         [](auto& /*a*/, auto& b, IppiSize s) { ippiMirror_8u_C1IR(b.bytes(), b.Step(1), s, ippAxsHorizontal); },
         nullptr},
        {"ippiMirror_8u_C3IR", 3, 3, true,
         [](auto& /*a*/, auto& b, IppiSize s) { ippiMirror_8u_C3IR(b.bytes(), b.Step(3), s, ippAxsHorizontal); },
         nullptr},
        {"ippiMirror_8u_C4IR", 4, 4, true,
         [](auto& /*a*/, auto& b, IppiSize s) { ippiMirror_8u_C4IR(b.bytes(), b.Step(4), s, ippAxsHorizontal); },
         nullptr},
        {"ippiDeinterlaceFilterTriangle_8u_C1R", 1, 1, true,
         [](auto& a, auto& b, IppiSize s) {
             ippiDeinterlaceFilterTriangle_8u_C1R(a.bytes(), a.Step(1), b.bytes(), b.Step(1), s, 128, 0x15);
         },
         nullptr},
        {"ippiCbYCr422ToBGR_709HDTV_8u_C2C4R", 4, 2, true,
         [](auto& a, auto& b, IppiSize s) {
             ippiCbYCr422ToBGR_709HDTV_8u_C2C4R(a.bytes(), a.Step(2), b.bytes(), b.Step(4), s, 0);
         },
         nullptr},
        {"ippiBGRToYCbCr420_709HDTV_8u_AC4P3R", 1.5, 4, true,
         [](auto& a, auto& b, IppiSize s) {
             ippiBGRToYCbCr420_709HDTV_8u_AC4P3R(a.bytes(), a.Step(4), b.planes, b.steps, s);
         },
         nullptr},
    };
}

/// Microseconds of one run.
template <class Work>
double Once(const Work& work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    benchmark::ClobberMemory();
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - begin).count();
}

/// Takes them in turns, so that what else the machine does meets them alike, and keeps the least of each.
void Measure(benchmark::State& state, const Row& row, IppiSize size) {
    Picture from(size);
    Picture to(size);
    const double pixels = size.width * size.height;
    const auto moved = static_cast<std::size_t>((row.read + row.written) / 2 * pixels);
    const auto written = static_cast<std::size_t>(row.written * pixels);
    double ours = 1e9;
    double bare = 1e9;
    double copy = 1e9;
    double copyOfWritten = 1e9;
    for (auto _ : state) {
        ours = std::min(ours, Once([&] { row.ours(from, to, size); }));
        if (row.bare) {
            bare = std::min(bare, Once([&] { row.bare(from, to, size); }));
        }
        copy = std::min(copy, Once([&] { std::memcpy(to.bytes(), from.bytes(), moved); }));
        copyOfWritten = std::min(copyOfWritten, Once([&] { std::memcpy(to.bytes(), from.bytes(), written); }));
    }
    state.counters["us"] = ours;
    state.counters["own"] = row.own ? 1 : 0;
    state.counters["copy_us"] = copy;
    state.counters["times_copy"] = ours / copy;
    state.counters["times_copy_of_written"] = ours / copyOfWritten;
    if (row.bare) {
        state.counters["libyuv_us"] = bare;
        state.counters["times_libyuv"] = ours / bare;
    }
}

}  // namespace

int main(int argc, char** argv) {
    for (const IppiSize size : {IppiSize{640, 480}, IppiSize{1280, 720}}) {
        for (const Row& row : Rows()) {
            const std::string name =
                std::string(row.name) + "/" + std::to_string(size.width) + "x" + std::to_string(size.height);
            benchmark::RegisterBenchmark(name.c_str(), [row, size](benchmark::State& state) {
                Measure(state, row, size);
            })->Iterations(400);
        }
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
