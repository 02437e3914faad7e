#include "framework/CBasePropertyPage.h"

#include <gtest/gtest.h>

#include <functional>
#include <iterator>
#include <new>
#include <stdexcept>

#include "platform/com/TaskMemory.h"
#include "qrn/filters.h"
#include "support/FakePageSite.h"

namespace qrn::test {
namespace {

constexpr int kEdit = 101;
constexpr int kOne = 102;
constexpr int kTwo = 103;
constexpr int kAlone = 104;
constexpr QRN_CONTROL kControls[] = {
    {-1, QRN_CONTROL_LABEL, L"Rate", 10, 12, 40, 8},
    {kEdit, QRN_CONTROL_EDIT, L"", 60, 10, 50, 14, WS_VISIBLE | WS_TABSTOP},
    {kOne, QRN_CONTROL_RADIO, L"one", 60, 30, 50, 10, WS_VISIBLE | WS_GROUP, 1},
    {kTwo, QRN_CONTROL_RADIO, L"two", 60, 40, 50, 10},
    {kAlone, QRN_CONTROL_RADIO, L"other", 60, 50, 50, 10, WS_VISIBLE | WS_GROUP, 1},
};
constexpr QRN_DIALOG kDialog{100, 216, 118, kControls, std::size(kControls)};
constexpr QRN_STRING kTitle{99, L"Settings"};
constexpr RECT kPlace{1, 2, 30, 40};

class CTestPage final : public CBasePropertyPage {
public:
    CTestPage() : CBasePropertyPage(L"test page", nullptr, kDialog, kTitle) {}

    HRESULT OnConnect(IUnknown*) override { return Hook("C"); }
    HRESULT OnDisconnect() override { return Hook("c"); }
    HRESULT OnActivate() override {
        m_Dlg.SetNumber(kEdit, number);
        return Hook("A");
    }
    HRESULT OnDeactivate() override { return Hook(m_Dlg ? "a" : "?"); }
    HRESULT OnApplyChanges() override { return Hook("!"); }
    LONG_PTR OnReceiveMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) override {
        if (window == CFakeDialog::kWindow && message == WM_COMMAND && LOWORD(wParam) == kEdit) {
            if (HIWORD(wParam) == EN_CHANGE && m_Dlg.Number(kEdit)) {
                number = *m_Dlg.Number(kEdit);
                SetDirty();
            }
            Hook("M");
            return 1;
        }
        return CBasePropertyPage::OnReceiveMessage(window, message, wParam, lParam);
    }
    HRESULT Hook(const char* name) {
        calls += name;
        return onHook ? onHook(*name) : S_OK;
    }
    using CBasePropertyPage::m_bDirty;
    using CBasePropertyPage::m_Dlg;
    using CBasePropertyPage::SetDirty;

    DWORD number = 7;
    std::string calls;
    std::function<HRESULT(char)> onHook;
};

class CBasePropertyPageTest : public testing::Test {
protected:
    CFakeDialog& Screen() { return *site->dialog; }
    HRESULT Connect() {
        IUnknown* object = static_cast<IPropertyPageSite*>(site.Get());
        return page->SetObjects(1, &object);
    }
    HRESULT Activate() { return page->Activate(0, &kPlace, FALSE); }
    void Open() {
        ASSERT_EQ(page->SetPageSite(site.Get()), S_OK);
        ASSERT_EQ(Connect(), S_OK);
        ASSERT_EQ(Activate(), S_OK);
    }

    ComPtr<CFakePageSite> site = ComPtr<CFakePageSite>::Share(new CFakePageSite);
    CTestPage* page = new CTestPage;
    ComPtr<IPropertyPage> held = ComPtr<IPropertyPage>::Share(page);
};

TEST_F(CBasePropertyPageTest, WalksThroughItsLifeInOrder) {
    Open();
    EXPECT_EQ(page->calls, "CA");
    EXPECT_TRUE(Screen().IsVisible());
    EXPECT_EQ(Screen().Place().right, kPlace.right);
    EXPECT_EQ(Screen().Text(kEdit), L"7");
    EXPECT_EQ(page->Show(SW_HIDE), S_OK);
    EXPECT_FALSE(Screen().IsVisible());
    EXPECT_EQ(page->Show(3), E_INVALIDARG);
    EXPECT_EQ(page->Deactivate(), S_OK);
    EXPECT_TRUE(Screen().IsDestroyed());
    EXPECT_EQ(Activate(), S_OK);  // again, with a new dialog
    EXPECT_EQ(page->Deactivate(), S_OK);
    EXPECT_EQ(page->SetObjects(0, nullptr), S_OK);
    EXPECT_EQ(page->SetPageSite(nullptr), S_OK);
    EXPECT_EQ(page->calls, "CAaAac");
}

TEST_F(CBasePropertyPageTest, AnswersCallsThatComOutOfOrder) {
    EXPECT_EQ(page->SetPageSite(nullptr), E_UNEXPECTED);
    EXPECT_EQ(Activate(), E_UNEXPECTED);
    EXPECT_EQ(page->Deactivate(), E_UNEXPECTED);
    EXPECT_EQ(page->Show(SW_SHOW), E_UNEXPECTED);
    EXPECT_EQ(page->Move(&kPlace), E_UNEXPECTED);
    EXPECT_EQ(page->Apply(), E_UNEXPECTED);
    EXPECT_EQ(Connect(), S_OK);
    EXPECT_EQ(page->Apply(), E_UNEXPECTED);  // no site
    EXPECT_EQ(page->SetPageSite(site.Get()), S_OK);
    EXPECT_EQ(page->SetPageSite(site.Get()), E_UNEXPECTED);
    IUnknown* none = nullptr;
    EXPECT_EQ(page->SetObjects(1, nullptr), E_POINTER);
    EXPECT_EQ(page->SetObjects(1, &none), E_POINTER);
    EXPECT_EQ(page->SetObjects(2, &none), E_UNEXPECTED);
    EXPECT_EQ(page->Activate(0, nullptr, FALSE), E_POINTER);
    EXPECT_EQ(Activate(), S_OK);
    EXPECT_EQ(Activate(), E_UNEXPECTED);
    EXPECT_EQ(page->TranslateAccelerator(nullptr), E_POINTER);
    MSG key{CFakeDialog::kWindow, CFakeDialog::kUsedKey, 0, 0, 0, {}};
    EXPECT_EQ(page->TranslateAccelerator(&key), S_OK);
    ++key.message;
    EXPECT_EQ(page->TranslateAccelerator(&key), S_FALSE);
    EXPECT_EQ(page->Help(L""), E_NOTIMPL);
}

TEST_F(CBasePropertyPageTest, TellsTheSiteWhenItGetsDirtyAndWhenItIsCleanAgain) {
    Open();
    EXPECT_EQ(page->IsPageDirty(), S_FALSE);
    EXPECT_EQ(page->Apply(), S_OK);
    EXPECT_EQ(page->calls, "CA");  // clean: nothing to apply
    EXPECT_TRUE(Screen().Type(kEdit, L" 42"));
    EXPECT_EQ(page->number, 42u);
    EXPECT_EQ(page->IsPageDirty(), S_OK);
    page->onHook = [](char) { return E_FAIL; };
    EXPECT_EQ(page->Apply(), E_FAIL);
    EXPECT_EQ(page->IsPageDirty(), S_OK);
    page->onHook = nullptr;
    EXPECT_EQ(page->Apply(), S_OK);
    EXPECT_EQ(page->IsPageDirty(), S_FALSE);
    EXPECT_EQ(site->statuses, (std::vector<DWORD>{PROPPAGESTATUS_DIRTY, PROPPAGESTATUS_CLEAN}));
}

TEST_F(CBasePropertyPageTest, PassesMessagesOnAndTheirAnswersBack) {
    Open();
    EXPECT_TRUE(Screen().Press(kTwo));
    EXPECT_EQ(Screen().LastAnswer(), 0);  // the base's
    EXPECT_TRUE(page->m_Dlg.IsChecked(kTwo));
    EXPECT_FALSE(page->m_Dlg.IsChecked(kOne));
    EXPECT_TRUE(page->m_Dlg.IsChecked(kAlone));  // of another group
    EXPECT_TRUE(Screen().Leave(kEdit));
    EXPECT_EQ(Screen().LastAnswer(), 1);
    page->m_Dlg.SetEnabled(kEdit, false);
    EXPECT_FALSE(Screen().Leave(kEdit));
}

TEST_F(CBasePropertyPageTest, SaysThatNobodyCanShowIt) {
    const auto blind = ComPtr<CFakePageSite>::Share(new CFakePageSite(false));
    ASSERT_EQ(Connect(), S_OK);
    EXPECT_EQ(Activate(), QRN_E_NO_DIALOG_HOST);  // no site either
    ASSERT_EQ(page->SetPageSite(blind.Get()), S_OK);
    EXPECT_EQ(Activate(), QRN_E_NO_DIALOG_HOST);
    page->SetDirty();
    EXPECT_EQ(page->Apply(), S_OK);  // which needs no screen
    EXPECT_EQ(page->calls, "C!");
}

TEST_F(CBasePropertyPageTest, ARefusedObjectIsNotConnected) {
    page->onHook = [](char) { return E_NOINTERFACE; };
    ASSERT_EQ(page->SetPageSite(site.Get()), S_OK);
    EXPECT_EQ(Connect(), E_NOINTERFACE);
    page->onHook = nullptr;
    EXPECT_EQ(Activate(), E_UNEXPECTED);
    EXPECT_EQ(Connect(), S_OK);
    EXPECT_EQ(Connect(), S_OK);  // another one: the first is let go of
    EXPECT_EQ(page->calls, "CCcC");
}

TEST_F(CBasePropertyPageTest, AFailureToShowLeavesNoDialogBehind) {
    ASSERT_EQ(page->SetPageSite(site.Get()), S_OK);
    ASSERT_EQ(Connect(), S_OK);
    site->makeResult = E_OUTOFMEMORY;
    EXPECT_EQ(Activate(), E_OUTOFMEMORY);
    site->makeResult = S_OK;
    page->onHook = [](char) { return E_FAIL; };
    EXPECT_EQ(Activate(), E_FAIL);
    EXPECT_TRUE(Screen().IsDestroyed());
    page->onHook = nullptr;
    EXPECT_EQ(Activate(), S_OK);
}

TEST_F(CBasePropertyPageTest, WhatAHookThrowsBecomesAnAnswer) {
    Open();
    page->SetDirty();
    page->onHook = [](char hook) -> HRESULT {
        if (hook == '!') {
            throw std::bad_alloc();
        }
        throw std::runtime_error("hook");
    };
    EXPECT_EQ(page->Apply(), E_OUTOFMEMORY);
    EXPECT_TRUE(Screen().Leave(kEdit));
    EXPECT_EQ(Screen().LastAnswer(), 0);
    EXPECT_EQ(page->Deactivate(), E_FAIL);
    EXPECT_TRUE(Screen().IsDestroyed());
    EXPECT_EQ(page->SetObjects(0, nullptr), E_FAIL);
    page->onHook = nullptr;
}

TEST_F(CBasePropertyPageTest, GoesWithItsDialogAndObject) {
    Open();
    std::string lastCalls;
    page->onHook = [&lastCalls](char hook) {
        lastCalls += hook;
        return S_OK;
    };
    held.Reset();
    EXPECT_EQ(lastCalls, "ac");
    EXPECT_TRUE(Screen().IsDestroyed());
    EXPECT_FALSE(Screen().Type(kEdit, L"1"));  // would reach a page that is gone
}

TEST_F(CBasePropertyPageTest, TellsItsTitleAndSize) {
    PROPPAGEINFO info{};
    ASSERT_EQ(page->GetPageInfo(&info), S_OK);
    TaskMemoryPtr<wchar_t> title(info.pszTitle);
    EXPECT_STREQ(title.get(), L"Settings");
    EXPECT_EQ(info.cb, sizeof(info));
    EXPECT_EQ(info.size.cx, 324);  // 216 * 6 / 4
    EXPECT_EQ(info.size.cy, 192);  // 118 * 13 / 8, rounded
    ASSERT_EQ(page->SetPageSite(site.Get()), S_OK);
    ASSERT_EQ(page->GetPageInfo(&info), S_OK);
    title.reset(info.pszTitle);
    EXPECT_EQ(info.size.cx, 432);  // the toolkit's word
    EXPECT_EQ(page->GetPageInfo(nullptr), E_POINTER);
}

struct NumberCase {
    const char* name;
    const wchar_t* text;
    std::optional<DWORD> number;
};
class DialogNumber : public CBasePropertyPageTest, public testing::WithParamInterface<NumberCase> {};
TEST_P(DialogNumber, TakesNumbersOnly) {
    Open();
    page->m_Dlg.SetText(kEdit, GetParam().text);
    EXPECT_EQ(page->m_Dlg.Number(kEdit), GetParam().number);
}
INSTANTIATE_TEST_SUITE_P(Texts, DialogNumber,
                         testing::Values(NumberCase{"Plain", L"44", 44}, NumberCase{"Blanks", L"  8", 8},
                                         NumberCase{"Zero", L"0", 0}, NumberCase{"Largest", L"4294967295", 4294967295u},
                                         NumberCase{"TooLarge", L"4294967296", {}},
                                         NumberCase{"MuchTooLarge", L"99999999999999999999999999", {}},
                                         NumberCase{"Empty", L"", {}}, NumberCase{"BlanksOnly", L"  ", {}},
                                         NumberCase{"Tail", L"12x", {}}, NumberCase{"Negative", L"-1", {}},
                                         NumberCase{"OtherDigits", L"\x0661", {}}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(CBasePropertyPageTest, CutsTextsAndAnswersForWhatIsNotThere) {
    EXPECT_EQ(page->m_Dlg.Text(kEdit), L"");
    EXPECT_EQ(page->m_Dlg.Window(), 0u);
    Open();
    page->m_Dlg.SetText(kEdit, std::wstring(3000, L'x'));
    EXPECT_EQ(page->m_Dlg.Text(kEdit, 2048).size(), 2048u);
    EXPECT_EQ(page->m_Dlg.Text(kEdit).size(), 3000u);
    EXPECT_EQ(page->m_Dlg.Text(999), L"");
    EXPECT_EQ(page->m_Dlg.Value(999), 0);
    EXPECT_FALSE(page->m_Dlg.IsEnabled(999));
}

TEST(OnePage, GivesOneIdInTaskMemory) {
    CAUUID pages{};
    ASSERT_EQ(OnePage(IID_IPin, &pages), S_OK);
    const TaskMemoryPtr<GUID> ids(pages.pElems);
    EXPECT_EQ(pages.cElems, 1u);
    EXPECT_EQ(*ids, IID_IPin);
    EXPECT_EQ(OnePage(IID_IPin, nullptr), E_POINTER);
}

}  // namespace
}  // namespace qrn::test
