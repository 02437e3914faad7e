#pragma once

#include <cstdint>

#include "runtime/CPacket.h"
#include "runtime/CRing.h"

/// A locked ring of packets, with two operations on raw bytes. Any thread.
class CNetworkBuffer : public qrn::CRing<CPacket> {
public:
    /// @throws exc_CNetworkBuffer_ for 0 slots.
    explicit CNetworkBuffer(std::uint32_t count);

    using CRing::Pop;
    using CRing::Push;

    /// Copies the bytes into the next slot; the slot's sequence number and lost flag stay as they were.
    /// @return false when the oldest element was dropped for this one.
    bool Push(const std::uint8_t* bytes, std::uint32_t length, std::uint32_t timestamp, std::uint8_t payloadType)
        QRN_EXCLUDES(m_lock);

    /// @param length  in: the room at `destination` in bytes; out: the element's bytes.
    /// @param timestamp, lost, payloadType  the element's; each may be null.
    /// @return false, with everything as it was, when the ring is empty or the element does not fit: it stays at the
    /// head, and the same call fails again.
    bool Pop(std::uint8_t* destination, std::uint32_t* length, std::uint32_t* timestamp, std::uint32_t* lost,
             std::uint8_t* payloadType) QRN_EXCLUDES(m_lock);
};
