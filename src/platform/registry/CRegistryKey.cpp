#include "platform/registry/CRegistryKey.h"

#include <algorithm>

#include "platform/com/Text.h"
#include "platform/registry/Utf16.h"

namespace qrn {

namespace {

bool IsName(std::wstring_view name, std::size_t longest) {
    return name.size() <= longest && name.find(L'\0') == std::wstring_view::npos;
}

/// A path has no empty part, so that each key has one path only.
bool IsPath(std::wstring_view path) {
    for (;;) {
        const std::size_t end = path.find(L'\\');
        const std::wstring_view part = path.substr(0, end);
        if (part.empty() || !IsName(part, CRegistry::kMaxKeyName)) {
            return false;
        }
        if (end == std::wstring_view::npos) {
            return true;
        }
        path.remove_prefix(end + 1);
    }
}

LONG ToWideNames(LONG error, const std::vector<std::string>& names, std::vector<std::wstring>& wide) {
    wide.clear();
    if (error == ERROR_SUCCESS) {
        std::transform(names.begin(), names.end(), std::back_inserter(wide), ToWide);
    }
    return error;
}

LONG Pick(LONG error, const std::vector<std::wstring>& names, DWORD index, std::wstring& name) {
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (index >= names.size()) {
        return ERROR_NO_MORE_ITEMS;
    }
    name = names[index];
    return ERROR_SUCCESS;
}

}  // namespace

LONG CRegistryKey::OpenKey(std::wstring_view subkey, CRegistryKey& key) const {
    std::string path = m_path;
    LONG error = m_registry == nullptr ? ERROR_INVALID_PARAMETER : ERROR_SUCCESS;
    if (!subkey.empty()) {
        error = SubPath(subkey, path);
    }
    error = error == ERROR_SUCCESS ? m_registry->HasKey(m_root, path) : error;
    if (error == ERROR_SUCCESS) {
        key = CRegistryKey(*m_registry, m_root, std::move(path));
    }
    return error;
}

LONG CRegistryKey::CreateKey(std::wstring_view subkey, CRegistryKey& key) const {
    std::string path;
    LONG error = SubPath(subkey, path);
    error = error == ERROR_SUCCESS ? m_registry->CreatePath(m_root, path) : error;
    if (error == ERROR_SUCCESS) {
        key = CRegistryKey(*m_registry, m_root, std::move(path));
    }
    return error;
}

LONG CRegistryKey::QueryValue(std::wstring_view name, DWORD* type, std::vector<BYTE>* data) const {
    if (m_registry == nullptr || !IsName(name, CRegistry::kMaxValueName)) {
        return ERROR_INVALID_PARAMETER;
    }
    RegistryValue value;
    const LONG error = m_registry->GetValue(m_root, m_path, ToUtf8(name), value);
    if (error == ERROR_SUCCESS && type != nullptr) {
        *type = value.type;
    }
    if (error == ERROR_SUCCESS && data != nullptr) {
        *data = std::move(value.data);
    }
    return error;
}

LONG CRegistryKey::QueryString(std::wstring_view name, std::wstring& text) const {
    std::vector<BYTE> data;
    const LONG error = QueryTyped(name, REG_SZ, data);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    std::optional<std::wstring> decoded = FromUtf16Bytes(data);
    if (!decoded) {
        return ERROR_INVALID_DATA;
    }
    text = *std::move(decoded);
    return ERROR_SUCCESS;
}

LONG CRegistryKey::QueryDword(std::wstring_view name, DWORD& number) const {
    std::vector<BYTE> data;
    const LONG error = QueryTyped(name, REG_DWORD, data);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (data.size() != 4) {
        return ERROR_INVALID_DATA;
    }
    number = data[0] | DWORD{data[1]} << 8 | DWORD{data[2]} << 16 | DWORD{data[3]} << 24;
    return ERROR_SUCCESS;
}

LONG CRegistryKey::QueryBinary(std::wstring_view name, std::vector<BYTE>& data) const {
    return QueryTyped(name, REG_BINARY, data);
}

LONG CRegistryKey::SetValue(std::wstring_view name, DWORD type, std::span<const BYTE> data) const {
    if (m_registry == nullptr || !IsName(name, CRegistry::kMaxValueName) || data.size() > CRegistry::kMaxDataBytes) {
        return ERROR_INVALID_PARAMETER;
    }
    return m_registry->SetValue(m_root, m_path, ToUtf8(name), {type, {data.begin(), data.end()}});
}

LONG CRegistryKey::SetString(std::wstring_view name, std::wstring_view text) const {
    return SetValue(name, REG_SZ, ToUtf16Bytes(text));
}

LONG CRegistryKey::SetDword(std::wstring_view name, DWORD number) const {
    const BYTE data[] = {static_cast<BYTE>(number), static_cast<BYTE>(number >> 8), static_cast<BYTE>(number >> 16),
                         static_cast<BYTE>(number >> 24)};
    return SetValue(name, REG_DWORD, data);
}

LONG CRegistryKey::SetBinary(std::wstring_view name, std::span<const BYTE> data) const {
    return SetValue(name, REG_BINARY, data);
}

LONG CRegistryKey::EnumKey(DWORD index, std::wstring& name) const {
    std::vector<std::wstring> names;
    return Pick(ListKeys(names), names, index, name);
}

LONG CRegistryKey::EnumValue(DWORD index, std::wstring& name) const {
    std::vector<std::wstring> names;
    return Pick(ListValues(names), names, index, name);
}

LONG CRegistryKey::ListKeys(std::vector<std::wstring>& names) const {
    std::vector<std::string> found;
    const LONG error = m_registry == nullptr ? ERROR_INVALID_PARAMETER : m_registry->ListKeys(m_root, m_path, found);
    return ToWideNames(error, found, names);
}

LONG CRegistryKey::ListValues(std::vector<std::wstring>& names) const {
    std::vector<std::string> found;
    const LONG error = m_registry == nullptr ? ERROR_INVALID_PARAMETER : m_registry->ListValues(m_root, m_path, found);
    return ToWideNames(error, found, names);
}

LONG CRegistryKey::DeleteValue(std::wstring_view name) const {
    if (m_registry == nullptr || !IsName(name, CRegistry::kMaxValueName)) {
        return ERROR_INVALID_PARAMETER;
    }
    return m_registry->DeleteValue(m_root, m_path, ToUtf8(name));
}

LONG CRegistryKey::DeleteKey(std::wstring_view subkey) const {
    std::string path;
    const LONG error = SubPath(subkey, path);
    return error == ERROR_SUCCESS ? m_registry->DeleteKey(m_root, path) : error;
}

LONG CRegistryKey::DeleteTree(std::wstring_view subkey) const {
    std::string path;
    const LONG error = SubPath(subkey, path);
    return error == ERROR_SUCCESS ? m_registry->DeleteTree(m_root, path) : error;
}

LONG CRegistryKey::SubPath(std::wstring_view subkey, std::string& path) const {
    if (m_registry == nullptr || !IsPath(subkey)) {
        return ERROR_INVALID_PARAMETER;
    }
    path = (m_path.empty() ? "" : m_path + '\\') + ToUtf8(subkey);
    const auto depth = static_cast<std::size_t>(std::count(path.begin(), path.end(), '\\')) + 1;
    return depth > CRegistry::kMaxDepth ? ERROR_INVALID_PARAMETER : ERROR_SUCCESS;
}

LONG CRegistryKey::QueryTyped(std::wstring_view name, DWORD type, std::vector<BYTE>& data) const {
    DWORD found = 0;
    std::vector<BYTE> bytes;
    const LONG error = QueryValue(name, &found, &bytes);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (found != type) {
        return ERROR_UNSUPPORTED_TYPE;
    }
    data = std::move(bytes);
    return ERROR_SUCCESS;
}

}  // namespace qrn
