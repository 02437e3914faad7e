#include "platform/system/HeldLocks.h"

#include <algorithm>
#include <utility>

namespace qrn {

constinit thread_local HeldLocks t_heldLocks{};

namespace {

/// From the end of the calling thread's stack up to `frame`: what was called from there on.
class CAbandonedStack {
public:
    explicit CAbandonedStack(const void* frame) : m_end(static_cast<const char*>(frame)), m_begin(m_end) {
        pthread_attr_t attributes;
        if (pthread_getattr_np(pthread_self(), &attributes) != 0) {
            return;
        }
        void* lowest = nullptr;
        std::size_t bytes = 0;
        if (pthread_attr_getstack(&attributes, &lowest, &bytes) == 0) {
            m_begin = static_cast<const char*>(lowest);
        }
        pthread_attr_destroy(&attributes);
    }

    bool Holds(const void* address) const {
        const auto* at = static_cast<const char*>(address);
        return at >= m_begin && at < m_end;
    }

private:
    const char* const m_end;
    const char* m_begin;
};

}  // namespace

void NoteLock(pthread_mutex_t* mutex) {
    HeldLocks& held = t_heldLocks;
    if (held.count == HeldLocks::kMost) {
        ++held.unknown;
        return;
    }
    held.entries[held.count] = HeldLocks::Entry{mutex, held.guards};
    ++held.count;
}

void NoteUnlock(pthread_mutex_t* mutex) {
    HeldLocks& held = t_heldLocks;
    for (std::uint32_t i = held.count; i > 0; --i) {
        if (held.entries[i - 1].mutex == mutex) {
            std::copy(held.entries.begin() + i, held.entries.begin() + held.count, held.entries.begin() + i - 1);
            --held.count;
            return;
        }
    }
    if (held.unknown > 0) {
        --held.unknown;  // or one from before the outermost guarded call, which is not counted
    }
}

void LeaveGuard(std::uint32_t guard) {
    HeldLocks& held = t_heldLocks;
    held.guards = guard - 1;
    if (held.guards == 0) {
        held.count = 0;  // nothing is noted any more, so they would never go
        held.unknown = 0;
    }
    for (std::uint32_t i = held.count; i > 0 && held.entries[i - 1].guard > held.guards; --i) {
        held.entries[i - 1].guard = held.guards;
    }
}

std::uint32_t GiveBackLocks(std::uint32_t guard, const void* frame) {
    HeldLocks& held = t_heldLocks;
    std::uint32_t found = std::exchange(held.unknown, 0);
    if (held.count == 0 || held.entries[held.count - 1].guard < guard) {
        return found;
    }
    const CAbandonedStack abandoned(frame);
    while (held.count > 0 && held.entries[held.count - 1].guard >= guard) {
        pthread_mutex_t* mutex = held.entries[--held.count].mutex;
        ++found;
        if (!abandoned.Holds(mutex)) {
            pthread_mutex_unlock(mutex);
        }
    }
    return found;
}

}  // namespace qrn
