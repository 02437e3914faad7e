// CNetworkReceiver on a run of packets with plausible headers, of datagrams that are none, of pauses and of wake-ups
// with nothing to read, in virtual time.
//
// Input: how the session is set up (a byte of flags, window, payload type wanted, capacity), then operations; see Step.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

#include "../audiocoding/FuzzInput.h"
#include "rtp/CNetworkReceiver.h"
#include "rtp/RtpErrors.h"
#include "rtp/TestWire.h"
#include "support/FakeClock.h"

namespace {

class CSession {
public:
    explicit CSession(qrn::fuzz::CInput& input) : m_input(input) {
        const std::uint8_t flags = input.Byte();
        m_tolerant = (flags & 1) != 0;
        m_receiver.SetReorder((flags & 2) == 0);
        m_receiver.SetParityGroup((flags & 4) != 0 ? 3 : 0);
        m_receiver.SetWindow((flags & 8) != 0 ? 0xFFFFFFFF : input.Byte());
        m_wantedType = (flags & 16) != 0 ? 112 + input.Byte() % 8 : 0;
        m_sequence = (flags & 32) != 0 ? 65530 : 5;
        m_packet.Allocate(input.Byte() * std::uint32_t{4});
        m_receiver.SetExternalTransport(&m_transport);
        m_receiver.OpenReceiver(0, "127.0.0.1", 0.000125, false, &m_stop);
        m_receiver.StartExternal();
    }

    void Step() {
        const std::uint8_t operation = m_input.Byte();
        switch (operation % 8) {
            case 0:
                Receive();
                break;
            case 1:
                m_transport.Arrive(Bytes(m_input.Byte()));
                break;
            case 2:
                m_transport.Wake();
                break;
            case 3:
                m_clock.Advance(std::chrono::milliseconds(m_input.Byte()));
                break;
            default:
                ArrivePacket(operation);
                break;
        }
    }

    void Receive() {
        m_packet.m_payloadType = m_wantedType;
        const int result =
            m_tolerant ? m_receiver.ReceiveFrameTolerant(m_packet, 30) : m_receiver.ReceiveFrame(m_packet, 30);
        const bool isFrame = result == qrn::kRtpComplete;
        if (!isFrame && result != qrn::kRtpTimeout && result != qrn::kRtpFrameTooLarge && result != qrn::kRtpNoData) {
            std::abort();
        }
        if (isFrame && (m_packet.m_length > m_packet.m_capacity || m_packet.m_lost > 1 ||
                        (m_wantedType != 0 && m_packet.m_payloadType != m_wantedType))) {
            std::abort();
        }
    }

private:
    qrn::test::Bytes Bytes(std::size_t count) {
        const auto bytes = m_input.Bytes(count);
        return {bytes.begin(), bytes.end()};
    }

    void ArrivePacket(std::uint8_t operation) {
        const std::uint8_t shape = m_input.Byte();
        m_sequence = static_cast<std::uint16_t>(m_sequence + static_cast<std::int8_t>(m_input.Byte()));
        const std::uint8_t type = (shape & 1) != 0 ? static_cast<std::uint8_t>(112 + shape / 32) : std::uint8_t{113};
        const qrn::test::Bytes payload = Bytes(m_input.Byte());
        m_transport.Arrive({.sequence = m_sequence,
                            .timestamp = m_input.Byte(),
                            .marker = (shape & 2) != 0,
                            .payload = std::string(payload.begin(), payload.end()),
                            .type = (operation & 64) != 0 ? std::uint8_t{127} : type,
                            .ssrc = (shape & 4) != 0 ? 0x10203040u : 0x50607080u});
    }

    qrn::fuzz::CInput& m_input;
    qrn::test::CAutoClock m_clock;
    qrn::test::CFakeTransport m_transport;
    qrn::CEvent m_stop{qrn::EventReset::kManual};
    CNetworkReceiver m_receiver{m_clock};
    CPacket m_packet;
    bool m_tolerant = false;
    std::uint8_t m_wantedType = 0;
    std::uint16_t m_sequence = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    qrn::fuzz::CInput input({data, size});
    CSession session(input);
    while (!input.IsEmpty()) {
        session.Step();
    }
    session.Receive();
    return 0;
}
