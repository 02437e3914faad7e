#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>

#include "FilterBench.h"
#include "audiocoding/CAudioCompressor.h"
#include "audiocoding/CAudioDeCompressor.h"
#include "audiocoding/CPropPageAudioCompressor.h"
#include "audiocoding/CPropPageAudioDeCompressor.h"
#include "platform/com/TaskMemory.h"
#include "support/FakePageSite.h"

namespace {

using qrn::ComPtr;
using qrn::test::CFakeDialog;
using qrn::test::CFakePageSite;
using qrn::test::CFilterBench;

using CompressorPage = CPropPageAudioCompressor;
using DeCompressorPage = CPropPageAudioDeCompressor;

constexpr RECT kPlace{0, 0, 300, 200};
constexpr int kCodecs = 6;

/// A page in a frame, beside a compressor and a decompressor that it may be connected with.
class AudioPage : public testing::Test {
protected:
    void Make(CUnknown* (*create)(IUnknown*, HRESULT*)) {
        HRESULT result = S_OK;
        m_compressor.emplace(CAudioCompressor::CreateInstance(nullptr, &result));
        m_decompressor.emplace(CAudioDeCompressor::CreateInstance(nullptr, &result));
        CUnknown* made = create(nullptr, &result);
        ASSERT_NE(made, nullptr);
        m_page = ComPtr<IUnknown>::Share(static_cast<CBasePropertyPage*>(made)->GetOwner()).As<IPropertyPage>();
        ASSERT_TRUE(m_page);
        ASSERT_EQ(m_page->SetPageSite(m_site.Get()), S_OK);
    }
    HRESULT Connect(CFilterBench& bench) {
        const auto object = bench.As<IUnknown>();
        IUnknown* raw = object.Get();
        return m_page->SetObjects(1, &raw);
    }
    CFakeDialog& Open(CFilterBench& bench) {
        EXPECT_EQ(Connect(bench), S_OK);
        EXPECT_EQ(m_page->Activate(0, &kPlace, FALSE), S_OK);
        return *m_site->dialog;
    }
    /// @return title and size in the dialog units of the fake host, which are two pixels each.
    std::pair<std::wstring, SIZE> TitleAndSize() {
        PROPPAGEINFO info{};
        info.cb = sizeof(info);
        EXPECT_EQ(m_page->GetPageInfo(&info), S_OK);
        const qrn::TaskMemoryPtr<wchar_t> title(info.pszTitle);
        const qrn::TaskMemoryPtr<wchar_t> text(info.pszDocString);
        const qrn::TaskMemoryPtr<wchar_t> help(info.pszHelpFile);
        return {title.get(), {info.size.cx / 2, info.size.cy / 2}};
    }

    std::optional<CFilterBench> m_compressor;
    std::optional<CFilterBench> m_decompressor;
    ComPtr<IPropertyPage> m_page;
    ComPtr<CFakePageSite> m_site = ComPtr<CFakePageSite>::Share(new CFakePageSite);
};

class AudioCompressorPage : public AudioPage {
protected:
    void SetUp() override {
        Make(CompressorPage::CreateInstance);
        m_control = m_compressor->As<IQRN_AudioCompressor>();
    }
    void ExpectSettings(DWORD codec, LONG bitrate, DWORD channels) {
        DWORD gotCodec = 99;
        LONG gotBitrate = 0;
        DWORD gotChannels = 0;
        m_control->GetCodec(&gotCodec);
        m_control->GetBitrate(&gotBitrate);
        m_control->GetChannels(&gotChannels);
        EXPECT_EQ(gotCodec, codec);
        EXPECT_EQ(gotBitrate, bitrate);
        EXPECT_EQ(gotChannels, channels);
    }

    ComPtr<IQRN_AudioCompressor> m_control;
};

TEST_F(AudioCompressorPage, ShowsTheFilterAndNamesTheCodecs) {
    ASSERT_EQ(m_control->SetChannels(2), S_OK);
    ASSERT_EQ(m_control->SetCodec(2, 24), S_OK);
    CFakeDialog& dialog = Open(*m_compressor);
    const auto [title, size] = TitleAndSize();
    EXPECT_EQ(title, L"Compressor Settings");
    EXPECT_EQ(size.cx, 216);
    EXPECT_EQ(size.cy, 130);
    const wchar_t* const names[kCodecs] = {L"GSM", L"G72x", L"SPEEX", L"SPEEX_HQ", L"MP3", L"Opus"};
    for (int i = 0; i < kCodecs; ++i) {
        EXPECT_EQ(dialog.Text(CompressorPage::kFirstCodec + i), names[i]);
        EXPECT_EQ(dialog.Value(CompressorPage::kFirstCodec + i), i == 2 ? 1 : 0);
    }
    EXPECT_EQ(dialog.Text(CompressorPage::kOneChannel), L"one");
    EXPECT_EQ(dialog.Text(CompressorPage::kTwoChannels), L"two");
    EXPECT_EQ(dialog.Value(CompressorPage::kTwoChannels), 1);
    EXPECT_EQ(dialog.Text(CompressorPage::kBitrate), L"15");
    EXPECT_NE(dialog.Data(CompressorPage::kBitrate).style & ES_NUMBER, 0U);
    EXPECT_EQ(m_page->IsPageDirty(), S_OK) << "from the connection on";
}

struct CodecCase {
    const char* name;
    int codec;
    const wchar_t* typed;  ///< into the edit box before the codec is chosen; null: nothing
    const wchar_t* shown;
    LONG bitrate;  ///< of the filter after the page was applied
};
class AudioCompressorPageCodec : public AudioCompressorPage, public testing::WithParamInterface<CodecCase> {};

TEST_P(AudioCompressorPageCodec, IsAppliedWithItsRate) {
    const CodecCase& row = GetParam();
    CFakeDialog& dialog = Open(*m_compressor);
    if (row.typed != nullptr) {
        dialog.Type(CompressorPage::kBitrate, row.typed);
        dialog.Leave(CompressorPage::kBitrate);
    }
    ASSERT_TRUE(dialog.Press(CompressorPage::kFirstCodec + row.codec));
    ASSERT_TRUE(dialog.Press(CompressorPage::kTwoChannels));
    EXPECT_EQ(dialog.Text(CompressorPage::kBitrate), row.shown);
    ExpectSettings(3, 44, 1);
    EXPECT_EQ(m_page->Apply(), S_OK);
    ExpectSettings(static_cast<DWORD>(row.codec), row.bitrate, 2);
    EXPECT_EQ(m_page->IsPageDirty(), S_FALSE);
    EXPECT_EQ(m_site->statuses.back(), PROPPAGESTATUS_CLEAN);
    // And a second time with the page still open.
    ASSERT_TRUE(dialog.Press(CompressorPage::kOneChannel));
    EXPECT_EQ(m_page->IsPageDirty(), S_OK);
    EXPECT_EQ(m_page->Apply(), S_OK);
    ExpectSettings(static_cast<DWORD>(row.codec), row.bitrate, 1);
}
INSTANTIATE_TEST_SUITE_P(Choices, AudioCompressorPageCodec,
                         testing::Values(CodecCase{"GsmWritesItsRate", 0, nullptr, L"13", 13},
                                         CodecCase{"Mp3WritesItsRate", 4, L"128", L"64", 64},
                                         CodecCase{"SpeexSnaps", 2, L"24", L"24", 15},
                                         CodecCase{"OpusTakesAny", 5, L"96", L"96", 96},
                                         CodecCase{"NoNumberIsNotTaken", 5, L"fast", L"fast", 44},
                                         CodecCase{"NothingIsNotTaken", 5, L"", L"", 44}),
                         qrn::test::CaseName{});

TEST_F(AudioCompressorPage, TakesTheRateOnlyWhenTheBoxIsLeft) {
    CFakeDialog& dialog = Open(*m_compressor);
    dialog.Press(CompressorPage::kFirstCodec + 5);
    dialog.Type(CompressorPage::kBitrate, L"96");
    EXPECT_EQ(m_page->Apply(), S_OK);
    ExpectSettings(5, 44, 1);
}

TEST_F(AudioCompressorPage, IsDoneWhenAConnectedFilterRefuses) {
    ASSERT_EQ(m_control->SetCodec(0, 13), S_OK);
    ASSERT_EQ(m_compressor->ConnectInput(qrn::test::PcmType(8000, 1)), S_OK);
    Open(*m_compressor).Press(CompressorPage::kFirstCodec + 5);
    EXPECT_EQ(m_page->Apply(), S_OK);
    EXPECT_EQ(m_page->IsPageDirty(), S_FALSE);
    ExpectSettings(0, 13, 1);
}

TEST_F(AudioCompressorPage, AsksTheFilterOnceMoreWhenItOpens) {
    ASSERT_EQ(Connect(*m_compressor), S_OK);
    ASSERT_EQ(m_control->SetCodec(5, 32), S_OK);
    ASSERT_EQ(m_page->Activate(0, &kPlace, FALSE), S_OK);
    EXPECT_EQ(m_site->dialog->Value(CompressorPage::kFirstCodec + 5), 1);
    EXPECT_EQ(m_site->dialog->Text(CompressorPage::kBitrate), L"32");
}

TEST_F(AudioCompressorPage, RefusesWhatIsNoCompressor) {
    EXPECT_EQ(Connect(*m_decompressor), E_NOINTERFACE);
    EXPECT_EQ(m_page->Activate(0, &kPlace, FALSE), E_UNEXPECTED);
}

TEST_F(AudioCompressorPage, LetsGoOfTheFilter) {
    Open(*m_compressor);
    EXPECT_EQ(m_page->Deactivate(), S_OK);
    EXPECT_EQ(m_page->SetObjects(0, nullptr), S_OK);
    m_control->AddRef();
    EXPECT_EQ(m_control->Release(), 2U) << "the test's and the bench's references";
}

class AudioDeCompressorPage : public AudioPage {
protected:
    void SetUp() override { Make(DeCompressorPage::CreateInstance); }
};

TEST_F(AudioDeCompressorPage, ShowsAndSetsTheChannel) {
    const auto control = m_decompressor->As<IQRN_AudioDeCompressor>();
    CMediaType stereo = qrn::test::PcmType(1650, 2);
    stereo.Format()[0] = 0x84;  // the format tag of GSM, 14212
    stereo.Format()[1] = 0x37;
    ASSERT_EQ(m_decompressor->ConnectInput(stereo), S_OK);
    ASSERT_EQ(control->SetChannelMode(1), S_OK);
    CFakeDialog& dialog = Open(*m_decompressor);
    const auto [title, size] = TitleAndSize();
    EXPECT_EQ(title, L"DeCompressor Settings");
    EXPECT_EQ(size.cx, 216);
    EXPECT_EQ(size.cy, 106);
    const wchar_t* const names[] = {L"one", L"two", L"both"};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(dialog.Text(DeCompressorPage::kFirstMode + i), names[i]);
        EXPECT_EQ(dialog.Value(DeCompressorPage::kFirstMode + i), i == 1 ? 1 : 0);
    }
    EXPECT_EQ(m_page->IsPageDirty(), S_OK);
    for (const DWORD chosen : {2U, 0U}) {
        ASSERT_TRUE(dialog.Press(DeCompressorPage::kFirstMode + static_cast<int>(chosen)));
        EXPECT_EQ(m_page->IsPageDirty(), S_OK);
        EXPECT_EQ(m_page->Apply(), S_OK);
        EXPECT_EQ(m_page->IsPageDirty(), S_FALSE);
        DWORD mode = 99;
        control->GetChannelMode(&mode);
        EXPECT_EQ(mode, chosen);
    }
}

TEST_F(AudioDeCompressorPage, RefusesWhatIsNoDeCompressor) {
    EXPECT_EQ(Connect(*m_compressor), E_NOINTERFACE);
}

}  // namespace
