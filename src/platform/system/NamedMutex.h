#pragma once
/// A mutex that all processes of a machine share by its name.

#include <chrono>
#include <memory>
#include <string>

namespace qrn {

/// Recursive for the thread that owns it. A holder that dies lets go of it: the next one gets it. Any thread.
class CNamedMutex {
public:
    /// Opens the mutex or makes it. Never fails: without shared memory IsOpen() is false and locking answers false.
    explicit CNamedMutex(const std::string& name);
    ~CNamedMutex();
    CNamedMutex(const CNamedMutex&) = delete;
    CNamedMutex& operator=(const CNamedMutex&) = delete;

    bool IsOpen() const;
    /// @return false after the time-out.
    bool Lock(std::chrono::milliseconds timeout);
    void Unlock();

private:
    struct Shared;
    Shared* m_shared = nullptr;
};

}  // namespace qrn
