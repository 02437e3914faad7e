#pragma once
/// The error codes of the registry: numbers of the native registry's own, as its callers test for them.

#include "qrn/com.h"

inline constexpr LONG ERROR_SUCCESS = 0;
inline constexpr LONG ERROR_FILE_NOT_FOUND = 2;
inline constexpr LONG ERROR_PATH_NOT_FOUND = 3;
inline constexpr LONG ERROR_ACCESS_DENIED = 5;
inline constexpr LONG ERROR_INVALID_DATA = 13;
inline constexpr LONG ERROR_OUTOFMEMORY = 14;
inline constexpr LONG ERROR_INVALID_PARAMETER = 87;
inline constexpr LONG ERROR_OPEN_FAILED = 110;
inline constexpr LONG ERROR_DISK_FULL = 112;
inline constexpr LONG ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr LONG ERROR_MOD_NOT_FOUND = 126;
inline constexpr LONG ERROR_BUSY = 170;
inline constexpr LONG ERROR_NO_MORE_ITEMS = 259;
inline constexpr LONG ERROR_BADDB = 1009;
inline constexpr LONG ERROR_REGISTRY_IO_FAILED = 1016;
inline constexpr LONG ERROR_KEY_DELETED = 1018;
inline constexpr LONG ERROR_REVISION_MISMATCH = 1306;
inline constexpr LONG ERROR_UNSUPPORTED_TYPE = 1630;

namespace qrn {

/// The result code of an error: S_OK for none, else `error | 0x80070000`.
constexpr HRESULT ResultOf(LONG error) {
    return error == ERROR_SUCCESS ? S_OK : static_cast<HRESULT>(static_cast<std::uint32_t>(error) | 0x80070000u);
}

/// What the error means, in words for a log or a user. Any number has some.
const char* RegistryErrorText(LONG error);

}  // namespace qrn
