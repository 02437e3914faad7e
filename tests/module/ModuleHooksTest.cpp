// A client takes over what the module shows and tells.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "module/Exports.h"
#include "platform/system/DebugOutput.h"
#include "platform/system/MessageBox.h"
#include "qrn/QRN_Media2.h"

namespace {

using Heard = std::vector<std::wstring>;

void HearBox(void* context, const wchar_t* text, const wchar_t* caption, DWORD style) {
    static_cast<Heard*>(context)->push_back(std::wstring(caption) + L": " + text + L"/" + std::to_wstring(style));
}

void HearOutput(void* context, const wchar_t* text) {
    static_cast<Heard*>(context)->push_back(text);
}

TEST(ModuleHooks, TakeOverAndGiveBack) {
    qrn::ComPtr<IClassFactory> factory;
    ASSERT_EQ(DllGetClassObject(CLSID_QRN_AudioSender, IID_IClassFactory, factory.PutVoid()), S_OK);
    const auto hooks = factory.As<IQRN_ModuleHooks>();
    ASSERT_TRUE(hooks);
    Heard heard;
    ASSERT_EQ(hooks->SetMessageBoxHandler(HearBox, &heard), S_OK);
    ASSERT_EQ(hooks->SetDebugOutputHandler(HearOutput, &heard), S_OK);
    const std::wstring_view cut = L"wrong address";  // the handler gets a text that ends where the view does
    qrn::ShowMessageBox(cut.substr(0, 5), L"camera", qrn::kMessageBoxIconError);
    qrn::DebugOutput(L"stuck\n");
    EXPECT_EQ(heard, (Heard{L"camera: wrong/16", L"stuck\n"}));

    ASSERT_EQ(hooks->SetMessageBoxHandler(nullptr, nullptr), S_OK);
    ASSERT_EQ(hooks->SetDebugOutputHandler(nullptr, nullptr), S_OK);
    qrn::ShowMessageBox(L"wrong", L"camera");
    qrn::DebugOutput(L"stuck");
    EXPECT_EQ(heard.size(), 2u);
}

}  // namespace
