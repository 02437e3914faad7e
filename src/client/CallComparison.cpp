#include "client/CallComparison.h"

#include <algorithm>

#include "client/BuiltInSpeech.h"
#include "client/CMediaFileReader.h"
#include "client/CSendMeter.h"
#include "client/ClientError.h"
#include "client/Fidelity.h"
#include "client/PassThroughCodec.h"
#include "client/Verdict.h"

namespace qrn {
namespace {

// Coding takes time, and the program is to end soon.
constexpr int kCodecComparedSeconds = 30;
// The same decoder twice, with some silence put in between.
constexpr FidelityLimits kSameSound{0.97, 15.0};

PcmFormat FormatOf(const Options& options) {
    return {options.codec->sampleRate, options.channels};
}

double SecondsOf(PcmFormat format, std::span<const std::int16_t> interleaved) {
    return static_cast<double>(interleaved.size()) / format.sampleRate / format.channels;
}

/// The codecs keep the waveform of speech, but not that of noise or of much music. Where a file is the input, the call
/// has worked when what arrived is what the codec alone makes of it.
void CompareWithCodec(const Options& options, std::span<const std::int16_t> sent,
                      std::span<const std::int16_t> received, CallReport& report) {
    const PcmFormat format = FormatOf(options);
    const std::size_t most =
        format.SamplesPerBlock(1000 * kCodecComparedSeconds) * static_cast<std::size_t>(format.channels);
    const auto coded = PassThroughCodec(*options.codec, options.kbps, format, sent.first(std::min(most, sent.size())));
    report.codecFidelity = CompareSound(format, coded, received, options.codec->speechBandHz);
    report.faults = FindSoundFaults(report.codecFidelity, kSameSound);
}

/// Without the silence before and behind.
std::span<const std::int16_t> HeardPart(PcmFormat format, std::span<const std::int16_t> received) {
    const auto isSound = [](std::int16_t value) { return value != 0; };
    const auto channels = static_cast<std::size_t>(format.channels);
    const auto first = std::find_if(received.begin(), received.end(), isSound) - received.begin();
    const auto behind = received.rend() - std::find_if(received.rbegin(), received.rend(), isSound);
    const std::size_t start = static_cast<std::size_t>(first) / channels * channels;
    return first < behind ? received.subspan(start, static_cast<std::size_t>(behind) - start)
                          : std::span<const std::int16_t>();
}

}  // namespace

void CompareWithSent(const Options& options, std::span<const std::int16_t> sent, std::span<const std::int16_t> received,
                     CallReport& report) {
    const PcmFormat format = FormatOf(options);
    report.comparedSeconds = SecondsOf(format, sent);
    report.fidelity = CompareSound(format, sent, received, options.codec->speechBandHz);
    report.faults = FindSoundFaults(report.fidelity, options.codec->limits);
    // The limits are those of speech at the default rate.
    const bool isUsual = !options.audioFile && options.kbps >= options.codec->defaultKbps;
    if (!report.faults.empty() && !isUsual) {
        CompareWithCodec(options, sent, received, report);
    }
}

std::vector<std::int16_t> LoadKnownSound(const Options& options) {
    const PcmFormat format = FormatOf(options);
    if (!options.audioFile) {
        try {
            return LoadBuiltInSpeech(format);
        } catch (const CClientError&) {
            return {};
        }
    }
    CMediaFileReader reader(*options.audioFile, format, CMediaFileReader::Repeat::kOnce);
    std::vector<std::int16_t> sound(format.SamplesPerBlock(1000 * kMaxComparedSeconds) *
                                    static_cast<std::size_t>(format.channels));
    sound.resize(reader.Read(sound));
    return sound;
}

void CompareWithKnown(const Options& options, std::span<const std::int16_t> known,
                      std::span<const std::int16_t> received, CallReport& report) {
    const PcmFormat format = FormatOf(options);
    const auto heard = HeardPart(format, received);
    const auto place = FindInLoop(format, heard, known);
    if (!place) {
        if (options.audioFile) {
            report.faults.push_back("what arrived is not the sound of " + *options.audioFile);
        }
        return;
    }
    std::vector<std::int16_t> sent(heard.size());
    for (std::size_t i = 0; i < sent.size(); ++i) {
        sent[i] = known[(*place * static_cast<std::size_t>(format.channels) + i) % known.size()];
    }
    report.comparedSeconds = SecondsOf(format, sent);
    report.fidelity = CompareSound(format, sent, heard, options.codec->speechBandHz);
    if (options.audioFile) {
        report.faults = FindSoundFaults(report.fidelity, options.codec->limits);
    }
}

}  // namespace qrn
