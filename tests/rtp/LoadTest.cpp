// Many sessions: what they hold is given back, and none of them loses anything to the others.

#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/resource.h>

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "TestWire.h"
#include "platform/system/Clock.h"
#include "platform/system/Event.h"
#include "rtp/CNetworkReceiver.h"
#include "rtp/CNetworkSender.h"
#include "rtp/RtpErrors.h"

using qrn::test::Bytes;
using qrn::test::Pattern;

namespace {

#ifdef QRN_SANITIZED
constexpr bool kIsSanitized = true;
#else
constexpr bool kIsSanitized = false;
#endif

constexpr std::uint8_t kType = 113;
constexpr std::uint16_t kSharedPort = 61844;
constexpr std::uint32_t kPatienceMs = 20000;

std::size_t OpenDescriptors() {
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

/// Bytes of the heap that are in use, the large blocks too. 0 where a sanitizer has the heap; leaks are its matter
/// then.
std::size_t HeapBytes() {
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

/// A receiver with all that belongs to it.
struct Listener {
    explicit Listener(std::uint32_t bufferBytes) {
        m_session.SetBufferSize(bufferBytes);
        EXPECT_EQ(m_session.OpenReceiver(0, "127.0.0.1", 0.000125, false, &m_stop), qrn::kRtpOk);
        EXPECT_TRUE(m_packet.Allocate(65536));
    }
    /// @return whether it is this frame, whole and with nothing lost before it.
    bool Receive(const Bytes& frame, std::uint32_t timestamp) {
        m_packet.m_payloadType = kType;
        return m_session.ReceiveFrame(m_packet, kPatienceMs) == qrn::kRtpComplete && m_packet.m_lost == 0 &&
               (m_packet.m_timestamp & ~1u) == timestamp &&
               std::ranges::equal(std::span(m_packet.m_data, m_packet.m_length), frame);
    }

    qrn::CEvent m_stop{qrn::EventReset::kManual};
    CNetworkReceiver m_session;
    CPacket m_packet;
};

/// Pairs of sessions that are open at the same time, each of which carries a frame.
void UseSessions(std::size_t pairs) {
    const Bytes frame = Pattern(20000);
    std::vector<std::unique_ptr<Listener>> listeners;
    std::vector<std::unique_ptr<CNetworkSender>> senders;
    for (std::size_t i = 0; i < pairs; ++i) {
        const Listener& listener = *listeners.emplace_back(std::make_unique<Listener>(565535));
        CNetworkSender& sender = *senders.emplace_back(std::make_unique<CNetworkSender>());
        ASSERT_EQ(sender.Open(0, "127.0.0.1", 0.000125, true), qrn::kRtpOk);
        ASSERT_EQ(sender.AddDestination("127.0.0.1", listener.m_session.LocalPort()), qrn::kRtpOk);
    }
    for (std::size_t i = 0; i < pairs; ++i) {
        ASSERT_EQ(senders[i]->SendFrame(frame, 40, kType), qrn::kRtpOk);
        ASSERT_TRUE(listeners[i]->Receive(frame, 40)) << i;
    }
}

TEST(Load, AThousandSessionsGiveBackWhatTheyHold) {
    constexpr std::size_t kPairsAtOnce = 50;
    constexpr int kTimes = kIsSanitized ? 2 : 10;
    UseSessions(kPairsAtOnce);  // what is made once for all
    const std::size_t descriptors = OpenDescriptors();
    const std::size_t heap = HeapBytes();
    for (int i = 0; i < kTimes; ++i) {
        UseSessions(kPairsAtOnce);
    }
    EXPECT_EQ(OpenDescriptors(), descriptors);
    // Less than 17 bytes a session.
    EXPECT_LT(HeapBytes(), heap + 16 * 1024);
}

// The system gives ports in use to sockets that may share: of so many, some would have met.
TEST(Load, APortOfTheSystemsChoiceIsNobodyElses) {
    constexpr std::size_t kSessions = 600;
    std::vector<std::unique_ptr<CNetworkReceiver>> sessions;
    std::set<std::uint16_t> ports;
    for (std::size_t i = 0; i < kSessions; ++i) {
        CNetworkReceiver& session = *sessions.emplace_back(std::make_unique<CNetworkReceiver>());
        ASSERT_EQ(session.Open(0, "127.0.0.1", 0.000125, false), qrn::kRtpOk);
        ports.insert(session.LocalPort());
    }
    EXPECT_EQ(ports.size(), kSessions);
    // One that is asked for is shared as ever.
    CNetworkReceiver asked;
    CNetworkReceiver second;
    EXPECT_EQ(asked.Open(kSharedPort, "127.0.0.1", 0.000125, false), qrn::kRtpOk);
    EXPECT_EQ(second.Open(kSharedPort, "127.0.0.1", 0.000125, false), qrn::kRtpOk);
}

/// How many frames each listener has.
class CProgress {
public:
    explicit CProgress(std::size_t listeners) : m_frames(listeners) {}
    void Count(std::size_t listener) {
        const std::scoped_lock lock(m_lock);
        ++m_frames[listener];
        m_changed.notify_one();
    }
    void Fail() {
        const std::scoped_lock lock(m_lock);
        m_hasFailed = true;
        m_changed.notify_one();
    }
    /// Until every listener has so many. @return false when one has failed or nothing comes any more.
    bool WaitForAll(std::size_t frames) {
        std::unique_lock lock(m_lock);
        return m_changed.wait_for(lock, std::chrono::milliseconds(kPatienceMs), [&] {
            return m_hasFailed || std::ranges::min(m_frames) >= frames;
        }) && !m_hasFailed;
    }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<std::size_t> m_frames;
    bool m_hasFailed = false;
};

double CpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// 500 packets a second each, in frames of five. On a machine that is too slow for that the sender waits: nobody may
// lose anything, however long it takes.
TEST(Load, AHundredReceiversLoseNothing) {
    constexpr std::size_t kListeners = kIsSanitized ? 20 : 100;
    constexpr std::size_t kFrames = kIsSanitized ? 50 : 200;
    constexpr std::size_t kPacketsInFrame = 5;
    constexpr std::size_t kFramesOnTheWay = 8;
    constexpr std::chrono::milliseconds kPeriod{10};
    const Bytes frame = Pattern(kPacketsInFrame * 1088 - 1);
    const auto timestampOf = [](std::size_t i) { return static_cast<std::uint32_t>(40 * i); };

    std::vector<std::unique_ptr<Listener>> listeners;
    CNetworkSender sender;
    ASSERT_EQ(sender.Open(0, "127.0.0.1", 0.000125, true), qrn::kRtpOk);
    for (std::size_t i = 0; i < kListeners; ++i) {
        listeners.push_back(std::make_unique<Listener>(565535));
        ASSERT_EQ(sender.AddDestination("127.0.0.1", listeners[i]->m_session.LocalPort()), qrn::kRtpOk);
    }
    CProgress progress(kListeners);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < kListeners; ++i) {
        threads.emplace_back([&, i] {
            for (std::size_t k = 0; k < kFrames; ++k) {
                if (!listeners[i]->Receive(frame, timestampOf(k))) {
                    ADD_FAILURE() << "listener " << i << " lost frame " << k;
                    progress.Fail();
                    return;
                }
                progress.Count(i);
            }
        });
    }
    const auto start = qrn::SystemClock().Now();
    const double cpuBefore = CpuSeconds();
    bool isWell = true;
    for (std::size_t k = 0; k < kFrames && isWell; ++k) {
        qrn::SystemClock().SleepFor(start + k * kPeriod - qrn::SystemClock().Now());
        isWell = progress.WaitForAll(k < kFramesOnTheWay ? 0 : k + 1 - kFramesOnTheWay);
        EXPECT_EQ(sender.SendFrame(frame, timestampOf(k), kType), qrn::kRtpOk);
    }
    EXPECT_TRUE(progress.WaitForAll(kFrames));
    for (const auto& listener : listeners) {
        listener->m_stop.Set();
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const double seconds = std::chrono::duration<double>(qrn::SystemClock().Now() - start).count();
    const double cpu = (CpuSeconds() - cpuBefore) / seconds;

    EXPECT_EQ(sender.Statistics().datagrams, kListeners * kFrames * kPacketsInFrame);
    EXPECT_EQ(sender.Statistics().failures, 0u);
    for (const auto& listener : listeners) {
        const qrn::ReceiveStatistics statistics = listener->m_session.ReceiveStatistics();
        EXPECT_EQ(statistics.datagrams, kFrames * kPacketsInFrame);
        EXPECT_EQ(statistics.noRoom + statistics.malformed + statistics.late + statistics.refused, 0u);
        EXPECT_EQ(listener->m_session.TakeReceivedCount(), kFrames * kPacketsInFrame);
        EXPECT_EQ(listener->m_session.TakeGapCount(), 0u);
    }
    std::printf("%zu receivers, %.0f packets a second each, %.0f %% of one processor with the sender\n", kListeners,
                kFrames * kPacketsInFrame / seconds, 100 * cpu);
    testing::Test::RecordProperty("cpuPercent", static_cast<int>(100 * cpu));
}

}  // namespace
