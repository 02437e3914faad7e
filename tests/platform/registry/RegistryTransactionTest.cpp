#include "platform/registry/CRegistryTransaction.h"

#include "RegistryTest.h"
#include "platform/system/Thread.h"
#include "support/ChildProcess.h"
#include "support/FakeClock.h"

namespace {

using qrn::CRegistry;
using qrn::CRegistryKey;
using qrn::CRegistryTransaction;
using enum qrn::RegistryRoot;

class RegistryTransaction : public qrn::test::CRegistryTest {
protected:
    RegistryTransaction() { EXPECT_EQ(Write(1), ERROR_SUCCESS); }

    LONG Write(DWORD number) { return Create(kCurrentUser, L"Test").SetDword(L"v", number); }

    static DWORD Read(CRegistry& registry) {
        CRegistryKey key;
        DWORD number = 0;
        EXPECT_EQ(registry.OpenKey(kCurrentUser, L"Test", key), ERROR_SUCCESS);
        EXPECT_EQ(key.QueryDword(L"v", number), ERROR_SUCCESS);
        return number;
    }
};

TEST_F(RegistryTransaction, IsSeenByOthersOnceItIsCommitted) {
    CRegistry other(m_files);
    {
        CRegistryTransaction transaction(m_registry, kCurrentUser);
        ASSERT_EQ(transaction.Error(), ERROR_SUCCESS);
        EXPECT_EQ(Write(2), ERROR_SUCCESS);
        EXPECT_EQ(Read(m_registry), 2u);
        EXPECT_EQ(Read(other), 1u);
        EXPECT_EQ(transaction.Commit(), ERROR_SUCCESS);
        EXPECT_EQ(Read(other), 2u);
        EXPECT_EQ(transaction.Commit(), ERROR_INVALID_PARAMETER);
    }
    EXPECT_EQ(Read(other), 2u);
}

TEST_F(RegistryTransaction, LeavesNothingBehindWithoutCommit) {
    const std::vector<std::string> before = qrn::test::Dump(m_registry, kCurrentUser);
    {
        const CRegistryTransaction transaction(m_registry, kCurrentUser);
        EXPECT_EQ(Write(2), ERROR_SUCCESS);
        Create(kCurrentUser, L"New\\Sub");
        CRegistryKey root;
        ASSERT_EQ(m_registry.OpenKey(kCurrentUser, L"", root), ERROR_SUCCESS);
        EXPECT_EQ(root.DeleteTree(L"Test"), ERROR_SUCCESS);
    }
    EXPECT_EQ(qrn::test::Dump(m_registry, kCurrentUser), before);
}

TEST_F(RegistryTransaction, TheFirstOfAStoreMayBeTakenBackToo) {
    {
        const CRegistryTransaction transaction(m_registry, kLocalMachine);
        Create(kLocalMachine, L"Test");
        EXPECT_EQ(Open(kLocalMachine, L"Test"), ERROR_SUCCESS);
    }
    EXPECT_EQ(Open(kLocalMachine, L"Test"), ERROR_FILE_NOT_FOUND);
    EXPECT_TRUE(qrn::test::Dump(m_registry, kLocalMachine).empty());
    Create(kLocalMachine, L"Test");
    EXPECT_EQ(Open(kLocalMachine, L"Test"), ERROR_SUCCESS);
}

TEST_F(RegistryTransaction, AnInnerOneIsTakenBackAlone) {
    {
        CRegistryTransaction outer(m_registry, kCurrentUser);
        EXPECT_EQ(Write(2), ERROR_SUCCESS);
        {
            const CRegistryTransaction inner(m_registry, kCurrentUser);
            EXPECT_EQ(Write(3), ERROR_SUCCESS);
        }
        EXPECT_EQ(Read(m_registry), 2u);
        {
            CRegistryTransaction inner(m_registry, kCurrentUser);
            Create(kCurrentUser, L"Inner");
            EXPECT_EQ(inner.Commit(), ERROR_SUCCESS);
        }
        EXPECT_EQ(outer.Commit(), ERROR_SUCCESS);
    }
    CRegistry other(m_files);
    EXPECT_EQ(Read(other), 2u);
    EXPECT_EQ(Open(kCurrentUser, L"Inner"), ERROR_SUCCESS);
}

TEST_F(RegistryTransaction, AFailedChangeLeavesTheRestOfItStanding) {
    CRegistryTransaction transaction(m_registry, kCurrentUser);
    EXPECT_EQ(Write(2), ERROR_SUCCESS);
    CRegistryKey root;
    ASSERT_EQ(m_registry.OpenKey(kCurrentUser, L"", root), ERROR_SUCCESS);
    EXPECT_EQ(root.DeleteKey(L"none"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(transaction.Commit(), ERROR_SUCCESS);
    EXPECT_EQ(Read(m_registry), 2u);
}

TEST_F(RegistryTransaction, KeepsOtherWritersWaitingForFiveSecondsAndNoReader) {
    const CRegistryTransaction transaction(m_registry, kCurrentUser);
    ASSERT_EQ(transaction.Error(), ERROR_SUCCESS);
    qrn::test::CAutoClock clock;
    CRegistry other(m_files, clock);
    EXPECT_EQ(Read(other), 1u);
    const auto start = clock.Now();
    const CRegistryTransaction second(other, kCurrentUser);
    EXPECT_EQ(second.Error(), ERROR_BUSY);
    EXPECT_GE(clock.Now() - start, std::chrono::seconds(5));
    EXPECT_LT(clock.Now() - start, std::chrono::seconds(6));
}

TEST_F(RegistryTransaction, OfOneThreadKeepsTheOthersOut) {
    qrn::CThread thread;
    {
        CRegistryTransaction transaction(m_registry, kCurrentUser);
        EXPECT_EQ(Write(2), ERROR_SUCCESS);
        // Were its change to become a part of this transaction, it would be undone with it.
        thread.Start("other", [this] { EXPECT_EQ(Write(3), ERROR_SUCCESS); });
    }
    thread.Join();
    EXPECT_EQ(Read(m_registry), 3u);
}

TEST_F(RegistryTransaction, EndsWithItsProcess) {
    qrn::test::CChildProcess child([this](const auto& signal) {
        CRegistry registry(m_files);
        const CRegistryTransaction transaction(registry, kCurrentUser);
        CRegistryKey key;
        if (registry.CreateKey(kCurrentUser, L"Test", key) == ERROR_SUCCESS && key.SetDword(L"v", 2) == ERROR_SUCCESS) {
            signal.ReadyAndHang();
        }
    });
    ASSERT_TRUE(child.IsReady());
    child.Kill();
    EXPECT_EQ(Read(m_registry), 1u);
    EXPECT_EQ(Write(3), ERROR_SUCCESS);
    EXPECT_EQ(Read(m_registry), 3u);
}

TEST_F(RegistryTransaction, ProcessesThatCountTogetherLoseNothing) {
    constexpr DWORD kProcesses = 3;
    constexpr DWORD kRounds = 40;
    // Also the file itself is made by all of them at once.
    const qrn::RegistryFiles files{m_folder.File("counted/registry.db"), m_folder.File("none"), false};
    std::vector<pid_t> children;
    for (DWORD i = 0; i < kProcesses; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            for (DWORD round = 0; round < kRounds; ++round) {
                CRegistry registry(files);
                CRegistryTransaction transaction(registry, kCurrentUser);
                CRegistryKey key;
                DWORD number = 0;
                if (transaction.Error() != ERROR_SUCCESS ||
                    registry.CreateKey(kCurrentUser, L"Test", key) != ERROR_SUCCESS) {
                    _exit(1);
                }
                const LONG found = key.QueryDword(L"v", number);
                if ((found != ERROR_SUCCESS && found != ERROR_FILE_NOT_FOUND) ||
                    key.SetDword(L"v", number + 1) != ERROR_SUCCESS || transaction.Commit() != ERROR_SUCCESS) {
                    _exit(2);
                }
            }
            _exit(0);
        }
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    CRegistry registry(files);
    EXPECT_EQ(Read(registry), kProcesses * kRounds);
}

}  // namespace
