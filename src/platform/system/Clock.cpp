#include "platform/system/Clock.h"

#include <algorithm>
#include <cerrno>
#include <ctime>

namespace qrn {
namespace {

using std::chrono::nanoseconds;

timespec ToTimespec(nanoseconds time) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    return {static_cast<time_t>(seconds.count()), static_cast<long>((time - seconds).count())};
}

class CSystemClock final : public IClock {
public:
    nanoseconds Now() const override {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        return std::chrono::seconds(now.tv_sec) + nanoseconds(now.tv_nsec);
    }

    void SleepFor(nanoseconds time) override {
        const nanoseconds start = Now();
        for (nanoseconds left = time; left > nanoseconds::zero(); left = time - (Now() - start)) {
            const timespec wait = ToTimespec(left);
            if (nanosleep(&wait, nullptr) == 0) {
                return;
            }
        }
    }

    int Poll(std::span<pollfd> descriptors, nanoseconds timeout) override {
        const nanoseconds start = Now();
        nanoseconds left = timeout;
        for (;;) {
            const timespec wait = ToTimespec(left);
            const int ready =
                ppoll(descriptors.data(), descriptors.size(), timeout < nanoseconds::zero() ? nullptr : &wait, nullptr);
            if (ready >= 0 || errno != EINTR) {
                return ready;
            }
            if (timeout >= nanoseconds::zero()) {
                left = std::max(timeout - (Now() - start), nanoseconds::zero());
            }
        }
    }
};

}  // namespace

IClock& SystemClock() {
    static CSystemClock clock;
    return clock;
}

nanoseconds CoarseNow() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return std::chrono::seconds(now.tv_sec) + nanoseconds(now.tv_nsec);
}

}  // namespace qrn
