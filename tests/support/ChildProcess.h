#pragma once
/// A forked process for tests of what several processes share.

#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace qrn::test {

/// Runs a function in a forked child until it calls Ready(), and lets the test kill it. The child calls nothing of
/// GoogleTest. Fork before the test starts threads.
class CChildProcess {
public:
    /// What the child's function gets to say that it has done its part; it does not return from there.
    class CSignal {
    public:
        explicit CSignal(int descriptor) : m_descriptor(descriptor) {}
        [[noreturn]] void ReadyAndHang() const {
            const char byte = 1;
            [[maybe_unused]] const ssize_t written = write(m_descriptor, &byte, 1);
            for (;;) {
                pause();
            }
        }

    private:
        const int m_descriptor;
    };

    template <class Call>
    explicit CChildProcess(Call call) {
        int pair[2] = {-1, -1};
        if (pipe(pair) != 0) {
            return;
        }
        m_pid = fork();
        if (m_pid == 0) {
            close(pair[0]);
            call(CSignal(pair[1]));
            _exit(1);
        }
        close(pair[1]);
        char byte = 0;
        m_isReady = m_pid > 0 && read(pair[0], &byte, 1) == 1;
        close(pair[0]);
    }
    ~CChildProcess() { Kill(); }
    CChildProcess(const CChildProcess&) = delete;
    CChildProcess& operator=(const CChildProcess&) = delete;

    /// Whether the child has done its part and hangs.
    bool IsReady() const { return m_isReady; }

    /// Ends it at once, with nothing cleaned up.
    void Kill() {
        if (m_pid > 0) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
            m_pid = -1;
        }
    }

private:
    pid_t m_pid = -1;
    bool m_isReady = false;
};

}  // namespace qrn::test
