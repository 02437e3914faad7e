#include "platform/registry/CRegistryStore.h"

#include <filesystem>

#include "platform/registry/RegistryErrors.h"
#include "platform/system/Log.h"

namespace qrn {

namespace {

/// "QRNR", by which file(1) and we know the file.
constexpr std::int64_t kApplicationId = 0x51524E52;
constexpr std::int64_t kVersion = 1;

// Without row numbers: a store with the same keys and values is the same, however it came to be.
constexpr const char* kTables[] = {
    "CREATE TABLE registry_keys (parent TEXT NOT NULL COLLATE NOCASE, name TEXT NOT NULL COLLATE NOCASE, "
    "PRIMARY KEY (parent, name)) WITHOUT ROWID",
    "CREATE TABLE registry_values (key TEXT NOT NULL COLLATE NOCASE, name TEXT NOT NULL COLLATE NOCASE, "
    "type INTEGER NOT NULL, data BLOB NOT NULL, PRIMARY KEY (key, name)) WITHOUT ROWID",
};

struct SplitPath {
    std::string_view parent;
    std::string_view name;
};

SplitPath Split(std::string_view path) {
    const std::size_t last = path.rfind('\\');
    if (last == std::string_view::npos) {
        return {{}, path};
    }
    return {path.substr(0, last), path.substr(last + 1)};
}

std::string Absolute(const std::string& path) {
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(path, error);
    return path.empty() || error ? path : absolute.lexically_normal().string();
}

}  // namespace

class CRegistryStore::CRollback {
public:
    explicit CRollback(CRegistryStore& store) : m_store(&store) {}
    ~CRollback() {
        if (m_store != nullptr) {
            m_store->Rollback();
        }
    }
    CRollback(const CRollback&) = delete;
    CRollback& operator=(const CRollback&) = delete;

    void Disarm() { m_store = nullptr; }

private:
    CRegistryStore* m_store;
};

CRegistryStore::CRegistryStore(const std::string& path, StoreReaders readers, IClock& clock)
    : m_path(Absolute(path)),
      m_readers(readers),
      m_connection(clock) {}

LONG CRegistryStore::HasKey(const std::string& path) {
    const LONG error = OpenForReading();
    if (path.empty() && error == ERROR_FILE_NOT_FOUND) {
        return ERROR_SUCCESS;
    }
    if (error != ERROR_SUCCESS || path.empty()) {
        return error;
    }
    bool isThere = false;
    const SplitPath split = Split(path);
    const LONG failure = m_connection.Run("SELECT 1 FROM registry_keys WHERE parent = ?1 AND name = ?2",
                                          {split.parent, split.name}, [&](const ISqlRow&) { isThere = true; });
    return failure != ERROR_SUCCESS || isThere ? failure : ERROR_FILE_NOT_FOUND;
}

LONG CRegistryStore::GetValue(const std::string& path, const std::string& name, RegistryValue& value) {
    LONG error = OpenForReading();
    if (error != ERROR_SUCCESS) {
        return error;
    }
    bool isThere = false;
    error = m_connection.Run("SELECT type, data FROM registry_values WHERE key = ?1 AND name = ?2", {path, name},
                             [&](const ISqlRow& row) {
                                 isThere = true;
                                 value = {static_cast<DWORD>(row.Integer(0)), row.Blob(1)};
                             });
    return error != ERROR_SUCCESS || isThere ? error : ERROR_FILE_NOT_FOUND;
}

LONG CRegistryStore::ListKeys(const std::string& path, std::vector<std::string>& names) {
    return ListNames("SELECT name FROM registry_keys WHERE parent = ?1 ORDER BY name", path, names);
}

LONG CRegistryStore::ListValues(const std::string& path, std::vector<std::string>& names) {
    return ListNames("SELECT name FROM registry_values WHERE key = ?1 ORDER BY name", path, names);
}

LONG CRegistryStore::CreateKey(const std::string& path) {
    return Change([&] { return InsertKeys(path); });
}

LONG CRegistryStore::SetValue(const std::string& path, const std::string& name, const RegistryValue& value) {
    return ChangeExisting([&] {
        const LONG error = HasKey(path);
        if (error != ERROR_SUCCESS) {
            return error;
        }
        // The name keeps the spelling that it was first given.
        return m_connection.Run(
            "INSERT INTO registry_values VALUES (?1, ?2, ?3, ?4) "
            "ON CONFLICT (key, name) DO UPDATE SET type = excluded.type, data = excluded.data",
            {path, name, std::int64_t{value.type}, std::span<const BYTE>(value.data)});
    });
}

LONG CRegistryStore::DeleteValue(const std::string& path, const std::string& name) {
    return ChangeExisting([&] {
        const LONG error = m_connection.Run("DELETE FROM registry_values WHERE key = ?1 AND name = ?2", {path, name});
        return error != ERROR_SUCCESS || m_connection.ChangedRows() > 0 ? error : ERROR_FILE_NOT_FOUND;
    });
}

LONG CRegistryStore::DeleteKey(const std::string& path) {
    return ChangeExisting([&] {
        std::vector<std::string> subkeys;
        LONG error = HasKey(path);
        if (error == ERROR_SUCCESS) {
            error = ListKeys(path, subkeys);
        }
        if (error != ERROR_SUCCESS) {
            return error;
        }
        return path.empty() || !subkeys.empty() ? ERROR_ACCESS_DENIED : RemoveTree(path);
    });
}

LONG CRegistryStore::DeleteTree(const std::string& path) {
    return ChangeExisting([&] {
        const LONG error = HasKey(path);
        if (error != ERROR_SUCCESS) {
            return error;
        }
        return path.empty() ? ERROR_ACCESS_DENIED : RemoveTree(path);
    });
}

LONG CRegistryStore::Begin() {
    if (m_depth > 0) {
        if (IsBroken()) {
            return m_failure;
        }
        const LONG error = Note(m_connection.Run("SAVEPOINT nested"));
        m_depth += error == ERROR_SUCCESS ? 1 : 0;
        return error;
    }
    LONG error = OpenForWriting();
    if (error != ERROR_SUCCESS) {
        return error;
    }
    error = m_connection.Run("BEGIN IMMEDIATE");
    if (error == ERROR_SUCCESS) {
        m_depth = 1;
        m_failure = ERROR_SUCCESS;
        error = Note(PrepareTables());
        if (error != ERROR_SUCCESS) {
            Rollback();
        }
    }
    if (error != ERROR_SUCCESS) {
        Close();
    }
    return error;
}

LONG CRegistryStore::Commit() {
    LONG error = m_failure;
    if (!IsBroken()) {
        error = Note(m_connection.Run(m_depth == 1 ? "COMMIT" : "RELEASE nested"));
    }
    if (error != ERROR_SUCCESS) {
        Rollback();
        return error;
    }
    --m_depth;
    return ERROR_SUCCESS;
}

void CRegistryStore::Rollback() {
    if (!IsBroken()) {
        // A failure here is told to the log; SQLite then rolls back when the file is next opened.
        if (m_depth == 1) {
            m_connection.Run("ROLLBACK");
        } else if (Note(m_connection.Run("ROLLBACK TO nested")) == ERROR_SUCCESS) {
            Note(m_connection.Run("RELEASE nested"));
        }
    }
    --m_depth;
}

LONG CRegistryStore::OpenForReading() {
    if (m_connection.IsOpen() && m_isKnownGood) {
        return ERROR_SUCCESS;
    }
    if (!m_connection.IsOpen()) {
        LONG error = CheckStoreFile(m_path, m_readers);
        if (error == ERROR_SUCCESS) {
            error = m_connection.Open(m_path);
        }
        if (error != ERROR_SUCCESS) {
            return error;
        }
    }
    bool isBlank = false;
    const LONG error = ReadHeader(isBlank);
    if (error == ERROR_SUCCESS && isBlank) {
        return ERROR_FILE_NOT_FOUND;  // another process is about to make the tables
    }
    // Tables that the transaction itself makes may yet be rolled back.
    m_isKnownGood = error == ERROR_SUCCESS && m_depth == 0;
    if (error != ERROR_SUCCESS && m_depth == 0) {
        Close();
    }
    return error;
}

LONG CRegistryStore::OpenForWriting() {
    LONG error = CheckStoreFile(m_path, m_readers);
    if (error == ERROR_FILE_NOT_FOUND) {
        Close();  // what was open is no longer what the path names
        error = MakeStoreFile(m_path, m_readers);
    }
    if (error == ERROR_SUCCESS && !m_connection.IsOpen()) {
        error = m_connection.Open(m_path);
    }
    return error;
}

/// After a failure the file may be put right, or replaced, before the next attempt.
void CRegistryStore::Close() {
    m_connection.Close();
    m_isKnownGood = false;
    m_isChecked = false;
}

/// @param isBlank  true for a file without any table.
LONG CRegistryStore::ReadHeader(bool& isBlank) {
    std::int64_t applicationId = 0;
    std::int64_t version = 0;
    std::int64_t tables = 0;
    LONG error = m_connection.Run(
        "SELECT (SELECT application_id FROM pragma_application_id), (SELECT user_version FROM pragma_user_version), "
        "(SELECT count(*) FROM sqlite_schema)",
        {}, [&](const ISqlRow& row) {
            applicationId = row.Integer(0);
            version = row.Integer(1);
            tables = row.Integer(2);
        });
    if (error != ERROR_SUCCESS) {
        return error;
    }
    isBlank = applicationId == 0 && version == 0 && tables == 0;
    if (isBlank) {
        return ERROR_SUCCESS;
    }
    if (applicationId != kApplicationId || version < 1) {
        error = ERROR_BADDB;
    } else if (version > kVersion) {
        error = ERROR_REVISION_MISMATCH;
    }
    if (error != ERROR_SUCCESS) {
        Log(LogLevel::kWarn, "registry", "%s: %s", m_path.c_str(), RegistryErrorText(error));
    }
    return error;
}

/// Makes the tables of a blank file; looks a file that has them through, once, before anything is changed in it.
LONG CRegistryStore::PrepareTables() {
    bool isBlank = false;
    LONG error = ReadHeader(isBlank);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (isBlank) {
        for (const char* table : kTables) {
            error = error == ERROR_SUCCESS ? m_connection.Run(table) : error;
        }
        const std::string header = "PRAGMA application_id = " + std::to_string(kApplicationId);
        const std::string version = "PRAGMA user_version = " + std::to_string(kVersion);
        error = error == ERROR_SUCCESS ? m_connection.Run(header.c_str()) : error;
        return error == ERROR_SUCCESS ? m_connection.Run(version.c_str()) : error;
    }
    if (m_isChecked) {
        return ERROR_SUCCESS;
    }
    bool isSound = false;
    error = m_connection.Run("PRAGMA quick_check(1)", {}, [&](const ISqlRow& row) { isSound = row.Text(0) == "ok"; });
    if (error == ERROR_SUCCESS && !isSound) {
        Log(LogLevel::kWarn, "registry", "%s: %s", m_path.c_str(), RegistryErrorText(ERROR_BADDB));
        return ERROR_BADDB;
    }
    m_isChecked = error == ERROR_SUCCESS;
    return error;
}

LONG CRegistryStore::Change(const std::function<LONG()>& change) {
    LONG error = Begin();
    if (error != ERROR_SUCCESS) {
        return error;
    }
    CRollback rollback(*this);
    error = Note(change());
    if (error == ERROR_SUCCESS) {
        rollback.Disarm();
        error = Commit();
    }
    return error;
}

/// A change that needs something to be there: where nothing is, no file is made either.
LONG CRegistryStore::ChangeExisting(const std::function<LONG()>& change) {
    const LONG error = OpenForReading();
    return error == ERROR_SUCCESS ? Change(change) : error;
}

/// Some failures (a full disk) make SQLite roll the whole transaction back: what of it still follows must fail too.
LONG CRegistryStore::Note(LONG error) {
    if (IsBroken() && m_failure == ERROR_SUCCESS) {
        m_failure = error != ERROR_SUCCESS ? error : ERROR_REGISTRY_IO_FAILED;
    }
    return error;
}

LONG CRegistryStore::ListNames(const char* sql, const std::string& path, std::vector<std::string>& names) {
    names.clear();
    LONG error = HasKey(path);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    error = OpenForReading();
    if (error == ERROR_FILE_NOT_FOUND) {
        return ERROR_SUCCESS;  // the root of a store that has no file yet
    }
    return error != ERROR_SUCCESS
               ? error
               : m_connection.Run(sql, {path}, [&](const ISqlRow& row) { names.push_back(row.Text(0)); });
}

LONG CRegistryStore::InsertKeys(const std::string& path) {
    std::size_t end = path.find('\\');
    for (;;) {
        const SplitPath split = Split(std::string_view(path).substr(0, end));
        const LONG error =
            m_connection.Run("INSERT OR IGNORE INTO registry_keys VALUES (?1, ?2)", {split.parent, split.name});
        if (error != ERROR_SUCCESS || end == std::string::npos) {
            return error;
        }
        end = path.find('\\', end + 1);
    }
}

LONG CRegistryStore::RemoveTree(const std::string& path) {
    // Below a key are the paths that begin with it and a backslash; ']' is the character after that.
    const SplitPath split = Split(path);
    LONG error = m_connection.Run(
        "DELETE FROM registry_values WHERE key = ?1 OR (key >= ?1 || '\\' AND key < ?1 || ']')", {path});
    if (error == ERROR_SUCCESS) {
        error = m_connection.Run(
            "DELETE FROM registry_keys WHERE parent = ?1 OR (parent >= ?1 || '\\' AND parent < ?1 || ']')", {path});
    }
    return error != ERROR_SUCCESS ? error
                                  : m_connection.Run("DELETE FROM registry_keys WHERE parent = ?1 AND name = ?2",
                                                     {split.parent, split.name});
}

}  // namespace qrn
