#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/registry/CRegistryStore.h"
#include "platform/registry/RegistryErrors.h"
#include "platform/registry/RegistryFiles.h"
#include "platform/system/Clock.h"
#include "platform/system/Lock.h"
#include "qrn/com.h"

namespace qrn {

enum class RegistryRoot {
    kCurrentUser,
    kLocalMachine,
    /// Class registration: what "Software\Classes" of the current user says, and below it the same of the machine.
    /// Changes go to one of the two, see RegistryFiles::writesMachine.
    kClassesRoot,
};

class CRegistryKey;

/// The registry: keys and values of the current user and of the machine. Any thread; a thread that is in a transaction
/// (CRegistryTransaction) keeps the others waiting. What is read is what was last committed by any process.
class CRegistry {
public:
    explicit CRegistry(const RegistryFiles& files = DefaultRegistryFiles(), IClock& clock = SystemClock());
    CRegistry(const CRegistry&) = delete;
    CRegistry& operator=(const CRegistry&) = delete;

    /// ERROR_FILE_NOT_FOUND for a key that is not there. An empty path is the root itself.
    LONG OpenKey(RegistryRoot root, std::wstring_view path, CRegistryKey& key);
    /// Opens the key; makes it, with those above it, where it is missing.
    LONG CreateKey(RegistryRoot root, std::wstring_view path, CRegistryKey& key);

    /// Limits of names, in characters, and of a value's data: ERROR_INVALID_PARAMETER past them.
    static constexpr std::size_t kMaxKeyName = 255;
    static constexpr std::size_t kMaxValueName = 16383;
    static constexpr std::size_t kMaxDepth = 512;
    static constexpr std::size_t kMaxDataBytes = 1024 * 1024;

private:
    friend class CRegistryKey;
    friend class CRegistryTransaction;

    /// A part of a store that a root shows.
    struct Layer {
        CRegistryStore& store;
        const char* prefix;

        std::string Path(const std::string& path) const;
    };

    std::vector<Layer> ReadLayers(RegistryRoot root) QRN_REQUIRES(m_lock);
    Layer WriteLayer(RegistryRoot root) QRN_REQUIRES(m_lock);

    LONG HasKey(RegistryRoot root, const std::string& path);
    LONG GetValue(RegistryRoot root, const std::string& path, const std::string& name, RegistryValue& value);
    LONG ListKeys(RegistryRoot root, const std::string& path, std::vector<std::string>& names);
    LONG ListValues(RegistryRoot root, const std::string& path, std::vector<std::string>& names);
    LONG CreatePath(RegistryRoot root, const std::string& path);
    LONG SetValue(RegistryRoot root, const std::string& path, const std::string& name, const RegistryValue& value);
    LONG DeleteValue(RegistryRoot root, const std::string& path, const std::string& name);
    LONG DeleteKey(RegistryRoot root, const std::string& path);
    LONG DeleteTree(RegistryRoot root, const std::string& path);

    using ListOperation = LONG (CRegistryStore::*)(const std::string&, std::vector<std::string>&);
    LONG MergeNames(RegistryRoot root, const std::string& path, ListOperation list, std::vector<std::string>& names);

    // Held during calls into SQLite, which may wait for another process, and through a whole transaction.
    CRecursiveMutex m_lock;
    const bool m_writesMachine;
    std::shared_ptr<CRegistryStore> m_user QRN_GUARDED_BY(m_lock);
    std::shared_ptr<CRegistryStore> m_machine QRN_GUARDED_BY(m_lock);
};

}  // namespace qrn
