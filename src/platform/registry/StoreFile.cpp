#include "platform/registry/StoreFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "platform/registry/RegistryErrors.h"
#include "platform/system/Log.h"

namespace qrn {

namespace {

/// Of every SQLite file ("Database File Format", section 1.3).
constexpr off_t kHeaderBytes = 100;

LONG Tell(LONG error, const std::string& path, const std::string& why) {
    Log(LogLevel::kWarn, "registry", "%s: %s (%s)", path.c_str(), RegistryErrorText(error), why.c_str());
    return error;
}

LONG FromErrno(int error) {
    switch (error) {
        case EACCES:
        case EPERM:
        case EROFS:
            return ERROR_ACCESS_DENIED;
        case ENOSPC:
        case EDQUOT:
            return ERROR_DISK_FULL;
        default:
            return ERROR_PATH_NOT_FOUND;
    }
}

LONG FailWith(int error, const std::string& path) {
    return Tell(FromErrno(error), path, std::generic_category().message(error));
}

/// The mode is set apart, since the process's mask would narrow it: users could not read what root has registered.
LONG MakeFolders(const std::filesystem::path& folder, mode_t mode) {
    std::error_code ignored;
    if (folder.empty() || std::filesystem::exists(folder, ignored)) {
        return ERROR_SUCCESS;  // what is there and is no folder is found when the file is made
    }
    const LONG error = MakeFolders(folder.parent_path(), mode);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (mkdir(folder.c_str(), mode) != 0) {
        return errno == EEXIST ? ERROR_SUCCESS : FailWith(errno, folder);
    }
    return chmod(folder.c_str(), mode) == 0 ? ERROR_SUCCESS : FailWith(errno, folder);
}

}  // namespace

bool BelongsToAnotherUser(const std::string& path, StoreReaders readers) {
    struct stat status {};
    return readers == StoreReaders::kOwner && stat(path.c_str(), &status) == 0 && status.st_uid != geteuid();
}

LONG CheckStoreFile(const std::string& path, StoreReaders readers) {
    struct stat status {};
    if (path.empty()) {
        return ERROR_FILE_NOT_FOUND;
    }
    if (stat(path.c_str(), &status) != 0) {
        return errno == ENOENT || errno == ENOTDIR ? ERROR_FILE_NOT_FOUND : FailWith(errno, path);
    }
    if (!S_ISREG(status.st_mode)) {
        return Tell(ERROR_OPEN_FAILED, path, "it is no file");
    }
    if (BelongsToAnotherUser(path, readers)) {
        return Tell(ERROR_ACCESS_DENIED, path, "it belongs to another user");
    }
    if (status.st_size > 0 && status.st_size < kHeaderBytes) {
        return Tell(ERROR_BADDB, path, "it is too short");  // SQLite would take it for an empty file
    }
    return status.st_size == 0 ? ERROR_FILE_NOT_FOUND : ERROR_SUCCESS;
}

LONG MakeStoreFile(const std::string& path, StoreReaders readers) {
    const bool isPrivate = readers == StoreReaders::kOwner;
    if (path.empty()) {
        return Tell(ERROR_PATH_NOT_FOUND, "the user's registry", "he has no home folder");
    }
    const LONG error = MakeFolders(std::filesystem::path(path).parent_path(), isPrivate ? 0700 : 0755);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    const mode_t mode = isPrivate ? 0600 : 0644;
    if (mknod(path.c_str(), S_IFREG | mode, 0) != 0) {
        return errno == EEXIST ? ERROR_SUCCESS : FailWith(errno, path);
    }
    return chmod(path.c_str(), mode) == 0 ? ERROR_SUCCESS : FailWith(errno, path);
}

}  // namespace qrn
