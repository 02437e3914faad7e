#pragma once
/// Whether a call really worked.

#include <string>
#include <vector>

#include "client/CallReport.h"
#include "client/CodecTable.h"

namespace qrn {

/// Judges what the report has measured, and only that: a report without a fidelity is judged by its packets and levels.
/// The limits lie between what the codecs do to speech by themselves and what any fault of the call makes of it, both
/// measured in tests/client/FidelityTest.cpp.
/// @return a sentence for each fault; none when the call worked.
std::vector<std::string> FindFaults(const CallReport& report, const CodecInfo& codec);

}  // namespace qrn
