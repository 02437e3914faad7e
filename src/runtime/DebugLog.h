#pragma once
/// The file that takes the processor-level faults, qrn_debug.txt. Ordinary failures do not reach it.

#include <cstdint>

namespace qrn {

/// What a writer of the debug log puts around the time ("%s") and the exception code ("0x%X").
struct DebugLogFormat {
    const char* time;
    const char* code;
};

inline constexpr DebugLogFormat kMediaThreadFault{"%s [CMediaThread] -> ", "Exception code: 0x%X\n"};
inline constexpr DebugLogFormat kAudioEncoderFault{"%s [Exception]\t", "0x%X\n"};
/// Puts the code on a line of its own.
inline constexpr DebugLogFormat kAudioDecoderFault{"%s [Exception]\n", "0x%X\n"};

/// Appends to Mondrake/Client/Log/qrn_debug.txt under the machine-wide application data folder. Where that folder does
/// not exist nothing is written, and it is not made. Never fails the caller. Any thread; several processes may write.
void WriteDebugLog(const DebugLogFormat& format, std::uint32_t code);

/// The same with the two formats given singly.
void WriteDebugLog(const char* timeFormat, const char* codeFormat, std::uint32_t code);

}  // namespace qrn
