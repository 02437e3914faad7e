#include "framework/CBaseWindow.h"

#include <gtest/gtest.h>

#include <string>

namespace {

class CWindow final : public CBaseWindow {
public:
    using CBaseWindow::CBaseWindow;

protected:
    const wchar_t* GetClassWindowStyles(DWORD* classStyles, DWORD* windowStyles, DWORD* windowStylesEx) override {
        *classStyles = 3;
        *windowStyles = 0x02CF0000;
        *windowStylesEx = 0x100;
        return L"MyWindowClass";
    }
};

class CRecordingFactory final : public qrn::IWindowFactory {
public:
    HWND Create(const qrn::WindowStyles& styles) override {
        last = styles;
        ++created;
        return handle;
    }
    void Destroy(HWND window) override { destroyed = window; }

    qrn::WindowStyles last;
    int created = 0;
    HWND destroyed = 0;
    HWND handle = 77;
};

TEST(BaseWindow, HandlesAreUniqueAndEndWithTheWindow) {
    CWindow first;
    CWindow second;
    EXPECT_EQ(first.GetWindowHWND(), 0u);
    ASSERT_EQ(first.PrepareWindow(), S_OK);
    ASSERT_EQ(second.PrepareWindow(), S_OK);
    EXPECT_NE(first.GetWindowHWND(), 0u);
    EXPECT_NE(first.GetWindowHWND(), second.GetWindowHWND());
    first.DoneWithWindow();
    EXPECT_EQ(first.GetWindowHWND(), 0u);
}

TEST(BaseWindow, FactoryIsAskedOnceWithTheFiltersStyles) {
    CRecordingFactory factory;
    {
        CWindow window(factory);
        ASSERT_EQ(window.PrepareWindow(), S_OK);
        ASSERT_EQ(window.PrepareWindow(), S_OK);
        EXPECT_EQ(factory.created, 1);
        EXPECT_EQ(std::wstring(factory.last.className), L"MyWindowClass");
        EXPECT_EQ(factory.last.classStyles, 3u);
        EXPECT_EQ(factory.last.windowStyles, 0x02CF0000u);
        EXPECT_EQ(factory.last.windowStylesEx, 0x100u);
        EXPECT_EQ(factory.destroyed, 0u);
    }
    EXPECT_EQ(factory.destroyed, 77u);
}

TEST(BaseWindow, FailureToMakeOneIsTold) {
    CRecordingFactory factory;
    factory.handle = 0;
    CWindow window(factory);
    EXPECT_EQ(window.PrepareWindow(), E_FAIL);
    EXPECT_EQ(window.GetWindowHWND(), 0u);
}

}  // namespace
