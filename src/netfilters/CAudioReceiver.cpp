#include "netfilters/CAudioReceiver.h"

#include <chrono>
#include <exception>
#include <system_error>
#include <utility>

#include "platform/system/Log.h"
#include "rtp/RtpErrors.h"
#include "runtime/exceptions.h"

namespace {

constexpr double kTimestampUnit = 0.000125;  // has no effect
/// Packets that the socket's buffer has room for.
constexpr std::uint32_t kBufferedPackets = 10;

std::uint8_t PayloadTypeOf(std::uint32_t codec) {
    switch (codec) {
        case kQrnCodecMp3:
            return qrn::kPayloadMp3;
        case kQrnCodecOpus:
            return qrn::kPayloadOpus;
        default:
            return qrn::kPayloadAudio;
    }
}

}  // namespace

CAudioReceiver::CAudioReceiver(qrn::IClock& clock) try
    : CMediaThread(clock, "qrn-audio-recv"),
      m_channels{CAudioChannel(clock), CAudioChannel(clock), CAudioChannel(clock), CAudioChannel(clock)} {
} catch (const std::system_error&) {
    throw exc_CAudioReceiver_Net_Init(L"CAudioReceiver", 38, "network initialization error. Creating event. ", 0);
}

CAudioReceiver::~CAudioReceiver() {
    CAudioReceiver::Stop();
}

int CAudioReceiver::Run() {
    try {
        return ReceiveStep();
    } catch (const std::exception& failure) {
        qrn::Log(qrn::LogLevel::kWarn, "netfilters", "audio receiver: the thread ends: %s", failure.what());
        return kStopCode;
    }
}

int CAudioReceiver::ReceiveStep() {
    const std::uint32_t selected = m_selected;
    if (selected >= kChannels) {
        return kStopCode;
    }
    CAudioChannel& heard = m_channels[selected];
    if (!heard.opened) {
        return WaitUnopened(heard);
    }
    heard.packet.m_payloadType = PayloadTypeOf(m_codec);
    int result = heard.session.ReceiveFrame(heard.packet, m_timeoutMs);
    if (result == qrn::kRtpComplete) {
        result = OnPacket(heard.packet);
    }
    for (CAudioChannel& other : m_channels) {
        if (&other != &heard && other.opened) {
            other.packet.m_length = 0;
            other.packet.m_payloadType = 0;
            other.session.ReceiveFrame(other.packet, 0);
        }
    }
    return result;
}

int CAudioReceiver::WaitUnopened(CAudioChannel& channel) {
    return channel.stopEvent.Wait(Clock(), std::chrono::milliseconds(m_timeoutMs)) ? kStopCode : 0;
}

bool CAudioReceiver::Start() {
    for (CAudioChannel& channel : m_channels) {
        channel.stopEvent.Reset();
        if (channel.opened) {
            channel.session.StartExternal();
        }
    }
    return CMediaThread::Start();
}

bool CAudioReceiver::Stop() {
    for (CAudioChannel& channel : m_channels) {
        channel.stopEvent.Set();
    }
    const bool ended = CMediaThread::Stop();
    for (CAudioChannel& channel : m_channels) {
        if (channel.opened) {
            channel.session.StopExternal();
        }
    }
    return ended;
}

int CAudioReceiver::OpenChannel(std::uint32_t channel, IExternalTransport* transport) {
    if (channel >= kChannels) {
        return qrn::kRtpWaitFailed;
    }
    CAudioChannel& opening = m_channels[channel];
    if (opening.opened) {
        return qrn::kRtpOk;
    }
    const std::uint32_t capacity = m_packetCapacity;
    if (!opening.packet.Allocate(capacity)) {
        return qrn::kRtpOutOfMemory;
    }
    opening.session.SetExternalTransport(transport);
    opening.session.SetBufferSize(capacity * kBufferedPackets);
    const std::uint32_t firstPort = m_port;
    const std::uint32_t portWord = firstPort != 0 ? firstPort + 2 * channel : 0;
    const int result =
        opening.session.OpenReceiver(portWord, Address().c_str(), kTimestampUnit, false, &opening.stopEvent);
    if (result == qrn::kRtpOk) {
        opening.opened = true;
        m_selected = channel;
    }
    return result;
}

void CAudioReceiver::SetAddress(std::string address) {
    const qrn::CScopedLock lock(m_addressLock);
    m_address = std::move(address);
}

std::string CAudioReceiver::Address() const {
    const qrn::CScopedLock lock(m_addressLock);
    return m_address;
}
