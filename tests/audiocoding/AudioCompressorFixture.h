#pragma once
/// A compressor between a source and a sink, and what its tests know of the codecs.

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <vector>

#include "FilterBench.h"
#include "Signals.h"
#include "audiocoding/CAudioCompressor.h"
#include "audiocoding/CAudioEncoder.h"

namespace qrn::test {

inline constexpr DWORD kGsm = 0;
inline constexpr DWORD kSpeex = 2;
inline constexpr DWORD kMp3 = 4;
inline constexpr DWORD kOpus = 5;
inline constexpr REFERENCE_TIME kMs = 10000;

inline Pcm Interleave(const Pcm& left, const Pcm& right) {
    Pcm pcm;
    for (std::size_t i = 0; i < left.size(); ++i) {
        pcm.push_back(left[i]);
        pcm.push_back(right[i]);
    }
    return pcm;
}

/// One codec, as far as these tests need to know it.
struct CodecCase {
    const char* name;
    DWORD codec;
    unsigned sampleRateHz;
    std::size_t packetSamples;
    REFERENCE_TIME packetTime;
    REFERENCE_TIME delay;  ///< that the time stamps make up for
    bool isConditioned;    ///< by the filter that takes the constant part out
};
inline const auto kCodecCases = testing::Values(
    CodecCase{"Gsm", 0, 8000, 640, 80 * kMs, 0, true}, CodecCase{"G72x", 1, 8000, 640, 80 * kMs, 0, true},
    CodecCase{"Speex", 2, 8000, 640, 80 * kMs, 0, false}, CodecCase{"SpeexHq", 3, 32000, 2560, 80 * kMs, 0, false},
    CodecCase{"Mp3", 4, 32000, 2304, 72 * kMs, 72 * kMs, true}, CodecCase{"Opus", 5, 48000, 1920, 40 * kMs, 0, false});

/// What an encoder gives for a packet of it.
inline Bytes Encode(CAudioEncoder& encoder, const std::int16_t* pcm) {
    Bytes packet(static_cast<std::size_t>(encoder.GetMaxPacketSize()));
    const int length = encoder.Encode(pcm, encoder.GetPacketSamples(), packet.data(), encoder.GetMaxPacketSize());
    packet.resize(static_cast<std::size_t>(std::max(length, 0)));
    return packet;
}

/// A voice with a constant part, which a filter would take out.
inline Pcm OffsetVoice(const CodecCase& codec, std::size_t packets, double pitchHz = 120.0) {
    Pcm voice = Voice(static_cast<int>(codec.packetSamples * packets), static_cast<int>(codec.sampleRateHz), pitchHz);
    for (std::int16_t& sample : voice) {
        sample = static_cast<std::int16_t>(sample / 2 + 3000);
    }
    return voice;
}

inline Pcm Part(const Pcm& pcm, std::size_t at, std::size_t count) {
    return Pcm(pcm.begin() + static_cast<std::ptrdiff_t>(at), pcm.begin() + static_cast<std::ptrdiff_t>(at + count));
}

/// A compressor with a codec set, between a source and a sink.
class AudioCompressor : public testing::Test {
protected:
    void SetUp() override {
        HRESULT result = S_OK;
        CUnknown* filter = CAudioCompressor::CreateInstance(nullptr, &result);
        ASSERT_NE(filter, nullptr);
        ASSERT_EQ(result, S_OK);
        m_bench.emplace(filter);
        m_filter = static_cast<CAudioCompressor*>(filter);
        m_control = m_bench->As<IQRN_AudioCompressor>();
        ASSERT_TRUE(m_control);
    }

    void Start(DWORD codec, DWORD channels = 1, unsigned sampleRateHz = 8000) {
        ASSERT_EQ(m_control->SetChannels(channels), S_OK);
        ASSERT_EQ(m_control->SetCodec(codec, 64), S_OK);
        ASSERT_EQ(m_bench->Connect(PcmType(sampleRateHz, channels)), S_OK);
        m_bench->Run();
    }

    std::vector<REFERENCE_TIME> Times() {
        std::vector<REFERENCE_TIME> times;
        for (const Delivered& sample : m_bench->Samples()) {
            times.push_back(sample.start.value_or(-1));
        }
        return times;
    }

    std::optional<CFilterBench> m_bench;
    CAudioCompressor* m_filter = nullptr;
    ComPtr<IQRN_AudioCompressor> m_control;
};

/// The same for each codec.
class AudioCompressorCodec : public AudioCompressor, public testing::WithParamInterface<CodecCase> {
protected:
    void StartCodec(DWORD channels = 1) { Start(GetParam().codec, channels, GetParam().sampleRateHz); }
};

}  // namespace qrn::test
