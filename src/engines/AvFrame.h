#pragma once
/// Owners of FFmpeg's objects.

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <memory>

namespace UMC {

struct AvContextDeleter {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct AvFrameDeleter {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct AvPacketDeleter {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

using AvContext = std::unique_ptr<AVCodecContext, AvContextDeleter>;
using AvFrame = std::unique_ptr<AVFrame, AvFrameDeleter>;
using AvPacket = std::unique_ptr<AVPacket, AvPacketDeleter>;

}  // namespace UMC
