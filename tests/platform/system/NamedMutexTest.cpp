#include "platform/system/NamedMutex.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "platform/system/Clock.h"
#include "platform/system/Thread.h"
#include "support/ChildProcess.h"

namespace {

using namespace std::chrono_literals;
using qrn::CNamedMutex;
using qrn::CThread;
using qrn::test::CChildProcess;

constexpr auto kPatience = 20000ms;

/// Each test has a mutex of its own, which is gone afterwards.
class NamedMutex : public testing::Test {
protected:
    NamedMutex() : m_name("test-" + std::to_string(getpid()) + "-" + std::to_string(++s_count)) {}
    ~NamedMutex() override { shm_unlink(CNamedMutex::SharedMemoryName(m_name).c_str()); }

    /// Whether another thread gets it within that time; it lets go again.
    bool IsFreeForOthers(std::chrono::milliseconds timeout) const {
        bool gotIt = false;
        CThread thread;
        thread.Start("other", [this, timeout, &gotIt] {
            CNamedMutex mutex(m_name);
            gotIt = mutex.Lock(timeout);
            if (gotIt) {
                mutex.Unlock();
            }
        });
        thread.Join();
        return gotIt;
    }

    const std::string m_name;

private:
    static int s_count;
};
int NamedMutex::s_count = 0;

TEST_F(NamedMutex, IsFreeOnlyAfterAsManyUnlocksAsLocks) {
    CNamedMutex mutex(m_name);
    CNamedMutex same(m_name);
    ASSERT_TRUE(mutex.IsOpen());
    EXPECT_TRUE(mutex.Lock(0ms));
    EXPECT_TRUE(same.Lock(0ms)) << "the owner is the thread, not the object";
    mutex.Unlock();
    EXPECT_FALSE(IsFreeForOthers(5ms));
    mutex.Unlock();
    EXPECT_TRUE(IsFreeForOthers(kPatience));
}

TEST_F(NamedMutex, UnlockByAnotherThreadChangesNothing) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the thread sanitizer reports the very misuse that is tried here";
#endif
    CNamedMutex mutex(m_name);
    ASSERT_TRUE(mutex.Lock(0ms));
    CThread thread;
    ASSERT_TRUE(thread.Start("other", [&mutex] { mutex.Unlock(); }));
    thread.Join();
    EXPECT_FALSE(IsFreeForOthers(5ms));
    mutex.Unlock();
    mutex.Unlock();  // of a free one
    EXPECT_TRUE(IsFreeForOthers(kPatience));
}

TEST_F(NamedMutex, SlashInTheNameIsNoFolder) {
    const std::string name = "a/b" + m_name;
    CNamedMutex mutex(name);
    EXPECT_TRUE(mutex.IsOpen());
    shm_unlink(CNamedMutex::SharedMemoryName(name).c_str());
}

TEST_F(NamedMutex, HeldByAnotherProcessTimesOutAndByADeadOneDoesNot) {
    CChildProcess child([this](CChildProcess::CSignal signal) {
        CNamedMutex mutex(m_name);
        if (mutex.Lock(kPatience) && mutex.Lock(kPatience)) {
            signal.ReadyAndHang();
        }
    });
    ASSERT_TRUE(child.IsReady());
    CNamedMutex mutex(m_name);
    const auto start = qrn::SystemClock().Now();
    EXPECT_FALSE(mutex.Lock(30ms));
    EXPECT_GE(qrn::SystemClock().Now() - start, 30ms);

    child.Kill();
    ASSERT_TRUE(mutex.Lock(kPatience));
    mutex.Unlock();
    EXPECT_TRUE(IsFreeForOthers(kPatience)) << "the dead one had taken it twice, which counts no more";
}

TEST_F(NamedMutex, WaiterGetsItWhenTheHolderDies) {
    CChildProcess child([this](CChildProcess::CSignal signal) {
        CNamedMutex mutex(m_name);
        if (mutex.Lock(kPatience)) {
            signal.ReadyAndHang();
        }
    });
    ASSERT_TRUE(child.IsReady());
    bool gotIt = false;
    CThread waiter;
    ASSERT_TRUE(waiter.Start("waiter", [this, &gotIt] { gotIt = CNamedMutex(m_name).Lock(kPatience); }));
    EXPECT_FALSE(waiter.Join(20ms));
    child.Kill();
    waiter.Join();
    EXPECT_TRUE(gotIt);
#if !defined(__SANITIZE_THREAD__)  // which takes the lock of a thread that is gone for a lock still held
    EXPECT_TRUE(IsFreeForOthers(kPatience)) << "the waiter ended without letting go";
#endif
}

TEST_F(NamedMutex, ManyProcessesThatOpenItAtOnceExcludeEachOther) {
    constexpr int kProcesses = 8;
    constexpr int kRounds = 200;
    auto* const counter = static_cast<volatile int*>(
        mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    std::vector<pid_t> children;
    for (int i = 0; i < kProcesses; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            CNamedMutex mutex(m_name);
            bool isFine = mutex.IsOpen();
            for (int round = 0; round < kRounds && isFine; ++round) {
                isFine = mutex.Lock(kPatience);
                *counter = *counter + 1;
                mutex.Unlock();
            }
            _exit(isFine ? 0 : 1);
        }
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = -1;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(*counter, kProcesses * kRounds);
    munmap(const_cast<int*>(counter), sizeof(int));
}

TEST_F(NamedMutex, MemoryWhoseMakerDiedHalfWayIsMadeAgain) {
    const std::string shared = CNamedMutex::SharedMemoryName(m_name);
    const int file = shm_open(shared.c_str(), O_RDWR | O_CREAT | O_EXCL, 0600);
    ASSERT_GE(file, 0);
    ASSERT_EQ(ftruncate(file, 4), 0);
    close(file);
    CNamedMutex mutex(m_name);
    EXPECT_TRUE(mutex.IsOpen());
    EXPECT_TRUE(mutex.Lock(0ms));
    mutex.Unlock();
}

TEST_F(NamedMutex, MemoryThatOthersMayWriteToIsNotTaken) {
    const std::string shared = CNamedMutex::SharedMemoryName(m_name);
    const int file = shm_open(shared.c_str(), O_RDWR | O_CREAT | O_EXCL, 0600);
    ASSERT_GE(file, 0);
    ASSERT_EQ(fchmod(file, 0622), 0);
    close(file);
    CNamedMutex mutex(m_name);
    EXPECT_FALSE(mutex.IsOpen());
    EXPECT_FALSE(mutex.Lock(0ms));
    mutex.Unlock();
}

}  // namespace
