#pragma once
/// The entries of the filter categories: keys "CLSID\{category}\Instance\<instance>" below the classes, with the values
/// "CLSID", "FriendlyName" and "FilterData". All operations answer an error code; any thread.

#include <string>
#include <vector>

#include "platform/registry/CRegistry.h"
#include "platform/registry/RegisteredFilter.h"
#include "qrn/com.h"

namespace qrn {

/// "{XXXXXXXX-...}", as keys are named after identifiers.
std::wstring BracedText(const GUID& guid);

/// Writes an entry, in place of one of that instance.
LONG WriteCategoryEntry(CRegistry& registry, REFCLSID category, const RegisteredFilter& filter);
/// ERROR_FILE_NOT_FOUND without such an entry, ERROR_INVALID_DATA for one that cannot be read.
LONG ReadCategoryEntry(CRegistry& registry, REFCLSID category, const std::wstring& instance, RegisteredFilter& filter);
/// ERROR_FILE_NOT_FOUND when the store that changes go to has no such entry.
LONG RemoveCategoryEntry(CRegistry& registry, REFCLSID category, const std::wstring& instance);

/// All entries, in the order of their instances' names; none is no error.
LONG ListCategory(CRegistry& registry, REFCLSID category, std::vector<RegisteredFilter>& filters);

/// Enters the category itself among the categories.
LONG WriteCategory(CRegistry& registry, REFCLSID category, DWORD merit, const std::wstring& description);

}  // namespace qrn
