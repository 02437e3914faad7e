#pragma once
/// The interfaces that a client may find on objects of the module, with the names of their operations: an object tells
/// only whether it has an interface of an id.

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "qrn/com.h"

namespace qrn {

struct InterfaceInfo {
    const char* name;
    IID id;
    std::span<const std::string_view> operations;  // in slot order, without those of IUnknown
};

/// The module's own interfaces first, then those of the framework.
std::span<const InterfaceInfo> KnownInterfaces();

struct ClassName {
    const char* name;  // of the constant in qrn/QRN_Media2.h
    CLSID id;
};

/// The classes of the module, in the order of its table.
std::span<const ClassName> KnownClasses();

/// "auds", "PCM", "GSM (0x3784)"; the identifier itself where it has no name; "any" for the null one.
std::string MediaTypeName(const GUID& id);

}  // namespace qrn
