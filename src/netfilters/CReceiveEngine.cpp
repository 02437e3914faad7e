#include "netfilters/CReceiveEngine.h"

#include <chrono>
#include <exception>
#include <utility>

#include "platform/system/Log.h"
#include "rtp/RtpErrors.h"

namespace {

constexpr double kTimestampUnit = 0.000125;  // has no effect
/// Frames that the socket's buffer has room for.
constexpr std::uint32_t kBufferedFrames = 10;

}  // namespace

CReceiveEngine::CReceiveEngine(qrn::IClock& clock, std::string threadName, std::uint32_t channels)
    : CMediaThread(clock, std::move(threadName)) {
    for (std::uint32_t i = 0; i < channels; ++i) {
        m_channels.emplace_back(clock);
    }
}

int CReceiveEngine::Run() {
    try {
        return ReceiveStep();
    } catch (const std::exception& failure) {
        qrn::Log(qrn::LogLevel::kWarn, "netfilters", "receiver: the thread ends: %s", failure.what());
        return kStopCode;
    }
}

int CReceiveEngine::WaitUnopened(CChannel& channel) {
    return channel.stopEvent.Wait(Clock(), std::chrono::milliseconds(m_timeoutMs)) ? kStopCode : 0;
}

bool CReceiveEngine::Start() {
    for (CChannel& channel : m_channels) {
        channel.stopEvent.Reset();
        if (channel.opened) {
            channel.session.StartExternal();
        }
    }
    return CMediaThread::Start();
}

bool CReceiveEngine::Stop() {
    for (CChannel& channel : m_channels) {
        channel.stopEvent.Set();
    }
    const bool ended = CMediaThread::Stop();
    for (CChannel& channel : m_channels) {
        if (channel.opened) {
            channel.session.StopExternal();
        }
    }
    return ended;
}

int CReceiveEngine::Open(CChannel& channel, std::uint32_t portWord, IExternalTransport* transport, std::uint8_t mode) {
    if (channel.opened) {
        return qrn::kRtpOk;
    }
    const std::uint32_t capacity = m_capacity;
    if (!channel.packet.Allocate(capacity)) {
        return qrn::kRtpOutOfMemory;
    }
    channel.session.SetExternalTransport(transport);
    channel.session.SetExternalMode(mode);
    channel.session.SetBufferSize(capacity * kBufferedFrames);
    const int result =
        channel.session.OpenReceiver(portWord, Address().c_str(), kTimestampUnit, false, &channel.stopEvent);
    if (result == qrn::kRtpOk) {
        channel.opened = true;
    }
    return result;
}

void CReceiveEngine::SetAddress(std::string address) {
    const qrn::CScopedLock lock(m_addressLock);
    m_address = std::move(address);
}

std::string CReceiveEngine::Address() const {
    const qrn::CScopedLock lock(m_addressLock);
    return m_address;
}
