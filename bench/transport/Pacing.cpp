#include "transport/Pacing.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "rtp/CNetworkTSender.h"
#include "rtp/RtpErrors.h"
#include "transport/Ends.h"

namespace qrn::bench {
namespace {

constexpr std::size_t kFrameBytes = 54'400;  // fifty packets
constexpr std::size_t kFramesAhead = 3;      // the ring holds five and then drops

/// A socket that notes when the system got each datagram.
class CArrivals {
public:
    CArrivals() : m_handle(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        const int on = 1;
        Check(::setsockopt(m_handle, SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on) == 0, "SO_TIMESTAMPNS");
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t bytes = sizeof address;
        Check(::bind(m_handle, reinterpret_cast<sockaddr*>(&address), bytes) == 0, "bind");
        Check(::getsockname(m_handle, reinterpret_cast<sockaddr*>(&address), &bytes) == 0, "getsockname");
        m_port = ntohs(address.sin_port);
    }
    ~CArrivals() { ::close(m_handle); }
    CArrivals(const CArrivals&) = delete;
    CArrivals& operator=(const CArrivals&) = delete;

    std::uint16_t Port() const { return m_port; }

    /// Waits for a datagram. @return its payload's bytes.
    std::size_t Receive() {
        pollfd descriptor{m_handle, POLLIN, 0};
        Check(::poll(&descriptor, 1, kPatienceMs) == 1, "waiting for a paced packet");
        std::array<std::uint8_t, 2048> datagram{};
        alignas(cmsghdr) std::array<std::uint8_t, CMSG_SPACE(sizeof(timespec))> note{};
        iovec piece{datagram.data(), datagram.size()};
        msghdr message{};
        message.msg_iov = &piece;
        message.msg_iovlen = 1;
        message.msg_control = note.data();
        message.msg_controllen = note.size();
        const ssize_t bytes = ::recvmsg(m_handle, &message, 0);
        const cmsghdr* header = CMSG_FIRSTHDR(&message);
        Check(bytes > 12 && header != nullptr && header->cmsg_type == SCM_TIMESTAMPNS, "reading a paced packet");
        timespec time{};
        std::memcpy(&time, CMSG_DATA(header), sizeof time);
        m_times.push_back(static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6);
        return static_cast<std::size_t>(bytes) - 12;
    }
    /// In milliseconds.
    const std::vector<double>& Times() const { return m_times; }

private:
    int m_handle;
    std::uint16_t m_port = 0;
    std::vector<double> m_times;
};

/// What lies further apart than half a pause is of two bursts: within one, packets follow each other in microseconds.
void FindBursts(const std::vector<double>& times, PacingFigures& figures) {
    std::size_t burst = 1;
    std::size_t lastStart = 0;
    figures.worstPauseMs = 1e9;
    for (std::size_t i = 1; i < times.size(); ++i) {
        const double gap = times[i] - times[i - 1];
        if (gap > figures.formulaPauseMs / 2.0) {
            figures.longestBurst = std::max(figures.longestBurst, burst);
            figures.worstPauseMs = std::min(figures.worstPauseMs, gap);
            burst = 0;
            lastStart = i;
        }
        ++burst;
    }
    figures.longestBurst = std::max(figures.longestBurst, burst);
    figures.kbitPerSecond = static_cast<double>(lastStart * kPayloadBytes * 8) / (times[lastStart] - times[0]);
}

}  // namespace

PacingFigures MeasurePacing(std::uint32_t burstPackets, std::uint32_t rateKbit, double seconds) {
    PacingFigures figures;
    figures.formulaPauseMs = burstPackets * static_cast<std::uint32_t>(kPayloadBytes) * 8 / rateKbit;
    figures.formulaKbitPerSecond = static_cast<double>(burstPackets * kPayloadBytes * 8) / figures.formulaPauseMs;

    CArrivals arrivals;
    CNetworkTSender sender;
    sender.SetPacing(burstPackets, rateKbit);
    Check(sender.Open(0, "127.0.0.1", 0.000125, true) == kRtpOk, "opening the paced sender");
    Check(sender.AddDestination("127.0.0.1", arrivals.Port()) == kRtpOk, "adding the destination");
    Check(sender.Start(), "starting the paced sender");
    const std::vector<std::uint8_t> frame(kFrameBytes, 0x5A);
    const auto frames = static_cast<std::size_t>(seconds * rateKbit * 1000 / 8 / kFrameBytes) + 1;
    std::size_t queued = 0;
    std::size_t received = 0;
    while (received < frames * kFrameBytes) {
        while (queued < frames && queued < received / kFrameBytes + kFramesAhead) {
            sender.EnqueueFrame(frame, static_cast<std::uint32_t>(2 * queued));
            ++queued;
        }
        received += arrivals.Receive();
    }
    sender.Stop();
    FindBursts(arrivals.Times(), figures);
    return figures;
}

}  // namespace qrn::bench
