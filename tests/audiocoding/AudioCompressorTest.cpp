#include "AudioCompressorFixture.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>

#include "MemoryStream.h"
#include "platform/com/TaskMemory.h"

namespace {

using qrn::ComPtr;
using qrn::test::AudioCompressor;
using qrn::test::Bytes;
using qrn::test::CMemoryStream;
using qrn::test::Delivered;
using qrn::test::kGsm;
using qrn::test::kMs;
using qrn::test::kOpus;
using qrn::test::PcmType;
using qrn::test::Voice;

TEST_F(AudioCompressor, StartsWithFieldsAndEncoderThatDisagree) {
    DWORD codec = 0;
    LONG bitrate = 0;
    DWORD channels = 0;
    DWORD packetBytes = 0;
    EXPECT_EQ(m_control->GetCodec(&codec), S_OK);
    EXPECT_EQ(m_control->GetBitrate(&bitrate), S_OK);
    EXPECT_EQ(m_control->GetChannels(&channels), S_OK);
    EXPECT_EQ(m_control->GetInputPacketBytes(&packetBytes), S_OK);
    EXPECT_EQ(codec, 3U);
    EXPECT_EQ(bitrate, 44);
    EXPECT_EQ(channels, 1U);
    EXPECT_EQ(packetBytes, 1280U) << "of the encoder made at first, which is GSM";
}

TEST_F(AudioCompressor, RefusesWrongArguments) {
    EXPECT_EQ(m_control->SetChannels(0), E_INVALIDARG);
    EXPECT_EQ(m_control->SetChannels(3), E_INVALIDARG);
    EXPECT_EQ(m_control->SetCodec(6, 32), E_FAIL);
    LONG level = 0;
    EXPECT_EQ(m_control->GetLevel(nullptr, 0), E_INVALIDARG);
    EXPECT_EQ(m_control->GetLevel(&level, 2), E_INVALIDARG);
    EXPECT_EQ(m_control->GetInputPacketBytes(nullptr), E_INVALIDARG);
}

TEST_F(AudioCompressor, IsNotChangedWhileConnected) {
    ASSERT_EQ(m_control->SetCodec(kGsm, 64), S_OK);
    ASSERT_EQ(m_bench->ConnectInput(PcmType(8000, 1)), S_OK);
    EXPECT_EQ(m_control->SetCodec(kOpus, 32), E_FAIL);
    EXPECT_EQ(m_control->SetChannels(2), E_FAIL);
    EXPECT_EQ(m_control->SetChannels(3), E_INVALIDARG);
    DWORD codec = 9;
    LONG bitrate = 0;
    m_control->GetCodec(&codec);
    m_control->GetBitrate(&bitrate);
    EXPECT_EQ(codec, kGsm);
    EXPECT_EQ(bitrate, 13);
}

struct InputCase {
    const char* name;
    unsigned sampleRateHz;
    unsigned channels;
    WORD bits;
    HRESULT result;
};
class AudioCompressorInput : public AudioCompressor, public testing::WithParamInterface<InputCase> {};

TEST_P(AudioCompressorInput, MustFitTheEncoder) {
    const InputCase& row = GetParam();
    m_control->SetCodec(kGsm, 13);
    CMediaType type = PcmType(row.sampleRateHz, row.channels);
    const WORD bits = row.bits;
    std::memcpy(type.Format() + offsetof(WAVEFORMATEX, wBitsPerSample), &bits, sizeof(bits));
    EXPECT_EQ(m_filter->CheckInputType(&type), row.result);
}
INSTANTIATE_TEST_SUITE_P(Types, AudioCompressorInput,
                         testing::Values(InputCase{"Fits", 8000, 1, 16, S_OK},
                                         InputCase{"OtherRate", 16000, 1, 16, VFW_E_TYPE_NOT_ACCEPTED},
                                         InputCase{"Stereo", 8000, 2, 16, VFW_E_TYPE_NOT_ACCEPTED},
                                         InputCase{"EightBits", 8000, 1, 8, VFW_E_TYPE_NOT_ACCEPTED}),
                         qrn::test::CaseName{});

TEST_F(AudioCompressor, RefusesTypesThatAreNoWaveFormat) {
    CMediaType video = PcmType(8000, 1);
    video.SetType(&MEDIATYPE_Video);
    EXPECT_EQ(m_filter->CheckInputType(&video), VFW_E_TYPE_NOT_ACCEPTED);
    CMediaType bare;
    bare.SetType(&MEDIATYPE_Audio);
    EXPECT_EQ(m_filter->CheckInputType(&bare), E_OUTOFMEMORY);
    BYTE tooShort[4] = {};
    bare.SetFormat(tooShort, sizeof(tooShort));
    EXPECT_EQ(m_filter->CheckInputType(&bare), VFW_E_TYPE_NOT_ACCEPTED);
}

struct OutputCase {
    const char* name;
    DWORD codec;
    DWORD channels;
    unsigned sampleRateHz;
    WAVEFORMATEX format;
    GUID subtype;
    LONG bufferBytes;
    DWORD inputBytes;
};
class AudioCompressorOutput : public AudioCompressor, public testing::WithParamInterface<OutputCase> {};

TEST_P(AudioCompressorOutput, AnnouncesTheStream) {
    const OutputCase& row = GetParam();
    ASSERT_EQ(m_control->SetChannels(row.channels), S_OK);
    ASSERT_EQ(m_control->SetCodec(row.codec, 64), S_OK);
    ASSERT_EQ(m_bench->Connect(PcmType(row.sampleRateHz, row.channels)), S_OK);
    AM_MEDIA_TYPE connected{};
    ASSERT_EQ(m_bench->OutputPin()->ConnectionMediaType(&connected), S_OK);
    EXPECT_EQ(connected.majortype, MEDIATYPE_Audio);
    EXPECT_EQ(connected.subtype, row.subtype);
    EXPECT_EQ(connected.formattype, FORMAT_WaveFormatEx);
    ASSERT_EQ(connected.cbFormat, 18U);
    EXPECT_EQ(std::memcmp(connected.pbFormat, &row.format, 18), 0);
    CoTaskMemFree(connected.pbFormat);

    DWORD inputBytes = 0;
    EXPECT_EQ(m_control->GetInputPacketBytes(&inputBytes), S_OK);
    EXPECT_EQ(inputBytes, row.inputBytes);
    const auto out = m_bench->OutputSample();
    ASSERT_TRUE(out);
    EXPECT_EQ(out->GetSize(), row.bufferBytes);

    CMediaType type;
    EXPECT_EQ(m_filter->GetMediaType(-1, &type), E_INVALIDARG);
    EXPECT_EQ(m_filter->GetMediaType(1, &type), VFW_S_NO_MORE_ITEMS);
}
INSTANTIATE_TEST_SUITE_P(
    Streams, AudioCompressorOutput,
    testing::Values(
        OutputCase{"Gsm", 0, 1, 8000, {14212, 1, 1650, 1650, 1, 8, 0}, MEDIASUBTYPE_QRN_GSM, 132, 1280},
        OutputCase{"GsmStereo", 0, 2, 8000, {14212, 2, 1650, 3300, 2, 8, 0}, MEDIASUBTYPE_QRN_GSM, 264, 2560},
        OutputCase{"Speex", 2, 1, 8000, {14214, 1, 3100, 3100, 1, 8, 0}, MEDIASUBTYPE_QRN_SPEEX, 248, 1280},
        OutputCase{
            "SpeexHqStereo", 3, 2, 32000, {14215, 2, 5500, 11000, 2, 8, 0}, MEDIASUBTYPE_QRN_SPEEX_HQ, 880, 10240},
        OutputCase{"Mp3", 4, 1, 32000, {14216, 1, 64000, 64000, 1, 8, 0}, MEDIASUBTYPE_QRN_MP3, 4608, 4608},
        OutputCase{"Mp3Stereo", 4, 2, 32000, {14216, 2, 64000, 128000, 2, 8, 0}, MEDIASUBTYPE_QRN_MP3, 9216, 9216},
        OutputCase{"Opus", 5, 1, 48000, {14217, 1, 0, 0, 1, 8, 0}, MEDIASUBTYPE_QRN_OPUS, 3840, 3840},
        OutputCase{"OpusStereo", 5, 2, 48000, {14217, 2, 0, 0, 2, 8, 0}, MEDIASUBTYPE_QRN_OPUS, 7680, 7680}),
    qrn::test::CaseName{});

/// A stream as a compressor with these settings saves it.
ComPtr<CMemoryStream> SavedSettings(std::uint8_t channels, std::uint8_t codec) {
    auto stream = CMemoryStream::Create();
    for (const char character : std::string("00000000001 ")) {
        stream->bytes.push_back(static_cast<std::uint8_t>(character));
        stream->bytes.push_back(0);
    }
    const Bytes settings{channels, 0, 0, 0, codec, 0, 0, 0, 64, 0, 0, 0};
    stream->bytes.insert(stream->bytes.end(), settings.begin(), settings.end());
    return stream;
}

TEST_F(AudioCompressor, PersistsItsSettings) {
    auto persist = m_bench->As<IPersistStream>();
    ASSERT_TRUE(persist);
    ULONGLONG size = 0;
    EXPECT_EQ(persist->GetSizeMax(&size), S_OK);
    EXPECT_EQ(size, 28U);
    const auto stream = CMemoryStream::Create();
    ASSERT_EQ(persist->Save(stream.Get(), TRUE), S_OK);
    const Bytes expected{'0', 0, '0', 0, '0', 0, '0', 0, '0', 0, '0', 0, '0', 0, '0', 0, '0', 0,
                         '0', 0, '1', 0, ' ', 0, 1,   0, 0,   0, 3,   0, 0,   0, 44,  0, 0,   0};
    EXPECT_EQ(stream->bytes, expected);
}

struct LoadCase {
    const char* name;
    Bytes tail;  ///< what follows the version text
    char version;
    HRESULT result;
    DWORD codec;
    DWORD channels;
    LONG bitrate;
};
class AudioCompressorLoad : public AudioCompressor, public testing::WithParamInterface<LoadCase> {};

TEST_P(AudioCompressorLoad, TakesWholeAndValidSettingsOnly) {
    const LoadCase& row = GetParam();
    auto persist = m_bench->As<IPersistStream>();
    const auto stream = SavedSettings(1, kGsm);
    stream->bytes.resize(24);
    stream->bytes[20] = static_cast<std::uint8_t>(row.version);
    stream->bytes.insert(stream->bytes.end(), row.tail.begin(), row.tail.end());
    EXPECT_EQ(persist->Load(stream.Get()), row.result);
    DWORD codec = 0;
    DWORD channels = 0;
    LONG bitrate = 0;
    m_control->GetCodec(&codec);
    m_control->GetChannels(&channels);
    m_control->GetBitrate(&bitrate);
    EXPECT_EQ(codec, row.codec);
    EXPECT_EQ(channels, row.channels);
    EXPECT_EQ(bitrate, row.bitrate);
}
INSTANTIATE_TEST_SUITE_P(
    Streams, AudioCompressorLoad,
    testing::Values(LoadCase{"Opus", {2, 0, 0, 0, 5, 0, 0, 0, 96, 0, 0, 0}, '1', S_OK, 5, 2, 96},
                    LoadCase{"OtherVersion", {2, 0, 0, 0, 5, 0, 0, 0, 96, 0, 0, 0}, '2', E_FAIL, 3, 1, 44},
                    LoadCase{"Short", {2, 0, 0, 0, 5, 0, 0, 0, 96, 0, 0}, '1', E_FAIL, 3, 1, 44},
                    LoadCase{"NoSuchChannels", {3, 0, 0, 0, 5, 0, 0, 0, 96, 0, 0, 0}, '1', E_INVALIDARG, 3, 1, 44},
                    LoadCase{"NoSuchCodec", {2, 0, 0, 0, 6, 0, 0, 0, 96, 0, 0, 0}, '1', E_INVALIDARG, 3, 1, 44}),
    qrn::test::CaseName{});

TEST_F(AudioCompressor, OutlastsALoadInMidStream) {
    Start(kGsm);
    const auto stream = SavedSettings(2, kOpus);
    ASSERT_EQ(m_bench->As<IPersistStream>()->Load(stream.Get()), S_OK);
    // Packets of the new encoder do not fit the buffers any more, and the right encoder is missing.
    EXPECT_EQ(m_bench->Push(Voice(1920 * 4, 48000)), S_OK);
    EXPECT_EQ(m_bench->Push(Voice(1920 * 4, 48000)), S_OK);
    for (const Delivered& sample : m_bench->Samples()) {
        EXPECT_LE(sample.data.size(), 132U);
    }
}

TEST_F(AudioCompressor, IsSetByAHostWhileItRuns) {
    Start(kGsm);
    std::atomic<bool> isDone = false;
    std::thread host([&] {
        const auto persist = m_bench->As<IPersistStream>();
        for (bool mute = false; !isDone; mute = !mute) {
            LONG level = 0;
            DWORD value = 0;
            m_control->SetMute(mute);
            m_control->SetUseSampleTimes(mute);
            m_control->GetLevel(&level, 0);
            m_control->GetInputPacketBytes(&value);
            m_control->SetCodec(kOpus, 64);
            persist->Load(SavedSettings(1, kGsm).Get());
        }
    });
    for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(m_bench->Push(Voice(640, 8000), i * 80 * kMs), S_OK);
    }
    isDone = true;
    host.join();
    m_control->SetMute(false);
    const std::size_t before = m_bench->Samples().size();
    EXPECT_EQ(m_bench->Push(Voice(640, 8000)), S_OK);
    EXPECT_GT(m_bench->Samples().size(), before);
}

TEST_F(AudioCompressor, NamesItsPageAndIsOneObject) {
    auto pages = m_bench->As<ISpecifyPropertyPages>();
    ASSERT_TRUE(pages);
    CAUUID ids{};
    ASSERT_EQ(pages->GetPages(&ids), S_OK);
    const qrn::TaskMemoryPtr<GUID> owned(ids.pElems);
    ASSERT_EQ(ids.cElems, 1U);
    EXPECT_EQ(ids.pElems[0], CLSID_QRN_AudioCompressorPage);
    EXPECT_EQ(pages->GetPages(nullptr), E_POINTER);
    CLSID id{};
    EXPECT_EQ(m_bench->As<IPersistStream>()->GetClassID(&id), S_OK);
    EXPECT_EQ(id, CLSID_QRN_AudioCompressor);
    EXPECT_EQ(pages.As<IUnknown>(), m_control.As<IUnknown>());
}

}  // namespace
