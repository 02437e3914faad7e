#include "client/Register.h"

#include <nlohmann/json.hpp>
#include <span>

#include "client/CGraph.h"
#include "client/ClientError.h"
#include "client/FormatText.h"
#include "client/InterfaceCatalogue.h"
#include "platform/com/TaskMemory.h"
#include "platform/com/Text.h"
#include "qrn/filters.h"
#include "qrn/host.h"

namespace qrn {
namespace {

struct CategoryName {
    CLSID id;
    const char* name;
};
constexpr CategoryName kCategories[] = {
    {CLSID_LegacyAmFilterCategory, "legacy filters"},
    {CLSID_VideoCompressorCategory, "video compressors"},
    {CLSID_AudioCompressorCategory, "audio compressors"},
};

void RequireRegistry(HRESULT result, const std::string& what) {
    if (FAILED(result)) {
        throw CClientError("cannot " + what + ": " + ResultName(result) + ": " + QrnLastLoadError());
    }
}

std::string Change(HRESULT (*change)(const char*, char**), const std::string& modulePath, const char* what) {
    char* file = nullptr;
    const HRESULT result = change(modulePath.empty() ? nullptr : modulePath.c_str(), &file);
    const TaskMemoryPtr<char> owned(file);
    if (result == E_MODULE_NOT_FOUND) {
        RequireModule(result);
    }
    RequireRegistry(result, what);
    return file;
}

std::optional<std::string> RegisteredFile(REFCLSID classId) {
    char* path = nullptr;
    const HRESULT result = QrnFindRegisteredModule(classId, &path);
    const TaskMemoryPtr<char> owned(path);
    if (result == REGDB_E_CLASSNOTREG) {
        return std::nullopt;
    }
    RequireRegistry(result, "read the registry");
    return path;
}

CategoryReport InspectCategory(const CategoryName& category) {
    QrnRegisteredFilter* filters = nullptr;
    UINT count = 0;
    const HRESULT result = QrnListRegisteredFilters(category.id, &filters, &count);
    const TaskMemoryPtr<QrnRegisteredFilter> owned(filters);
    RequireRegistry(result, "read the registry");
    CategoryReport report{category.name, ToString(category.id), {}};
    for (const QrnRegisteredFilter& filter : std::span(filters, count)) {
        const std::optional<std::string> module =
            filter.modulePath != nullptr ? std::optional<std::string>(filter.modulePath) : std::nullopt;
        report.filters.push_back({filter.name, ToString(filter.classId), filter.merit, module});
    }
    return report;
}

using Json = nlohmann::ordered_json;

Json ModuleAsJson(const std::optional<std::string>& module) {
    return module ? Json(*module) : Json(nullptr);
}

Json CategoryAsJson(const CategoryReport& category) {
    Json filters = Json::array();
    for (const RegisteredFilterReport& filter : category.filters) {
        filters.push_back({{"name", filter.name},
                           {"class_id", filter.classId},
                           {"merit", filter.merit},
                           {"module", ModuleAsJson(filter.module)}});
    }
    return {{"name", category.name}, {"id", category.id}, {"filters", filters}};
}

}  // namespace

std::string RegisterModule(const std::string& modulePath) {
    return Change(&QrnRegisterModule, modulePath, "register the module");
}

std::string UnregisterModule(const std::string& modulePath) {
    return Change(&QrnUnregisterModule, modulePath, "unregister the module");
}

RegistrationReport InspectRegistration() {
    RegistrationReport report;
    for (const CategoryName& category : kCategories) {
        report.categories.push_back(InspectCategory(category));
    }
    for (const ClassName& known : KnownClasses()) {
        report.classes.push_back({known.name, ToString(known.id), RegisteredFile(known.id)});
    }
    return report;
}

std::string FormatRegistration(const RegistrationReport& report) {
    std::string text;
    for (const CategoryReport& category : report.categories) {
        text += category.name + "  {" + category.id + "}\n";
        for (const RegisteredFilterReport& filter : category.filters) {
            text += "  \"" + filter.name + "\"  {" + filter.classId + "}" +
                    FormatText("  merit 0x%06X  ", filter.merit) + filter.module.value_or("(class not registered)") +
                    "\n";
        }
        text += category.filters.empty() ? "  none\n" : "";
    }
    text += "classes\n";
    for (const RegisteredClassReport& row : report.classes) {
        text += "  " + row.constant + "  {" + row.classId + "}  " + row.module.value_or("not registered") + "\n";
    }
    return text;
}

std::string FormatRegistrationAsJson(const RegistrationReport& report) {
    Json categories = Json::array();
    for (const CategoryReport& category : report.categories) {
        categories.push_back(CategoryAsJson(category));
    }
    Json classes = Json::array();
    for (const RegisteredClassReport& row : report.classes) {
        classes.push_back(
            {{"constant", row.constant}, {"class_id", row.classId}, {"module", ModuleAsJson(row.module)}});
    }
    // Names come from whoever has registered them.
    return Json{{"categories", categories}, {"classes", classes}}.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace qrn
