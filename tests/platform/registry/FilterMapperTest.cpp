#include "platform/registry/FilterMappers.h"

#include "RegistryTest.h"
#include "platform/registry/CRegistryTransaction.h"
#include "platform/registry/FilterCategory.h"
#include "qrn/QRN_Media2.h"

namespace {

using qrn::CRegistry;
using qrn::CRegistryKey;
using qrn::RegisteredFilter;
using qrn::RegisteredPin;
using enum qrn::RegistryRoot;
using Filters = std::vector<RegisteredFilter>;

constexpr HRESULT kNotFound = static_cast<HRESULT>(0x80070002u);
constexpr CLSID kFilter = qrn::Guid("01234567-89AB-CDEF-0123-456789ABCDEF");
constexpr CLSID kOther = qrn::Guid("11111111-2222-3333-4444-555555555555");
constexpr const wchar_t* kBraced = L"{01234567-89AB-CDEF-0123-456789ABCDEF}";

constexpr AMOVIESETUP_MEDIATYPE kTypes[] = {{&MEDIATYPE_Audio, &MEDIASUBTYPE_PCM}, {&MEDIATYPE_Video, nullptr}};
constexpr AMOVIESETUP_PIN kPins[] = {
    {L"Input", TRUE, FALSE, TRUE, FALSE, nullptr, L"Output", 2, kTypes},
    {L"Output", FALSE, TRUE, FALSE, TRUE, &kOther, nullptr, 0, nullptr},
};
constexpr REGFILTER2 kRecord{1, MERIT_NORMAL, 2, kPins};

RegisteredFilter Registered() {
    return {kBraced,
            kFilter,
            L"A filter",
            MERIT_NORMAL,
            {{L"Input",
              true,
              false,
              true,
              false,
              GUID_NULL,
              L"Output",
              {{MEDIATYPE_Audio, MEDIASUBTYPE_PCM}, {MEDIATYPE_Video, GUID_NULL}}},
             {L"Output", false, true, false, true, kOther, L"", {}}}};
}

class FilterMapper : public testing::Test {
protected:
    FilterMapper() {
        EXPECT_EQ(qrn::CreateFilterMapper(m_registry, CLSID_FilterMapper2, IID_IFilterMapper2, m_mapper.PutVoid()),
                  S_OK);
        EXPECT_EQ(qrn::CreateFilterMapper(m_registry, CLSID_FilterMapper, IID_IFilterMapper, m_older.PutVoid()), S_OK);
    }
    HRESULT Register(const CLSID* category = nullptr, const wchar_t* instance = nullptr) {
        return m_mapper->RegisterFilter(kFilter, L"A filter", nullptr, category, instance, &kRecord);
    }
    Filters List(REFCLSID category = CLSID_LegacyAmFilterCategory) {
        Filters filters;
        EXPECT_EQ(qrn::ListCategory(*m_registry, category, filters), ERROR_SUCCESS);
        return filters;
    }

    const qrn::test::CTempFolder m_folder;
    const std::shared_ptr<CRegistry> m_registry =
        std::make_shared<CRegistry>(qrn::RegistryFiles{m_folder.File("user.db"), m_folder.File("machine.db"), false});
    qrn::ComPtr<IFilterMapper2> m_mapper;
    qrn::ComPtr<IFilterMapper> m_older;
};

TEST_F(FilterMapper, KeepsAllThatIsRegisteredOfAFilter) {
    EXPECT_EQ(Register(), S_OK);
    EXPECT_EQ(List(), Filters{Registered()});
    CRegistryKey entry;
    ASSERT_EQ(m_registry->OpenKey(kClassesRoot,
                                  L"CLSID\\{083863F1-70DE-11D0-BD40-00A0C911CE86}\\Instance\\"
                                  L"{01234567-89AB-CDEF-0123-456789ABCDEF}",
                                  entry),
              ERROR_SUCCESS);
    std::wstring text;
    EXPECT_EQ(entry.QueryString(L"CLSID", text), ERROR_SUCCESS);
    EXPECT_EQ(text, kBraced);
    EXPECT_EQ(entry.QueryString(L"FriendlyName", text), ERROR_SUCCESS);
    EXPECT_EQ(text, L"A filter");
}

TEST_F(FilterMapper, CategoriesAndInstancesAreEntriesOfTheirOwn) {
    EXPECT_EQ(Register(), S_OK);
    EXPECT_EQ(Register(&CLSID_AudioCompressorCategory), S_OK);
    EXPECT_EQ(Register(nullptr, L"second"), S_OK);
    EXPECT_EQ(List().size(), 2u);
    EXPECT_EQ(m_mapper->UnregisterFilter(&CLSID_VideoCompressorCategory, nullptr, kFilter), kNotFound);
    EXPECT_EQ(m_mapper->UnregisterFilter(nullptr, nullptr, kOther), kNotFound);
    EXPECT_EQ(m_mapper->UnregisterFilter(nullptr, nullptr, kFilter), S_OK);
    EXPECT_EQ(m_mapper->UnregisterFilter(&CLSID_LegacyAmFilterCategory, nullptr, kFilter), kNotFound);
    ASSERT_EQ(List().size(), 1u);
    EXPECT_EQ(List()[0].instance, L"second");
    EXPECT_EQ(List(CLSID_AudioCompressorCategory), Filters{Registered()});
    EXPECT_TRUE(List(CLSID_VideoCompressorCategory).empty());
}

TEST_F(FilterMapper, RegisteringAgainReplacesTheEntry) {
    EXPECT_EQ(Register(), S_OK);
    const REGFILTER2 bare{1, MERIT_UNLIKELY, 0, nullptr};
    EXPECT_EQ(m_mapper->RegisterFilter(kFilter, L"Renamed", nullptr, nullptr, nullptr, &bare), S_OK);
    EXPECT_EQ(List(), (Filters{{kBraced, kFilter, L"Renamed", MERIT_UNLIKELY, {}}}));
}

TEST_F(FilterMapper, RefusesWhatItCannotKeep) {
    const REGFILTER2 version2{2, MERIT_NORMAL, 0, nullptr};
    const REGFILTER2 noPins{1, MERIT_NORMAL, 1, nullptr};
    const AMOVIESETUP_PIN typeless{L"Input", FALSE, FALSE, FALSE, FALSE, nullptr, nullptr, 1, nullptr};
    const REGFILTER2 noTypes{1, MERIT_NORMAL, 1, &typeless};
    auto* something = reinterpret_cast<IMoniker*>(this);
    IMoniker* nothing = nullptr;
    EXPECT_EQ(m_mapper->RegisterFilter(kFilter, nullptr, nullptr, nullptr, nullptr, &kRecord), E_POINTER);
    EXPECT_EQ(m_mapper->RegisterFilter(kFilter, L"x", nullptr, nullptr, nullptr, nullptr), E_POINTER);
    EXPECT_EQ(m_mapper->RegisterFilter(kFilter, L"x", &something, nullptr, nullptr, &kRecord), E_NOTIMPL);
    EXPECT_EQ(m_mapper->RegisterFilter(kFilter, L"x", nullptr, nullptr, nullptr, &version2), E_INVALIDARG);
    EXPECT_EQ(m_mapper->RegisterFilter(kFilter, L"x", nullptr, nullptr, nullptr, &noPins), E_INVALIDARG);
    EXPECT_EQ(m_mapper->RegisterFilter(kFilter, L"x", nullptr, nullptr, nullptr, &noTypes), E_INVALIDARG);
    EXPECT_EQ(Register(nullptr, L""), E_INVALIDARG);
    EXPECT_EQ(Register(nullptr, L"a\\b"), E_INVALIDARG);
    EXPECT_EQ(m_mapper->UnregisterFilter(nullptr, L"a\\b", kFilter), E_INVALIDARG);
    EXPECT_EQ(m_mapper->CreateCategory(kOther, MERIT_NORMAL, nullptr), E_POINTER);
    EXPECT_TRUE(List().empty());
    EXPECT_EQ(m_mapper->RegisterFilter(kFilter, L"x", &nothing, nullptr, nullptr, &kRecord), S_OK);

    auto* monikers = reinterpret_cast<IEnumMoniker*>(this);
    EXPECT_EQ(m_mapper->EnumMatchingFilters(&monikers, 0, FALSE, 0, FALSE, 0, nullptr, nullptr, nullptr, FALSE, FALSE,
                                            0, nullptr, nullptr, nullptr),
              E_NOTIMPL);
    EXPECT_EQ(monikers, nullptr);
}

TEST_F(FilterMapper, ACategoryIsEnteredAmongTheCategories) {
    EXPECT_EQ(m_mapper->CreateCategory(kOther, MERIT_UNLIKELY, L"Others"), S_OK);
    CRegistryKey entry;
    ASSERT_EQ(m_registry->OpenKey(kClassesRoot,
                                  L"CLSID\\{DA4E3DA0-D07D-11D0-BD50-00A0C911CE86}\\Instance\\"
                                  L"{11111111-2222-3333-4444-555555555555}",
                                  entry),
              ERROR_SUCCESS);
    std::wstring name;
    DWORD merit = 0;
    EXPECT_EQ(entry.QueryString(L"FriendlyName", name), ERROR_SUCCESS);
    EXPECT_EQ(name, L"Others");
    EXPECT_EQ(entry.QueryDword(L"Merit", merit), ERROR_SUCCESS);
    EXPECT_EQ(merit, MERIT_UNLIKELY);
}

TEST_F(FilterMapper, TheOlderOneBuildsTheSameEntryPieceByPiece) {
    EXPECT_EQ(m_older->RegisterPin(kFilter, L"Input", 1, 0, 1, 0, GUID_NULL, L"Output"), kNotFound);
    EXPECT_EQ(m_older->RegisterFilter(kFilter, L"A filter", MERIT_NORMAL), S_OK);
    EXPECT_EQ(m_older->RegisterPinType(kFilter, L"Input", MEDIATYPE_Audio, MEDIASUBTYPE_PCM), kNotFound);
    EXPECT_EQ(m_older->RegisterPin(kFilter, L"Input", 1, 0, 1, 0, GUID_NULL, L"Output"), S_OK);
    EXPECT_EQ(m_older->RegisterPinType(kFilter, L"Input", MEDIATYPE_Audio, MEDIASUBTYPE_PCM), S_OK);
    EXPECT_EQ(m_older->RegisterPinType(kFilter, L"Input", MEDIATYPE_Video, GUID_NULL), S_OK);
    EXPECT_EQ(m_older->RegisterPin(kFilter, L"Output", 1, 1, 1, 1, GUID_NULL, L"wrong"), S_OK);
    EXPECT_EQ(m_older->RegisterPin(kFilter, L"Output", 0, 1, 0, 1, kOther, nullptr), S_OK) << "in place of the other";
    EXPECT_EQ(List(), Filters{Registered()});

    EXPECT_EQ(m_older->UnregisterPin(kFilter, L"Input"), S_OK);
    EXPECT_EQ(m_older->UnregisterPin(kFilter, L"Input"), kNotFound);
    ASSERT_EQ(List().size(), 1u);
    EXPECT_EQ(List()[0].pins, std::vector<RegisteredPin>{Registered().pins[1]});
    EXPECT_EQ(m_older->UnregisterFilter(kFilter), S_OK);
    EXPECT_EQ(m_older->UnregisterFilter(kFilter), kNotFound);
    EXPECT_TRUE(List().empty());
}

TEST_F(FilterMapper, IsAnObjectOfItsOwnInterfaceOnly) {
    void* object = this;
    EXPECT_EQ(qrn::CreateFilterMapper(m_registry, kFilter, IID_IUnknown, &object), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(object, nullptr);
    object = this;
    EXPECT_EQ(qrn::CreateFilterMapper(m_registry, CLSID_FilterMapper2, IID_IFilterMapper, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(qrn::CreateFilterMapper(m_registry, CLSID_FilterMapper2, IID_IUnknown, nullptr), E_POINTER);
    EXPECT_FALSE(m_mapper.As<IFilterMapper>());
    EXPECT_FALSE(m_older.As<IFilterMapper2>());
    const std::weak_ptr<CRegistry> registry = m_registry;
    const long before = registry.use_count();
    m_mapper.Reset();
    m_older.Reset();
    EXPECT_EQ(registry.use_count(), before - 2) << "both mappers are gone";
}

TEST_F(FilterMapper, WhatFailsInTheStoreIsAResultCodeOfIt) {
    const auto registry = std::make_shared<CRegistry>(qrn::RegistryFiles{"/proc/qrn/user.db", "/proc/qrn/m.db", false});
    ASSERT_EQ(qrn::CreateFilterMapper(registry, CLSID_FilterMapper2, IID_IFilterMapper2, m_mapper.PutVoid()), S_OK);
    EXPECT_EQ(Register(), static_cast<HRESULT>(0x80070003u));
    EXPECT_EQ(m_mapper->UnregisterFilter(nullptr, nullptr, kFilter), kNotFound);
}

TEST_F(FilterMapper, AnEntryThatCannotBeReadIsTold) {
    EXPECT_EQ(Register(), S_OK);
    CRegistryKey entry;
    ASSERT_EQ(m_registry->OpenKey(
                  kClassesRoot, L"CLSID\\" + qrn::BracedText(CLSID_LegacyAmFilterCategory) + L"\\Instance\\" + kBraced,
                  entry),
              ERROR_SUCCESS);
    Filters filters;
    ASSERT_EQ(entry.SetString(L"CLSID", L"{no class id}"), ERROR_SUCCESS);
    EXPECT_EQ(qrn::ListCategory(*m_registry, CLSID_LegacyAmFilterCategory, filters), ERROR_INVALID_DATA);
    ASSERT_EQ(entry.SetString(L"CLSID", kBraced), ERROR_SUCCESS);
    ASSERT_EQ(entry.SetDword(L"FilterData", 1), ERROR_SUCCESS);
    EXPECT_EQ(qrn::ListCategory(*m_registry, CLSID_LegacyAmFilterCategory, filters), ERROR_INVALID_DATA);
    ASSERT_EQ(entry.DeleteValue(L"FilterData"), ERROR_SUCCESS);
    EXPECT_EQ(qrn::ListCategory(*m_registry, CLSID_LegacyAmFilterCategory, filters), ERROR_INVALID_DATA);
    EXPECT_EQ(Register(), S_OK) << "registering again repairs it";
    EXPECT_EQ(List(), Filters{Registered()});
}

// The block of bytes.

TEST(FilterData, IsReadBackWhole) {
    const std::vector<BYTE> bytes = qrn::EncodeFilterData(Registered());
    RegisteredFilter read{kBraced, kFilter, L"A filter", 0, {}};
    EXPECT_TRUE(qrn::DecodeFilterData(bytes, read));
    EXPECT_EQ(read, Registered());
}

TEST(FilterData, HasTheLowByteFirst) {
    const RegisteredFilter filter{L"", kFilter, L"", 0x600001, {{L"Az", true, false, false, true, kFilter, L"", {}}}};
    const std::vector<BYTE> bytes = qrn::EncodeFilterData(filter);
    const std::vector<BYTE> expected{1,    0,    0,    0,    1,    0,    0x60, 0,  // version, merit
                                     1,    0,    0,    0,    9,    0,    0,    0,  // pins, flags
                                     4,    0,    0,    0,    'A',  0,    'z',  0,  // name
                                     0x67, 0x45, 0x23, 0x01, 0xAB, 0x89, 0xEF, 0xCD,
                                     0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF,  // connects to
                                     0,    0,    0,    0,    0,    0,    0,    0};    // pin, types
    EXPECT_EQ(bytes, expected);
}

TEST(FilterData, CutOrProlongedIsNoBlock) {
    const std::vector<BYTE> whole = qrn::EncodeFilterData(Registered());
    RegisteredFilter filter{L"i", kFilter, L"n", 7, {}};
    const RegisteredFilter before = filter;
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_FALSE(qrn::DecodeFilterData(std::span(whole).first(size), filter)) << size;
    }
    std::vector<BYTE> longer = whole;
    longer.push_back(0);
    EXPECT_FALSE(qrn::DecodeFilterData(longer, filter));
    EXPECT_EQ(filter, before);
}

TEST(FilterData, AnyByteMayBeWrong) {
    const std::vector<BYTE> whole = qrn::EncodeFilterData(Registered());
    for (std::size_t at = 0; at < whole.size(); ++at) {
        std::vector<BYTE> bytes = whole;
        bytes[at] = 0xFF;
        RegisteredFilter filter;
        // Counts of four thousand million must not be believed.
        if (qrn::DecodeFilterData(bytes, filter)) {
            EXPECT_EQ(filter.pins.size(), 2u) << at;
        }
    }
}

}  // namespace
