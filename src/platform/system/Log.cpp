#include "platform/system/Log.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include "platform/system/Clock.h"
#include "platform/system/Lock.h"
#include "platform/system/LogFilter.h"
#include "platform/system/LogLimiter.h"
#include "platform/system/Undying.h"

namespace qrn {
namespace {

constexpr std::size_t kMaxLineBytes = 1024;
using Line = std::array<char, kMaxLineBytes>;

const char* NameOf(LogLevel level) {
    constexpr const char* kNames[] = {"off", "warn", "info", "debug"};
    return kNames[static_cast<std::size_t>(level)];
}

/// As the result of snprintf, but never more than what is in the line; two bytes are left for the end of the line.
std::size_t Used(int printed, std::size_t before) {
    return std::min(before + static_cast<std::size_t>(std::max(printed, 0)), kMaxLineBytes - 2);
}

std::size_t PrintHead(Line& line, LogLevel level, const char* area) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    std::size_t used = std::strftime(line.data(), line.size(), "%F %T", &local);
    used = Used(std::snprintf(line.data() + used, line.size() - used, ".%03ld qrn %s %s: ", now.tv_nsec / 1'000'000,
                              area, NameOf(level)),
                used);
    return used;
}

/// One write for the whole line, so that lines of several threads and processes do not mix. Text from outside may hold
/// line ends, which must not look like further lines.
void WriteLine(Line& line, std::size_t used) {
    while (used > 0 && (line[used - 1] == '\n' || line[used - 1] == '\0')) {
        --used;
    }
    std::replace_if(
        line.begin(), line.begin() + static_cast<std::ptrdiff_t>(used),
        [](char character) { return static_cast<unsigned char>(character) < ' ' && character != '\t'; }, ' ');
    line[used++] = '\n';
    // Nothing can be done about a standard error that takes nothing.
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), used);
}

void __attribute__((format(printf, 3, 0)))
WriteList(LogLevel level, const char* area, const char* format, va_list arguments) {
    Line line;
    const std::size_t head = PrintHead(line, level, area);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): clang 14 does not see the va_start of the callers
    const int printed = std::vsnprintf(line.data() + head, line.size() - head, format, arguments);
    WriteLine(line, Used(printed, head));
}

void __attribute__((format(printf, 3, 4))) WriteUnlimited(LogLevel level, const char* area, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    WriteList(level, area, format, arguments);
    va_end(arguments);
}

void TellDropped(const std::vector<CLogLimiter::Dropped>& losses) {
    for (const auto& [area, lines] : losses) {
        WriteUnlimited(LogLevel::kWarn, area.c_str(), "%ld lines dropped", lines);
    }
}

/// One for the library. It keeps nothing on the heap, see Undying.
class CLogger {
public:
    static CLogger& Instance() { return Undying<CLogger>(); }
    CLogger() : CLogger(std::vector<std::string>()) {}

    bool Passes(LogLevel level, const char* area) const { return m_filter.Passes(level, area); }

    bool Admit(const char* area) QRN_EXCLUDES(m_gate) {
        const auto now = SystemClock().Now();
        std::vector<CLogLimiter::Dropped> losses;
        bool admitted = false;
        {
            CScopedLock lock(m_gate);
            losses = m_limiter.TakeDropped(now);
            admitted = m_limiter.Admit(area, now);
        }
        TellDropped(losses);
        return admitted;
    }

private:
    explicit CLogger(std::vector<std::string> unknownWords) : m_filter(Wanted(), &unknownWords) {
        for (const std::string& word : unknownWords) {
            WriteUnlimited(LogLevel::kWarn, "system", "QRN_LOG: the word \"%s\" names no level and is ignored",
                           word.c_str());
        }
        // A destructor and not std::atexit: it runs when the library is unloaded, also where a sanitizer stands
        // between.
        struct CLastWord {
            ~CLastWord() { Instance().TellRest(); }
        };
        static const CLastWord lastWord;
    }

    static std::string_view Wanted() {
        const char* wanted = secure_getenv("QRN_LOG");
        return wanted == nullptr ? "" : wanted;
    }

    void TellRest() QRN_EXCLUDES(m_gate) {
        std::vector<CLogLimiter::Dropped> losses;
        {
            CScopedLock lock(m_gate);
            losses = m_limiter.TakeAllDropped();
        }
        TellDropped(losses);
    }

    const CLogFilter m_filter;
    CMutex m_gate;
    CLogLimiter m_limiter QRN_GUARDED_BY(m_gate);
};

}  // namespace

bool IsLogged(LogLevel level, const char* area) {
    return CLogger::Instance().Passes(level, area);
}

void Log(LogLevel level, const char* area, const char* format, ...) {
    if (!IsLogged(level, area) || !CLogger::Instance().Admit(area)) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    WriteList(level, area, format, arguments);
    va_end(arguments);
}

}  // namespace qrn
