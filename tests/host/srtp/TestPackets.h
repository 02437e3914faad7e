#pragma once
/// Keys and packets for the tests of SRTP.

#include "host/srtp/SrtpSuite.h"
#include "rtp/TestWire.h"

namespace qrn::test {

/// A master key with its salt, another one for each `seed`.
inline SrtpKey TestKey(DWORD suite, std::uint8_t seed = 1) {
    SrtpKey key(FindSrtpSuite(suite).keyBytes);
    for (std::size_t i = 0; i < key.size(); ++i) {
        key[i] = static_cast<std::uint8_t>(seed * 31 + i * 7);
    }
    return key;
}

inline Bytes MediaPacket(std::uint16_t sequence, const std::string& payload = "some media, long enough for a block",
                         std::uint32_t ssrc = 0x11223344, std::uint8_t type = 115) {
    return Encode(
        {.sequence = sequence, .timestamp = 8, .marker = true, .payload = payload, .type = type, .ssrc = ssrc});
}

inline Bytes ParityPacket(std::uint16_t sequence, const std::string& payload = "some parity, long enough for a block") {
    return MediaPacket(sequence, payload, 0x11223344, 127);
}

}  // namespace qrn::test
