#include "engines/ParamText.h"

#include <charconv>
#include <cmath>

namespace UMC {

namespace {

template <class T>
std::optional<T> Parse(std::wstring_view text) {
    const std::size_t start = text.find_first_not_of(L" \t");
    if (start == std::wstring_view::npos) {
        return std::nullopt;
    }
    std::string bytes;
    for (const wchar_t character : text.substr(start)) {
        bytes.push_back(character < 0x80 ? static_cast<char>(character) : '?');
    }
    T value{};
    const auto [end, error] = std::from_chars(bytes.data(), bytes.data() + bytes.size(), value);
    // "12abc" is a slip of the pen, no number with a remark.
    const bool endsWell = end == bytes.data() + bytes.size() || *end == ' ' || *end == '\t' || *end == '\r';
    return error == std::errc{} && endsWell ? std::optional<T>(value) : std::nullopt;
}

template <class T>
bool Take(std::optional<std::wstring> line, T& value) {
    const std::optional<T> number = line ? Parse<T>(*line) : std::nullopt;
    if (!number) {
        return false;
    }
    value = *number;
    return true;
}

}  // namespace

ParamText::ParamText(const std::filesystem::path& file) : m_stream(file, std::ios::binary) {}

std::optional<std::wstring> ParamText::NextLine() {
    std::string bytes;
    if (!std::getline(m_stream, bytes)) {
        return std::nullopt;
    }
    std::wstring line;
    for (const char byte : bytes) {
        line.push_back(static_cast<wchar_t>(static_cast<unsigned char>(byte)));
    }
    return line;
}

bool ParamText::NextNumber(std::int32_t& value) {
    return Take(NextLine(), value);
}

bool ParamText::NextNumber(double& value) {
    double number = 0;
    if (!Take(NextLine(), number) || !std::isfinite(number)) {
        return false;
    }
    value = number;
    return true;
}

std::optional<std::int32_t> ParamText::Number(std::wstring_view text) {
    return Parse<std::int32_t>(text);
}

}  // namespace UMC
