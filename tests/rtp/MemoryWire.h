#pragma once
/// Datagrams from memory and time from memory: a session over it makes no system call while it receives.

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <deque>
#include <span>
#include <stdexcept>

#include "platform/system/Clock.h"
#include "qrn/QRN_Media2.h"
#include "rtp/CNetworkReceiver.h"

namespace qrn::test {

/// A client's transport and the clock of its session in one. One thread.
class CMemoryWire final : public IExternalTransport, public IExternalStream, public IClock {
public:
    static constexpr bool kIsSocket = false;

    bool Open(CNetworkReceiver& receiver) {
        receiver.SetExternalTransport(this);
        if (receiver.OpenReceiver(0, "127.0.0.1", 0.000125, false, nullptr) != 0) {
            return false;
        }
        receiver.StartExternal();
        return true;
    }
    /// @param datagram  outlives the wire.
    void Arrive(std::span<const std::uint8_t> datagram) { m_incoming.push_back(datagram); }
    void Wake() { m_woken = true; }
    void Advance(std::chrono::nanoseconds time) { m_now += time; }
    void Flush(const CNetworkReceiver& /*receiver*/) {}

    // IClock
    std::chrono::nanoseconds Now() const override { return m_now; }
    void SleepFor(std::chrono::nanoseconds time) override { m_now += time; }
    int Poll(std::span<pollfd> descriptors, std::chrono::nanoseconds timeout) override {
        for (pollfd& descriptor : descriptors) {
            const bool isReady = descriptor.fd == kDescriptor && (m_woken || !m_incoming.empty());
            descriptor.revents = isReady ? POLLIN : 0;
        }
        if (descriptors[0].revents != 0) {
            return 1;
        }
        m_now += timeout;
        return 0;
    }

    // IExternalTransport, IExternalStream
    IExternalStream* CreateStream(DWORD /*reserved*/, DWORD /*port*/) override { return this; }
    void Reserved1() override {}
    void ReleaseStream(IExternalStream* /*stream*/) override {}
    void Reserved0() override {}
    std::int32_t Receive(BYTE* buffer, std::int32_t capacity, DWORD* /*info*/) override {
        if (m_incoming.empty()) {
            m_woken = false;
            return 0;
        }
        const std::span<const std::uint8_t> datagram = m_incoming.front();
        m_incoming.pop_front();
        m_woken = m_woken && !m_incoming.empty();
        if (datagram.size() > static_cast<std::size_t>(capacity)) {
            throw std::logic_error("no datagram is so long");
        }
        std::copy(datagram.begin(), datagram.end(), buffer);
        return static_cast<std::int32_t>(datagram.size());
    }
    void Reserved2() override {}
    std::int32_t Send(const BYTE* /*buffer*/, std::int32_t length, DWORD /*flags*/, DWORD /*port*/) override {
        return length;
    }
    int GetReadEvent() override { return kDescriptor; }
    void Reserved5() override {}
    void SetMode(DWORD /*mode*/) override {}

private:
    static constexpr int kDescriptor = 0x7FFFFFF0;  // nothing polls it in earnest

    std::chrono::nanoseconds m_now = std::chrono::seconds(1000);
    bool m_woken = false;
    std::deque<std::span<const std::uint8_t>> m_incoming;
};

}  // namespace qrn::test
