#pragma once
/// Whether a call really worked.

#include <string>
#include <vector>

#include "client/CallReport.h"
#include "client/CodecTable.h"

namespace qrn {

/// Judges packets and levels, as far as the report has measured them.
/// @return a sentence for each fault; none when the call worked.
std::vector<std::string> FindCallFaults(const CallReport& report);

/// Judges the sound. The limits lie between what the codecs do to speech by themselves and what any fault of the call
/// makes of it, both measured in tests/client/FidelityTest.cpp.
/// @param channels  one entry a channel. @return as above.
std::vector<std::string> FindSoundFaults(const std::vector<ChannelFidelity>& channels, FidelityLimits limits);

}  // namespace qrn
