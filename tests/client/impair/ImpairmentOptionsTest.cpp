#include "client/impair/ImpairmentOptions.h"

#include <gtest/gtest.h>

#include "client/ClientError.h"

namespace qrn {
namespace {

TEST(ImpairmentOptions, ReadsEverySetting) {
    const ImpairmentSettings settings =
        ParseImpairment({"0.25", "0.01,5.5", "40", "2.5", "0.1,7", "1", "512", "18446744073709551615"});
    EXPECT_EQ(settings.loss, 0.25);
    EXPECT_EQ(settings.burstStart, 0.01);
    EXPECT_EQ(settings.burstLength, 5.5);
    EXPECT_EQ(settings.delay, std::chrono::milliseconds(40));
    EXPECT_EQ(settings.jitter, std::chrono::microseconds(2500));
    EXPECT_EQ(settings.reorder, 0.1);
    EXPECT_EQ(settings.reorderDistance, 7u);
    EXPECT_EQ(settings.duplicate, 1);
    EXPECT_EQ(settings.rateKbit, 512u);
    EXPECT_EQ(settings.seed, 18446744073709551615u);
}

TEST(ImpairmentOptions, NothingGivenIsAGoodNetwork) {
    const ImpairmentSettings settings = ParseImpairment({});
    EXPECT_EQ(settings.loss + settings.burstStart + settings.reorder + settings.duplicate, 0);
    EXPECT_EQ((settings.delay + settings.jitter).count() + settings.rateKbit, 0);
}

struct BadCase {
    const char* name;
    std::string ImpairmentTexts::*option;
    const char* text;
    const char* named;
};

class BadImpairment : public testing::TestWithParam<BadCase> {};

TEST_P(BadImpairment, IsRefusedByName) {
    ImpairmentTexts texts;
    texts.*GetParam().option = GetParam().text;
    try {
        ParseImpairment(texts);
        FAIL() << "taken";
    } catch (const CClientError& error) {
        EXPECT_EQ(error.Status(), ExitStatus::kWrongUse);
        EXPECT_EQ(std::string(error.what()).rfind(std::string(GetParam().named) + ": '" + GetParam().text + "'", 0), 0u)
            << error.what();
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, BadImpairment,
                         testing::Values(BadCase{"LossAboveOne", &ImpairmentTexts::loss, "1.01", "--loss"},
                                         BadCase{"LossInPercent", &ImpairmentTexts::loss, "5%", "--loss"},
                                         BadCase{"LossNoNumber", &ImpairmentTexts::loss, "nan", "--loss"},
                                         BadCase{"BurstWithoutLength", &ImpairmentTexts::burst, "0.1", "--burst"},
                                         BadCase{"BurstOfNothing", &ImpairmentTexts::burst, "0.1,0", "--burst"},
                                         BadCase{"BurstEmptyLength", &ImpairmentTexts::burst, "0.1,", "--burst"},
                                         BadCase{"DelayBelowNothing", &ImpairmentTexts::delay, "-1", "--delay"},
                                         BadCase{"DelayTooLong", &ImpairmentTexts::delay, "60001", "--delay"},
                                         BadCase{"JitterWithUnit", &ImpairmentTexts::jitter, "5ms", "--jitter"},
                                         BadCase{"ReorderByNothing", &ImpairmentTexts::reorder, "0.5,0", "--reorder"},
                                         BadCase{"ReorderShare", &ImpairmentTexts::reorder, "2,3", "--reorder"},
                                         BadCase{"Duplicate", &ImpairmentTexts::duplicate, "x", "--duplicate"},
                                         BadCase{"RateOfNothing", &ImpairmentTexts::rate, "0", "--rate"},
                                         BadCase{"RateInfinite", &ImpairmentTexts::rate, "inf", "--rate"},
                                         BadCase{"SeedNegative", &ImpairmentTexts::seed, "-1", "--seed"},
                                         BadCase{"SeedTooLarge", &ImpairmentTexts::seed, "18446744073709551616",
                                                 "--seed"}),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace qrn
