#pragma once
/// Windows, as far as the interfaces name them: handles, rectangles, messages. Sizes and positions are pixels.

#include "qrn/com.h"

/// A window's handle; 0 is none. What it stands for is the affair of whoever made the window.
using HWND = std::uintptr_t;
using WPARAM = DWORD_PTR;
using LPARAM = LONG_PTR;
using LCID = DWORD;

struct POINT {
    LONG x;
    LONG y;
};

struct SIZE {
    LONG cx;
    LONG cy;
};

/// `right` and `bottom` are the first column and row outside.
struct RECT {
    LONG left;
    LONG top;
    LONG right;
    LONG bottom;
};

struct MSG {
    HWND hwnd;
    UINT message;
    WPARAM wParam;
    LPARAM lParam;
    DWORD time;
    POINT pt;
};

// How a window is shown.
inline constexpr UINT SW_HIDE = 0;
inline constexpr UINT SW_SHOWNORMAL = 1;
inline constexpr UINT SW_SHOW = 5;
