#include "platform/system/LogFilter.h"

#include <optional>
#include <utility>

namespace qrn {
namespace {

std::optional<LogLevel> LevelOf(std::string_view word) {
    constexpr std::pair<std::string_view, LogLevel> kLevels[] = {
        {"off", LogLevel::kOff}, {"warn", LogLevel::kWarn}, {"info", LogLevel::kInfo}, {"debug", LogLevel::kDebug}};
    for (const auto& [name, level] : kLevels) {
        if (word == name) {
            return level;
        }
    }
    return std::nullopt;
}

std::string_view Trim(std::string_view word) {
    constexpr std::string_view kBlanks = " \t";
    const auto first = word.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return word.substr(first, word.find_last_not_of(kBlanks) - first + 1);
}

}  // namespace

CLogFilter::CLogFilter(std::string_view text, std::vector<std::string>* unknownWords) {
    while (!text.empty()) {
        const auto comma = text.find(',');
        const std::string_view word = Trim(text.substr(0, comma));
        if (!word.empty() && !ReadWord(word) && unknownWords != nullptr) {
            unknownWords->emplace_back(word);
        }
        text.remove_prefix(comma == std::string_view::npos ? text.size() : comma + 1);
    }
}

/// @return false for a word that names no level.
bool CLogFilter::ReadWord(std::string_view word) {
    const auto colon = word.find(':');
    const bool isForArea = colon != std::string_view::npos;
    const std::string_view area = isForArea ? Trim(word.substr(0, colon)) : std::string_view();
    const auto level = LevelOf(isForArea ? Trim(word.substr(colon + 1)) : word);
    if (!level || (isForArea && area.empty())) {
        return false;
    }
    if (!isForArea) {
        m_level = *level;
    } else if (m_rowCount < m_rows.size() && area.size() <= CLogArea::kMaxLength) {
        m_rows[m_rowCount++] = Row{CLogArea(area), *level};
    }
    return true;
}

bool CLogFilter::Passes(LogLevel level, std::string_view area) const {
    if (level == LogLevel::kOff) {
        return false;
    }
    for (std::size_t i = m_rowCount; i > 0; --i) {
        const Row& row = m_rows[i - 1];
        if (row.area.Text() == area) {
            return level <= row.level;
        }
    }
    return level <= m_level;
}

}  // namespace qrn
