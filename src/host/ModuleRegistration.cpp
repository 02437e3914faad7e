#include "host/ModuleRegistration.h"

#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <vector>

#include "host/CModule.h"
#include "host/CModuleHolder.h"
#include "host/ModuleSearch.h"
#include "platform/com/TaskMemory.h"
#include "platform/com/Text.h"
#include "platform/registry/CRegistry.h"
#include "platform/registry/ClassRegistration.h"
#include "platform/registry/FilterCategory.h"
#include "platform/registry/RegistryErrors.h"

namespace qrn {

namespace {

/// The words for what a module answered.
std::string WordsOf(HRESULT result, const std::string& file) {
    constexpr std::uint32_t kRegistryFailure = 0x80070000;
    const auto code = static_cast<std::uint32_t>(result);
    if ((code & 0xFFFF0000) == kRegistryFailure) {
        return file + ": " + RegistryWriteTrouble(static_cast<LONG>(code & 0xFFFF));
    }
    return file + ": " + ResultName(result);
}

struct Listed {
    CLSID classId;
    DWORD merit;
    std::string name;
    std::optional<std::string> modulePath;
};

LONG List(REFCLSID category, std::vector<Listed>& listed) {
    CRegistry registry;
    std::vector<RegisteredFilter> filters;
    LONG error = ListCategory(registry, category, filters);
    for (auto filter = filters.begin(); error == ERROR_SUCCESS && filter != filters.end(); ++filter) {
        std::string path;
        error = FindRegisteredModule(registry, filter->classId, path);
        const bool hasModule = error == ERROR_SUCCESS;
        error = error == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : error;
        listed.push_back(
            {filter->classId, filter->merit, ToUtf8(filter->name), hasModule ? std::optional(path) : std::nullopt});
    }
    return error;
}

/// The records, and behind them their texts, in one block of task memory. Null for no memory.
QrnRegisteredFilter* InOneBlock(const std::vector<Listed>& listed) {
    std::size_t bytes = listed.size() * sizeof(QrnRegisteredFilter);
    for (const Listed& filter : listed) {
        bytes += filter.name.size() + 1 + (filter.modulePath ? filter.modulePath->size() + 1 : 0);
    }
    auto* records = static_cast<QrnRegisteredFilter*>(CoTaskMemAlloc(bytes));
    if (records == nullptr) {
        return nullptr;
    }
    char* text = reinterpret_cast<char*>(records + listed.size());
    const auto put = [&text](const std::string& copied) {
        const char* placed = static_cast<const char*>(std::memcpy(text, copied.c_str(), copied.size() + 1));
        text += copied.size() + 1;
        return placed;
    };
    for (std::size_t at = 0; at < listed.size(); ++at) {
        const Listed& filter = listed[at];
        const char* name = put(filter.name);
        const char* modulePath = filter.modulePath ? put(*filter.modulePath) : nullptr;
        new (records + at) QrnRegisteredFilter{filter.classId, filter.merit, name, modulePath};
    }
    return records;
}

}  // namespace

HRESULT ChangeRegistration(CModuleHolder& holder, Registration change, const std::string& path, std::string& file) {
    std::string error;
    const std::unique_ptr<CModule> module = CModule::Load(path.empty() ? holder.UnregisteredFile() : path, error);
    if (module != nullptr && !module->CanRegister()) {
        error = module->Path() + ": it is no module that registers itself";
    }
    if (!error.empty()) {
        holder.NoteError(error);
        return E_MODULE_NOT_FOUND;
    }
    if (ToUtf8(ToWide(module->Path())) != module->Path()) {
        // The module would register a name that is nearly its own.
        holder.NoteError(module->Path() + ": the registry cannot keep a name that is no UTF-8");
        return E_INVALIDARG;
    }
    const HRESULT result = change == Registration::kWrite ? module->Register() : module->Unregister();
    holder.NoteError(FAILED(result) ? WordsOf(result, module->Path()) : "");
    if (SUCCEEDED(result)) {
        file = module->Path();
    }
    return result;
}

HRESULT FindRegisteredFile(CModuleHolder& holder, REFCLSID classId, std::string& path) {
    const LONG error = FindRegisteredModule(classId, path);
    if (error == ERROR_FILE_NOT_FOUND) {
        return REGDB_E_CLASSNOTREG;
    }
    holder.NoteError(error == ERROR_SUCCESS ? "" : RegistryTrouble(error));
    return ResultOf(error);
}

HRESULT ListRegisteredFilters(CModuleHolder& holder, REFCLSID category, QrnRegisteredFilter** filters, UINT* count) {
    std::vector<Listed> listed;
    const LONG error = List(category, listed);
    holder.NoteError(error == ERROR_SUCCESS ? "" : RegistryTrouble(error));
    if (error != ERROR_SUCCESS || listed.empty()) {
        return ResultOf(error);
    }
    QrnRegisteredFilter* records = InOneBlock(listed);
    if (records == nullptr) {
        return E_OUTOFMEMORY;
    }
    *filters = records;
    *count = static_cast<UINT>(listed.size());
    return S_OK;
}

}  // namespace qrn
