#include "client/NetworkCheck.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>

#include <thread>

#include "client/ClientError.h"

namespace qrn {
namespace {

using testing::HasSubstr;

constexpr const char* kLoopback = "127.0.0.1";

sockaddr_in Loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    inet_pton(AF_INET, kLoopback, &address.sin_addr);
    return address;
}

/// A socket as a session opens it.
CFileDescriptor SharedSocket(int port) {
    CFileDescriptor result(socket(AF_INET, SOCK_DGRAM, 0));
    const int on = 1;
    setsockopt(result.Get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    const sockaddr_in address = Loopback(port);
    EXPECT_EQ(bind(result.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    return result;
}

std::string FailureOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const CClientError& error) {
        return error.what();
    }
    return "done";
}

TEST(NetworkCheck, FindsAnEvenPortThatIsFree) {
    const int port = FindFreeEvenPort(kLoopback);
    EXPECT_EQ(port % 2, 0);
    EXPECT_EQ(FailureOf([&] { RequireFreePort(kLoopback, port); }), "done");
}

TEST(NetworkCheck, SeesAPortThatASessionHolds) {
    const int port = FindFreeEvenPort(kLoopback);
    const CFileDescriptor session = SharedSocket(port);
    const std::string expected = "port " + std::to_string(port) + " is in use by another program";
    EXPECT_EQ(FailureOf([&] { RequireFreePort(kLoopback, port); }), expected);
    EXPECT_EQ(FailureOf([&] { RequireFreePort("0.0.0.0", port); }), expected);
}

TEST(NetworkCheck, SeesAnAddressOfAnotherMachine) {
    EXPECT_THAT(FailureOf([] { RequireFreePort("192.0.2.1", 5000); }),
                HasSubstr("192.0.2.1 is not one of this machine"));
    EXPECT_THAT(FailureOf([] { FindFreeEvenPort("192.0.2.1"); }), HasSubstr("192.0.2.1 is not one of this machine"));
}

TEST(NetworkCheck, ResolvesNames) {
    const CStopSignal stop;
    EXPECT_EQ(ResolveIpv4("127.0.0.5", stop), "127.0.0.5");
    EXPECT_EQ(ResolveIpv4("localhost", stop), kLoopback);
    EXPECT_THAT(FailureOf([&] { ResolveIpv4("no host has blanks", stop); }),
                HasSubstr("the host no host has blanks: "));
}

TEST(NetworkCheck, SeesAFarEndThatRefuses) {
    const int port = FindFreeEvenPort(kLoopback);
    CFarEndProbe probe(kLoopback, port);
    EXPECT_FALSE(probe.AskAgain()) << "nothing was asked before";
    EXPECT_TRUE(probe.AskAgain());
    const CFileDescriptor farEnd = SharedSocket(port);
    probe.AskAgain();
    EXPECT_FALSE(probe.AskAgain()) << "it has come up";
}

struct ArrivalCase {
    const char* name;
    std::string datagram;
    const char* sentence;
};
void PrintTo(const ArrivalCase& test, std::ostream* out) {
    *out << test.name;
}

class NothingReceived : public testing::TestWithParam<ArrivalCase> {};

TEST_P(NothingReceived, IsExplained) {
    const CStopSignal stop;
    const int port = FindFreeEvenPort(kLoopback);
    const CFileDescriptor session = SharedSocket(port);
    const CFileDescriptor sender(socket(AF_INET, SOCK_DGRAM, 0));
    const sockaddr_in address = Loopback(port);
    Arrivals arrivals;
    // The watch takes the port over at some moment, so the datagram is sent until one has got through.
    std::atomic<bool> done = false;
    std::thread watch([&] {
        do {
            arrivals = WatchPort(kLoopback, port, std::chrono::milliseconds(50), stop);
        } while (arrivals.datagrams == 0 && !GetParam().datagram.empty());
        done = true;
    });
    while (!done) {
        sendto(sender.Get(), GetParam().datagram.data(), GetParam().datagram.size(), 0,
               reinterpret_cast<const sockaddr*>(&address), GetParam().datagram.empty() ? 0 : sizeof(address));
        std::this_thread::yield();
    }
    watch.join();
    const std::string text = ExplainNothingReceived(arrivals, port, *FindCodec("gsm"), 5);
    EXPECT_THAT(text, HasSubstr("port " + std::to_string(port)));
    EXPECT_THAT(text, HasSubstr("gsm"));
    EXPECT_THAT(text, HasSubstr(GetParam().sentence));
}

std::string RtpHeader(char payloadType) {
    return std::string("\x80") + payloadType + std::string(20, '\1');
}

INSTANTIATE_TEST_SUITE_P(Datagrams, NothingReceived,
                         testing::Values(ArrivalCase{"Silence", "", "nothing arrived"},
                                         ArrivalCase{"Noise", std::string(50, '\x11'), "are no RTP packets"},
                                         ArrivalCase{"TooShort", "\x80\x70", "are no RTP packets"},
                                         ArrivalCase{"Opus", RtpHeader(115), "payload type 115 (such as opus)"},
                                         ArrivalCase{"Video", RtpHeader(113), "payload type 113;"},
                                         ArrivalCase{"Marked", RtpHeader(static_cast<char>(0x80 | 114)), "such as mp3"},
                                         ArrivalCase{"Same", RtpHeader(112), "give no frame of gsm"}),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST(StopSignal, WakesAWaiterAndStays) {
    CStopSignal stop;
    EXPECT_FALSE(stop.HasCome());
    std::thread waiter([&] { EXPECT_TRUE(stop.WaitFor(std::chrono::seconds(20))); });
    raise(SIGINT);
    waiter.join();
    EXPECT_TRUE(stop.HasCome());
}

TEST(StopSignal, IsNewEachTime) {
    for (const int signal : {SIGTERM, SIGINT}) {
        CStopSignal stop;
        EXPECT_FALSE(stop.HasCome());
        raise(signal);
        EXPECT_TRUE(stop.HasCome());
    }
}

TEST(StopSignal, LetsASecondSignalEndTheProgram) {
    EXPECT_EXIT(
        {
            CStopSignal stop;
            raise(SIGINT);
            raise(SIGINT);
        },
        testing::KilledBySignal(SIGINT), "");
}

}  // namespace
}  // namespace qrn
