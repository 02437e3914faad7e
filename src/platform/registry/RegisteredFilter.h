#pragma once
/// What is kept of a registered filter, and how its record is written.

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "qrn/com.h"
#include "qrn/filters.h"

namespace qrn {

struct RegisteredType {
    GUID majorType{};
    GUID subType{};

    bool operator==(const RegisteredType&) const = default;
};

struct RegisteredPin {
    std::wstring name;
    bool isRendered = false;
    bool isOutput = false;
    bool isZero = false;
    bool isMany = false;
    CLSID connectsToFilter{};    // GUID_NULL: none
    std::wstring connectsToPin;  // empty: none
    std::vector<RegisteredType> types;

    bool operator==(const RegisteredPin&) const = default;
};

/// An entry of a category.
struct RegisteredFilter {
    std::wstring instance;
    CLSID classId{};
    std::wstring name;
    DWORD merit = 0;
    std::vector<RegisteredPin> pins;

    bool operator==(const RegisteredFilter&) const = default;
};

/// The merit and the pins as one block of bytes, all numbers with the low byte first:
///   u32 version (1), u32 merit, u32 count of pins, then for each pin
///   u32 flags (1 rendered, 2 output, 4 zero, 8 many), text name, GUID connects-to filter, text connects-to pin,
///   u32 count of types, then for each type GUID major type, GUID subtype.
/// A text is a u32 count of bytes and UTF-16; a GUID is its 16 bytes in the order of the structure's fields.
std::vector<BYTE> EncodeFilterData(const RegisteredFilter& filter);

/// Reads that into `filter`; false, and `filter` as it was, for bytes that are no such block.
bool DecodeFilterData(std::span<const BYTE> bytes, RegisteredFilter& filter);

/// The pins of a setup record. Nothing where a pointer is null that its count says is not.
std::optional<std::vector<RegisteredPin>> PinsOf(const REGFILTERPINS* pins, std::size_t count);

}  // namespace qrn
