#pragma once

#include <cstdint>
#include <optional>

#include "platform/system/Lock.h"

namespace qrn {

/// The pair of times by which another stream plays in step with this one. Written by the pin's thread, read by any; its
/// lock is taken last and for a few instructions.
class CSyncPoint {
public:
    struct Times {
        std::uint32_t timestamp;   ///< of the wire, milliseconds of the sender
        std::uint32_t positionMs;  ///< stream time at which it is to be heard
    };

    void Set(Times times) QRN_EXCLUDES(m_syncLock) {
        const CScopedLock lock(m_syncLock);
        m_times = times;
    }
    void Clear() QRN_EXCLUDES(m_syncLock) {
        const CScopedLock lock(m_syncLock);
        m_times.reset();
    }
    /// Nothing until a packet has been delivered.
    std::optional<Times> Get() const QRN_EXCLUDES(m_syncLock) {
        const CScopedLock lock(m_syncLock);
        return m_times;
    }

private:
    mutable CMutex m_syncLock;
    std::optional<Times> m_times QRN_GUARDED_BY(m_syncLock);
};

}  // namespace qrn
