#include "rtp/CRtpTransmitter.h"

#include <arpa/inet.h>

#include <utility>

#include "rtp/RtpErrors.h"

namespace {

/// A packet of the largest size and the parity packet that may take its place.
constexpr std::size_t kSendBufferBytes = 65536;

}  // namespace

void CRtpTransmitter::UseSocket(std::shared_ptr<qrn::CSocket> socket) {
    m_socket = std::move(socket);
    m_isExternal = false;
}

void CRtpTransmitter::UseStream(IExternalStream* stream) {
    m_stream = stream;
    m_isExternal = true;
}

void CRtpTransmitter::Close() {
    m_socket.reset();
    m_stream = nullptr;
    m_destinations.Clear();
    m_maxPacketSize = qrn::kDefaultMaxPacketBytes;
}

int CRtpTransmitter::SendPacket(std::span<const std::uint8_t> payload, std::uint8_t payloadType, bool marker,
                                std::uint16_t sequence, std::uint32_t timestamp) {
    if (payload.empty()) {
        return qrn::kRtpOk;
    }
    const std::size_t packetBytes = payload.size() + qrn::kRtpHeaderBytes;
    if (packetBytes > static_cast<std::size_t>(m_maxPacketSize.load())) {
        return qrn::kRtpPacketTooLarge;
    }
    m_sendBuffer.resize(kSendBufferBytes);
    qrn::BuildRtpPacket(m_sendBuffer, {payloadType, marker, sequence, timestamp, m_ssrc}, payload);
    m_destinations.Refresh(m_targets, m_targetsVersion);

    auto length = static_cast<std::int32_t>(packetBytes);
    const auto datagram = [&] { return std::span(m_sendBuffer).first(static_cast<std::size_t>(length)); };
    for (const CRtpDestinationList::Entry& target : m_targets) {
        Transmit(datagram(), target);
        // The buffer is not built again between destinations: once the group is full, those that follow get the parity
        // packet in the media packet's place. Parity is meant for one destination.
        if (m_parity.GroupSize() != 0 && m_parity.AddPacket(m_sendBuffer, length, timestamp) > 0) {
            Transmit(datagram(), target);
        }
    }
    return qrn::kRtpOk;
}

void CRtpTransmitter::Transmit(std::span<const std::uint8_t> datagram, const CRtpDestinationList::Entry& destination) {
    if (m_isExternal) {
        if (m_stream != nullptr) {
            m_stream->Send(datagram.data(), static_cast<std::int32_t>(datagram.size()), 0, ntohs(destination.rtpPort));
        }
    } else if (m_socket != nullptr) {
        m_socket->Send(datagram, qrn::SocketAddress(destination.address, destination.rtpPort));
    }
}
