#include <gtest/gtest.h>
#include <speex/speex.h>
#include <speex/speex_header.h>

#include <cfenv>
#include <memory>
#include <string>

#include "PeerDecoder.h"
#include "Signals.h"
#include "audiocoding/CAudioDecoder.h"
#include "audiocoding/CAudioEncoder.h"

namespace {

using qrn::test::Bytes;
using qrn::test::Pcm;
using qrn::test::Voice;

constexpr int kNarrow = 2;
constexpr int kWide = 3;
constexpr std::int16_t kUntouched = 0x5A5A;

int FrameSamples(int codec) {
    return codec == kNarrow ? 160 : 640;
}

const SpeexMode* ModeOf(int codec) {
    return codec == kNarrow ? &speex_nb_mode : &speex_uwb_mode;
}

/// The library by itself, fed through its own copy of each frame.
class CBareDecoder {
public:
    explicit CBareDecoder(int codec) : m_frameSamples(FrameSamples(codec)), m_state(speex_decoder_init(ModeOf(codec))) {
        int enhance = 1;
        speex_decoder_ctl(m_state, SPEEX_SET_ENH, &enhance);
        speex_bits_init(&m_bits);
    }
    ~CBareDecoder() {
        speex_bits_destroy(&m_bits);
        speex_decoder_destroy(m_state);
    }
    CBareDecoder(const CBareDecoder&) = delete;
    CBareDecoder& operator=(const CBareDecoder&) = delete;

    Pcm Decode(const Bytes& packet, std::size_t frameBytes) {
        Pcm pcm;
        for (std::size_t at = 0; at < packet.size(); at += frameBytes) {
            speex_bits_read_from(&m_bits, reinterpret_cast<const char*>(packet.data() + at),
                                 static_cast<int>(frameBytes));
            Pcm frame(static_cast<std::size_t>(m_frameSamples));
            EXPECT_EQ(speex_decode_int(m_state, &m_bits, frame.data()), 0);
            pcm.insert(pcm.end(), frame.begin(), frame.end());
        }
        return pcm;
    }

private:
    const int m_frameSamples;
    void* m_state;
    SpeexBits m_bits{};
};

Bytes EncodePacket(CAudioEncoder& encoder, const Pcm& voice, std::size_t at) {
    Bytes packet(static_cast<std::size_t>(encoder.GetMaxPacketSize()));
    packet.resize(static_cast<std::size_t>(
        encoder.Encode(voice.data() + at, encoder.GetPacketSamples(), packet.data(), encoder.GetMaxPacketSize())));
    return packet;
}

Pcm DecodePacket(CAudioDecoder& decoder, const Bytes& packet) {
    Pcm pcm(static_cast<std::size_t>(decoder.GetPacketBytes()) / 2, kUntouched);
    EXPECT_EQ(decoder.Decode(packet.data(), static_cast<int>(packet.size()), pcm.data(), decoder.GetPacketBytes()),
              decoder.GetPacketBytes());
    return pcm;
}

struct RateCase {
    int codec;
    int asked;
    int bitrate;
    int frameBytes;
};
class SpeexRates : public testing::TestWithParam<RateCase> {};

TEST_P(SpeexRates, SnapAndAreLearntFromTheByteRate) {
    const RateCase& row = GetParam();
    CAudioEncoder encoder(row.codec, row.asked);
    EXPECT_EQ(encoder.GetBitrate(), row.bitrate);
    EXPECT_EQ(encoder.GetMaxPacketSize(), row.frameBytes * 4);
    EXPECT_EQ(encoder.GetByteRate(), row.frameBytes * 50);
    // What a media type carries to the far end, and what that makes of it.
    CAudioDecoder decoder(row.codec, (8 * encoder.GetByteRate() + 500) / 1000);
    EXPECT_EQ(decoder.GetBitrate(), row.bitrate);
    CBareDecoder bare(row.codec);
    const int samples = encoder.GetPacketSamples();
    const Pcm voice = Voice(samples * 12, encoder.GetSampleRate());
    for (std::size_t at = 0; at < voice.size(); at += static_cast<std::size_t>(samples)) {
        const Bytes packet = EncodePacket(encoder, voice, at);
        ASSERT_EQ(packet.size(), static_cast<std::size_t>(row.frameBytes) * 4);
        ASSERT_EQ(DecodePacket(decoder, packet), bare.Decode(packet, static_cast<std::size_t>(row.frameBytes)));
    }
}
INSTANTIATE_TEST_SUITE_P(
    Edges, SpeexRates,
    testing::Values(RateCase{2, 2147483647, 25, 62}, RateCase{2, 25, 25, 62}, RateCase{2, 24, 15, 38},
                    RateCase{2, 15, 15, 38}, RateCase{2, 14, 11, 28}, RateCase{2, 11, 11, 28}, RateCase{2, 10, 8, 20},
                    RateCase{2, 8, 8, 20}, RateCase{2, 7, 6, 15}, RateCase{2, 6, 6, 15}, RateCase{2, 5, 4, 10},
                    RateCase{2, 4, 4, 10}, RateCase{2, 3, 2, 6}, RateCase{2, -2147483647 - 1, 2, 6},
                    RateCase{3, 2147483647, 44, 110}, RateCase{3, 44, 44, 110}, RateCase{3, 43, 36, 90},
                    RateCase{3, 36, 36, 90}, RateCase{3, 35, 30, 74}, RateCase{3, 30, 30, 74}, RateCase{3, 29, 26, 64},
                    RateCase{3, 26, 26, 64}, RateCase{3, 25, 23, 56}, RateCase{3, 22, 23, 56}, RateCase{3, 21, 19, 47},
                    RateCase{3, 18, 19, 47}, RateCase{3, 17, 15, 37}, RateCase{3, 15, 15, 37}, RateCase{3, 14, 12, 29},
                    RateCase{3, 12, 12, 29}, RateCase{3, 11, 8, 19}, RateCase{3, 0, 8, 19}),
    [](const auto& test) {
        const auto asked = std::to_string(test.param.asked);
        return (test.param.codec == kNarrow ? "Narrow" : "Wide") +
               (asked[0] == '-' ? "Minus" + asked.substr(1) : asked);
    });

TEST(SpeexCodec, IsHeardAlikeByAnotherDecoder) {
    // FFmpeg's ultra-wideband differs by itself from the library that defines the format, so narrowband only.
    SpeexHeader header;
    speex_init_header(&header, 8000, 1, &speex_nb_mode);
    header.frames_per_packet = 1;
    int headerBytes = 0;
    const std::unique_ptr<char, void (*)(void*)> text(speex_header_to_packet(&header, &headerBytes), speex_header_free);
    qrn::test::CPeerDecoder peer("speex", 8000, Bytes(text.get(), text.get() + headerBytes));
    ASSERT_TRUE(peer.IsOpen());
    CAudioEncoder encoder(kNarrow, 25);
    CAudioDecoder decoder(kNarrow, 25);
    const Pcm voice = Voice(640 * 50, 8000);
    Pcm own;
    Pcm theirs;
    for (std::size_t at = 0; at < voice.size(); at += 640) {
        const Bytes packet = EncodePacket(encoder, voice, at);
        const Pcm pcm = DecodePacket(decoder, packet);
        own.insert(own.end(), pcm.begin(), pcm.end());
        for (std::size_t frame = 0; frame < packet.size(); frame += 62) {
            const Pcm other = peer.Decode(std::span(packet).subspan(frame, 62));
            theirs.insert(theirs.end(), other.begin(), other.end());
        }
    }
    ASSERT_EQ(theirs.size(), own.size());
    EXPECT_GT(qrn::test::SignalToNoiseDb(own.data(), theirs.data(), own.size()), 60.0);
    // The waveform is not kept, the loudness is: 3 of the 30 dB that the meter shows.
    const auto level = [](const Pcm& pcm) { return CAudioEncoder::GetLevel(pcm.data(), static_cast<int>(pcm.size())); };
    EXPECT_NEAR(level(own), level(voice), 3277);
}

struct CutCase {
    int codec;
    int bytes;
};
class SpeexCutPacket : public testing::TestWithParam<CutCase> {};

TEST_P(SpeexCutPacket, CountsMissingBytesAsZero) {
    const auto [codec, bytes] = GetParam();
    CAudioEncoder encoder(codec, 15);
    const Bytes packet = EncodePacket(encoder, Voice(encoder.GetPacketSamples(), encoder.GetSampleRate()), 0);
    const int frameBytes = encoder.GetMaxPacketSize() / 4;
    const int frames = (bytes + frameBytes - 1) / frameBytes;
    Bytes padded(packet.begin(), packet.begin() + bytes);
    padded.resize(static_cast<std::size_t>(frames * frameBytes));
    const auto cut = std::make_unique<std::uint8_t[]>(static_cast<std::size_t>(bytes));
    std::copy_n(packet.begin(), bytes, cut.get());
    CAudioDecoder ofCut(codec, 15);
    CAudioDecoder ofPadded(codec, 15);
    const auto samples = static_cast<std::size_t>(frames * FrameSamples(codec));
    Pcm got(samples + 1, kUntouched);
    Pcm expected(samples + 1, kUntouched);
    const int room = static_cast<int>(samples * 2);
    EXPECT_EQ(ofCut.Decode(cut.get(), bytes, got.data(), 100000), room);
    EXPECT_EQ(ofPadded.Decode(padded.data(), static_cast<int>(padded.size()), expected.data(), 100000), room);
    EXPECT_EQ(got, expected);
    EXPECT_EQ(got.back(), kUntouched);
    // A room that ends within a frame leaves that frame out.
    EXPECT_EQ(ofCut.Decode(cut.get(), bytes, got.data(), room - 2), room - FrameSamples(codec) * 2);
}
INSTANTIATE_TEST_SUITE_P(Lengths, SpeexCutPacket,
                         testing::Values(CutCase{2, 1}, CutCase{2, 37}, CutCase{2, 39}, CutCase{2, 152}, CutCase{3, 1},
                                         CutCase{3, 36}, CutCase{3, 75}, CutCase{3, 148}),
                         [](const auto& test) {
                             return "Id" + std::to_string(test.param.codec) + "Bytes" +
                                    std::to_string(test.param.bytes);
                         });

struct FrameCase {
    const char* name;
    int codec;
    std::string bits;  ///< of a frame of 20 (narrowband) or 64 bytes, from its first on; zeros follow
    bool isSpeech;
};
const std::string kLayer = "1001" + std::string(32, '0');

class SpeexOddFrame : public testing::TestWithParam<FrameCase> {};

TEST_P(SpeexOddFrame, IsSpeechOrSilenceButNeverNews) {
    const FrameCase& row = GetParam();
    Bytes frame(row.codec == kNarrow ? 20 : 64);
    std::string bits = row.bits;
    std::erase(bits, ' ');
    for (std::size_t i = 0; i < bits.size(); ++i) {
        frame[i / 8] = static_cast<std::uint8_t>(frame[i / 8] | (bits[i] - '0') << (7 - i % 8));
    }
    CAudioEncoder encoder(row.codec, row.codec == kNarrow ? 8 : 26);
    CAudioDecoder decoder(row.codec, encoder.GetBitrate());
    const Pcm voice = Voice(encoder.GetPacketSamples(), encoder.GetSampleRate());
    Pcm pcm = DecodePacket(decoder, EncodePacket(encoder, voice, 0));
    testing::internal::CaptureStderr();
    const int frameSamples = FrameSamples(row.codec);
    EXPECT_EQ(decoder.Decode(frame.data(), static_cast<int>(frame.size()), pcm.data(), frameSamples * 2),
              frameSamples * 2);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    pcm.resize(static_cast<std::size_t>(frameSamples));
    EXPECT_EQ(pcm != Pcm(pcm.size()), row.isSpeech);
    EXPECT_NE(DecodePacket(decoder, EncodePacket(encoder, voice, 0)), Pcm(voice.size())) << "and it goes on";
}
// A mode of the frame is 4 bits behind a 0, one of a wideband layer 3 bits behind a 1; layers are 4, 36, 112, 192 and
// 352 bits long (Speex codec manual, section 9). Mode 3 fills the narrowband frame.
INSTANTIATE_TEST_SUITE_P(
    Frames, SpeexOddFrame,
    testing::Values(FrameCase{"Mode3", 2, "00011", true}, FrameCase{"EndOfStream", 2, "01111", false},
                    FrameCase{"NoSuchMode", 2, "01001", false}, FrameCase{"NoSuchModeEither", 2, "01100", false},
                    FrameCase{"LayerBefore", 2, kLayer + "00011", true},
                    FrameCase{"TwoLayersBefore", 2, kLayer + kLayer + "00011", true},
                    FrameCase{"ThreeLayersBefore", 2, kLayer + kLayer + kLayer + "00011", false},
                    FrameCase{"ThirdLayerInTheLastBits", 2, "01110 0000 0 1010" + std::string(108, '0') + kLayer + "11",
                              false},
                    FrameCase{"EmptyLayerBefore", 2, "1000 00011", false},
                    FrameCase{"NoSuchLayerBefore", 2, "1101 00011", false},
                    FrameCase{"NoSuchModeBehindALayer", 2, kLayer + "01001", false},
                    FrameCase{"MessageBefore", 2, "01110 0000 0 00011", true},
                    FrameCase{"LongMessageBefore", 2, "01110 0010 0000 00011", true},
                    FrameCase{"NoSuchModeBehindAMessage", 2, "01110 0000 0 01001", false},
                    FrameCase{"UserMessageBefore", 2, "01101 0001 0000000000000 00011", true},
                    FrameCase{"WideEmptyFrame", 3, "00000", true}, FrameCase{"WideNoSuchLayer", 3, "00000 1101", false},
                    FrameCase{"WideNoSuchTopLayer", 3, "00000 1000 1010", false}),
    qrn::test::CaseName{});

TEST(SpeexCodec, MasksFloatingPointExceptionsOfAHost) {
    std::fenv_t before;
    ASSERT_EQ(std::fegetenv(&before), 0);
    feenableexcept(FE_DIVBYZERO);
    CAudioEncoder encoder(kNarrow, 15);
    EXPECT_EQ(fegetexcept() & (FE_DIVBYZERO | FE_UNDERFLOW), 0);
    feenableexcept(FE_UNDERFLOW);
    CAudioDecoder decoder(kWide, 15);
    EXPECT_EQ(fegetexcept() & (FE_DIVBYZERO | FE_UNDERFLOW), 0);
    std::fesetenv(&before);
}

}  // namespace
