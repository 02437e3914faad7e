#include "client/CSignalEvent.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <system_error>
#include <utility>

namespace qrn {
namespace {

/// The descriptors by signal, each one more than it is, so that 0 is none.
std::array<std::atomic<int>, NSIG> g_events;
static_assert(std::atomic<int>::is_always_lock_free, "it is read in a signal handler");

void OnSignal(int signal) {
    const int savedError = errno;
    const std::uint64_t one = 1;
    // Nothing can be done about a failure here, and an eventfd at its limit is readable all the same.
    [[maybe_unused]] const ssize_t written =
        write(g_events[static_cast<std::size_t>(signal)].load() - 1, &one, sizeof(one));
    errno = savedError;
}

void SetHandler(int signal, void (*handler)(int), int flags) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

}  // namespace

CSignalEvent::CSignalEvent(std::vector<int> signals, Takes takes)
    : m_signals(std::move(signals)),
      m_event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!m_event) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    for (const int signal : m_signals) {
        g_events[static_cast<std::size_t>(signal)] = m_event.Get() + 1;
        SetHandler(signal, &OnSignal, SA_RESTART | (takes == Takes::kFirst ? static_cast<int>(SA_RESETHAND) : 0));
    }
}

CSignalEvent::~CSignalEvent() {
    for (const int signal : m_signals) {
        SetHandler(signal, SIG_DFL, 0);
        g_events[static_cast<std::size_t>(signal)] = 0;
    }
}

bool CSignalEvent::WaitFor(std::chrono::milliseconds time) const {
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

bool CSignalEvent::Take() const {
    std::uint64_t count = 0;
    return read(m_event.Get(), &count, sizeof(count)) == sizeof(count);
}

}  // namespace qrn
