#include "platform/com/Text.h"

#include <gtest/gtest.h>

#include <string>

#include "qrn/filters.h"

namespace {

struct Utf8Case {
    const char* name;
    std::string utf8;
    std::wstring wide;
};

void PrintTo(const Utf8Case& row, std::ostream* out) {
    *out << row.name;
}

/// What both directions hold for.
class ValidText : public testing::TestWithParam<Utf8Case> {};

TEST_P(ValidText, SurvivesBothWays) {
    EXPECT_EQ(qrn::ToWide(GetParam().utf8), GetParam().wide);
    EXPECT_EQ(qrn::ToUtf8(GetParam().wide), GetParam().utf8);
}

// The bytes are those of Python's str.encode("utf-8").
INSTANTIATE_TEST_SUITE_P(Edges, ValidText,
                         testing::Values(Utf8Case{"Empty", "", L""}, Utf8Case{"Ascii", "a\x7F", L"a\x7F"},
                                         Utf8Case{"InnerZero", std::string("a\0b", 3), std::wstring(L"a\0b", 3)},
                                         Utf8Case{"FirstOfTwoBytes", "\xC2\x80", L"\x80"},
                                         Utf8Case{"LastOfTwoBytes", "\xDF\xBF", L"\x7FF"},
                                         Utf8Case{"FirstOfThreeBytes", "\xE0\xA0\x80", L"\x800"},
                                         Utf8Case{"BelowTheSurrogates", "\xED\x9F\xBF", L"\xD7FF"},
                                         Utf8Case{"AboveTheSurrogates", "\xEE\x80\x80", L"\xE000"},
                                         Utf8Case{"LastOfThreeBytes", "\xEF\xBF\xBF", L"\xFFFF"},
                                         Utf8Case{"FirstOfFourBytes", "\xF0\x90\x80\x80", L"\x10000"},
                                         Utf8Case{"LastOfAll", "\xF4\x8F\xBF\xBF", L"\x10FFFF"}),
                         [](const auto& row) { return std::string(row.param.name); });

class BrokenUtf8 : public testing::TestWithParam<Utf8Case> {};

TEST_P(BrokenUtf8, BecomesReplacements) {
    EXPECT_EQ(qrn::ToWide(GetParam().utf8), GetParam().wide);
}

// The counts of replacements are those of Python's bytes.decode("utf-8", "replace"), which follows the same practice.
INSTANTIATE_TEST_SUITE_P(Edges, BrokenUtf8,
                         testing::Values(Utf8Case{"LoneFollower", "a\x80z", L"a\xFFFDz"},
                                         Utf8Case{"CutAtTheEnd", "a\xE2\x82", L"a\xFFFD"},
                                         Utf8Case{"CutByAnother",
                                                  "\xF0\x9F\x98"
                                                  "A",
                                                  L"\xFFFD"
                                                  L"A"},
                                         Utf8Case{"OverlongTwo", "\xC0\xAF", L"\xFFFD\xFFFD"},
                                         Utf8Case{"OverlongThree", "\xE0\x80\xAF", L"\xFFFD\xFFFD\xFFFD"},
                                         Utf8Case{"Surrogate", "\xED\xA0\x80", L"\xFFFD\xFFFD\xFFFD"},
                                         Utf8Case{"AboveTheLast", "\xF4\x90\x80\x80", L"\xFFFD\xFFFD\xFFFD\xFFFD"},
                                         Utf8Case{"NoLead", "\xFF\xC3\xA9", L"\xFFFD\xE9"}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Text, WideThatIsNoCharacterBecomesReplacement) {
    const std::wstring broken{static_cast<wchar_t>(0xD800), static_cast<wchar_t>(0x110000), static_cast<wchar_t>(-1),
                              L'z'};
    EXPECT_EQ(qrn::ToUtf8(broken), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBDz");
}

constexpr GUID kIUnknown = qrn::Guid("00000000-0000-0000-C000-000000000046");
constexpr GUID kMixed = qrn::Guid("59EFF8B9-938C-4A26-82F2-95CB84CDC837");

TEST(Text, GuidIsPrintedWithItsZerosAndReadBack) {
    EXPECT_EQ(qrn::ToString(kIUnknown), "00000000-0000-0000-C000-000000000046");
    EXPECT_EQ(qrn::ToString(kMixed), "59EFF8B9-938C-4A26-82F2-95CB84CDC837");
    EXPECT_EQ(qrn::ParseGuid("59eff8b9-938C-4a26-82f2-95cb84cdc837"), kMixed);
    EXPECT_EQ(qrn::ParseGuid("{59EFF8B9-938C-4A26-82F2-95CB84CDC837}"), kMixed);
}

class NoGuid : public testing::TestWithParam<const char*> {};

TEST_P(NoGuid, IsNotRead) {
    EXPECT_EQ(qrn::ParseGuid(GetParam()), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, NoGuid,
    testing::Values("", "{}", "59EFF8B9-938C-4A26-82F2-95CB84CDC83", "59EFF8B9-938C-4A26-82F2-95CB84CDC8377",
                    "{59EFF8B9-938C-4A26-82F2-95CB84CDC837", "59EFF8B9-938C-4A26-82F2-95CB84CDC837}",
                    "59EFF8B9-938C-4A26-82F2-95CB84CDC83G", "59EFF8B9+938C-4A26-82F2-95CB84CDC837",
                    "59EFF8B99-38C-4A26-82F2-95CB84CDC837", "(59EFF8B9-938C-4A26-82F2-95CB84CDC837)"));

TEST(Text, ResultHasANameOrItsNumber) {
    EXPECT_EQ(qrn::ResultName(E_FAIL), "E_FAIL");
    EXPECT_EQ(qrn::ResultName(VFW_S_CANT_CUE), "VFW_S_CANT_CUE");
    EXPECT_EQ(qrn::ResultName(static_cast<HRESULT>(0x80070003u)), "ERROR_PATH_NOT_FOUND");
    EXPECT_EQ(qrn::ResultName(static_cast<HRESULT>(0x80070070u)), "ERROR_DISK_FULL");
    EXPECT_EQ(qrn::ResultName(static_cast<HRESULT>(0x8007007Au)), "ERROR_INSUFFICIENT_BUFFER");
    EXPECT_EQ(qrn::ResultName(static_cast<HRESULT>(0x800700AAu)), "ERROR_BUSY");
    EXPECT_EQ(qrn::ResultName(static_cast<HRESULT>(0x800703F1u)), "ERROR_BADDB");
    EXPECT_EQ(qrn::ResultName(static_cast<HRESULT>(0x80040000u)), "0x80040000");
    EXPECT_EQ(qrn::ResultName(2), "0x00000002");
}

}  // namespace
