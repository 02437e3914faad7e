#pragma once
/// The time stamps of live pins.

#include "platform/system/Clock.h"
#include "qrn/filters.h"

namespace qrn {

/// Keeps the stream time of a live pin's next sample near the stream clock, in 100-ns units: not less than 5 ms ahead
/// of `now`, not more than 500 ms ahead, never negative. A pin that has fallen behind may wait those 5 ms out.
/// @param sleeper  sleeps 5 ms when `next` had to be pulled forward; null: no sleep.
/// @return the time that the next sample is to start at.
REFERENCE_TIME KeepLiveTime(REFERENCE_TIME next, REFERENCE_TIME now, IClock* sleeper);

}  // namespace qrn
