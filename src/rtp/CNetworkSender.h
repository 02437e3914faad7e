#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "rtp/CNetwork.h"

/// Cuts frames into packets and sends them on the caller's thread. One thread sends; destinations, options, limits and
/// stuffing may change meanwhile from another. Results are 0 or an error code of rtp/RtpErrors.h.
class CNetworkSender : public CNetwork {
public:
    explicit CNetworkSender(qrn::IClock& clock = qrn::SystemClock());

    /// One packet of payload type 112, its timestamp (milliseconds) as it is. @return -11 above the packet limit.
    int SendSingle(std::span<const std::uint8_t> data, std::uint32_t timestamp);

    /// One frame in as many packets as it needs. Bit 0 of the timestamp is clear on the first and set on the others,
    /// the marker is on the last. The first failure ends the frame.
    int SendFrame(std::span<const std::uint8_t> data, std::uint32_t timestamp, std::uint8_t payloadType);

    /// SendFrame with the payload type of the session's video codec, and the stuffing that is due. A frame that failed
    /// is one that was lost.
    /// @return 0
    int SendVideoFrame(std::span<const std::uint8_t> data, std::uint32_t timestamp);

    /// Fills the traffic of each video frame up to so many bytes, as far as whole datagrams do, with datagrams without
    /// a header that nobody reads. They go to the address added last, by a socket of their own and so from another port
    /// than the media.
    /// @param bytesPerFrame  0 for no stuffing. @param port  where they go, host order; its low 16 bits count.
    void SetStuffing(std::int32_t bytesPerFrame, std::uint32_t port);

    /// The address is the stuffing's from then on, whatever the outcome.
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

    /// Stuffing counts among the datagrams. Any thread.
    qrn::SendStatistics Statistics() const { return Session().Connection().Transmitter().Statistics(); }

protected:
    /// Whether frames are filled up: not 0, or for the caller's own frames at least 1.
    std::int32_t StuffingBytes() const { return m_stuffingBytes; }
    /// Settles the debt of the frame before and notes a new one.
    /// @param sentBytes  of this frame. @return datagrams of `payloadBytes` that are due; the rest below one is not
    /// carried over.
    std::size_t CountStuffing(std::size_t sentBytes, std::size_t payloadBytes);
    /// @param data  of the frame: each datagram is its start, with zeros where it is shorter.
    /// @param patience  for all that is sent for one frame, as in qrn::CSendBatch::Flush.
    void SendStuffing(std::span<const std::uint8_t> data, std::size_t payloadBytes, std::size_t datagrams,
                      std::chrono::nanoseconds& patience);

private:
    std::atomic<std::int32_t> m_payloadSize;
    std::atomic<std::int32_t> m_stuffingBytes{0};  // a frame
    std::atomic<std::uint32_t> m_stuffingPort{0};  // host order
    std::int32_t m_stuffingDebt = 0;               // of the sending thread: bytes by which a frame exceeded the target
    std::atomic<std::uint32_t> m_stuffingAddress{0};  // network order; 0: none yet
    std::shared_ptr<qrn::CSocket> m_stuffingSocket;
};
