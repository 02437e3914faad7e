#pragma once

#include "engines/VideoStage.h"

namespace UMC {

/// Makes a progressive picture of two fields, plane by plane.
class Deinterlacing : public Typed<Deinterlacing, VideoStage> {
public:
    static const char* ClassName() { return "Deinterlacing"; }

    enum Method { kCopy = 0, kTriangle = 2, kMedian = 3, kEdgeDetect = 4, kMedianThreshold = 5, kContentAdaptive = 6 };

    /// Methods 5 and 6 set the threshold too. A method that is none is told by GetFrame, as kNotImplemented.
    void SetMethod(int method);

protected:
    /// kFailed for pictures that differ in size or format.
    Status Run(const VideoData& source, VideoData& destination) override;

private:
    Status RunPlane(const VideoData& source, VideoData& destination, int plane) const;

    int m_method = kCopy;
    int m_threshold = 0;
};

}  // namespace UMC
