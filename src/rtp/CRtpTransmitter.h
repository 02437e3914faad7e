#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "qrn/QRN_Media2.h"
#include "rtp/CRtpDestinationList.h"
#include "rtp/CRtpParityCoder.h"
#include "rtp/RtpPacket.h"
#include "rtp/Socket.h"

/// The sending half of a connection: builds packets and gives them to every destination, through the socket or the
/// external stream that stands in for it.
///
/// One thread sends. Destinations, the packet limit and the parity group may change meanwhile; what the packets leave
/// through may not. Codes are those of rtp/RtpErrors.h.
class CRtpTransmitter {
public:
    /// @param parity  of the connection; outlives the transmitter.
    explicit CRtpTransmitter(CRtpParityCoder& parity) : m_parity(parity) {}
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

    /// Sends one packet to each destination, newest first. A failing send at the socket is not reported.
    /// @return 0, also for no data; -11 above the packet limit.
    int SendPacket(std::span<const std::uint8_t> payload, std::uint8_t payloadType, bool marker, std::uint16_t sequence,
                   std::uint32_t timestamp);

private:
    void Transmit(std::span<const std::uint8_t> datagram, const CRtpDestinationList::Entry& destination);

    CRtpParityCoder& m_parity;
    CRtpDestinationList m_destinations;
    std::atomic<std::int32_t> m_maxPacketSize{qrn::kDefaultMaxPacketBytes};
    std::uint32_t m_ssrc = 0;
    bool m_isExternal = false;
    IExternalStream* m_stream = nullptr;
    std::shared_ptr<qrn::CSocket> m_socket;

    // Of the sending thread.
    std::vector<CRtpDestinationList::Entry> m_targets;
    std::uint64_t m_targetsVersion = 0;
    std::vector<std::uint8_t> m_sendBuffer;
};
