#pragma once

#include <string>
#include <vector>

#include "platform/com/Text.h"
#include "platform/registry/CRegistryKey.h"

namespace qrn::test {

/// Every key and value below a key, one a line, in order. A failure stands in the place of what could not be read.
inline std::vector<std::string> Dump(const CRegistryKey& key, const std::string& path) {
    std::vector<std::string> lines;
    std::vector<std::wstring> names;
    if (const LONG error = key.ListValues(names); error != ERROR_SUCCESS) {
        return {path + ": error " + std::to_string(error)};
    }
    for (const std::wstring& name : names) {
        DWORD type = 0;
        std::vector<BYTE> data;
        const LONG error = key.QueryValue(name, &type, &data);
        lines.push_back(path + "|" + ToUtf8(name) + "=" + std::to_string(error) + ":" + std::to_string(type) + ":" +
                        std::string(data.begin(), data.end()));
    }
    if (const LONG error = key.ListKeys(names); error != ERROR_SUCCESS) {
        return {path + ": error " + std::to_string(error)};
    }
    for (const std::wstring& name : names) {
        CRegistryKey subkey;
        const std::string subPath = path + "\\" + ToUtf8(name);
        if (const LONG error = key.OpenKey(name, subkey); error != ERROR_SUCCESS) {
            lines.push_back(subPath + ": error " + std::to_string(error));
            continue;
        }
        lines.push_back(subPath);
        const std::vector<std::string> below = Dump(subkey, subPath);
        lines.insert(lines.end(), below.begin(), below.end());
    }
    return lines;
}

inline std::vector<std::string> Dump(CRegistry& registry, RegistryRoot root) {
    CRegistryKey key;
    const LONG error = registry.OpenKey(root, L"", key);
    return error == ERROR_SUCCESS ? Dump(key, "") : std::vector<std::string>{"error " + std::to_string(error)};
}

/// The same with a registry opened for it.
inline std::vector<std::string> Dump(const RegistryFiles& files, RegistryRoot root) {
    CRegistry registry(files);
    return Dump(registry, root);
}

}  // namespace qrn::test
