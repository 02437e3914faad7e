#include "CProgram.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

#include "platform/system/Clock.h"

namespace qrn::test {
namespace {

constexpr std::chrono::milliseconds kLook{10};

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// For a program built with AddressSanitizer: its leak check guesses where the thread-local variables of a library that
/// was loaded late stand, and ends the process when it guesses wrong (gcc 12).
std::string SanitizerOptions() {
    const char* given = std::getenv("ASAN_OPTIONS");
    return std::string("ASAN_OPTIONS=") + (given != nullptr ? std::string(given) + ":" : "") +
           "intercept_tls_get_addr=0";
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace

CProgram::CProgram(const std::vector<std::string>& arguments, const std::vector<std::string>& environment,
                   const std::string& program) {
    std::vector<std::string> words{program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    // Of two values for one name the first counts.
    std::vector<std::string> variables = environment;
    variables.insert(variables.end(), {"QRN_MODULE=" QRN_MODULE_FILE, "QRN_REGISTRY_USER=" + m_folder.File("user.db"),
                                       "QRN_REGISTRY_MACHINE=" + m_folder.File("machine.db"), SanitizerOptions()});
    for (char** variable = environ; *variable != nullptr; ++variable) {
        variables.emplace_back(*variable);
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC;
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, m_folder.File("out").c_str(), kFlags, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, m_folder.File("err").c_str(), kFlags, 0600);
    if (posix_spawn(&m_pid, program.c_str(), &actions, nullptr, Pointers(words).data(), Pointers(variables).data()) !=
        0) {
        m_pid = -1;
    }
    posix_spawn_file_actions_destroy(&actions);
}

CProgram::~CProgram() {
    if (m_pid > 0 && !m_status) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
}

bool CProgram::HasEnded() {
    int status = 0;
    if (!m_status && m_pid > 0 && waitpid(m_pid, &status, WNOHANG) == m_pid) {
        m_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    return m_status.has_value();
}

std::optional<int> CProgram::WaitForExit(std::chrono::seconds time) {
    const auto deadline = SystemClock().Now() + time;
    while (!HasEnded() && SystemClock().Now() < deadline) {
        SystemClock().SleepFor(kLook);
    }
    return m_status;
}

bool CProgram::WaitForError(const std::string& text, std::chrono::seconds time) {
    return WaitUntil([&] { return Error().find(text) != std::string::npos; }, time);
}

bool CProgram::WaitUntil(const std::function<bool()>& condition, std::chrono::seconds time) {
    const auto deadline = SystemClock().Now() + time;
    while (!condition()) {
        if (HasEnded() || SystemClock().Now() >= deadline) {
            return condition();
        }
        SystemClock().SleepFor(kLook);
    }
    return true;
}

void CProgram::Signal(int signal) const {
    kill(m_pid, signal);
}

std::string CProgram::Output() const {
    return ReadFile(m_folder.File("out"));
}

std::string CProgram::Error() const {
    return ReadFile(m_folder.File("err"));
}

}  // namespace qrn::test
