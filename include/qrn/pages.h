#pragma once
/// Property pages: which pages an object has, a page, and the frame's side of it.
///
/// Whoever shows a page makes it by its class id and calls, on one thread: SetPageSite, SetObjects with the object that
/// named the page, Activate; Apply whenever the user asks for it; then Deactivate, SetObjects with none and SetPageSite
/// with null. The site also answers QueryInterface for IQRN_DialogHost (qrn/dialogs.h), which draws the dialog.

#include "qrn/com.h"
#include "qrn/window.h"

/// A counted array of identifiers; `pElems` is task memory.
struct CAUUID {
    ULONG cElems;
    GUID* pElems;
};

struct ISpecifyPropertyPages : IUnknown {
    /// The class ids of the pages. The callee allocates with CoTaskMemAlloc, the caller frees.
    virtual HRESULT GetPages(CAUUID* pages) = 0;

protected:
    ~ISpecifyPropertyPages() = default;
};
inline constexpr IID IID_ISpecifyPropertyPages = qrn::Guid("B196B28B-BAB4-101A-B69C-00AA00341D07");
template <>
inline constexpr IID IID_Of<ISpecifyPropertyPages> = IID_ISpecifyPropertyPages;

// What a page tells its site.
inline constexpr DWORD PROPPAGESTATUS_DIRTY = 1;
inline constexpr DWORD PROPPAGESTATUS_VALIDATE = 2;
inline constexpr DWORD PROPPAGESTATUS_CLEAN = 4;

/// The frame's side of one page.
struct IPropertyPageSite : IUnknown {
    /// The dirty mark of the page has changed: PROPPAGESTATUS_... .
    virtual HRESULT OnStatusChange(DWORD flags) = 0;
    virtual HRESULT GetLocaleID(LCID* locale) = 0;
    virtual HRESULT GetPageContainer(IUnknown** container) = 0;
    virtual HRESULT TranslateAccelerator(MSG* message) = 0;

protected:
    ~IPropertyPageSite() = default;
};
inline constexpr IID IID_IPropertyPageSite = qrn::Guid("B196B28C-BAB4-101A-B69C-00AA00341D07");
template <>
inline constexpr IID IID_Of<IPropertyPageSite> = IID_IPropertyPageSite;

/// The texts are task memory that the caller frees; the last two may be null.
struct PROPPAGEINFO {
    ULONG cb;
    wchar_t* pszTitle;
    SIZE size;  ///< in pixels
    wchar_t* pszDocString;
    wchar_t* pszHelpFile;
    DWORD dwHelpContext;
};

struct IPropertyPage : IUnknown {
    /// Null lets go of it. E_UNEXPECTED for a second site, or for null without one.
    virtual HRESULT SetPageSite(IPropertyPageSite* site) = 0;
    /// Makes the dialog and shows it. E_UNEXPECTED without objects or when active; QRN_E_NO_DIALOG_HOST without
    /// anybody who could show it.
    virtual HRESULT Activate(HWND parent, const RECT* rectangle, BOOL modal) = 0;
    /// E_UNEXPECTED when not active.
    virtual HRESULT Deactivate() = 0;
    virtual HRESULT GetPageInfo(PROPPAGEINFO* info) = 0;
    /// One object or none; E_UNEXPECTED for more.
    virtual HRESULT SetObjects(ULONG count, IUnknown** objects) = 0;
    /// SW_HIDE, SW_SHOW or SW_SHOWNORMAL, else E_INVALIDARG.
    virtual HRESULT Show(UINT command) = 0;
    virtual HRESULT Move(const RECT* rectangle) = 0;
    /// S_OK when dirty, else S_FALSE.
    virtual HRESULT IsPageDirty() = 0;
    /// Gives what the page shows to the object. S_OK when there was nothing to give.
    virtual HRESULT Apply() = 0;
    virtual HRESULT Help(const wchar_t* helpFolder) = 0;
    /// S_OK when the page used the key, S_FALSE when not.
    virtual HRESULT TranslateAccelerator(MSG* message) = 0;

protected:
    ~IPropertyPage() = default;
};
inline constexpr IID IID_IPropertyPage = qrn::Guid("B196B28D-BAB4-101A-B69C-00AA00341D07");
template <>
inline constexpr IID IID_Of<IPropertyPage> = IID_IPropertyPage;
