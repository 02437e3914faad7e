#pragma once
/// Registering and unregistering a module, and what is registered.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "qrn/com.h"

namespace qrn {

/// @param modulePath  empty for the file that the host finds where nothing is registered.
/// @return the file of the module. @throws CClientError when that fails.
std::string RegisterModule(const std::string& modulePath);
std::string UnregisterModule(const std::string& modulePath);

struct RegisteredFilterReport {
    std::string name;
    std::string classId;
    std::uint32_t merit = 0;
    std::optional<std::string> module;  // the file; nothing for a class that is registered no more
};

struct CategoryReport {
    std::string name;  // "legacy filters"
    std::string id;
    std::vector<RegisteredFilterReport> filters;
};

struct RegisteredClassReport {
    std::string constant;  // "CLSID_QRN_AudioSender"
    std::string classId;
    std::optional<std::string> module;
};

struct RegistrationReport {
    std::vector<CategoryReport> categories;
    std::vector<RegisteredClassReport> classes;  // all that the program knows, registered or not
};

/// Loads no module. @throws CClientError when the registry cannot be read.
RegistrationReport InspectRegistration();

std::string FormatRegistration(const RegistrationReport& report);
/// One object in one line.
std::string FormatRegistrationAsJson(const RegistrationReport& report);

}  // namespace qrn
