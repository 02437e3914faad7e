#pragma once

#include <charconv>
#include <string>
#include <system_error>

namespace qrn {

/// A number with at most so many digits behind the point, and a point in every locale.
inline std::string DecimalText(double value, int digits) {
    char text[400];  // the largest double has 309 digits
    const auto end = std::to_chars(text, text + sizeof(text), value, std::chars_format::fixed, digits);
    if (end.ec != std::errc()) {
        return "0";
    }
    std::string number(text, end.ptr);
    if (number.find('.') != std::string::npos) {
        number.erase(number.find_last_not_of('0') + 1);
        if (number.back() == '.') {
            number.pop_back();
        }
    }
    return number;
}

}  // namespace qrn
