#include "rtp/SharedSockets.h"

#include <array>

#include "platform/system/Lock.h"

namespace qrn {
namespace {

/// The sessions that share a socket live in one process, since a descriptor means nothing in another; a record of the
/// process therefore does what a mapping of the whole machine would.
class CRecord {
public:
    void Publish(SharedSocketName name, const std::shared_ptr<CSocket>& socket) QRN_EXCLUDES(m_gate) {
        const CScopedLock lock(m_gate);
        m_sockets[static_cast<std::size_t>(name)] = socket;
    }
    std::shared_ptr<CSocket> Find(SharedSocketName name) QRN_EXCLUDES(m_gate) {
        const CScopedLock lock(m_gate);
        std::shared_ptr<CSocket> socket = m_sockets[static_cast<std::size_t>(name)].lock();
        return socket != nullptr && !socket->IsTakenAway() ? socket : nullptr;
    }

private:
    CMutex m_gate;
    std::array<std::weak_ptr<CSocket>, 2> m_sockets QRN_GUARDED_BY(m_gate);
};

CRecord& Record() {
    static CRecord record;
    return record;
}

}  // namespace

void PublishSharedSocket(SharedSocketName name, const std::shared_ptr<CSocket>& socket) {
    Record().Publish(name, socket);
}

std::shared_ptr<CSocket> FindSharedSocket(SharedSocketName name) {
    return Record().Find(name);
}

}  // namespace qrn
