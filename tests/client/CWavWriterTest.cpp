#include "client/CWavWriter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <functional>

#include "client/CMediaFileReader.h"
#include "client/ClientError.h"
#include "support/TempFolder.h"

namespace qrn {
namespace {

using testing::HasSubstr;

/// The samples as FFmpeg reads them back.
std::vector<std::int16_t> ReadBack(const std::string& path, PcmFormat format) {
    CMediaFileReader reader(path, format, CMediaFileReader::Repeat::kOnce);
    std::vector<std::int16_t> samples(100000);
    samples.resize(reader.Read(samples));
    return samples;
}

std::string FailureOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const CClientError& error) {
        return error.what();
    }
    return "done";
}

TEST(WavWriter, IsWholeAfterEachBlockWithoutBeingClosed) {
    const test::CTempFolder folder;
    const std::string path = folder.File("out.wav");
    CWavWriter writer(path, {48000, 2});
    std::vector<std::int16_t> expected;
    for (std::int16_t i = 0; i < 5; ++i) {
        const std::vector<std::int16_t> block{i, static_cast<std::int16_t>(-i), 32767, -32768};
        writer.Write(block);
        expected.insert(expected.end(), block.begin(), block.end());
        EXPECT_EQ(ReadBack(path, {48000, 2}), expected);
        EXPECT_EQ(std::filesystem::file_size(path), 44 + expected.size() * 2);
    }
}

TEST(WavWriter, EmptiesAnOlderFile) {
    const test::CTempFolder folder;
    const std::string path = folder.File("out.wav");
    std::ofstream(path) << std::string(1000, 'x');
    CWavWriter(path, {8000, 1}).Close();
    EXPECT_EQ(std::filesystem::file_size(path), 44u);
}

TEST(WavWriter, NamesAPathThatCannotBeWritten) {
    const test::CTempFolder folder;
    const std::string path = folder.File("none/out.wav");
    EXPECT_THAT(FailureOf([&] {
                    CWavWriter(path, {8000, 1});
                }),
                testing::AllOf(HasSubstr(path), HasSubstr("No such file or directory")));
    EXPECT_THAT(FailureOf([&] { CWavWriter(folder.File(""), {8000, 1}); }), HasSubstr("Is a directory"));
}

TEST(WavWriter, DoesNotWaitForTheReaderOfAPipe) {
    const test::CTempFolder folder;
    ASSERT_EQ(mkfifo(folder.File("pipe").c_str(), 0600), 0);
    EXPECT_THAT(FailureOf([&] { CWavWriter(folder.File("pipe"), {8000, 1}); }), HasSubstr("cannot write"));
}

TEST(WavWriter, TellsAFullDisk) {
    EXPECT_THAT(FailureOf([] { CWavWriter("/dev/full", {8000, 1}); }), HasSubstr("No space left on device"));
}

TEST(WavWriter, FailsAfterBeingClosed) {
    const test::CTempFolder folder;
    CWavWriter writer(folder.File("out.wav"), {8000, 1});
    writer.Close();
    const std::vector<std::int16_t> block(10);
    EXPECT_THAT(FailureOf([&] { writer.Write(block); }), HasSubstr("cannot write"));
    EXPECT_EQ(FailureOf([&] { writer.Close(); }), "done");
}

}  // namespace
}  // namespace qrn
