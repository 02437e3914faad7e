#include "platform/system/DebugOutput.h"

#include <cstdlib>
#include <memory>
#include <utility>

#include "platform/com/Text.h"
#include "platform/system/Lock.h"
#include "platform/system/Log.h"

namespace qrn {
namespace {

/// Never destroyed: threads may still speak while the process ends.
struct SinkHolder {
    CMutex gate;
    std::shared_ptr<const DebugOutputSink> sink QRN_GUARDED_BY(gate);
};

SinkHolder& Holder() {
    static auto* holder = new SinkHolder;
    return *holder;
}

}  // namespace

void SetDebugOutputSink(DebugOutputSink sink) {
    std::shared_ptr<const DebugOutputSink> shared;
    if (sink) {
        shared = std::make_shared<const DebugOutputSink>(std::move(sink));
    }
    SinkHolder& holder = Holder();
    CScopedLock lock(holder.gate);
    holder.sink.swap(shared);
}

void DebugOutput(std::wstring_view text) {
    std::shared_ptr<const DebugOutputSink> sink;
    {
        SinkHolder& holder = Holder();
        CScopedLock lock(holder.gate);
        sink = holder.sink;
    }
    if (sink) {
        (*sink)(text);  // without the lock: a sink may set another one
    } else if (IsLogged(LogLevel::kDebug, "system")) {
        Log(LogLevel::kDebug, "system", "%s", ToUtf8(text).c_str());
    }
}

std::filesystem::path CommonApplicationDataFolder() {
    const char* named = secure_getenv("QRN_COMMON_APPDATA");
    return named != nullptr && *named != '\0' ? named : "/var/lib";
}

}  // namespace qrn
