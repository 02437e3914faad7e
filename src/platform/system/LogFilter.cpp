#include "platform/system/LogFilter.h"

#include <algorithm>
#include <optional>

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

CLogFilter::CLogFilter(std::string_view text) {
    while (!text.empty()) {
        const auto comma = text.find(',');
        const std::string_view word = Trim(text.substr(0, comma));
        if (!word.empty()) {
            ReadWord(word);
        }
        text.remove_prefix(comma == std::string_view::npos ? text.size() : comma + 1);
    }
}

void CLogFilter::ReadWord(std::string_view word) {
    const auto colon = word.find(':');
    const bool isForArea = colon != std::string_view::npos;
    const std::string_view area = isForArea ? Trim(word.substr(0, colon)) : std::string_view();
    const auto level = LevelOf(isForArea ? Trim(word.substr(colon + 1)) : word);
    if (!level || (isForArea && area.empty())) {
        m_unknownWords.emplace_back(word);
    } else if (isForArea) {
        m_areas.emplace_back(area, *level);
    } else {
        m_level = *level;
    }
}

bool CLogFilter::Passes(LogLevel level, std::string_view area) const {
    if (level == LogLevel::kOff) {
        return false;
    }
    const auto found =
        std::find_if(m_areas.rbegin(), m_areas.rend(), [area](const auto& row) { return row.first == area; });
    return level <= (found == m_areas.rend() ? m_level : found->second);
}

}  // namespace qrn
