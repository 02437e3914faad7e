#pragma once

#include "engines/BaseCodecParams.h"

namespace UMC {

class BaseCodec;
class MediaData;

class VideoDecoderParams : public Typed<VideoDecoderParams, BaseCodecParams> {
public:
    static const char* ClassName() { return "VideoDecoderParams"; }

    /// Not owned; takes each decoded picture into the caller's one and must outlive the decoder.
    BaseCodec* m_postProcessing = nullptr;
    ColorFormat m_colorFormat = kColorYUV420;
    std::uint32_t m_streamType = 0;
    std::uint32_t m_streamSubtype = 0;
    int m_profile = 0;
    int m_level = 0;
    int m_width = 0;
    int m_height = 0;
    MediaData* m_data = nullptr;
    std::uint32_t m_reserved = 0;
};

}  // namespace UMC
