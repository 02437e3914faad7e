#include "platform/registry/CSqlConnection.h"

#include <sqlite3.h>

#include <cerrno>

#include "platform/registry/RegistryErrors.h"
#include "platform/system/Log.h"

namespace qrn {

namespace {

constexpr std::chrono::milliseconds kBusyPause{5};
/// Far above what a value may hold (CRegistry::kMaxDataBytes), so that only a file that nobody of us wrote meets it.
constexpr int kMaxColumnBytes = 4 * 1024 * 1024;

struct CloseConnection {
    void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
};
struct FinalizeStatement {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

class CRow final : public ISqlRow {
public:
    explicit CRow(sqlite3_stmt* statement) : m_statement(statement) {}

    std::int64_t Integer(int column) const override { return sqlite3_column_int64(m_statement, column); }
    std::string Text(int column) const override {
        const std::vector<BYTE> bytes = Blob(column);
        return {bytes.begin(), bytes.end()};
    }
    std::vector<BYTE> Blob(int column) const override {
        const auto* data = static_cast<const BYTE*>(sqlite3_column_blob(m_statement, column));
        const int bytes = sqlite3_column_bytes(m_statement, column);
        return data == nullptr ? std::vector<BYTE>() : std::vector<BYTE>(data, data + bytes);
    }

private:
    sqlite3_stmt* const m_statement;
};

int Bind(sqlite3_stmt* statement, int position, const SqlValue& value) {
    if (const auto* number = std::get_if<std::int64_t>(&value)) {
        return sqlite3_bind_int64(statement, position, *number);
    }
    if (const auto* text = std::get_if<std::string_view>(&value)) {
        // A null pointer would bind NULL, which is another thing than an empty text.
        const char* data = text->empty() ? "" : text->data();
        return sqlite3_bind_text64(statement, position, data, text->size(), SQLITE_STATIC, SQLITE_UTF8);
    }
    const auto& blob = std::get<std::span<const BYTE>>(value);
    return blob.empty() ? sqlite3_bind_zeroblob(statement, position, 0)
                        : sqlite3_bind_blob64(statement, position, blob.data(), blob.size(), SQLITE_STATIC);
}

/// What the system said when a file could not be opened, read or written.
LONG FromSystemError(int systemError, LONG otherwise) {
    switch (systemError) {
        case EACCES:
        case EPERM:
        case EROFS:
            return ERROR_ACCESS_DENIED;
        case ENOENT:
        case ENOTDIR:
            return ERROR_PATH_NOT_FOUND;
        case ENOSPC:
        case EDQUOT:
            return ERROR_DISK_FULL;
        default:
            return otherwise;
    }
}

LONG ToRegistryError(sqlite3* connection, int code) {
    const int systemError = connection != nullptr ? sqlite3_system_errno(connection) : 0;
    switch (code & 0xFF) {
        case SQLITE_OK:
        case SQLITE_ROW:
        case SQLITE_DONE:
            return ERROR_SUCCESS;
        case SQLITE_PERM:
        case SQLITE_AUTH:
        case SQLITE_READONLY:
            return ERROR_ACCESS_DENIED;
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            return ERROR_BUSY;
        case SQLITE_NOMEM:
            return ERROR_OUTOFMEMORY;
        case SQLITE_FULL:
            return ERROR_DISK_FULL;
        case SQLITE_CANTOPEN:
            return FromSystemError(systemError, ERROR_OPEN_FAILED);
        case SQLITE_IOERR:
            return FromSystemError(systemError, ERROR_REGISTRY_IO_FAILED);
        default:
            // Our statements are right for the tables that we make: what fails otherwise meets other tables.
            return ERROR_BADDB;
    }
}

/// The file may come from anywhere: nothing in it may run, and nothing from it is believed unseen.
void Distrust(sqlite3* connection) {
    sqlite3_db_config(connection, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(connection, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(connection, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    sqlite3_db_config(connection, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    sqlite3_limit(connection, SQLITE_LIMIT_LENGTH, kMaxColumnBytes);
}

}  // namespace

struct CSqlConnection::Handle {
    std::unique_ptr<sqlite3, CloseConnection> connection;
};

CSqlConnection::CSqlConnection(IClock& clock) : m_clock(clock), m_handle(std::make_unique<Handle>()) {}

CSqlConnection::~CSqlConnection() = default;

LONG CSqlConnection::Open(const std::string& path) {
    m_path = path;
    sqlite3* opened = nullptr;
    // Readers open for writing too where they may: only so can they roll back what a writer that died left half done.
    const int code = sqlite3_open_v2(path.c_str(), &opened,
                                     SQLITE_OPEN_READWRITE | SQLITE_OPEN_FULLMUTEX | SQLITE_OPEN_EXRESCODE, nullptr);
    m_handle->connection.reset(opened);
    if (code != SQLITE_OK) {
        const LONG error = Fail(code, "open");
        Close();
        return error;
    }
    Distrust(opened);
    sqlite3_busy_handler(opened, OnBusy, this);
    const LONG error = Run("PRAGMA cell_size_check = ON");
    if (error != ERROR_SUCCESS) {
        Close();
    }
    return error;
}

void CSqlConnection::Close() {
    m_handle->connection.reset();
}

bool CSqlConnection::IsOpen() const {
    return m_handle->connection != nullptr;
}

LONG CSqlConnection::Run(const char* sql, std::initializer_list<SqlValue> values, const SqlRowHandler& onRow) {
    sqlite3* connection = m_handle->connection.get();
    sqlite3_stmt* prepared = nullptr;
    int code = sqlite3_prepare_v2(connection, sql, -1, &prepared, nullptr);
    const Statement statement(prepared);
    int position = 0;
    for (const SqlValue& value : values) {
        if (code == SQLITE_OK) {
            code = Bind(prepared, ++position, value);
        }
    }
    if (code != SQLITE_OK) {
        return Fail(code, sql);
    }
    while ((code = sqlite3_step(prepared)) == SQLITE_ROW) {
        if (onRow) {
            onRow(CRow(prepared));
        }
    }
    return code == SQLITE_DONE ? ERROR_SUCCESS : Fail(code, sql);
}

int CSqlConnection::ChangedRows() const {
    return sqlite3_changes(m_handle->connection.get());
}

bool CSqlConnection::IsInTransaction() const {
    return IsOpen() && sqlite3_get_autocommit(m_handle->connection.get()) == 0;
}

int CSqlConnection::OnBusy(void* connection, int attempt) {
    auto& self = *static_cast<CSqlConnection*>(connection);
    const auto now = self.m_clock.Now();
    if (attempt == 0) {
        self.m_busySince = now;
    }
    if (now - self.m_busySince >= kBusyLimit) {
        return 0;
    }
    self.m_clock.SleepFor(kBusyPause);
    return 1;
}

LONG CSqlConnection::Fail(int code, const char* what) {
    sqlite3* connection = m_handle->connection.get();
    const LONG error = ToRegistryError(connection, code);
    Log(LogLevel::kWarn, "registry", "%s: %s: %s (%s)", m_path.c_str(), what, RegistryErrorText(error),
        connection != nullptr ? sqlite3_errmsg(connection) : sqlite3_errstr(code));
    return error;
}

}  // namespace qrn
