#pragma once
/// A worker thread with one command mailbox.

#include <chrono>
#include <string>

#include "framework/CCritSec.h"
#include "platform/system/Event.h"
#include "platform/system/Thread.h"
#include "qrn/com.h"

/// The owner's side is Create, CallWorker, PostWorker and Close, serialised among themselves; the worker's side is
/// GetRequest, CheckRequest and Reply. The owner ends the worker by a command of its own before Close or destruction.
class CAMThread {
public:
    /// @param threadName  shown by debuggers, 15 characters of it.
    explicit CAMThread(const std::string& threadName = "qrn-worker");
    virtual ~CAMThread();
    CAMThread(const CAMThread&) = delete;
    CAMThread& operator=(const CAMThread&) = delete;

    /// Starts the thread. FALSE when there is one already or the system gives none.
    BOOL Create();
    /// Joins the thread, which must have been told to end. Nothing happens without one.
    void Close();
    BOOL ThreadExists() const;

    /// Posts a command and waits for its Reply. E_UNEXPECTED as a DWORD when there is no thread or it ends unanswered.
    DWORD CallWorker(DWORD command);
    /// Posts a command and does not wait. A command that has not been taken is replaced by the next one.
    void PostWorker(DWORD command);

protected:
    /// The thread's body. An exception that leaves it ends the thread.
    virtual DWORD ThreadProc() = 0;

    /// Waits for a command.
    DWORD GetRequest();
    /// Whether a command waits; it stays in the mailbox until Reply.
    BOOL CheckRequest(DWORD* command);
    /// Answers the command that was seen last by GetRequest or CheckRequest.
    void Reply(DWORD result);
    /// Waits until a command is there or the time has passed.
    void WaitForRequest(std::chrono::milliseconds timeout);

private:
    void Run();
    void TellEnd();
    bool Post(DWORD command, bool waits);

    const std::string m_threadName;
    mutable CCritSec m_AccessLock;  // serialises the owner's side
    CCritSec m_WorkerLock;          // the mailbox; taken last
    qrn::CEvent m_EventSend{qrn::EventReset::kManual};
    qrn::CEvent m_EventComplete{qrn::EventReset::kAutomatic};
    qrn::CThread m_thread;
    bool m_hasRequest QRN_GUARDED_BY(m_WorkerLock) = false;
    DWORD m_command QRN_GUARDED_BY(m_WorkerLock) = 0;
    DWORD m_result QRN_GUARDED_BY(m_WorkerLock) = 0;
    unsigned m_posted QRN_GUARDED_BY(m_WorkerLock) = 0;   // number of the command in the mailbox
    unsigned m_seen QRN_GUARDED_BY(m_WorkerLock) = 0;     // number of the command that the worker has looked at
    unsigned m_awaited QRN_GUARDED_BY(m_WorkerLock) = 0;  // number of the command whose reply is waited for, or 0
    bool m_ended QRN_GUARDED_BY(m_WorkerLock) = true;
};
