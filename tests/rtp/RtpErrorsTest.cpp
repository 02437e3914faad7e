#include "rtp/RtpErrors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

namespace {

TEST(RtpErrors, TableIsClosedAndNamesEachCodeOnce) {
    const auto table = qrn::RtpErrorTable();
    ASSERT_EQ(table.size(), 42u);
    EXPECT_EQ(table.back().code, 0);
    EXPECT_EQ(table.back().text, nullptr);
    std::set<int> codes;
    std::set<std::string> texts;
    for (const qrn::RtpErrorEntry& entry : table.first(41)) {
        EXPECT_TRUE(entry.code <= -1 && entry.code >= -41) << entry.code;
        codes.insert(entry.code);
        texts.insert(entry.text);
    }
    EXPECT_EQ(codes.size(), 41u);
    EXPECT_EQ(texts.size(), 41u);
    const auto place = [&](int code) { return std::ranges::find(table, code, &qrn::RtpErrorEntry::code); };
    EXPECT_EQ(place(-10) + 1, place(-6));
    EXPECT_EQ(place(-9) + 1, place(-11));
}

TEST(RtpErrors, LooksUpByCode) {
    EXPECT_STREQ(qrn::RtpErrorText(-31), "Maximum packet size to large");
    EXPECT_STREQ(qrn::RtpErrorText(-1), "Out of memory");
    EXPECT_STREQ(qrn::RtpErrorText(-41), "Unable to set the IP ToS (Type of Service) field");
    for (const int code : {0, 1, 240, -42, -100}) {
        EXPECT_EQ(qrn::RtpErrorText(code), nullptr) << code;
    }
}

}  // namespace
