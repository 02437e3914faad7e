#include "platform/system/DebugOutput.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

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

TEST(DebugOutput, FolderComesFromTheEnvironmentWhenItNamesOne) {
    setenv("QRN_COMMON_APPDATA", "/somewhere/else", 1);
    EXPECT_EQ(qrn::CommonApplicationDataFolder(), "/somewhere/else");
    setenv("QRN_COMMON_APPDATA", "", 1);
    EXPECT_EQ(qrn::CommonApplicationDataFolder(), "/var/lib");
    unsetenv("QRN_COMMON_APPDATA");
    EXPECT_EQ(qrn::CommonApplicationDataFolder(), "/var/lib");
}

}  // namespace
