#pragma once
/// The loops over rows that the colour conversions, the linear resize and the triangle share. They are compiled for
/// every kind of vector registers that the processors of this architecture may have (RowKernelsFor.h); all of these
/// give the same bytes. Rows need no alignment and not one byte beside them is touched. No state: any thread.

#include <cstdint>
#include <span>

#include "platform/imaging/IppTypes.h"

namespace qrn {

/// Factors from luma and chroma to colours, in units of 1/32: a product is shifted down by 8 bits. Those of green are
/// taken away. Rounding and the zero points are in the offsets.
struct ToBgrFactors {
    std::uint16_t luma;
    std::uint16_t blueOfCb;
    std::uint16_t greenOfCb;
    std::uint16_t greenOfCr;
    std::uint16_t redOfCr;
    std::int16_t blueOffset;
    std::int16_t greenOffset;
    std::int16_t redOffset;
};

/// Factors of a component of YCbCr, in units of 1/32768.
struct FromBgrFactors {
    struct Weights {
        std::int16_t blue;
        std::int16_t green;
        std::int16_t red;
    };
    Weights luma;
    Weights cb;
    Weights cr;
};

/// The shares of red and blue in luma, green having the rest, are those of ITU-R BT.601-7, item 2.5.1, and BT.709-6,
/// item 3.2; limited range of 8 bits.
extern const ToBgrFactors kBt601ToBgr;
extern const ToBgrFactors kBt709ToBgr;
extern const FromBgrFactors kBgrToBt601;
extern const FromBgrFactors kBgrToBt709;

/// Samples of a row, or of two with the same chroma. Each of cb and cr stands for two pixels.
template <int Rows>
struct YccRowsOf {
    static constexpr int kRows = Rows;
    const Ipp8u* luma[Rows];
    const Ipp8u* cb;
    const Ipp8u* cr;
};
using YccRow = YccRowsOf<1>;
using YccRowPair = YccRowsOf<2>;

/// Samples of a row with chroma for each pixel of its own, in units of 1/256.
struct FineYccRow {
    static constexpr int kRows = 1;
    const Ipp8u* luma[1];
    const std::uint16_t* cb;
    const std::uint16_t* cr;
};

/// Where two rows of pixels go. For a picture that has an odd last row, or chroma in each row, both are the same one.
struct YccRows {
    Ipp8u* upperLuma;
    Ipp8u* lowerLuma;
    Ipp8u* cb;
    Ipp8u* cr;
};

/// What RowKernels::toBgr can write; Bgr32 comes with a fourth byte.
enum class BgrFormat { k32, k24, k565, k555, k444 };
inline constexpr int kBgrFormats = 5;

/// Fraction bits of what `across` makes, and of the weights of both steps of a linear resize.
inline constexpr int kAcrossBits = 6;
inline constexpr int kLinearWeightBits = 15;
/// `across` takes its samples in whole blocks. In groups of one or two kWindowGroup, if they are near enough, they may
/// be made from one window of the row.
inline constexpr int kAcrossBlock = 32;
inline constexpr int kWindowGroup = 8;
inline constexpr int kWindowBytes = 16;

/// How the samples of a row are made from two neighbours each. A weight is that of the second one and below 1.
struct PairColumns {
    const std::int32_t* first;    ///< for each sample: its first neighbour
    const std::int16_t* weights;  ///< for each sample
    const std::int32_t* windows;  ///< for each group: where kWindowBytes bytes begin that hold all its neighbours
    const Ipp8u* places;          ///< for each sample both neighbours in the window
    int windowSamples;            ///< how many samples a group has; 0 when there are no windows
};

template <class Rows>
using ToBgrKernel = void(const Rows& from, Ipp8u* const to[], int width, const ToBgrFactors& factors, Ipp8u alpha);

struct RowKernels {
    const char* name;
    /// By BgrFormat; values within 0.57 of the exact one. `alpha` is the fourth byte, if there is one. `to` is where
    /// each row goes.
    ToBgrKernel<YccRow>* toBgr[kBgrFormats];
    ToBgrKernel<YccRowPair>* pairToBgr[kBgrFormats];
    ToBgrKernel<FineYccRow>* fineToBgr32;
    /// Pixels of 4 and of 3 bytes. Luma, and chroma as the mean of four pixels, within 0.51 of the exact value; a last
    /// column without a neighbour counts twice.
    void (*fromBgr32)(const Ipp8u* upper, const Ipp8u* lower, const YccRows& to, int width,
                      const FromBgrFactors& factors);
    void (*fromBgr24)(const Ipp8u* upper, const Ipp8u* lower, const YccRows& to, int width,
                      const FromBgrFactors& factors);
    /// (side * (above + below) + centre * row + 128) / 256, with weights that sum up to 256, side counting twice.
    void (*triangle)(const Ipp8u* above, const Ipp8u* row, const Ipp8u* below, Ipp8u* to, int width, int side,
                     int centre);
    /// Samples between the columns of two rows of at least kWindowBytes, `width` of them, a multiple of kAcrossBlock.
    void (*across)(const Ipp8u* const from[2], const PairColumns& columns, std::int16_t* const to[2], int width);
    /// Samples between two rows that `across` made, which are whole blocks; `weight` is that of `lower`.
    void (*down)(const std::int16_t* upper, const std::int16_t* lower, Ipp8u* to, int width, int weight);
};

/// What this processor can run, the fastest last.
std::span<const RowKernels* const> AvailableRowKernels();
const RowKernels& BestRowKernels();

}  // namespace qrn
