#pragma once
/// A window that a filter needs as a handle.

#include "qrn/com.h"
#include "qrn/window.h"

namespace qrn {

/// What a window is made with: the class and style bits that GetClassWindowStyles names.
struct WindowStyles {
    const wchar_t* className = L"";
    DWORD classStyles = 0;
    DWORD windowStyles = 0;
    DWORD windowStylesEx = 0;
};

/// Makes and ends windows. Any thread.
class IWindowFactory {
public:
    virtual ~IWindowFactory() = default;
    /// @return a handle that no other living window of the process has; 0 when none can be made.
    virtual HWND Create(const WindowStyles& styles) = 0;
    virtual void Destroy(HWND window) = 0;
};

/// Handles without a screen behind them: what a sound device wants as its owner.
IWindowFactory& HandleWindowFactory();

}  // namespace qrn

/// To be a base of a filter. PrepareWindow in the filter's constructor, DoneWithWindow first in its destructor.
class CBaseWindow {
public:
    /// @param factory  outlives the window.
    explicit CBaseWindow(qrn::IWindowFactory& factory = qrn::HandleWindowFactory());
    virtual ~CBaseWindow();
    CBaseWindow(const CBaseWindow&) = delete;
    CBaseWindow& operator=(const CBaseWindow&) = delete;

    /// Makes the window unless there is one. E_FAIL when it cannot be made.
    virtual HRESULT PrepareWindow();
    virtual HRESULT DoneWithWindow();
    HWND GetWindowHWND() const { return m_hwnd; }

protected:
    /// The window's class and styles; returns the class name, which lives on.
    virtual const wchar_t* GetClassWindowStyles(DWORD* classStyles, DWORD* windowStyles, DWORD* windowStylesEx) = 0;

private:
    qrn::IWindowFactory& m_factory;
    HWND m_hwnd = 0;
};
