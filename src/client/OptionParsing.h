#pragma once
/// The parts of a command line's values. Each throws CClientError (wrong use) that names the option.

#include <charconv>
#include <string>
#include <system_error>
#include <vector>

namespace qrn {

/// A host's name or dotted address, and an even port.
struct FarEnd {
    std::string host;
    int port = 0;
};

[[noreturn]] void RefuseUse(const std::string& sentence);

template <class T>
T ParseNumber(const char* option, const std::string& text) {
    T value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        RefuseUse(std::string(option) + ": '" + text + "' is no number");
    }
    return value;
}

int ParseIntegerIn(const char* option, const std::string& text, int lowest, int highest);
/// Even, from 2 on.
int ParsePort(const char* option, const std::string& text);
FarEnd ParseFarEnd(const char* option, const std::string& text);
/// Dotted form. @return `text`
std::string ParseIpv4(const char* option, const std::string& text);
/// Seconds.
double ParseTime(const char* option, const std::string& text);
/// What stands between the commas.
std::vector<std::string> SplitAtCommas(const std::string& text);

/// Whether a dotted address is that of a multicast group (224.0.0.0/4, RFC 5771).
bool IsGroup(const std::string& address);

}  // namespace qrn
