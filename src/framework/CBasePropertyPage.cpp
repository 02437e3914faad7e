#include "framework/CBasePropertyPage.h"

#include "framework/Boundary.h"
#include "platform/com/TaskMemory.h"

namespace {

/// What a dialog unit of the dialogs' own font, 8-point "MS Shell Dlg", comes to at 96 dots per inch: its mean
/// character is 6 pixels wide and 13 high. For a frame that asks for a size before there is a toolkit.
constexpr SIZE kCharacterPixels{6, 13};

}  // namespace

CBasePropertyPage::CBasePropertyPage(const wchar_t* name, IUnknown* outer, const QRN_DIALOG& dialog,
                                     const QRN_STRING& title)
    : CUnknown(name, outer),
      m_dialog(dialog),
      m_title(title) {}

CBasePropertyPage::~CBasePropertyPage() = default;

void CBasePropertyPage::FinalRelease() {
    if (m_Dlg) {
        Deactivate();
    }
    if (m_isConnected) {
        Disconnect();
    }
}

HRESULT CBasePropertyPage::NonDelegatingQueryInterface(REFIID id, void** object) {
    if (id == IID_IPropertyPage) {
        return GetInterface(static_cast<IPropertyPage*>(this), object);
    }
    return CUnknown::NonDelegatingQueryInterface(id, object);
}

// ---------------------------------------------------------------------------------------------------------------------
// Site and object

HRESULT CBasePropertyPage::SetPageSite(IPropertyPageSite* site) {
    if ((site != nullptr) == static_cast<bool>(m_pPageSite)) {
        return E_UNEXPECTED;
    }
    m_pPageSite = qrn::ComPtr<IPropertyPageSite>::Share(site);
    return S_OK;
}

HRESULT CBasePropertyPage::SetObjects(ULONG count, IUnknown** objects) {
    if (count > 1) {
        return E_UNEXPECTED;
    }
    if (count == 0) {
        return Disconnect();
    }
    if (objects == nullptr || objects[0] == nullptr) {
        return E_POINTER;
    }
    if (m_isConnected) {
        Disconnect();
    }
    const HRESULT result = qrn::AnswerFor([&] { return OnConnect(objects[0]); });
    m_isConnected = SUCCEEDED(result);
    return result;
}

HRESULT CBasePropertyPage::Disconnect() {
    m_isConnected = false;
    return qrn::AnswerFor([this] { return OnDisconnect(); });
}

// ---------------------------------------------------------------------------------------------------------------------
// The dialog

HRESULT CBasePropertyPage::Activate(HWND parent, const RECT* rectangle, BOOL /*modal*/) {
    if (rectangle == nullptr) {
        return E_POINTER;
    }
    if (!m_isConnected || m_Dlg) {
        return E_UNEXPECTED;
    }
    const qrn::ComPtr<IQRN_DialogHost> host = FindHost();
    if (!host) {
        return QRN_E_NO_DIALOG_HOST;
    }
    HRESULT result = m_Dlg.Open(host.Get(), m_dialog, parent, this);
    if (FAILED(result)) {
        return result;
    }
    result = qrn::AnswerFor([this] { return OnActivate(); });
    if (SUCCEEDED(result)) {
        result = Move(rectangle);
    }
    if (SUCCEEDED(result)) {
        result = Show(SW_SHOWNORMAL);
    }
    if (FAILED(result)) {
        m_Dlg.Close();
    }
    return result;
}

HRESULT CBasePropertyPage::Deactivate() {
    if (!m_Dlg) {
        return E_UNEXPECTED;
    }
    const HRESULT result = qrn::AnswerFor([this] { return OnDeactivate(); });
    m_Dlg.Close();
    return FAILED(result) ? result : S_OK;
}

HRESULT CBasePropertyPage::Show(UINT command) {
    if (!m_Dlg) {
        return E_UNEXPECTED;
    }
    if (command != SW_SHOW && command != SW_SHOWNORMAL && command != SW_HIDE) {
        return E_INVALIDARG;
    }
    return m_Dlg->Show(command != SW_HIDE ? TRUE : FALSE);
}

HRESULT CBasePropertyPage::Move(const RECT* rectangle) {
    if (rectangle == nullptr) {
        return E_POINTER;
    }
    return m_Dlg ? m_Dlg->Move(rectangle) : E_UNEXPECTED;
}

HRESULT CBasePropertyPage::TranslateAccelerator(MSG* message) {
    if (message == nullptr) {
        return E_POINTER;
    }
    return m_Dlg ? m_Dlg->TranslateAccelerator(message) : E_UNEXPECTED;
}

HRESULT CBasePropertyPage::Help(const wchar_t* /*helpFolder*/) {
    return E_NOTIMPL;
}

HRESULT CBasePropertyPage::GetPageInfo(PROPPAGEINFO* info) {
    if (info == nullptr) {
        return E_POINTER;
    }
    wchar_t* title = qrn::CopyToTaskMemory(m_title.text);
    if (title == nullptr) {
        return E_OUTOFMEMORY;
    }
    *info = PROPPAGEINFO{sizeof(PROPPAGEINFO), title, DialogSize(), nullptr, nullptr, 0};
    return S_OK;
}

SIZE CBasePropertyPage::DialogSize() const {
    SIZE size{};
    const qrn::ComPtr<IQRN_DialogHost> host = FindHost();
    if (host && SUCCEEDED(host->GetDialogSize(&m_dialog, &size))) {
        return size;
    }
    return SIZE{(m_dialog.width * kCharacterPixels.cx + 2) / 4, (m_dialog.height * kCharacterPixels.cy + 4) / 8};
}

qrn::ComPtr<IQRN_DialogHost> CBasePropertyPage::FindHost() const {
    return m_pPageSite.As<IQRN_DialogHost>();
}

// ---------------------------------------------------------------------------------------------------------------------
// Changes

HRESULT CBasePropertyPage::IsPageDirty() {
    return m_bDirty != FALSE ? S_OK : S_FALSE;
}

HRESULT CBasePropertyPage::Apply() {
    if (!m_isConnected || !m_pPageSite) {
        return E_UNEXPECTED;
    }
    if (IsPageDirty() != S_OK) {
        return S_OK;
    }
    const HRESULT result = qrn::AnswerFor([this] { return OnApplyChanges(); });
    if (SUCCEEDED(result)) {
        SetDirty(false);
    }
    return result;
}

void CBasePropertyPage::SetDirty(bool dirty) {
    m_bDirty = dirty ? TRUE : FALSE;
    // Held for the call: the site may let go of the page in answer.
    if (const qrn::ComPtr<IPropertyPageSite> site = m_pPageSite) {
        site->OnStatusChange(dirty ? PROPPAGESTATUS_DIRTY : PROPPAGESTATUS_CLEAN);
    }
}

LONG_PTR CBasePropertyPage::OnDialogMessage(UINT message, WPARAM wParam, LPARAM lParam) {
    LONG_PTR answer = 0;
    qrn::AnswerFor([&] {
        answer = OnReceiveMessage(m_Dlg.Window(), message, wParam, lParam);
        return S_OK;
    });
    return answer;
}

// ---------------------------------------------------------------------------------------------------------------------
// Hooks

HRESULT CBasePropertyPage::OnConnect(IUnknown* /*object*/) {
    return S_OK;
}

HRESULT CBasePropertyPage::OnDisconnect() {
    return S_OK;
}

HRESULT CBasePropertyPage::OnActivate() {
    return S_OK;
}

HRESULT CBasePropertyPage::OnDeactivate() {
    return S_OK;
}

HRESULT CBasePropertyPage::OnApplyChanges() {
    return S_OK;
}

LONG_PTR CBasePropertyPage::OnReceiveMessage(HWND /*window*/, UINT /*message*/, WPARAM /*wParam*/, LPARAM /*lParam*/) {
    return 0;
}

namespace qrn {

HRESULT OnePage(REFCLSID page, CAUUID* pages) {
    if (pages == nullptr) {
        return E_POINTER;
    }
    *pages = CAUUID{0, static_cast<GUID*>(CoTaskMemAlloc(sizeof(GUID)))};
    if (pages->pElems == nullptr) {
        return E_OUTOFMEMORY;
    }
    *pages->pElems = page;
    pages->cElems = 1;
    return S_OK;
}

}  // namespace qrn
