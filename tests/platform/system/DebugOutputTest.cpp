#include "platform/system/DebugOutput.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "platform/system/MessageBox.h"

namespace {

TEST(DebugOutput, SinkMayReplaceItselfFromWithin) {
    std::wstring heard;
    qrn::SetDebugOutputSink([&heard](std::wstring_view text) {
        heard += text;
        qrn::SetDebugOutputSink(nullptr);
    });
    qrn::DebugOutput(L"first");
    qrn::DebugOutput(L"second");
    EXPECT_EQ(heard, L"first");
}

TEST(MessageBox, GoesToWhoeverTookItOver) {
    std::wstring shown;
    std::uint32_t style = 0;
    qrn::SetMessageBoxSink([&](std::wstring_view text, std::wstring_view caption, std::uint32_t how) {
        shown = std::wstring(caption) + L": " + std::wstring(text);
        style = how;
        qrn::SetMessageBoxSink(nullptr);
    });
    qrn::ShowMessageBox(L"first", L"caption", qrn::kMessageBoxIconError);
    qrn::ShowMessageBox(L"second", L"caption");
    EXPECT_EQ(shown, L"caption: first");
    EXPECT_EQ(style, 0x10u);
}

TEST(DebugOutput, FolderComesFromTheEnvironmentWhenItNamesOne) {
    setenv("QRN_COMMON_APPDATA", "/somewhere/else", 1);
    EXPECT_EQ(qrn::CommonApplicationDataFolder(), "/somewhere/else");
    setenv("QRN_COMMON_APPDATA", "", 1);
    EXPECT_EQ(qrn::CommonApplicationDataFolder(), "/var/lib");
    unsetenv("QRN_COMMON_APPDATA");
    EXPECT_EQ(qrn::CommonApplicationDataFolder(), "/var/lib");
}

}  // namespace
