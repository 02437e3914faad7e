#include "platform/registry/ClassRegistration.h"

#include <cstdlib>
#include <optional>

#include "RegistryTest.h"
#include "platform/registry/FilterCategory.h"

namespace {

using qrn::CRegistry;
using qrn::CRegistryKey;
using enum qrn::RegistryRoot;

constexpr CLSID kClass = qrn::Guid("01234567-89AB-CDEF-0123-456789ABCDEF");

/// Sets a variable of the environment for its scope, or takes it away.
class CVariable {
public:
    CVariable(const char* name, const std::optional<std::string>& value) : m_name(name) {
        if (const char* before = std::getenv(name)) {
            m_before = before;
        }
        Set(value);
    }
    ~CVariable() { Set(m_before); }
    CVariable(const CVariable&) = delete;
    CVariable& operator=(const CVariable&) = delete;

private:
    void Set(const std::optional<std::string>& value) const {
        if (value) {
            setenv(m_name, value->c_str(), 1);
        } else {
            unsetenv(m_name);
        }
    }

    const char* const m_name;
    std::optional<std::string> m_before;
};

class ClassRegistration : public qrn::test::CRegistryTest {
protected:
    std::string Module() {
        std::string path = "none";
        m_error = qrn::FindRegisteredModule(m_registry, kClass, path);
        return path;
    }

    CRegistry m_machine{{m_files.user, m_files.machine, true}};
    LONG m_error = ERROR_SUCCESS;
};

TEST_F(ClassRegistration, WritesTheKeysThatActivationReads) {
    ASSERT_EQ(qrn::WriteClass(m_registry, kClass, L"A class", L"/opt/\u00FC/module.so"), ERROR_SUCCESS);
    CRegistryKey key;
    std::wstring text;
    ASSERT_EQ(m_registry.OpenKey(kClassesRoot, L"CLSID\\{01234567-89AB-CDEF-0123-456789ABCDEF}", key), ERROR_SUCCESS);
    EXPECT_EQ(key.QueryString(L"", text), ERROR_SUCCESS);
    EXPECT_EQ(text, L"A class");
    ASSERT_EQ(key.OpenKey(L"InprocServer32", key), ERROR_SUCCESS);
    EXPECT_EQ(key.QueryString(L"", text), ERROR_SUCCESS);
    EXPECT_EQ(text, L"/opt/\u00FC/module.so");
    EXPECT_EQ(key.QueryString(L"ThreadingModel", text), ERROR_SUCCESS);
    EXPECT_EQ(text, L"Both");
    EXPECT_EQ(Module(), "/opt/\xC3\xBC/module.so");
}

TEST_F(ClassRegistration, TheUsersModuleStandsBeforeTheMachines) {
    EXPECT_EQ(Module(), "none");
    EXPECT_EQ(m_error, ERROR_FILE_NOT_FOUND);
    ASSERT_EQ(qrn::WriteClass(m_machine, kClass, L"A class", L"/machine.so"), ERROR_SUCCESS);
    EXPECT_EQ(Module(), "/machine.so");
    ASSERT_EQ(qrn::WriteClass(m_registry, kClass, L"A class", L"/user.so"), ERROR_SUCCESS);
    EXPECT_EQ(Module(), "/user.so");
    EXPECT_EQ(qrn::RemoveClass(m_registry, kClass), ERROR_SUCCESS);
    EXPECT_EQ(Module(), "/machine.so");
    EXPECT_EQ(qrn::RemoveClass(m_registry, kClass), ERROR_ACCESS_DENIED) << "the machine's is not the user's to remove";
    EXPECT_EQ(Module(), "/machine.so");
    EXPECT_EQ(qrn::RemoveClass(m_machine, kClass), ERROR_SUCCESS);
    EXPECT_EQ(qrn::RemoveClass(m_machine, kClass), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(Module(), "none");
}

TEST_F(ClassRegistration, IsFoundInTheStoresThatTheEnvironmentNames) {
    const CVariable user("QRN_REGISTRY_USER", m_files.user);
    const CVariable machine("QRN_REGISTRY_MACHINE", m_files.machine);
    std::string path;
    EXPECT_EQ(qrn::FindRegisteredModule(kClass, path), ERROR_FILE_NOT_FOUND);
    ASSERT_EQ(qrn::WriteClass(m_registry, kClass, L"A class", L"/user.so"), ERROR_SUCCESS);
    EXPECT_EQ(qrn::FindRegisteredModule(kClass, path), ERROR_SUCCESS);
    EXPECT_EQ(path, "/user.so");
}

TEST_F(ClassRegistration, AStoreThatCannotBeReadIsNotTakenForAnEmptyOne) {
    const CVariable user("QRN_REGISTRY_USER", "/dev/null");
    std::string path;
    EXPECT_EQ(qrn::FindRegisteredModule(kClass, path), ERROR_OPEN_FAILED);
}

struct PlaceCase {
    const char* name;
    std::optional<std::string> file;
    std::optional<std::string> config;
    std::optional<std::string> home;
    std::string user;
};

class RegistryPlace : public testing::TestWithParam<PlaceCase> {};

TEST_P(RegistryPlace, FollowsTheEnvironment) {
    const CVariable file("QRN_REGISTRY_USER", GetParam().file);
    const CVariable config("XDG_CONFIG_HOME", GetParam().config);
    const CVariable home("HOME", GetParam().home);
    const CVariable machine("QRN_REGISTRY_MACHINE", std::nullopt);
    const qrn::RegistryFiles files = qrn::DefaultRegistryFiles();
    EXPECT_EQ(files.user, GetParam().user);
    EXPECT_EQ(files.machine, "/var/lib/qrn/registry.db");
    EXPECT_EQ(files.writesMachine, geteuid() == 0);
}

INSTANTIATE_TEST_SUITE_P(
    Environments, RegistryPlace,
    testing::Values(PlaceCase{"Named", "/a/b.db", "/config", "/home/x", "/a/b.db"},
                    PlaceCase{"Config", {}, "/config", "/home/x", "/config/qrn/registry.db"},
                    PlaceCase{"Home", {}, {}, "/home/x", "/home/x/.config/qrn/registry.db"},
                    PlaceCase{"EmptyIsUnset", "", "", "/home/x", "/home/x/.config/qrn/registry.db"},
                    PlaceCase{"RelativeConfigIsIgnored", {}, "config", "/home/x", "/home/x/.config/qrn/registry.db"}),
    [](const auto& row) { return std::string(row.param.name); });

}  // namespace
