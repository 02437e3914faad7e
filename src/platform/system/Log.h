#pragma once
/// What the library says of itself, on standard error and only when the environment variable QRN_LOG asks for it:
/// `QRN_LOG=warn`, `QRN_LOG=info,rtp:debug` (a level for everything, then levels for single folders).

#include <cstdarg>

namespace qrn {

enum class LogLevel { kOff, kWarn, kInfo, kDebug };

/// @param area  the name of the folder that speaks, for example "rtp".
bool IsLogged(LogLevel level, const char* area);

/// One line, formatted as printf does; nothing happens where IsLogged is false. Rate-limited by area. Any thread.
void Log(LogLevel level, const char* area, const char* format, ...) __attribute__((format(printf, 3, 4)));

}  // namespace qrn
