#include "platform/system/Event.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

namespace qrn {
namespace {

bool IsReadable(int descriptor) {
    pollfd look{descriptor, POLLIN, 0};
    return poll(&look, 1, 0) == 1;
}

/// Takes the whole count, so that the event is clear and exactly one of several readers gets it.
bool Drain(int descriptor) {
    std::uint64_t count = 0;
    ssize_t bytes = 0;
    do {
        bytes = read(descriptor, &count, sizeof(count));
    } while (bytes < 0 && errno == EINTR);
    return bytes == static_cast<ssize_t>(sizeof(count));
}

}  // namespace

CEvent::CEvent(EventReset reset) : m_reset(reset), m_descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (m_descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

CEvent::~CEvent() {
    close(m_descriptor);
}

void CEvent::Set() {
    const std::uint64_t one = 1;
    // Fails with EAGAIN only when the count is at its end, and then the event is set already.
    while (write(m_descriptor, &one, sizeof(one)) < 0 && errno == EINTR) {
    }
    m_looksSet = true;
}

void CEvent::Reset() {
    m_looksSet = false;
    Drain(m_descriptor);
}

bool CEvent::Wait(IClock& clock, std::chrono::nanoseconds timeout) {
    using std::chrono::nanoseconds;
    if (TryConsume()) {
        return true;
    }
    if (timeout == nanoseconds::zero()) {
        return false;
    }
    const nanoseconds start = clock.Now();
    for (nanoseconds left = timeout;;) {
        pollfd descriptor{m_descriptor, POLLIN, 0};
        const int ready = clock.Poll({&descriptor, 1}, left);
        if (TryConsume()) {
            return true;
        }
        if (ready < 0) {
            return false;
        }
        if (timeout < nanoseconds::zero()) {
            continue;  // another waiter was first
        }
        left = timeout - (clock.Now() - start);
        if (left <= nanoseconds::zero()) {
            return false;
        }
    }
}

bool CEvent::TryConsume() {
    if (m_reset == EventReset::kManual) {
        return IsReadable(m_descriptor);
    }
    m_looksSet = false;
    return Drain(m_descriptor);
}

}  // namespace qrn
