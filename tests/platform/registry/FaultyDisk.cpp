#include "FaultyDisk.h"

#include <sqlite3.h>
#include <unistd.h>

#include <cstddef>
#include <map>

namespace qrn::test {

namespace {

sqlite3_vfs* g_real = nullptr;
bool g_isActive = false;
bool g_hasFailed = false;
int g_writesLeft = 0;
WriteFault g_fault = WriteFault::kDiskFull;

/// The operations of the real files, by the table that SQLite has for each kind of file, and ours made from them.
struct Methods {
    const sqlite3_io_methods* real;
    sqlite3_io_methods faulty;
};

std::map<const sqlite3_io_methods*, Methods>& Tables() {
    static std::map<const sqlite3_io_methods*, Methods> tables;
    return tables;
}

int Write(sqlite3_file* file, const void* data, int bytes, sqlite3_int64 offset) {
    const auto* methods =
        reinterpret_cast<const Methods*>(reinterpret_cast<const char*>(file->pMethods) - offsetof(Methods, faulty));
    if (!g_isActive || g_writesLeft-- > 0) {
        return methods->real->xWrite(file, data, bytes, offset);
    }
    g_hasFailed = true;
    if (g_fault == WriteFault::kDeath) {
        methods->real->xWrite(file, data, bytes / 2, offset);
        _exit(kDeathStatus);
    }
    return SQLITE_FULL;
}

int Open(sqlite3_vfs* /*vfs*/, const char* name, sqlite3_file* file, int flags, int* flagsOut) {
    const int code = g_real->xOpen(g_real, name, file, flags, flagsOut);
    if (code == SQLITE_OK) {
        const auto [entry, isNew] = Tables().try_emplace(file->pMethods, Methods{file->pMethods, *file->pMethods});
        entry->second.faulty.xWrite = Write;
        file->pMethods = &entry->second.faulty;
    }
    return code;
}

void Install() {
    static sqlite3_vfs faulty;
    if (g_real == nullptr) {
        g_real = sqlite3_vfs_find(nullptr);
        faulty = *g_real;
        faulty.zName = "faulty";
        faulty.xOpen = Open;
        sqlite3_vfs_register(&faulty, 1);
    }
}

}  // namespace

void FailWritesAfter(int count, WriteFault fault) {
    Install();
    g_writesLeft = count;
    g_fault = fault;
    g_hasFailed = false;
    g_isActive = true;
}

bool EndWriteFaults() {
    g_isActive = false;
    return g_hasFailed;
}

}  // namespace qrn::test
