#include "engines/OpenH264Core.h"

#include <wels/codec_api.h>

#include <climits>
#include <cmath>
#include <cstring>

namespace UMC {

namespace {

void FillLayer(const H264EncoderParams& params, SEncParamExt& settings) {
    SSpatialLayerConfig& layer = settings.sSpatialLayers[0];
    layer.iVideoWidth = params.m_width;
    layer.iVideoHeight = params.m_height;
    layer.fFrameRate = settings.fMaxFrameRate;
    layer.iSpatialBitrate = settings.iTargetBitrate;
    layer.iMaxSpatialBitrate = UNSPECIFIED_BIT_RATE;
    // Whatever higher profile is asked for, its decoders take the constrained baseline too.
    layer.uiProfileIdc = PRO_BASELINE;
    layer.uiLevelIdc = static_cast<ELevelIdc>(params.m_levelIdc);
    layer.iDLayerQp = params.m_quantizers[1];
    if (params.m_numSlices > 1) {
        layer.sSliceArgument.uiSliceMode = SM_FIXEDSLCNUM_SLICE;
        layer.sSliceArgument.uiSliceNum = static_cast<unsigned>(params.m_numSlices);
    } else {
        layer.sSliceArgument.uiSliceMode = SM_SINGLE_SLICE;
    }
}

void FillSettings(const H264EncoderParams& params, SEncParamExt& settings) {
    settings.iUsageType = CAMERA_VIDEO_REAL_TIME;
    settings.iPicWidth = params.m_width;
    settings.iPicHeight = params.m_height;
    settings.iTargetBitrate = static_cast<int>(params.m_bitrate);
    settings.iMaxBitrate = UNSPECIFIED_BIT_RATE;
    settings.iRCMode = params.m_rateControlMethod == 0 ? RC_OFF_MODE : RC_BITRATE_MODE;
    settings.fMaxFrameRate = static_cast<float>(params.m_frameRate);
    settings.iTemporalLayerNum = 1;
    settings.iSpatialLayerNum = 1;
    settings.uiIntraPeriod =
        params.m_keyFrameMethod == 0 ? 0U : static_cast<unsigned>(std::max(params.m_keyFrameInterval, 0));
    settings.iNumRefFrame = 1;
    // A receiver that joins late needs no more than the parameter sets before the next IDR picture.
    settings.eSpsPpsIdStrategy = CONSTANT_ID;
    settings.iEntropyCodingModeFlag = 0;
    settings.iMultipleThreadIdc = 1;
    settings.iLoopFilterDisableIdc = 0;
    // Each picture in gives a frame out: what a call does about its rate is decided above the encoder.
    settings.bEnableFrameSkip = false;
    FillLayer(params, settings);
}

bool IsWhole(const VideoData& picture) {
    return picture.GetPlanePointer(0) != nullptr && picture.GetPlanePointer(1) != nullptr &&
           picture.GetPlanePointer(2) != nullptr;
}

std::size_t LayerBytes(const SLayerBSInfo& layer) {
    std::size_t bytes = 0;
    for (int nal = 0; nal < layer.iNalCount; ++nal) {
        bytes += static_cast<std::size_t>(layer.pNalLengthInByte[nal]);
    }
    return bytes;
}

Status Append(const SFrameBSInfo& frame, MediaData& out) {
    std::size_t bytes = 0;
    for (int layer = 0; layer < frame.iLayerNum; ++layer) {
        bytes += LayerBytes(frame.sLayerInfo[layer]);
    }
    std::uint8_t* target = out.GetDataPointer() + out.GetDataSize();
    if (const Status status = out.SetDataSize(out.GetDataSize() + bytes); status != kOk) {
        return status;
    }
    for (int layer = 0; layer < frame.iLayerNum; ++layer) {
        const SLayerBSInfo& info = frame.sLayerInfo[layer];
        std::memcpy(target, info.pBsBuf, LayerBytes(info));
        target += LayerBytes(info);
    }
    return kOk;
}

}  // namespace

void OpenH264Core::Destroyer::operator()(ISVCEncoder* encoder) const {
    encoder->Uninitialize();
    WelsDestroySVCEncoder(encoder);
}

std::unique_ptr<OpenH264Core> OpenH264Core::Open(const H264EncoderParams& params, Status& status) {
    std::unique_ptr<OpenH264Core> core(new OpenH264Core(params));
    status = core->Start();
    return status == kOk ? std::move(core) : nullptr;
}

Status OpenH264Core::Start() {
    if (m_params.m_colorFormat != kColorYUV420 && m_params.m_colorFormat != kColorYV12) {
        return kNotImplemented;
    }
    // The library divides by what it takes for sizes.
    if (m_params.m_width < 1 || m_params.m_height < 1 || m_params.m_bitrate == 0 || m_params.m_bitrate > INT_MAX ||
        !std::isfinite(m_params.m_frameRate)) {
        return kBadArgument;
    }
    ISVCEncoder* encoder = nullptr;
    if (WelsCreateSVCEncoder(&encoder) != 0 || encoder == nullptr) {
        return kNoMemory;
    }
    m_encoder.reset(encoder);
    int quiet = WELS_LOG_QUIET;
    m_encoder->SetOption(ENCODER_OPTION_TRACE_LEVEL, &quiet);
    SEncParamExt settings{};
    if (m_encoder->GetDefaultParams(&settings) != cmResultSuccess) {
        return kFailed;
    }
    FillSettings(m_params, settings);
    return m_encoder->InitializeExt(&settings) == cmResultSuccess ? kOk : kFailed;
}

Status OpenH264Core::Encode(const VideoData& picture, MediaData& out) {
    if (picture.GetWidth() != m_params.m_width || picture.GetHeight() != m_params.m_height ||
        picture.GetColorFormat() != m_params.m_colorFormat) {
        return kFailed;
    }
    if (!IsWhole(picture)) {
        return kNoPlane;
    }
    const bool isVuFirst = m_params.m_colorFormat == kColorYV12;
    const VideoData::Plane planes[] = {picture.GetPlane(0), picture.GetPlane(isVuFirst ? 2 : 1),
                                       picture.GetPlane(isVuFirst ? 1 : 2)};
    SSourcePicture source{};
    source.iColorFormat = videoFormatI420;
    source.iPicWidth = picture.GetWidth();
    source.iPicHeight = picture.GetHeight();
    source.uiTimeStamp = TimeMs(picture);
    for (int index = 0; index < 3; ++index) {
        source.iStride[index] = planes[index].pitch;
        source.pData[index] = planes[index].pointer;
    }
    SFrameBSInfo frame{};
    if (m_encoder->EncodeFrame(&source, &frame) != cmResultSuccess) {
        return kFailed;
    }
    ++m_pictureCount;
    if (frame.eFrameType == videoFrameTypeSkip || frame.eFrameType == videoFrameTypeInvalid) {
        return kNoMoreData;
    }
    const Status status = Append(frame, out);
    if (status != kOk) {
        // The pictures to come would be told as differences to one that never arrives.
        ForceKeyFrame();
        return status;
    }
    const bool isIntra = frame.eFrameType == videoFrameTypeIDR || frame.eFrameType == videoFrameTypeI;
    out.SetFrameType(isIntra ? kFrameI : kFrameP);
    double start = 0;
    double end = 0;
    picture.GetTime(start, end);
    out.SetTime(start, end);
    return kOk;
}

Status OpenH264Core::SetBitrate(std::uint32_t bitsPerSecond) {
    if (bitsPerSecond == 0 || bitsPerSecond > INT_MAX) {
        return kBadArgument;
    }
    SBitrateInfo info{};
    info.iLayer = SPATIAL_LAYER_ALL;
    info.iBitrate = static_cast<int>(bitsPerSecond);
    if (m_encoder->SetOption(ENCODER_OPTION_BITRATE, &info) != cmResultSuccess) {
        return kFailed;
    }
    m_params.m_bitrate = bitsPerSecond;
    return kOk;
}

void OpenH264Core::ForceKeyFrame() {
    m_encoder->ForceIntraFrame(true);
}

std::int64_t OpenH264Core::TimeMs(const VideoData& picture) const {
    double start = 0;
    double end = 0;
    picture.GetTime(start, end);
    constexpr double kMaxSeconds = 1e9;
    if (start >= 0 && start < kMaxSeconds) {
        return std::llround(start * 1000.0);
    }
    // Without a time of its own each picture comes one period after the one before.
    const double rate = m_params.m_frameRate >= 1.0 ? m_params.m_frameRate : 1.0;
    return std::llround(static_cast<double>(m_pictureCount) * 1000.0 / rate);
}

}  // namespace UMC
