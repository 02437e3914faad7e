#include "platform/system/MessageBox.h"

#include <utility>

#include "platform/com/Text.h"
#include "platform/system/Log.h"
#include "platform/system/SinkHolder.h"
#include "platform/system/Undying.h"

namespace qrn {
namespace {

using Holder = CSinkHolder<void(std::wstring_view, std::wstring_view, std::uint32_t)>;

}  // namespace

void SetMessageBoxSink(MessageBoxSink sink) {
    Undying<Holder>().Set(std::move(sink));
}

void ShowMessageBox(std::wstring_view text, std::wstring_view caption, std::uint32_t style) {
    if (const auto sink = Undying<Holder>().Get()) {
        (*sink)(text, caption, style);  // without the lock: a box may stand for long
    } else if (IsLogged(LogLevel::kWarn, "system")) {
        Log(LogLevel::kWarn, "system", "message box \"%s\": %s", ToUtf8(caption).c_str(), ToUtf8(text).c_str());
    }
}

}  // namespace qrn
