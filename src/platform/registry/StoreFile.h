#pragma once
/// The file of a store, as the file system sees it. None of these opens it: closing it would drop the locks that a
/// connection of this process has on it (fcntl(2), "Advisory record locking").

#include <string>

#include "qrn/com.h"

namespace qrn {

/// Who may read the file: its owner only (a user's settings hold passwords), or everybody.
enum class StoreReaders { kOwner, kEverybody };

/// True for the private file of another user.
bool BelongsToAnotherUser(const std::string& path, StoreReaders readers);

/// ERROR_FILE_NOT_FOUND when there is no file, or an empty one; ERROR_BADDB for one too short to be a store;
/// ERROR_ACCESS_DENIED for the private file of another user; ERROR_OPEN_FAILED for what is no file.
LONG CheckStoreFile(const std::string& path, StoreReaders readers);

/// Makes the file, empty, and its folders; a file that is there stays. ERROR_PATH_NOT_FOUND, ERROR_ACCESS_DENIED or
/// ERROR_DISK_FULL where that fails.
LONG MakeStoreFile(const std::string& path, StoreReaders readers);

}  // namespace qrn
