#include "rtp/CRtpTransmitter.h"

#include <arpa/inet.h>

#include <algorithm>
#include <new>
#include <utility>

#include "platform/system/Log.h"
#include "rtp/RtpErrors.h"

namespace {

/// The largest packet, and the parity packet that may take its place.
constexpr std::size_t kBufferBytes = 65536;

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

int CRtpTransmitter::SendPackets(qrn::OutgoingFrame& frame, std::size_t mostPackets, std::uint16_t& sequence) {
    if (frame.IsSent() || mostPackets == 0) {
        return qrn::kRtpOk;
    }
    const std::uint64_t failuresBefore = m_counters.Failures();
    const int result = PutPackets(frame, mostPackets, sequence);
    Flush(frame.patience);
    TellOfFailures(failuresBefore);
    return result;
}

int CRtpTransmitter::PutPackets(qrn::OutgoingFrame& frame, std::size_t mostPackets, std::uint16_t& sequence) {
    if (const int result = Prepare(); result != qrn::kRtpOk) {
        ++sequence;
        return result;
    }
    const auto limit = static_cast<std::size_t>(m_maxPacketSize.load());
    for (std::size_t i = 0; i < mostPackets && !frame.IsSent(); ++i) {
        const auto payload =
            frame.data.subspan(frame.sentBytes, std::min(frame.chunkBytes, frame.data.size() - frame.sentBytes));
        if (payload.size() + qrn::kRtpHeaderBytes > limit) {
            ++sequence;
            return qrn::kRtpPacketTooLarge;
        }
        std::uint32_t timestamp = frame.timestamp;
        if (frame.hasFramingBit) {
            timestamp = frame.sentBytes == 0 ? timestamp & ~1u : timestamp | 1u;
        }
        frame.sentBytes += payload.size();
        Put({frame.payloadType, frame.IsSent(), sequence++, timestamp, m_ssrc}, payload, frame.patience);
        m_counters.AddPacket();
    }
    return qrn::kRtpOk;
}

int CRtpTransmitter::Prepare() {
    if (!m_isExternal && m_socket == nullptr) {
        return qrn::kRtpNotOpened;
    }
    if (!m_destinations.Refresh(m_targets)) {
        return qrn::kRtpOutOfMemory;
    }
    m_hasParity = m_parity.GroupSize() != 0 && !m_targets.addresses.empty();
    // The client's stream takes one packet a call. Parity for several destinations goes by what is in the buffer
    // between them, so that packets have to follow each other as they did there.
    m_isOneByOne = m_isExternal || (m_hasParity && m_targets.addresses.size() > 1);
    return !(m_hasParity || m_isOneByOne) || MakeBuffer() ? qrn::kRtpOk : qrn::kRtpOutOfMemory;
}

bool CRtpTransmitter::MakeBuffer() {
    try {
        m_buffer.resize(kBufferBytes);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

void CRtpTransmitter::Put(const qrn::RtpHeader& header, std::span<const std::uint8_t> payload,
                          std::chrono::nanoseconds& patience) {
    if (m_isOneByOne) {
        SendOneByOne(header, payload, patience);
        return;
    }
    // With parity a packet may bring a second datagram and needs room for it.
    if (m_batch.Count() + 1 >= qrn::CSendBatch::kCapacity ||
        (m_hasParity && m_parityBytes + m_parity.BytesWith(payload.size()) > m_buffer.size())) {
        Flush(patience);
    }
    std::span<std::uint8_t> head(m_headers[m_batch.Count()]);
    qrn::BuildRtpPacket(head, header, {});
    m_batch.Add(head, payload);
    if (m_hasParity) {
        PutParity(head, payload, header.timestamp);
    }
}

void CRtpTransmitter::PutParity(std::span<const std::uint8_t> header, std::span<const std::uint8_t> payload,
                                std::uint32_t timestamp) {
    const auto room = std::span(m_buffer).subspan(m_parityBytes);
    if (const int bytes = m_parity.AddPacket(header, payload, room, timestamp); bytes > 0) {
        m_batch.Add(room.first(static_cast<std::size_t>(bytes)), {});
        m_parityBytes += static_cast<std::size_t>(bytes);
    }
}

void CRtpTransmitter::SendOneByOne(const qrn::RtpHeader& header, std::span<const std::uint8_t> payload,
                                   std::chrono::nanoseconds& patience) {
    auto length = static_cast<std::int32_t>(qrn::BuildRtpPacket(m_buffer, header, payload));
    const auto datagram = [&] { return std::span(m_buffer).first(static_cast<std::size_t>(length)); };
    for (const sockaddr_in& target : m_targets.addresses) {
        Transmit(datagram(), target, patience);
        // The buffer is not built again between destinations: once the group is full, those that follow get the parity
        // packet in the media packet's place. Parity is meant for one destination.
        if (m_hasParity && m_parity.AddPacket(m_buffer, length, header.timestamp) > 0) {
            Transmit(datagram(), target, patience);
        }
    }
}

void CRtpTransmitter::Transmit(std::span<const std::uint8_t> datagram, const sockaddr_in& target,
                               std::chrono::nanoseconds& patience) {
    if (!m_isExternal) {
        m_batch.Add(datagram, {});
        m_batch.Flush(*m_socket, {{&target, 1}}, m_clock, patience, m_counters);
    } else if (m_stream != nullptr) {
        m_stream->Send(datagram.data(), static_cast<std::int32_t>(datagram.size()), 0, ntohs(target.sin_port));
        m_counters.AddSent(1, datagram.size());
    }
}

void CRtpTransmitter::Flush(std::chrono::nanoseconds& patience) {
    if (m_batch.Count() != 0) {
        m_batch.Flush(*m_socket, {m_targets.addresses, m_targets.areDistinct}, m_clock, patience, m_counters);
    }
    m_parityBytes = 0;
}

void CRtpTransmitter::SendRaw(qrn::CSocket& socket, const sockaddr_in& target, std::span<const std::uint8_t> data,
                              std::size_t datagramBytes, std::size_t count, std::chrono::nanoseconds& patience) {
    if (data.size() < datagramBytes) {
        if (!MakeBuffer() || m_buffer.size() < datagramBytes) {
            return;
        }
        std::ranges::fill(std::ranges::copy(data, m_buffer.begin()).out,
                          m_buffer.begin() + static_cast<std::ptrdiff_t>(datagramBytes), std::uint8_t{0});
        data = m_buffer;
    }
    const std::uint64_t failuresBefore = m_counters.Failures();
    for (std::size_t i = 0; i < count; ++i) {
        m_batch.Add(data.first(datagramBytes), {});
        if (m_batch.IsFull() || i + 1 == count) {
            m_batch.Flush(socket, {{&target, 1}}, m_clock, patience, m_counters);
        }
    }
    TellOfFailures(failuresBefore);
}

/// One line for each change of state.
void CRtpTransmitter::TellOfFailures(std::uint64_t failuresBefore) {
    const bool isFailing = m_counters.Failures() != failuresBefore;
    if (isFailing && !m_isFailing) {
        qrn::Log(qrn::LogLevel::kWarn, "rtp", "the system does not take what is to be sent: it is lost");
    }
    m_isFailing = isFailing;
}
