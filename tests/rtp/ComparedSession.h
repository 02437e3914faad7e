#pragma once
/// A receiving session and the model of it, side by side.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <span>
#include <string>

#include "ReassemblyModel.h"
#include "rtp/CNetworkReceiver.h"

namespace qrn::test {

/// @tparam Wire  brings the datagrams and the time.
template <class Wire>
class CComparedSession {
public:
    static constexpr std::uint32_t kTimeoutMs = 30;

    explicit CComparedSession(const ModelSettings& settings)
        : m_settings(settings),
          m_model(settings, Wire::kIsSocket),
          m_receiver(m_wire) {
        m_receiver.SetReorder(settings.reorder);
        m_receiver.SetWindow(settings.window);
        m_receiver.SetParityGroup(settings.parity ? 3 : 0);
        m_isOpen = m_packet.Allocate(settings.capacity) && m_wire.Open(m_receiver);
    }
    bool IsOpen() const { return m_isOpen; }

    /// @param datagram  outlives this.
    void Arrive(std::span<const std::uint8_t> datagram) {
        m_model.Arrive(datagram);
        m_wire.Arrive(datagram);
    }
    void Wake() {
        m_model.Wake();
        m_wire.Wake();
    }
    void Advance(std::uint32_t ms) {
        m_model.Advance(ms);
        m_wire.Advance(std::chrono::milliseconds(ms));
    }

    /// One call of both. @param code  of the session. @return how the session differs from the model, empty if not.
    std::string Receive(int& code) {
        m_wire.Flush(m_receiver);
        m_packet.m_payloadType = m_settings.wantedType;
        code = m_settings.tolerant ? m_receiver.ReceiveFrameTolerant(m_packet, kTimeoutMs)
                                   : m_receiver.ReceiveFrame(m_packet, kTimeoutMs);
        const ModelFrame& expected = m_model.Receive(kTimeoutMs);
        if (code != expected.code) {
            return "result " + std::to_string(code) + " instead of " + std::to_string(expected.code);
        }
        if (code != 241) {
            return {};
        }
        if (!std::ranges::equal(std::span(m_packet.m_data, m_packet.m_length), expected.bytes)) {
            return "other bytes";
        }
        const bool isSame = m_packet.m_timestamp == expected.timestamp && m_packet.m_sequence == expected.sequence &&
                            m_packet.m_lost == expected.lost && m_packet.m_payloadType == expected.type;
        return isSame ? std::string() : "other facts of the frame";
    }

    /// @return as Receive, of the counters; they are cleared.
    std::string CompareCounts() {
        const bool isSame =
            m_receiver.TakeReceivedCount() == m_model.Received() && m_receiver.TakeGapCount() == m_model.Gaps();
        return isSame ? std::string() : "other counts";
    }

    CNetworkReceiver& Receiver() { return m_receiver; }

private:
    const ModelSettings m_settings;
    Wire m_wire;
    CReassemblyModel m_model;
    CNetworkReceiver m_receiver;
    CPacket m_packet;
    bool m_isOpen = false;
};

}  // namespace qrn::test
