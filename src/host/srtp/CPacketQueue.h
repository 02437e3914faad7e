#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/system/Event.h"
#include "platform/system/Lock.h"

namespace qrn {

/// Authentic packets between the transport's thread (Push) and the session's (Pop). Drops the oldest when full. Keeps
/// its memory, so that steady traffic allocates nothing.
class CPacketQueue {
public:
    static constexpr std::size_t kPackets = 256;

    /// @throws std::system_error when the process has no descriptor left.
    CPacketQueue() = default;

    /// @return false when the oldest has been dropped for it.
    bool Push(std::span<const std::uint8_t> packet) QRN_EXCLUDES(m_lock);
    /// @return the bytes of the next packet, which is in `buffer` then; 0 when there is none, or it does not fit, which
    /// loses it.
    std::int32_t Pop(std::span<std::uint8_t> buffer) QRN_EXCLUDES(m_lock);
    void Clear() QRN_EXCLUDES(m_lock);
    /// Readable while there is a packet.
    int Descriptor() const { return m_readable.Descriptor(); }

private:
    CMutex m_lock;
    std::array<std::vector<std::uint8_t>, kPackets> m_ring QRN_GUARDED_BY(m_lock);
    std::size_t m_head QRN_GUARDED_BY(m_lock) = 0;
    std::size_t m_count QRN_GUARDED_BY(m_lock) = 0;
    CEvent m_readable{EventReset::kManual};  // set and reset under m_lock, with m_count
};

}  // namespace qrn
