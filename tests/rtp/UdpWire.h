#pragma once
/// Datagrams over a real socket on loopback, in time from memory.

#include <chrono>
#include <cstdint>
#include <span>
#include <vector>

#include "TestWire.h"
#include "platform/system/Clock.h"
#include "rtp/CNetworkReceiver.h"

namespace qrn::test {

/// How a sender hands several datagrams to the system.
enum class SendManner { kOneByOne, kRunsTogether };

/// Sends to a session and is its clock: time passes only while nothing is under way. One thread.
template <SendManner kManner>
class CUdpWire final : public IClock {
public:
    static constexpr bool kIsSocket = true;

    bool Open(CNetworkReceiver& receiver) {
        m_receiver = &receiver;
        receiver.SetBufferSize(2'000'000);
        return receiver.OpenReceiver(0, "127.0.0.1", 0.000125, false, nullptr) == 0;
    }
    void Arrive(std::span<const std::uint8_t> datagram) { m_waiting.emplace_back(datagram.begin(), datagram.end()); }
    void Wake() {}
    void Advance(std::chrono::nanoseconds time) { m_now += time; }

    /// Sends what has been put in.
    void Flush(const CNetworkReceiver& receiver) {
        for (std::size_t at = 0; at < m_waiting.size();) {
            std::size_t end = at + 1;
            if (kManner == SendManner::kRunsTogether) {
                end = EndOfRun(at);
            }
            SendRun(receiver.LocalPort(), at, end);
            m_sent += end - at;
            at = end;
        }
        m_waiting.clear();
    }

    // IClock
    std::chrono::nanoseconds Now() const override { return m_now; }
    void SleepFor(std::chrono::nanoseconds time) override { m_now += time; }
    int Poll(std::span<pollfd> descriptors, std::chrono::nanoseconds timeout) override {
        constexpr auto kPatience = std::chrono::seconds(20);
        const bool isUnderWay = m_receiver->ReceiveStatistics().datagrams < m_sent;
        const int ready = SystemClock().Poll(descriptors, isUnderWay ? kPatience : std::chrono::seconds(0));
        if (ready == 0) {
            m_now += timeout;
        }
        return ready;
    }

private:
    /// A run is of one size, but its last datagram may be shorter.
    std::size_t EndOfRun(std::size_t at) const {
        constexpr std::size_t kMostDatagrams = 64;
        constexpr std::size_t kMostBytes = 60000;
        const std::size_t bytes = m_waiting[at].size();
        std::size_t end = at + 1;
        while (bytes > 0 && end < m_waiting.size() && end - at < kMostDatagrams &&
               (end - at + 1) * bytes < kMostBytes && !m_waiting[end].empty() && m_waiting[end].size() <= bytes) {
            ++end;
            if (m_waiting[end - 1].size() < bytes) {
                break;
            }
        }
        return end;
    }

    void SendRun(std::uint16_t port, std::size_t at, std::size_t end) {
        Bytes run;
        for (std::size_t i = at; i < end; ++i) {
            run.insert(run.end(), m_waiting[i].begin(), m_waiting[i].end());
        }
        m_peer.SendTo(port, run, end - at > 1 ? m_waiting[at].size() : 0);
    }

    CUdpPeer m_peer;
    const CNetworkReceiver* m_receiver = nullptr;
    std::chrono::nanoseconds m_now = std::chrono::seconds(1000);
    std::vector<Bytes> m_waiting;
    std::uint64_t m_sent = 0;
};

}  // namespace qrn::test
