#pragma once
/// The base of a property page.
///
/// A page is made of data and a few hooks:
///
///     constexpr int kRate = 7001;
///     constexpr QRN_CONTROL kControls[] = {
///         {-1, QRN_CONTROL_LABEL, L"Rate", 10, 12, 40, 8},
///         {kRate, QRN_CONTROL_EDIT, L"", 60, 10, 50, 14, WS_VISIBLE | WS_TABSTOP | ES_NUMBER},
///     };
///     constexpr QRN_DIALOG kDialog{7000, 216, 40, kControls, std::size(kControls)};
///     constexpr QRN_STRING kTitle{7002, L"Rate"};
///
///     CRatePage::CRatePage(IUnknown* outer, HRESULT*) : CBasePropertyPage(L"rate page", outer, kDialog, kTitle) {}
///     HRESULT CRatePage::OnConnect(IUnknown* object) {
///         const HRESULT result = object->QueryInterface(IID_Of<IRate>, m_rate.PutVoid());
///         ... read the values; SetDirty() where the page counts as dirty from here on ...
///         return result;
///     }
///     HRESULT CRatePage::OnDisconnect() { m_rate.Reset(); return S_OK; }
///     HRESULT CRatePage::OnActivate() { m_Dlg.SetNumber(kRate, m_value); return S_OK; }
///     HRESULT CRatePage::OnApplyChanges() { m_rate->Set(m_value); return S_OK; }
///     LONG_PTR CRatePage::OnReceiveMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
///         if (message == WM_COMMAND && LOWORD(wParam) == kRate && HIWORD(wParam) == EN_KILLFOCUS) {
///             if (const auto number = m_Dlg.Number(kRate)) { m_value = *number; SetDirty(); }
///             return 1;
///         }
///         return CBasePropertyPage::OnReceiveMessage(window, message, wParam, lParam);
///     }
///
/// The class gets its row in the module's class table with a null setup record. The filter answers
/// ISpecifyPropertyPages, with qrn::OnePage for GetPages.

#include "framework/CDialog.h"
#include "framework/CUnknown.h"
#include "qrn/dialogs.h"
#include "qrn/pages.h"

/// A text with the number of its resource.
struct QRN_STRING {
    int id;
    const wchar_t* text;
};

/// One thread: that of the user interface. What the hooks throw is answered with E_OUTOFMEMORY or E_FAIL.
class CBasePropertyPage : public IPropertyPage, public CUnknown, private IQRN_DialogOwner {
public:
    DECLARE_IUNKNOWN

    /// @param dialog  with @param title: live as long as the page.
    CBasePropertyPage(const wchar_t* name, IUnknown* outer, const QRN_DIALOG& dialog, const QRN_STRING& title);
    ~CBasePropertyPage() override;

    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override;

    // IPropertyPage
    HRESULT SetPageSite(IPropertyPageSite* site) override;
    HRESULT Activate(HWND parent, const RECT* rectangle, BOOL modal) override;
    HRESULT Deactivate() override;
    HRESULT GetPageInfo(PROPPAGEINFO* info) override;
    /// An object that OnConnect refuses is not connected. A second one first disconnects the one before.
    HRESULT SetObjects(ULONG count, IUnknown** objects) override;
    HRESULT Show(UINT command) override;
    HRESULT Move(const RECT* rectangle) override;
    HRESULT IsPageDirty() override;
    /// E_UNEXPECTED without an object or a site. Calls OnApplyChanges when dirty; its success clears the dirty mark and
    /// tells the site, its failure leaves the page dirty.
    HRESULT Apply() override;
    /// E_NOTIMPL: there is no help.
    HRESULT Help(const wchar_t* helpFolder) override;
    HRESULT TranslateAccelerator(MSG* message) override;

protected:
    // The hooks. Each answers S_OK unless overridden.
    /// The object whose ISpecifyPropertyPages named the page. A failure refuses it.
    virtual HRESULT OnConnect(IUnknown* object);
    /// Called by SetObjects with none whether or not there was an object, and when the page goes with one.
    virtual HRESULT OnDisconnect();
    /// m_Dlg is there, not yet shown: set its controls. A failure closes it again.
    virtual HRESULT OnActivate();
    /// m_Dlg is still there.
    virtual HRESULT OnDeactivate();
    virtual HRESULT OnApplyChanges();
    /// A message of the dialog, see qrn/dialogs.h. @return not 0 when it was dealt with.
    virtual LONG_PTR OnReceiveMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

    /// Sets the dirty mark and tells the site, if there is one: PROPPAGESTATUS_DIRTY, or PROPPAGESTATUS_CLEAN.
    void SetDirty(bool dirty = true);

    qrn::CDialog m_Dlg;
    BOOL m_bDirty = FALSE;
    qrn::ComPtr<IPropertyPageSite> m_pPageSite;

    /// Disconnects and closes while the whole page is there.
    void FinalRelease() override;

private:
    LONG_PTR OnDialogMessage(UINT message, WPARAM wParam, LPARAM lParam) override;
    qrn::ComPtr<IQRN_DialogHost> FindHost() const;
    SIZE DialogSize() const;
    HRESULT Disconnect();

    const QRN_DIALOG& m_dialog;
    const QRN_STRING& m_title;
    bool m_isConnected = false;
};

namespace qrn {

/// ISpecifyPropertyPages::GetPages of an object with one page. E_POINTER, E_OUTOFMEMORY.
HRESULT OnePage(REFCLSID page, CAUUID* pages);

}  // namespace qrn
