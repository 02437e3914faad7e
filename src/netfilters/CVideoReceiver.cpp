#include "netfilters/CVideoReceiver.h"

#include <system_error>

#include "rtp/RtpErrors.h"
#include "runtime/exceptions.h"

CVideoReceiver::CVideoReceiver(qrn::IClock& clock) try : CReceiveEngine(clock, "qrn-video-recv", kChannels) {
} catch (const std::system_error&) {
    throw exc_CVideoReceiver_Net_Init(L"CVideoReceiver", 38, "network initialization error. Creating event. ", 0);
}

CVideoReceiver::~CVideoReceiver() {
    CVideoReceiver::Stop();
}

int CVideoReceiver::ReceiveStep() {
    CChannel& channel = Channel(0);
    if (!channel.opened) {
        return WaitUnopened(channel);
    }
    const int result = m_tolerateGaps != 0 ? channel.session.ReceiveFrameTolerant(channel.packet, m_timeoutMs)
                                           : channel.session.ReceiveFrame(channel.packet, m_timeoutMs);
    return result == qrn::kRtpComplete ? OnFrame(channel.packet) : result;
}

int CVideoReceiver::OpenSession(IExternalTransport* transport) {
    CChannel& channel = Channel(0);
    if (!channel.opened) {
        // Frames keep it from here on: what is received has it too.
        channel.packet.m_payloadType = qrn::PayloadTypeOfVideo(m_codecIndex);
    }
    return Open(channel, m_port, transport, transport != nullptr ? 1 : 0);
}
