#include "rtp/CNetworkTSender.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>

#include "rtp/RtpErrors.h"
#include "rtp/RtpPacket.h"

namespace {

constexpr std::uint32_t kRingFrames = 5;
constexpr std::uint32_t kFrameBytes = 0x10000;
constexpr std::uint32_t kDefaultRate = 1500;
constexpr std::chrono::milliseconds kFrameWait{5000};
constexpr std::chrono::milliseconds kIdleWait{5};

/// Stuffing shows what a frame's memory holds, which must not be what somebody else left there.
void ClearFrom(CPacket& packet, std::uint32_t start) {
    if (packet.m_data != nullptr && packet.m_capacity > start) {
        std::memset(packet.m_data + start, 0, packet.m_capacity - start);
    }
}

}  // namespace

CNetworkTSender::CNetworkTSender(qrn::IClock& clock)
    : CNetworkSender(clock),
      CMediaThread(clock, "qrn-paced-send"),
      m_ring(kRingFrames) {
    if (m_frame.Allocate(kFrameBytes)) {
        m_frameBytes = kFrameBytes;
        ClearFrom(m_frame, 0);
    }
}

CNetworkTSender::~CNetworkTSender() {
    CNetworkTSender::Stop();
}

int CNetworkTSender::EnqueueFrame(std::span<const std::uint8_t> data, std::uint32_t timestamp) {
    m_ring.Push(data.data(), static_cast<std::uint32_t>(std::min<std::size_t>(data.size(), INT32_MAX)), timestamp,
                qrn::kPayloadVideo);
    m_dataEvent.Set();
    return qrn::kRtpOk;
}

void CNetworkTSender::SetPacing(std::uint32_t burstPackets, std::uint32_t rate) {
    if (burstPackets != 0) {
        m_burstPackets = burstPackets;
    }
    if (rate != 0) {
        m_rate = rate;
    }
}

bool CNetworkTSender::Start() {
    if (!IsRunning()) {
        // Set by a stop that found the thread at work or none: it must not end the new one.
        m_stopEvent.Reset();
    }
    return CMediaThread::Start();
}

bool CNetworkTSender::Stop() {
    m_stopEvent.Set();
    return CMediaThread::Stop();
}

int CNetworkTSender::Run() {
    const std::int32_t payloadSize = PayloadSize();
    if (payloadSize <= 0) {
        StopEvent().Wait(CMediaThread::Clock(), kIdleWait);
        return qrn::kRtpOk;
    }
    if (!WaitForFrame()) {
        return kStopCode;
    }
    if (!TakeFrame()) {
        // A frame that comes between the two waits for the next one or for the time-out. That is meant.
        m_dataEvent.Reset();
        return qrn::kRtpOk;
    }
    const auto payloadBytes = static_cast<std::uint32_t>(payloadSize);
    m_sleepMs = BurstMs(payloadBytes);
    if (m_frame.m_length > 0) {
        if (const int result = SendPaced(payloadBytes); result < 0) {
            return result;
        }
    }
    if (StuffingBytes() != 0) {
        StuffPaced(m_frame.m_length, payloadBytes);
    }
    return qrn::kRtpOk;
}

/// @return false when the thread is to stop; true also after the time-out, as a look into the ring costs nothing.
bool CNetworkTSender::WaitForFrame() {
    std::array<pollfd, 2> descriptors{{{m_stopEvent.Descriptor(), POLLIN, 0}, {m_dataEvent.Descriptor(), POLLIN, 0}}};
    CMediaThread::Clock().Poll(descriptors, kFrameWait);
    return descriptors[0].revents == 0 || !m_stopEvent.TryConsume();
}

bool CNetworkTSender::TakeFrame() {
    const std::uint32_t bytesBefore = m_frameBytes;
    if (!m_ring.Pop(m_frame)) {
        return false;
    }
    // An empty element lowers the recorded capacity, not the memory; a larger one has replaced both.
    if (m_frame.m_capacity > bytesBefore || m_frame.m_data == nullptr) {
        m_frameBytes = m_frame.m_capacity;
        ClearFrom(m_frame, m_frame.m_length);
    }
    m_frame.m_capacity = m_frameBytes;
    return true;
}

/// The time that one burst takes at the pacing rate. The product wraps.
std::uint32_t CNetworkTSender::BurstMs(std::uint32_t payloadBytes) {
    if (m_rate == 0) {
        m_rate = kDefaultRate;
    }
    return m_burstPackets * payloadBytes * 8 / m_rate;
}

int CNetworkTSender::SendPaced(std::size_t payloadBytes) {
    qrn::OutgoingFrame frame{
        {m_frame.m_data, m_frame.m_length}, payloadBytes, m_frame.m_timestamp, m_frame.m_payloadType};
    while (!frame.IsSent()) {
        const std::size_t sentBefore = frame.sentBytes;
        const int result = Session().Send(frame, RoomInBurst());
        const std::size_t bytes = frame.sentBytes - sentBefore;
        m_packetsInBurst += static_cast<std::uint32_t>((bytes + payloadBytes - 1) / payloadBytes);
        m_bytesInBurst += static_cast<std::uint32_t>(bytes);
        if (result < 0) {
            return result;
        }
        if (m_packetsInBurst >= m_burstPackets) {
            // Told to stop, the frame leaves without further pauses: the far end shall not get half of it.
            PauseAfterBurst();
            m_bytesInBurst = 0;
        }
    }
    return qrn::kRtpOk;
}

void CNetworkTSender::StuffPaced(std::size_t sentBytes, std::size_t payloadBytes) {
    std::chrono::nanoseconds patience = qrn::kSendPatience;
    std::size_t due = CountStuffing(sentBytes, payloadBytes);
    bool goesOn = true;
    while (due > 0 && goesOn) {
        const std::size_t datagrams = std::min(due, RoomInBurst());
        SendStuffing({m_frame.m_data, m_frameBytes}, payloadBytes, datagrams, patience);
        due -= datagrams;
        m_packetsInBurst += static_cast<std::uint32_t>(datagrams);
        if (m_packetsInBurst >= m_burstPackets) {
            goesOn = PauseAfterBurst();
        }
    }
}

/// A burst that was made smaller while the thread stood may be full already; a packet then closes it.
std::size_t CNetworkTSender::RoomInBurst() const {
    return m_burstPackets > m_packetsInBurst ? m_burstPackets - m_packetsInBurst : 1;
}

bool CNetworkTSender::PauseAfterBurst() {
    m_packetsInBurst = 0;
    const std::chrono::nanoseconds pause = std::chrono::milliseconds(m_sleepMs);
    // What the pause before took too long is taken off, so that a busy machine keeps the rate; half of each pause stays
    // in any case.
    const std::chrono::nanoseconds wanted = pause - std::min(m_overslept, pause / 2);
    const std::chrono::nanoseconds start = CMediaThread::Clock().Now();
    const bool isStopped = StopEvent().Wait(CMediaThread::Clock(), wanted);
    m_overslept = std::max(CMediaThread::Clock().Now() - start - wanted, std::chrono::nanoseconds::zero());
    return !isStopped;
}
