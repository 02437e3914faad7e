#include "platform/sound/CWavFileSink.h"

#include <SDL.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <numeric>

#include "support/TempFolder.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr qrn::SoundFormat kFormat{8000, 2};

Bytes Ramp(std::size_t count, std::uint8_t first = 0) {
    Bytes bytes(count);
    std::iota(bytes.begin(), bytes.end(), first);
    return bytes;
}

/// Read by SDL's WAVE reader, which is not ours.
struct Wave {
    SDL_AudioSpec spec{};
    Bytes bytes;
    bool valid = false;
};

Wave Load(const std::string& path) {
    Wave wave;
    Uint8* data = nullptr;
    Uint32 length = 0;
    if (SDL_LoadWAV(path.c_str(), &wave.spec, &data, &length) != nullptr) {
        wave.valid = true;
        wave.bytes.assign(data, data + length);
        SDL_FreeWAV(data);
    }
    return wave;
}

class WavFileSink : public testing::Test {
protected:
    qrn::test::CTempFolder m_folder;
    const std::string m_path = m_folder.File("out.wav");
};

TEST_F(WavFileSink, AnotherReaderFindsFormatAndBytesInOrder) {
    qrn::CWavFileSink sink(m_path);
    ASSERT_EQ(sink.Open(kFormat), std::nullopt);
    EXPECT_TRUE(sink.Write(Ramp(400)));
    EXPECT_TRUE(sink.Write(Ramp(200, 7)));
    sink.Close();
    const Wave wave = Load(m_path);
    ASSERT_TRUE(wave.valid);
    EXPECT_EQ(wave.spec.freq, 8000);
    EXPECT_EQ(wave.spec.channels, 2);
    EXPECT_EQ(wave.spec.format, AUDIO_S16LSB);
    Bytes expected = Ramp(400);
    const Bytes more = Ramp(200, 7);
    expected.insert(expected.end(), more.begin(), more.end());
    EXPECT_EQ(wave.bytes, expected);
}

TEST_F(WavFileSink, AFileThatWasNeverClosedReadsUpToItsLastSecond) {
    qrn::CWavFileSink sink(m_path);
    ASSERT_EQ(sink.Open(kFormat), std::nullopt);
    const Bytes second(kFormat.BytesPerSecond(), 5);
    sink.Write(second);
    sink.Write(Ramp(400));
    std::filesystem::copy_file(m_path, m_folder.File("copy.wav"));
    const Wave wave = Load(m_folder.File("copy.wav"));
    ASSERT_TRUE(wave.valid);
    EXPECT_EQ(wave.bytes, second);
}

TEST_F(WavFileSink, ReplacesAnOldFile) {
    std::ofstream(m_path) << std::string(10000, 'x');
    qrn::CWavFileSink sink(m_path);
    ASSERT_EQ(sink.Open(kFormat), std::nullopt);
    sink.Write(Ramp(8));
    sink.Close();
    EXPECT_EQ(std::filesystem::file_size(m_path), 44U + 8U);
}

TEST_F(WavFileSink, OneWriterAtATime) {
    qrn::CWavFileSink first(m_path);
    ASSERT_EQ(first.Open(kFormat), std::nullopt);
    first.Write(Ramp(40));
    qrn::CWavFileSink second(m_path);
    EXPECT_NE(second.Open(kFormat), std::nullopt);
    first.Close();
    EXPECT_EQ(Load(m_path).bytes, Ramp(40)) << "the refused one left the file alone";
    EXPECT_EQ(second.Open(kFormat), std::nullopt);
}

TEST_F(WavFileSink, RefusesWhatIsNoFile) {
    EXPECT_NE(qrn::CWavFileSink("").Open(kFormat), std::nullopt);
    EXPECT_NE(qrn::CWavFileSink(m_folder.File("none/out.wav")).Open(kFormat), std::nullopt);
    EXPECT_NE(qrn::CWavFileSink(m_folder.File("")).Open(kFormat), std::nullopt);
    const std::string pipe = m_folder.File("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_NE(qrn::CWavFileSink(pipe).Open(kFormat), std::nullopt);
}

TEST_F(WavFileSink, GoesOnAtItsEndAfterTheDiskWasFull) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit old{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    qrn::CWavFileSink sink(m_path);
    ASSERT_EQ(sink.Open(kFormat), std::nullopt);
    EXPECT_TRUE(sink.Write(Ramp(100)));
    // The limit stands for the full disk: half of the next piece still fits.
    const rlimit full{44 + 100 + 50, old.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &full), 0);
    EXPECT_FALSE(sink.Write(Ramp(100, 100)));
    sink.Close();
    EXPECT_EQ(Load(m_path).bytes, Ramp(100));
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &old), 0);
    ASSERT_EQ(sink.Open(kFormat), std::nullopt);
    EXPECT_TRUE(sink.Write(Ramp(20, 200)));
    sink.Close();
    Bytes expected = Ramp(100);
    const Bytes more = Ramp(20, 200);
    expected.insert(expected.end(), more.begin(), more.end());
    EXPECT_EQ(Load(m_path).bytes, expected);
}

TEST_F(WavFileSink, ClosedItTakesNothing) {
    qrn::CWavFileSink sink(m_path);
    EXPECT_FALSE(sink.Write(Ramp(4)));
    sink.Close();
}

}  // namespace
