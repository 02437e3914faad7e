#include "runtime/DebugLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>

#include "support/CommonDataFolder.h"

namespace {

using qrn::test::CCommonDataFolder;
using testing::MatchesRegex;

#define QRN_TIME_REGEX "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}"

struct WriterCase {
    const char* name;
    qrn::DebugLogFormat format;
    const char* line;
};

class DebugLogWriter : public testing::TestWithParam<WriterCase> {};

TEST_P(DebugLogWriter, AppendsItsOwnLine) {
    const CCommonDataFolder folder;
    qrn::WriteDebugLog(GetParam().format, 0xC0000005);
    EXPECT_THAT(folder.DebugLog(), MatchesRegex(GetParam().line));
    const std::string twice = std::string(GetParam().line) + GetParam().line;
    qrn::WriteDebugLog(GetParam().format.time, GetParam().format.code, 0xC0000005);
    EXPECT_THAT(folder.DebugLog(), MatchesRegex(twice));
}

INSTANTIATE_TEST_SUITE_P(Formats, DebugLogWriter,
                         testing::Values(WriterCase{"MediaThread", qrn::kMediaThreadFault,
                                                    QRN_TIME_REGEX
                                                    " \\[CMediaThread\\] -> Exception code: 0xC0000005\n"},
                                         WriterCase{"AudioEncoder", qrn::kAudioEncoderFault,
                                                    QRN_TIME_REGEX " \\[Exception\\]\t0xC0000005\n"},
                                         WriterCase{"AudioDecoder", qrn::kAudioDecoderFault,
                                                    QRN_TIME_REGEX " \\[Exception\\]\n0xC0000005\n"}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(DebugLog, TimeIsTheLocalTimeOfNow) {
    const CCommonDataFolder folder;
    const std::time_t before = std::time(nullptr);
    qrn::WriteDebugLog(qrn::kMediaThreadFault, 1);
    const std::time_t after = std::time(nullptr);
    std::tm told{};
    const std::string line = folder.DebugLog();
    ASSERT_NE(strptime(line.c_str(), "%Y-%m-%d %H:%M:%S", &told), nullptr);
    told.tm_isdst = -1;
    const std::time_t written = std::mktime(&told);
    EXPECT_GE(written, before);
    EXPECT_LE(written, after);
}

TEST(DebugLog, MissingFolderIsNotMade) {
    const CCommonDataFolder folder(CCommonDataFolder::LogFolder::kMissing);
    qrn::WriteDebugLog(qrn::kMediaThreadFault, 1);
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
}

TEST(DebugLog, PathThatDoesNotFitWritesNothing) {
    const CCommonDataFolder folder;
    // The same folder by a path of more than 1000 bytes.
    std::string path = folder.Path();
    while (path.size() < 1000) {
        path += "/.";
    }
    setenv("QRN_COMMON_APPDATA", path.c_str(), 1);
    qrn::WriteDebugLog(qrn::kMediaThreadFault, 1);
    EXPECT_EQ(folder.DebugLog(), "");
}

}  // namespace
