/// Pictures of any format and size through the chain behind the decoders, into planes with not a byte to spare.
///
/// Input: bytes that choose sizes, formats and methods, then the bytes of the source, over and over until it is full.

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>

#include "../audiocoding/FuzzInput.h"
#include "engines/VideoProcessing.h"

namespace {

using qrn::fuzz::CInput;

/// Small, so that many pictures a second go through; the width is more than two blocks of the vector loops.
constexpr int kMaxWidth = 70;
constexpr int kMaxHeight = 12;
constexpr int kFormats = 22;  // some are no format

struct Side {
    int width;
    int height;
    UMC::ColorFormat format;
    int padding;
};

/// A picture whose every plane is a block of memory of its exact size.
class CExactPicture {
public:
    explicit CExactPicture(const Side& side) {
        if (m_picture.Init(side.width, side.height, side.format) != UMC::kOk) {
            return;
        }
        for (int index = 0; index < m_picture.GetNumPlanes(); ++index) {
            const UMC::VideoData::Plane plane = m_picture.GetPlane(index);
            const int pitch = plane.pitch + side.padding;
            const auto bytes = static_cast<std::size_t>(pitch * (plane.height - 1) + plane.pitch);
            Block& block = m_blocks[static_cast<std::size_t>(index)];
            block = {std::make_unique<std::uint8_t[]>(bytes), bytes};
            m_picture.SetPlane(index, block.bytes.get(), pitch);
        }
    }

    UMC::VideoData& Data() { return m_picture; }
    void Fill(std::span<const std::uint8_t> from) {
        std::size_t next = 0;
        for (Block& block : m_blocks) {
            for (std::size_t index = 0; index < block.size && !from.empty(); ++index) {
                block.bytes[index] = from[next++ % from.size()];
            }
        }
    }

private:
    struct Block {
        std::unique_ptr<std::uint8_t[]> bytes;
        std::size_t size = 0;
    };
    UMC::VideoData m_picture;
    std::array<Block, UMC::VideoData::kMaxPlanes> m_blocks;
};

Side ReadSide(CInput& input) {
    const int width = 1 + input.Byte() % kMaxWidth;
    const int height = 1 + input.Byte() % kMaxHeight;
    return {width, height, input.Byte() % kFormats, input.Byte() % 8};
}

UMC::VideoProcessingParams ReadParams(CInput& input, const Side& source) {
    constexpr std::array kMethods = {1, 2, 4, 8, 16, 0};
    UMC::VideoProcessingParams params;
    params.m_resizeMethod = kMethods[input.Byte() % kMethods.size()];
    params.m_deinterlaceMethod = input.Byte() % 8;
    if (input.Byte() % 4 == 0) {
        params.m_crop.left = static_cast<std::int16_t>(input.Byte() % source.width);
        params.m_crop.top = static_cast<std::int16_t>(input.Byte() % source.height);
        params.m_crop.right = static_cast<std::int16_t>(input.Byte() % (source.width + 2));
        params.m_crop.bottom = static_cast<std::int16_t>(input.Byte() % (source.height + 2));
    }
    return params;
}

bool IsKnown(UMC::Status status) {
    constexpr std::array kAnswers = {UMC::kOk,
                                     UMC::kFailed,
                                     UMC::kNotImplemented,
                                     UMC::kNoMemory,
                                     UMC::kBadArgument,
                                     UMC::kNoPlane,
                                     UMC::VideoResizing::kUnknownSamples};
    return std::find(kAnswers.begin(), kAnswers.end(), status) != kAnswers.end();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    CInput input({data, size});
    const Side from = ReadSide(input);
    Side to = ReadSide(input);
    const std::uint8_t same = input.Byte();
    to = {(same & 1) != 0 ? from.width : to.width, (same & 2) != 0 ? from.height : to.height,
          (same & 4) != 0 ? from.format : to.format, to.padding};
    UMC::VideoProcessingParams params = ReadParams(input, from);

    CExactPicture source(from);
    CExactPicture destination(to);
    source.Data().SetPictureStructure(input.Byte() % 12);
    if (const std::uint8_t missing = input.Byte(); missing % 16 < 6) {
        UMC::VideoData& lacking = missing % 2 == 0 ? source.Data() : destination.Data();
        lacking.SetPlane(missing % 16 / 2, nullptr, 0);
    }
    source.Fill(input.Bytes(size));

    UMC::VideoProcessing chain;
    if (chain.SetParams(&params) != UMC::kOk) {
        std::abort();
    }
    const UMC::Status first = chain.GetFrame(&source.Data(), &destination.Data());
    // Sometimes twice, since the pictures between the steps stay.
    if (!IsKnown(first) || ((same & 56) == 0 && chain.GetFrame(&source.Data(), &destination.Data()) != first)) {
        std::abort();
    }
    return 0;
}
