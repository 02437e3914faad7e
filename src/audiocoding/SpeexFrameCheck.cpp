#include "audiocoding/SpeexFrameCheck.h"

#include <speex/speex.h>

namespace qrn {

namespace {

constexpr int kNarrowModeBits = 4;
constexpr int kWideModeBits = 3;
constexpr int kHighestNarrowMode = 8;
constexpr unsigned kUserMessage = 13;
constexpr unsigned kMessage = 14;
constexpr unsigned kEndOfStream = 15;
/// What the library wants to see of a frame before it looks at its first bits.
constexpr int kLeastBits = 5;
constexpr int kMostLayersBefore = 2;

/// Moves behind the layer whose mode number of `modeBits` has been read, a bit of its own before it.
/// @return false for a mode that the codec does not have.
bool SkipLayer(SpeexBits& bits, const SpeexMode& mode, unsigned modeNumber, int modeBits) {
    int layerBits = static_cast<int>(modeNumber);
    speex_mode_query(&mode, SPEEX_SUBMODE_BITS_PER_FRAME, &layerBits);
    if (layerBits < 0) {
        return false;
    }
    speex_bits_advance(&bits, layerBits - modeBits - 1);
    return true;
}

void SkipMessage(SpeexBits& bits, unsigned kind) {
    const unsigned id = speex_bits_unpack_unsigned(&bits, 4);
    if (kind == kUserMessage) {
        speex_bits_advance(&bits, 5 + 8 * static_cast<int>(id));
        return;
    }
    constexpr int kLengthsByPairs[] = {1, 4, 4, 4, 8, 16, 32, 64};
    speex_bits_advance(&bits, kLengthsByPairs[id / 2]);
}

/// A layer before the frame, whose bit has been seen. The library does not know the empty one, of mode 0, there.
bool SkipLayerBefore(SpeexBits& bits) {
    speex_bits_advance(&bits, 1);
    const unsigned mode = speex_bits_unpack_unsigned(&bits, kWideModeBits);
    return mode != 0 && SkipLayer(bits, speex_wb_mode, mode, kWideModeBits);
}

bool SkipLayersBefore(SpeexBits& bits) {
    for (int layers = 0; layers < kMostLayersBefore; ++layers) {
        if (speex_bits_remaining(&bits) < kLeastBits || speex_bits_peek(&bits) == 0) {
            return true;
        }
        if (!SkipLayerBefore(bits)) {
            return false;
        }
    }
    return speex_bits_remaining(&bits) < 1 || speex_bits_peek(&bits) == 0;
}

/// A layer of the higher bands, or none. @return false for a mode that does not exist.
bool SkipWideLayer(SpeexBits& bits, const SpeexMode& mode) {
    if (speex_bits_remaining(&bits) < 1 + kWideModeBits || speex_bits_unpack_unsigned(&bits, 1) == 0) {
        return true;
    }
    return SkipLayer(bits, mode, speex_bits_unpack_unsigned(&bits, kWideModeBits), kWideModeBits);
}

}  // namespace

bool HasKnownSpeexModes(SpeexBits& bits, bool isUltraWideband) {
    for (;;) {
        if (!SkipLayersBefore(bits)) {
            return false;
        }
        if (speex_bits_remaining(&bits) < kLeastBits) {
            return true;
        }
        speex_bits_advance(&bits, 1);
        const unsigned mode = speex_bits_unpack_unsigned(&bits, kNarrowModeBits);
        if (mode == kEndOfStream) {
            return true;
        }
        if (mode == kMessage || mode == kUserMessage) {
            SkipMessage(bits, mode);
            continue;
        }
        if (mode > kHighestNarrowMode || !SkipLayer(bits, speex_nb_mode, mode, kNarrowModeBits)) {
            return false;
        }
        return !isUltraWideband || (SkipWideLayer(bits, speex_wb_mode) && SkipWideLayer(bits, speex_uwb_mode));
    }
}

}  // namespace qrn
