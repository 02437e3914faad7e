#pragma once
/// The name of a folder that speaks in the log.

#include <algorithm>
#include <array>
#include <string_view>

namespace qrn {

/// A copy of the name that needs no heap. A longer name is cut.
class CLogArea {
public:
    static constexpr std::size_t kMaxLength = 31;

    CLogArea() = default;
    explicit CLogArea(std::string_view name) : m_length(std::min(name.size(), kMaxLength)) {
        name.copy(m_text.data(), m_length);
    }
    std::string_view Text() const { return {m_text.data(), m_length}; }

private:
    std::array<char, kMaxLength> m_text{};
    std::size_t m_length = 0;
};

}  // namespace qrn
