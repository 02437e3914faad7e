#include "runtime/DebugLog.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <string>

#include "platform/system/DebugOutput.h"

namespace qrn {
namespace {

constexpr std::size_t kPathBytes = 1000;
constexpr std::size_t kTimeBytes = 26;

using Line = std::array<char, 128>;
using TimeText = std::array<char, kTimeBytes>;

TimeText LocalTime() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    TimeText text{};
    const auto milliseconds = static_cast<unsigned short>(now.tv_nsec / 1'000'000);
    const int printed =
        std::snprintf(text.data(), text.size(), "%04d-%02d-%02d %02d:%02d:%02d.%03hu", local.tm_year + 1900,
                      local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec, milliseconds);
    if (printed < 0) {
        text[0] = '\0';
    }
    return text;
}

/// How much of the line is filled after snprintf printed behind `before`.
std::size_t Used(const Line& line, int printed, std::size_t before) {
    return std::min(before + static_cast<std::size_t>(std::max(printed, 0)), line.size() - 1);
}

}  // namespace

void WriteDebugLog(const DebugLogFormat& format, std::uint32_t code) {
    WriteDebugLog(format.time, format.code, code);
}

// The formats are the program's own constants.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
void WriteDebugLog(const char* timeFormat, const char* codeFormat, std::uint32_t code) {
    std::array<char, kPathBytes> path{};
    const int pathBytes = std::snprintf(path.data(), path.size(), "%s%s%s", CommonApplicationDataFolder().c_str(),
                                        "/Mondrake/Client/Log/", "qrn_debug.txt");
    if (pathBytes < 0 || static_cast<std::size_t>(pathBytes) >= path.size()) {
        return;
    }
    // Opened and closed for each line, so that it costs nothing between faults and is never left locked.
    const int file =
        open(path.data(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH);
    if (file < 0) {
        return;
    }
    Line line{};
    std::size_t used = Used(line, std::snprintf(line.data(), line.size(), timeFormat, LocalTime().data()), 0);
    used = Used(line, std::snprintf(line.data() + used, line.size() - used, codeFormat, code), used);
    // One write, so that the lines of several processes do not mix. A full disk is no concern of the caller's.
    [[maybe_unused]] const ssize_t written = write(file, line.data(), used);
    close(file);
}
#pragma GCC diagnostic pop

}  // namespace qrn
