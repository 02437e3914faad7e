#include "client/FormatText.h"

#include <array>
#include <cstdarg>
#include <cstdio>

namespace qrn {

std::string FormatText(const char* format, ...) {
    std::array<char, 512> text{};
    va_list arguments;
    va_start(arguments, format);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): clang 14 does not see the va_start above
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    return text.data();
}

}  // namespace qrn
