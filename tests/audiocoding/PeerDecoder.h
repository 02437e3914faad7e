#pragma once
/// FFmpeg's own decoders of GSM, Speex and Opus, which share no code with the codecs' libraries: a second opinion on
/// what leaves the encoders.

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "Signals.h"

struct AVCodecContext;

namespace qrn::test {

class CPeerDecoder {
public:
    /// @param name    FFmpeg's name of the decoder: "gsm", "speex" or "opus".
    /// @param header  what it must know of the stream before the first packet, if anything.
    CPeerDecoder(const std::string& name, int sampleRateHz, const Bytes& header = {});
    ~CPeerDecoder();

    bool IsOpen() const { return m_context != nullptr; }
    /// Decodes one packet of the codec. Empty when the decoder refuses it.
    Pcm Decode(std::span<const std::uint8_t> packet);

private:
    AVCodecContext* m_context = nullptr;
};

}  // namespace qrn::test
