#include "platform/registry/Utf16.h"

namespace qrn {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsHighSurrogate(char32_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
bool IsLowSurrogate(char32_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

}  // namespace

std::vector<BYTE> ToUtf16Bytes(std::wstring_view text) {
    std::vector<BYTE> bytes;
    bytes.reserve(text.size() * 2);
    const auto put = [&bytes](char32_t unit) {
        bytes.push_back(static_cast<BYTE>(unit));
        bytes.push_back(static_cast<BYTE>(unit >> 8));
    };
    for (const wchar_t character : text) {
        auto point = static_cast<char32_t>(character);
        if (point > 0x10FFFF || IsHighSurrogate(point) || IsLowSurrogate(point)) {
            point = kReplacement;
        }
        if (point < 0x10000) {
            put(point);
        } else {
            put(0xD800 + ((point - 0x10000) >> 10));
            put(0xDC00 + (point & 0x3FF));
        }
    }
    return bytes;
}

std::optional<std::wstring> FromUtf16Bytes(std::span<const BYTE> bytes) {
    if (bytes.size() % 2 != 0) {
        return std::nullopt;
    }
    const auto unitAt = [bytes](std::size_t at) -> char32_t {
        return at + 1 < bytes.size() ? bytes[at] | static_cast<char32_t>(bytes[at + 1]) << 8 : 0;
    };
    std::wstring text;
    for (std::size_t at = 0; at < bytes.size() && unitAt(at) != 0; at += 2) {
        char32_t point = unitAt(at);
        if (IsHighSurrogate(point) && IsLowSurrogate(unitAt(at + 2))) {
            point = 0x10000 + ((point - 0xD800) << 10) + (unitAt(at + 2) - 0xDC00);
            at += 2;
        } else if (IsHighSurrogate(point) || IsLowSurrogate(point)) {
            point = kReplacement;
        }
        text.push_back(static_cast<wchar_t>(point));
    }
    return text;
}

}  // namespace qrn
