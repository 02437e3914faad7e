#include "client/CMediaFileReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <fstream>
#include <numbers>

#include "client/BuiltInSpeech.h"
#include "client/CWavWriter.h"
#include "client/ClientError.h"
#include "support/TempFolder.h"

namespace qrn {
namespace {

using testing::HasSubstr;
using Repeat = CMediaFileReader::Repeat;

std::vector<std::int16_t> ReadAll(IPcmSource& source, std::size_t blockSamples = 1000) {
    std::vector<std::int16_t> all;
    std::vector<std::int16_t> block(blockSamples);
    while (const std::size_t count = source.Read(block)) {
        all.insert(all.end(), block.begin(), block.begin() + static_cast<std::ptrdiff_t>(count));
    }
    return all;
}

std::vector<std::int16_t> Sine(int rate, int samples, double hz) {
    std::vector<std::int16_t> sine(static_cast<std::size_t>(samples));
    for (std::size_t i = 0; i < sine.size(); ++i) {
        sine[i] = static_cast<std::int16_t>(8000 * std::sin(2 * std::numbers::pi * hz * static_cast<double>(i) / rate));
    }
    return sine;
}

std::string FailureOf(const std::string& path) {
    try {
        CMediaFileReader reader(path, {8000, 1}, Repeat::kOnce);
    } catch (const CClientError& error) {
        EXPECT_EQ(error.Status(), ExitStatus::kFailed);
        EXPECT_THAT(error.what(), HasSubstr(path));
        return error.what();
    }
    return "opened";
}

class MediaFileReader : public testing::Test {
protected:
    std::string WriteWav(PcmFormat format, const std::vector<std::int16_t>& samples) {
        CWavWriter writer(m_folder.File("sound.wav"), format);
        writer.Write(samples);
        writer.Close();
        return m_folder.File("sound.wav");
    }
    std::string Write(const std::string& name, const std::string& content) {
        std::ofstream(m_folder.File(name), std::ios::binary) << content;
        return m_folder.File(name);
    }
    test::CTempFolder m_folder;
};

TEST_F(MediaFileReader, GivesTheSamplesOfAFileUnchanged) {
    std::vector<std::int16_t> samples(2 * 12345);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = static_cast<std::int16_t>(i * 7919);
    }
    CMediaFileReader reader(WriteWav({48000, 2}, samples), {48000, 2}, Repeat::kOnce);
    EXPECT_EQ(ReadAll(reader, 1918), samples);
    std::vector<std::int16_t> more(2);
    EXPECT_EQ(reader.Read(more), 0u) << "the end stays the end";
}

TEST_F(MediaFileReader, ConvertsRateAndChannels) {
    CMediaFileReader reader(WriteWav({48000, 1}, Sine(48000, 48000, 440)), {8000, 2}, Repeat::kOnce);
    const std::vector<std::int16_t> converted = ReadAll(reader);
    ASSERT_NEAR(static_cast<double>(converted.size()), 16000, 4);
    const std::vector<std::int16_t> expected = Sine(8000, 8000, 440);
    for (std::size_t i = 1000; i < 7000; ++i) {
        ASSERT_NEAR(converted[2 * i], expected[i], 200) << i;
        ASSERT_EQ(converted[2 * i], converted[2 * i + 1]) << i;
    }
}

TEST_F(MediaFileReader, RepeatsWithoutASeam) {
    const std::vector<std::int16_t> samples = Sine(8000, 1000, 100);
    CMediaFileReader reader(WriteWav({8000, 1}, samples), {8000, 1}, Repeat::kForEver);
    std::vector<std::int16_t> block(3500);
    ASSERT_EQ(reader.Read(block), block.size());
    for (std::size_t i = 0; i < block.size(); ++i) {
        ASSERT_EQ(block[i], samples[i % samples.size()]) << i;
    }
}

TEST_F(MediaFileReader, ReadsARecordingOfAnotherMaker) {
    CMediaFileReader reader(std::string(kSpeechFolder) + "/Front_Center.wav", {48000, 1}, Repeat::kOnce);
    EXPECT_EQ(ReadAll(reader).size(), 68545u);  // what `ffprobe -show_streams` calls duration_ts
}

TEST_F(MediaFileReader, NamesAMissingFile) {
    EXPECT_THAT(FailureOf(m_folder.File("none.wav")), HasSubstr("No such file or directory"));
}

TEST_F(MediaFileReader, RefusesFoldersAndPipesWithoutWaiting) {
    EXPECT_THAT(FailureOf(m_folder.File("")), HasSubstr("no regular file"));
    ASSERT_EQ(mkfifo(m_folder.File("pipe").c_str(), 0600), 0);
    EXPECT_THAT(FailureOf(m_folder.File("pipe")), HasSubstr("no regular file"));
}

TEST_F(MediaFileReader, TellsAFileThatIsNoMedia) {
    EXPECT_THAT(FailureOf(Write("text.wav", std::string(5000, 'x'))), HasSubstr("no media file"));
    EXPECT_THAT(FailureOf(Write("empty.wav", "")), HasSubstr("cannot read the audio file"));
}

TEST_F(MediaFileReader, TellsAFileWithoutAudio) {
    const std::string video = "YUV4MPEG2 W16 H16 F25:1 Ip A1:1 C420\nFRAME\n" + std::string(16 * 16 * 3 / 2, '\x80');
    EXPECT_THAT(FailureOf(Write("video.y4m", video)), HasSubstr("no audio stream"));
}

TEST_F(MediaFileReader, TellsAFileWhoseSoundCannotBeDecoded) {
    // A FLAC stream by its header, and nothing of use behind it.
    std::string flac("fLaC\x80\0\0\x22\x10\0\x10\0\0\0\0\0\0\0\x0A\xC4\x40\xF0\0\0\0\0", 26);
    flac += std::string(16, '\0') + std::string(3000, '\x55');
    EXPECT_THAT(FailureOf(Write("broken.flac", flac)), HasSubstr("cannot read the audio file"));
}

TEST_F(MediaFileReader, PlaysWhatIsThereOfACutFile) {
    const std::string path = WriteWav({8000, 1}, Sine(8000, 8000, 440));
    std::filesystem::resize_file(path, 44 + 2 * 3000 + 1);
    CMediaFileReader reader(path, {8000, 1}, Repeat::kOnce);
    EXPECT_NEAR(static_cast<double>(ReadAll(reader).size()), 3000, 1);
}

TEST_F(MediaFileReader, DoesNotFollowAPlayListOut) {
    const std::string list = "#EXTM3U\n#EXT-X-TARGETDURATION:10\n#EXTINF:10,\nhttp://127.0.0.1:9/sound.ts\n";
    EXPECT_THAT(FailureOf(Write("list.m3u8", list)), HasSubstr("play list"));
}

TEST(BuiltInSpeech, HasTwoChannelsThatDiffer) {
    const auto stereo = LoadBuiltInSpeech({8000, 2});
    const auto mono = LoadBuiltInSpeech({8000, 1});
    ASSERT_EQ(stereo.size(), 2 * mono.size());
    std::size_t equal = 0;
    for (std::size_t i = 0; i < mono.size(); ++i) {
        ASSERT_EQ(stereo[2 * i], mono[i]);
        equal += stereo[2 * i] == stereo[2 * i + 1];
    }
    EXPECT_LT(equal, mono.size() / 5);
}

TEST(BuiltInSpeech, NamesThePackageWhenItIsMissing) {
    const test::CTempFolder folder;
    try {
        LoadBuiltInSpeech({8000, 1}, folder.File(""));
        FAIL();
    } catch (const CClientError& error) {
        EXPECT_THAT(error.what(), HasSubstr("install the package alsa-utils"));
    }
}

TEST(PcmLoop, GoesRoundAndStaysEmptyWithoutSamples) {
    CPcmLoop loop({8000, 1}, {1, 2, 3});
    std::vector<std::int16_t> block(7);
    EXPECT_EQ(loop.Read(block), 7u);
    EXPECT_EQ(block, (std::vector<std::int16_t>{1, 2, 3, 1, 2, 3, 1}));
    CPcmLoop empty({8000, 1}, {});
    EXPECT_EQ(empty.Read(block), 0u);
}

}  // namespace
}  // namespace qrn
