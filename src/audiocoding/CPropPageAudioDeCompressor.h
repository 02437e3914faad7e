#pragma once
/// The page "DeCompressor Settings" of the audio decompressor.

#include "framework/CBasePropertyPage.h"
#include "qrn/QRN_Media2.h"

/// Which channel of a stereo stream is heard. Threads as CBasePropertyPage.
class CPropPageAudioDeCompressor : public CBasePropertyPage {
public:
    /// Id of the first of three radio buttons, which follow each other in the order of the channel modes.
    static constexpr int kFirstMode = 21010;

    /// Null with E_OUTOFMEMORY in `result` when there is no memory for it.
    static CUnknown* CreateInstance(IUnknown* outer, HRESULT* result);

protected:
    HRESULT OnConnect(IUnknown* object) override;
    HRESULT OnDisconnect() override;
    HRESULT OnActivate() override;
    HRESULT OnApplyChanges() override;
    LONG_PTR OnReceiveMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) override;

private:
    explicit CPropPageAudioDeCompressor(IUnknown* outer);

    qrn::ComPtr<IQRN_AudioDeCompressor> m_decompressor;
    DWORD m_mode = 0;
};
