#include "framework/CPersistStream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "framework/CUnknown.h"

namespace {

class CMemoryStream final : public CUnknown, public IStream {
public:
    DECLARE_IUNKNOWN

    CMemoryStream() : CUnknown(L"stream", nullptr) {}
    HRESULT Read(void* data, ULONG count, ULONG* read) override {
        const auto left = static_cast<ULONG>(bytes.size() - position);
        const ULONG given = std::min(count, left);
        if (given != 0) {
            std::memcpy(data, bytes.data() + position, given);
        }
        position += given;
        *read = given;
        return given == count ? S_OK : S_FALSE;
    }
    HRESULT Write(const void* data, ULONG count, ULONG* written) override {
        if (bytes.size() + count > capacity) {
            *written = 0;
            return E_FAIL;
        }
        const auto* first = static_cast<const BYTE*>(data);
        bytes.insert(bytes.end(), first, first + count);
        *written = count;
        return S_OK;
    }
    HRESULT Seek(LONGLONG, DWORD, ULONGLONG*) override { return E_NOTIMPL; }
    HRESULT SetSize(ULONGLONG) override { return E_NOTIMPL; }
    HRESULT CopyTo(IStream*, ULONGLONG, ULONGLONG*, ULONGLONG*) override { return E_NOTIMPL; }
    HRESULT Commit(DWORD) override { return E_NOTIMPL; }
    HRESULT Revert() override { return E_NOTIMPL; }
    HRESULT LockRegion(ULONGLONG, ULONGLONG, DWORD) override { return E_NOTIMPL; }
    HRESULT UnlockRegion(ULONGLONG, ULONGLONG, DWORD) override { return E_NOTIMPL; }
    HRESULT Stat(STATSTG*, DWORD) override { return E_NOTIMPL; }
    HRESULT Clone(IStream**) override { return E_NOTIMPL; }

    std::vector<BYTE> bytes;
    std::size_t position = 0;
    std::size_t capacity = 1000;
};

class CSettings final : public CUnknown, public CPersistStream {
public:
    DECLARE_IUNKNOWN

    CSettings() : CUnknown(L"settings", nullptr), CPersistStream(nullptr, nullptr) {}
    HRESULT GetClassID(CLSID* id) override {
        *id = GUID_NULL;
        return S_OK;
    }
    DWORD FileVersion() const { return mPS_dwFileVersion; }

    DWORD version = 1;
    BYTE value = 42;

protected:
    DWORD GetSoftwareVersion() override { return version; }
    int SizeMax() override { return 4; }
    HRESULT WriteToStream(IStream* stream) override {
        ULONG written = 0;
        return stream->Write(&value, 1, &written);
    }
    HRESULT ReadFromStream(IStream* stream) override {
        ULONG read = 0;
        return stream->Read(&value, 1, &read);
    }
};

struct VersionCase {
    const char* name;
    DWORD version;
    const char* text;
};

class PersistVersion : public testing::TestWithParam<VersionCase> {};

TEST_P(PersistVersion, IsTwelveWideCharactersBeforeTheState) {
    const auto settings = qrn::ComPtr<CSettings>::Share(new CSettings);
    const auto stream = qrn::ComPtr<CMemoryStream>::Share(new CMemoryStream);
    settings->version = GetParam().version;
    ASSERT_EQ(settings->Save(stream.Get(), TRUE), S_OK);
    ASSERT_EQ(stream->bytes.size(), 25u);
    for (std::size_t i = 0; i < 12; ++i) {
        EXPECT_EQ(stream->bytes[2 * i], static_cast<BYTE>(GetParam().text[i])) << i;
        EXPECT_EQ(stream->bytes[2 * i + 1], 0) << i;
    }
    EXPECT_EQ(stream->bytes[24], 42);

    const auto loaded = qrn::ComPtr<CSettings>::Share(new CSettings);
    loaded->value = 0;
    ASSERT_EQ(loaded->Load(stream.Get()), S_OK);
    EXPECT_EQ(loaded->FileVersion(), GetParam().version);
    EXPECT_EQ(loaded->value, 42);
}

INSTANTIATE_TEST_SUITE_P(Rows, PersistVersion,
                         testing::Values(VersionCase{"One", 1, "00000000001 "}, VersionCase{"Zero", 0, "00000000000 "},
                                         VersionCase{"Largest", 2147483647, "02147483647 "},
                                         VersionCase{"Negative", 0xFFFFFFFF, "-0000000001 "}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(PersistStream, SaveClearsTheDirtyMarkOnlyWhenAsked) {
    const auto settings = qrn::ComPtr<CSettings>::Share(new CSettings);
    const auto stream = qrn::ComPtr<CMemoryStream>::Share(new CMemoryStream);
    EXPECT_EQ(settings->IsDirty(), S_FALSE);
    settings->SetDirty(TRUE);
    EXPECT_EQ(settings->IsDirty(), S_OK);
    EXPECT_EQ(settings->Save(stream.Get(), FALSE), S_OK);
    EXPECT_EQ(settings->IsDirty(), S_OK);
    EXPECT_EQ(settings->Save(stream.Get(), TRUE), S_OK);
    EXPECT_EQ(settings->IsDirty(), S_FALSE);
    ULONGLONG bytes = 0;
    EXPECT_EQ(settings->GetSizeMax(&bytes), S_OK);
    EXPECT_EQ(bytes, 28u);
}

TEST(PersistStream, FailedSaveKeepsTheDirtyMark) {
    const auto settings = qrn::ComPtr<CSettings>::Share(new CSettings);
    const auto stream = qrn::ComPtr<CMemoryStream>::Share(new CMemoryStream);
    stream->capacity = 24;
    settings->SetDirty(TRUE);
    EXPECT_EQ(settings->Save(stream.Get(), TRUE), E_FAIL);
    EXPECT_EQ(settings->IsDirty(), S_OK);
}

TEST(PersistStream, BadStreamsAreRefused) {
    const auto settings = qrn::ComPtr<CSettings>::Share(new CSettings);
    EXPECT_EQ(settings->Load(nullptr), E_POINTER);
    EXPECT_EQ(settings->Save(nullptr, TRUE), E_POINTER);
    const auto shortStream = qrn::ComPtr<CMemoryStream>::Share(new CMemoryStream);
    shortStream->bytes.assign(23, '0');
    EXPECT_EQ(settings->Load(shortStream.Get()), E_FAIL);
    const auto noNumber = qrn::ComPtr<CMemoryStream>::Share(new CMemoryStream);
    noNumber->bytes.assign(25, 'x');
    EXPECT_EQ(settings->Load(noNumber.Get()), E_FAIL);
    EXPECT_EQ(settings->value, 42) << "nothing was read";
}

}  // namespace
