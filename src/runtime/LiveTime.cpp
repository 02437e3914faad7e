#include "runtime/LiveTime.h"

#include <algorithm>

namespace qrn {
namespace {

constexpr REFERENCE_TIME kLeast = 50'000;    // 5 ms
constexpr REFERENCE_TIME kMost = 5'000'000;  // 500 ms
constexpr std::chrono::milliseconds kSleepWhenBehind(5);

}  // namespace

REFERENCE_TIME KeepLiveTime(REFERENCE_TIME next, REFERENCE_TIME now, IClock* sleeper) {
    if (next < now + kLeast) {
        next = now + kLeast;
        if (sleeper != nullptr) {
            sleeper->SleepFor(kSleepWhenBehind);
        }
    } else if (next > now + kMost) {
        next = now + kMost;
    }
    return std::max<REFERENCE_TIME>(next, 0);
}

}  // namespace qrn
