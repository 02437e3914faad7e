#include "transport/Offload.h"

#include <netinet/in.h>
#include <netinet/udp.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

namespace {

std::atomic<bool> g_isHidden = false;

bool IsHidden(int level, int name) {
    return g_isHidden && level == IPPROTO_UDP && (name == UDP_SEGMENT || name == UDP_GRO);
}

}  // namespace

// In place of the C library's: every socket option of the process comes by here, and an old system is played by saying
// what it would say.
extern "C" {

__attribute__((visibility("default"))) int getsockopt(int handle, int level, int name, void* value,
                                                      socklen_t* bytes) noexcept {
    if (IsHidden(level, name)) {
        errno = ENOPROTOOPT;
        return -1;
    }
    return static_cast<int>(::syscall(SYS_getsockopt, handle, level, name, value, bytes));
}

__attribute__((visibility("default"))) int setsockopt(int handle, int level, int name, const void* value,
                                                      socklen_t bytes) noexcept {
    if (IsHidden(level, name)) {
        errno = ENOPROTOOPT;
        return -1;
    }
    return static_cast<int>(::syscall(SYS_setsockopt, handle, level, name, value, bytes));
}

}  // extern "C"

namespace qrn::bench {

void HideOffload(bool hidden) {
    g_isHidden = hidden;
}

}  // namespace qrn::bench
