#pragma once
/// Conversions between the texts that the project meets: wide strings on interfaces, UTF-8 everywhere else, the printed
/// form of identifiers and of result codes.

#include <optional>
#include <string>
#include <string_view>

#include "qrn/com.h"

namespace qrn {

/// Wide (UTF-32 on Linux) to UTF-8 and back. What is no valid text becomes U+FFFD, so neither can fail.
std::string ToUtf8(std::wstring_view text);
std::wstring ToWide(std::string_view utf8);

/// "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX", upper case, without braces.
std::string ToString(const GUID& guid);
/// Reads that form, with or without braces, in any case; nothing for any other text.
std::optional<GUID> ParseGuid(std::string_view text);

/// A result code's name where it has one ("E_FAIL"), else "0x80040000".
std::string ResultName(HRESULT result);

}  // namespace qrn
