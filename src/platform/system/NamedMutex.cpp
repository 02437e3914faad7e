#include "platform/system/NamedMutex.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <new>
#include <span>

#include "platform/system/Lock.h"
#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#endif

namespace qrn {

/// The layout of the shared memory. The mark is written last, so that memory whose maker died half-way is made again.
struct CNamedMutex::Shared {
    static constexpr std::uint32_t kMade = 0x51524E31;  // changes with the layout

    std::atomic<std::uint32_t> mark;
    pthread_mutex_t mutex;
};

namespace {

class CDescriptor {
public:
    explicit CDescriptor(int descriptor) : m_descriptor(descriptor) {}
    ~CDescriptor() {
        if (m_descriptor >= 0) {
            close(m_descriptor);
        }
    }
    CDescriptor(const CDescriptor&) = delete;
    CDescriptor& operator=(const CDescriptor&) = delete;

    int Get() const { return m_descriptor; }

private:
    const int m_descriptor;
};

bool Make(pthread_mutex_t& mutex) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    const bool made = pthread_mutex_init(&mutex, &attributes) == 0;
    pthread_mutexattr_destroy(&attributes);
    return made;
}

/// Ours alone, or nothing: another user who could write there could write anywhere, through the lock's list pointers.
bool IsOnlyOurs(int descriptor) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid() &&
           (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

bool GrowTo(int descriptor, std::size_t bytes) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0) {
        return false;
    }
    return status.st_size >= static_cast<off_t>(bytes) || ftruncate(descriptor, static_cast<off_t>(bytes)) == 0;
}

bool TakeFileLock(int descriptor) {
    int result = 0;
    do {
        result = flock(descriptor, LOCK_EX);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

timespec PointAfter(std::chrono::milliseconds wait) {
    constexpr long kNanosecondsPerMs = 1'000'000;
    timespec point{};
    clock_gettime(CLOCK_MONOTONIC, &point);
    const auto ms = std::chrono::milliseconds(point.tv_nsec / kNanosecondsPerMs) + wait;
    point.tv_sec += static_cast<time_t>(ms.count() / 1000);
    point.tv_nsec = ms.count() % 1000 * kNanosecondsPerMs + point.tv_nsec % kNanosecondsPerMs;
    return point;
}

/// The thread sanitizer of this compiler sees the release of such a mutex, but not its timed acquisition.
void TellSanitizer([[maybe_unused]] pthread_mutex_t& mutex) {
#if defined(__SANITIZE_THREAD__)
    __tsan_mutex_pre_lock(&mutex, __tsan_mutex_write_reentrant);
    __tsan_mutex_post_lock(&mutex, __tsan_mutex_write_reentrant, 1);
#endif
}

/// One mapping a name and process, never taken away: while a thread owns a robust mutex, the system keeps its address.
/// A name that could not be mapped has none; the next object of that name tries again.
struct Mappings {
    static constexpr std::size_t kMostNames = 64;
    static constexpr std::size_t kMostCharacters = 127;

    struct Entry {
        std::array<char, kMostCharacters + 1> name;
        void* memory;
    };

    CMutex gate;
    std::array<Entry, kMostNames> entries QRN_GUARDED_BY(gate){};
    std::size_t used QRN_GUARDED_BY(gate) = 0;

    /// The entry of a name, a new one where there is none; null for a name that is too long or one too many.
    Entry* Find(const std::string& name) QRN_REQUIRES(gate) {
        for (Entry& entry : std::span(entries).first(used)) {
            if (name == entry.name.data()) {
                return &entry;
            }
        }
        if (used == kMostNames || name.size() > kMostCharacters) {
            return nullptr;
        }
        Entry& entry = entries[used++];
        std::copy(name.begin(), name.end(), entry.name.begin());
        return &entry;
    }
};

/// In memory of the library's own, not of the heap, so that an unloaded library leaves nothing behind.
Mappings& ProcessMappings() {
    alignas(Mappings) static std::array<std::byte, sizeof(Mappings)> memory;
    static auto* mappings = new (memory.data()) Mappings;
    return *mappings;
}

/// @return `bytes` of the shared memory object of that name, made once by whichever process comes first; null on
/// failure.
/// @param isMade  whether the memory, which starts as zeros, is made already
/// @param make    makes it; called under a lock that all processes share
void* MapShared(const std::string& name, std::size_t bytes, bool (*isMade)(void*), bool (*make)(void*)) {
    const CDescriptor descriptor(shm_open(name.c_str(), O_RDWR | O_CREAT, S_IRUSR | S_IWUSR));
    if (descriptor.Get() < 0 || !IsOnlyOurs(descriptor.Get()) || !GrowTo(descriptor.Get(), bytes)) {
        return nullptr;
    }
    void* const memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor.Get(), 0);
    if (memory == MAP_FAILED) {
        return nullptr;
    }
    // The file lock goes with the descriptor.
    if (isMade(memory) || (TakeFileLock(descriptor.Get()) && (isMade(memory) || make(memory)))) {
        return memory;
    }
    munmap(memory, bytes);
    return nullptr;
}

}  // namespace

CNamedMutex::CNamedMutex(const std::string& name) {
    const std::string sharedName = SharedMemoryName(name);
    Mappings& mappings = ProcessMappings();
    CScopedLock lock(mappings.gate);
    Mappings::Entry* const entry = mappings.Find(sharedName);
    if (entry == nullptr) {
        return;
    }
    if (entry->memory == nullptr) {
        entry->memory = MapShared(
            sharedName, sizeof(Shared),
            [](void* shared) {
                return static_cast<Shared*>(shared)->mark.load(std::memory_order_acquire) == Shared::kMade;
            },
            [](void* shared) {
                auto* const mutex = static_cast<Shared*>(shared);
                const bool made = Make(mutex->mutex);
                mutex->mark.store(made ? Shared::kMade : 0, std::memory_order_release);
                return made;
            });
    }
    m_shared = static_cast<Shared*>(entry->memory);
}

bool CNamedMutex::IsOpen() const {
    return m_shared != nullptr;
}

bool CNamedMutex::Lock(std::chrono::milliseconds timeout) {
    if (m_shared == nullptr) {
        return false;
    }
    const timespec end = PointAfter(std::max(timeout, std::chrono::milliseconds::zero()));
    int result = pthread_mutex_clocklock(&m_shared->mutex, CLOCK_MONOTONIC, &end);
    if (result == EOWNERDEAD) {
        // The dead holder's own memory died with it: there is nothing to repair.
        result = pthread_mutex_consistent(&m_shared->mutex);
    }
    if (result != 0) {
        return false;
    }
    TellSanitizer(m_shared->mutex);
    return true;
}

void CNamedMutex::Unlock() {
    if (m_shared != nullptr) {
        pthread_mutex_unlock(&m_shared->mutex);  // answers EPERM to a thread that does not own it
    }
}

std::string CNamedMutex::SharedMemoryName(const std::string& name) {
    std::string shared = "/qrn-" + std::to_string(geteuid()) + "-" + name;
    std::replace(shared.begin() + 1, shared.end(), '/', '_');
    return shared;
}

}  // namespace qrn
