#include "platform/imaging/LinearScale.h"

#include <algorithm>
#include <cstring>

#include "platform/imaging/Bands.h"
#include "platform/imaging/CArguments.h"
#include "platform/imaging/RowKernels.h"

namespace qrn {
namespace {

/// Where new samples lie between old ones along one axis.
class CLinearAxis {
public:
    CLinearAxis(int from, int to)
        : m_step((from * kOne + to / 2) / to),
          m_begin((m_step - kOne) / 2 + (1 << (kToWeight - 1))),
          m_last(std::max(from - 2, 0)) {}

    struct Place {
        int first;   ///< the next sample exists, but for the only one of an axis
        int weight;  ///< of the next one
    };
    [[nodiscard]] Place At(int index) const {
        const std::int64_t centre = std::max<std::int64_t>(m_begin + index * m_step, 0);
        const auto first = std::min(static_cast<int>(centre >> 32), m_last);
        // What is missing to a whole unit does not change any result: a change of 14 bits is rounded to itself.
        const std::int64_t weight = (centre - first * kOne) >> kToWeight;
        return {first, static_cast<int>(std::min<std::int64_t>(weight, (1 << kLinearWeightBits) - 1))};
    }

private:
    /// A source sample's width, in bits that leave the last of kIppMaxSide samples where it is.
    static constexpr std::int64_t kOne = std::int64_t{1} << 32;
    static constexpr int kToWeight = 32 - kLinearWeightBits;

    std::int64_t m_step;
    std::int64_t m_begin;  ///< with half a unit of the weight for rounding
    int m_last;
};

constexpr std::size_t Bytes(int count) {
    return static_cast<std::size_t>(count);
}

/// The columns' table and a ring of rows that are scaled across, each of them from a cache line's begin on.
class CLinearScaler {
public:
    CLinearScaler(IppiSize from, IppiSize to)
        : m_from(from),
          m_to(to),
          m_count((to.width + kAcrossBlock - 1) / kAcrossBlock * kAcrossBlock),
          m_memory(ippsMalloc_8u(m_count * kColumnBytes + m_count / kWindowGroup * kWindowNumberBytes)) {}

    [[nodiscard]] bool Exists() const { return m_memory != nullptr; }

    void Run(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep) {
        const PairColumns columns = MakeColumns();
        const RowKernels& kernels = BestRowKernels();
        const CLinearAxis axis(m_from.height, m_to.height);
        const int lastRow = m_from.height - 1;
        int ready = 0;
        for (int row = 0; row < m_to.height; ++row) {
            const auto [first, weight] = axis.At(row);
            const int last = std::min(first + 1, lastRow);
            ready = std::max(ready, first);
            if (ready <= last) {
                const Ipp8u* const two[2] = {Padded(RowAt(source, sourceStep, ready), 0),
                                             Padded(RowAt(source, sourceStep, std::min(ready + 1, lastRow)), 1)};
                std::int16_t* const to[2] = {Row(ready), Row(ready + 1)};
                kernels.across(two, columns, to, m_count);
                ready += 2;
            }
            kernels.down(Row(first), Row(last), RowAt(destination, destinationStep, row), m_to.width, weight);
        }
    }

private:
    /// Two rows that are new beside one that is still needed; by their numbers.
    static constexpr int kRing = 4;
    /// For each column the ring's samples, the first neighbour, the weight and the places.
    static constexpr int kColumnBytes = 2 * kRing + 4 + 2 + 2;
    static constexpr int kWindowNumberBytes = 4;

    [[nodiscard]] std::int16_t* Row(int sourceRow) const { return RingRow(sourceRow % kRing); }
    [[nodiscard]] std::int16_t* RingRow(int index) const {
        return reinterpret_cast<std::int16_t*>(m_memory.get()) + static_cast<std::ptrdiff_t>(index) * m_count;
    }

    /// The row itself, or in memory that is as long as a window, its last sample with a neighbour.
    const Ipp8u* Padded(const Ipp8u* row, int which) {
        if (m_from.width >= kWindowBytes) {
            return row;
        }
        Ipp8u* const padded = m_padded[which];
        std::memset(padded, row[m_from.width - 1], kWindowBytes);
        std::memcpy(padded, row, Bytes(m_from.width));
        return padded;
    }

    PairColumns MakeColumns() const {
        auto* const first = reinterpret_cast<std::int32_t*>(RingRow(kRing));
        auto* const weights = reinterpret_cast<std::int16_t*>(first + m_count);
        auto* const places = reinterpret_cast<Ipp8u*>(weights + m_count);
        auto* const windows = reinterpret_cast<std::int32_t*>(places + 2 * Bytes(m_count));
        const CLinearAxis axis(m_from.width, m_to.width);
        for (int column = 0; column < m_count; ++column) {
            // What fills up the last block stays where the last column is.
            const auto place = axis.At(std::min(column, m_to.width - 1));
            first[column] = place.first;
            weights[column] = static_cast<std::int16_t>(place.weight);
        }
        const PairColumns columns = {first, weights, windows, places, 2 * kWindowGroup};
        if (FindWindows<2 * kWindowGroup>(first, windows, places)) {
            return columns;
        }
        const bool near = FindWindows<kWindowGroup>(first, windows, places);
        return {first, weights, windows, places, near ? kWindowGroup : 0};
    }

    /// @return false when the neighbours of `Samples` columns may lie farther apart than a window is long
    template <int Samples>
    bool FindWindows(const std::int32_t* first, std::int32_t* windows, Ipp8u* places) const {
        const int lastWindow = std::max(m_from.width, kWindowBytes) - kWindowBytes;
        int widest = 0;
        for (int column = 0; column < m_count; column += Samples) {
            const std::int32_t window = std::min(first[column], lastWindow);
            *windows++ = window;
            widest = std::max(widest, first[column + Samples - 1] + 1 - window);
            for (int index = 0; index < Samples; ++index) {
                const auto place = static_cast<Ipp8u>(first[column + index] - window);
                *places++ = place;
                *places++ = static_cast<Ipp8u>(place + 1);
            }
        }
        return widest < kWindowBytes;
    }

    IppiSize m_from;
    IppiSize m_to;
    int m_count;
    ScratchBytes m_memory;
    Ipp8u m_padded[2][kWindowBytes] = {};
};

}  // namespace

IppStatus ScalePlaneLinearly(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep,
                             IppiSize from, IppiSize to) {
    CLinearScaler scaler(from, to);
    if (!scaler.Exists()) {
        return ippStsMemAllocErr;
    }
    scaler.Run(source, sourceStep, destination, destinationStep);
    return ippStsNoErr;
}

}  // namespace qrn
