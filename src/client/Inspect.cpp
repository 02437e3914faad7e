#include "client/Inspect.h"

#include <nlohmann/json.hpp>

#include "client/CGraph.h"
#include "client/FormatText.h"
#include "framework/CMediaType.h"
#include "platform/com/Text.h"
#include "qrn/QRN_Media2.h"
#include "qrn/host.h"

namespace qrn {
namespace {

std::string TypeText(const GUID& major, const GUID& minor) {
    return MediaTypeName(major) + "/" + MediaTypeName(minor);
}

// ---------------------------------------------------------------------------------------------------------------------
// What a class says of itself

PinReport RegisteredPin(const AMOVIESETUP_PIN& pin) {
    PinReport report{ToUtf8(pin.strName), pin.bOutput != FALSE, {}};
    for (UINT i = 0; i < pin.nMediaTypes; ++i) {
        const AMOVIESETUP_MEDIATYPE& type = pin.lpMediaType[i];
        report.types.push_back(TypeText(*type.clsMajorType, *type.clsMinorType));
    }
    return report;
}

void ReadClassInfo(IClassFactory& factory, ClassReport& report) {
    ComPtr<IQRN_ClassInfo> info;
    if (FAILED(factory.QueryInterface(IID_IQRN_ClassInfo, info.PutVoid())) || !info) {
        return;
    }
    const wchar_t* name = nullptr;
    if (SUCCEEDED(info->GetDisplayName(&name)) && name != nullptr) {
        report.name = ToUtf8(name);
    }
    const AMOVIESETUP_FILTER* setup = nullptr;
    if (FAILED(info->GetSetup(&setup)) || setup == nullptr) {
        return;
    }
    report.isFilter = true;
    report.merit = setup->dwMerit;
    for (UINT i = 0; i < setup->nPins; ++i) {
        report.registeredPins.push_back(RegisteredPin(setup->lpPin[i]));
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// What an object is

PinReport LivePin(IPin& pin) {
    PinReport report;
    PIN_INFO info{};
    if (SUCCEEDED(pin.QueryPinInfo(&info))) {
        const auto owner = ComPtr<IBaseFilter>::Adopt(info.pFilter);
        report.name = ToUtf8(info.achName);
        report.isOutput = info.dir == PINDIR_OUTPUT;
    }
    ComPtr<IEnumMediaTypes> types;
    if (FAILED(pin.EnumMediaTypes(types.Put())) || !types) {
        return report;
    }
    AM_MEDIA_TYPE* type = nullptr;
    while (types->Next(1, &type, nullptr) == S_OK) {
        report.types.push_back(TypeText(type->majortype, type->subtype));
        DeleteMediaType(type);
    }
    return report;
}

std::vector<PinReport> LivePins(IUnknown& object) {
    std::vector<PinReport> reports;
    ComPtr<IBaseFilter> filter;
    ComPtr<IEnumPins> pins;
    if (FAILED(object.QueryInterface(IID_IBaseFilter, filter.PutVoid())) || !filter ||
        FAILED(filter->EnumPins(pins.Put())) || !pins) {
        return reports;
    }
    ComPtr<IPin> pin;
    while (pins->Next(1, pin.Put(), nullptr) == S_OK) {
        reports.push_back(LivePin(*pin));
    }
    return reports;
}

ClassReport InspectClass(const ClassName& known) {
    ClassReport report;
    report.constant = known.name;
    report.classId = ToString(known.id);
    ComPtr<IClassFactory> factory;
    HRESULT result = CoGetClassObject(known.id, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory, factory.PutVoid());
    RequireModule(result);
    ComPtr<IUnknown> object;
    if (SUCCEEDED(result) && factory) {
        ReadClassInfo(*factory, report);
        result = factory->CreateInstance(nullptr, IID_IUnknown, object.PutVoid());
    }
    report.created = ResultName(result);
    if (FAILED(result) || !object) {
        return report;
    }
    report.livePins = LivePins(*object);
    for (const InterfaceInfo& known_interface : KnownInterfaces()) {
        ComPtr<IUnknown> found;
        if (SUCCEEDED(object->QueryInterface(known_interface.id, found.PutVoid())) && found) {
            report.interfaces.push_back(&known_interface);
        }
    }
    return report;
}

// ---------------------------------------------------------------------------------------------------------------------
// Text and JSON

std::string Joined(const auto& parts, const char* separator) {
    std::string text;
    for (const auto& part : parts) {
        text += (text.empty() ? "" : separator) + std::string(part);
    }
    return text;
}

std::string PinText(const char* kind, const PinReport& pin) {
    const std::string types = pin.types.empty() ? "no type while it is not connected" : Joined(pin.types, ", ");
    return std::string("  ") + kind + " " + (pin.isOutput ? "output" : "input") + " \"" + pin.name + "\": " + types +
           "\n";
}

std::string ClassText(const ClassReport& report) {
    std::string text = "\"" + report.name + "\"  {" + report.classId + "}  " + report.constant + "\n";
    text += report.isFilter ? FormatText("  filter, merit 0x%06X\n", report.merit) : std::string("  property page\n");
    for (const PinReport& pin : report.registeredPins) {
        text += PinText("registered", pin);
    }
    if (report.created != "S_OK") {
        return text + "  cannot be made yet: " + report.created + "\n";
    }
    for (const PinReport& pin : report.livePins) {
        text += PinText("live", pin);
    }
    for (const InterfaceInfo* found : report.interfaces) {
        text += std::string("  ") + found->name + "  {" + ToString(found->id) + "}\n";
        if (!found->operations.empty()) {
            text += "    " + Joined(found->operations, ", ") + "\n";
        }
    }
    return text;
}

using Json = nlohmann::ordered_json;

Json PinsAsJson(const std::vector<PinReport>& pins) {
    Json list = Json::array();
    for (const PinReport& pin : pins) {
        list.push_back(
            {{"name", pin.name}, {"direction", pin.isOutput ? "output" : "input"}, {"media_types", pin.types}});
    }
    return list;
}

Json ClassAsJson(const ClassReport& report) {
    Json interfaces = Json::array();
    for (const InterfaceInfo* found : report.interfaces) {
        interfaces.push_back({{"name", found->name}, {"id", ToString(found->id)}, {"operations", found->operations}});
    }
    Json json = {{"name", report.name},
                 {"class_id", report.classId},
                 {"constant", report.constant},
                 {"kind", report.isFilter ? "filter" : "property page"}};
    if (report.isFilter) {
        json["merit"] = report.merit;
        json["registered_pins"] = PinsAsJson(report.registeredPins);
    }
    json["created"] = report.created;
    json["live_pins"] = PinsAsJson(report.livePins);
    json["interfaces"] = interfaces;
    return json;
}

}  // namespace

std::vector<ClassReport> InspectModule() {
    std::vector<ClassReport> classes;
    for (const ClassName& known : KnownClasses()) {
        classes.push_back(InspectClass(known));
    }
    return classes;
}

std::string FormatInspection(const std::vector<ClassReport>& classes) {
    std::string text;
    for (const ClassReport& report : classes) {
        text += (text.empty() ? "" : "\n") + ClassText(report);
    }
    return text;
}

std::string FormatInspectionAsJson(const std::vector<ClassReport>& classes) {
    Json list = Json::array();
    for (const ClassReport& report : classes) {
        list.push_back(ClassAsJson(report));
    }
    return Json{{"classes", list}}.dump();
}

}  // namespace qrn
