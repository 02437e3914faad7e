#pragma once
/// Whether there is a sound device that plays.

#include "client/CStopSignal.h"
#include "client/Pcm.h"

namespace qrn {

/// Plays silence of that format for a moment: the renderer tells of a device only by its latency, which stays 0 without
/// one. Takes a tenth of a second with a device, half a second without. @throws CClientError when the module fails.
bool HasSpeaker(PcmFormat format, const CStopSignal& stop);

}  // namespace qrn
