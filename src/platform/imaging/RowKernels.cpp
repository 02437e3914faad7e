#include "platform/imaging/RowKernels.h"

#include <array>

#include "platform/imaging/RowKernelsFor.h"
#include "platform/imaging/VectorPlain.h"

namespace qrn {

#ifdef QRN_X86_KERNELS
extern const RowKernels kSse2Kernels;
extern const RowKernels kAvx2Kernels;
#endif

namespace {

constexpr RowKernels kPlainKernels = KernelsFor<VectorPlain>();

struct Shares {
    double red;
    double blue;
};
constexpr Shares kBt601 = {0.299, 0.114};
constexpr Shares kBt709 = {0.2126, 0.0722};

// ITU-R BT.601-7, item 2.5.3, and BT.709-6, item 4.6: limited range.
constexpr double kLumaScale = 219.0 / 255.0;
constexpr double kChromaScale = 224.0 / 255.0;

constexpr std::int16_t Rounded(double value) {
    return static_cast<std::int16_t>(value < 0 ? value - 0.5 : value + 0.5);
}

constexpr ToBgrFactors ToBgrOf(Shares shares) {
    constexpr double kUnit = 1 << kToBgrBits;
    constexpr double kFactor = kUnit * 256;
    const double green = 1 - shares.red - shares.blue;
    const double redOfCr = 2 * (1 - shares.red) / kChromaScale;
    const double blueOfCb = 2 * (1 - shares.blue) / kChromaScale;
    const double greenOfCb = blueOfCb * shares.blue / green;
    const double greenOfCr = redOfCr * shares.red / green;
    // Half a unit for rounding, and for each product half of what it loses at most when its lower bits are cut off.
    const double offset = kUnit / 2 + 0.5 - kLumaZero / kLumaScale * kUnit;
    const double chromaZero = kChromaZero * kUnit;
    const auto factor = [=](double value) { return static_cast<std::uint16_t>(Rounded(kFactor * value)); };
    return {factor(1 / kLumaScale),
            factor(blueOfCb),
            factor(greenOfCb),
            factor(greenOfCr),
            factor(redOfCr),
            Rounded(offset - chromaZero * blueOfCb + 0.5),
            Rounded(offset + chromaZero * (greenOfCb + greenOfCr) - 1),
            Rounded(offset - chromaZero * redOfCr + 0.5)};
}

/// Weights of luma's that sum up as they must, so that white is white.
constexpr FromBgrFactors::Weights LumaOf(Shares shares) {
    constexpr double kFactor = kLumaScale * (1 << kFromBgrBits);
    const std::int16_t blue = Rounded(kFactor * shares.blue);
    const std::int16_t red = Rounded(kFactor * shares.red);
    return {blue, static_cast<std::int16_t>(Rounded(kFactor) - blue - red), red};
}

/// The colour's distance from luma, over the largest that it can have; of the other two, so that grey has none.
constexpr FromBgrFactors FromBgrOf(Shares shares) {
    constexpr double kFull = kChromaScale / 2 * (1 << kFromBgrBits);
    const std::int16_t full = Rounded(kFull);
    const std::int16_t cbOfRed = Rounded(-kFull * shares.red / (1 - shares.blue));
    const std::int16_t crOfBlue = Rounded(-kFull * shares.blue / (1 - shares.red));
    return {LumaOf(shares),
            {full, static_cast<std::int16_t>(-full - cbOfRed), cbOfRed},
            {crOfBlue, static_cast<std::int16_t>(-full - crOfBlue), full}};
}

}  // namespace

constexpr ToBgrFactors kBt601ToBgr = ToBgrOf(kBt601);
constexpr ToBgrFactors kBt709ToBgr = ToBgrOf(kBt709);
constexpr FromBgrFactors kBgrToBt601 = FromBgrOf(kBt601);
constexpr FromBgrFactors kBgrToBt709 = FromBgrOf(kBt709);

std::span<const RowKernels* const> AvailableRowKernels() {
#ifdef QRN_X86_KERNELS
    static constexpr std::array<const RowKernels*, 3> kAll = {&kPlainKernels, &kSse2Kernels, &kAvx2Kernels};
    static const std::size_t count = __builtin_cpu_supports("avx2") != 0 ? kAll.size() : kAll.size() - 1;
#else
    static constexpr std::array<const RowKernels*, 1> kAll = {&kPlainKernels};
    static constexpr std::size_t count = kAll.size();
#endif
    return {kAll.data(), count};
}

const RowKernels& BestRowKernels() {
    static const RowKernels& best = *AvailableRowKernels().back();
    return best;
}

}  // namespace qrn
