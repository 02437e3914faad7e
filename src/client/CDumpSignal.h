#pragma once

#include <signal.h>

#include "client/CSignalEvent.h"

namespace qrn {

/// The request to describe the running graphs: SIGUSR1, as often as it comes.
class CDumpSignal : public CSignalEvent {
public:
    CDumpSignal() : CSignalEvent({SIGUSR1}, Takes::kEvery) {}
};

}  // namespace qrn
