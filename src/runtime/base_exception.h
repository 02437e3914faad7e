#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <string_view>

/// The root of what constructors and set-up calls throw. A client that knows none of these classes catches it as
/// std::exception. Copies share their texts and cannot fail.
class base_exception : public std::exception {
public:
    /// @param file, line  the place of the throw
    /// @param words       the failure in words
    /// @param code        0, or a platform error code
    base_exception(std::wstring_view file, std::int32_t line, std::wstring_view words, std::uint32_t code);
    /// The same for words that are UTF-8.
    base_exception(std::wstring_view file, std::int32_t line, std::string_view words, std::uint32_t code);
    ~base_exception() override;

    base_exception(const base_exception&) = default;
    base_exception& operator=(const base_exception&) = default;

    /// "kind: words (file:line)" in UTF-8; valid as long as the object.
    const char* what() const noexcept override;

    const std::wstring& File() const { return *m_file; }
    std::int32_t Line() const { return m_line; }
    const std::wstring& Kind() const { return *m_kind; }
    const std::wstring& Words() const { return *m_words; }
    std::uint32_t Code() const { return m_code; }

protected:
    /// Each derived class's constructor gives its own kind here.
    void SetKind(std::wstring_view kind);

private:
    using SharedText = std::shared_ptr<const std::wstring>;

    SharedText m_file;
    std::int32_t m_line;
    SharedText m_kind;
    SharedText m_words;
    std::uint32_t m_code;
    std::shared_ptr<const std::string> m_what;
};
