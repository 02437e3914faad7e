#pragma once
/// Which lines of the log are wanted.

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "platform/system/Log.h"
#include "platform/system/LogArea.h"

namespace qrn {

/// The text of QRN_LOG, read once: words between commas, each a level for everything or `area:level`. Later words win.
/// Unchanging after construction: any thread.
class CLogFilter {
public:
    /// @param unknownWords  receives the words that name no level, which have no effect; may be null. A folder past the
    /// table's end or with a name too long for it has no effect either.
    explicit CLogFilter(std::string_view text, std::vector<std::string>* unknownWords = nullptr);

    bool Passes(LogLevel level, std::string_view area) const;

private:
    static constexpr std::size_t kMaxRows = 64;
    struct Row {
        CLogArea area;
        LogLevel level;
    };

    bool ReadWord(std::string_view word);

    LogLevel m_level = LogLevel::kOff;
    std::array<Row, kMaxRows> m_rows{};  // in the order of the words
    std::size_t m_rowCount = 0;
};

}  // namespace qrn
