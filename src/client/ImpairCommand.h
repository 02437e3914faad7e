#pragma once
/// `qrn impair`: a bad network on loopback between two programs.

#include <string>

#include "client/CStopSignal.h"
#include "client/Options.h"

namespace qrn {

/// Relays until the signal comes, with a status line a second on standard error.
/// @return the report: text, or one JSON object in a line. @throws CClientError when the ends cannot be had.
std::string RunImpair(const Options& options, const CStopSignal& stop);

}  // namespace qrn
