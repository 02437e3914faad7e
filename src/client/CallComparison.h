#pragma once
/// What has come through a call against what went in: the fidelity in the report, and the faults that it shows.

#include <cstdint>
#include <span>
#include <vector>

#include "client/CallReport.h"
#include "client/Options.h"

namespace qrn {

/// For a call whose sound is known exactly. Fills in the fidelity and adds to the faults.
void CompareWithSent(const Options& options, std::span<const std::int16_t> sent, std::span<const std::int16_t> received,
                     CallReport& report);

/// What a receiver by itself compares with: the file of --audio, else the built-in speech, empty where that is missing.
/// @throws CClientError when the file cannot be read.
std::vector<std::int16_t> LoadKnownSound(const Options& options);

/// For a receiver by itself: the sender may have begun anywhere in that sound and repeats it. Without --audio it is
/// only a guess that the far end sends the built-in speech: then the fidelity is told where that is so, and nothing is
/// a fault.
void CompareWithKnown(const Options& options, std::span<const std::int16_t> known,
                      std::span<const std::int16_t> received, CallReport& report);

}  // namespace qrn
