#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/registry/CSqlConnection.h"
#include "platform/registry/StoreFile.h"
#include "platform/system/Clock.h"
#include "qrn/com.h"

namespace qrn {

/// What a value holds: a type number of the native registry, and bytes.
struct RegistryValue {
    DWORD type = 0;
    std::vector<BYTE> data;
};

/// One file of keys and values. Paths are UTF-8 with backslashes, without one in front; the empty path is the root,
/// which is always there. Names are compared without regard to the case of A to Z. A file that is not there, or is
/// empty, is an empty store; the first change makes it, and its folder. One thread at a time; several processes.
///
/// The file is kept with a rollback journal rather than a write-ahead log: the machine-wide store is read by users who
/// may not write beside it, and a log's readers must.
class CRegistryStore {
public:
    CRegistryStore(const std::string& path, StoreReaders readers, IClock& clock);

    /// True for a private file that is another user's: what it says must not choose the code that we run.
    bool BelongsToAnother() const { return BelongsToAnotherUser(m_path, m_readers); }

    /// ERROR_FILE_NOT_FOUND for a key or value that is not there, here and below.
    LONG HasKey(const std::string& path);
    LONG GetValue(const std::string& path, const std::string& name, RegistryValue& value);
    /// Names in the order of the alphabet.
    LONG ListKeys(const std::string& path, std::vector<std::string>& names);
    LONG ListValues(const std::string& path, std::vector<std::string>& names);

    // Changes. Each is whole or has not happened, also when the process dies in it.

    /// Makes the key and those above it that are missing.
    LONG CreateKey(const std::string& path);
    /// The key must be there.
    LONG SetValue(const std::string& path, const std::string& name, const RegistryValue& value);
    LONG DeleteValue(const std::string& path, const std::string& name);
    /// ERROR_ACCESS_DENIED for a key that has subkeys, and for the root.
    LONG DeleteKey(const std::string& path);
    /// The key with everything below it.
    LONG DeleteTree(const std::string& path);

    /// Begin, then changes, then one of Commit and Rollback; may be nested. The outermost keeps other writers out, and
    /// nothing of it is seen by others before it is committed. After a failed Commit the transaction is rolled back.
    LONG Begin();
    LONG Commit();
    void Rollback();

private:
    class CRollback;

    LONG OpenForReading();
    LONG OpenForWriting();
    void Close();
    LONG ReadHeader(bool& isBlank);
    LONG PrepareTables();
    LONG Change(const std::function<LONG()>& change);
    LONG ChangeExisting(const std::function<LONG()>& change);
    LONG Note(LONG error);
    LONG ListNames(const char* sql, const std::string& path, std::vector<std::string>& names);
    LONG InsertKeys(const std::string& path);
    LONG RemoveTree(const std::string& path);
    bool IsBroken() const { return m_depth > 0 && !m_connection.IsInTransaction(); }

    const std::string m_path;
    const StoreReaders m_readers;
    CSqlConnection m_connection;
    bool m_isKnownGood = false;
    bool m_isChecked = false;
    int m_depth = 0;
    /// What ended a transaction before its time; the rest of it fails with the same.
    LONG m_failure = 0;
};

}  // namespace qrn
