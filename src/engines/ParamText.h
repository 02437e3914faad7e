#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

namespace UMC {

/// The lines of a parameter file. Its characters are single bytes; no locale has a say in its numbers.
class ParamText {
public:
    explicit ParamText(const std::filesystem::path& file);
    bool IsOpen() const { return m_stream.is_open(); }

    /// @return the next line, widened; nothing at the end.
    std::optional<std::wstring> NextLine();
    /// The number with which the next line begins, behind blanks. False, and `value` as it was, when there is none.
    bool NextNumber(std::int32_t& value);
    bool NextNumber(double& value);

    /// The whole number with which the text begins, behind blanks; nothing when there is none or it has more than 32
    /// bits.
    static std::optional<std::int32_t> Number(std::wstring_view text);

private:
    std::ifstream m_stream;
};

}  // namespace UMC
