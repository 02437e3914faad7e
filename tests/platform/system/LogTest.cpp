#include "platform/system/Log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "platform/system/DebugOutput.h"
#include "platform/system/LogFilter.h"
#include "platform/system/LogLimiter.h"
#include "platform/system/MessageBox.h"

namespace {

using namespace std::chrono_literals;
using qrn::CLogFilter;
using qrn::CLogLimiter;
using qrn::LogLevel;
using testing::IsEmpty;

struct FilterCase {
    const char* name;
    const char* text;
    LogLevel rtp;  // the highest level that passes
    LogLevel other;
    int unknownWords;
};

class LogFilter : public testing::TestWithParam<FilterCase> {
protected:
    static LogLevel HighestOf(const CLogFilter& filter, const char* area) {
        LogLevel highest = LogLevel::kOff;
        for (const LogLevel level : {LogLevel::kWarn, LogLevel::kInfo, LogLevel::kDebug}) {
            if (filter.Passes(level, area)) {
                highest = level;
            }
        }
        return highest;
    }
};

TEST_P(LogFilter, ReadsTheWords) {
    std::vector<std::string> unknownWords;
    const CLogFilter filter(GetParam().text, &unknownWords);
    EXPECT_EQ(HighestOf(filter, "rtp"), GetParam().rtp);
    EXPECT_EQ(HighestOf(filter, "netfilters"), GetParam().other);
    EXPECT_EQ(unknownWords.size(), static_cast<std::size_t>(GetParam().unknownWords));
    EXPECT_FALSE(filter.Passes(LogLevel::kOff, "rtp"));
}

INSTANTIATE_TEST_SUITE_P(
    Words, LogFilter,
    testing::Values(FilterCase{"Nothing", "", LogLevel::kOff, LogLevel::kOff, 0},
                    FilterCase{"ForAll", "info", LogLevel::kInfo, LogLevel::kInfo, 0},
                    FilterCase{"ForOneFolder", "rtp:debug", LogLevel::kDebug, LogLevel::kOff, 0},
                    FilterCase{"FolderBeforeAll", "rtp:debug,warn", LogLevel::kDebug, LogLevel::kWarn, 0},
                    FilterCase{"FolderSilenced", "debug,rtp:off", LogLevel::kOff, LogLevel::kDebug, 0},
                    FilterCase{"LastWins", "warn,rtp:warn,rtp:info,debug", LogLevel::kInfo, LogLevel::kDebug, 0},
                    FilterCase{"BlanksAndEmptyWords", " ,info , rtp : debug,,", LogLevel::kDebug, LogLevel::kInfo, 0},
                    FilterCase{"UnknownAreSkipped", "loud,rtp:loud,:info,info:,WARN,info", LogLevel::kInfo,
                               LogLevel::kInfo, 5},
                    FilterCase{"NameIsNoPrefix", "rt:debug,rtpx:debug", LogLevel::kOff, LogLevel::kOff, 0}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(LogLimiter, CountsByAreaAndTellsLossesOnceTheSecondIsOver) {
    CLogLimiter limiter;
    for (int i = 0; i < CLogLimiter::kLinesPerSecond; ++i) {
        EXPECT_TRUE(limiter.Admit("rtp", 10s));
    }
    EXPECT_FALSE(limiter.Admit("rtp", 10s));
    EXPECT_FALSE(limiter.Admit("rtp", 11s - 1ns));
    EXPECT_TRUE(limiter.Admit("host", 11s - 1ns)) << "areas do not share their room";
    EXPECT_THAT(limiter.TakeDropped(11s - 1ns), IsEmpty());

    const auto losses = limiter.TakeDropped(11s);
    ASSERT_EQ(losses.size(), 1u);
    EXPECT_EQ(losses[0].area, "rtp");
    EXPECT_EQ(losses[0].lines, 2);
    EXPECT_THAT(limiter.TakeDropped(12s), IsEmpty());
    EXPECT_TRUE(limiter.Admit("rtp", 11s));
}

TEST(LogTables, TakesNoHarmFromMoreThanItHolds) {
    std::string text;
    for (int i = 0; i < 200; ++i) {
        text += "area" + std::to_string(i) + ":debug,";
    }
    const CLogFilter filter(text + std::string(500, 'x') + ":debug,info");
    EXPECT_TRUE(filter.Passes(LogLevel::kDebug, "area0"));
    EXPECT_FALSE(filter.Passes(LogLevel::kDebug, "area199"));
    EXPECT_TRUE(filter.Passes(LogLevel::kInfo, "area199"));
    EXPECT_FALSE(filter.Passes(LogLevel::kDebug, std::string(qrn::CLogArea::kMaxLength, 'x')));
}

TEST(LogLimiter, AreasPastTheLastShareItsRoom) {
    CLogLimiter limiter;
    for (int i = 0; i < 100; ++i) {
        limiter.Admit("area" + std::to_string(i), 1s);
    }
    for (int i = 0; i < 2 * CLogLimiter::kLinesPerSecond; ++i) {
        limiter.Admit("one more", 1s);
    }
    EXPECT_TRUE(limiter.Admit("area0", 1s));
    EXPECT_FALSE(limiter.Admit("area99", 1s));
    EXPECT_EQ(limiter.TakeAllDropped().size(), 1u);
}

/// The log reads its environment once a process, so each of these runs in a process of its own and looks at what that
/// process leaves on standard error.
class LogDeathTest : public testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    template <class Call>
    [[noreturn]] static void RunWith(const char* setting, Call call) {
        setenv("QRN_LOG", setting, 1);
        call();
        std::exit(0);
    }
};

TEST_F(LogDeathTest, LineHasTimeAreaLevelAndText) {
    EXPECT_EXIT(RunWith("rtp:info", [] { Log(LogLevel::kInfo, "rtp", "%d of %s", 3, "four"); }),
                testing::ExitedWithCode(0),
                "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} qrn rtp info: 3 of four\n");
}

TEST_F(LogDeathTest, SaysNothingUnasked) {
    EXPECT_EXIT(
        {
            unsetenv("QRN_LOG");
            Log(LogLevel::kWarn, "rtp", "never");
            qrn::DebugOutput(L"never");
            qrn::ShowMessageBox(L"never", L"never", qrn::kMessageBoxIconError);
            std::exit(0);
        },
        testing::ExitedWithCode(0), "^$");
}

TEST_F(LogDeathTest, MessageBoxIsALineWhereNobodyShowsIt) {
    EXPECT_EXIT(RunWith("warn", [] { qrn::ShowMessageBox(L"No signal.", L"Camera"); }), testing::ExitedWithCode(0),
                "^[^\n]*system warn: message box \"Camera\": No signal\\.\n$");
}

TEST_F(LogDeathTest, UnknownWordIsNamedOnce) {
    EXPECT_EXIT(RunWith("loud,off",
                        [] {
                            Log(LogLevel::kWarn, "rtp", "never");
                            Log(LogLevel::kWarn, "rtp", "never");
                        }),
                testing::ExitedWithCode(0), "^[^\n]*QRN_LOG[^\n]*\"loud\"[^\n]*\n$");
}

TEST_F(LogDeathTest, LineEndsInsideAndAtTheEndMakeNoFurtherLines) {
    EXPECT_EXIT(RunWith("debug", [] { qrn::DebugOutput(L"\nWARNING: one\r\ntwo.\n\n"); }), testing::ExitedWithCode(0),
                "^[^\n]* WARNING: one  two\\.\n$");
}

TEST_F(LogDeathTest, OverlongLineIsCut) {
    EXPECT_EXIT(RunWith("debug",
                        [] {
                            const std::string much(5000, 'x');
                            Log(LogLevel::kDebug, "rtp", "%s", much.c_str());
                            Log(LogLevel::kDebug, "rtp", "next");
                        }),
                testing::ExitedWithCode(0), "^[^\n]*xxxx\n[^\n]*: next\n$");
}

TEST_F(LogDeathTest, FloodIsCutAndItsLossTold) {
    EXPECT_EXIT(RunWith("debug",
                        [] {
                            for (int i = 0; i < 5000; ++i) {
                                Log(LogLevel::kDebug, "rtp", "drop");
                            }
                        }),
                testing::ExitedWithCode(0), "rtp debug: drop\n[^\n]*rtp warn: [0-9]+ lines dropped\n$");
}

}  // namespace
