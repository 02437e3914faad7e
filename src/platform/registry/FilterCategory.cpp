#include "platform/registry/FilterCategory.h"

#include "platform/com/Text.h"
#include "platform/registry/CRegistryKey.h"
#include "platform/registry/CRegistryTransaction.h"

namespace qrn {

namespace {

constexpr const wchar_t* kClassIdValue = L"CLSID";
constexpr const wchar_t* kNameValue = L"FriendlyName";
constexpr const wchar_t* kDataValue = L"FilterData";
constexpr const wchar_t* kMeritValue = L"Merit";

std::wstring InstancesPath(REFCLSID category) {
    return L"CLSID\\" + BracedText(category) + L"\\Instance";
}

/// Opens the entry's key anew, without what an earlier one had.
LONG MakeEntry(CRegistry& registry, REFCLSID category, const std::wstring& instance, CRegistryKey& entry) {
    CRegistryKey instances;
    LONG error = registry.CreateKey(RegistryRoot::kClassesRoot, InstancesPath(category), instances);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    error = instances.DeleteTree(instance);
    return error == ERROR_SUCCESS || error == ERROR_FILE_NOT_FOUND ? instances.CreateKey(instance, entry) : error;
}

LONG WriteIdentity(const CRegistryKey& entry, REFCLSID classId, const std::wstring& name) {
    const LONG error = entry.SetString(kClassIdValue, BracedText(classId));
    return error == ERROR_SUCCESS ? entry.SetString(kNameValue, name) : error;
}

/// An instance is one key, not a path of several.
bool IsInstance(const std::wstring& instance) {
    return !instance.empty() && instance.find(L'\\') == std::wstring::npos;
}

}  // namespace

std::wstring BracedText(const GUID& guid) {
    return ToWide('{' + ToString(guid) + '}');
}

LONG WriteCategoryEntry(CRegistry& registry, REFCLSID category, const RegisteredFilter& filter) {
    if (!IsInstance(filter.instance)) {
        return ERROR_INVALID_PARAMETER;
    }
    CRegistryTransaction transaction(registry, RegistryRoot::kClassesRoot);
    CRegistryKey entry;
    LONG error = transaction.Error();
    error = error == ERROR_SUCCESS ? MakeEntry(registry, category, filter.instance, entry) : error;
    error = error == ERROR_SUCCESS ? WriteIdentity(entry, filter.classId, filter.name) : error;
    error = error == ERROR_SUCCESS ? entry.SetBinary(kDataValue, EncodeFilterData(filter)) : error;
    return error == ERROR_SUCCESS ? transaction.Commit() : error;
}

LONG ReadCategoryEntry(CRegistry& registry, REFCLSID category, const std::wstring& instance, RegisteredFilter& filter) {
    if (!IsInstance(instance)) {
        return ERROR_INVALID_PARAMETER;
    }
    CRegistryKey entry;
    const std::wstring path = InstancesPath(category) + L'\\' + instance;
    LONG error = registry.OpenKey(RegistryRoot::kClassesRoot, path, entry);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    RegisteredFilter found;
    found.instance = instance;
    std::wstring classId;
    std::vector<BYTE> data;
    error = entry.QueryString(kClassIdValue, classId);
    error = error == ERROR_SUCCESS ? entry.QueryString(kNameValue, found.name) : error;
    error = error == ERROR_SUCCESS ? entry.QueryBinary(kDataValue, data) : error;
    if (error == ERROR_FILE_NOT_FOUND) {
        // A value that is missing, unless another process has removed the whole entry meanwhile.
        error = registry.OpenKey(RegistryRoot::kClassesRoot, path, entry);
    }
    if (error != ERROR_SUCCESS) {
        return error == ERROR_UNSUPPORTED_TYPE ? ERROR_INVALID_DATA : error;
    }
    const std::optional<GUID> parsed = ParseGuid(ToUtf8(classId));
    if (!parsed || !DecodeFilterData(data, found)) {
        return ERROR_INVALID_DATA;
    }
    found.classId = *parsed;
    filter = std::move(found);
    return ERROR_SUCCESS;
}

LONG RemoveCategoryEntry(CRegistry& registry, REFCLSID category, const std::wstring& instance) {
    if (!IsInstance(instance)) {
        return ERROR_INVALID_PARAMETER;
    }
    CRegistryKey instances;
    const LONG error = registry.OpenKey(RegistryRoot::kClassesRoot, InstancesPath(category), instances);
    return error == ERROR_SUCCESS ? instances.DeleteTree(instance) : error;
}

LONG ListCategory(CRegistry& registry, REFCLSID category, std::vector<RegisteredFilter>& filters) {
    filters.clear();
    CRegistryKey instances;
    std::vector<std::wstring> names;
    LONG error = registry.OpenKey(RegistryRoot::kClassesRoot, InstancesPath(category), instances);
    error = error == ERROR_SUCCESS ? instances.ListKeys(names) : error;
    if (error != ERROR_SUCCESS) {
        return error == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : error;
    }
    for (const std::wstring& name : names) {
        RegisteredFilter filter;
        error = ReadCategoryEntry(registry, category, name, filter);
        if (error == ERROR_SUCCESS) {
            filters.push_back(std::move(filter));
        } else if (error != ERROR_FILE_NOT_FOUND) {  // another process may just have removed it
            return error;
        }
    }
    return ERROR_SUCCESS;
}

LONG WriteCategory(CRegistry& registry, REFCLSID category, DWORD merit, const std::wstring& description) {
    CRegistryTransaction transaction(registry, RegistryRoot::kClassesRoot);
    CRegistryKey entry;
    LONG error = transaction.Error();
    error =
        error == ERROR_SUCCESS ? MakeEntry(registry, CLSID_ActiveMovieCategories, BracedText(category), entry) : error;
    error = error == ERROR_SUCCESS ? WriteIdentity(entry, category, description) : error;
    error = error == ERROR_SUCCESS ? entry.SetDword(kMeritValue, merit) : error;
    return error == ERROR_SUCCESS ? transaction.Commit() : error;
}

}  // namespace qrn
