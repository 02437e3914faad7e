#include "host/Activation.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "host/CModuleHolder.h"
#include "host/TestModule.h"
#include "platform/com/Text.h"
#include "platform/registry/ClassRegistration.h"
#include "qrn/host.h"
#include "support/TempFolder.h"

namespace qrn {
namespace {

constexpr const char* kTestModule = QRN_TEST_MODULE;
constexpr const char* kNoModule = QRN_TEST_NO_MODULE;

bool IsLoaded(const char* path) {
    void* handle = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr) {
        dlclose(handle);
    }
    return handle != nullptr;
}

/// An environment variable for the scope.
class CEnvironment {
public:
    CEnvironment(const char* name, const std::string& value) : m_name(name) { setenv(name, value.c_str(), 1); }
    ~CEnvironment() { unsetenv(m_name); }
    CEnvironment(const CEnvironment&) = delete;
    CEnvironment& operator=(const CEnvironment&) = delete;

private:
    const char* const m_name;
};

constexpr const char* kVariable = "QRN_MODULE";

class ActivationTest : public testing::Test {
protected:
    ~ActivationTest() override {
        m_holder.FreeUnused();
        EXPECT_FALSE(IsLoaded(kTestModule));
    }

    HRESULT Create(REFCLSID classId, ComPtr<IUnknown>& object) {
        return CreateObject(m_holder, classId, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, object.PutVoid());
    }
    HRESULT Create(REFCLSID classId) {
        ComPtr<IUnknown> object;
        return Create(classId, object);
    }
    /// A module of its own, at least for the dynamic loader.
    std::string CopyOfModule(const std::string& name) const {
        std::filesystem::copy_file(kTestModule, m_folder.File(name));
        return m_folder.File(name);
    }
    void Register(REFCLSID classId, const std::string& path) const {
        CRegistry registry;
        ASSERT_EQ(WriteClass(registry, classId, L"Test", ToWide(path)), ERROR_SUCCESS);
    }
    /// Both, since it depends on the user which is written.
    void DamageRegistry() const {
        for (const char* store : {"user.db", "machine.db"}) {
            std::ofstream(m_folder.File(store)) << std::string(5000, '#');
        }
    }
    bool LastErrorHas(const std::string& part) { return m_holder.LastError().find(part) != std::string::npos; }

    const test::CTempFolder m_folder;
    const CEnvironment m_user{"QRN_REGISTRY_USER", m_folder.File("user.db")};
    const CEnvironment m_machine{"QRN_REGISTRY_MACHINE", m_folder.File("machine.db")};
    CModuleHolder m_holder;
};

TEST_F(ActivationTest, FindsTheModuleBesideTheProgram) {
    EXPECT_FALSE(IsLoaded(kTestModule));
    EXPECT_EQ(Create(test::kCountedClass), S_OK);
    EXPECT_TRUE(IsLoaded(kTestModule));
    EXPECT_EQ(m_holder.LastError(), "");
}

TEST_F(ActivationTest, TheVariableGoesBeforeTheNeighbourAndThePathBeforeTheVariable) {
    const CEnvironment environment(kVariable, kNoModule);
    EXPECT_EQ(Create(test::kCountedClass), E_MODULE_NOT_FOUND);
    EXPECT_NE(m_holder.LastError().find(kNoModule), std::string::npos);

    EXPECT_EQ(m_holder.SetPath(kTestModule), S_OK);
    EXPECT_EQ(Create(test::kCountedClass), S_OK);
    EXPECT_EQ(m_holder.LastError(), "");  // the failure before is over
    EXPECT_EQ(m_holder.SetPath(kNoModule), E_UNEXPECTED);
    m_holder.FreeUnused();
    EXPECT_EQ(m_holder.SetPath(""), S_OK);  // back to the search
    EXPECT_EQ(Create(test::kCountedClass), E_MODULE_NOT_FOUND);
}

TEST_F(ActivationTest, AnEmptyVariableIsNone) {
    const CEnvironment environment(kVariable, "");
    EXPECT_EQ(Create(test::kCountedClass), S_OK);
}

TEST_F(ActivationTest, TheRegisteredFileGoesBeforeTheNeighbour) {
    const std::string registered = CopyOfModule("registered.so");
    Register(test::kCountedClass, registered);
    EXPECT_EQ(Create(test::kCountedClass), S_OK);
    EXPECT_TRUE(IsLoaded(registered.c_str()));
    EXPECT_FALSE(IsLoaded(kTestModule));
    EXPECT_EQ(Create(test::kForbiddenClass), E_ACCESSDENIED) << "a class that is not registered is the loaded one's";
    m_holder.FreeUnused();
    EXPECT_FALSE(IsLoaded(registered.c_str()));

    const CEnvironment environment(kVariable, kTestModule);
    EXPECT_EQ(Create(test::kCountedClass), S_OK);
    EXPECT_FALSE(IsLoaded(registered.c_str()));
}

TEST_F(ActivationTest, ARegisteredFileThatDoesNotLoadIsTold) {
    const std::string paths[] = {m_folder.File("gone.so"), kNoModule, "TestModule.so", ""};
    for (const std::string& path : paths) {
        SCOPED_TRACE(path);
        Register(test::kCountedClass, path);
        EXPECT_EQ(Create(test::kCountedClass), E_MODULE_NOT_FOUND);
        EXPECT_TRUE(LastErrorHas(path)) << m_holder.LastError();
        EXPECT_TRUE(LastErrorHas("registered for")) << m_holder.LastError();
        EXPECT_FALSE(IsLoaded(kTestModule));
    }
}

TEST_F(ActivationTest, ASecondRegisteredModuleIsRefusedWhileTheFirstIsLoaded) {
    const std::string first = CopyOfModule("first.so");
    const std::string second = CopyOfModule("second.so");
    Register(test::kCountedClass, first);
    Register(test::kForbiddenClass, second);
    ComPtr<IUnknown> object;
    ASSERT_EQ(Create(test::kCountedClass, object), S_OK);
    EXPECT_EQ(Create(test::kForbiddenClass), E_UNEXPECTED);
    EXPECT_TRUE(LastErrorHas(first) && LastErrorHas(second)) << m_holder.LastError();
    EXPECT_FALSE(IsLoaded(second.c_str()));
    EXPECT_EQ(Create(test::kCountedClass), S_OK);

    const std::string link = m_folder.File("link.so");
    std::filesystem::create_symlink(first, link);
    Register(test::kForbiddenClass, link);
    EXPECT_EQ(Create(test::kForbiddenClass), E_ACCESSDENIED) << "the same file under another name";

    Register(test::kForbiddenClass, second);
    object.Reset();
    m_holder.FreeUnused();
    EXPECT_EQ(Create(test::kForbiddenClass), E_ACCESSDENIED) << m_holder.LastError();
    EXPECT_TRUE(IsLoaded(second.c_str()));
}

TEST_F(ActivationTest, ADamagedRegistryIsToldUnlessTheFileIsGiven) {
    DamageRegistry();
    EXPECT_EQ(Create(test::kCountedClass), ResultOf(ERROR_BADDB));
    EXPECT_TRUE(LastErrorHas("damaged") && LastErrorHas(m_folder.File("user.db"))) << m_holder.LastError();
    EXPECT_FALSE(IsLoaded(kTestModule));
    const CEnvironment environment(kVariable, kTestModule);
    EXPECT_EQ(Create(test::kCountedClass), S_OK);
    EXPECT_EQ(m_holder.LastError(), "");
}

TEST_F(ActivationTest, TellsWhyAFileIsNoModule) {
    const test::CTempFolder folder;
    const std::string noise = folder.File("noise.so");
    std::ofstream(noise) << "this is no library";
    const struct {
        std::string path;
        const char* says;
    } rows[] = {{folder.File("nowhere.so"), "nowhere.so"},
                {noise, "noise.so"},
                {folder.File(""), ""},
                {kNoModule, "DllGetClassObject"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        ASSERT_EQ(m_holder.SetPath(row.path), S_OK);
        EXPECT_EQ(Create(test::kCountedClass), E_MODULE_NOT_FOUND);
        EXPECT_NE(m_holder.LastError(), "");
        EXPECT_NE(m_holder.LastError().find(row.says), std::string::npos) << m_holder.LastError();
    }
    EXPECT_FALSE(IsLoaded(kNoModule));
}

TEST_F(ActivationTest, PassesTheModulesAnswersOn) {
    EXPECT_EQ(Create(test::kUnknownClass), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(Create(test::kForbiddenClass), E_ACCESSDENIED);
    EXPECT_EQ(Create(test::kLyingClass), E_UNEXPECTED);

    auto object = ComPtr<IUnknown>();
    EXPECT_EQ(
        CreateObject(m_holder, test::kCountedClass, nullptr, CLSCTX_INPROC_SERVER, IID_IMediaControl, object.PutVoid()),
        E_NOINTERFACE);
    EXPECT_FALSE(object);
    EXPECT_EQ(CreateObject(m_holder, test::kCountedClass, nullptr, 0, IID_IUnknown, object.PutVoid()),
              REGDB_E_CLASSNOTREG);
    EXPECT_EQ(CreateObject(m_holder, test::kCountedClass, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, nullptr),
              E_POINTER);
}

TEST_F(ActivationTest, TheHostsOwnClassesNeedNoModule) {
    ASSERT_EQ(m_holder.SetPath(kNoModule), S_OK);
    for (const CLSID& id :
         {CLSID_FilterGraph, CLSID_SystemClock, CLSID_MemoryAllocator, CLSID_FilterMapper2, CLSID_FilterMapper}) {
        EXPECT_EQ(Create(id), S_OK);
    }
    EXPECT_EQ(m_holder.LastError(), "");
}

TEST_F(ActivationTest, StaysLoadedWhileAnObjectOrAFactoryLives) {
    ComPtr<IUnknown> object;
    ASSERT_EQ(Create(test::kCountedClass, object), S_OK);
    m_holder.FreeUnused();
    EXPECT_TRUE(IsLoaded(kTestModule));
    ComPtr<IClassFactory> factory;
    ASSERT_EQ(GetClassObject(m_holder, test::kCountedClass, CLSCTX_INPROC_SERVER, IID_IClassFactory, factory.PutVoid()),
              S_OK);
    object.Reset();
    m_holder.FreeUnused();
    EXPECT_TRUE(IsLoaded(kTestModule));
    factory.Reset();
    m_holder.FreeUnused();
    EXPECT_FALSE(IsLoaded(kTestModule));
    EXPECT_EQ(Create(test::kCountedClass), S_OK);  // and comes back when it is wanted
}

TEST_F(ActivationTest, ManyThreadsActivateWhileOneFrees) {
    // Keeps the code mapped: an object's last Release may be on its way out of the module while another thread unloads
    // it, which is the clients' affair.
    void* const pin = dlopen(kTestModule, RTLD_NOW);
    ASSERT_NE(pin, nullptr);
    std::vector<std::thread> clients;
    for (int client = 0; client < 3; ++client) {
        clients.emplace_back([&] {
            for (int round = 0; round < 300; ++round) {
                ASSERT_EQ(Create(test::kCountedClass), S_OK);
            }
        });
    }
    for (int round = 0; round < 300; ++round) {
        m_holder.FreeUnused();
    }
    for (std::thread& client : clients) {
        client.join();
    }
    dlclose(pin);
}

}  // namespace
}  // namespace qrn
