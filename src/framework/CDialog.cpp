#include "framework/CDialog.h"

#include <algorithm>
#include <utility>

namespace qrn {

HRESULT CDialog::Open(IQRN_DialogHost* host, const QRN_DIALOG& dialog, HWND parent, IQRN_DialogOwner* owner) {
    Close();
    ComPtr<IQRN_Dialog> made;
    const HRESULT result = host->MakeDialog(&dialog, parent, owner, made.Put());
    if (FAILED(result)) {
        return result;
    }
    if (!made) {
        return E_UNEXPECTED;
    }
    m_dialog = std::move(made);
    return S_OK;
}

void CDialog::Close() {
    // Empty before the host is called: it may come back to the page.
    if (const ComPtr<IQRN_Dialog> dialog = std::exchange(m_dialog, nullptr)) {
        dialog->Destroy();
    }
}

HWND CDialog::Window() const {
    HWND window = 0;
    if (m_dialog && FAILED(m_dialog->GetWindow(&window))) {
        return 0;
    }
    return window;
}

std::wstring CDialog::Text(int id, std::size_t maxCharacters) const {
    ULONG length = 0;
    if (!m_dialog || FAILED(m_dialog->GetItemText(id, nullptr, 0, &length))) {
        return {};
    }
    std::wstring text(std::min<std::size_t>(length, std::min(maxCharacters, kMaxText)) + 1, L'\0');
    if (FAILED(m_dialog->GetItemText(id, text.data(), static_cast<ULONG>(text.size()), nullptr))) {
        return {};
    }
    text.resize(text.find(L'\0') != std::wstring::npos ? text.find(L'\0') : 0);
    return text;
}

void CDialog::SetText(int id, const std::wstring& text) {
    if (m_dialog) {
        m_dialog->SetItemText(id, text.c_str());
    }
}

std::optional<DWORD> CDialog::Number(int id) const {
    constexpr std::size_t kMaxNumberText = 64;
    std::wstring text = Text(id, kMaxNumberText);
    text.erase(0, text.find_first_not_of(L' '));
    ULONGLONG number = 0;
    for (const wchar_t digit : text) {
        if (digit < L'0' || digit > L'9') {
            return std::nullopt;
        }
        number = number * 10 + static_cast<ULONGLONG>(digit - L'0');
        if (number > UINT32_MAX) {
            return std::nullopt;
        }
    }
    return text.empty() ? std::nullopt : std::optional(static_cast<DWORD>(number));
}

void CDialog::SetNumber(int id, DWORD number) {
    SetText(id, std::to_wstring(number));
}

LONG CDialog::Value(int id) const {
    LONG value = 0;
    return m_dialog && SUCCEEDED(m_dialog->GetItemValue(id, &value)) ? value : 0;
}

void CDialog::SetValue(int id, LONG value) {
    if (m_dialog) {
        m_dialog->SetItemValue(id, value);
    }
}

void CDialog::SetEnabled(int id, bool enabled) {
    if (m_dialog) {
        m_dialog->SetItemEnabled(id, enabled ? TRUE : FALSE);
    }
}

bool CDialog::IsEnabled(int id) const {
    BOOL enabled = FALSE;
    return m_dialog && SUCCEEDED(m_dialog->GetItemEnabled(id, &enabled)) && enabled != FALSE;
}

void CDialog::SetRange(int id, LONG low, LONG high) {
    if (m_dialog) {
        m_dialog->SetItemRange(id, low, high);
    }
}

}  // namespace qrn
