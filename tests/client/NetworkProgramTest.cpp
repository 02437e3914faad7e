// The network options of the program, seen from outside: by plain sockets, and by the program at the other end.

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>

#include "CProgram.h"
#include "client/FileDescriptor.h"
#include "client/NetworkCheck.h"
#include "platform/system/Clock.h"
#include "rtp/TestWire.h"

namespace qrn {
namespace {

using nlohmann::json;
using test::CProgram;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr const char* kLoopback = "127.0.0.1";
constexpr const char* kGroup = "239.255.40.1";
constexpr const char* kKey = "4fl6DT4Bi+DWT6MsBt5BOQ7Gda1Jiv7rtpYLOqvm";
constexpr const char* kOtherKey = "5fl6DT4Bi+DWT6MsBt5BOQ7Gda1Jiv7rtpYLOqvm";

std::string FreePort() {
    return std::to_string(FindFreeEvenPort(kLoopback));
}

/// A datagram with what the system says of its head.
struct Arrival {
    test::Bytes bytes;
    int ttl = -1;
    int tos = -1;
    int PayloadType() const { return bytes.size() < 12 ? -1 : bytes[1] & 0x7F; }
    int Sequence() const { return bytes[2] << 8 | bytes[3]; }
};

/// A plain socket on an even port, in the group too.
class CWitness {
public:
    CWitness() : m_port(FindFreeEvenPort(kLoopback)), m_socket(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(m_port));
        EXPECT_EQ(bind(m_socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
        const int on = 1;
        setsockopt(m_socket.Get(), IPPROTO_IP, IP_RECVTTL, &on, sizeof(on));
        setsockopt(m_socket.Get(), IPPROTO_IP, IP_RECVTOS, &on, sizeof(on));
        ip_mreq request{};
        inet_pton(AF_INET, kGroup, &request.imr_multiaddr);
        inet_pton(AF_INET, kLoopback, &request.imr_interface);
        m_isMember = setsockopt(m_socket.Get(), IPPROTO_IP, IP_ADD_MEMBERSHIP, &request, sizeof(request)) == 0;
    }

    std::string Port() const { return std::to_string(m_port); }
    bool IsMember() const { return m_isMember; }

    /// The next that is not empty. Nothing when none comes in time.
    std::optional<Arrival> Next() const {
        Arrival arrival;
        do {
            arrival = {};
            pollfd descriptor{m_socket.Get(), POLLIN, 0};
            if (poll(&descriptor, 1, 10'000) != 1 || !Read(arrival)) {
                return std::nullopt;
            }
        } while (arrival.bytes.empty());
        return arrival;
    }

private:
    bool Read(Arrival& arrival) const {
        arrival.bytes.resize(2048);
        alignas(cmsghdr) char control[256];
        iovec part{arrival.bytes.data(), arrival.bytes.size()};
        msghdr message{};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        message.msg_control = control;
        message.msg_controllen = sizeof(control);
        const ssize_t length = recvmsg(m_socket.Get(), &message, 0);
        arrival.bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
        for (cmsghdr* head = CMSG_FIRSTHDR(&message); head != nullptr; head = CMSG_NXTHDR(&message, head)) {
            if (head->cmsg_type == IP_TTL) {
                arrival.ttl = *reinterpret_cast<const int*>(CMSG_DATA(head));
            } else if (head->cmsg_type == IP_TOS) {
                arrival.tos = *CMSG_DATA(head);
            }
        }
        return length >= 0;
    }

    int m_port;
    CFileDescriptor m_socket;
    bool m_isMember = false;
};

TEST(NetworkProgram, SendsAllPacketsToEachDestinationWithTheTypeOfService) {
    const CWitness first;
    const CWitness second;
    CProgram program({"send", "--to", "127.0.0.1:" + first.Port(), "--to", "127.0.0.1:" + second.Port(), "--codec",
                      "gsm", "--tos", "184", "--seconds", "20"});
    for (int i = 0; i < 4; ++i) {
        const auto one = first.Next();
        const auto other = second.Next();
        ASSERT_TRUE(one && other) << program.Error();
        EXPECT_EQ(one->bytes, other->bytes);
        EXPECT_EQ(one->PayloadType(), 112);
        EXPECT_EQ(one->tos, 184);
        EXPECT_EQ(other->tos, 184);
    }
}

TEST(NetworkProgram, SendsToAGroupWithTheTtl) {
    const CWitness member;
    if (!member.IsMember()) {
        GTEST_SKIP() << "loopback takes no part in multicast";
    }
    for (const int ttl : {0, 7}) {
        CProgram program({"send", "--to", kGroup + (":" + member.Port()), "--interface", kLoopback, "--ttl",
                          std::to_string(ttl), "--codec", "gsm", "--seconds", "20"});
        auto arrival = member.Next();
        for (int i = 0; i < 50 && arrival && arrival->ttl != ttl; ++i) {  // the last of the call before
            arrival = member.Next();
        }
        ASSERT_TRUE(arrival) << program.Error();
        EXPECT_EQ(arrival->ttl, ttl);
    }
}

TEST(NetworkProgram, SendsAParityPacketForEachGroupOfPackets) {
    const CWitness witness;
    CProgram program(
        {"send", "--to", "127.0.0.1:" + witness.Port(), "--codec", "gsm", "--parity", "3", "--seconds", "20"});
    std::vector<int> types;
    for (int i = 0; i < 8; ++i) {
        const auto arrival = witness.Next();
        ASSERT_TRUE(arrival) << program.Error();
        types.push_back(arrival->PayloadType());
    }
    EXPECT_THAT(types, testing::ElementsAre(112, 112, 112, 127, 112, 112, 112, 127));
}

struct CallCase {
    const char* name;
    std::vector<std::string> options;
};
void PrintTo(const CallCase& test, std::ostream* out) {
    *out << test.name;
}

class DemoOverANetwork : public testing::TestWithParam<CallCase> {};

TEST_P(DemoOverANetwork, CarriesSpeech) {
    std::vector<std::string> words{"demo", "--codec", "gsm", "--seconds", "2", "--output", "none", "--json"};
    words.insert(words.end(), GetParam().options.begin(), GetParam().options.end());
    CProgram program(words);
    ASSERT_EQ(program.WaitForExit(), 0) << program.Error();
    const json report = json::parse(program.Output());
    EXPECT_EQ(report["packets_lost"], 0);
    EXPECT_EQ(report["receiving"]["parity"] != 0, std::string(GetParam().name) == "Parity");
    EXPECT_EQ(report["receiving"]["kernel_drops"], 0);
    EXPECT_EQ(report["receiving"]["srtp"].is_null(), std::string(GetParam().name) != "Encrypted");
    EXPECT_THAT(program.Output() + program.Error(), Not(HasSubstr(kKey)));
}

INSTANTIATE_TEST_SUITE_P(
    Networks, DemoOverANetwork,
    testing::Values(CallCase{"Parity", {"--parity", "4", "--reorder", "10"}},
                    CallCase{"Group", {"--join", kGroup, "--interface", kLoopback, "--ttl", "0", "--tos", "184"}},
                    CallCase{"Encrypted", {"--srtp-key", kKey}}),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST(NetworkProgram, HearsOnlyWhoHasItsKey) {
    const test::CTempFolder folder;
    std::ofstream(folder.File("key")) << kKey << "\n";
    for (const std::string key : {kKey, kOtherKey}) {
        const std::string port = FreePort();
        CProgram receiver({"receive", "--port", port, "--codec", "gsm", "--seconds", "1", "--wait", "2", "--output",
                           "none", "--srtp-key", "@" + folder.File("key"), "--json"});
        ASSERT_TRUE(receiver.WaitForError("waiting for"));
        const CProgram sender({"send", "--to", "127.0.0.1:" + port, "--codec", "gsm", "--seconds", "20"},
                              {"QRN_SRTP_KEY=" + key});
        EXPECT_EQ(receiver.WaitForExit(), key == kKey ? 0 : 1) << receiver.Error();
        const json srtp = json::parse(receiver.Output())["receiving"]["srtp"];
        EXPECT_EQ(srtp["received"] != 0, key == kKey);
        EXPECT_EQ(srtp["not_authentic"] != 0, key == kOtherKey);
        EXPECT_EQ(receiver.Error().find("not authentic") != std::string::npos, key == kOtherKey);
    }
}

test::Bytes GsmPacket(std::uint16_t number) {
    std::string payload(132, '\0');
    for (std::size_t i = 0; i < payload.size(); i += 33) {
        payload[i] = static_cast<char>(0xD0);
    }
    return test::Encode({number, number * 80u, true, payload, 112});
}

TEST(NetworkProgram, PutsPacketsBackInOrderUnlessItIsNotTo) {
    for (const char* window : {"0", "5", ""}) {
        const bool isAsked = window != std::string("0");
        const int port = FindFreeEvenPort(kLoopback);
        std::vector<std::string> words{
            "receive", "--port", std::to_string(port), "--codec", "gsm", "--output", "none", "--wait", "1", "--json"};
        if (*window != '\0') {
            words.insert(words.end(), {"--reorder", window});
        }
        CProgram program(words);
        ASSERT_TRUE(program.WaitForError("waiting for"));
        const test::CUdpPeer peer;
        for (const std::uint16_t number : {10, 12, 11, 13}) {
            peer.SendTo(static_cast<std::uint16_t>(port), GsmPacket(number));
        }
        ASSERT_TRUE(program.WaitForExit());
        const json report = json::parse(program.Output());
        EXPECT_EQ(report["packets_lost"] != 0, !isAsked);
        EXPECT_EQ(report["receiving"]["held_back"], isAsked ? 1 : 0);
        EXPECT_EQ(report["receiving"]["datagrams"], 4);
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Frames

json FramesOf(const std::vector<std::string>& options) {
    std::vector<std::string> words{"demo", "--frames", "20000,10", "--seconds", "2", "--json"};
    words.insert(words.end(), options.begin(), options.end());
    CProgram program(words);
    EXPECT_EQ(program.WaitForExit(), 0) << program.Error();
    return json::parse(program.Output());
}

TEST(FramesProgram, ComeWholeAndPacedInBursts) {
    const json plain = FramesOf({});
    EXPECT_EQ(plain["frames_received"]["whole"], plain["frames_sent"]);
    EXPECT_EQ(plain["bursts"]["median_datagrams"], 19) << "a frame";
    const json paced = FramesOf({"--pace", "5,2500"});
    EXPECT_EQ(paced["frames_received"]["whole"], paced["frames_sent"]);
    EXPECT_EQ(paced["bursts"]["median_datagrams"], 5);
    const json encrypted = FramesOf({"--srtp-key", kKey, "--parity", "4"});
    EXPECT_EQ(encrypted["frames_received"]["whole"], encrypted["frames_sent"]);
    EXPECT_GT(encrypted["receiving"]["parity"], 0);
}

TEST(FramesProgram, AreFilledUpWithStuffing) {
    const CWitness media;
    const CWitness stuffing;
    CProgram program({"send", "--to", "127.0.0.1:" + media.Port(), "--frames", "2000,10", "--stuff",
                      "6000," + stuffing.Port(), "--seconds", "20"});
    for (int i = 0; i < 6; ++i) {
        const auto arrival = stuffing.Next();
        ASSERT_TRUE(arrival) << program.Error();
        EXPECT_EQ(arrival->bytes.size(), 1088u);
        EXPECT_EQ(std::string(arrival->bytes.begin(), arrival->bytes.begin() + 4), "QFRM") << "the frame's first bytes";
    }
    const auto packet = media.Next();
    ASSERT_TRUE(packet);
    EXPECT_EQ(packet->PayloadType(), 113);
}

TEST(FramesProgram, AreMeasuredBetweenTwoProcessesOverABadNetwork) {
    const std::string port = FreePort();
    const std::string relayPort = FreePort();
    CProgram receiver({"receive", "--port", port, "--frames", "--seconds", "3", "--json"});
    ASSERT_TRUE(receiver.WaitForError("waiting for frames on port " + port));
    CProgram relay({"impair", "--listen", relayPort, "--to", "127.0.0.1:" + port, "--loss", "0.2", "--delay", "30"});
    ASSERT_TRUE(relay.WaitForError("relaying"));
    const CProgram sender({"send", "--to", "127.0.0.1:" + relayPort, "--frames", "1000,50", "--seconds", "20"});
    ASSERT_EQ(receiver.WaitForExit(), 0) << receiver.Error();
    const json frames = json::parse(receiver.Output());
    EXPECT_GT(frames["frames_received"]["lost"], 5) << "of some 150";
    EXPECT_EQ(frames["frames_received"]["damaged"], 0);
    EXPECT_GT(frames["latency"]["p50_ms"], 29);
}

TEST(FramesProgram, SayWhenNothingOrSomethingElseArrives) {
    const std::string port = FreePort();
    CProgram silent({"receive", "--port", port, "--frames", "--wait", "1"});
    EXPECT_EQ(silent.WaitForExit(), 1);
    EXPECT_THAT(silent.Error(), HasSubstr("nothing arrived on port " + port));
    CProgram refused({"send", "--to", "127.0.0.1:" + port, "--frames", "100,10", "--wait", "1"});
    EXPECT_EQ(refused.WaitForExit(), 1);
    EXPECT_THAT(refused.Error(), HasSubstr("no program receives at 127.0.0.1:" + port));
}

// ---------------------------------------------------------------------------------------------------------------------

TEST(CodecSurvey, IsATableOfWhatWasCalled) {
    CProgram program({"demo", "--codec", "all", "--channels", "1", "--seconds", "2", "--json"});
    ASSERT_EQ(program.WaitForExit(std::chrono::seconds(60)), 0) << program.Error();
    const json survey = json::parse(program.Output());
    std::set<std::string> codecs;
    for (const json& call : survey["calls"]) {
        codecs.insert(call["codec"]);
        EXPECT_EQ(call["channels"], 1);
        EXPECT_GT(call["wire_kbps"], call["kbps"]) << "with the headers";
        EXPECT_GT(call["cpu_ms_per_second"], 0);
        EXPECT_GT(call["packet_bytes"], 0);
        EXPECT_FALSE(call["latency"].is_null());
    }
    EXPECT_EQ(codecs.size(), 6u);
}

TEST(CodecSurvey, EndsWithTheCallThatIsStopped) {
    CProgram program({"demo", "--codec", "all"});
    ASSERT_TRUE(program.WaitForError("gsm, 1 channel: ok")) << program.Error();
    program.Signal(SIGINT);
    EXPECT_EQ(program.WaitForExit(std::chrono::seconds(5)), 1);
    EXPECT_THAT(program.Output(), AllOf(HasSubstr("gsm"), HasSubstr("stopped before the call with gsm, 2 channels")));
}

struct FailureCase {
    const char* name;
    std::vector<std::string> arguments;
    int status;
    const char* sentence;
};
void PrintTo(const FailureCase& test, std::ostream* out) {
    *out << test.name;
}

class NetworkFailure : public testing::TestWithParam<FailureCase> {};

TEST_P(NetworkFailure, IsOneSentence) {
    CProgram program(GetParam().arguments);
    EXPECT_EQ(program.WaitForExit(), GetParam().status);
    const std::string error = program.Error();
    EXPECT_THAT(error, HasSubstr(GetParam().sentence));
    EXPECT_EQ(std::count(error.begin(), error.end(), '\n'), 1) << error;
}

INSTANTIATE_TEST_SUITE_P(
    Uses, NetworkFailure,
    testing::Values(
        FailureCase{"PaceOfSound", {"send", "--to", "h:5000", "--pace", "5,1500"}, 2, "--pace is for frames"},
        FailureCase{"TtlToOneMachine", {"send", "--to", "127.0.0.1:5000", "--ttl", "5"}, 2, "--ttl is for groups"},
        FailureCase{"ForeignInterface",
                    {"send", "--to", "239.1.1.1:5000", "--interface", "192.0.2.99"},
                    1,
                    "192.0.2.99 is not one of this machine"},
        FailureCase{"NoKeyFile", {"demo", "--srtp-key", "@/none"}, 1, "the SRTP key from /none: No such file"},
        FailureCase{"KeyFolder", {"demo", "--srtp-key", "@/tmp"}, 1, "the SRTP key from /tmp: Is a directory"},
        FailureCase{"EmptyKeyFile", {"demo", "--srtp-key", "@/dev/null"}, 2, "is no master key with its salt"},
        FailureCase{"ShortKey", {"demo", "--srtp-key", "4fl6DT4Bi"}, 2, "is no master key with its salt"}),
    [](const auto& instance) { return std::string(instance.param.name); });

}  // namespace
}  // namespace qrn
