#pragma once

#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/registry/CRegistry.h"
#include "qrn/com.h"

/// The types of a value, as the native registry numbers them.
inline constexpr DWORD REG_SZ = 1;
inline constexpr DWORD REG_BINARY = 3;
inline constexpr DWORD REG_DWORD = 4;

namespace qrn {

/// A key that was opened. It keeps its path and nothing else: there is nothing to close, and a key that was deleted
/// meanwhile answers ERROR_KEY_DELETED to what changes it and ERROR_FILE_NOT_FOUND to what looks something up in it. It
/// must not outlive its registry. A value without a name is the key's default value. All operations answer an error
/// code. Any thread may use a key that no other one is just changing.
class CRegistryKey {
public:
    CRegistryKey() = default;

    LONG OpenKey(std::wstring_view subkey, CRegistryKey& key) const;
    LONG CreateKey(std::wstring_view subkey, CRegistryKey& key) const;

    /// The raw bytes. Null for what is not wanted.
    LONG QueryValue(std::wstring_view name, DWORD* type, std::vector<BYTE>* data) const;
    /// ERROR_UNSUPPORTED_TYPE for a value of another type, ERROR_INVALID_DATA for data that its type cannot have.
    LONG QueryString(std::wstring_view name, std::wstring& text) const;
    LONG QueryDword(std::wstring_view name, DWORD& number) const;
    LONG QueryBinary(std::wstring_view name, std::vector<BYTE>& data) const;

    LONG SetValue(std::wstring_view name, DWORD type, std::span<const BYTE> data) const;
    /// Kept as UTF-16 without a closing zero.
    LONG SetString(std::wstring_view name, std::wstring_view text) const;
    LONG SetDword(std::wstring_view name, DWORD number) const;
    LONG SetBinary(std::wstring_view name, std::span<const BYTE> data) const;

    /// The subkey at `index`, in the order of the alphabet; ERROR_NO_MORE_ITEMS past the last.
    LONG EnumKey(DWORD index, std::wstring& name) const;
    LONG EnumValue(DWORD index, std::wstring& name) const;
    LONG ListKeys(std::vector<std::wstring>& names) const;
    LONG ListValues(std::vector<std::wstring>& names) const;

    LONG DeleteValue(std::wstring_view name) const;
    /// ERROR_ACCESS_DENIED for a subkey that has subkeys itself.
    LONG DeleteKey(std::wstring_view subkey) const;
    /// Deletes a subkey and all below it, from the store that changes go to: a class of the machine stays for a user.
    /// ERROR_FILE_NOT_FOUND when that store has no such key.
    LONG DeleteTree(std::wstring_view subkey) const;

private:
    friend class CRegistry;

    CRegistryKey(CRegistry& registry, RegistryRoot root, std::string path)
        : m_registry(&registry),
          m_root(root),
          m_path(std::move(path)) {}

    LONG SubPath(std::wstring_view subkey, std::string& path) const;
    LONG QueryTyped(std::wstring_view name, DWORD type, std::vector<BYTE>& data) const;

    CRegistry* m_registry = nullptr;
    RegistryRoot m_root = RegistryRoot::kCurrentUser;
    std::string m_path;
};

}  // namespace qrn
