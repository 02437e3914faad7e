// The module as a client meets it: loaded as a file, entered through its exported functions.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "platform/com/TaskMemory.h"
#include "platform/com/Text.h"
#include "qrn/QRN_Media2.h"
#include "support/RunCommand.h"

namespace {

struct PinRow {
    const wchar_t* name;
    BOOL isOutput;
    const wchar_t* connectsTo;
    std::vector<std::pair<GUID, GUID>> types;
};

struct ClassRow {
    const char* testName;
    const wchar_t* displayName;
    const char* classId;
    DWORD merit;  // 0: a property page
    std::vector<PinRow> pins;
    HRESULT creates;
};

const std::vector<std::pair<GUID, GUID>> kVideo{{MEDIATYPE_Video, GUID_NULL}};
const std::vector<std::pair<GUID, GUID>> kAudio{{MEDIATYPE_Audio, GUID_NULL}};
const std::vector<std::pair<GUID, GUID>> kPcm{{MEDIATYPE_Audio, MEDIASUBTYPE_PCM}};

/// The first four audio subtypes from their wave format tags.
std::vector<std::pair<GUID, GUID>> CodedAudio() {
    std::vector<std::pair<GUID, GUID>> types;
    for (DWORD tag = 14212; tag < 14216; ++tag) {
        GUID subtype = MEDIASUBTYPE_PCM;
        subtype.Data1 = tag;
        types.emplace_back(MEDIATYPE_Audio, subtype);
    }
    return types;
}

const PinRow kAudioOuput{L"Ouput", TRUE, nullptr, kAudio};
const PinRow kVideoOuput{L"Ouput", TRUE, nullptr, kVideo};
const PinRow kAudioInput{L"Input", FALSE, nullptr, kAudio};
const PinRow kVideoInput{L"Input", FALSE, nullptr, kVideo};

const std::vector<ClassRow>& Classes() {
    static const std::vector<ClassRow> rows{
        {"HttpWebcam", L"QRN HTTP Webcam", "1B25DF74-7121-4533-B0AA-7F18031729A9", 0x200000, {kVideoOuput}, E_NOTIMPL},
        {"HttpWebcamPage", L"Webcam Settings", "35453F91-880B-4AFF-BAE8-64E21907060B", 0, {}, E_NOTIMPL},
        {"AudioMicAEC",
         L"QRN Audio MicAEC",
         "E2491182-D764-43CB-A70B-6776B5851391",
         0x200000,
         {kAudioOuput},
         E_NOTIMPL},
        {"AudioRenderAEC",
         L"QRN Audio RenderAEC",
         "39221D3C-FF56-4E35-AE73-94869A76DB3E",
         0x200000,
         {kAudioInput},
         E_NOTIMPL},
        {"AudioCompressor",
         L"QRN Audio Compressor",
         "2E57B6DD-595C-4EDE-9BBA-A7FAE97509FE",
         0x600000,
         {{L"Input", FALSE, L"Output", kPcm}, {L"Output", TRUE, L"Input", CodedAudio()}},
         S_OK},
        {"AudioDeCompressor",
         L"QRN Audio Decompressor",
         "524EC7DB-55B7-49DE-B692-50C098B16BBA",
         0x600000,
         {{L"Input", FALSE, L"Output", CodedAudio()}, {L"Output", TRUE, L"Input", kPcm}},
         S_OK},
        {"VideoDeCompressor",
         L"QRN Video DeCompressor",
         "6B999C9D-C709-4AE5-9798-4550FF22EDC6",
         0x600000,
         {{L"Input", FALSE, L"Output", {{MEDIATYPE_Video, MEDIASUBTYPE_QRN1}, {MEDIATYPE_Video, MEDIASUBTYPE_QRN2}}},
          {L"Output", TRUE, L"Input", kVideo}},
         E_NOTIMPL},
        {"VideoCompressor2",
         L"QRN Video Compressor 2",
         "FA4F7CD9-82F6-46D8-8603-4C888018FB04",
         0x600000,
         {{L"Input", FALSE, L"Output", kVideo}, {L"Output", TRUE, L"Input", {{MEDIATYPE_Video, MEDIASUBTYPE_QRN2}}}},
         E_NOTIMPL},
        {"VideoRender3D",
         L"QRN Video Render 3D",
         "6822840B-A601-412D-AC92-FCF9F7705623",
         0x200000,
         {kVideoInput},
         E_NOTIMPL},
        {"AudioRender", L"QRN Audio Render", "0B10CDB5-1F35-4913-9AD3-F089E9F04E45", 0x200000, {kAudioInput}, S_OK},
        {"AudioSender", L"QRN Audio Sender", "77BD5E69-0E53-4E90-AB0C-EE5FE241083B", 0x200000, {kAudioInput}, S_OK},
        {"VideoSender", L"QRN Video Sender", "565271DE-CDE3-41EF-9841-E59D857AD478", 0x200000, {kVideoInput}, S_OK},
        {"VideoReceiver", L"QRN Video Receiver", "43E8A2E3-651D-4BA8-9DA8-968672359D53", 0x200000, {kVideoOuput}, S_OK},
        {"AudioReceiver", L"QRN Audio Receiver", "F133B6BE-7DE8-4E05-83E2-7A9C31053151", 0x200000, {kAudioOuput}, S_OK},
    };
    return rows;
}

/// The loaded module; closed with the test.
class Module {
public:
    Module() : m_handle(dlopen(QRN_MODULE_FILE, RTLD_NOW | RTLD_LOCAL), dlclose) {}

    template <class Function>
    Function Symbol(const char* name) const {
        return m_handle == nullptr ? nullptr : reinterpret_cast<Function>(dlsym(m_handle.get(), name));
    }
    HRESULT GetClassObject(REFCLSID classId, REFIID id, void** object) const {
        const auto function = Symbol<PFN_DllGetClassObject>("DllGetClassObject");
        return function == nullptr ? E_MODULE_NOT_FOUND : function(classId, id, object);
    }
    HRESULT CanUnloadNow() const { return Symbol<PFN_DllCanUnloadNow>("DllCanUnloadNow")(); }
    qrn::ComPtr<IClassFactory> Factory(REFCLSID classId) const {
        qrn::ComPtr<IClassFactory> factory;
        EXPECT_EQ(GetClassObject(classId, IID_IClassFactory, factory.PutVoid()), S_OK);
        return factory;
    }

private:
    std::unique_ptr<void, int (*)(void*)> m_handle;
};

TEST(Module, ExportsFiveEntryPointsAndNothingElse) {
    std::istringstream lines(qrn::test::RunCommand("nm -D --defined-only " QRN_MODULE_FILE));
    std::vector<std::string> names;
    std::string address;
    std::string kind;
    std::string name;
    while (lines >> address >> kind >> name) {
        names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"DllCanUnloadNow", "DllGetClassObject", "DllMain", "DllRegisterServer",
                                               "DllUnregisterServer"}));
}

TEST(Module, AsksForTheInterfaceBeforeTheClass) {
    const Module module;
    const GUID unknownClass = qrn::Guid("00000000-1111-2222-3333-444444444444");
    void* object = &object;
    EXPECT_EQ(module.GetClassObject(unknownClass, IID_IBaseFilter, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    object = &object;
    EXPECT_EQ(module.GetClassObject(unknownClass, IID_IClassFactory, &object), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(module.GetClassObject(CLSID_QRN_AudioSender, IID_IClassFactory, nullptr), E_POINTER);
}

TEST(Module, StaysLoadedWhileAFactoryAFilterOrALockLives) {
    const Module module;
    EXPECT_EQ(module.CanUnloadNow(), S_OK);
    qrn::ComPtr<IClassFactory> factory = module.Factory(CLSID_QRN_AudioCompressor);
    EXPECT_EQ(module.CanUnloadNow(), S_FALSE);
    qrn::ComPtr<IBaseFilter> filter;
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IBaseFilter, filter.PutVoid()), S_OK);
    factory.Reset();
    EXPECT_EQ(module.CanUnloadNow(), S_FALSE);
    filter.Reset();
    EXPECT_EQ(module.CanUnloadNow(), S_OK);

    factory = module.Factory(CLSID_QRN_AudioCompressor);
    factory->LockServer(TRUE);
    factory.Reset();
    EXPECT_EQ(module.CanUnloadNow(), S_FALSE);
    module.Factory(CLSID_QRN_AudioSender)->LockServer(FALSE);
    EXPECT_EQ(module.CanUnloadNow(), S_OK);
}

TEST(Module, AnAggregateGetsTheInnerUnknownOnly) {
    struct Outer final : IUnknown {
        HRESULT QueryInterface(REFIID /*id*/, void** /*object*/) override { return E_NOINTERFACE; }
        ULONG AddRef() override { return ++references; }
        ULONG Release() override { return --references; }
        ULONG references = 1;
    } outer;
    const Module module;
    const qrn::ComPtr<IClassFactory> factory = module.Factory(CLSID_QRN_AudioSender);
    void* object = &object;
    EXPECT_EQ(factory->CreateInstance(&outer, IID_IBaseFilter, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);

    qrn::ComPtr<IUnknown> inner;
    ASSERT_EQ(factory->CreateInstance(&outer, IID_IUnknown, inner.PutVoid()), S_OK);
    {
        // What the inner object gives out counts on the outer one.
        const qrn::ComPtr<IBaseFilter> filter = inner.As<IBaseFilter>();
        ASSERT_TRUE(filter);
        EXPECT_EQ(outer.references, 2u);
    }
    EXPECT_EQ(outer.references, 1u);
}

TEST(Module, AnInterfaceThatAFilterHasNotLeavesNoObjectBehind) {
    const Module module;
    {
        const qrn::ComPtr<IClassFactory> factory = module.Factory(CLSID_QRN_AudioReceiver);
        void* object = &object;
        EXPECT_EQ(factory->CreateInstance(nullptr, IID_IGraphBuilder, &object), E_NOINTERFACE);
        EXPECT_EQ(factory->CreateInstance(nullptr, IID_IBaseFilter, nullptr), E_POINTER);
    }
    EXPECT_EQ(module.CanUnloadNow(), S_OK);
}

class ModuleClass : public testing::TestWithParam<ClassRow> {};

TEST_P(ModuleClass, SaysWhatItIs) {
    const ClassRow& row = GetParam();
    const Module module;
    const CLSID classId = *qrn::ParseGuid(row.classId);
    const qrn::ComPtr<IClassFactory> factory = module.Factory(classId);
    ASSERT_TRUE(factory);
    const qrn::ComPtr<IQRN_ClassInfo> info = factory.As<IQRN_ClassInfo>();
    ASSERT_TRUE(info);
    const wchar_t* name = nullptr;
    ASSERT_EQ(info->GetDisplayName(&name), S_OK);
    EXPECT_STREQ(name, row.displayName);

    const AMOVIESETUP_FILTER* setup = nullptr;
    ASSERT_EQ(info->GetSetup(&setup), S_OK);
    ASSERT_EQ(setup != nullptr, row.merit != 0);
    if (setup == nullptr) {
        return;
    }
    EXPECT_EQ(*setup->clsID, classId);
    EXPECT_STREQ(setup->strName, row.displayName);
    EXPECT_EQ(setup->dwMerit, row.merit);
    ASSERT_EQ(setup->nPins, row.pins.size());
    for (std::size_t i = 0; i < row.pins.size(); ++i) {
        const AMOVIESETUP_PIN& pin = setup->lpPin[i];
        const PinRow& wanted = row.pins[i];
        EXPECT_STREQ(pin.strName, wanted.name);
        EXPECT_EQ(pin.bOutput, wanted.isOutput);
        EXPECT_FALSE(pin.bRendered || pin.bZero || pin.bMany);
        EXPECT_EQ(pin.clsConnectsToFilter, nullptr);
        EXPECT_STREQ(pin.strConnectsToPin, wanted.connectsTo);
        std::vector<std::pair<GUID, GUID>> types;
        for (UINT t = 0; t < pin.nMediaTypes; ++t) {
            types.emplace_back(*pin.lpMediaType[t].clsMajorType, *pin.lpMediaType[t].clsMinorType);
        }
        EXPECT_EQ(types, wanted.types);
    }
}

TEST_P(ModuleClass, MakesItsFilterOrSaysThatItCannot) {
    const ClassRow& row = GetParam();
    const Module module;
    {
        const CLSID classId = *qrn::ParseGuid(row.classId);
        const qrn::ComPtr<IClassFactory> factory = module.Factory(classId);
        qrn::ComPtr<IPersist> object;
        EXPECT_EQ(factory->CreateInstance(nullptr, IID_IPersist, object.PutVoid()), row.creates);
        ASSERT_EQ(static_cast<bool>(object), SUCCEEDED(row.creates));
        if (object) {
            CLSID answered{};
            EXPECT_EQ(object->GetClassID(&answered), S_OK);
            EXPECT_EQ(answered, classId);
        }
    }
    EXPECT_EQ(module.CanUnloadNow(), S_OK);
}

TEST(Module, MakesThePagesThatItsFiltersName) {
    const Module module;
    for (const char* filterId : {"2E57B6DD-595C-4EDE-9BBA-A7FAE97509FE", "524EC7DB-55B7-49DE-B692-50C098B16BBA"}) {
        const auto factory = module.Factory(*qrn::ParseGuid(filterId));
        qrn::ComPtr<ISpecifyPropertyPages> filter;
        ASSERT_EQ(factory->CreateInstance(nullptr, IID_ISpecifyPropertyPages, filter.PutVoid()), S_OK);
        CAUUID pages{};
        ASSERT_EQ(filter->GetPages(&pages), S_OK);
        const qrn::TaskMemoryPtr<GUID> owned(pages.pElems);
        ASSERT_EQ(pages.cElems, 1U);
        qrn::ComPtr<IPropertyPage> page;
        EXPECT_EQ(module.Factory(pages.pElems[0])->CreateInstance(nullptr, IID_IPropertyPage, page.PutVoid()), S_OK);
    }
    EXPECT_EQ(module.CanUnloadNow(), S_OK);
}

INSTANTIATE_TEST_SUITE_P(Table, ModuleClass, testing::ValuesIn(Classes()),
                         [](const auto& row) { return std::string(row.param.testName); });

}  // namespace
