#pragma once
/// The module that activation is tested with. It lies beside the test programs under the name of the real one. It
/// registers nothing, and fails to take that back.

#include "qrn/com.h"

namespace qrn::test {

/// Its objects answer IUnknown and keep the module loaded.
inline constexpr CLSID kCountedClass = Guid("7D2F6B1A-0E7C-4C38-8B6E-5D4B9F1C2A10");
/// Its factory is not there although the entry point reports success.
inline constexpr CLSID kLyingClass = Guid("7D2F6B1A-0E7C-4C38-8B6E-5D4B9F1C2A11");
/// The module answers E_ACCESSDENIED.
inline constexpr CLSID kForbiddenClass = Guid("7D2F6B1A-0E7C-4C38-8B6E-5D4B9F1C2A12");
/// Nobody has it.
inline constexpr CLSID kUnknownClass = Guid("7D2F6B1A-0E7C-4C38-8B6E-5D4B9F1C2AFF");

}  // namespace qrn::test
