#pragma once

#include <cstdint>
#include <span>

#include "engines/AvFrame.h"
#include "engines/UmcDefs.h"

namespace UMC {

/// An open video decoder of FFmpeg.
class AvDecoding {
public:
    /// Also opens anew, with nothing left of what was decoded before.
    Status Open(AVCodecID codec, std::int64_t maxPixels);
    /// @return kOk with the picture in Frame, valid until the next call here.
    Status Decode(std::span<const std::uint8_t> bytes);
    /// A picture that the library still holds, or kNoMoreData.
    Status Drain();
    /// Forgets all pictures.
    void Flush() { avcodec_flush_buffers(m_context.get()); }
    /// Whether something was wrong with a frame since Open.
    bool IsDamaged() const { return m_isDamaged; }
    const AVFrame& Frame() const { return *m_frame; }

private:
    int Send(std::span<const std::uint8_t> bytes);

    AvContext m_context;
    AvFrame m_frame;
    AvFrame m_newer;
    AvPacket m_packet;
    bool m_isDamaged = false;
};

}  // namespace UMC
