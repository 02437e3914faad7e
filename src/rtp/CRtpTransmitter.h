#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "platform/system/Clock.h"
#include "qrn/QRN_Media2.h"
#include "rtp/CRtpDestinationList.h"
#include "rtp/CRtpParityCoder.h"
#include "rtp/CSendBatch.h"
#include "rtp/RtpPacket.h"
#include "rtp/SendStatistics.h"
#include "rtp/Socket.h"

namespace qrn {

/// How long one frame may wait for room in the socket's buffer, in all. A link that is down must not hold the streaming
/// thread, and with it the stop of the graph; what finds no room in time is lost as it would be on the way.
inline constexpr std::chrono::milliseconds kSendPatience{200};

/// A frame on its way out, in one piece or in several.
struct OutgoingFrame {
    std::span<const std::uint8_t> data;
    std::size_t chunkBytes;  ///< payload of each packet but the last; not 0
    std::uint32_t timestamp;
    std::uint8_t payloadType;
    /// Bit 0 of the timestamp is clear on the first packet and set on the others; else the timestamp is as it is.
    bool hasFramingBit = true;

    std::size_t sentBytes = 0;  ///< from the start of `data`
    std::chrono::nanoseconds patience = kSendPatience;

    bool IsSent() const { return sentBytes == data.size(); }
};

}  // namespace qrn

/// The sending half of a connection: builds packets and gives them to every destination, newest first, through the
/// socket or the external stream that stands in for it. A failing send is not reported but counted.
///
/// One thread sends. Destinations, the packet limit and the parity group may change meanwhile; what the packets leave
/// through may not. Codes are those of rtp/RtpErrors.h. In steady streaming nothing is allocated.
class CRtpTransmitter {
public:
    /// @param parity  of the connection; outlives the transmitter. @param clock  counts waits for room.
    explicit CRtpTransmitter(CRtpParityCoder& parity, qrn::IClock& clock = qrn::SystemClock())
        : m_parity(parity),
          m_clock(clock) {}
    CRtpTransmitter(const CRtpTransmitter&) = delete;
    CRtpTransmitter& operator=(const CRtpTransmitter&) = delete;

    /// Packets leave through this socket from now on.
    void UseSocket(std::shared_ptr<qrn::CSocket> socket);
    /// Packets leave through the client's stream and no socket; without one they go nowhere.
    void UseStream(IExternalStream* stream);
    /// Forgets the socket or stream and the destinations, and goes back to the limit of a new connection.
    void Close();

    void SetSsrc(std::uint32_t ssrc) { m_ssrc = ssrc; }
    void SetMaxPacketSize(std::int32_t bytes) { m_maxPacketSize = bytes; }
    CRtpDestinationList& Destinations() { return m_destinations; }

    /// Sends the frame's next packets, together in as few system calls as the socket allows.
    /// @param mostPackets  at most so many; the frame may be done before. @param sequence  of the next packet; grows by
    /// one for each, also for one that is refused, which ends the call.
    /// @return 0, also for a frame that is done; -11 for a packet above the limit; -12 when not open; -1 without
    /// memory.
    int SendPackets(qrn::OutgoingFrame& frame, std::size_t mostPackets, std::uint16_t& sequence);

    /// Sends bytes that are no packet through another socket, `count` datagrams of `datagramBytes` that all hold the
    /// start of `data`, and zeros where it is shorter.
    /// @param patience  as in CSendBatch::Flush.
    void SendRaw(qrn::CSocket& socket, const sockaddr_in& target, std::span<const std::uint8_t> data,
                 std::size_t datagramBytes, std::size_t count, std::chrono::nanoseconds& patience);

    /// Any thread.
    qrn::SendStatistics Statistics() const { return m_counters.Read(); }

private:
    int Prepare();
    bool MakeBuffer();
    int PutPackets(qrn::OutgoingFrame& frame, std::size_t mostPackets, std::uint16_t& sequence);
    void Put(const qrn::RtpHeader& header, std::span<const std::uint8_t> payload, std::chrono::nanoseconds& patience);
    void PutParity(std::span<const std::uint8_t> header, std::span<const std::uint8_t> payload,
                   std::uint32_t timestamp);
    void SendOneByOne(const qrn::RtpHeader& header, std::span<const std::uint8_t> payload,
                      std::chrono::nanoseconds& patience);
    void Transmit(std::span<const std::uint8_t> datagram, const sockaddr_in& target,
                  std::chrono::nanoseconds& patience);
    void Flush(std::chrono::nanoseconds& patience);
    void TellOfFailures(std::uint64_t failuresBefore);

    CRtpParityCoder& m_parity;
    qrn::IClock& m_clock;
    CRtpDestinationList m_destinations;
    std::atomic<std::int32_t> m_maxPacketSize{qrn::kDefaultMaxPacketBytes};
    std::uint32_t m_ssrc = 0;
    bool m_isExternal = false;
    IExternalStream* m_stream = nullptr;
    std::shared_ptr<qrn::CSocket> m_socket;
    qrn::CSendCounters m_counters;

    // Of the sending thread.
    CRtpDestinationList::Copy m_targets;
    qrn::CSendBatch m_batch;
    std::array<std::array<std::uint8_t, qrn::kRtpHeaderBytes>, qrn::CSendBatch::kCapacity> m_headers;
    /// One packet that is built in one piece, the parity packets of a batch, or stuffing. Made on first need.
    std::vector<std::uint8_t> m_buffer;
    std::size_t m_parityBytes = 0;  // in use of m_buffer by the batch
    bool m_hasParity = false;       // of the packets being sent
    bool m_isOneByOne = false;      // of the packets being sent
    bool m_isFailing = false;
};
