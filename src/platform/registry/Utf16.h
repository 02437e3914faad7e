#pragma once
/// Texts as they are kept: UTF-16, the low byte first.

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "qrn/com.h"

namespace qrn {

/// Without a closing zero. What is no character becomes U+FFFD.
std::vector<BYTE> ToUtf16Bytes(std::wstring_view text);

/// Up to the first zero, where there is one; a lone surrogate becomes U+FFFD. Nothing for an odd count of bytes.
std::optional<std::wstring> FromUtf16Bytes(std::span<const BYTE> bytes);

}  // namespace qrn
