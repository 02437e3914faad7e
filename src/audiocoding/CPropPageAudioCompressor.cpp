#include "audiocoding/CPropPageAudioCompressor.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "audiocoding/AudioCodecTable.h"
#include "framework/Boundary.h"

namespace {

using Page = CPropPageAudioCompressor;

constexpr DWORD kDefaultCodec = kQrnCodecSpeexHq;
constexpr LONG kDefaultBitrate = 44;
/// The rates that these two codecs always have.
constexpr DWORD kGsmBitrate = 13;
constexpr DWORD kMp3Bitrate = 64;

constexpr int kCodecs = kQrnAudioCodecCount;
constexpr int kLineHeight = 16;
constexpr DWORD kRadioStyle = WS_VISIBLE | WS_TABSTOP;

constexpr QRN_STRING kTitle{11000, L"Compressor Settings"};

constexpr QRN_CONTROL kOthers[] = {
    {-1, QRN_CONTROL_GROUP, L"Channels", 112, 7, 97, 48, WS_VISIBLE | WS_GROUP},
    {Page::kOneChannel, QRN_CONTROL_RADIO, L"one", 120, 19, 60, 10, kRadioStyle | WS_GROUP},
    {Page::kTwoChannels, QRN_CONTROL_RADIO, L"two", 120, 35, 60, 10, kRadioStyle},
    {-1, QRN_CONTROL_LABEL, L"Bitrate[Kbps]", 112, 67, 52, 8, WS_VISIBLE | WS_GROUP},
    {Page::kBitrate, QRN_CONTROL_EDIT, L"", 168, 65, 40, 12, WS_VISIBLE | WS_TABSTOP | ES_NUMBER | ES_AUTOHSCROLL},
};

using Controls = std::array<QRN_CONTROL, 1 + kCodecs + std::size(kOthers)>;

/// The group of codecs comes from their table.
Controls MakeControls() {
    Controls controls{};
    controls[0] = {-1, QRN_CONTROL_GROUP, L"Audio Codec", 7, 7, 97, 24 + kCodecs * kLineHeight};
    auto* next = &controls[1];
    for (const qrn::AudioCodec& codec : qrn::AudioCodecs()) {
        const DWORD group = codec.id == 0 ? WS_GROUP : 0;
        *next++ = {Page::kFirstCodec + codec.id, QRN_CONTROL_RADIO, codec.name, 15, 19 + codec.id * kLineHeight, 80, 10,
                   kRadioStyle | group};
    }
    std::copy(std::begin(kOthers), std::end(kOthers), next);
    return controls;
}

const QRN_DIALOG& Dialog() {
    static const Controls controls = MakeControls();
    static const QRN_DIALOG dialog{11001, 216, 130, controls.data(), static_cast<ULONG>(controls.size())};
    return dialog;
}

}  // namespace

CUnknown* CPropPageAudioCompressor::CreateInstance(IUnknown* outer, HRESULT* result) {
    return qrn::CreateWithoutExceptions(result, [&] { return new CPropPageAudioCompressor(outer); });
}

CPropPageAudioCompressor::CPropPageAudioCompressor(IUnknown* outer)
    : CBasePropertyPage(L"Compressor Settings", outer, Dialog(), kTitle),
      m_codec(kDefaultCodec),
      m_bitrate(kDefaultBitrate) {}

HRESULT CPropPageAudioCompressor::OnConnect(IUnknown* object) {
    if (const HRESULT result = object->QueryInterface(IID_IQRN_AudioCompressor, m_compressor.PutVoid());
        FAILED(result)) {
        return result;
    }
    m_compressor->GetChannels(&m_channels);
    m_compressor->GetCodec(&m_codec);
    m_compressor->GetBitrate(&m_bitrate);
    // What the page shows can always be applied: a new filter's encoder is not the one that its fields name.
    SetDirty();
    return S_OK;
}

HRESULT CPropPageAudioCompressor::OnDisconnect() {
    m_compressor.Reset();
    return S_OK;
}

HRESULT CPropPageAudioCompressor::OnActivate() {
    m_compressor->GetCodec(&m_codec);
    m_compressor->GetBitrate(&m_bitrate);
    m_Dlg.SetChecked(kFirstCodec + static_cast<int>(m_codec), true);
    m_Dlg.SetChecked(m_channels == 2 ? kTwoChannels : kOneChannel, true);
    m_Dlg.SetNumber(kBitrate, static_cast<DWORD>(m_bitrate));
    return S_OK;
}

HRESULT CPropPageAudioCompressor::OnApplyChanges() {
    // A connected filter refuses both; the page is done with its changes all the same.
    m_compressor->SetChannels(m_channels);
    m_compressor->SetCodec(m_codec, m_bitrate);
    return S_OK;
}

LONG_PTR CPropPageAudioCompressor::OnReceiveMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message != WM_COMMAND) {
        return CBasePropertyPage::OnReceiveMessage(window, message, wParam, lParam);
    }
    const int id = LOWORD(wParam);
    const WORD notification = HIWORD(wParam);
    if (id >= kFirstCodec && id < kFirstCodec + kCodecs && notification == BN_CLICKED) {
        ChooseCodec(static_cast<DWORD>(id - kFirstCodec));
    } else if ((id == kOneChannel || id == kTwoChannels) && notification == BN_CLICKED) {
        m_channels = id == kTwoChannels ? 2 : 1;
        SetDirty();
    } else if (id == kBitrate && notification == EN_KILLFOCUS) {
        if (const auto bitrate = m_Dlg.Number(kBitrate)) {
            m_bitrate = static_cast<LONG>(*bitrate);
            SetDirty();
        }
    } else {
        return CBasePropertyPage::OnReceiveMessage(window, message, wParam, lParam);
    }
    return 1;
}

void CPropPageAudioCompressor::ChooseCodec(DWORD codec) {
    m_codec = codec;
    SetDirty();
    if (codec == kQrnCodecGsm) {
        m_Dlg.SetNumber(kBitrate, kGsmBitrate);
    } else if (codec == kQrnCodecMp3) {
        m_Dlg.SetNumber(kBitrate, kMp3Bitrate);
    }
}
