#include "rtp/CRtpReader.h"

#include <new>
#include <utility>

#include "rtp/RtpErrors.h"

namespace {

/// Datagrams that one poll may throw away (empty ones, parity packets) before it gives up, so that a flood of them
/// cannot hold the receiving thread.
constexpr int kMostDiscardedPerPoll = 256;

}  // namespace

void CRtpReader::UseSocket(std::shared_ptr<qrn::CSocket> socket) {
    m_isExternal = false;
    m_batch.Clear();
    m_socket = std::move(socket);
}

void CRtpReader::UseStream(IExternalStream* stream) {
    m_isExternal = true;
    m_stream = stream;
}

bool CRtpReader::Prepare() {
    if (!m_isExternal) {
        return m_batch.Prepare();
    }
    try {
        for (std::unique_ptr<std::uint8_t[]>& buffer : m_streamBuffers) {
            if (buffer == nullptr) {
                buffer = std::make_unique_for_overwrite<std::uint8_t[]>(qrn::kReceiveBufferBytes);
            }
        }
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

int CRtpReader::Poll(std::int32_t& length, RtpPacketInfo& info) {
    std::span<const std::uint8_t> datagram;
    const int result = m_isExternal ? ReadStream(datagram) : ReadSocket(datagram);
    if (result != qrn::kRtpOk || datagram.empty()) {
        return result;
    }
    const auto bytes = static_cast<std::int32_t>(datagram.size());
    if (ParseRtpPacket(datagram.data(), bytes, info) != 0) {
        m_counters.AddMalformed();
        return qrn::kRtpFailed;
    }
    if (m_isExternal) {
        m_streamBuffer = 1 - m_streamBuffer;
    } else {
        m_batch.Keep();
    }
    length = bytes;
    return qrn::kRtpOk;
}

bool CRtpReader::TryRead() {
    return m_batch.Fill(*m_socket, m_counters) == qrn::CReceiveBatch::Outcome::kRead;
}

/// @param datagram  written with one; untouched when nothing is pending.
int CRtpReader::ReadSocket(std::span<const std::uint8_t>& datagram) {
    if (m_socket == nullptr) {
        return qrn::kRtpNotOpened;
    }
    if (!Prepare()) {
        return qrn::kRtpFailed;
    }
    if (m_socket->IsTakenAway()) {
        m_batch.Clear();
    }
    // Reads without asking for the pending size first: that size is 0 for an empty datagram too, which would then stay
    // at the head of the socket's queue and wake the thread for ever.
    for (int discarded = 0; discarded < kMostDiscardedPerPoll;) {
        std::span<const std::uint8_t> next;
        if (!m_batch.Next(next)) {
            const qrn::CReceiveBatch::Outcome outcome = m_batch.Fill(*m_socket, m_counters);
            if (outcome == qrn::CReceiveBatch::Outcome::kNothingPending) {
                return qrn::kRtpOk;
            }
            // A failed read has taken the socket's error away.
            discarded += outcome == qrn::CReceiveBatch::Outcome::kFailed ? 1 : 0;
            continue;
        }
        if (!next.empty() && !IsKeptByParity(next)) {
            datagram = next;
            return qrn::kRtpOk;
        }
        ++discarded;
    }
    return qrn::kRtpOk;  // as if nothing had been pending: what else waits comes with the next call
}

int CRtpReader::ReadStream(std::span<const std::uint8_t>& datagram) {
    if (m_stream == nullptr) {
        return qrn::kRtpOk;
    }
    if (!Prepare()) {
        return qrn::kRtpFailed;
    }
    std::uint8_t* const buffer = m_streamBuffers[m_streamBuffer].get();
    const auto capacity = static_cast<std::int32_t>(qrn::kReceiveBufferBytes);
    DWORD info[2]{};
    m_counters.AddSystemCall();
    const std::int32_t read = m_stream->Receive(buffer, capacity, info);
    if (read > capacity) {
        return qrn::kRtpFailed;
    }
    if (read <= 0) {
        return qrn::kRtpOk;
    }
    const std::span received(buffer, static_cast<std::size_t>(read));
    m_counters.AddRead(1, received.size());
    if (!IsKeptByParity(received)) {
        datagram = received;
    }
    return qrn::kRtpOk;
}

bool CRtpReader::IsKeptByParity(std::span<const std::uint8_t> datagram) {
    if (!m_parityOn) {
        return false;
    }
    const int result = m_parity.OnPacketReceived(datagram);
    if (result == 0) {
        m_counters.AddParity();
    } else if (result < 0) {
        m_counters.AddMalformed();
    }
    return result < 1;
}
