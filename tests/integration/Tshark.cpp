#include "integration/Tshark.h"

#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>

#include "support/RunCommand.h"
#include "support/TempFolder.h"

namespace qrn::test {

namespace {

constexpr std::uint16_t kPort = 5004;

/// Appends numbers to bytes, little-endian for the capture file's own headers and network order for the packets.
class ByteWriter {
public:
    void Little(std::uint32_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) {
            m_bytes.push_back(static_cast<char>(value >> (8 * i)));
        }
    }
    void Network(std::uint32_t value, int bytes) {
        for (int i = bytes - 1; i >= 0; --i) {
            m_bytes.push_back(static_cast<char>(value >> (8 * i)));
        }
    }
    void Raw(const std::vector<std::uint8_t>& bytes) { m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end()); }
    const std::string& Bytes() const { return m_bytes; }

private:
    std::string m_bytes;
};

/// The classic capture format with raw IPv4 packets (link type 228); checksums are left 0, which tshark does not check.
std::string CaptureFile(const std::vector<std::vector<std::uint8_t>>& datagrams) {
    ByteWriter file;
    file.Little(0xA1B2C3D4, 4);
    file.Little(2, 2);
    file.Little(4, 2);
    file.Little(0, 4);
    file.Little(0, 4);
    file.Little(65535, 4);
    file.Little(228, 4);
    std::uint32_t milliseconds = 0;
    for (const auto& datagram : datagrams) {
        const auto udpLength = static_cast<std::uint32_t>(8 + datagram.size());
        file.Little(milliseconds / 1000, 4);
        file.Little(milliseconds % 1000 * 1000, 4);
        milliseconds += 20;
        file.Little(20 + udpLength, 4);
        file.Little(20 + udpLength, 4);
        file.Network(0x4500, 2);
        file.Network(20 + udpLength, 2);
        file.Network(0, 4);
        file.Network(0x4011, 2);
        file.Network(0, 2);
        file.Network(0x7F000001, 4);
        file.Network(0x7F000001, 4);
        file.Network(kPort + 2, 2);
        file.Network(kPort, 2);
        file.Network(udpLength, 2);
        file.Network(0, 2);
        file.Raw(datagram);
    }
    return file.Bytes();
}

std::vector<std::uint8_t> ParseHex(const std::string& text) {
    std::vector<std::uint8_t> bytes;
    std::string digits;
    for (const char c : text) {
        if (c != ':') {
            digits += c;
        }
    }
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::strtoul(digits.substr(i, 2).c_str(), nullptr, 16)));
    }
    return bytes;
}

std::uint32_t Number(const std::string& text) {
    return static_cast<std::uint32_t>(std::strtoul(text.c_str(), nullptr, 0));
}

bool Flag(const std::string& text) {
    return text == "1" || text == "True";
}

std::optional<RtpDissection> ParseLine(const std::string& line) {
    std::vector<std::string> fields;
    std::istringstream stream(line);
    for (std::string field; std::getline(stream, field, '|');) {
        fields.push_back(field);
    }
    if (fields.size() < 9 || fields[0] != "2") {
        return std::nullopt;
    }
    RtpDissection packet;
    packet.version = Number(fields[0]);
    packet.padding = Flag(fields[1]);
    packet.extension = Flag(fields[2]);
    packet.csrcCount = Number(fields[3]);
    packet.marker = Flag(fields[4]);
    packet.payloadType = Number(fields[5]);
    packet.sequence = Number(fields[6]);
    packet.timestamp = Number(fields[7]);
    packet.ssrc = Number(fields[8]);
    packet.payload = fields.size() > 9 ? ParseHex(fields[9]) : std::vector<std::uint8_t>{};
    return packet;
}

/// What tshark says of the datagrams with these options.
std::string RunTshark(const std::vector<std::vector<std::uint8_t>>& datagrams, const std::string& options) {
    const CTempFolder folder;
    const std::string file = folder.File("call.pcap");
    std::ofstream(file, std::ios::binary) << CaptureFile(datagrams);
    return RunCommand("tshark -r " + file + " -d udp.port==" + std::to_string(kPort) + ",rtp " + options +
                      " 2>/dev/null");
}

}  // namespace

std::vector<std::optional<RtpDissection>> DissectAsRtp(const std::vector<std::vector<std::uint8_t>>& datagrams) {
    const std::string output =
        RunTshark(datagrams,
                  "-T fields -E separator='|' -e rtp.version -e rtp.padding -e rtp.ext -e rtp.cc -e rtp.marker "
                  "-e rtp.p_type -e rtp.seq -e rtp.timestamp -e rtp.ssrc -e rtp.payload");
    std::vector<std::optional<RtpDissection>> packets;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        packets.push_back(ParseLine(line));
    }
    return packets;
}

std::vector<RtpStream> AnalyseRtpStreams(const std::vector<std::vector<std::uint8_t>>& datagrams) {
    // A line a stream: times, two addresses with their ports, "0x" and the source, the payload's name, packets, lost
    // ones and their share, in words of its own; the rest is of no interest here.
    static const std::regex line(R"( 0x([0-9A-Fa-f]+) .* (\d+) +(-?\d+) \(-?[0-9.]+%\))");
    std::vector<RtpStream> streams;
    std::istringstream lines(RunTshark(datagrams, "-q -z rtp,streams"));
    for (std::string text; std::getline(lines, text);) {
        if (std::smatch found; std::regex_search(text, found, line)) {
            streams.push_back({static_cast<std::uint32_t>(std::stoul(found[1], nullptr, 16)), std::stoull(found[2]),
                               std::stoll(found[3])});
        }
    }
    return streams;
}

}  // namespace qrn::test
