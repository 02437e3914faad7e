#pragma once

#include <chrono>
#include <functional>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/system/Clock.h"
#include "qrn/com.h"

namespace qrn {

/// One column's value to be bound: the statement only looks at it.
using SqlValue = std::variant<std::int64_t, std::string_view, std::span<const BYTE>>;

/// A row of a result; columns are counted from 0. Valid only while its handler runs.
class ISqlRow {
public:
    virtual std::int64_t Integer(int column) const = 0;
    virtual std::string Text(int column) const = 0;
    virtual std::vector<BYTE> Blob(int column) const = 0;

protected:
    ~ISqlRow() = default;
};
using SqlRowHandler = std::function<void(const ISqlRow&)>;

/// A connection to one SQLite file, and the only place that knows SQLite. Failures are answered as the registry's error
/// codes and told to the log once, with SQLite's own words. One thread at a time.
class CSqlConnection {
public:
    /// @param clock  times the wait for another process that keeps the file.
    explicit CSqlConnection(IClock& clock);
    ~CSqlConnection();
    CSqlConnection(const CSqlConnection&) = delete;
    CSqlConnection& operator=(const CSqlConnection&) = delete;

    /// Opens a file that exists, for writing where that is allowed.
    LONG Open(const std::string& path);
    void Close();
    bool IsOpen() const;

    /// @param sql  one statement, with `?1`, `?2`... for the values.
    /// @param onRow  called for each row; without it rows are skipped.
    LONG Run(const char* sql, std::initializer_list<SqlValue> values = {}, const SqlRowHandler& onRow = nullptr);
    /// Rows that the last INSERT, UPDATE or DELETE touched.
    int ChangedRows() const;
    /// False also after a failure that made SQLite itself roll a transaction back.
    bool IsInTransaction() const;

    /// How long a statement waits for another process: ERROR_BUSY after it.
    static constexpr std::chrono::seconds kBusyLimit{5};

private:
    struct Handle;

    static int OnBusy(void* connection, int attempt);
    LONG Fail(int code, const char* what);

    IClock& m_clock;
    std::chrono::nanoseconds m_busySince{};
    std::string m_path;
    std::unique_ptr<Handle> m_handle;
};

}  // namespace qrn
