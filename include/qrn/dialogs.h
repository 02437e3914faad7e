#pragma once
/// Dialogs as data, and the seam to whoever brings them to a screen. A property page (qrn/pages.h) describes its dialog
/// with QRN_DIALOG and works on it through IQRN_Dialog; a screen toolkit, or a test, stands behind IQRN_DialogHost.
///
/// A page finds the host by asking its IPropertyPageSite for IQRN_DialogHost, so whoever shows pages chooses the
/// toolkit. All calls of one dialog, in both directions, come on the thread that made it.

#include "qrn/com.h"
#include "qrn/window.h"

// ---------------------------------------------------------------------------------------------------------------------
// The data

enum QRN_CONTROL_KIND : DWORD {
    QRN_CONTROL_LABEL = 0,
    QRN_CONTROL_GROUP = 1,  ///< a frame with a caption; holds nothing, it only stands around others
    QRN_CONTROL_EDIT = 2,   ///< one line of text
    QRN_CONTROL_RADIO = 3,  ///< value 1: chosen
    QRN_CONTROL_CHECK = 4,  ///< value 1: checked
    QRN_CONTROL_BUTTON = 5,
    QRN_CONTROL_LIST = 6,    ///< a drop-down; the text is its lines, separated by '\n', the value the chosen one or -1
    QRN_CONTROL_SLIDER = 7,  ///< the value is the position, from `low` to `high`
};

// Styles of controls, with the values of the platform's dialog resources. They may be combined.
inline constexpr DWORD ES_PASSWORD = 0x20;     ///< edit: the text is masked
inline constexpr DWORD ES_AUTOHSCROLL = 0x80;  ///< edit: the text may be longer than the box
inline constexpr DWORD ES_READONLY = 0x800;    ///< edit
inline constexpr DWORD ES_NUMBER = 0x2000;     ///< edit: takes digits only
inline constexpr DWORD WS_TABSTOP = 0x00010000;
/// Starts a group: of radio buttons from here to the next control with this style, at most one is chosen.
inline constexpr DWORD WS_GROUP = 0x00020000;
inline constexpr DWORD WS_DISABLED = 0x08000000;
inline constexpr DWORD WS_VISIBLE = 0x10000000;

/// Position and size are in dialog units: horizontally a quarter, vertically an eighth of the font's mean character.
struct QRN_CONTROL {
    int id;  ///< -1 for one that nobody asks for
    QRN_CONTROL_KIND kind;
    const wchar_t* text;
    LONG x;
    LONG y;
    LONG width;
    LONG height;
    DWORD style = WS_VISIBLE;
    LONG value = 0;  ///< at first; see QRN_CONTROL_KIND
    LONG low = 0;
    LONG high = 0;
};

struct QRN_DIALOG {
    int id;  ///< the number of the resource
    LONG width;
    LONG height;
    const QRN_CONTROL* controls;  ///< in tab order
    ULONG controlCount;
    const wchar_t* fontName = L"MS Shell Dlg";
    LONG fontPoints = 8;
};

// ---------------------------------------------------------------------------------------------------------------------
// What a dialog tells

/// The user did something with a control: the low word of `wParam` is the control's id, the high word one of the
/// notifications below, `lParam` is 0. A page does not hear of what it changes itself.
inline constexpr UINT WM_COMMAND = 0x0111;

inline constexpr WORD BN_CLICKED = 0;         ///< buttons, check boxes and radio buttons; their value is the new one
inline constexpr WORD CBN_SELCHANGE = 1;      ///< lists
inline constexpr WORD EN_SETFOCUS = 0x0100;   ///< edits
inline constexpr WORD EN_KILLFOCUS = 0x0200;  ///< edits; also sent before the page is applied with the focus in one
inline constexpr WORD EN_CHANGE = 0x0300;     ///< edits, after each change of the text
inline constexpr WORD TB_THUMBPOSITION = 4;   ///< sliders

constexpr WORD LOWORD(WPARAM value) {
    return static_cast<WORD>(value & 0xFFFF);
}
constexpr WORD HIWORD(WPARAM value) {
    return static_cast<WORD>(value >> 16 & 0xFFFF);
}
constexpr WPARAM MAKEWPARAM(WORD low, WORD high) {
    return static_cast<WPARAM>(high) << 16 | low;
}

/// The page's side. Not counted: it lives until the dialog has been destroyed.
struct IQRN_DialogOwner {
    /// @return not 0 when the message has been dealt with. Throws nothing.
    virtual LONG_PTR OnDialogMessage(UINT message, WPARAM wParam, LPARAM lParam) = 0;

protected:
    ~IQRN_DialogOwner() = default;
};

// ---------------------------------------------------------------------------------------------------------------------
// The toolkit's side

/// Nobody is there who could show a dialog.
inline constexpr HRESULT QRN_E_NO_DIALOG_HOST = static_cast<HRESULT>(0x80040A01u);

/// One dialog. E_INVALIDARG for an id that it does not have or a control of a kind that does not go with the operation;
/// E_UNEXPECTED for everything but Destroy and the counting once it has been destroyed. Setting sends no notification.
struct IQRN_Dialog : IUnknown {
    /// The window, for whoever knows the toolkit; may be 0.
    virtual HRESULT GetWindow(HWND* window) = 0;
    virtual HRESULT Show(BOOL visible) = 0;
    /// In pixels, relative to the parent.
    virtual HRESULT Move(const RECT* rectangle) = 0;
    /// After it the owner is not called any more. Harmless a second time.
    virtual HRESULT Destroy() = 0;
    /// S_OK when the dialog used the key, else S_FALSE.
    virtual HRESULT TranslateAccelerator(const MSG* message) = 0;

    virtual HRESULT SetItemText(int id, const wchar_t* text) = 0;
    /// Copies what fits with a closing zero, as GetWindowText does, for a `capacity` above 0. @param length  receives
    /// the length of the whole text without the zero; may be null.
    virtual HRESULT GetItemText(int id, wchar_t* text, ULONG capacity, ULONG* length) = 0;
    /// Checks, chooses, selects or moves; see QRN_CONTROL_KIND. Choosing a radio button clears the others of its group.
    virtual HRESULT SetItemValue(int id, LONG value) = 0;
    virtual HRESULT GetItemValue(int id, LONG* value) = 0;
    virtual HRESULT SetItemRange(int id, LONG low, LONG high) = 0;
    virtual HRESULT GetItemRange(int id, LONG* low, LONG* high) = 0;
    virtual HRESULT SetItemEnabled(int id, BOOL enabled) = 0;
    virtual HRESULT GetItemEnabled(int id, BOOL* enabled) = 0;

protected:
    ~IQRN_Dialog() = default;
};
inline constexpr IID IID_IQRN_Dialog = qrn::Guid("DC5DE942-345C-4AD1-9E9B-717C52A15ED3");
template <>
inline constexpr IID IID_Of<IQRN_Dialog> = IID_IQRN_Dialog;

/// Makes dialogs. A property page's site that can show pages answers QueryInterface for it.
struct IQRN_DialogHost : IUnknown {
    /// Makes a dialog that is not yet shown, with its controls as the data has them.
    /// @param dialog  lives as long as the dialog. @param parent  0 for none.
    /// @return E_OUTOFMEMORY, or what the toolkit failed with.
    virtual HRESULT MakeDialog(const QRN_DIALOG* dialog, HWND parent, IQRN_DialogOwner* owner, IQRN_Dialog** made) = 0;
    /// The size in pixels that the dialog would have.
    virtual HRESULT GetDialogSize(const QRN_DIALOG* dialog, SIZE* size) = 0;

protected:
    ~IQRN_DialogHost() = default;
};
inline constexpr IID IID_IQRN_DialogHost = qrn::Guid("CA4CB4D9-209A-4CAD-B051-B6132821A4E1");
template <>
inline constexpr IID IID_Of<IQRN_DialogHost> = IID_IQRN_DialogHost;
