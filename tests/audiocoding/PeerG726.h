#pragma once
/// FFmpeg's G.726 coder, fed as a user of the library would: one packet of 80 ms at a time.

#include <memory>
#include <span>

#include "Signals.h"

struct AVCodecContext;
struct AVFrame;
struct AVPacket;

namespace qrn::test {

/// An encoder or a decoder of packets whose words are packed as ours are. Throws std::runtime_error when FFmpeg lacks
/// it.
class CPeerG726 {
public:
    enum class Direction { kEncode, kDecode };

    CPeerG726(Direction direction, int bitsPerSample);
    ~CPeerG726();
    CPeerG726(const CPeerG726&) = delete;
    CPeerG726& operator=(const CPeerG726&) = delete;

    /// Appends to `out`.
    void Encode(std::span<const std::int16_t> pcm, Bytes& out);
    /// Appends to `out`.
    void Decode(std::span<const std::uint8_t> packet, Pcm& out);

private:
    AVCodecContext* m_context = nullptr;
    AVFrame* m_frame = nullptr;
    AVPacket* m_packet = nullptr;
};

/// Words one after the other, least significant bit first; their number is a multiple of 8.
Bytes PackWords(int bitsPerSample, const Bytes& words);
Bytes EncodeWithFfmpeg(int bitsPerSample, const Pcm& pcm);
Pcm DecodeWithFfmpeg(int bitsPerSample, const Bytes& bytes);

}  // namespace qrn::test
