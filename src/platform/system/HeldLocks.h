#pragma once
/// Which locks the calling thread has taken inside its guarded calls (FaultGuard.h), so that a call that is left by a
/// jump can give them back: nobody would ever get them otherwise.

#include <pthread.h>

#include <array>
#include <cstdint>

namespace qrn {

/// Of one thread. Used by the locks and by the guard only.
struct HeldLocks {
    /// More at the same time are counted but not known, and stay taken.
    static constexpr std::uint32_t kMost = 32;
    struct Entry {
        pthread_mutex_t* mutex;
        std::uint32_t guard;
    };

    std::array<Entry, kMost> entries;
    std::uint32_t count;
    std::uint32_t unknown;
    std::uint32_t guards;  ///< guarded calls that the thread is in
};
extern constinit thread_local HeldLocks t_heldLocks;

/// Right after a lock has been taken, so that what is noted is held whenever a jump comes.
void NoteLock(pthread_mutex_t* mutex);
/// Right before it is given back.
void NoteUnlock(pthread_mutex_t* mutex);

inline bool AreLocksNoted() {
    return t_heldLocks.guards != 0;
}

/// The guarded call of that number has come to its end: what it still holds is its caller's from here on.
void LeaveGuard(std::uint32_t guard);

/// Gives back the locks that were taken in the guarded calls from number `guard` (1: the outermost) inwards, except
/// those that stood on the part of the stack below `frame`, which is gone.
/// @return how many were held, given back or not.
std::uint32_t GiveBackLocks(std::uint32_t guard, const void* frame);

}  // namespace qrn
