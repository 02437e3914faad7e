#include "platform/system/DebugOutput.h"

#include <cstdlib>
#include <utility>

#include "platform/com/Text.h"
#include "platform/system/Log.h"
#include "platform/system/SinkHolder.h"
#include "platform/system/Undying.h"

namespace qrn {
namespace {

using Holder = CSinkHolder<void(std::wstring_view)>;

}  // namespace

void SetDebugOutputSink(DebugOutputSink sink) {
    Undying<Holder>().Set(std::move(sink));
}

void DebugOutput(std::wstring_view text) {
    if (const auto sink = Undying<Holder>().Get()) {
        (*sink)(text);
    } else if (IsLogged(LogLevel::kDebug, "system")) {
        Log(LogLevel::kDebug, "system", "%s", ToUtf8(text).c_str());
    }
}

std::filesystem::path CommonApplicationDataFolder() {
    const char* named = secure_getenv("QRN_COMMON_APPDATA");
    return named != nullptr && *named != '\0' ? named : "/var/lib";
}

}  // namespace qrn
