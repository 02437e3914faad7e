#include "client/OptionParsing.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <cmath>
#include <sstream>

#include "client/ClientError.h"

namespace qrn {
namespace {

constexpr int kLargestPort = 65535;

}  // namespace

void RefuseUse(const std::string& sentence) {
    throw CClientError(sentence, ExitStatus::kWrongUse);
}

int ParseIntegerIn(const char* option, const std::string& text, int lowest, int highest) {
    const auto value = ParseNumber<long>(option, text);
    if (value < lowest || value > highest) {
        RefuseUse(std::string(option) + ": " + text + " is not between " + std::to_string(lowest) + " and " +
                  std::to_string(highest));
    }
    return static_cast<int>(value);
}

int ParsePort(const char* option, const std::string& text) {
    const int port = ParseIntegerIn(option, text, 1, kLargestPort);
    if (port % 2 != 0) {
        RefuseUse(std::string(option) + ": port " + text + " is odd, but RTP needs an even port");
    }
    return port;
}

FarEnd ParseFarEnd(const char* option, const std::string& text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0) {
        RefuseUse(std::string(option) + ": '" + text + "' is not of the form HOST:PORT");
    }
    FarEnd far{text.substr(0, colon), 0};
    if (far.host.find(':') != std::string::npos || far.host.front() == '[') {
        RefuseUse(std::string(option) + ": '" + far.host + "' is an IPv6 address, but calls go over IPv4 only");
    }
    far.port = ParsePort(option, text.substr(colon + 1));
    return far;
}

std::string ParseIpv4(const char* option, const std::string& text) {
    in_addr ignored{};
    if (inet_pton(AF_INET, text.c_str(), &ignored) != 1) {
        RefuseUse(std::string(option) + ": '" + text + "' is no IPv4 address");
    }
    return text;
}

double ParseTime(const char* option, const std::string& text) {
    const auto seconds = ParseNumber<double>(option, text);
    if (!std::isfinite(seconds) || seconds < 0) {
        RefuseUse(std::string(option) + ": " + text + " is no length of time");
    }
    return seconds;
}

std::vector<std::string> SplitAtCommas(const std::string& text) {
    std::vector<std::string> parts;
    std::string part;
    for (std::istringstream stream(text + ","); std::getline(stream, part, ',');) {
        parts.push_back(part);
    }
    return parts;
}

bool IsGroup(const std::string& address) {
    in_addr value{};
    return inet_pton(AF_INET, address.c_str(), &value) == 1 && IN_MULTICAST(ntohl(value.s_addr));
}

}  // namespace qrn
