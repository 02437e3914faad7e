#include "audiocoding/CPropPageAudioDeCompressor.h"

#include <iterator>

#include "framework/Boundary.h"

namespace {

using Page = CPropPageAudioDeCompressor;

constexpr int kModes = 3;
constexpr DWORD kRadioStyle = WS_VISIBLE | WS_TABSTOP;

constexpr QRN_STRING kTitle{21000, L"DeCompressor Settings"};
constexpr QRN_CONTROL kControls[] = {
    {-1, QRN_CONTROL_GROUP, L"Channel", 7, 7, 97, 72},
    {Page::kFirstMode, QRN_CONTROL_RADIO, L"one", 15, 19, 80, 10, kRadioStyle | WS_GROUP},
    {Page::kFirstMode + 1, QRN_CONTROL_RADIO, L"two", 15, 35, 80, 10, kRadioStyle},
    {Page::kFirstMode + 2, QRN_CONTROL_RADIO, L"both", 15, 51, 80, 10, kRadioStyle},
};
constexpr QRN_DIALOG kDialog{21001, 216, 106, kControls, std::size(kControls)};

}  // namespace

CUnknown* CPropPageAudioDeCompressor::CreateInstance(IUnknown* outer, HRESULT* result) {
    return qrn::CreateWithoutExceptions(result, [&] { return new CPropPageAudioDeCompressor(outer); });
}

CPropPageAudioDeCompressor::CPropPageAudioDeCompressor(IUnknown* outer)
    : CBasePropertyPage(L"DeCompressor Settings", outer, kDialog, kTitle) {}

HRESULT CPropPageAudioDeCompressor::OnConnect(IUnknown* object) {
    if (const HRESULT result = object->QueryInterface(IID_IQRN_AudioDeCompressor, m_decompressor.PutVoid());
        FAILED(result)) {
        return result;
    }
    m_decompressor->GetChannelMode(&m_mode);
    SetDirty();
    return S_OK;
}

HRESULT CPropPageAudioDeCompressor::OnDisconnect() {
    m_decompressor.Reset();
    return S_OK;
}

HRESULT CPropPageAudioDeCompressor::OnActivate() {
    m_Dlg.SetChecked(kFirstMode + static_cast<int>(m_mode), true);
    return S_OK;
}

HRESULT CPropPageAudioDeCompressor::OnApplyChanges() {
    m_decompressor->SetChannelMode(m_mode);
    return S_OK;
}

LONG_PTR CPropPageAudioDeCompressor::OnReceiveMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    const int id = LOWORD(wParam);
    if (message != WM_COMMAND || HIWORD(wParam) != BN_CLICKED || id < kFirstMode || id >= kFirstMode + kModes) {
        return CBasePropertyPage::OnReceiveMessage(window, message, wParam, lParam);
    }
    m_mode = static_cast<DWORD>(id - kFirstMode);
    SetDirty();
    return 1;
}
