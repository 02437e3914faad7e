#include "engines/AvVideoDecoder.h"

#include "engines/AvDecoding.h"
#include "engines/AvPicture.h"

namespace UMC {

AvVideoDecoder::AvVideoDecoder(int codecId, std::int64_t maxPixels) : m_codecId(codecId), m_maxPixels(maxPixels) {}

AvVideoDecoder::~AvVideoDecoder() = default;

Status AvVideoDecoder::Init(BaseCodecParams* params) {
    const auto* const given = As<VideoDecoderParams>(params);
    if (given == nullptr || given->m_postProcessing == nullptr) {
        return kBadArgument;
    }
    if (m_decoding) {
        return kFailed;
    }
    auto decoding = std::make_unique<AvDecoding>();
    const Status status = decoding->Open(static_cast<AVCodecID>(m_codecId), m_maxPixels);
    if (status == kOk) {
        m_params = *given;
        m_decoding = std::move(decoding);
        m_picture = std::make_unique<AvPicture>();
    }
    return status;
}

Status AvVideoDecoder::GetFrame(MediaData* in, MediaData* out) {
    if (!m_decoding) {
        return kNotInitialised;
    }
    if (As<VideoData>(out) == nullptr) {
        return kBadArgument;
    }
    const Status decoded = in == nullptr ? m_decoding->Drain() : Decode({in->GetDataPointer(), in->GetDataSize()});
    if (decoded != kOk) {
        return decoded;
    }
    VideoData picture;
    const Status status = m_picture->View(m_decoding->Frame(), picture);
    if (status != kOk) {
        return status;
    }
    m_params.m_width = picture.GetWidth();
    m_params.m_height = picture.GetHeight();
    if (in != nullptr) {
        double start = 0;
        double end = 0;
        in->GetTime(start, end);
        picture.SetTime(start, end);
    }
    return m_params.m_postProcessing->GetFrame(&picture, out);
}

Status AvVideoDecoder::Decode(std::span<const std::uint8_t> frame) {
    if (m_decoding->IsDamaged() && StandsAlone(frame)) {
        auto fresh = std::make_unique<AvDecoding>();
        if (fresh->Open(static_cast<AVCodecID>(m_codecId), m_maxPixels) == kOk) {
            m_decoding = std::move(fresh);
        }
    }
    return m_decoding->Decode(frame);
}

Status AvVideoDecoder::GetInfo(BaseCodecParams* params) {
    if (!m_decoding) {
        return kNotInitialised;
    }
    auto* const wanted = As<VideoDecoderParams>(params);
    if (wanted == nullptr) {
        return kBadArgument;
    }
    static_cast<VideoDecoderParams&>(*wanted) = m_params;
    return kOk;
}

Status AvVideoDecoder::Close() {
    m_decoding.reset();
    m_picture.reset();
    return kOk;
}

Status AvVideoDecoder::Reset() {
    if (!m_decoding) {
        return kNotInitialised;
    }
    m_decoding->Flush();
    return kOk;
}

}  // namespace UMC
