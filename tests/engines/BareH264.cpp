#include "engines/BareH264.h"

#include <wels/codec_api.h>

#include <stdexcept>

namespace qrn::test {

namespace {

void Require(bool isGood) {
    if (!isGood) {
        throw std::runtime_error("OpenH264 failed");
    }
}

}  // namespace

struct BareEncoder::State {
    ISVCEncoder* encoder = nullptr;
    int fps = 0;
    int count = 0;
};

BareEncoder::BareEncoder(int width, int height, int fps, int kbps, int keyInterval) : m_state(new State) {
    Require(WelsCreateSVCEncoder(&m_state->encoder) == 0);
    int quiet = WELS_LOG_QUIET;
    m_state->encoder->SetOption(ENCODER_OPTION_TRACE_LEVEL, &quiet);
    SEncParamExt settings{};
    m_state->encoder->GetDefaultParams(&settings);
    settings.iUsageType = CAMERA_VIDEO_REAL_TIME;
    settings.iRCMode = RC_BITRATE_MODE;
    settings.iPicWidth = settings.sSpatialLayers[0].iVideoWidth = width;
    settings.iPicHeight = settings.sSpatialLayers[0].iVideoHeight = height;
    settings.iTargetBitrate = settings.sSpatialLayers[0].iSpatialBitrate = 1000 * kbps;
    settings.fMaxFrameRate = settings.sSpatialLayers[0].fFrameRate = static_cast<float>(fps);
    settings.sSpatialLayers[0].uiProfileIdc = PRO_BASELINE;
    settings.uiIntraPeriod = static_cast<unsigned>(keyInterval);
    settings.iNumRefFrame = 1;
    settings.iMultipleThreadIdc = 1;
    settings.bEnableFrameSkip = false;
    settings.eSpsPpsIdStrategy = CONSTANT_ID;
    Require(m_state->encoder->InitializeExt(&settings) == 0);
    m_state->fps = fps;
}

BareEncoder::~BareEncoder() {
    m_state->encoder->Uninitialize();
    WelsDestroySVCEncoder(m_state->encoder);
}

Frame BareEncoder::Encode(const Picture& picture) {
    SSourcePicture source{};
    source.iColorFormat = videoFormatI420;
    source.iPicWidth = picture.width;
    source.iPicHeight = picture.height;
    const int chroma = (picture.width + 1) / 2;
    const int chromaBytes = chroma * ((picture.height + 1) / 2);
    source.iStride[0] = picture.width;
    source.iStride[1] = source.iStride[2] = chroma;
    source.pData[0] = const_cast<unsigned char*>(picture.bytes.data());
    source.pData[1] = source.pData[0] + picture.width * picture.height;
    source.pData[2] = source.pData[1] + chromaBytes;
    source.uiTimeStamp = 1000LL * m_state->count++ / m_state->fps;
    SFrameBSInfo info{};
    Require(m_state->encoder->EncodeFrame(&source, &info) == 0);
    Frame frame;
    for (int layer = 0; layer < info.iLayerNum; ++layer) {
        const SLayerBSInfo& part = info.sLayerInfo[layer];
        const unsigned char* bytes = part.pBsBuf;
        for (int nal = 0; nal < part.iNalCount; ++nal) {
            frame.insert(frame.end(), bytes, bytes + part.pNalLengthInByte[nal]);
            bytes += part.pNalLengthInByte[nal];
        }
    }
    return frame;
}

struct BareDecoder::State {
    ISVCDecoder* decoder = nullptr;
};

BareDecoder::BareDecoder() : m_state(new State) {
    Require(WelsCreateDecoder(&m_state->decoder) == 0);
    SDecodingParam settings{};
    settings.sVideoProperty.eVideoBsType = VIDEO_BITSTREAM_AVC;
    Require(m_state->decoder->Initialize(&settings) == 0);
}

BareDecoder::~BareDecoder() {
    m_state->decoder->Uninitialize();
    WelsDestroyDecoder(m_state->decoder);
}

Picture BareDecoder::Decode(const Frame& frame) {
    unsigned char* planes[3] = {};
    SBufferInfo info{};
    const DECODING_STATE state =
        m_state->decoder->DecodeFrameNoDelay(frame.data(), static_cast<int>(frame.size()), planes, &info);
    if (state != dsErrorFree || info.iBufferStatus != 1) {
        return {};
    }
    const SSysMEMBuffer& memory = info.UsrData.sSystemBuffer;
    Picture picture{UMC::kColorYUV420, memory.iWidth, memory.iHeight, 0, {}};
    for (int plane = 0; plane < 3; ++plane) {
        const int half = plane == 0 ? 1 : 2;
        for (int y = 0; y < memory.iHeight / half; ++y) {
            const unsigned char* const row = planes[plane] + y * memory.iStride[plane == 0 ? 0 : 1];
            picture.bytes.insert(picture.bytes.end(), row, row + memory.iWidth / half);
        }
    }
    return picture;
}

}  // namespace qrn::test
