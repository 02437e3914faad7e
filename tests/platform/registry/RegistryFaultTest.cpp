// Stores that are damaged, may not be written, or run out of disk, and processes that die while they write.

#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "FaultyDisk.h"
#include "RegistryTest.h"
#include "platform/registry/CRegistryTransaction.h"

namespace {

using qrn::CRegistry;
using qrn::CRegistryKey;
using qrn::CRegistryTransaction;
using qrn::RegistryFiles;
using qrn::test::Dump;
using qrn::test::RunInChild;
using enum qrn::RegistryRoot;
namespace fs = std::filesystem;

constexpr uid_t kNobody = 65534;

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}
void WriteFile(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

/// Enough changes for several pages, as one.
LONG ChangeMuch(const RegistryFiles& files, DWORD number) {
    CRegistry registry(files);
    CRegistryTransaction transaction(registry, kCurrentUser);
    if (transaction.Error() != ERROR_SUCCESS) {
        return transaction.Error();
    }
    for (int i = 0; i < 40; ++i) {
        CRegistryKey key;
        LONG error = registry.CreateKey(kCurrentUser, L"Test\\" + std::to_wstring(i) + std::wstring(60, L'x'), key);
        error = error == ERROR_SUCCESS ? key.SetDword(L"v", number) : error;
        error = error == ERROR_SUCCESS ? key.SetString(L"text", std::wstring(100 + number, L't')) : error;
        if (error != ERROR_SUCCESS) {
            return error;
        }
    }
    return transaction.Commit();
}

LONG CreateOne(const RegistryFiles& files, qrn::RegistryRoot root = kCurrentUser) {
    CRegistry registry(files);
    CRegistryKey key;
    return registry.CreateKey(root, L"One", key);
}

/// Adds, replaces and deletes, and takes it all back.
LONG TryChanges(CRegistry& registry) {
    const CRegistryTransaction transaction(registry, kCurrentUser);
    CRegistryKey root;
    CRegistryKey key;
    LONG error = transaction.Error();
    error = error == ERROR_SUCCESS ? registry.CreateKey(kCurrentUser, L"One\\Two", key) : error;
    error = error == ERROR_SUCCESS ? key.SetDword(L"v", 1) : error;
    error = error == ERROR_SUCCESS ? registry.OpenKey(kCurrentUser, L"", root) : error;
    error = error == ERROR_SUCCESS ? root.DeleteTree(L"Test") : error;
    return error == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : error;  // the name itself may be what was damaged
}

LONG OpenOne(const RegistryFiles& files) {
    CRegistry registry(files);
    CRegistryKey key;
    return registry.OpenKey(kCurrentUser, L"Test", key);
}

class RegistryFault : public qrn::test::CRegistryTest {
protected:
    ~RegistryFault() override { qrn::test::EndWriteFaults(); }

    RegistryFiles Files(const std::string& user) const { return {user, m_folder.File("none/machine.db"), false}; }
};

// Damage.

struct DamageCase {
    const char* name;
    void (*damage)(std::string& bytes);
    LONG reading;
    LONG writing;
};

class RegistryDamage : public RegistryFault, public testing::WithParamInterface<DamageCase> {};

TEST_P(RegistryDamage, IsToldAndMadeNoWorse) {
    ASSERT_EQ(ChangeMuch(m_files, 1), ERROR_SUCCESS);
    std::string bytes = ReadFile(m_files.user);
    GetParam().damage(bytes);
    WriteFile(m_files.user, bytes);
    EXPECT_EQ(OpenOne(m_files), GetParam().reading);
    EXPECT_EQ(CreateOne(m_files), GetParam().writing);
    if (GetParam().writing != ERROR_SUCCESS) {
        EXPECT_TRUE(ReadFile(m_files.user) == bytes);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Files, RegistryDamage,
    testing::Values(
        DamageCase{"Garbage", [](std::string& bytes) { bytes = std::string(3000, '#'); }, ERROR_BADDB, ERROR_BADDB},
        DamageCase{"OneByte", [](std::string& bytes) { bytes = "x"; }, ERROR_BADDB, ERROR_BADDB},
        DamageCase{"HeaderOnly", [](std::string& bytes) { bytes.resize(100); }, ERROR_BADDB, ERROR_BADDB},
        DamageCase{"FirstPageOnly", [](std::string& bytes) { bytes.resize(4096); }, ERROR_BADDB, ERROR_BADDB},
        DamageCase{"LastPageCut", [](std::string& bytes) { bytes.resize(bytes.size() - 4096); }, ERROR_BADDB,
                   ERROR_BADDB},
        DamageCase{"LastPageTorn", [](std::string& bytes) { bytes.resize(bytes.size() - 1000); }, ERROR_SUCCESS,
                   ERROR_BADDB},
        // Offsets of the header: SQLite's "Database File Format", section 1.3.
        DamageCase{"AnotherApplications", [](std::string& bytes) { bytes[71] = 'X'; }, ERROR_BADDB, ERROR_BADDB},
        DamageCase{"NewerVersion", [](std::string& bytes) { bytes[63] = 2; }, ERROR_REVISION_MISMATCH,
                   ERROR_REVISION_MISMATCH},
        DamageCase{"TablePageOverwritten", [](std::string& bytes) { bytes.replace(4096, 4096, 4096, '\xFF'); },
                   ERROR_BADDB, ERROR_BADDB},
        DamageCase{"Empty", [](std::string& bytes) { bytes.clear(); }, ERROR_FILE_NOT_FOUND, ERROR_SUCCESS}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(RegistryFault, DamageAnywhereIsSurvived) {
    ASSERT_EQ(ChangeMuch(m_files, 1), ERROR_SUCCESS);
    const std::string sound = ReadFile(m_files.user);
    std::size_t refused = 0;
    for (std::size_t at = 0; at + 32 <= sound.size(); at += 128) {
        std::string bytes = sound;
        bytes.replace(at, 32, 32, '\xA5');
        WriteFile(m_files.user, bytes);
        CRegistry registry(m_files);
        Dump(registry, kCurrentUser);
        const LONG error = TryChanges(registry);
        EXPECT_TRUE(error == ERROR_SUCCESS || error == ERROR_BADDB) << error << " at " << at;
        refused += error == ERROR_BADDB ? 1 : 0;
    }
    EXPECT_GT(refused, 0u);
}

TEST_F(RegistryFault, AnotherDatabaseIsLeftAlone) {
    ASSERT_TRUE(fs::create_directories(m_folder.File("user")));
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(m_files.user.c_str(), &database), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(database, "CREATE TABLE letters (text)", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(database);
    const std::string bytes = ReadFile(m_files.user);
    EXPECT_EQ(OpenOne(m_files), ERROR_BADDB);
    EXPECT_EQ(CreateOne(m_files), ERROR_BADDB);
    EXPECT_TRUE(ReadFile(m_files.user) == bytes);
}

TEST_F(RegistryFault, AFileWithOurMarkAndOtherTablesIsDamaged) {
    ASSERT_EQ(CreateOne(m_files), ERROR_SUCCESS);
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(m_files.user.c_str(), &database), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(database, "DROP TABLE registry_keys", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(database);
    EXPECT_EQ(OpenOne(m_files), ERROR_BADDB);
    EXPECT_EQ(CreateOne(m_files), ERROR_BADDB);
}

TEST_F(RegistryFault, AStoreIsReadAgainOnceItIsPutRight) {
    ASSERT_EQ(ChangeMuch(m_files, 1), ERROR_SUCCESS);
    const std::string sound = ReadFile(m_files.user);
    WriteFile(m_files.user, std::string(5000, '#'));
    EXPECT_EQ(Open(kCurrentUser, L"Test"), ERROR_BADDB);
    CRegistryKey key;
    EXPECT_EQ(m_registry.CreateKey(kCurrentUser, L"Test", key), ERROR_BADDB);
    fs::remove(m_files.user);
    WriteFile(m_files.user, sound);
    EXPECT_EQ(Open(kCurrentUser, L"Test"), ERROR_SUCCESS);
}

TEST_F(RegistryFault, ADamagedUsersStoreIsNotPassedOverInTheClasses) {
    ASSERT_EQ(CreateOne(m_files, kLocalMachine), ERROR_SUCCESS);
    ASSERT_TRUE(fs::create_directories(m_folder.File("user")));
    WriteFile(m_files.user, std::string(5000, '#'));
    EXPECT_EQ(Open(kClassesRoot, L"CLSID"), ERROR_BADDB);
}

// Places that cannot be written.

TEST_F(RegistryFault, PlacesThatTakeNoFileAreToldAsThat) {
    ASSERT_TRUE(fs::create_directories(m_folder.File("folder.db")));
    WriteFile(m_folder.File("file"), "x");
    ASSERT_EQ(mkfifo(m_folder.File("pipe.db").c_str(), 0600), 0);
    EXPECT_EQ(CreateOne(Files(m_folder.File("file/registry.db"))), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(CreateOne(Files(m_folder.File("file/below/registry.db"))), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(CreateOne(Files("/proc/qrn/registry.db")), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(CreateOne(Files(m_folder.File("folder.db"))), ERROR_OPEN_FAILED);
    EXPECT_EQ(CreateOne(Files(m_folder.File("pipe.db"))), ERROR_OPEN_FAILED) << "and does not wait for a writer";
    EXPECT_EQ(OpenOne(Files(m_folder.File("pipe.db"))), ERROR_OPEN_FAILED);
    EXPECT_EQ(OpenOne(Files(m_folder.File("file/registry.db"))), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(CreateOne(Files("")), ERROR_PATH_NOT_FOUND) << "a user without a home";
    EXPECT_EQ(OpenOne(Files("")), ERROR_FILE_NOT_FOUND);
}

/// Runs a function as a user without rights: the one of the test, or nobody where that is root.
template <class Call>
int RunWithoutRights(Call call) {
    return RunInChild([&] { return geteuid() == 0 && setresuid(kNobody, kNobody, kNobody) != 0 ? 250 : call(); });
}

TEST_F(RegistryFault, AFolderThatMayNotBeWrittenIsToldAsThat) {
    fs::permissions(m_folder.File(""), fs::perms(0755));
    ASSERT_TRUE(fs::create_directories(m_folder.File("closed")));
    fs::permissions(m_folder.File("closed"), fs::perms(0555));
    const RegistryFiles files = Files(m_folder.File("closed/registry.db"));
    EXPECT_EQ(RunWithoutRights([&] { return CreateOne(files); }), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RunWithoutRights([&] { return OpenOne(files); }), ERROR_FILE_NOT_FOUND);
    fs::permissions(m_folder.File("closed"), fs::perms(0700));
}

TEST_F(RegistryFault, TheMachinesStoreIsReadByEverybodyAndWrittenByItsOwner) {
    fs::permissions(m_folder.File(""), fs::perms(0755));
    const mode_t before = umask(0077);
    const LONG created = CreateOne(m_files, kLocalMachine);
    umask(before);
    ASSERT_EQ(created, ERROR_SUCCESS);
    EXPECT_EQ(fs::status(m_files.machine).permissions(), fs::perms(0644));
    EXPECT_EQ(fs::status(m_folder.File("machine")).permissions(), fs::perms(0755));
    fs::permissions(m_files.machine, fs::perms(0444));
    fs::permissions(m_folder.File("machine"), fs::perms(0555));
    EXPECT_EQ(RunWithoutRights([&] {
                  CRegistry registry(m_files);
                  CRegistryKey key;
                  return registry.OpenKey(kLocalMachine, L"One", key);
              }),
              ERROR_SUCCESS);
    EXPECT_EQ(RunWithoutRights([&] { return CreateOne(m_files, kLocalMachine); }), ERROR_ACCESS_DENIED);
    fs::permissions(m_folder.File("machine"), fs::perms(0755));
}

TEST_F(RegistryFault, TheUsersStoreIsForHimAlone) {
    ASSERT_EQ(CreateOne(m_files), ERROR_SUCCESS);
    EXPECT_EQ(fs::status(m_files.user).permissions(), fs::perms(0600));
    EXPECT_EQ(fs::status(m_folder.File("user")).permissions(), fs::perms(0700));
}

TEST_F(RegistryFault, RootRunsNothingThatAnotherUserRegistered) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file away";
    }
    ASSERT_EQ(CreateOne(m_files, kLocalMachine), ERROR_SUCCESS);
    CRegistryKey key;
    ASSERT_EQ(m_registry.CreateKey(kClassesRoot, L"CLSID\\x", key), ERROR_SUCCESS);
    ASSERT_EQ(chown(m_files.user.c_str(), kNobody, kNobody), 0);
    CRegistry registry(m_files);
    EXPECT_EQ(registry.OpenKey(kClassesRoot, L"CLSID\\x", key), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(registry.OpenKey(kCurrentUser, L"Software", key), ERROR_ACCESS_DENIED);
    EXPECT_EQ(registry.CreateKey(kCurrentUser, L"Software", key), ERROR_ACCESS_DENIED);
}

// Writes that fail.

TEST_F(RegistryFault, AFullDiskLeavesWhatWasBeforeWhicheverWriteItMeets) {
    ASSERT_EQ(ChangeMuch(m_files, 1), ERROR_SUCCESS);
    const std::vector<std::string> before = Dump(m_files, kCurrentUser);
    int writes = 0;
    for (bool hasFailed = true; hasFailed; ++writes) {
        qrn::test::FailWritesAfter(writes, qrn::test::WriteFault::kDiskFull);
        const LONG error = ChangeMuch(m_files, 2);
        hasFailed = qrn::test::EndWriteFaults();
        ASSERT_EQ(error, hasFailed ? ERROR_DISK_FULL : ERROR_SUCCESS) << "write " << writes;
        ASSERT_EQ(Dump(m_files, kCurrentUser) == before, hasFailed) << "write " << writes;
    }
    EXPECT_GT(writes, 10);
}

TEST_F(RegistryFault, AFullDiskEndsTheWholeTransaction) {
    ASSERT_EQ(ChangeMuch(m_files, 1), ERROR_SUCCESS);
    const std::vector<std::string> before = Dump(m_files, kCurrentUser);
    qrn::test::FailWritesAfter(1000, qrn::test::WriteFault::kDiskFull);
    CRegistryTransaction transaction(m_registry, kCurrentUser);
    CRegistryKey key;
    ASSERT_EQ(m_registry.CreateKey(kCurrentUser, L"Big", key), ERROR_SUCCESS);
    qrn::test::FailWritesAfter(0, qrn::test::WriteFault::kDiskFull);
    // More than is kept in memory (2 MB) must go to the disk before the end.
    const std::vector<BYTE> data(CRegistry::kMaxDataBytes, 7);
    LONG error = ERROR_SUCCESS;
    for (int i = 0; i < 10 && error == ERROR_SUCCESS; ++i) {
        error = key.SetBinary(std::to_wstring(i), data);
    }
    EXPECT_EQ(error, ERROR_DISK_FULL);
    EXPECT_TRUE(qrn::test::EndWriteFaults());

    // There is room again; what follows must not become a change of its own, without what came before it.
    EXPECT_EQ(key.SetDword(L"v", 1), ERROR_DISK_FULL);
    {
        CRegistryTransaction inner(m_registry, kCurrentUser);
        EXPECT_EQ(inner.Error(), ERROR_DISK_FULL);
    }
    EXPECT_EQ(transaction.Commit(), ERROR_DISK_FULL);
    EXPECT_EQ(Dump(m_files, kCurrentUser), before);
    EXPECT_EQ(m_registry.CreateKey(kCurrentUser, L"Next", key), ERROR_SUCCESS);
}

TEST_F(RegistryFault, AProcessThatDiesInAWriteLeavesTheOldOrTheNew) {
    ASSERT_EQ(ChangeMuch(m_files, 1), ERROR_SUCCESS);
    const std::string file = ReadFile(m_files.user);
    const std::vector<std::string> before = Dump(m_files, kCurrentUser);
    ASSERT_EQ(ChangeMuch(m_files, 2), ERROR_SUCCESS);
    const std::vector<std::string> after = Dump(m_files, kCurrentUser);
    ASSERT_NE(before, after);

    int writes = 0;
    for (int status = qrn::test::kDeathStatus; status != 0; ++writes) {
        fs::remove(m_files.user + "-journal");
        WriteFile(m_files.user, file);
        status = RunInChild([&] {
            qrn::test::FailWritesAfter(writes, qrn::test::WriteFault::kDeath);
            return static_cast<int>(ChangeMuch(m_files, 2));
        });
        ASSERT_TRUE(status == 0 || status == qrn::test::kDeathStatus) << status;
        const std::vector<std::string> found = Dump(m_files, kCurrentUser);
        ASSERT_TRUE(found == (status == 0 ? after : before)) << "write " << writes;
        ASSERT_EQ(CreateOne(m_files), ERROR_SUCCESS) << "write " << writes;
    }
    EXPECT_GT(writes, 10);
}

TEST_F(RegistryFault, AFileThatMayNotGrowKeepsWhatItHas) {
    ASSERT_EQ(CreateOne(m_files), ERROR_SUCCESS);
    const std::vector<std::string> before = Dump(m_files, kCurrentUser);
    const int status = RunInChild([&] {
        const rlimit limit{16384, 16384};
        signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &limit);
        return ChangeMuch(m_files, 1) == ERROR_REGISTRY_IO_FAILED ? 0 : 1;
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(Dump(m_files, kCurrentUser), before);
}

}  // namespace
