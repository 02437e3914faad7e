#include "platform/imaging/StillPicture.h"

#include <turbojpeg.h>

#include <algorithm>
#include <memory>
#include <new>
#include <type_traits>

#include "platform/imaging/CArguments.h"

namespace qrn {

namespace {

struct Destroy {
    void operator()(void* coder) const { tjDestroy(coder); }
};
using Coder = std::unique_ptr<std::remove_pointer_t<tjhandle>, Destroy>;

struct Free {
    void operator()(unsigned char* bytes) const { tjFree(bytes); }
};
using CodedBytes = std::unique_ptr<unsigned char, Free>;

Coder Made(tjhandle coder) {
    if (coder == nullptr) {
        throw std::bad_alloc();
    }
    return Coder(coder);
}

}  // namespace

std::optional<StillPicture> DecodeJpeg(std::span<const Ipp8u> file) {
    if (file.empty()) {
        return std::nullopt;
    }
    const Coder coder = Made(tjInitDecompress());
    IppiSize size{};
    int subsampling = 0;
    int colours = 0;
    if (tjDecompressHeader3(coder.get(), file.data(), file.size(), &size.width, &size.height, &subsampling, &colours) !=
            0 ||
        size.width < 1 || size.height < 1 || size.width > kIppMaxSide || size.height > kIppMaxSide ||
        size.width > kMaxStillPixels / size.height) {
        return std::nullopt;
    }
    StillPicture picture{size, {}};
    picture.pixels.resize(static_cast<std::size_t>(picture.Step()) * static_cast<std::size_t>(size.height));
    // A file of very many scans would take minutes; one that is cut off would give a picture that is half grey.
    constexpr int kFlags = TJFLAG_LIMITSCANS | TJFLAG_STOPONWARNING;
    if (tjDecompress2(coder.get(), file.data(), file.size(), picture.pixels.data(), size.width, picture.Step(),
                      size.height, TJPF_BGR, kFlags) != 0) {
        return std::nullopt;
    }
    return picture;
}

std::optional<std::vector<Ipp8u>> EncodeJpeg(const Ipp8u* pixels, int step, IppiSize size, int quality) {
    if (CArguments(size).Pixels(pixels, step, 3).Status() != ippStsNoErr) {
        return std::nullopt;
    }
    const Coder coder = Made(tjInitCompress());
    unsigned char* bytes = nullptr;
    unsigned long length = 0;
    const int result = tjCompress2(coder.get(), pixels, size.width, step, size.height, TJPF_BGR, &bytes, &length,
                                   TJSAMP_420, std::clamp(quality, 1, 100), 0);
    const CodedBytes owned(bytes);
    if (result != 0) {
        throw std::bad_alloc();
    }
    return std::vector<Ipp8u>(bytes, bytes + length);
}

}  // namespace qrn
