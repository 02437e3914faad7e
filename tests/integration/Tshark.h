#pragma once
/// What an independent dissector reads in our datagrams.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qrn::test {

/// One datagram as tshark dissects it.
struct RtpDissection {
    unsigned version = 0;
    bool padding = false;
    bool extension = false;
    unsigned csrcCount = 0;
    bool marker = false;
    unsigned payloadType = 0;
    std::uint32_t sequence = 0;
    std::uint32_t timestamp = 0;
    std::uint32_t ssrc = 0;
    std::vector<std::uint8_t> payload;
};

/// Writes the datagrams into a capture file and lets tshark dissect them as RTP: no capturing, so no privileges.
/// @return one entry a datagram, nothing for one that is no RTP; an empty list when tshark failed.
std::vector<std::optional<RtpDissection>> DissectAsRtp(const std::vector<std::vector<std::uint8_t>>& datagrams);

/// One stream as tshark counts it (the table of `-z rtp,streams`).
struct RtpStream {
    std::uint32_t ssrc = 0;
    std::uint64_t packets = 0;
    std::int64_t lost = 0;  // numbers missing between the first and the last
};

/// An empty list when tshark failed.
std::vector<RtpStream> AnalyseRtpStreams(const std::vector<std::vector<std::uint8_t>>& datagrams);

}  // namespace qrn::test
