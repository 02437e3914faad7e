#pragma once
/// Numbers in sentences.

#include <string>

namespace qrn {

/// As printf; at most 511 bytes.
std::string FormatText(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace qrn
