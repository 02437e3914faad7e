#include "platform/imaging/IppHdtv.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "platform/imaging/CArguments.h"
#include "platform/imaging/VectorClones.h"

// Own loops: libyuv's coefficients for BT.709 have six bits, which is up to 13 off in blue. The work goes in blocks
// through arrays of 16-bit numbers, with products of which the upper half is kept: the compiler makes vector code of
// each of these short loops.

using qrn::CArguments;
using qrn::HalfUp;
using qrn::RowAt;

namespace {

/// Pixels in a block; even.
constexpr int kBlock = 256;

// ITU-R BT.709-6, items 3.2 and 3.3.
constexpr double kRedShare = 0.2126;
constexpr double kBlueShare = 0.0722;
constexpr double kGreenShare = 1.0 - kRedShare - kBlueShare;
// Item 4.6: limited range of 8 bits.
constexpr int kLumaZero = 16;
constexpr int kChromaZero = 128;
constexpr double kLumaScale = 219.0 / 255.0;
constexpr double kChromaScale = 224.0 / 255.0;

constexpr int Rounded(double value) {
    return static_cast<int>(value < 0 ? value - 0.5 : value + 0.5);
}

constexpr std::int16_t UpperHalf(std::int16_t value, std::int16_t factor) {
    return static_cast<std::int16_t>((static_cast<std::int32_t>(value) * factor) >> 16);
}

constexpr std::uint16_t UpperHalf(std::uint16_t value, std::uint16_t factor) {
    return static_cast<std::uint16_t>((static_cast<std::uint32_t>(value) * factor) >> 16);
}

/// Luma and chroma to colours, in sixteenths.
struct ToColour {
    static constexpr int kShift = 4;
    static constexpr double kUnit = 1 << kShift;
    // Luma comes shifted by 7 bits and chroma by 8, as far as 16 bits hold them.
    static constexpr auto kLuma = static_cast<std::int16_t>(Rounded(kUnit * 65536 / 128 / kLumaScale));
    static constexpr double kChromaUnit = kUnit * 65536 / 256 / kChromaScale;
    static constexpr auto kRedOfCr = static_cast<std::int16_t>(Rounded(kChromaUnit * 2 * (1 - kRedShare)));
    static constexpr auto kBlueOfCb = static_cast<std::int16_t>(Rounded(kChromaUnit * 2 * (1 - kBlueShare)));
    static constexpr auto kGreenOfCr =
        static_cast<std::int16_t>(Rounded(-kChromaUnit * 2 * (1 - kRedShare) * kRedShare / kGreenShare));
    static constexpr auto kGreenOfCb =
        static_cast<std::int16_t>(Rounded(-kChromaUnit * 2 * (1 - kBlueShare) * kBlueShare / kGreenShare));
};

/// A block of pixels as three arrays; `y` has sixteenths of luma, Cb and Cr stand at both pixels of a pair.
struct YccBlock {
    std::array<std::int16_t, kBlock> y;
    std::array<std::int16_t, kBlock> cb;
    std::array<std::int16_t, kBlock> cr;
};

/// Reads `pairs` groups of Cb Y Cr Y.
void Unpack(const Ipp8u* source, int pairs, YccBlock& block) {
    std::array<std::uint16_t, kBlock> words;
    std::memcpy(words.data(), source, 4 * static_cast<std::size_t>(pairs));
    for (int index = 0; index < 2 * pairs; ++index) {
        const auto luma = static_cast<std::int16_t>(((words[index] >> 8) - kLumaZero) * 128);
        block.y[index] = UpperHalf(luma, ToColour::kLuma);
    }
    std::array<std::uint32_t, kBlock / 2> cbTwice;
    std::array<std::uint32_t, kBlock / 2> crTwice;
    std::array<std::uint32_t, kBlock / 2> groups;
    std::memcpy(groups.data(), source, 4 * static_cast<std::size_t>(pairs));
    for (int index = 0; index < pairs; ++index) {
        const std::uint32_t cb = groups[index] & 0xFF;
        const std::uint32_t cr = (groups[index] >> 16) & 0xFF;
        cbTwice[index] = cb | (cb << 16);
        crTwice[index] = cr | (cr << 16);
    }
    std::memcpy(block.cb.data(), cbTwice.data(), 4 * static_cast<std::size_t>(pairs));
    std::memcpy(block.cr.data(), crTwice.data(), 4 * static_cast<std::size_t>(pairs));
}

std::int16_t Clamped(std::int16_t sixteenths) {
    const auto value = static_cast<std::int16_t>((sixteenths + 8) >> ToColour::kShift);
    return std::min<std::int16_t>(std::max<std::int16_t>(value, 0), 255);
}

/// @param pixels  as many as the block has; turned to B, G, R, alpha, the first in the low byte.
void ToBgr32(const YccBlock& block, int count, Ipp8u alpha, std::array<std::uint32_t, kBlock>& pixels) {
    std::array<std::int16_t, kBlock> blue;
    std::array<std::int16_t, kBlock> green;
    std::array<std::int16_t, kBlock> red;
    for (int index = 0; index < count; ++index) {
        const std::int16_t y = block.y[index];
        const auto cb = static_cast<std::int16_t>((block.cb[index] - kChromaZero) * 256);
        const auto cr = static_cast<std::int16_t>((block.cr[index] - kChromaZero) * 256);
        blue[index] = Clamped(static_cast<std::int16_t>(y + UpperHalf(cb, ToColour::kBlueOfCb)));
        const auto greenOfBoth =
            static_cast<std::int16_t>(UpperHalf(cb, ToColour::kGreenOfCb) + UpperHalf(cr, ToColour::kGreenOfCr));
        green[index] = Clamped(static_cast<std::int16_t>(y + greenOfBoth));
        red[index] = Clamped(static_cast<std::int16_t>(y + UpperHalf(cr, ToColour::kRedOfCr)));
    }
    const std::uint32_t alphaBits = static_cast<std::uint32_t>(alpha) << 24;
    for (int index = 0; index < count; ++index) {
        pixels[index] = static_cast<std::uint32_t>(blue[index]) | (static_cast<std::uint32_t>(green[index]) << 8) |
                        (static_cast<std::uint32_t>(red[index]) << 16) | alphaBits;
    }
}

/// Colours to luma and chroma, in 64ths.
struct FromColour {
    static constexpr int kShift = 6;
    static constexpr double kUnit = 1 << kShift;
    // A colour comes shifted by 8 bits.
    static constexpr double kLumaUnit = kUnit * 65536 / 256 * kLumaScale;
    static constexpr auto kRed = static_cast<std::uint16_t>(Rounded(kLumaUnit * kRedShare));
    static constexpr auto kGreen = static_cast<std::uint16_t>(Rounded(kLumaUnit * kGreenShare));
    static constexpr auto kBlue = static_cast<std::uint16_t>(Rounded(kLumaUnit * kBlueShare));
    // The sum of four colours comes shifted by 5 bits.
    static constexpr double kChromaUnit = kUnit * 65536 / 32 / 4 * kChromaScale;
    static constexpr auto kFull = static_cast<std::int16_t>(Rounded(kChromaUnit / 2));
    static constexpr auto kCbOfRed =
        static_cast<std::int16_t>(Rounded(-kChromaUnit * kRedShare / 2 / (1 - kBlueShare)));
    static constexpr auto kCbOfGreen = static_cast<std::int16_t>(-kFull - kCbOfRed);
    static constexpr auto kCrOfBlue =
        static_cast<std::int16_t>(Rounded(-kChromaUnit * kBlueShare / 2 / (1 - kRedShare)));
    static constexpr auto kCrOfGreen = static_cast<std::int16_t>(-kFull - kCrOfBlue);
    /// Half a unit, and what two and three products lose on average by keeping the upper half only.
    static constexpr int kRounding = (1 << (kShift - 1)) + 1;
};

using PixelBlock = std::array<std::uint32_t, kBlock>;

/// Loads pixels; a missing last one of a pair is a copy of its neighbour.
void Load(const Ipp8u* source, int count, PixelBlock& pixels) {
    std::memcpy(pixels.data(), source, 4 * static_cast<std::size_t>(count));
    if (count % 2 != 0) {
        pixels[count] = pixels[count - 1];
    }
}

void LumaOf(const PixelBlock& pixels, int count, Ipp8u* luma) {
    std::array<std::uint16_t, kBlock> blue;
    std::array<std::uint16_t, kBlock> green;
    std::array<std::uint16_t, kBlock> red;
    for (int index = 0; index < count; ++index) {
        blue[index] = static_cast<std::uint16_t>((pixels[index] << 8) & 0xFF00);
        green[index] = static_cast<std::uint16_t>(pixels[index] & 0xFF00);
        red[index] = static_cast<std::uint16_t>((pixels[index] >> 8) & 0xFF00);
    }
    for (int index = 0; index < count; ++index) {
        const int sum = UpperHalf(red[index], FromColour::kRed) + UpperHalf(green[index], FromColour::kGreen) +
                        UpperHalf(blue[index], FromColour::kBlue) + FromColour::kRounding;
        luma[index] = static_cast<Ipp8u>((static_cast<std::uint16_t>(sum) >> FromColour::kShift) + kLumaZero);
    }
}

/// The sums of each square of four, by channel, shifted by 5 bits.
void SumSquares(const PixelBlock& upper, const PixelBlock& lower, int pairs, int channelShift,
                std::array<std::int16_t, kBlock / 2>& sums) {
    std::array<std::uint16_t, kBlock> columns;
    for (int index = 0; index < 2 * pairs; ++index) {
        columns[index] = static_cast<std::uint16_t>(((upper[index] >> channelShift) & 0xFF) +
                                                    ((lower[index] >> channelShift) & 0xFF));
    }
    std::array<std::uint32_t, kBlock / 2> both;
    std::memcpy(both.data(), columns.data(), 4 * static_cast<std::size_t>(pairs));
    for (int index = 0; index < pairs; ++index) {
        sums[index] = static_cast<std::int16_t>(((both[index] & 0xFFFF) + (both[index] >> 16)) * 32);
    }
}

void ChromaOf(const PixelBlock& upper, const PixelBlock& lower, int pairs, Ipp8u* cb, Ipp8u* cr) {
    std::array<std::int16_t, kBlock / 2> blue;
    std::array<std::int16_t, kBlock / 2> green;
    std::array<std::int16_t, kBlock / 2> red;
    SumSquares(upper, lower, pairs, 0, blue);
    SumSquares(upper, lower, pairs, 8, green);
    SumSquares(upper, lower, pairs, 16, red);
    constexpr int kOffset = (kChromaZero << FromColour::kShift) + FromColour::kRounding;
    for (int index = 0; index < pairs; ++index) {
        const auto cbSum = static_cast<std::int16_t>(UpperHalf(blue[index], FromColour::kFull) +
                                                     UpperHalf(green[index], FromColour::kCbOfGreen) +
                                                     UpperHalf(red[index], FromColour::kCbOfRed) + kOffset);
        const auto crSum = static_cast<std::int16_t>(UpperHalf(red[index], FromColour::kFull) +
                                                     UpperHalf(green[index], FromColour::kCrOfGreen) +
                                                     UpperHalf(blue[index], FromColour::kCrOfBlue) + kOffset);
        cb[index] = static_cast<Ipp8u>(cbSum >> FromColour::kShift);
        cr[index] = static_cast<Ipp8u>(crSum >> FromColour::kShift);
    }
}

}  // namespace

QRN_VECTOR_CLONES IppStatus ippiCbYCr422ToBGR_709HDTV_8u_C2C4R(const Ipp8u* source, int sourceStep, Ipp8u* destination,
                                                               int destinationStep, IppiSize size, Ipp8u alpha) {
    const IppStatus status =
        CArguments(size).Packed422(source, sourceStep).Pixels(destination, destinationStep, 4).Status();
    if (status != ippStsNoErr) {
        return status;
    }
    YccBlock block;
    PixelBlock pixels;
    for (int row = 0; row < size.height; ++row) {
        const Ipp8u* from = RowAt(source, sourceStep, row);
        Ipp8u* to = RowAt(destination, destinationStep, row);
        for (int column = 0; column < size.width; column += kBlock) {
            const int count = std::min(kBlock, size.width - column);
            Unpack(from + 2 * column, HalfUp(count), block);
            ToBgr32(block, count, alpha, pixels);
            std::memcpy(to + 4 * column, pixels.data(), 4 * static_cast<std::size_t>(count));
        }
    }
    return ippStsNoErr;
}

QRN_VECTOR_CLONES IppStatus ippiBGRToYCbCr420_709HDTV_8u_AC4P3R(const Ipp8u* source, int sourceStep,
                                                                Ipp8u* const destination[3],
                                                                const int destinationStep[3], IppiSize size) {
    const IppStatus status =
        CArguments(size).Pixels(source, sourceStep, 4).Planes(destination, destinationStep).Status();
    if (status != ippStsNoErr) {
        return status;
    }
    PixelBlock upper;
    PixelBlock lower;
    for (int row = 0; row < size.height; row += 2) {
        const bool hasLower = row + 1 < size.height;
        const Ipp8u* from = RowAt(source, sourceStep, row);
        Ipp8u* luma = RowAt(destination[0], destinationStep[0], row);
        Ipp8u* cb = RowAt(destination[1], destinationStep[1], row / 2);
        Ipp8u* cr = RowAt(destination[2], destinationStep[2], row / 2);
        for (int column = 0; column < size.width; column += kBlock) {
            const int count = std::min(kBlock, size.width - column);
            Load(from + 4 * column, count, upper);
            LumaOf(upper, count, luma + column);
            if (hasLower) {
                Load(from + sourceStep + 4 * column, count, lower);
                LumaOf(lower, count, luma + destinationStep[0] + column);
            }
            ChromaOf(upper, hasLower ? lower : upper, HalfUp(count), cb + column / 2, cr + column / 2);
        }
    }
    return ippStsNoErr;
}
