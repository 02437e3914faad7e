#pragma once
/// Which lines of the log are wanted.

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/system/Log.h"

namespace qrn {

/// The text of QRN_LOG, read once: words between commas, each a level for everything or `area:level`. Later words win.
/// Unchanging after construction: any thread.
class CLogFilter {
public:
    explicit CLogFilter(std::string_view text);

    bool Passes(LogLevel level, std::string_view area) const;

    /// The words that name no level; they have no effect.
    const std::vector<std::string>& UnknownWords() const { return m_unknownWords; }

private:
    void ReadWord(std::string_view word);

    LogLevel m_level = LogLevel::kOff;
    std::vector<std::pair<std::string, LogLevel>> m_areas;
    std::vector<std::string> m_unknownWords;
};

}  // namespace qrn
