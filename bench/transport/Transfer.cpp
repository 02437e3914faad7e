#include "transport/Transfer.h"

#include <time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <numeric>
#include <thread>

namespace qrn::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kLargestWindow = 256 * 1024;
/// A frame of so many is compared byte by byte.
constexpr std::uint64_t kSampleEvery = 31;
constexpr std::chrono::milliseconds kFramePeriod{10};

double ThreadCpuSeconds() {
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/// Bytes of frames on the way. The system charges more than twice the datagrams' bytes to the buffer and gives a part
/// back late.
std::size_t WindowBytes() {
    return std::min(GrantedReceiveBuffer() * 3 / 10, kLargestWindow);
}

/// A count that one thread raises and another waits for. Telling costs a system call only where it was asked for.
class CProgress {
public:
    std::uint64_t Get() const { return m_count.load(); }
    void Raise(std::uint64_t count) {
        m_count.store(count);
        if (m_wanted.load() == count) {
            m_signal.store(1);
            m_signal.notify_one();
        }
    }
    /// For a count that Raise is called with, greater than those waited for before.
    void WaitFor(std::uint64_t count) {
        m_wanted.store(count);
        while (m_count.load() < count) {
            m_signal.wait(0);
            m_signal.store(0);
        }
    }

private:
    std::atomic<std::uint64_t> m_count{0};
    std::atomic<std::uint64_t> m_wanted{UINT64_MAX};
    std::atomic<int> m_signal{0};
};

/// Frames on their way. The sender sleeps while the window is full, until half of it is free.
class CWindow {
public:
    CWindow(Pattern pattern, std::size_t frameBytes, std::uint64_t frames)
        : m_pattern(pattern),
          m_most(std::max<std::uint64_t>(WindowBytes() / frameBytes, 1)),
          m_half(std::max<std::uint64_t>(m_most / 2, 1)),
          m_frames(frames) {}

    void WaitForRoom(std::uint64_t sent) {
        if (sent - m_received.Get() >= m_most) {
            m_received.WaitFor(sent - m_most + m_half);
        }
    }
    void Sent(std::uint64_t count) {
        if (m_pattern == Pattern::kBatches) {
            m_sent.Raise(count);
        }
    }
    void WaitForBatch(std::uint64_t received) {
        if (m_pattern == Pattern::kBatches && received % m_half == 0) {
            m_sent.WaitFor(std::min(received + m_half, m_frames));
        }
    }
    void Received(std::uint64_t count) { m_received.Raise(count); }

private:
    const Pattern m_pattern;
    const std::uint64_t m_most;
    const std::uint64_t m_half;
    const std::uint64_t m_frames;
    CProgress m_sent;
    CProgress m_received;
};

std::vector<std::uint8_t> Content(std::size_t bytes) {
    std::vector<std::uint8_t> content(bytes);
    std::uint32_t state = 1;
    for (std::uint8_t& byte : content) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<std::uint8_t>(state >> 24);
    }
    return content;
}

/// A number that lies at the start of the frame.
void Put(std::vector<std::uint8_t>& frame, std::uint64_t number) {
    std::memcpy(frame.data(), &number, sizeof number);
}
std::uint64_t Get(const std::vector<std::uint8_t>& frame) {
    std::uint64_t number = 0;
    std::memcpy(&number, frame.data(), sizeof number);
    return number;
}

std::uint64_t Nanoseconds() {
    return static_cast<std::uint64_t>(Clock::now().time_since_epoch().count());
}

}  // namespace

TransferFigures Transfer(const Transport& transport, Pattern pattern, std::size_t frameBytes, std::size_t frames) {
    const std::uint64_t datagramsBefore = transport.sender->Datagrams();
    const std::uint64_t callsBefore = transport.sender->SystemCalls() + transport.receiver->SystemCalls();
    const std::vector<std::uint8_t> content = Content(frameBytes);
    CWindow window(pattern, frameBytes, frames);
    double receiverCpu = 0;
    std::thread receiver([&] {
        std::vector<std::uint8_t> frame(kLargestFrame);
        const double before = ThreadCpuSeconds();
        for (std::uint64_t i = 0; i < frames; ++i) {
            window.WaitForBatch(i);
            Check(transport.receiver->ReceiveFrame(frame) == frameBytes && Get(frame) == i, "receiving every frame");
            if (i % kSampleEvery == 0) {
                constexpr std::size_t kSkip = sizeof(std::uint64_t);
                Check(std::memcmp(&frame[kSkip], &content[kSkip], frameBytes - kSkip) == 0, "keeping every byte");
            }
            window.Received(i + 1);
        }
        receiverCpu = ThreadCpuSeconds() - before;
    });
    std::vector<std::uint8_t> frame = content;
    const auto start = Clock::now();
    const double cpuBefore = ThreadCpuSeconds();
    for (std::uint64_t i = 0; i < frames; ++i) {
        window.WaitForRoom(i);
        Put(frame, i);
        transport.sender->SendFrame(frame, static_cast<std::uint32_t>(2 * i));
        window.Sent(i + 1);
    }
    const double senderCpu = ThreadCpuSeconds() - cpuBefore;
    receiver.join();
    Check(transport.receiver->Lost() == 0, "losing nothing");
    return {std::chrono::duration<double>(Clock::now() - start).count(), senderCpu + receiverCpu,
            std::uint64_t{frameBytes} * frames, transport.sender->Datagrams() - datagramsBefore,
            transport.sender->SystemCalls() + transport.receiver->SystemCalls() - callsBefore};
}

std::vector<double> MeasureLatency(const Transport& transport, std::size_t frameBytes, std::size_t frames) {
    std::vector<double> microseconds;
    std::thread receiver([&] {
        std::vector<std::uint8_t> frame(kLargestFrame);
        for (std::size_t i = 0; i < frames; ++i) {
            Check(transport.receiver->ReceiveFrame(frame) == frameBytes, "receiving every frame");
            microseconds.push_back(static_cast<double>(Nanoseconds() - Get(frame)) / 1e3);
        }
    });
    std::vector<std::uint8_t> frame = Content(frameBytes);
    auto next = Clock::now();
    for (std::size_t i = 0; i < frames; ++i) {
        next += kFramePeriod;
        std::this_thread::sleep_until(next);
        Put(frame, Nanoseconds());
        transport.sender->SendFrame(frame, static_cast<std::uint32_t>(2 * i));
    }
    receiver.join();
    return microseconds;
}

}  // namespace qrn::bench
