#pragma once
/// Looks at the headers in a Speex frame before the library does, which tells standard error of every frame that it
/// finds corrupted: a far end could fill a log with it.

#include <speex/speex_bits.h>

namespace qrn {

/// Walks the layers of a frame as the library's decoder does (RFC 5574 section 3.4 and the Speex codec manual, section
/// 9: wideband layers and messages may precede the frame, and a layer begins with the number of its mode).
/// @param bits  stands at the frame's first bit; stands somewhere else afterwards. What lacks is no fault here.
/// @return false when a layer has a mode that does not exist, or when there are too many layers before the frame.
bool HasKnownSpeexModes(SpeexBits& bits, bool isUltraWideband);

}  // namespace qrn
