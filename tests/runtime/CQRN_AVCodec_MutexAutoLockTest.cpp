#include "runtime/CQRN_AVCodec_MutexAutoLock.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "platform/system/DebugOutput.h"
#include "platform/system/Thread.h"
#include "support/ChildProcess.h"

namespace {

using namespace std::chrono_literals;
using qrn::CNamedMutex;
using qrn::test::CChildProcess;

constexpr auto kPatience = 20000ms;

/// Whether another thread finds the mutex free.
bool IsFree(const std::string& name, std::chrono::milliseconds timeout) {
    bool isFree = false;
    qrn::CThread thread;
    thread.Start("other", [&] {
        CNamedMutex mutex(name);
        isFree = mutex.Lock(timeout);
        if (isFree) {
            mutex.Unlock();
        }
    });
    thread.Join();
    return isFree;
}

class AVCodecLock : public testing::Test {
protected:
    AVCodecLock() {
        qrn::SetDebugOutputSink([this](std::wstring_view text) { m_output += text; });
    }
    ~AVCodecLock() override {
        qrn::SetDebugOutputSink(nullptr);
        shm_unlink(CNamedMutex::SharedMemoryName(m_name).c_str());
    }

    const std::string m_name = "test-avcodec-" + std::to_string(getpid());
    std::wstring m_output;
};

TEST_F(AVCodecLock, ScopeHoldsTheMutexOfTheWholeSystem) {
    CQRN_AVCodec_MutexAutoLock lock;
    {
        const CQRN_AVCodec_Scope scope(&lock);
        EXPECT_FALSE(IsFree("QRN_AVCODEC_MUTEX", 5ms));
        const CQRN_AVCodec_Scope inner(&lock);
    }
    EXPECT_TRUE(IsFree("QRN_AVCODEC_MUTEX", kPatience));
    EXPECT_EQ(m_output, L"");
}

TEST_F(AVCodecLock, ScopeWithoutALockDoesNothing) {
    const CQRN_AVCodec_Scope scope(nullptr);
}

TEST_F(AVCodecLock, HungHolderIsReportedAndKeepsTheMutex) {
    CChildProcess child([this](CChildProcess::CSignal signal) {
        CNamedMutex mutex(m_name);
        if (mutex.Lock(kPatience)) {
            signal.ReadyAndHang();
        }
    });
    ASSERT_TRUE(child.IsReady());
    CQRN_AVCodec_MutexAutoLock lock(m_name, 20ms);
    bool workIsDone = false;
    {
        const CQRN_AVCodec_Scope scope(&lock);
        workIsDone = true;
    }
    EXPECT_TRUE(workIsDone);
    EXPECT_EQ(m_output, L"CQRN_AVCodec_MutexAutoLock::Lock() FAILED.\n");
    EXPECT_FALSE(IsFree(m_name, 5ms)) << "the holder's, although Unlock was called here";

    child.Kill();
    lock.Lock();
    EXPECT_FALSE(IsFree(m_name, 5ms));
    lock.Unlock();
    EXPECT_TRUE(IsFree(m_name, kPatience));
}

}  // namespace
