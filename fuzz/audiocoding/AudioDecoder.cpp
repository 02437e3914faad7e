// CAudioDecoder of one codec on a few packets, with rooms of any size. Each codec has a target of its own, which
// QRN_FUZZ_CODEC names, so that none waits for the slower ones.
//
// Input: bit rate, then for each packet its length (16 bits, little-endian), the room for PCM (16 bits) and its bytes.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "FuzzInput.h"
#include "audiocoding/CAudioDecoder.h"
#include "qrn/QRN_Media2.h"

namespace {

/// What one packet does to the decoder shows in the next one; more of them, or of PCM, only cost runs.
constexpr int kMostPackets = 3;
/// The longest packet that a filter makes room for; for Opus the longest that there is (RFC 6716 section 3.2.5).
constexpr std::size_t kMostRoomBytes = QRN_FUZZ_CODEC == kQrnCodecOpus ? 11520 : 5120;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    qrn::fuzz::CInput input({data, size});
    const int bitrate = input.Byte();
    CAudioDecoder decoder(QRN_FUZZ_CODEC, bitrate);
    for (int i = 0; i < kMostPackets && !input.IsEmpty(); ++i) {
        const std::size_t length = input.Word();
        const std::size_t room = std::min<std::size_t>(input.Word(), kMostRoomBytes);
        // Blocks of the exact sizes, so that the first byte past them is noticed.
        const qrn::fuzz::CBlock packet(input.Bytes(length));
        const auto pcm = std::make_unique_for_overwrite<std::int16_t[]>(room / 2);
        const int written = decoder.Decode(packet.Data(), packet.Length(), pcm.get(), static_cast<int>(room / 2 * 2));
        // Only the library of Opus has errors of its own to hand out.
        if (written > static_cast<int>(room) || (written < 0 && QRN_FUZZ_CODEC != kQrnCodecOpus)) {
            std::abort();
        }
    }
    if (decoder.GetCodec() != QRN_FUZZ_CODEC) {
        std::abort();
    }
    return 0;
}
