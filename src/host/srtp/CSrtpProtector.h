#pragma once

#include <optional>
#include <span>
#include <vector>

#include "host/srtp/SrtpSuite.h"

namespace qrn {

/// Encrypts what one key protects. Lives as long as the key is in use, over all stops and starts of its sessions: who
/// began anew with a source's numbers would use its key stream twice. One thread at a time.
class CSrtpProtector {
public:
    /// @throws SrtpFailure
    CSrtpProtector(const SrtpSuite& suite, const SrtpKey& key);

    /// @param packet  an RTP packet. @return what goes on the wire, valid until the next call; nothing for what is no
    /// packet or too long for a datagram, and for a number that this source has sent other contents under.
    /// The packet that came last may come again, as it does for a session with several destinations: it is the same on
    /// the wire then.
    std::optional<std::span<const std::uint8_t>> Protect(std::span<const std::uint8_t> packet);

private:
    struct Context {
        CSrtpSession session;
        std::vector<std::uint8_t> plain;   // the last one
        std::vector<std::uint8_t> onWire;  // what became of it
    };

    std::size_t m_tagBytes;
    Context m_media;
    Context m_parity;
};

}  // namespace qrn
