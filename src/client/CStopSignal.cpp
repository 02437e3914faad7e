#include "client/CStopSignal.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <system_error>

namespace qrn {
namespace {

std::atomic<int> g_event{-1};
static_assert(std::atomic<int>::is_always_lock_free, "it is read in a signal handler");

void OnSignal(int) {
    const int savedError = errno;
    const std::uint64_t one = 1;
    // Nothing can be done about a failure here, and an eventfd at its limit is readable all the same.
    [[maybe_unused]] const ssize_t written = write(g_event.load(), &one, sizeof(one));
    errno = savedError;
}

void SetHandler(void (*handler)(int), int flags) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigemptyset(&action.sa_mask);
    for (const int signal : {SIGINT, SIGTERM}) {
        sigaction(signal, &action, nullptr);
    }
}

}  // namespace

CStopSignal::CStopSignal() : m_event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!m_event) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    g_event = m_event.Get();
    SetHandler(&OnSignal, SA_RESTART | static_cast<int>(SA_RESETHAND));
}

CStopSignal::~CStopSignal() {
    SetHandler(SIG_DFL, 0);
    g_event = -1;
}

bool CStopSignal::WaitFor(std::chrono::milliseconds time) const {
    const auto deadline = std::chrono::steady_clock::now() + time;
    while (true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        pollfd descriptor{m_event.Get(), POLLIN, 0};
        const int ready = poll(&descriptor, 1, static_cast<int>(std::max<std::int64_t>(left.count(), 0)));
        if (ready > 0) {
            return true;
        }
        if (ready == 0 || errno != EINTR) {
            return false;
        }
    }
}

}  // namespace qrn
