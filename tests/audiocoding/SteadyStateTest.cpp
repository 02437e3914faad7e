#include <gtest/gtest.h>

#include "CountedNew.h"
#include "FilterBench.h"
#include "Signals.h"
#include "audiocoding/CAudioCompressor.h"
#include "audiocoding/CAudioDeCompressor.h"

namespace {

using qrn::test::Bytes;
using qrn::test::CFilterBench;
using qrn::test::Pcm;
using qrn::test::PcmType;
using qrn::test::Voice;

struct StreamCase {
    const char* name;
    DWORD codec;
    DWORD channels;
    int sampleRateHz;
    int packetSamples;
};
class SteadyState : public testing::TestWithParam<StreamCase> {};

/// The allocations of `push`, done twice to get going and then ten times.
template <class Push>
int AllocationsOf(CFilterBench& bench, Push push) {
    push();
    {
        qrn::test::CAllocationCount count;
        push();
        EXPECT_GT(count.Stop(), 0) << "a sink that keeps its samples allocates";
    }
    bench.Sink().keepsSamples = false;
    qrn::test::CAllocationCount count;
    for (int i = 0; i < 10; ++i) {
        push();
    }
    return count.Stop();
}

TEST_P(SteadyState, AllocatesNothing) {
    const StreamCase& row = GetParam();
    HRESULT result = S_OK;
    CFilterBench compressor(CAudioCompressor::CreateInstance(nullptr, &result));
    const auto control = compressor.As<IQRN_AudioCompressor>();
    ASSERT_EQ(control->SetChannels(row.channels), S_OK);
    ASSERT_EQ(control->SetCodec(row.codec, 64), S_OK);
    ASSERT_EQ(compressor.Connect(PcmType(static_cast<unsigned>(row.sampleRateHz), row.channels)), S_OK);
    compressor.Run();
    const Pcm voice = Voice(row.packetSamples * static_cast<int>(row.channels), row.sampleRateHz);
    EXPECT_EQ(AllocationsOf(compressor, [&] { compressor.Push(voice); }), 0);
    EXPECT_EQ(compressor.Sink().count, 12);

    const Bytes packet = compressor.Samples().back().data;
    AM_MEDIA_TYPE offered{};
    ASSERT_EQ(compressor.OutputPin()->ConnectionMediaType(&offered), S_OK);
    const CMediaType coded(offered);
    FreeMediaType(offered);
    CFilterBench decompressor(CAudioDeCompressor::CreateInstance(nullptr, &result));
    ASSERT_EQ(decompressor.ConnectInput(coded), S_OK);
    ASSERT_EQ(decompressor.As<IQRN_AudioDeCompressor>()->SetChannelMode(2), S_OK);
    ASSERT_EQ(decompressor.ConnectOutput(), S_OK);
    decompressor.Run();
    EXPECT_EQ(AllocationsOf(decompressor, [&] { decompressor.Push(packet); }), 0);
    EXPECT_EQ(decompressor.Sink().count, 12);
}
INSTANTIATE_TEST_SUITE_P(
    Streams, SteadyState,
    testing::Values(StreamCase{"GsmMono", 0, 1, 8000, 640}, StreamCase{"G72xStereo", 1, 2, 8000, 640},
                    StreamCase{"SpeexMono", 2, 1, 8000, 640}, StreamCase{"SpeexHqStereo", 3, 2, 32000, 2560},
                    StreamCase{"Mp3Mono", 4, 1, 32000, 2304}, StreamCase{"Mp3Stereo", 4, 2, 32000, 2304},
                    StreamCase{"OpusStereo", 5, 2, 48000, 1920}),
    qrn::test::CaseName{});

}  // namespace
