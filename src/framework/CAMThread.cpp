#include "framework/CAMThread.h"

CAMThread::CAMThread(const std::string& threadName) : m_threadName(threadName) {}

CAMThread::~CAMThread() {
    Close();
}

BOOL CAMThread::Create() {
    CAutoLock access(&m_AccessLock);
    if (m_thread.IsHeld()) {
        return FALSE;
    }
    {
        CAutoLock lock(&m_WorkerLock);
        m_hasRequest = false;
        m_awaited = 0;
        m_ended = false;
    }
    m_EventSend.Reset();
    m_EventComplete.Reset();
    return m_thread.Start(m_threadName, [this] { Run(); }) ? TRUE : FALSE;
}

void CAMThread::Run() {
    // Also when an exception ends the thread: a caller that waits must not wait for ever.
    struct CEnding {
        CAMThread& thread;
        ~CEnding() { thread.TellEnd(); }
    } ending{*this};
    ThreadProc();
}

void CAMThread::TellEnd() {
    CAutoLock lock(&m_WorkerLock);
    m_ended = true;
    if (m_awaited != 0) {
        m_awaited = 0;
        m_result = static_cast<DWORD>(E_UNEXPECTED);
        m_EventComplete.Set();
    }
}

void CAMThread::Close() {
    CAutoLock access(&m_AccessLock);
    m_thread.Join();
}

BOOL CAMThread::ThreadExists() const {
    CAutoLock access(&m_AccessLock);
    return m_thread.IsHeld() ? TRUE : FALSE;
}

DWORD CAMThread::CallWorker(DWORD command) {
    CAutoLock access(&m_AccessLock);
    if (m_thread.IsCurrent() || !Post(command, true)) {
        return static_cast<DWORD>(E_UNEXPECTED);
    }
    m_EventComplete.Wait(qrn::SystemClock(), std::chrono::nanoseconds(-1));
    CAutoLock lock(&m_WorkerLock);
    return m_result;
}

void CAMThread::PostWorker(DWORD command) {
    CAutoLock access(&m_AccessLock);
    Post(command, false);
}

bool CAMThread::Post(DWORD command, bool waits) {
    CAutoLock lock(&m_WorkerLock);
    if (!m_thread.IsHeld() || m_ended) {
        return false;
    }
    if (++m_posted == 0) {
        ++m_posted;  // 0 stands for none
    }
    m_command = command;
    m_awaited = waits ? m_posted : 0;
    m_hasRequest = true;
    m_EventSend.Set();
    return true;
}

DWORD CAMThread::GetRequest() {
    DWORD command = 0;
    while (CheckRequest(&command) == FALSE) {
        m_EventSend.Wait(qrn::SystemClock(), std::chrono::nanoseconds(-1));
    }
    return command;
}

BOOL CAMThread::CheckRequest(DWORD* command) {
    CAutoLock lock(&m_WorkerLock);
    if (!m_hasRequest) {
        return FALSE;
    }
    m_seen = m_posted;
    if (command != nullptr) {
        *command = m_command;
    }
    return TRUE;
}

void CAMThread::Reply(DWORD result) {
    CAutoLock lock(&m_WorkerLock);
    if (m_seen == m_posted) {
        m_hasRequest = false;
        m_EventSend.Reset();
    }
    if (m_awaited != 0 && m_awaited == m_seen) {
        m_awaited = 0;
        m_result = result;
        m_EventComplete.Set();
    }
}

void CAMThread::WaitForRequest(std::chrono::milliseconds timeout) {
    m_EventSend.Wait(qrn::SystemClock(), timeout);
}
