// CAudioDecoder of each codec on any run of packets, with rooms of any size.
//
// Input: codec id, bit rate, then for each packet its length (16 bits, little-endian), the room for PCM (16 bits) and
// its bytes.

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "FuzzInput.h"
#include "audiocoding/CAudioDecoder.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    qrn::fuzz::CInput input({data, size});
    const int codec = input.Byte() % 7;
    const int bitrate = input.Byte();
    CAudioDecoder decoder(codec, bitrate);
    while (!input.IsEmpty()) {
        const std::size_t length = input.Word();
        const std::size_t room = input.Word();
        // Blocks of the exact sizes, so that the first byte past them is noticed.
        const qrn::fuzz::CBlock packet(input.Bytes(length));
        const auto pcm = std::make_unique<std::int16_t[]>(room / 2);
        const int written = decoder.Decode(packet.Data(), packet.Length(), pcm.get(), static_cast<int>(room / 2 * 2));
        if (written > static_cast<int>(room)) {
            std::abort();
        }
    }
    return 0;
}
