#include "Conversions.h"

#include <algorithm>
#include <array>

#include "platform/imaging/IppBgrToYuv.h"
#include "platform/imaging/IppHdtv.h"
#include "platform/imaging/IppYuv.h"
#include "platform/imaging/IppYuvToBgr.h"

namespace qrn::test {
namespace {

using Run = std::function<IppStatus(const View&, const View&, IppiSize)>;

template <class From, class To>
Run Adapt(IppStatus (*call)(const From*, int, To*, int, IppiSize)) {
    return [=](const View& from, const View& to, IppiSize size) {
        return call(reinterpret_cast<const From*>(from.planes[0]), from.steps[0], reinterpret_cast<To*>(to.planes[0]),
                    to.steps[0], size);
    };
}

Run Adapt(IppStatus (*call)(const Ipp8u*, int, Ipp8u*, int, IppiSize, Ipp8u)) {
    return [=](const View& from, const View& to, IppiSize size) {
        return call(from.planes[0], from.steps[0], to.planes[0], to.steps[0], size, kTestAlpha);
    };
}

template <class From>
Run Adapt(IppStatus (*call)(const From*, int, Ipp8u* const*, const int*, IppiSize)) {
    return [=](const View& from, const View& to, IppiSize size) {
        return call(reinterpret_cast<const From*>(from.planes[0]), from.steps[0], to.planes, to.steps, size);
    };
}

template <class To>
Run Adapt(IppStatus (*call)(const Ipp8u* const*, const int*, To*, int, IppiSize)) {
    return [=](const View& from, const View& to, IppiSize size) {
        return call(from.planes, from.steps, reinterpret_cast<To*>(to.planes[0]), to.steps[0], size);
    };
}

Run Adapt(IppStatus (*call)(const Ipp8u* const*, const int*, Ipp8u*, int, IppiSize, Ipp8u)) {
    return [=](const View& from, const View& to, IppiSize size) {
        return call(from.planes, from.steps, to.planes[0], to.steps[0], size, kTestAlpha);
    };
}

Run Adapt(IppStatus (*call)(const Ipp8u* const*, const int*, Ipp8u* const*, const int*, IppiSize)) {
    return [=](const View& from, const View& to, IppiSize size) {
        return call(from.planes, from.steps, to.planes, to.steps, size);
    };
}

/// Shares of red and blue in luma; the rest is green's (ITU-R BT.601-7 and BT.709-6).
struct Shares {
    double red;
    double blue;
};

Shares SharesOf(Matrix matrix) {
    return matrix == Matrix::kBt601 ? Shares{0.299, 0.114} : Shares{0.2126, 0.0722};
}

/// Component of a colour in the limited range, from blue, green and red of 0 to 255.
double ToYcc(Shares shares, int component, const std::array<double, 3>& bgr) {
    const double luma = shares.red * bgr[2] + (1 - shares.red - shares.blue) * bgr[1] + shares.blue * bgr[0];
    switch (component) {
        case 0:
            return 16 + luma * 219 / 255;
        case 1:
            return 128 + (bgr[0] - luma) / (2 * (1 - shares.blue)) * 224 / 255;
        default:
            return 128 + (bgr[2] - luma) / (2 * (1 - shares.red)) * 224 / 255;
    }
}

double ToBgr(Shares shares, int component, double y, double cb, double cr) {
    const double luma = (y - 16) * 255 / 219;
    const double blue = luma + (cb - 128) * 255 / 224 * 2 * (1 - shares.blue);
    const double red = luma + (cr - 128) * 255 / 224 * 2 * (1 - shares.red);
    const double green = (luma - shares.red * red - shares.blue * blue) / (1 - shares.red - shares.blue);
    return std::clamp(component == 0 ? blue : component == 1 ? green : red, 0.0, 255.0);
}

std::array<double, 3> Colour(const TestPicture& picture, int column, int row) {
    return {static_cast<double>(picture.Bgr(0, column, row)), static_cast<double>(picture.Bgr(1, column, row)),
            static_cast<double>(picture.Bgr(2, column, row))};
}

/// Chroma at a pixel, interpolated between samples that lie in the middle of their squares.
double Interpolated(const TestPicture& picture, int component, int column, int row) {
    const int lastColumn = (picture.Size().width - 1) / 2;
    const int lastRow = (picture.Size().height - 1) / 2;
    const int nearColumn = column / 2;
    const int nearRow = row / 2;
    const int farColumn = std::clamp(nearColumn + (column % 2 == 0 ? -1 : 1), 0, lastColumn);
    const int farRow = std::clamp(nearRow + (row % 2 == 0 ? -1 : 1), 0, lastRow);
    return (9.0 * picture.Ycc(component, nearColumn, nearRow) + 3.0 * picture.Ycc(component, farColumn, nearRow) +
            3.0 * picture.Ycc(component, nearColumn, farRow) + picture.Ycc(component, farColumn, farRow)) /
           16;
}

double ExactBgr(const Conversion& conversion, const TestPicture& source, int component, int column, int row) {
    if (component == 3) {
        return kTestAlpha;
    }
    std::array<double, 3> chroma{};
    for (int index = 1; index < 3; ++index) {
        chroma[static_cast<std::size_t>(index)] =
            conversion.chroma == Chroma::kInterpolated
                ? Interpolated(source, index, column, row)
                : source.Ycc(index, column / source.ChromaColumns(), row / source.ChromaRows());
    }
    return ToBgr(SharesOf(conversion.matrix), component, source.Ycc(0, column, row), chroma[1], chroma[2]);
}

/// The mean of what the samples of the source say that a new sample of chroma covers.
double ExactChroma(const Conversion& conversion, const TestPicture& source, const TestPicture& result, int component,
                   int column, int row) {
    double sum = 0;
    int count = 0;
    const int endColumn = std::min((column + 1) * result.ChromaColumns(), source.Size().width);
    const int endRow = std::min((row + 1) * result.ChromaRows(), source.Size().height);
    for (int y = row * result.ChromaRows(); y < endRow; y += source.ChromaRows()) {
        for (int x = column * result.ChromaColumns(); x < endColumn; x += source.ChromaColumns()) {
            sum += IsBgr(source.GetLayout())
                       ? ToYcc(SharesOf(conversion.matrix), component, Colour(source, x, y))
                       : source.Ycc(component, x / source.ChromaColumns(), y / source.ChromaRows());
            ++count;
        }
    }
    return sum / count;
}

}  // namespace

double ExactSample(const Conversion& conversion, const TestPicture& source, const TestPicture& result, int component,
                   int column, int row) {
    if (IsBgr(result.GetLayout())) {
        return ExactBgr(conversion, source, component, column, row);
    }
    if (component != 0) {
        return ExactChroma(conversion, source, result, component, column, row);
    }
    return IsBgr(source.GetLayout()) ? ToYcc(SharesOf(conversion.matrix), 0, Colour(source, column, row))
                                     : source.Ycc(0, column, row);
}

// Bounds are counted from the exact value, which lies up to a half beside the best whole number: what is left of 1 is
// for numbers of a few bits. No path has an intermediate that is rounded.
constexpr double kBgrBound = 0.57;
constexpr double kYccBound = 0.51;

#define ROW(name, from, to, ...) \
    { #name, Layout::from, Layout::to, __VA_ARGS__, Adapt(name) }

const std::vector<Conversion>& AllConversions() {
    static const std::vector<Conversion> kConversions = [] {
        std::vector<Conversion> all = {
            ROW(ippiYCbCr422ToCbYCr422_8u_C2R, kYuy2, kUyvy, 0),
            ROW(ippiCbYCr422ToYCbCr422_8u_C2R, kUyvy, kYuy2, 0),
            ROW(ippiYCbCr422ToYCbCr420_8u_C2P3R, kYuy2, kI420, 0.5),
            ROW(ippiYCbCr422ToYCrCb420_8u_C2P3R, kYuy2, kYv12, 0.5),
            ROW(ippiYCrCb422ToYCbCr420_8u_C2P3R, kUyvy, kI420, 0.5),
            ROW(ippiCbYCr422ToYCrCb420_8u_C2P3R, kUyvy, kYv12, 0.5),
            ROW(ippiYCrCb422ToYCbCr422_8u_C2P3R, kYvyu, kI422, 0),
            ROW(ippiCbYCr422ToYCbCr422_8u_C2P3R, kUyvy, kI422, 0),
            ROW(ippiYCbCr422ToYCbCr420_8u_C2P2R, kYuy2, kNv12, 0.5),
            ROW(ippiCbYCr422ToYCbCr420_8u_C2P2R, kUyvy, kNv12, 0.5),
            ROW(ippiYCbCr420ToYCbCr422_8u_P2C2R, kNv12, kYuy2, 0),
            ROW(ippiYCbCr420ToCbYCr422_8u_P2C2R, kNv12, kUyvy, 0),
            ROW(ippiYCbCr420_8u_P2P3R, kNv12, kI420, 0),
            ROW(ippiYCrCb420ToYCbCr420_8u_P3P2R, kYv12, kNv12, 0),
            ROW(ippiYCrCb420ToYCbCr422_8u_P3C2R, kYv12, kYuy2, 0),
            ROW(ippiYCrCb420ToCbYCr422_8u_P3C2R, kYv12, kUyvy, 0),
            ROW(ippiYCbCr422_8u_P3C2R, kI422, kYuy2, 0),
            ROW(ippiYCbCr420ToYCbCr422_8u_P3R, kI420, kI422, 0),
            ROW(ippiYCbCr422ToYCbCr420_8u_P3R, kI422, kI420, 0.5),
            ROW(ippiYCbCr420To411_8u_P3R, kI420, kI411, 0.5),
            ROW(ippiYCbCr422ToBGR_8u_C2C3R, kYuy2, kBgr24, kBgrBound),
            ROW(ippiYCbCr422ToBGR_8u_C2C4R, kYuy2, kBgr32, kBgrBound),
            ROW(ippiCbYCr422ToBGR_8u_C2C4R, kUyvy, kBgr32, kBgrBound),
            ROW(ippiYCbCr422ToBGR565_8u16u_C2C3R, kYuy2, kBgr565, kBgrBound),
            ROW(ippiYCbCr422ToBGR555_8u16u_C2C3R, kYuy2, kBgr555, kBgrBound),
            ROW(ippiYCbCr422ToBGR444_8u16u_C2C3R, kYuy2, kBgr444, kBgrBound),
            ROW(ippiYCbCr420ToBGR_8u_P3C3R, kI420, kBgr24, kBgrBound),
            ROW(ippiYCbCr420ToBGR_8u_P3C4R, kI420, kBgr32, kBgrBound),
            ROW(ippiYCbCr420ToBGR565_8u16u_P3C3R, kI420, kBgr565, kBgrBound),
            ROW(ippiYCbCr420ToBGR555_8u16u_P3C3R, kI420, kBgr555, kBgrBound),
            ROW(ippiYCbCr420ToBGR444_8u16u_P3C3R, kI420, kBgr444, kBgrBound),
            ROW(ippiBGRToYCbCr420_8u_C3P3R, kBgr24, kI420, kYccBound),
            ROW(ippiBGRToYCbCr420_8u_AC4P3R, kBgr32, kI420, kYccBound),
            ROW(ippiBGRToYCrCb420_8u_C3P3R, kBgr24, kYv12, kYccBound),
            ROW(ippiBGRToYCrCb420_8u_AC4P3R, kBgr32, kYv12, kYccBound),
            ROW(ippiBGR565ToYCrCb420_16u8u_C3P3R, kBgr565, kYv12, kYccBound),
            ROW(ippiBGR555ToYCrCb420_16u8u_C3P3R, kBgr555, kYv12, kYccBound),
            ROW(ippiBGRToYCbCr422_8u_C3C2R, kBgr24, kYuy2, kYccBound),
            ROW(ippiBGRToYCbCr422_8u_AC4C2R, kBgr32, kYuy2, kYccBound),
            ROW(ippiBGRToCbYCr422_8u_AC4C2R, kBgr32, kUyvy, kYccBound),
            ROW(ippiBGR565ToYCbCr422_16u8u_C3C2R, kBgr565, kYuy2, kYccBound),
            ROW(ippiBGR555ToYCbCr422_16u8u_C3C2R, kBgr555, kYuy2, kYccBound),
        };
        all.push_back({"ippiYCrCb420ToBGR_Filter_8u_P3C4R", Layout::kYv12, Layout::kBgr32, kBgrBound,
                       Adapt(ippiYCrCb420ToBGR_Filter_8u_P3C4R), Matrix::kBt601, Chroma::kInterpolated});
        all.push_back({"ippiCbYCr422ToBGR_709HDTV_8u_C2C4R", Layout::kUyvy, Layout::kBgr32, kBgrBound,
                       Adapt(ippiCbYCr422ToBGR_709HDTV_8u_C2C4R), Matrix::kBt709});
        all.push_back({"ippiBGRToYCbCr420_709HDTV_8u_AC4P3R", Layout::kBgr32, Layout::kI420, kYccBound,
                       Adapt(ippiBGRToYCbCr420_709HDTV_8u_AC4P3R), Matrix::kBt709});
        return all;
    }();
    return kConversions;
}

#undef ROW

}  // namespace qrn::test
