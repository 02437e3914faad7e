#include "platform/imaging/IppResize.h"

#include <libyuv/convert.h>
#include <libyuv/convert_from.h>
#include <libyuv/scale.h>
#include <libyuv/scale_argb.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

#include "platform/imaging/Bands.h"
#include "platform/imaging/CArguments.h"
#include "platform/imaging/CAxisKernel.h"
#include "platform/imaging/LinearScale.h"

using qrn::CArguments;
using qrn::CAxisKernel;
using qrn::HalfUp;
using qrn::RowAt;

namespace {

/// What is to be done once the rectangle and the factors are worked out.
struct Extent {
    IppiRect from;  ///< lies within the source
    IppiSize to;
};

/// One axis of it.
struct Span {
    int begin;
    int length;
    int scaled;
};

IppStatus FindSpan(int begin, int length, int sourceSide, int destinationSide, double factor, Span& span) {
    const int first = std::max(begin, 0);
    const auto end = static_cast<int>(std::min<std::int64_t>(std::int64_t{begin} + length, sourceSide));
    if (length < 1 || end <= first) {
        return ippStsSizeErr;
    }
    const double scaled = std::floor((end - first) * factor + 0.5);
    if (!(factor > 0) || !(scaled >= 1)) {
        return ippStsResizeFactorErr;
    }
    if (scaled <= destinationSide) {
        span = {first, end - first, static_cast<int>(scaled)};
        return ippStsNoErr;
    }
    // Only the part of the rectangle that the destination has room for.
    const int used = std::clamp(static_cast<int>(std::lround(destinationSide / factor)), 1, end - first);
    span = {first, used, destinationSide};
    return ippStsNoErr;
}

IppStatus FindExtent(IppiSize sourceSize, IppiRect rect, IppiSize destinationSize, double xFactor, double yFactor,
                     Extent& extent) {
    Span columns{};
    Span rows{};
    const IppStatus across = FindSpan(rect.x, rect.width, sourceSize.width, destinationSize.width, xFactor, columns);
    const IppStatus down = FindSpan(rect.y, rect.height, sourceSize.height, destinationSize.height, yFactor, rows);
    extent = {{columns.begin, rows.begin, columns.length, rows.length}, {columns.scaled, rows.scaled}};
    return across != ippStsNoErr ? across : down;
}

/// Resamples across, keeps as many of the rows as the filter down needs, and adds these up.
template <class Sample, int Channels>
class CResampler {
public:
    CResampler(IppiSize from, IppiSize to, int interpolation)
        : m_across(from.width, to.width, interpolation),
          m_down(from.height, to.height, interpolation),
          m_to(to),
          m_rowSamples(static_cast<std::size_t>(to.width) * Channels),
          m_rows(m_rowSamples * static_cast<std::size_t>(m_down.Taps())),
          m_sum(m_rowSamples) {}

    void Run(const Sample* source, int sourceStep, Sample* destination, int destinationStep) {
        const int taps = m_down.Taps();
        int ready = 0;
        for (int row = 0; row < m_to.height; ++row) {
            const int first = m_down.First(row);
            for (ready = std::max(ready, first); ready < first + taps; ++ready) {
                Across(StepTo(source, sourceStep, ready), Row(ready));
            }
            std::fill(m_sum.begin(), m_sum.end(), 0.5F);
            for (int tap = 0; tap < taps; ++tap) {
                Add(Row(first + tap), m_down.Weights(row)[tap]);
            }
            Store(StepTo(destination, destinationStep, row));
        }
    }

private:
    template <class Any>
    static Any* StepTo(Any* plane, int step, int row) {
        return plane + static_cast<std::ptrdiff_t>(step / static_cast<int>(sizeof(Sample))) * row;
    }

    float* Row(int sourceRow) {
        return m_rows.data() + m_rowSamples * static_cast<std::size_t>(sourceRow % m_down.Taps());
    }

    void Across(const Sample* source, float* row) const {
        for (int column = 0; column < m_to.width; ++column) {
            const Sample* first = source + m_across.First(column) * Channels;
            const float* weights = m_across.Weights(column);
            for (int channel = 0; channel < Channels; ++channel) {
                float sum = 0;
                for (int tap = 0; tap < m_across.Taps(); ++tap) {
                    sum += weights[tap] * static_cast<float>(first[tap * Channels + channel]);
                }
                *row++ = sum;
            }
        }
    }

    void Add(const float* row, float weight) {
        for (std::size_t index = 0; index < m_rowSamples; ++index) {
            m_sum[index] += row[index] * weight;
        }
    }

    void Store(Sample* destination) const {
        constexpr auto kMax = static_cast<float>(std::numeric_limits<Sample>::max());
        for (std::size_t index = 0; index < m_rowSamples; ++index) {
            // Half a unit is in the sum already.
            destination[index] = static_cast<Sample>(std::min(std::max(m_sum[index], 0.0F), kMax));
        }
    }

    CAxisKernel m_across;
    CAxisKernel m_down;
    IppiSize m_to;
    std::size_t m_rowSamples;
    std::vector<float> m_rows;  ///< source rows, resampled across, as a ring by their number
    std::vector<float> m_sum;
};

/// The nearest rows of a picture that keeps its width. libyuv would align the first and the last rows of both instead
/// of their edges.
void CopyNearestRows(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep, int rowBytes,
                     int fromHeight, int toHeight) {
    for (int row = 0; row < toHeight; ++row) {
        const auto nearest = static_cast<int>((2 * std::int64_t{row} + 1) * fromHeight / (2 * std::int64_t{toHeight}));
        std::memcpy(RowAt(destination, destinationStep, row), RowAt(source, sourceStep, nearest),
                    static_cast<std::size_t>(rowBytes));
    }
}

/// What libyuv scales exactly: points of planes and of pixels of four bytes, and planes to a half of both sides. Its
/// other weights have eight bits and its means are those of whole pixels, which stay with the loops of this folder.
/// @return true when it did
template <class Sample, int Channels>
bool ScaleByLibyuv(const Sample* source, int sourceStep, Sample* destination, int destinationStep, IppiSize from,
                   IppiSize to, int interpolation) {
    const bool points = interpolation == IPPI_INTER_NN;
    if constexpr (sizeof(Sample) == 1 && Channels == 1) {
        const bool same = interpolation == IPPI_INTER_LINEAR && from.width == to.width && from.height == to.height;
        const bool halves =
            interpolation == IPPI_INTER_LINEAR && from.width == 2 * to.width && from.height == 2 * to.height;
        if (points || halves || same) {
            libyuv::ScalePlane(source, sourceStep, from.width, from.height, destination, destinationStep, to.width,
                               to.height, halves ? libyuv::kFilterBox : libyuv::kFilterNone);
            return true;
        }
    }
    if constexpr (sizeof(Sample) == 1 && Channels == 4) {
        return points && libyuv::ARGBScale(source, sourceStep, from.width, from.height, destination, destinationStep,
                                           to.width, to.height, libyuv::kFilterNone) == 0;
    }
    return false;
}

template <class Sample, int Channels>
IppStatus Scale(const Sample* source, int sourceStep, Sample* destination, int destinationStep, IppiSize from,
                IppiSize to, int interpolation) {
    if (interpolation == IPPI_INTER_NN && from.width == to.width) {
        constexpr int kPixelBytes = static_cast<int>(sizeof(Sample)) * Channels;
        CopyNearestRows(reinterpret_cast<const Ipp8u*>(source), sourceStep, reinterpret_cast<Ipp8u*>(destination),
                        destinationStep, from.width * kPixelBytes, from.height, to.height);
        return ippStsNoErr;
    }
    if (ScaleByLibyuv<Sample, Channels>(source, sourceStep, destination, destinationStep, from, to, interpolation)) {
        return ippStsNoErr;
    }
    try {
        if constexpr (sizeof(Sample) == 1 && Channels == 1) {
            if (interpolation == IPPI_INTER_LINEAR) {
                return qrn::ScalePlaneLinearly(source, sourceStep, destination, destinationStep, from, to);
            }
        }
        CResampler<Sample, Channels>(from, to, interpolation).Run(source, sourceStep, destination, destinationStep);
    } catch (const std::bad_alloc&) {
        return ippStsMemAllocErr;
    }
    return ippStsNoErr;
}

IppStatus FirstFailure(std::initializer_list<IppStatus> answers) {
    for (const IppStatus wanted : {ippStsNullPtrErr, ippStsSizeErr, ippStsStepErr}) {
        if (std::find(answers.begin(), answers.end(), wanted) != answers.end()) {
            return wanted;
        }
    }
    return ippStsNoErr;
}

template <class Sample, int Channels>
IppStatus Resize(const Sample* source, IppiSize sourceSize, int sourceStep, IppiRect sourceRect, Sample* destination,
                 int destinationStep, IppiSize destinationSize, double xFactor, double yFactor, int interpolation) {
    constexpr int kPixelBytes = static_cast<int>(sizeof(Sample)) * Channels;
    IppStatus status =
        FirstFailure({CArguments(sourceSize).Pixels(source, sourceStep, kPixelBytes).Status(),
                      CArguments(destinationSize).Pixels(destination, destinationStep, kPixelBytes).Status()});
    if (status != ippStsNoErr) {
        return status;
    }
    if (sourceStep % static_cast<int>(sizeof(Sample)) != 0 || destinationStep % static_cast<int>(sizeof(Sample)) != 0) {
        return ippStsStepErr;
    }
    Extent extent{};
    status = FindExtent(sourceSize, sourceRect, destinationSize, xFactor, yFactor, extent);
    if (status != ippStsNoErr) {
        return status;
    }
    if (!CAxisKernel::Supports(interpolation)) {
        return ippStsInterpolationErr;
    }
    const Sample* first = source +
                          static_cast<std::ptrdiff_t>(sourceStep / static_cast<int>(sizeof(Sample))) * extent.from.y +
                          static_cast<std::ptrdiff_t>(extent.from.x) * Channels;
    return Scale<Sample, Channels>(first, sourceStep, destination, destinationStep,
                                   {extent.from.width, extent.from.height}, extent.to, interpolation);
}

/// The three planes of a packed 4:2:2 picture, in memory of their own.
class CPlanes422 {
public:
    explicit CPlanes422(IppiSize size)
        : m_size(size),
          m_memory(ippsMalloc_8u(2 * HalfUp(size.width) * size.height + size.width * size.height)) {}

    [[nodiscard]] bool Exists() const { return m_memory != nullptr; }
    [[nodiscard]] IppiSize SizeOf(int plane) const {
        return {plane == 0 ? m_size.width : HalfUp(m_size.width), m_size.height};
    }
    [[nodiscard]] Ipp8u* Plane(int plane) const {
        const int luma = m_size.width * m_size.height;
        return m_memory.get() + (plane == 0 ? 0 : luma + (plane - 1) * HalfUp(m_size.width) * m_size.height);
    }

private:
    IppiSize m_size;
    qrn::ScratchBytes m_memory;
};

IppStatus ScalePacked422(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep, IppiSize from,
                         IppiSize to, int interpolation) {
    const CPlanes422 planes(from);
    const CPlanes422 scaled(to);
    if (!planes.Exists() || !scaled.Exists()) {
        return ippStsMemAllocErr;
    }
    libyuv::YUY2ToI422(source, sourceStep, planes.Plane(0), from.width, planes.Plane(1), HalfUp(from.width),
                       planes.Plane(2), HalfUp(from.width), from.width, from.height);
    for (int plane = 0; plane < 3; ++plane) {
        const IppStatus status =
            Scale<Ipp8u, 1>(planes.Plane(plane), planes.SizeOf(plane).width, scaled.Plane(plane),
                            scaled.SizeOf(plane).width, planes.SizeOf(plane), scaled.SizeOf(plane), interpolation);
        if (status != ippStsNoErr) {
            return status;
        }
    }
    libyuv::I422ToYUY2(scaled.Plane(0), to.width, scaled.Plane(1), HalfUp(to.width), scaled.Plane(2), HalfUp(to.width),
                       destination, destinationStep, to.width, to.height);
    return ippStsNoErr;
}

}  // namespace

IppStatus ippiResizeYUV422_8u_C2R(const Ipp8u* source, IppiSize sourceSize, int sourceStep, IppiRect sourceRect,
                                  Ipp8u* destination, int destinationStep, IppiSize destinationSize, double xFactor,
                                  double yFactor, int interpolation) {
    IppStatus status = FirstFailure({CArguments(sourceSize).Packed422(source, sourceStep).Status(),
                                     CArguments(destinationSize).Packed422(destination, destinationStep).Status()});
    if (status != ippStsNoErr) {
        return status;
    }
    Extent extent{};
    status = FindExtent(sourceSize, sourceRect, destinationSize, xFactor, yFactor, extent);
    if (status != ippStsNoErr) {
        return status;
    }
    if (extent.from.x % 2 != 0) {
        return ippStsSizeErr;
    }
    if (!CAxisKernel::Supports(interpolation)) {
        return ippStsInterpolationErr;
    }
    return ScalePacked422(RowAt(source, sourceStep, extent.from.y) + 2 * extent.from.x, sourceStep, destination,
                          destinationStep, {extent.from.width, extent.from.height}, extent.to, interpolation);
}

IppStatus ippiResize_8u_C1R(const Ipp8u* source, IppiSize sourceSize, int sourceStep, IppiRect sourceRect,
                            Ipp8u* destination, int destinationStep, IppiSize destinationSize, double xFactor,
                            double yFactor, int interpolation) {
    return Resize<Ipp8u, 1>(source, sourceSize, sourceStep, sourceRect, destination, destinationStep, destinationSize,
                            xFactor, yFactor, interpolation);
}

IppStatus ippiResize_8u_C3R(const Ipp8u* source, IppiSize sourceSize, int sourceStep, IppiRect sourceRect,
                            Ipp8u* destination, int destinationStep, IppiSize destinationSize, double xFactor,
                            double yFactor, int interpolation) {
    return Resize<Ipp8u, 3>(source, sourceSize, sourceStep, sourceRect, destination, destinationStep, destinationSize,
                            xFactor, yFactor, interpolation);
}

IppStatus ippiResize_8u_C4R(const Ipp8u* source, IppiSize sourceSize, int sourceStep, IppiRect sourceRect,
                            Ipp8u* destination, int destinationStep, IppiSize destinationSize, double xFactor,
                            double yFactor, int interpolation) {
    return Resize<Ipp8u, 4>(source, sourceSize, sourceStep, sourceRect, destination, destinationStep, destinationSize,
                            xFactor, yFactor, interpolation);
}

IppStatus ippiResize_16u_C1R(const Ipp16u* source, IppiSize sourceSize, int sourceStep, IppiRect sourceRect,
                             Ipp16u* destination, int destinationStep, IppiSize destinationSize, double xFactor,
                             double yFactor, int interpolation) {
    return Resize<Ipp16u, 1>(source, sourceSize, sourceStep, sourceRect, destination, destinationStep, destinationSize,
                             xFactor, yFactor, interpolation);
}

IppStatus ippiResize_16u_C3R(const Ipp16u* source, IppiSize sourceSize, int sourceStep, IppiRect sourceRect,
                             Ipp16u* destination, int destinationStep, IppiSize destinationSize, double xFactor,
                             double yFactor, int interpolation) {
    return Resize<Ipp16u, 3>(source, sourceSize, sourceStep, sourceRect, destination, destinationStep, destinationSize,
                             xFactor, yFactor, interpolation);
}

IppStatus ippiResize_16u_C4R(const Ipp16u* source, IppiSize sourceSize, int sourceStep, IppiRect sourceRect,
                             Ipp16u* destination, int destinationStep, IppiSize destinationSize, double xFactor,
                             double yFactor, int interpolation) {
    return Resize<Ipp16u, 4>(source, sourceSize, sourceStep, sourceRect, destination, destinationStep, destinationSize,
                             xFactor, yFactor, interpolation);
}
