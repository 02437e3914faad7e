#pragma once
/// A mutex that the processes of a machine share by its name.

#include <chrono>
#include <string>

namespace qrn {

/// Recursive for the thread that owns it. A holder that dies lets go of it: the next one gets it. Any thread.
/// Shared by the processes of one user: the lock's memory is written by whoever takes it, so it is taken only from
/// memory that no other user can write to.
class CNamedMutex {
public:
    /// Opens the mutex or makes it. Never fails: without shared memory IsOpen() is false and locking answers false.
    explicit CNamedMutex(const std::string& name);
    ~CNamedMutex() = default;
    CNamedMutex(const CNamedMutex&) = delete;
    CNamedMutex& operator=(const CNamedMutex&) = delete;

    bool IsOpen() const;
    /// @return false after the time-out.
    bool Lock(std::chrono::milliseconds timeout);
    /// Does nothing on a thread that does not own the mutex.
    void Unlock();

    /// The name of the shared memory object, as shm_unlink takes it. The library itself never removes one: another
    /// process may be about to use it.
    static std::string SharedMemoryName(const std::string& name);

private:
    struct Shared;
    Shared* m_shared;  // lives as long as the process
};

}  // namespace qrn
