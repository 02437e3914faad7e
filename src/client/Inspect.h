#pragma once
/// What a module holds.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "client/InterfaceCatalogue.h"

namespace qrn {

struct PinReport {
    std::string name;
    bool isOutput = false;
    std::vector<std::string> types;  // "auds/PCM"
};

struct ClassReport {
    std::string constant;  // "CLSID_QRN_AudioSender"
    std::string classId;
    std::string name;
    bool isFilter = false;  // else a property page
    std::uint32_t merit = 0;
    std::vector<PinReport> registeredPins;
    std::string created;              // the name of the result: "S_OK" when an object could be made
    std::vector<PinReport> livePins;  // with the types that they offer while nothing is connected
    std::vector<const InterfaceInfo*> interfaces;
};

/// Makes an object of each class of the module. @throws CClientError when the module cannot be loaded.
std::vector<ClassReport> InspectModule();

std::string FormatInspection(const std::vector<ClassReport>& classes);
/// One object in one line.
std::string FormatInspectionAsJson(const std::vector<ClassReport>& classes);

}  // namespace qrn
