#pragma once

#include "engines/BaseCodecParams.h"
#include "engines/MediaData.h"

namespace UMC {

/// A coder, decoder or converter of pictures. An object is made, given one Init, used and deleted; one thread at a
/// time.
class BaseCodec : public Typed<BaseCodec, TypedObject> {
public:
    static const char* ClassName() { return "BaseCodec"; }

    BaseCodec() = default;
    BaseCodec(const BaseCodec&) = delete;
    BaseCodec& operator=(const BaseCodec&) = delete;

    /// Once an object; kFailed for a second time.
    virtual Status Init(BaseCodecParams* params) = 0;
    /// Encoders take one picture, append its bytes to the output's data and set its frame type. Decoders take one frame
    /// and put its picture into the output, a VideoData, through the post-processing given at Init; without input they
    /// give a picture that they still hold, or kNoMoreData.
    virtual Status GetFrame(MediaData* in, MediaData* out) = 0;
    /// The values in force.
    virtual Status GetInfo(BaseCodecParams* params) = 0;
    virtual Status Close() = 0;
    /// Forgets the pictures so far; the parameters stay.
    virtual Status Reset() = 0;
    /// Changes what can be changed while running: an encoder's bit rate.
    virtual Status SetParams(BaseCodecParams* params) {
        (void)params;
        return kNotImplemented;
    }
};

}  // namespace UMC
