#pragma once

#include <signal.h>

#include "client/CSignalEvent.h"

namespace qrn {

/// Ctrl-C and the polite request to end: SIGINT and SIGTERM. Never taken, so it stays readable. A second signal of the
/// kind has its usual effect, for a program that does not end.
class CStopSignal : public CSignalEvent {
public:
    CStopSignal() : CSignalEvent({SIGINT, SIGTERM}, Takes::kFirst) {}
};

}  // namespace qrn
