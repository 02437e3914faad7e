#pragma once
/// A frame for one property page with a dialog in memory: shows pages without a screen, and acts as the user.

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "framework/CUnknown.h"
#include "qrn/dialogs.h"
#include "qrn/pages.h"

namespace qrn::test {

/// The dialog, made from its data. Ids that it does not have answer E_INVALIDARG. Actions on disabled controls, and on
/// controls of the wrong kind, do nothing and say so.
class CFakeDialog final : public CUnknown, public IQRN_Dialog {
public:
    DECLARE_IUNKNOWN

    CFakeDialog(const QRN_DIALOG& dialog, IQRN_DialogOwner* owner) : CUnknown(L"fake dialog", nullptr), m_owner(owner) {
        int group = 0;
        for (ULONG i = 0; i < dialog.controlCount; ++i) {
            const QRN_CONTROL& data = dialog.controls[i];
            group += (data.style & WS_GROUP) != 0 ? 1 : 0;
            m_items[data.id] = Item{data,      data.text != nullptr ? data.text : L"", data.value, data.low,
                                    data.high, (data.style & WS_DISABLED) == 0,        group};
        }
    }

    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override {
        return id == IID_IQRN_Dialog ? GetInterface(static_cast<IQRN_Dialog*>(this), object)
                                     : CUnknown::NonDelegatingQueryInterface(id, object);
    }

    // What the user does
    /// A button, a check box or a radio button.
    bool Press(int id) {
        Item* item = Usable(id, {QRN_CONTROL_BUTTON, QRN_CONTROL_CHECK, QRN_CONTROL_RADIO});
        if (item == nullptr) {
            return false;
        }
        if (item->data.kind != QRN_CONTROL_BUTTON) {
            SetItemValue(id, item->data.kind == QRN_CONTROL_RADIO || item->value == 0 ? 1 : 0);
        }
        return Tell(id, BN_CLICKED);
    }
    /// Goes into an edit box and replaces its text.
    bool Type(int id, const wchar_t* text) {
        Item* item = Usable(id, {QRN_CONTROL_EDIT});
        if (item == nullptr || (item->data.style & ES_READONLY) != 0) {
            return false;
        }
        Tell(id, EN_SETFOCUS);
        item->text = text;
        return Tell(id, EN_CHANGE);
    }
    /// Goes out of an edit box.
    bool Leave(int id) { return Usable(id, {QRN_CONTROL_EDIT}) != nullptr && Tell(id, EN_KILLFOCUS); }
    bool Choose(int id, LONG line) {
        return Usable(id, {QRN_CONTROL_LIST}) != nullptr && SUCCEEDED(SetItemValue(id, line)) &&
               Tell(id, CBN_SELCHANGE);
    }
    bool Slide(int id, LONG position) {
        return Usable(id, {QRN_CONTROL_SLIDER}) != nullptr && SUCCEEDED(SetItemValue(id, position)) &&
               Tell(id, TB_THUMBPOSITION);
    }

    // What the user sees
    std::wstring Text(int id) const { return m_items.at(id).text; }
    LONG Value(int id) const { return m_items.at(id).value; }
    bool IsEnabled(int id) const { return m_items.at(id).enabled; }
    const QRN_CONTROL& Data(int id) const { return m_items.at(id).data; }
    bool IsVisible() const { return m_visible; }
    bool IsDestroyed() const { return m_owner == nullptr; }
    const RECT& Place() const { return m_place; }
    /// What the page answered to the last notification.
    LONG_PTR LastAnswer() const { return m_lastAnswer; }

    // IQRN_Dialog
    HRESULT GetWindow(HWND* window) override {
        *window = kWindow;
        return Alive();
    }
    HRESULT Show(BOOL visible) override {
        m_visible = visible != FALSE;
        return Alive();
    }
    HRESULT Move(const RECT* rectangle) override {
        m_place = *rectangle;
        return Alive();
    }
    HRESULT Destroy() override {
        m_owner = nullptr;
        m_visible = false;
        return S_OK;
    }
    HRESULT TranslateAccelerator(const MSG* message) override { return message->message == kUsedKey ? S_OK : S_FALSE; }
    HRESULT SetItemText(int id, const wchar_t* text) override {
        return With(id, [text](Item& item) {
            item.text = text;
            return S_OK;
        });
    }
    HRESULT GetItemText(int id, wchar_t* text, ULONG capacity, ULONG* length) override {
        return With(id, [text, capacity, length](Item& item) {
            if (capacity > 0) {
                text[item.text.copy(text, capacity - 1)] = L'\0';
            }
            if (length != nullptr) {
                *length = static_cast<ULONG>(item.text.size());
            }
            return S_OK;
        });
    }
    HRESULT SetItemValue(int id, LONG value) override {
        return With(id, [this, value](Item& item) {
            const bool isBounded = item.data.kind == QRN_CONTROL_SLIDER;
            if (isBounded && (value < item.low || value > item.high)) {
                return E_INVALIDARG;
            }
            if (item.data.kind == QRN_CONTROL_RADIO && value != 0) {
                for (auto& [otherId, other] : m_items) {
                    other.value = other.data.kind == QRN_CONTROL_RADIO && other.group == item.group ? 0 : other.value;
                }
            }
            item.value = value;
            return S_OK;
        });
    }
    HRESULT GetItemValue(int id, LONG* value) override {
        return With(id, [value](Item& item) {
            *value = item.value;
            return S_OK;
        });
    }
    HRESULT SetItemRange(int id, LONG low, LONG high) override {
        return With(id, [low, high](Item& item) {
            item.low = low;
            item.high = high;
            item.value = std::clamp(item.value, low, high);
            return S_OK;
        });
    }
    HRESULT GetItemRange(int id, LONG* low, LONG* high) override {
        return With(id, [low, high](Item& item) {
            *low = item.low;
            *high = item.high;
            return S_OK;
        });
    }
    HRESULT SetItemEnabled(int id, BOOL enabled) override {
        return With(id, [enabled](Item& item) {
            item.enabled = enabled != FALSE;
            return S_OK;
        });
    }
    HRESULT GetItemEnabled(int id, BOOL* enabled) override {
        return With(id, [enabled](Item& item) {
            *enabled = item.enabled ? TRUE : FALSE;
            return S_OK;
        });
    }

    static constexpr HWND kWindow = 51;
    static constexpr UINT kUsedKey = 0x0100;

private:
    struct Item {
        QRN_CONTROL data;
        std::wstring text;
        LONG value;
        LONG low;
        LONG high;
        bool enabled;
        int group;
    };

    HRESULT Alive() const { return m_owner != nullptr ? S_OK : E_UNEXPECTED; }
    template <class Call>
    HRESULT With(int id, Call call) {
        const auto item = m_items.find(id);
        if (m_owner == nullptr) {
            return E_UNEXPECTED;
        }
        return item != m_items.end() ? call(item->second) : E_INVALIDARG;
    }
    Item* Usable(int id, const std::vector<QRN_CONTROL_KIND>& kinds) {
        const auto item = m_items.find(id);
        if (m_owner == nullptr || item == m_items.end() || !item->second.enabled) {
            return nullptr;
        }
        const auto kind = std::find(kinds.begin(), kinds.end(), item->second.data.kind);
        return kind != kinds.end() ? &item->second : nullptr;
    }
    bool Tell(int id, WORD notification) {
        if (m_owner == nullptr) {
            return false;
        }
        m_lastAnswer = m_owner->OnDialogMessage(WM_COMMAND, MAKEWPARAM(static_cast<WORD>(id), notification), 0);
        return true;
    }

    IQRN_DialogOwner* m_owner;
    std::map<int, Item> m_items;
    bool m_visible = false;
    RECT m_place{};
    LONG_PTR m_lastAnswer = 0;
};

/// The site, which is the dialog host as well unless it is told to have no screen. Make it with `new`, hold it in a
/// ComPtr.
class CFakePageSite final : public CUnknown, public IPropertyPageSite, public IQRN_DialogHost {
public:
    DECLARE_IUNKNOWN

    explicit CFakePageSite(bool hasScreen = true) : CUnknown(L"fake site", nullptr), m_hasScreen(hasScreen) {}

    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override {
        if (id == IID_IPropertyPageSite) {
            return GetInterface(static_cast<IPropertyPageSite*>(this), object);
        }
        if (id == IID_IQRN_DialogHost && m_hasScreen) {
            return GetInterface(static_cast<IQRN_DialogHost*>(this), object);
        }
        return CUnknown::NonDelegatingQueryInterface(id, object);
    }

    HRESULT OnStatusChange(DWORD flags) override {
        statuses.push_back(flags);
        return S_OK;
    }
    HRESULT GetLocaleID(LCID*) override { return E_NOTIMPL; }
    HRESULT GetPageContainer(IUnknown**) override { return E_NOTIMPL; }
    HRESULT TranslateAccelerator(MSG*) override { return S_FALSE; }

    HRESULT MakeDialog(const QRN_DIALOG* data, HWND, IQRN_DialogOwner* owner, IQRN_Dialog** made) override {
        if (FAILED(makeResult)) {
            return makeResult;
        }
        dialog = ComPtr<CFakeDialog>::Share(new CFakeDialog(*data, owner));
        return dialog->QueryInterface(IID_IQRN_Dialog, reinterpret_cast<void**>(made));
    }
    HRESULT GetDialogSize(const QRN_DIALOG* data, SIZE* size) override {
        *size = SIZE{data->width * 2, data->height * 2};
        return S_OK;
    }

    /// The last one that was made.
    ComPtr<CFakeDialog> dialog;
    std::vector<DWORD> statuses;
    HRESULT makeResult = S_OK;

private:
    const bool m_hasScreen;
};

}  // namespace qrn::test
