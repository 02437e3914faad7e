#include "rtp/CRtpReader.h"

#include <utility>

#include "rtp/RtpErrors.h"

namespace {

/// Datagrams that one poll may throw away (empty ones, parity packets) before it gives up, so that a flood of them
/// cannot hold the receiving thread.
constexpr int kMostDiscardedPerPoll = 256;

}  // namespace

void CRtpReader::UseSocket(std::shared_ptr<qrn::CSocket> socket) {
    m_isExternal = false;
    m_socket = std::move(socket);
}

void CRtpReader::UseStream(IExternalStream* stream) {
    m_isExternal = true;
    m_stream = stream;
}

int CRtpReader::Poll(std::span<std::uint8_t> buffer, std::int32_t& length, RtpPacketInfo& info) {
    if (buffer.data() == nullptr || buffer.size() < qrn::kReceiveBufferBytes) {
        return qrn::kRtpFailed;
    }
    std::size_t bytes = 0;
    const int result = m_isExternal ? ReadStream(buffer, bytes) : ReadSocket(buffer, bytes);
    if (result != qrn::kRtpOk || bytes == 0) {
        return result;
    }
    if (ParseRtpPacket(buffer.data(), static_cast<std::int32_t>(bytes), info) != 0) {
        return qrn::kRtpFailed;
    }
    length = static_cast<std::int32_t>(bytes);
    return qrn::kRtpOk;
}

int CRtpReader::ReadSocket(std::span<std::uint8_t> buffer, std::size_t& bytes) {
    if (m_socket == nullptr) {
        return qrn::kRtpNotOpened;
    }
    // Reads without asking for the pending size first: that size is 0 for an empty datagram too, which would then stay
    // at the head of the socket's queue and wake the thread for ever.
    for (int discarded = 0; discarded < kMostDiscardedPerPoll; ++discarded) {
        std::size_t read = 0;
        switch (m_socket->Receive(buffer, read)) {
            case qrn::ReadOutcome::kNothingPending:
                return qrn::kRtpOk;
            case qrn::ReadOutcome::kData:
                if (!IsKeptByParity(buffer.first(read))) {
                    bytes = read;
                    return qrn::kRtpOk;
                }
                break;
            case qrn::ReadOutcome::kEmptyDatagram:
            case qrn::ReadOutcome::kFailed:  // the read has taken the socket's error away
                break;
        }
    }
    return qrn::kRtpOk;  // as if nothing had been pending: what else waits comes with the next call
}

int CRtpReader::ReadStream(std::span<std::uint8_t> buffer, std::size_t& bytes) {
    if (m_stream == nullptr) {
        return qrn::kRtpOk;
    }
    const auto capacity = static_cast<std::int32_t>(qrn::kReceiveBufferBytes);
    DWORD info[2]{};
    const std::int32_t read = m_stream->Receive(buffer.data(), capacity, info);
    if (read > capacity) {
        return qrn::kRtpFailed;
    }
    if (read > 0 && !IsKeptByParity(buffer.first(static_cast<std::size_t>(read)))) {
        bytes = static_cast<std::size_t>(read);
    }
    return qrn::kRtpOk;
}

bool CRtpReader::IsKeptByParity(std::span<const std::uint8_t> datagram) const {
    return m_parityOn && m_parity.OnPacketReceived(datagram) < 1;
}
