#include "engines/AvDecoding.h"

#include <climits>
#include <cstring>
#include <utility>

#include "engines/AvSilence.h"

namespace UMC {

namespace {

/// Lifts the messages of a context above what a log callback of the host's shows.
constexpr int kQuiet = 2 * AV_LOG_TRACE;

}  // namespace

// No lock is held around opening and closing: this version of the library does so itself for what needs it (and nothing
// of these decoders does), and a decoder is also opened anew in the middle of a stream, where no system-wide lock may
// hold up the frame.
Status AvDecoding::Open(AVCodecID codecId, std::int64_t maxPixels) {
    const AvSilence silence;
    m_isDamaged = false;
    const AVCodec* const codec = avcodec_find_decoder(codecId);
    if (codec == nullptr) {
        return kNotImplemented;
    }
    m_context.reset(avcodec_alloc_context3(codec));
    m_frame.reset(av_frame_alloc());
    m_newer.reset(av_frame_alloc());
    m_packet.reset(av_packet_alloc());
    if (!m_context || !m_frame || !m_newer || !m_packet) {
        return kNoMemory;
    }
    m_context->log_level_offset = kQuiet;
    m_context->thread_count = 1;
    m_context->flags |= AV_CODEC_FLAG_LOW_DELAY;
    m_context->max_pixels = maxPixels;
    return avcodec_open2(m_context.get(), codec, nullptr) == 0 ? kOk : kFailed;
}

Status AvDecoding::Decode(std::span<const std::uint8_t> bytes) {
    if (bytes.empty() || bytes.size() > INT_MAX / 2) {
        return kNoMoreData;  // an empty packet would tell the library that the stream is over
    }
    const AvSilence silence;
    // Damage, and loss too, look to the library like pictures out of order, for which it would begin to hold pictures
    // back. A call has none.
    m_context->has_b_frames = 0;
    int result = Send(bytes);
    if (result == AVERROR(EAGAIN)) {
        // A picture was left behind, and is late now.
        avcodec_receive_frame(m_context.get(), m_newer.get());
        result = avcodec_send_packet(m_context.get(), m_packet.get());
    }
    av_packet_unref(m_packet.get());
    if (result == AVERROR(ENOMEM)) {
        return kNoMemory;
    }
    const Status status = Drain();
    m_isDamaged = m_isDamaged || result < 0 || status == kFailed || (status == kOk && m_frame->decode_error_flags != 0);
    return status == kNoMoreData && result < 0 ? kFailed : status;
}

Status AvDecoding::Drain() {
    const AvSilence silence;
    Status status = kNoMoreData;
    // The newest of several, so that none is ever behind. The call that has no more clears its frame, thus two.
    int result = 0;
    while ((result = avcodec_receive_frame(m_context.get(), m_newer.get())) == 0) {
        std::swap(m_frame, m_newer);
        status = kOk;
    }
    return status == kOk || result == AVERROR(EAGAIN) || result == AVERROR_EOF ? status : kFailed;
}

int AvDecoding::Send(std::span<const std::uint8_t> bytes) {
    // The library reads past the end; a packet of its own has the room behind.
    const int result = av_new_packet(m_packet.get(), static_cast<int>(bytes.size()));
    if (result < 0) {
        return result;
    }
    std::memcpy(m_packet->data, bytes.data(), bytes.size());
    return avcodec_send_packet(m_context.get(), m_packet.get());
}

}  // namespace UMC
