#pragma once
/// The two names under which the sessions of a process share a socket.

#include <cstddef>
#include <memory>

#include "rtp/Socket.h"

namespace qrn {

enum class SharedSocketName : std::size_t {
    kAudio,  // "QRN_SOCKET_AUDIO"
    kVideo,  // "QRN_SOCKET_VIDEO"
};

/// The name goes to whoever published last. The record does not keep the socket: once its sessions are gone, or one of
/// them has taken it away, the name gives nothing, never a descriptor that means something else by now. Any thread.
void PublishSharedSocket(SharedSocketName name, const std::shared_ptr<CSocket>& socket);

/// @return null when nothing is published under the name.
std::shared_ptr<CSocket> FindSharedSocket(SharedSocketName name);

}  // namespace qrn
