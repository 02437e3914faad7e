#include "platform/system/Condition.h"

#include <algorithm>
#include <ctime>

namespace qrn {
namespace {

/// Longer waits than this are cut, so that the point in time at their end cannot overflow; a wait may end early anyway.
constexpr std::chrono::nanoseconds kLongestWait = std::chrono::hours(24);

timespec PointAfter(std::chrono::nanoseconds wait) {
    constexpr long kNanosecondsPerSecond = 1'000'000'000;
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(wait);
    timespec point{};
    clock_gettime(CLOCK_MONOTONIC, &point);
    point.tv_sec += static_cast<time_t>(seconds.count());
    point.tv_nsec += static_cast<long>((wait - seconds).count());
    if (point.tv_nsec >= kNanosecondsPerSecond) {
        point.tv_nsec -= kNanosecondsPerSecond;
        ++point.tv_sec;
    }
    return point;
}

}  // namespace

CCondition::CCondition() {
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&m_condition, &attributes);
    pthread_condattr_destroy(&attributes);
}

CCondition::~CCondition() {
    pthread_cond_destroy(&m_condition);
}

void CCondition::Wait(CMutex& mutex) {
    pthread_cond_wait(&m_condition, mutex.Native());
}

bool CCondition::WaitFor(CMutex& mutex, std::chrono::nanoseconds timeout) {
    const auto wait = std::clamp(timeout, std::chrono::nanoseconds::zero(), kLongestWait);
    const timespec end = PointAfter(wait);
    const bool woken = pthread_cond_timedwait(&m_condition, mutex.Native(), &end) == 0;
    return woken || wait < timeout;
}

void CCondition::NotifyOne() {
    pthread_cond_signal(&m_condition);
}

void CCondition::NotifyAll() {
    pthread_cond_broadcast(&m_condition);
}

}  // namespace qrn
