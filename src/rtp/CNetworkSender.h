#pragma once

#include <atomic>
#include <cstdint>
#include <span>

#include "rtp/CNetwork.h"

/// Cuts frames into packets and sends them on the caller's thread. One thread sends; destinations, options and limits
/// may change meanwhile from another. Results are 0 or an error code of rtp/RtpErrors.h.
class CNetworkSender : public CNetwork {
public:
    explicit CNetworkSender(qrn::IClock& clock = qrn::SystemClock());

    /// One packet of payload type 112, its timestamp (milliseconds) as it is. @return -11 above the packet limit.
    int SendSingle(std::span<const std::uint8_t> data, std::uint32_t timestamp);

    /// One frame in as many packets as it needs. Bit 0 of the timestamp is clear on the first and set on the others,
    /// the marker is on the last. The first failure ends the frame.
    int SendFrame(std::span<const std::uint8_t> data, std::uint32_t timestamp, std::uint8_t payloadType);

    /// SendFrame with the payload type of the session's video codec. A frame that failed is one that was lost.
    /// @return 0
    int SendVideoFrame(std::span<const std::uint8_t> data, std::uint32_t timestamp);

    /// @param addressText  dotted form; what is none becomes 255.255.255.255, as every such text always did.
    int AddDestination(const char* addressText, std::uint32_t port);
    /// @return -10 for a pair that was not added.
    int RemoveDestination(const char* addressText, std::uint32_t port);

    /// Bytes of a whole packet. @return -13 below 300 (the payload size has changed even so), -31 above 65535; 0 also
    /// for a size below 24, which stands for the default.
    int SetPacketLimit(std::int32_t bytes);
    /// Bytes of payload of one packet.
    std::int32_t PayloadSize() const { return m_payloadSize; }

    /// Adds a parity packet to each group of media packets; 0 for none. Once, before opening.
    int SetParityGroup(std::uint32_t groupSize);

private:
    std::atomic<std::int32_t> m_payloadSize;
};
