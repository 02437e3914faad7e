#pragma once
/// What the program knows of the six audio codecs: the figures that a client must know to build a call and to judge it.

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace qrn {

/// Less than this is no longer what a codec does to speech.
struct FidelityLimits {
    double minCorrelation;
    double minSnrDb;
};

/// The limits are those of the default rate: below what the codec's bare library does to the built-in speech, and above
/// what faults make of it, both measured in tests/client/FidelityTest.cpp. Speex follows the ear and not the waveform,
/// so it stays low; G.726 and MP3 do better alone than in a call, where the compressor's DC filter turns the phase of
/// the lowest tones.
struct CodecInfo {
    const char* name;  // as on the command line
    unsigned id;       // as in IQRN_AudioCompressor::SetCodec
    int sampleRate;    // Hz
    int packetMs;      // sound in one packet
    int payloadType;   // of its RTP packets
    int defaultKbps;   // asked for when the user does not say; the codec may have a rate of its own
    int speechBandHz;  // what the codec carries at any of its rates, at least
    FidelityLimits limits;
};

/// In the order of their ids.
std::span<const CodecInfo> Codecs();
const CodecInfo* FindCodec(std::string_view name);
const CodecInfo* FindCodecById(unsigned id);
const CodecInfo* FindCodecByPayloadType(int payloadType);

/// "gsm, g72x, speex, speex_hq, mp3, opus"
std::string CodecNames();

}  // namespace qrn
