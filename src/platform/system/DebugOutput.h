#pragma once
/// The line that goes to a debugger, and the machine-wide folders.

#include <filesystem>
#include <functional>
#include <string_view>

namespace qrn {

/// Takes over debug output; null gives it back to the default, which is the log at level debug.
using DebugOutputSink = std::function<void(std::wstring_view)>;
void SetDebugOutputSink(DebugOutputSink sink);
void DebugOutput(std::wstring_view text);

/// The machine-wide application data folder: /var/lib, or what the environment variable QRN_COMMON_APPDATA names.
std::filesystem::path CommonApplicationDataFolder();

}  // namespace qrn
