#include "engines/H264VideoEncoder.h"

namespace UMC {

namespace {

bool NeedsWideSamples(const H264EncoderParams& params) {
    return params.m_lumaBitDepth > 8 || params.m_chromaBitDepth > 8 ||
           (params.m_auxFormat != 0 && params.m_auxBitDepth > 8);
}

}  // namespace

Status H264VideoEncoder::Init(BaseCodecParams* params) {
    const auto* const given = As<H264EncoderParams>(params);
    if (given == nullptr) {
        return kBadArgument;
    }
    if (m_core) {
        return kFailed;
    }
    if (NeedsWideSamples(*given) || given->m_auxFormat != 0 || given->m_chromaFormat != 1) {
        return kNotImplemented;
    }
    Status status = kOk;
    m_core = OpenH264Core::Open(*given, status);
    return status;
}

Status H264VideoEncoder::GetFrame(MediaData* in, MediaData* out) {
    if (!m_core) {
        return kNotInitialised;
    }
    if (in == nullptr && out != nullptr) {
        return kNoMoreData;  // no picture is ever held back
    }
    const auto* const picture = As<VideoData>(in);
    if (picture == nullptr || out == nullptr || out->GetDataPointer() == nullptr) {
        return kBadArgument;
    }
    return m_core->Encode(*picture, *out);
}

Status H264VideoEncoder::GetInfo(BaseCodecParams* params) {
    if (!m_core) {
        return kNotInitialised;
    }
    if (auto* const all = As<H264EncoderParams>(params)) {
        *all = m_core->Params();
    } else if (auto* const common = As<VideoEncoderParams>(params)) {
        const VideoEncoderParams& shared = m_core->Params();  // the caller asks for no more than these
        *common = shared;
    } else {
        return kBadArgument;
    }
    return kOk;
}

Status H264VideoEncoder::Close() {
    m_core.reset();
    return kOk;
}

Status H264VideoEncoder::Reset() {
    if (!m_core) {
        return kNotInitialised;
    }
    m_core->ForceKeyFrame();
    return kOk;
}

Status H264VideoEncoder::SetParams(BaseCodecParams* params) {
    const auto* const given = As<VideoEncoderParams>(params);
    if (!m_core) {
        return kNotInitialised;
    }
    return given == nullptr ? kBadArgument : m_core->SetBitrate(given->m_bitrate);
}

}  // namespace UMC
