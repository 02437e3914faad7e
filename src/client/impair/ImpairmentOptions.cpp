#include "client/impair/ImpairmentOptions.h"

#include <charconv>
#include <string_view>
#include <tuple>
#include <utility>

#include "client/ClientError.h"

namespace qrn {
namespace {

constexpr double kLongestMs = 60'000;
constexpr double kLongestBurst = 10'000;
constexpr double kLargestDistance = 1'000;
constexpr double kLargestKbit = 10'000'000;

[[noreturn]] void Refuse(const char* option, const std::string& text, const std::string& wanted) {
    throw CClientError(std::string(option) + ": '" + text + "' is not " + wanted, ExitStatus::kWrongUse);
}

template <class T>
bool Read(std::string_view text, T& value) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

bool ReadIn(std::string_view text, double lowest, double highest, double& value) {
    return Read(text, value) && value >= lowest && value <= highest;
}

double ParseShare(const char* option, const std::string& text) {
    double share = 0;
    if (!ReadIn(text, 0, 1, share)) {
        Refuse(option, text, "a share between 0 and 1");
    }
    return share;
}

std::chrono::nanoseconds ParseMilliseconds(const char* option, const std::string& text) {
    double milliseconds = 0;
    if (!ReadIn(text, 0, kLongestMs, milliseconds)) {
        Refuse(option, text, "a number of milliseconds between 0 and 60000");
    }
    return std::chrono::nanoseconds(static_cast<std::int64_t>(milliseconds * 1e6));
}

/// "P,N"; N is at least 1.
std::pair<double, double> ParseShareAndCount(const char* option, const std::string& text, double most,
                                             const std::string& wanted) {
    const std::string_view whole = text;
    const std::size_t comma = whole.find(',');
    double share = 0;
    double count = 0;
    if (comma == std::string_view::npos || !ReadIn(whole.substr(0, comma), 0, 1, share) ||
        !ReadIn(whole.substr(comma + 1), 1, most, count)) {
        Refuse(option, text, wanted);
    }
    return {share, count};
}

}  // namespace

ImpairmentSettings ParseImpairment(const ImpairmentTexts& texts) {
    ImpairmentSettings settings;
    if (!texts.loss.empty()) {
        settings.loss = ParseShare("--loss", texts.loss);
    }
    if (!texts.burst.empty()) {
        std::tie(settings.burstStart, settings.burstLength) =
            ParseShareAndCount("--burst", texts.burst, kLongestBurst,
                               "of the form P,LENGTH with P from 0 to 1 and LENGTH from 1 to 10000");
    }
    if (!texts.delay.empty()) {
        settings.delay = ParseMilliseconds("--delay", texts.delay);
    }
    if (!texts.jitter.empty()) {
        settings.jitter = ParseMilliseconds("--jitter", texts.jitter);
    }
    if (!texts.reorder.empty()) {
        const auto [share, distance] =
            ParseShareAndCount("--reorder", texts.reorder, kLargestDistance,
                               "of the form P,DISTANCE with P from 0 to 1 and DISTANCE from 1 to 1000");
        settings.reorder = share;
        settings.reorderDistance = static_cast<std::uint32_t>(distance);
    }
    if (!texts.duplicate.empty()) {
        settings.duplicate = ParseShare("--duplicate", texts.duplicate);
    }
    if (!texts.rate.empty()) {
        double kbit = 0;
        if (!ReadIn(texts.rate, 1, kLargestKbit, kbit)) {
            Refuse("--rate", texts.rate, "a number of kilobits a second between 1 and 10000000");
        }
        settings.rateKbit = static_cast<std::uint32_t>(kbit);
    }
    if (!texts.seed.empty() && !Read(texts.seed, settings.seed)) {
        Refuse("--seed", texts.seed, "a whole number from 0 on");
    }
    return settings;
}

}  // namespace qrn
