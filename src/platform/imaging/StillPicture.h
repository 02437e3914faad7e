#pragma once
/// JPEG still pictures (ITU-T T.81): a snapshot that a client asks for, a picture file that is drawn over a window.
/// No state: any thread.

#include <optional>
#include <span>
#include <vector>

#include "platform/imaging/IppTypes.h"

namespace qrn {

/// Rows of B, G, R from top to bottom without a gap.
struct StillPicture {
    IppiSize size{};
    std::vector<Ipp8u> pixels;

    [[nodiscard]] int Step() const { return 3 * size.width; }
};

/// The most pixels that a file may claim to have.
inline constexpr int kMaxStillPixels = 1 << 26;

/// @return nothing for a file that is no JPEG, is cut off or damaged, is larger than kIppMaxSide or kMaxStillPixels
/// allow, or has colours that are neither YCbCr, RGB nor grey.
/// @throws std::bad_alloc
std::optional<StillPicture> DecodeJpeg(std::span<const Ipp8u> file);

/// Codes pixels of B, G, R with chroma halved both ways.
/// @param quality  from 1 to 100, as libjpeg scales its tables; what lies outside is taken for the nearest of these
/// @return nothing for a null pointer, a size or a step that is none (see IppTypes.h).
/// @throws std::bad_alloc
std::optional<std::vector<Ipp8u>> EncodeJpeg(const Ipp8u* pixels, int step, IppiSize size, int quality);

}  // namespace qrn
