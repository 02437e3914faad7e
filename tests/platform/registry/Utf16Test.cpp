#include "platform/registry/Utf16.h"

#include <gtest/gtest.h>

namespace {

using Bytes = std::vector<BYTE>;

struct TextCase {
    const char* name;
    std::wstring text;
    Bytes bytes;
};

class Utf16Text : public testing::TestWithParam<TextCase> {};

TEST_P(Utf16Text, GoesThereAndBack) {
    EXPECT_EQ(qrn::ToUtf16Bytes(GetParam().text), GetParam().bytes);
    EXPECT_EQ(qrn::FromUtf16Bytes(GetParam().bytes), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Texts, Utf16Text,
                         testing::Values(TextCase{"Empty", L"", {}}, TextCase{"Latin", L"Az", {'A', 0, 'z', 0}},
                                         TextCase{"LastOfOneUnit", L"\xFFFF", {0xFF, 0xFF}},
                                         TextCase{"FirstOfTwoUnits", L"\U00010000", {0x00, 0xD8, 0x00, 0xDC}},
                                         TextCase{"LastOfAll", L"\U0010FFFF", {0xFF, 0xDB, 0xFF, 0xDF}}),
                         [](const auto& row) { return std::string(row.param.name); });

struct BytesCase {
    const char* name;
    Bytes bytes;
    std::optional<std::wstring> text;
};

class Utf16Bytes : public testing::TestWithParam<BytesCase> {};

TEST_P(Utf16Bytes, AreReadWhateverTheyAre) {
    EXPECT_EQ(qrn::FromUtf16Bytes(GetParam().bytes), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Odd, Utf16Bytes,
                         testing::Values(BytesCase{"HalfAUnit", {'A', 0, 'B'}, std::nullopt},
                                         BytesCase{"EndsAtTheZero", {'A', 0, 0, 0, 'B', 0}, L"A"},
                                         BytesCase{"LoneHighAtTheEnd", {0x00, 0xD8}, L"\xFFFD"},
                                         BytesCase{"LoneHighBeforeAnother", {0x00, 0xD8, 'A', 0}, L"\xFFFD\x41"},
                                         BytesCase{
                                             "TwoHighs", {0x00, 0xD8, 0x00, 0xD8, 0x00, 0xDC}, L"\xFFFD\U00010000"},
                                         BytesCase{"LoneLow", {0x00, 0xDC, 'A', 0}, L"\xFFFD\x41"}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Utf16, WhatIsNoCharacterIsReplaced) {
    const std::wstring text{static_cast<wchar_t>(0xD800), static_cast<wchar_t>(0x110000), static_cast<wchar_t>(-1)};
    EXPECT_EQ(qrn::FromUtf16Bytes(qrn::ToUtf16Bytes(text)), L"\xFFFD\xFFFD\xFFFD");
}

}  // namespace
