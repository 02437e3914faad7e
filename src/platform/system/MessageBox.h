#pragma once
/// The box with a text that a user has to answer.

#include <cstdint>
#include <functional>
#include <string_view>

namespace qrn {

/// How a box looks: its buttons and its sign, with the platform's values.
enum MessageBoxStyle : std::uint32_t { kMessageBoxOk = 0x00, kMessageBoxIconError = 0x10 };

/// Shows the box, and returns when the user has answered it. On the thread that asks, so what it holds up, is held up.
using MessageBoxSink = std::function<void(std::wstring_view text, std::wstring_view caption, std::uint32_t style)>;

/// Takes over message boxes; null gives them back to the default, which is a line of the log at level warn and waits
/// for nobody. Any thread.
void SetMessageBoxSink(MessageBoxSink sink);

/// A box with an OK button and no owner. An exception of the sink passes through.
void ShowMessageBox(std::wstring_view text, std::wstring_view caption, std::uint32_t style = kMessageBoxOk);

}  // namespace qrn
