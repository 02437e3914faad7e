// What DllRegisterServer and DllUnregisterServer do, step by step against mappers of the test's own, and as a whole
// through the module's file and the registry.

#include "module/Registration.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "platform/com/Text.h"
#include "platform/registry/CRegistryKey.h"
#include "platform/registry/ClassRegistration.h"
#include "platform/registry/FilterCategory.h"
#include "platform/registry/FilterMappers.h"
#include "platform/registry/RegistryDump.h"
#include "qrn/QRN_Media2.h"
#include "support/TempFolder.h"

namespace {

using qrn::CRegistry;
using qrn::RegisteredFilter;
using enum qrn::RegistryRoot;
namespace fs = std::filesystem;

constexpr HRESULT kNotFound = static_cast<HRESULT>(0x80070002u);

std::vector<std::wstring> ListNames(CRegistry& registry, REFCLSID category) {
    std::vector<RegisteredFilter> filters;
    EXPECT_EQ(qrn::ListCategory(registry, category, filters), ERROR_SUCCESS);
    std::vector<std::wstring> names;
    for (const RegisteredFilter& filter : filters) {
        names.push_back(filter.name);
    }
    return names;
}

std::vector<std::string> Dump(const qrn::RegistryFiles& files) {
    return qrn::test::Dump(files, kClassesRoot);
}

/// A mapper that writes down what it is asked, and answers as told: for the call of that number, else success.
class CRecordingMapper final : public IFilterMapper2 {
public:
    HRESULT QueryInterface(REFIID id, void** object) override {
        *object = id == IID_IFilterMapper2 ? static_cast<IFilterMapper2*>(this) : nullptr;
        m_references += *object != nullptr ? 1 : 0;
        return *object != nullptr ? S_OK : E_NOINTERFACE;
    }
    ULONG AddRef() override { return ++m_references; }
    ULONG Release() override { return --m_references; }

    HRESULT CreateCategory(REFCLSID /*category*/, DWORD /*merit*/, const wchar_t* /*description*/) override {
        return Note("CreateCategory");
    }
    HRESULT UnregisterFilter(const CLSID* category, const wchar_t* instance, REFCLSID filter) override {
        return Note("- " + Entry(category, instance, filter));
    }
    HRESULT RegisterFilter(REFCLSID filter, const wchar_t* name, IMoniker** moniker, const CLSID* category,
                           const wchar_t* instance, const REGFILTER2* record) override {
        EXPECT_EQ(moniker, nullptr);
        EXPECT_EQ(record->dwVersion, 1u);
        return Note("+ " + Entry(category, instance, filter) + " " + qrn::ToUtf8(name) + " " +
                    std::to_string(record->dwMerit) + " " + std::to_string(record->cPins));
    }
    HRESULT EnumMatchingFilters(IEnumMoniker** /*filters*/, DWORD /*flags*/, BOOL /*exactMatch*/, DWORD /*merit*/,
                                BOOL /*inputNeeded*/, DWORD /*inputTypeCount*/, const GUID* /*inputTypes*/,
                                const REGPINMEDIUM* /*inputMedium*/, const CLSID* /*inputPinCategory*/, BOOL /*render*/,
                                BOOL /*outputNeeded*/, DWORD /*outputTypeCount*/, const GUID* /*outputTypes*/,
                                const REGPINMEDIUM* /*outputMedium*/, const CLSID* /*outputPinCategory*/) override {
        return Note("EnumMatchingFilters");
    }

    std::vector<std::string> calls;
    std::size_t failingCall = SIZE_MAX;
    HRESULT answer = S_OK;
    HRESULT failure = E_FAIL;

    ULONG References() const { return m_references; }

private:
    static std::string Entry(const CLSID* category, const wchar_t* instance, REFCLSID filter) {
        const CFactoryTemplate* row = FindClass(filter);
        std::string text = row == nullptr ? "unknown" : qrn::ToUtf8(row->m_name);
        text += category == nullptr ? "" : " in " + qrn::ToString(*category).substr(0, 8);
        return text + (instance == nullptr ? "" : " as " + qrn::ToUtf8(instance));
    }
    HRESULT Note(const std::string& call) {
        calls.push_back(call);
        return calls.size() - 1 == failingCall ? failure : answer;
    }

    ULONG m_references = 1;
};

class Registration : public testing::Test {
protected:
    /// @param failures  the creations that fail, by their number and the mapper that they are of.
    RegistrationContext Context(std::set<std::pair<int, bool>> failures = {}) {
        return {m_registry, ClassTable(),
                [this, failures = std::move(failures)](REFCLSID classId, REFIID interfaceId, void** object) {
                    const bool isOlder = classId == CLSID_FilterMapper;
                    *object = nullptr;
                    if (failures.contains({m_created[isOlder ? 1 : 0]++, isOlder})) {
                        return isOlder ? E_ACCESSDENIED : REGDB_E_CLASSNOTREG;
                    }
                    return qrn::CreateFilterMapper(m_registry, classId, interfaceId, object);
                }};
    }
    RegistrationContext Context(CRecordingMapper& mapper) {
        return {m_registry, ClassTable(), [&mapper](REFCLSID /*classId*/, REFIID interfaceId, void** object) {
                    return mapper.QueryInterface(interfaceId, object);
                }};
    }

    const qrn::test::CTempFolder m_folder;
    const qrn::RegistryFiles m_files{m_folder.File("user.db"), m_folder.File("machine.db"), false};
    const std::shared_ptr<CRegistry> m_registry = std::make_shared<CRegistry>(m_files);
    int m_created[2] = {0, 0};
};

TEST_F(Registration, AsksTheMapperInTheOrderOfItsSteps) {
    CRecordingMapper mapper;
    EXPECT_EQ(RegisterModule(Context(mapper)), S_OK);
    const std::vector<std::string> expected{
        "- QRN Video Compressor 2 in 33D9A760",
        "- QRN Audio Compressor in 33D9A761",
        "- QRN HTTP Webcam",
        "+ QRN HTTP Webcam QRN HTTP Webcam 2097152 1",
        "- QRN Audio MicAEC",
        "+ QRN Audio MicAEC QRN Audio MicAEC 2097152 1",
        "- QRN Audio RenderAEC",
        "+ QRN Audio RenderAEC QRN Audio RenderAEC 2097152 1",
        "- QRN Temporal Scaler",
        "+ QRN Temporal Scaler QRN Temporal Scaler 2097152 2",
        "- QRN Video Compressor 2",
        "+ QRN Video Compressor 2 QRN Video Compressor 2 6291456 2",
        "- QRN Video DeCompressor",
        "+ QRN Video DeCompressor QRN Video DeCompressor 6291456 2",
        "- QRN Audio Compressor",
        "+ QRN Audio Compressor QRN Audio Compressor 6291456 2",
        "- QRN Audio Decompressor",
        "+ QRN Audio Decompressor QRN Audio Decompressor 6291456 2",
        "- QRN Video Render",
        "+ QRN Video Render QRN Video Render 2097152 1",
        "- QRN Video Render 3D",
        "+ QRN Video Render 3D QRN Video Render 3D 2097152 1",
        "- QRN Audio Render",
        "+ QRN Audio Render QRN Audio Render 2097152 1",
        "- QRN Video Sender",
        "+ QRN Video Sender QRN Video Sender 2097152 1",
        "- QRN Audio Sender",
        "+ QRN Audio Sender QRN Audio Sender 2097152 1",
        "- QRN Video Receiver",
        "+ QRN Video Receiver QRN Video Receiver 2097152 1",
        "- QRN Audio Receiver",
        "+ QRN Audio Receiver QRN Audio Receiver 2097152 1",
        "- QRN HTTP Webcam in 083863F1",
        "- QRN Audio MicAEC in 083863F1",
        "- QRN Audio RenderAEC in 083863F1",
        "- QRN Temporal Scaler in 083863F1",
        "- QRN Video Compressor 2 in 083863F1",
        "- QRN Video DeCompressor in 083863F1",
        "- QRN Audio Compressor in 083863F1",
        "- QRN Audio Decompressor in 083863F1",
        "- QRN Video Render in 083863F1",
        "- QRN Audio Render in 083863F1",
        "- QRN Video Sender in 083863F1",
        "- QRN Audio Sender in 083863F1",
        "- QRN Video Receiver in 083863F1",
        "- QRN Audio Receiver in 083863F1",
    };
    EXPECT_EQ(mapper.calls, expected);
    EXPECT_EQ(mapper.References(), 1u);

    CRecordingMapper unregistering;
    EXPECT_EQ(UnregisterModule(Context(unregistering)), S_OK);
    std::vector<std::string> removals;
    std::copy_if(expected.begin() + 2, expected.begin() + 32, std::back_inserter(removals),
                 [](const std::string& call) { return call.front() == '-'; });
    EXPECT_EQ(unregistering.calls, removals);
}

TEST_F(Registration, AMapperThatFindsNothingDoesNotFailIt) {
    CRecordingMapper mapper;
    mapper.answer = kNotFound;
    EXPECT_EQ(RegisterModule(Context(mapper)), S_OK);
    EXPECT_EQ(mapper.calls.size(), 46u);
}

TEST_F(Registration, AFailedStepEndsItAndLeavesNothingUnlessItIsOneThatDoesNotMatter) {
    for (std::size_t step = 0; step < 46; ++step) {
        const bool doesNotMatter = step < 2 || step >= 32;
        CRecordingMapper mapper;
        mapper.failingCall = step;
        mapper.failure = E_ACCESSDENIED;
        EXPECT_EQ(RegisterModule(Context(mapper)), doesNotMatter ? S_OK : E_ACCESSDENIED) << step;
        EXPECT_EQ(mapper.calls.size(), doesNotMatter ? 46 : step + 1);
        EXPECT_EQ(mapper.References(), 1u) << step;
        EXPECT_EQ(Dump(m_files).empty(), !doesNotMatter) << step;
        qrn::CRegistryKey root;
        ASSERT_EQ(m_registry->OpenKey(kClassesRoot, L"", root), ERROR_SUCCESS);
        root.DeleteTree(L"CLSID");
    }
}

TEST_F(Registration, TheOlderMapperLeavesTheSameStore) {
    ASSERT_EQ(RegisterModule(Context()), S_OK);
    const std::vector<std::string> byTheNewer = Dump(m_files);
    EXPECT_EQ(m_created[1], 0);
    ASSERT_EQ(UnregisterModule(Context()), S_OK);

    m_created[0] = 0;
    // The newer one is there for the first step, and no more for the common part.
    ASSERT_EQ(RegisterModule(Context({{1, false}})), S_OK);
    EXPECT_EQ(m_created[1], 1);
    EXPECT_TRUE(Dump(m_files) == byTheNewer);

    m_created[0] = 0;
    EXPECT_EQ(UnregisterModule(Context({{0, false}})), S_OK);
    EXPECT_EQ(m_created[1], 2);
    EXPECT_TRUE(ListNames(*m_registry, CLSID_LegacyAmFilterCategory).empty());
}

TEST_F(Registration, WithoutAnyMapperItFailsAndLeavesNothing) {
    EXPECT_EQ(RegisterModule(Context({{0, false}})), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(m_created[1], 0) << "the first step has no second choice";
    m_created[0] = 0;
    EXPECT_EQ(RegisterModule(Context({{1, false}, {0, true}})), E_ACCESSDENIED);
    EXPECT_TRUE(Dump(m_files).empty());

    ASSERT_EQ(RegisterModule(Context()), S_OK);
    const std::vector<std::string> registered = Dump(m_files);
    m_created[0] = m_created[1] = 0;
    EXPECT_EQ(UnregisterModule(Context({{0, false}, {0, true}})), E_ACCESSDENIED);
    EXPECT_TRUE(Dump(m_files) == registered) << "the classes stay, too";
}

TEST_F(Registration, EntriesOfEarlierVersionsAreTakenOut) {
    const RegisteredFilter video{qrn::BracedText(CLSID_QRN_VideoCompressor2), CLSID_QRN_VideoCompressor2, L"v", 1, {}};
    const RegisteredFilter audio{qrn::BracedText(CLSID_QRN_AudioCompressor), CLSID_QRN_AudioCompressor, L"a", 1, {}};
    const RegisteredFilter other{L"another's", CLSID_QRN_AudioCompressor, L"another's", 1, {}};
    ASSERT_EQ(qrn::WriteCategoryEntry(*m_registry, CLSID_VideoCompressorCategory, video), ERROR_SUCCESS);
    ASSERT_EQ(qrn::WriteCategoryEntry(*m_registry, CLSID_AudioCompressorCategory, audio), ERROR_SUCCESS);
    ASSERT_EQ(qrn::WriteCategoryEntry(*m_registry, CLSID_LegacyAmFilterCategory, audio), ERROR_SUCCESS);
    ASSERT_EQ(qrn::WriteCategoryEntry(*m_registry, CLSID_AudioCompressorCategory, other), ERROR_SUCCESS);
    ASSERT_EQ(RegisterModule(Context()), S_OK);
    EXPECT_TRUE(ListNames(*m_registry, CLSID_VideoCompressorCategory).empty());
    EXPECT_EQ(ListNames(*m_registry, CLSID_AudioCompressorCategory), std::vector<std::wstring>{L"another's"});
    EXPECT_EQ(ListNames(*m_registry, CLSID_LegacyAmFilterCategory), std::vector<std::wstring>{L"QRN Video Render 3D"});
}

TEST_F(Registration, AUserAddsToWhatIsRegisteredForTheMachineAndTakesOnlyThatBack) {
    qrn::RegistryFiles rootsFiles = m_files;
    rootsFiles.writesMachine = true;
    const auto users = m_registry;
    const auto roots = std::make_shared<CRegistry>(rootsFiles);
    const auto contextOf = [](const std::shared_ptr<CRegistry>& registry) {
        return RegistrationContext{registry, ClassTable(), [registry](REFCLSID classId, REFIID id, void** object) {
                                       return qrn::CreateFilterMapper(registry, classId, id, object);
                                   }};
    };
    ASSERT_EQ(RegisterModule(contextOf(roots)), S_OK);
    const std::vector<std::string> machines = Dump(m_files);
    EXPECT_EQ(UnregisterModule(contextOf(users)), E_ACCESSDENIED) << "the user has registered nothing";
    EXPECT_EQ(RegisterModule(contextOf(users)), S_OK);
    EXPECT_EQ(UnregisterModule(contextOf(users)), S_OK);
    EXPECT_TRUE(Dump(m_files) == machines);
    EXPECT_EQ(UnregisterModule(contextOf(roots)), S_OK);
    EXPECT_TRUE(ListNames(*users, CLSID_LegacyAmFilterCategory).empty());
}

// Through the module's file.

/// The stores of the environment are the test's own.
class RegisteredModule : public testing::Test {
protected:
    RegisteredModule() {
        setenv("QRN_REGISTRY_USER", m_files.user.c_str(), 1);
        setenv("QRN_REGISTRY_MACHINE", m_files.machine.c_str(), 1);
    }
    ~RegisteredModule() override {
        unsetenv("QRN_REGISTRY_USER");
        unsetenv("QRN_REGISTRY_MACHINE");
    }

    /// Calls an entry point in a process of its own, as whoever registers a module does: the loader goes on to know a
    /// file by the name by which it was first loaded.
    static HRESULT Call(const char* name, const std::string& module = QRN_MODULE_FILE) {
        int ends[2];
        if (pipe(ends) != 0) {
            return E_UNEXPECTED;
        }
        const pid_t child = fork();
        if (child == 0) {
            void* handle = dlopen(module.c_str(), RTLD_NOW | RTLD_LOCAL);
            void* function = handle != nullptr ? dlsym(handle, name) : nullptr;
            const HRESULT answer =
                function != nullptr ? reinterpret_cast<HRESULT (*)()>(function)() : E_MODULE_NOT_FOUND;
            _exit(write(ends[1], &answer, sizeof answer) == sizeof answer ? 0 : 1);
        }
        close(ends[1]);
        HRESULT answer = E_UNEXPECTED;
        const bool hasAnswered = read(ends[0], &answer, sizeof answer) == sizeof answer;
        close(ends[0]);
        waitpid(child, nullptr, 0);
        return hasAnswered ? answer : E_UNEXPECTED;
    }
    static HRESULT Register() { return Call("DllRegisterServer"); }
    static HRESULT Unregister() { return Call("DllUnregisterServer"); }

    const qrn::test::CTempFolder m_folder;
    const qrn::RegistryFiles m_files{m_folder.File("user/registry.db"), m_folder.File("machine/registry.db"),
                                     geteuid() == 0};
    const std::string& m_written = m_files.writesMachine ? m_files.machine : m_files.user;
};

TEST_F(RegisteredModule, StandsInTheRegistryWithAllItsClassesAndOneListedFilter) {
    ASSERT_EQ(Register(), S_OK);
    CRegistry registry(m_files);
    ASSERT_EQ(ClassTable().size(), 20u);
    for (const CFactoryTemplate& row : ClassTable()) {
        const std::wstring path = L"CLSID\\" + qrn::BracedText(*row.m_classId);
        qrn::CRegistryKey key;
        std::wstring name;
        std::wstring model;
        std::string module;
        ASSERT_EQ(registry.OpenKey(kClassesRoot, path, key), ERROR_SUCCESS);
        EXPECT_EQ(key.QueryString(L"", name), ERROR_SUCCESS);
        EXPECT_EQ(name, row.m_name);
        ASSERT_EQ(key.OpenKey(L"InprocServer32", key), ERROR_SUCCESS);
        EXPECT_EQ(key.QueryString(L"ThreadingModel", model), ERROR_SUCCESS);
        EXPECT_EQ(model, L"Both");
        EXPECT_EQ(qrn::FindRegisteredModule(*row.m_classId, module), ERROR_SUCCESS);
        EXPECT_TRUE(fs::path(module).is_absolute()) << module;
        EXPECT_TRUE(fs::equivalent(module, QRN_MODULE_FILE)) << module;
    }
    std::vector<RegisteredFilter> filters;
    EXPECT_EQ(qrn::ListCategory(registry, CLSID_LegacyAmFilterCategory, filters), ERROR_SUCCESS);
    const RegisteredFilter listed{
        L"{6822840B-A601-412D-AC92-FCF9F7705623}",
        CLSID_QRN_VideoRender3D,
        L"QRN Video Render 3D",
        0x200000,
        {{L"Input", false, false, false, false, GUID_NULL, L"", {{MEDIATYPE_Video, GUID_NULL}}}}};
    EXPECT_EQ(filters, std::vector<RegisteredFilter>{listed});
    EXPECT_TRUE(ListNames(registry, CLSID_VideoCompressorCategory).empty());
    EXPECT_TRUE(ListNames(registry, CLSID_AudioCompressorCategory).empty());
}

TEST_F(RegisteredModule, IsTheSameAfterRegisteringTwice) {
    ASSERT_EQ(Register(), S_OK);
    const std::vector<std::string> once = Dump(m_files);
    EXPECT_EQ(Register(), S_OK);
    EXPECT_TRUE(Dump(m_files) == once);
}

TEST_F(RegisteredModule, IsGoneAfterUnregistering) {
    EXPECT_EQ(Unregister(), S_OK) << "nothing was registered";
    ASSERT_EQ(Register(), S_OK);
    EXPECT_EQ(Unregister(), S_OK);
    CRegistry registry(m_files);
    for (const CFactoryTemplate& row : ClassTable()) {
        std::string module;
        EXPECT_EQ(qrn::FindRegisteredModule(registry, *row.m_classId, module), ERROR_FILE_NOT_FOUND);
        qrn::CRegistryKey key;
        EXPECT_EQ(registry.OpenKey(kClassesRoot, L"CLSID\\" + qrn::BracedText(*row.m_classId), key),
                  ERROR_FILE_NOT_FOUND);
    }
    EXPECT_TRUE(ListNames(registry, CLSID_LegacyAmFilterCategory).empty());
    EXPECT_EQ(Unregister(), S_OK);
}

TEST_F(RegisteredModule, SeveralProcessesAtOnceLeaveTheStoreOfOne) {
    ASSERT_EQ(Register(), S_OK);
    const std::vector<std::string> one = Dump(m_files);
    for (int round = 0; round < 5; ++round) {
        // From nothing: the processes also make the file at once.
        fs::remove_all(fs::path(m_written).parent_path());
        int start[2];
        ASSERT_EQ(pipe(start), 0);
        std::vector<pid_t> children;
        for (int i = 0; i < 3; ++i) {
            const pid_t child = fork();
            if (child == 0) {
                close(start[1]);
                char byte = 0;
                [[maybe_unused]] const ssize_t ended = read(start[0], &byte, 1);  // until all are there
                _exit(Register() == S_OK ? 0 : 1);
            }
            children.push_back(child);
        }
        close(start[0]);
        close(start[1]);
        for (const pid_t child : children) {
            int status = -1;
            ASSERT_EQ(waitpid(child, &status, 0), child);
            EXPECT_EQ(status, 0);
        }
        ASSERT_TRUE(Dump(m_files) == one) << "round " << round;
    }
}

TEST_F(RegisteredModule, ADamagedStoreIsToldAndLeftAsItIs) {
    const std::string garbage(5000, '#');
    fs::create_directories(fs::path(m_written).parent_path());
    std::ofstream(m_written) << garbage;
    EXPECT_EQ(Register(), static_cast<HRESULT>(0x800703F1u));
    EXPECT_EQ(Unregister(), static_cast<HRESULT>(0x800703F1u));
    std::ifstream file(m_written);
    EXPECT_TRUE(std::string(std::istreambuf_iterator<char>(file), {}) == garbage);
}

TEST_F(RegisteredModule, AStoreThatCannotBeMadeIsTold) {
    const std::string file = m_folder.File("file");
    std::ofstream(file) << "x";
    setenv("QRN_REGISTRY_USER", (file + "/registry.db").c_str(), 1);
    setenv("QRN_REGISTRY_MACHINE", (file + "/registry.db").c_str(), 1);
    EXPECT_EQ(Register(), static_cast<HRESULT>(0x80070003u));
    setenv("QRN_REGISTRY_USER", "/proc/registry.db", 1);
    setenv("QRN_REGISTRY_MACHINE", "/proc/registry.db", 1);
    EXPECT_TRUE(FAILED(Register()));
}

TEST_F(RegisteredModule, IsTheUsersWithoutTheRightsOfRoot) {
    constexpr uid_t kNobody = 65534;
    fs::permissions(m_folder.File(""), fs::perms(0777));
    const std::string module = m_folder.File("module.so");  // where he may read it
    fs::copy_file(QRN_MODULE_FILE, module);
    const pid_t child = fork();
    if (child == 0) {
        if (geteuid() == 0 && setresuid(kNobody, kNobody, kNobody) != 0) {
            _exit(2);
        }
        _exit(Call("DllRegisterServer", module) == S_OK ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(fs::exists(m_files.user));
    EXPECT_FALSE(fs::exists(m_files.machine));
}

TEST_F(RegisteredModule, APathThatDoesNotFitIsRefused) {
    fs::path folder = m_folder.File(std::string(200, 'd'));
    const std::size_t room = 259 - folder.string().size() - std::string("/.so").size();
    ASSERT_TRUE(fs::create_directories(folder));
    const fs::path longest = folder / (std::string(room, 'm') + ".so");
    const fs::path tooLong = folder / (std::string(room + 1, 'm') + ".so");
    fs::copy_file(QRN_MODULE_FILE, longest);
    fs::create_symlink(longest, tooLong);
    EXPECT_EQ(Call("DllRegisterServer", longest), S_OK);
    std::string module;
    EXPECT_EQ(qrn::FindRegisteredModule(CLSID_QRN_AudioRender, module), ERROR_SUCCESS);
    EXPECT_EQ(module, longest.string());
    EXPECT_EQ(Call("DllRegisterServer", tooLong), static_cast<HRESULT>(0x8007007Au));
}

TEST_F(RegisteredModule, IsRegisteredByTheNameThatItWasLoadedBy) {
    // A link, as the packages have one from the name without a version.
    const std::string link = m_folder.File("link.so");
    fs::create_symlink(fs::absolute(QRN_MODULE_FILE), link);
    const fs::path before = fs::current_path();
    fs::current_path(m_folder.File(""));
    EXPECT_EQ(Call("DllRegisterServer", "./link.so"), S_OK);
    fs::current_path(before);
    std::string module;
    EXPECT_EQ(qrn::FindRegisteredModule(CLSID_QRN_AudioRender, module), ERROR_SUCCESS);
    EXPECT_EQ(module, link);
}

}  // namespace
