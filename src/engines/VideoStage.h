#pragma once

#include "engines/BaseCodec.h"
#include "engines/VideoData.h"

namespace UMC {

/// One step of VideoProcessing: makes a picture of a picture, and keeps nothing from one to the next. Source and
/// destination are VideoData with planes, else kBadArgument.
class VideoStage : public Typed<VideoStage, BaseCodec> {
public:
    static const char* ClassName() { return "VideoStage"; }

    Status Init(BaseCodecParams* /*params*/) override { return kOk; }
    Status GetFrame(MediaData* in, MediaData* out) final {
        const auto* source = As<VideoData>(in);
        auto* destination = As<VideoData>(out);
        return source == nullptr || destination == nullptr ? kBadArgument : Run(*source, *destination);
    }
    Status GetInfo(BaseCodecParams* /*params*/) override { return kOk; }
    Status Close() override { return kOk; }
    Status Reset() override { return kOk; }

protected:
    virtual Status Run(const VideoData& source, VideoData& destination) = 0;
};

/// Copies all planes of a picture of the same size and planes. kFailed when a primitive refuses.
Status CopyPlanes(const VideoData& source, VideoData& destination);

/// The bytes of a row that hold pixels: packed 4:2:2 has whole pairs of them.
int RowBytesOf(const VideoData& picture, int plane);

}  // namespace UMC
