#pragma once
/// A page's dialog, with the operations on its controls as a page wants them.

#include <optional>
#include <string>

#include "qrn/dialogs.h"

namespace qrn {

/// Holds the dialog of an active page; empty otherwise. On an empty one, and with an id that the dialog does not have,
/// questions answer as for an empty control and setting does nothing. The thread of the page.
class CDialog {
public:
    /// The longest text that Text gives, in characters.
    static constexpr std::size_t kMaxText = 32767;

    CDialog() = default;
    ~CDialog() { Close(); }
    CDialog(const CDialog&) = delete;
    CDialog& operator=(const CDialog&) = delete;

    /// Lets the host make the dialog.
    HRESULT Open(IQRN_DialogHost* host, const QRN_DIALOG& dialog, HWND parent, IQRN_DialogOwner* owner);
    /// Destroys it; the owner is not called any more.
    void Close();

    explicit operator bool() const { return static_cast<bool>(m_dialog); }
    /// Keeps the dialog for the call, which may close it.
    ComPtr<IQRN_Dialog> operator->() const { return m_dialog; }
    /// 0 where the toolkit has no handles.
    HWND Window() const;

    /// At most `maxCharacters` of the control's text; the rest is cut off.
    std::wstring Text(int id, std::size_t maxCharacters = kMaxText) const;
    void SetText(int id, const std::wstring& text);

    /// The control's text as a number: blanks, then decimal digits only. Nothing for any other text, and for one past
    /// 32 bits.
    std::optional<DWORD> Number(int id) const;
    void SetNumber(int id, DWORD number);

    /// Check state, chosen line or position; see QRN_CONTROL_KIND.
    LONG Value(int id) const;
    void SetValue(int id, LONG value);
    bool IsChecked(int id) const { return Value(id) != 0; }
    void SetChecked(int id, bool checked) { SetValue(id, checked ? 1 : 0); }

    void SetEnabled(int id, bool enabled);
    bool IsEnabled(int id) const;
    void SetRange(int id, LONG low, LONG high);

private:
    ComPtr<IQRN_Dialog> m_dialog;
};

}  // namespace qrn
