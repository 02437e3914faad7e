#include "runtime/base_exception.h"

#include "platform/com/Text.h"

base_exception::base_exception(std::wstring_view file, std::int32_t line, std::wstring_view words, std::uint32_t code)
    : m_file(std::make_shared<const std::wstring>(file)),
      m_line(line),
      m_words(std::make_shared<const std::wstring>(words)),
      m_code(code) {
    SetKind(L"Exception");
}

base_exception::base_exception(std::wstring_view file, std::int32_t line, std::string_view words, std::uint32_t code)
    : base_exception(file, line, std::wstring_view(qrn::ToWide(words)), code) {}

base_exception::~base_exception() = default;

const char* base_exception::what() const noexcept {
    return m_what->c_str();
}

void base_exception::SetKind(std::wstring_view kind) {
    m_kind = std::make_shared<const std::wstring>(kind);
    m_what = std::make_shared<const std::string>(qrn::ToUtf8(Kind()) + ": " + qrn::ToUtf8(Words()) + " (" +
                                                 qrn::ToUtf8(File()) + ":" + std::to_string(m_line) + ")");
}
