/// Any bytes as a still picture, which is read to its last pixel.

#include "platform/imaging/StillPicture.h"

#include <cstdlib>
#include <numeric>

#include "../audiocoding/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // A block of the exact size, so that the first byte past it is noticed.
    const qrn::fuzz::CBlock file({data, size});
    const auto picture = qrn::DecodeJpeg({file.Data(), size});
    if (picture && picture->pixels.size() !=
                       static_cast<std::size_t>(picture->Step()) * static_cast<std::size_t>(picture->size.height)) {
        std::abort();
    }
    if (picture) {
        volatile unsigned sum = std::accumulate(picture->pixels.begin(), picture->pixels.end(), 0U);
        static_cast<void>(sum);
    }
    return 0;
}
