#include "platform/com/Text.h"

#include "qrn/filters.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>

namespace qrn {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsScalarValue(char32_t point) {
    return point <= 0x10FFFF && (point < 0xD800 || point > 0xDFFF);
}

void AppendUtf8(std::string& out, char32_t point) {
    const auto put = [&out](char32_t byte) { out.push_back(static_cast<char>(byte)); };
    if (point < 0x80) {
        put(point);
    } else if (point < 0x800) {
        put(0xC0 | point >> 6);
        put(0x80 | (point & 0x3F));
    } else if (point < 0x10000) {
        put(0xE0 | point >> 12);
        put(0x80 | (point >> 6 & 0x3F));
        put(0x80 | (point & 0x3F));
    } else {
        put(0xF0 | point >> 18);
        put(0x80 | (point >> 12 & 0x3F));
        put(0x80 | (point >> 6 & 0x3F));
        put(0x80 | (point & 0x3F));
    }
}

/// What a lead byte promises: the count of bytes that follow, and the range of the first of them, which is narrower
/// than 80..BF where the rest would be an overlong form, a surrogate or above U+10FFFF (Unicode 15, table 3-7).
struct Utf8Lead {
    int followers;
    unsigned char lowest;
    unsigned char highest;
};

Utf8Lead LeadOf(unsigned char byte) {
    if (byte >= 0xC2 && byte <= 0xDF) {
        return {1, 0x80, 0xBF};
    }
    if (byte >= 0xE0 && byte <= 0xEF) {
        return {2, static_cast<unsigned char>(byte == 0xE0 ? 0xA0 : 0x80),
                static_cast<unsigned char>(byte == 0xED ? 0x9F : 0xBF)};
    }
    if (byte >= 0xF0 && byte <= 0xF4) {
        return {3, static_cast<unsigned char>(byte == 0xF0 ? 0x90 : 0x80),
                static_cast<unsigned char>(byte == 0xF4 ? 0x8F : 0xBF)};
    }
    return {0, 0, 0};
}

/// Takes one character, or the longest beginning of one, off the front of `utf8`, which is not empty.
char32_t TakeCharacter(std::string_view& utf8) {
    const auto first = static_cast<unsigned char>(utf8.front());
    utf8.remove_prefix(1);
    if (first < 0x80) {
        return first;
    }
    Utf8Lead lead = LeadOf(first);
    if (lead.followers == 0) {
        return kReplacement;
    }
    char32_t point = first & (0x3F >> lead.followers);
    for (int i = 0; i < lead.followers; ++i) {
        const auto next = utf8.empty() ? static_cast<unsigned char>(0) : static_cast<unsigned char>(utf8.front());
        if (next < lead.lowest || next > lead.highest) {
            return kReplacement;
        }
        utf8.remove_prefix(1);
        point = point << 6 | (next & 0x3F);
        lead.lowest = 0x80;
        lead.highest = 0xBF;
    }
    return point;
}

int DigitOf(char character) {
    if (character >= '0' && character <= '9') {
        return character - '0';
    }
    if (character >= 'a' && character <= 'f') {
        return character - 'a' + 10;
    }
    if (character >= 'A' && character <= 'F') {
        return character - 'A' + 10;
    }
    return -1;
}

struct NamedResult {
    HRESULT result;
    const char* name;
};

#define QRN_NAMED(code) \
    NamedResult {       \
        code, #code     \
    }
/// A system's error code as a result code.
#define QRN_NAMED_ERROR(number, name)                               \
    NamedResult {                                                   \
        static_cast<HRESULT>(0x80070000u | unsigned{number}), #name \
    }
constexpr NamedResult kNamedResults[] = {
    QRN_NAMED(S_OK),
    QRN_NAMED(S_FALSE),
    QRN_NAMED(E_UNEXPECTED),
    QRN_NAMED(E_NOTIMPL),
    QRN_NAMED(E_NOINTERFACE),
    QRN_NAMED(E_POINTER),
    QRN_NAMED(E_ABORT),
    QRN_NAMED(E_FAIL),
    QRN_NAMED(E_ACCESSDENIED),
    QRN_NAMED(E_OUTOFMEMORY),
    QRN_NAMED(E_INVALIDARG),
    QRN_NAMED(E_PROP_ID_UNSUPPORTED),
    QRN_NAMED(E_PROP_SET_UNSUPPORTED),
    QRN_NAMED(CLASS_E_NOAGGREGATION),
    QRN_NAMED(CLASS_E_CLASSNOTAVAILABLE),
    QRN_NAMED(REGDB_E_CLASSNOTREG),
    QRN_NAMED(E_MODULE_NOT_FOUND),
    QRN_NAMED_ERROR(2, ERROR_FILE_NOT_FOUND),
    QRN_NAMED_ERROR(3, ERROR_PATH_NOT_FOUND),
    QRN_NAMED_ERROR(110, ERROR_OPEN_FAILED),
    QRN_NAMED_ERROR(112, ERROR_DISK_FULL),
    QRN_NAMED_ERROR(122, ERROR_INSUFFICIENT_BUFFER),
    QRN_NAMED_ERROR(170, ERROR_BUSY),
    QRN_NAMED_ERROR(1009, ERROR_BADDB),
    QRN_NAMED_ERROR(1016, ERROR_REGISTRY_IO_FAILED),
    QRN_NAMED_ERROR(1306, ERROR_REVISION_MISMATCH),
    QRN_NAMED(VFW_S_NO_MORE_ITEMS),
    QRN_NAMED(VFW_S_STATE_INTERMEDIATE),
    QRN_NAMED(VFW_S_DUPLICATE_NAME),
    QRN_NAMED(VFW_S_CANT_CUE),
    QRN_NAMED(VFW_S_NO_STOP_TIME),
    QRN_NAMED(VFW_E_INVALIDMEDIATYPE),
    QRN_NAMED(VFW_E_ENUM_OUT_OF_SYNC),
    QRN_NAMED(VFW_E_ALREADY_CONNECTED),
    QRN_NAMED(VFW_E_FILTER_ACTIVE),
    QRN_NAMED(VFW_E_NO_TYPES),
    QRN_NAMED(VFW_E_NO_ACCEPTABLE_TYPES),
    QRN_NAMED(VFW_E_INVALID_DIRECTION),
    QRN_NAMED(VFW_E_NOT_CONNECTED),
    QRN_NAMED(VFW_E_NO_ALLOCATOR),
    QRN_NAMED(VFW_E_RUNTIME_ERROR),
    QRN_NAMED(VFW_E_BUFFER_OVERFLOW),
    QRN_NAMED(VFW_E_BADALIGN),
    QRN_NAMED(VFW_E_ALREADY_COMMITTED),
    QRN_NAMED(VFW_E_BUFFERS_OUTSTANDING),
    QRN_NAMED(VFW_E_NOT_COMMITTED),
    QRN_NAMED(VFW_E_SIZENOTSET),
    QRN_NAMED(VFW_E_NO_CLOCK),
    QRN_NAMED(VFW_E_NO_SINK),
    QRN_NAMED(VFW_E_NOT_FOUND),
    QRN_NAMED(VFW_E_CANNOT_CONNECT),
    QRN_NAMED(VFW_E_CANNOT_RENDER),
    QRN_NAMED(VFW_E_NOT_STOPPED),
    QRN_NAMED(VFW_E_WRONG_STATE),
    QRN_NAMED(VFW_E_START_TIME_AFTER_END),
    QRN_NAMED(VFW_E_TYPE_NOT_ACCEPTED),
    QRN_NAMED(VFW_E_SAMPLE_REJECTED),
    QRN_NAMED(VFW_E_DUPLICATE_NAME),
    QRN_NAMED(VFW_E_TIMEOUT),
    QRN_NAMED(VFW_E_SAMPLE_TIME_NOT_SET),
    QRN_NAMED(VFW_E_MEDIA_TIME_NOT_SET),
    QRN_NAMED(VFW_E_NOT_IN_GRAPH),
};
#undef QRN_NAMED_ERROR
#undef QRN_NAMED

}  // namespace

std::string ToUtf8(std::wstring_view text) {
    std::string out;
    out.reserve(text.size());
    for (const wchar_t character : text) {
        const auto point = static_cast<char32_t>(character);
        AppendUtf8(out, IsScalarValue(point) ? point : kReplacement);
    }
    return out;
}

std::wstring ToWide(std::string_view utf8) {
    std::wstring out;
    out.reserve(utf8.size());
    while (!utf8.empty()) {
        out.push_back(static_cast<wchar_t>(TakeCharacter(utf8)));
    }
    return out;
}

std::string ToString(const GUID& guid) {
    std::array<char, 37> text{};
    std::snprintf(text.data(), text.size(), "%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X", guid.Data1, guid.Data2,
                  guid.Data3, guid.Data4[0], guid.Data4[1], guid.Data4[2], guid.Data4[3], guid.Data4[4], guid.Data4[5],
                  guid.Data4[6], guid.Data4[7]);
    return text.data();
}

std::optional<GUID> ParseGuid(std::string_view text) {
    constexpr std::string_view kShape = "00000000-0000-0000-0000-000000000000";
    if (text.size() == kShape.size() + 2 && text.front() == '{' && text.back() == '}') {
        text = text.substr(1, kShape.size());
    }
    if (text.size() != kShape.size()) {
        return std::nullopt;
    }
    std::array<std::uint8_t, 16> bytes{};
    std::size_t digits = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (kShape[i] == '-') {
            if (text[i] != '-') {
                return std::nullopt;
            }
            continue;
        }
        const int digit = DigitOf(text[i]);
        if (digit < 0) {
            return std::nullopt;
        }
        bytes[digits / 2] = static_cast<std::uint8_t>(bytes[digits / 2] << 4 | digit);
        ++digits;
    }
    GUID guid{static_cast<std::uint32_t>(bytes[0]) << 24 | static_cast<std::uint32_t>(bytes[1]) << 16 |
                  static_cast<std::uint32_t>(bytes[2]) << 8 | bytes[3],
              static_cast<std::uint16_t>(bytes[4] << 8 | bytes[5]),
              static_cast<std::uint16_t>(bytes[6] << 8 | bytes[7]),
              {}};
    std::copy(bytes.begin() + 8, bytes.end(), std::begin(guid.Data4));
    return guid;
}

std::string ResultName(HRESULT result) {
    const auto* found = std::find_if(std::begin(kNamedResults), std::end(kNamedResults),
                                     [result](const NamedResult& row) { return row.result == result; });
    if (found != std::end(kNamedResults)) {
        return found->name;
    }
    std::array<char, 11> text{};
    std::snprintf(text.data(), text.size(), "0x%08X", static_cast<unsigned>(result));
    return text.data();
}

}  // namespace qrn
