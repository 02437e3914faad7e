#include "platform/registry/CRegistry.h"

#include <algorithm>

#include "platform/com/Text.h"
#include "platform/registry/CRegistryKey.h"

namespace qrn {

namespace {

constexpr const char* kClasses = "Software\\Classes";

std::shared_ptr<CRegistryStore> MachineStore(const RegistryFiles& files, const std::shared_ptr<CRegistryStore>& user,
                                             IClock& clock) {
    // Two connections of one thread to one file would wait for each other.
    if (files.machine == files.user) {
        return user;
    }
    return std::make_shared<CRegistryStore>(files.machine, StoreReaders::kEverybody, clock);
}

/// As the stores compare names.
bool IsBefore(const std::string& a, const std::string& b) {
    const auto fold = [](char letter) {
        const auto byte = static_cast<unsigned char>(letter);
        return byte >= 'A' && byte <= 'Z' ? byte + ('a' - 'A') : int{byte};
    };
    return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                        [&](char x, char y) { return fold(x) < fold(y); });
}

}  // namespace

CRegistry::CRegistry(const RegistryFiles& files, IClock& clock)
    : m_writesMachine(files.writesMachine),
      m_user(std::make_shared<CRegistryStore>(files.user, StoreReaders::kOwner, clock)),
      m_machine(MachineStore(files, m_user, clock)) {}

LONG CRegistry::OpenKey(RegistryRoot root, std::wstring_view path, CRegistryKey& key) {
    return CRegistryKey(*this, root, {}).OpenKey(path, key);
}

LONG CRegistry::CreateKey(RegistryRoot root, std::wstring_view path, CRegistryKey& key) {
    return CRegistryKey(*this, root, {}).CreateKey(path, key);
}

std::string CRegistry::Layer::Path(const std::string& path) const {
    if (*prefix == '\0' || path.empty()) {
        return prefix + path;
    }
    return std::string(prefix) + '\\' + path;
}

std::vector<CRegistry::Layer> CRegistry::ReadLayers(RegistryRoot root) {
    switch (root) {
        case RegistryRoot::kCurrentUser:
            return {{*m_user, ""}};
        case RegistryRoot::kLocalMachine:
            return {{*m_machine, ""}};
        case RegistryRoot::kClassesRoot:
            break;
    }
    std::vector<Layer> layers;
    // A program that root runs with another user's home must not run that user's modules.
    if (!m_user->BelongsToAnother()) {
        layers.push_back({*m_user, kClasses});
    }
    layers.push_back({*m_machine, kClasses});
    return layers;
}

CRegistry::Layer CRegistry::WriteLayer(RegistryRoot root) {
    switch (root) {
        case RegistryRoot::kCurrentUser:
            return {*m_user, ""};
        case RegistryRoot::kLocalMachine:
            return {*m_machine, ""};
        case RegistryRoot::kClassesRoot:
            break;
    }
    return {m_writesMachine ? *m_machine : *m_user, kClasses};
}

LONG CRegistry::HasKey(RegistryRoot root, const std::string& path) {
    CScopedLock lock(m_lock);
    if (path.empty()) {
        return ERROR_SUCCESS;
    }
    LONG error = ERROR_FILE_NOT_FOUND;
    for (const Layer& layer : ReadLayers(root)) {
        error = layer.store.HasKey(layer.Path(path));
        if (error != ERROR_FILE_NOT_FOUND) {
            break;
        }
    }
    return error;
}

LONG CRegistry::GetValue(RegistryRoot root, const std::string& path, const std::string& name, RegistryValue& value) {
    CScopedLock lock(m_lock);
    LONG error = ERROR_FILE_NOT_FOUND;
    for (const Layer& layer : ReadLayers(root)) {
        error = layer.store.GetValue(layer.Path(path), name, value);
        if (error != ERROR_FILE_NOT_FOUND) {
            break;
        }
    }
    return error;
}

LONG CRegistry::ListKeys(RegistryRoot root, const std::string& path, std::vector<std::string>& names) {
    return MergeNames(root, path, &CRegistryStore::ListKeys, names);
}

LONG CRegistry::ListValues(RegistryRoot root, const std::string& path, std::vector<std::string>& names) {
    return MergeNames(root, path, &CRegistryStore::ListValues, names);
}

LONG CRegistry::CreatePath(RegistryRoot root, const std::string& path) {
    CScopedLock lock(m_lock);
    const Layer layer = WriteLayer(root);
    return layer.store.CreateKey(layer.Path(path));
}

LONG CRegistry::SetValue(RegistryRoot root, const std::string& path, const std::string& name,
                         const RegistryValue& value) {
    CScopedLock lock(m_lock);
    const Layer layer = WriteLayer(root);
    LONG error = layer.store.SetValue(layer.Path(path), name, value);
    if (error == ERROR_FILE_NOT_FOUND) {
        // A key that only the layer below has gets its counterpart above it.
        error = HasKey(root, path);
        error = error == ERROR_SUCCESS ? layer.store.CreateKey(layer.Path(path)) : error;
        error = error == ERROR_SUCCESS ? layer.store.SetValue(layer.Path(path), name, value) : error;
    }
    return error == ERROR_FILE_NOT_FOUND ? ERROR_KEY_DELETED : error;
}

LONG CRegistry::DeleteValue(RegistryRoot root, const std::string& path, const std::string& name) {
    CScopedLock lock(m_lock);
    const Layer layer = WriteLayer(root);
    return layer.store.DeleteValue(layer.Path(path), name);
}

LONG CRegistry::DeleteKey(RegistryRoot root, const std::string& path) {
    CScopedLock lock(m_lock);
    const Layer layer = WriteLayer(root);
    return layer.store.DeleteKey(layer.Path(path));
}

LONG CRegistry::DeleteTree(RegistryRoot root, const std::string& path) {
    CScopedLock lock(m_lock);
    const Layer layer = WriteLayer(root);
    return layer.store.DeleteTree(layer.Path(path));
}

LONG CRegistry::MergeNames(RegistryRoot root, const std::string& path, ListOperation list,
                           std::vector<std::string>& names) {
    CScopedLock lock(m_lock);
    names.clear();
    bool isThere = path.empty();
    for (const Layer& layer : ReadLayers(root)) {
        std::vector<std::string> more;
        const LONG error = (layer.store.*list)(layer.Path(path), more);
        if (error != ERROR_SUCCESS && error != ERROR_FILE_NOT_FOUND) {
            return error;
        }
        isThere = isThere || error == ERROR_SUCCESS;
        names.insert(names.end(), more.begin(), more.end());
    }
    std::stable_sort(names.begin(), names.end(), IsBefore);
    const auto isSame = [](const std::string& a, const std::string& b) { return !IsBefore(a, b) && !IsBefore(b, a); };
    names.erase(std::unique(names.begin(), names.end(), isSame), names.end());
    return isThere ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
}

}  // namespace qrn
