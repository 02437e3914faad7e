#include "netfilters/CAudioReceiver.h"

#include <system_error>

#include "rtp/RtpErrors.h"
#include "runtime/exceptions.h"

namespace {

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

CAudioReceiver::CAudioReceiver(qrn::IClock& clock) try : CReceiveEngine(clock, "qrn-audio-recv", kChannels) {
} catch (const std::system_error&) {
    throw exc_CAudioReceiver_Net_Init(L"CAudioReceiver", 38, "network initialization error. Creating event. ", 0);
}

CAudioReceiver::~CAudioReceiver() {
    CAudioReceiver::Stop();
}

int CAudioReceiver::ReceiveStep() {
    const std::uint32_t selected = m_selected;
    if (selected >= kChannels) {
        return kStopCode;
    }
    CChannel& heard = Channel(selected);
    if (!heard.opened) {
        return WaitUnopened(heard);
    }
    heard.packet.m_payloadType = PayloadTypeOf(m_codec);
    int result = heard.session.ReceiveFrame(heard.packet, m_timeoutMs);
    if (result == qrn::kRtpComplete) {
        result = OnPacket(heard.packet);
    }
    for (CChannel& other : Channels()) {
        if (&other != &heard && other.opened) {
            other.packet.m_length = 0;
            other.packet.m_payloadType = 0;
            other.session.ReceiveFrame(other.packet, 0);
        }
    }
    return result;
}

int CAudioReceiver::OpenChannel(std::uint32_t channel, IExternalTransport* transport) {
    if (channel >= kChannels) {
        return qrn::kRtpWaitFailed;
    }
    CChannel& opening = Channel(channel);
    if (opening.opened) {
        return qrn::kRtpOk;
    }
    const std::uint32_t firstPort = m_port;
    const int result = Open(opening, firstPort != 0 ? firstPort + 2 * channel : 0, transport, 0);
    if (result == qrn::kRtpOk) {
        m_selected = channel;
    }
    return result;
}
