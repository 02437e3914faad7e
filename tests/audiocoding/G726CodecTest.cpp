#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <memory>

#include "ConformingG726.h"
#include "G726Reference.h"
#include "PeerG726.h"
#include "Signals.h"
#include "audiocoding/CAudioDecoder.h"
#include "audiocoding/CAudioEncoder.h"
#include "audiocoding/g726/CG72xState.h"

namespace {

using qrn::test::Bytes;
using qrn::test::CConformingG726;
using qrn::test::CG726Reference;
using qrn::test::Pcm;
using qrn::test::Random;
using qrn::test::Sine;
using qrn::test::Voice;

constexpr int kG72x = 1;
constexpr int kSamplesPerMinute = 8000 * 60;

Pcm SquareWave(int samples, int halfPeriod) {
    Pcm pcm(static_cast<std::size_t>(samples));
    for (std::size_t i = 0; i < pcm.size(); ++i) {
        pcm[i] = static_cast<std::int16_t>(i / static_cast<std::size_t>(halfPeriod) % 2 != 0 ? 32767 : -32768);
    }
    return pcm;
}

/// Silence, a loud tone and faint noise in turn: the tone's ends are the transitions that the coder looks for.
Pcm Transitions(int samples) {
    Pcm pcm = Sine(samples, 380.0, 8000, 30000.0);
    const Pcm noise = Random<std::int16_t>(pcm.size(), 7);
    for (std::size_t i = 0; i < pcm.size(); ++i) {
        const std::size_t turn = i / 4000 % 3;
        if (turn != 1) {
            pcm[i] = static_cast<std::int16_t>(turn == 0 ? 0 : noise[i] / 256);
        }
    }
    return pcm;
}

struct SignalCase {
    const char* name;
    bool staysInRange;  ///< of every word length inside the coder
    Pcm (*make)();
};
const SignalCase kSignals[] = {
    {"Voice", true, [] { return Voice(3 * kSamplesPerMinute, 8000); }},
    {"Tone", true, [] { return Sine(kSamplesPerMinute, 1004.0, 8000, 12000.0); }},
    {"Noise", true, [] { return Random<std::int16_t>(kSamplesPerMinute, 3); }},
    {"Silence", true, [] { return Pcm(64000); }},
    {"FullScaleSquare", false, [] { return SquareWave(kSamplesPerMinute, 50); }},
    {"FullScaleAlternation", false, [] { return SquareWave(kSamplesPerMinute, 1); }},
    {"ConstantFullScale", false, [] { return Pcm(80000, -32768); }},
    {"Transitions", true, [] { return Transitions(kSamplesPerMinute); }},
};

/// Words of no encoder: runs of one word, which drive the coefficients over their word length, and random ones.
Bytes HostileWords(int bits) {
    Bytes words = Random<std::uint8_t>(kSamplesPerMinute, 11);
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::size_t run = i / 2500;
        words[i] = static_cast<std::uint8_t>((run % 2 != 0 ? words[i] : run / 2) & ((1U << bits) - 1));
    }
    return words;
}

/// Decodes in blocks of changing length, so that the state is put away and taken up again.
Pcm DecodeInBlocks(int bits, const Bytes& words) {
    CG72xState state(bits);
    Pcm pcm(words.size());
    std::size_t block = 1;
    for (std::size_t at = 0; at < words.size(); at += block, block = block % 331 + 1) {
        block = std::min(block, words.size() - at);
        state.Decode(std::span(words).subspan(at, block), std::span(pcm).subspan(at, block));
    }
    return pcm;
}

/// The first sample that differs, -1 for none. What ours limits to 16 bits the peer cuts, which cannot be compared.
std::ptrdiff_t FirstDifference(const Pcm& limited, const Pcm& cut) {
    if (limited.size() != cut.size()) {
        return 0;
    }
    const auto [own, theirs] = std::mismatch(limited.begin(), limited.end(), cut.begin(),
                                             [](int a, int b) { return a == b || a == 32767 || a == -32767; });
    static_cast<void>(theirs);
    return own == limited.end() ? -1 : own - limited.begin();
}

class G726Words : public testing::TestWithParam<int> {};

TEST_P(G726Words, AreThoseOfAnotherConformingCoder) {
    const int bits = GetParam();
    for (const SignalCase& signal : kSignals) {
        SCOPED_TRACE(signal.name);
        const Pcm pcm = signal.make();
        Bytes words(pcm.size());
        CG72xState encoder(bits);
        for (std::size_t at = 0; at < pcm.size(); at += 160) {
            encoder.Encode(std::span(pcm).subspan(at, 160), std::span(words).subspan(at, 160));
        }
        ASSERT_TRUE(words == CConformingG726(bits).Encode(pcm));
        EXPECT_EQ(FirstDifference(DecodeInBlocks(bits, words), CConformingG726(bits).Decode(words)), -1);
    }
}

TEST_P(G726Words, OfNoEncoderGiveTheSamplesOfAnotherConformingCoder) {
    const int bits = GetParam();
    const Bytes words = HostileWords(bits);
    EXPECT_EQ(FirstDifference(DecodeInBlocks(bits, words), CConformingG726(bits).Decode(words)), -1);
}

TEST_P(G726Words, AreCutToTheirBits) {
    const int bits = GetParam();
    const Bytes words = HostileWords(bits);
    Bytes wide = words;
    for (std::uint8_t& word : wide) {
        word = static_cast<std::uint8_t>(word | ~((1U << bits) - 1));
    }
    EXPECT_TRUE(DecodeInBlocks(bits, wide) == DecodeInBlocks(bits, words));
}

TEST_P(G726Words, OfAFullScaleSquareAreLimitedOnBothSidesAlike) {
    const int bits = GetParam();
    const Pcm square = SquareWave(80000, 50);
    Bytes words(square.size());
    CG72xState(bits).Encode(square, words);
    const Pcm heard = DecodeInBlocks(bits, words);
    const auto [lowest, highest] = std::minmax_element(heard.begin(), heard.end());
    EXPECT_EQ(*lowest, -32767);
    EXPECT_EQ(*highest, 32767);
    EXPECT_GT(qrn::test::SignalToNoiseDb(square.data(), heard.data(), square.size()), 6.0);
}
// FFmpeg does not follow the Recommendation to the bit, so its words and samples are not ours. A second coder that does
// follow it gives ours, and gives FFmpeg's with the steps changed that its header tells: nothing else parts the two.
TEST_P(G726Words, DifferFromFfmpegsOnlyByKnownSteps) {
    const int bits = GetParam();
    for (const SignalCase& signal : kSignals) {
        if (!signal.staysInRange) {
            continue;
        }
        SCOPED_TRACE(signal.name);
        const Pcm pcm = signal.make();
        Bytes words(pcm.size());
        CG72xState(bits).Encode(pcm, words);
        CG726Reference plain(bits, false);
        CG726Reference asFfmpeg(bits, true);
        Bytes plainWords(pcm.size());
        Bytes ffmpegWords(pcm.size());
        std::transform(pcm.begin(), pcm.end(), plainWords.begin(), [&](int sample) { return plain.Encode(sample); });
        std::transform(pcm.begin(), pcm.end(), ffmpegWords.begin(),
                       [&](int sample) { return asFfmpeg.Encode(sample); });
        EXPECT_TRUE(plainWords == words);
        EXPECT_TRUE(qrn::test::PackWords(bits, ffmpegWords) == qrn::test::EncodeWithFfmpeg(bits, pcm));

        // Words of its own, since on others it leaves the range in which its arithmetic is that of anyone else.
        CG726Reference decoder(bits, true);
        Pcm samples(ffmpegWords.size());
        std::transform(ffmpegWords.begin(), ffmpegWords.end(), samples.begin(),
                       [&](int word) { return static_cast<std::int16_t>(decoder.Decode(word)); });
        EXPECT_TRUE(samples == qrn::test::DecodeWithFfmpeg(bits, qrn::test::PackWords(bits, ffmpegWords)));
    }
}
INSTANTIATE_TEST_SUITE_P(BitsPerSample, G726Words, testing::Values(2, 3, 4, 5));

struct RateCase {
    const char* name;
    int asked;
    int kbps;
    int packetBytes;
    int byteRate;
};
class G726Rates : public testing::TestWithParam<RateCase> {};

TEST_P(G726Rates, AreSnappedDown) {
    const RateCase& row = GetParam();
    CAudioEncoder encoder(kG72x, row.asked);
    EXPECT_EQ(encoder.GetCodec(), kG72x);
    EXPECT_EQ(encoder.GetBitrate(), row.kbps);
    EXPECT_EQ(encoder.GetSampleRate(), 8000);
    EXPECT_EQ(encoder.GetPacketSamples(), 640);
    EXPECT_EQ(encoder.GetPacketDuration(), 80);
    EXPECT_EQ(encoder.GetMaxPacketSize(), row.packetBytes);
    EXPECT_EQ(encoder.GetByteRate(), row.byteRate);
    CAudioDecoder decoder(kG72x, row.asked);
    EXPECT_EQ(decoder.GetCodec(), kG72x);
    EXPECT_EQ(decoder.GetBitrate(), row.kbps);
    EXPECT_EQ(decoder.GetSampleRate(), 8000);
    EXPECT_EQ(decoder.GetPacketBytes(), 1280);

    const Pcm voice = Voice(640, 8000);
    Bytes packet(500, 0xAB);
    ASSERT_EQ(encoder.Encode(voice.data(), 640, packet.data(), 500), row.packetBytes);
    Pcm pcm(700);
    EXPECT_EQ(decoder.Decode(packet.data(), row.packetBytes, pcm.data(), 1400), 1280);
}
INSTANTIATE_TEST_SUITE_P(Asked, G726Rates,
                         testing::Values(RateCase{"Highest", std::numeric_limits<int>::max(), 40, 400, 5000},
                                         RateCase{"Forty", 40, 40, 400, 5000},
                                         RateCase{"ThirtyNine", 39, 32, 320, 4000},
                                         RateCase{"ThirtyTwo", 32, 32, 320, 4000},
                                         RateCase{"ThirtyOne", 31, 24, 240, 3000},
                                         RateCase{"TwentyFour", 24, 24, 240, 3000},
                                         RateCase{"TwentyThree", 23, 16, 160, 2000}, RateCase{"Zero", 0, 16, 160, 2000},
                                         RateCase{"Negative", std::numeric_limits<int>::min(), 16, 160, 2000}),
                         qrn::test::CaseName{});

Bytes EncodePackets(int kbps, const Pcm& pcm) {
    CAudioEncoder encoder(kG72x, kbps);
    Bytes bytes(pcm.size());
    bytes.resize(static_cast<std::size_t>(
        encoder.Encode(pcm.data(), static_cast<int>(pcm.size()), bytes.data(), static_cast<int>(bytes.size()))));
    return bytes;
}

Pcm DecodePackets(int kbps, const Bytes& bytes) {
    CAudioDecoder decoder(kG72x, kbps);
    Pcm pcm(bytes.size() * 4);
    const int room = static_cast<int>(pcm.size() * sizeof(std::int16_t));
    pcm.resize(
        static_cast<std::size_t>(decoder.Decode(bytes.data(), static_cast<int>(bytes.size()), pcm.data(), room)) /
        sizeof(std::int16_t));
    return pcm;
}

class G726Packets : public testing::TestWithParam<int> {};

TEST_P(G726Packets, AreThoseOfAnotherConformingCoder) {
    const int kbps = GetParam();
    const Pcm voice = Voice(kSamplesPerMinute, 8000);
    const Bytes packets = EncodePackets(kbps, voice);
    ASSERT_EQ(packets.size(), voice.size() * static_cast<std::size_t>(kbps) / 64);
    EXPECT_EQ(FirstDifference(DecodePackets(kbps, packets),
                              CConformingG726(kbps / 8, CConformingG726::Packing::kAsOurs).Decode(packets)),
              -1);
    if (kbps != 24) {
        EXPECT_TRUE(packets == CConformingG726(kbps / 8, CConformingG726::Packing::kAsOurs).Encode(voice));
        return;
    }
    // 159 words and 3 bits of the last sample make a frame; the coder has not seen that sample.
    CConformingG726 peer(3);
    for (std::size_t frame = 0; frame < voice.size() / 160; ++frame) {
        const auto from = voice.begin() + static_cast<std::ptrdiff_t>(frame * 160);
        Bytes words = peer.Encode(Pcm(from, from + 159));
        words.push_back(static_cast<std::uint8_t>(from[159] & 7));
        for (std::size_t bit = 0; bit < 480; ++bit) {
            const int packed = packets[frame * 60 + bit / 8] >> (bit % 8) & 1;
            ASSERT_EQ(packed, words[bit / 3] >> (bit % 3) & 1) << "frame " << frame << ", bit " << bit;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kbps, G726Packets, testing::Values(16, 24, 32, 40));

struct LengthCase {
    const char* name;
    int length;
    int room;
    int written;
};
class G726EncoderLengths : public testing::TestWithParam<LengthCase> {};

TEST_P(G726EncoderLengths, WriteWholeFramesWithinTheRoom) {
    const LengthCase& row = GetParam();
    const Pcm pcm = Voice(std::max(row.length, 0), 8000);
    CAudioEncoder encoder(kG72x, 32);
    Bytes out(1000, 0xAB);
    EXPECT_EQ(encoder.Encode(pcm.data(), row.length, out.data(), row.room), row.written);
    EXPECT_EQ(std::count(out.begin() + row.written, out.end(), 0xAB), 1000 - row.written);
    // A last frame that is not whole is as one that ends in silence.
    Pcm whole = pcm;
    whole.resize((whole.size() + 159) / 160 * 160);
    const Bytes expected = EncodePackets(32, whole);
    EXPECT_TRUE(std::equal(out.begin(), out.begin() + row.written, expected.begin()));
}
INSTANTIATE_TEST_SUITE_P(Edges, G726EncoderLengths,
                         testing::Values(LengthCase{"None", 0, 1000, 0}, LengthCase{"Negative", -1, 1000, 0},
                                         LengthCase{"Packet", 640, 320, 320}, LengthCase{"OneSample", 1, 1000, 80},
                                         LengthCase{"PacketAndOneSample", 641, 1000, 400},
                                         LengthCase{"RoomForThreeFrames", 640, 319, 240},
                                         LengthCase{"NoRoom", 640, 0, 0}, LengthCase{"NegativeRoom", 640, -1, 0}),
                         qrn::test::CaseName{});

class G726DecoderLengths : public testing::TestWithParam<LengthCase> {};

TEST_P(G726DecoderLengths, ReadNothingPastThePacketAndWriteWholeFrames) {
    const LengthCase& row = GetParam();
    Bytes packet = EncodePackets(24, Voice(800, 8000));
    packet.resize(static_cast<std::size_t>(std::max(row.length, 0)));
    // In a block of exactly its size, so that a sanitizer sees the first byte that is read past it.
    const auto data = std::make_unique<std::uint8_t[]>(packet.size());
    std::copy(packet.begin(), packet.end(), data.get());
    CAudioDecoder decoder(kG72x, 24);
    Pcm pcm(1000, 0x5A5A);
    EXPECT_EQ(decoder.Decode(data.get(), row.length, pcm.data(), row.room), row.written);
    const auto kept = row.written / 2;
    EXPECT_EQ(std::count(pcm.begin() + kept, pcm.end(), 0x5A5A), 1000 - kept);
    // What the packet lacks counts as zero.
    packet.resize((packet.size() + 59) / 60 * 60);
    const Pcm expected = DecodePackets(24, packet);
    EXPECT_TRUE(std::equal(pcm.begin(), pcm.begin() + kept, expected.begin()));
}
INSTANTIATE_TEST_SUITE_P(Edges, G726DecoderLengths,
                         testing::Values(LengthCase{"Empty", 0, 1280, 0}, LengthCase{"Negative", -60, 1280, 0},
                                         LengthCase{"Packet", 240, 1280, 1280}, LengthCase{"OneByte", 1, 1280, 320},
                                         LengthCase{"FrameAndOneByte", 61, 1280, 640},
                                         LengthCase{"FiveFrames", 300, 2000, 1600},
                                         LengthCase{"FiveFramesIntoAPacket", 300, 1280, 1280},
                                         LengthCase{"RoomForLessThanAFrame", 240, 319, 0},
                                         LengthCase{"NegativeRoom", 240, -320, 0}),
                         qrn::test::CaseName{});

}  // namespace
