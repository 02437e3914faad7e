#pragma once
/// The page "Compressor Settings" of the audio compressor.

#include "framework/CBasePropertyPage.h"
#include "qrn/QRN_Media2.h"

/// Codec, channels and bit rate. Threads as CBasePropertyPage.
class CPropPageAudioCompressor : public CBasePropertyPage {
public:
    // Ids of the controls. Those of the radio buttons follow each other: codecs in the order of their ids.
    static constexpr int kFirstCodec = 11010;
    static constexpr int kOneChannel = 11020;
    static constexpr int kTwoChannels = 11021;
    static constexpr int kBitrate = 11030;

    /// Null with E_OUTOFMEMORY in `result` when there is no memory for it.
    static CUnknown* CreateInstance(IUnknown* outer, HRESULT* result);

protected:
    HRESULT OnConnect(IUnknown* object) override;
    HRESULT OnDisconnect() override;
    HRESULT OnActivate() override;
    HRESULT OnApplyChanges() override;
    LONG_PTR OnReceiveMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) override;

private:
    explicit CPropPageAudioCompressor(IUnknown* outer);

    void ChooseCodec(DWORD codec);

    qrn::ComPtr<IQRN_AudioCompressor> m_compressor;
    DWORD m_codec;
    LONG m_bitrate;
    DWORD m_channels = 1;
};
