#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <random>

#include "CProgram.h"
#include "client/BuiltInSpeech.h"
#include "client/CMediaFileReader.h"
#include "client/CWavWriter.h"
#include "client/Fidelity.h"
#include "client/FileDescriptor.h"
#include "client/NetworkCheck.h"
#include "client/Verdict.h"
#include "platform/system/Clock.h"

namespace qrn {
namespace {

using nlohmann::json;
using test::CProgram;
using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;

constexpr const char* kLoopback = "127.0.0.1";

std::string FreePort() {
    return std::to_string(FindFreeEvenPort(kLoopback));
}

std::vector<std::int16_t> ReadWav(const std::string& path, PcmFormat format) {
    CMediaFileReader reader(path, format, CMediaFileReader::Repeat::kOnce);
    std::vector<std::int16_t> samples(static_cast<std::size_t>(format.sampleRate * format.channels) * 60);
    samples.resize(reader.Read(samples));
    return samples;
}

// ---------------------------------------------------------------------------------------------------------------------
// Calls that work

struct CallCase {
    const char* name;
    const char* codec;
    int channels;
    int sampleRate;
    int packetMs;
};
void PrintTo(const CallCase& test, std::ostream* out) {
    *out << test.name;
}

class Demo : public testing::TestWithParam<CallCase> {};

TEST_P(Demo, CarriesSpeechAndSaysSo) {
    const CallCase& call = GetParam();
    const test::CTempFolder folder;
    CProgram program({"demo", "--codec", call.codec, "--channels", std::to_string(call.channels), "--seconds", "3",
                      "--output", "none", "--record", folder.File("out.wav"), "--json"});
    ASSERT_EQ(program.WaitForExit(), 0) << program.Error();
    const json report = json::parse(program.Output());
    EXPECT_EQ(report["ok"], true);
    EXPECT_EQ(report["packets_lost"], 0);
    EXPECT_EQ(report["packets_sent"], report["packets_received"]);
    EXPECT_NEAR(report["packets_sent"].get<double>(), 3000.0 / call.packetMs, 5);
    EXPECT_NEAR(report["samples_in"].get<double>(), 3.0 * call.sampleRate, 0.3 * call.sampleRate);
    // A packet cannot be whole before its last sample has come in, and blocks come as a whole.
    EXPECT_GT(report["latency"]["p50_ms"], call.packetMs - 25);
    EXPECT_LT(report["latency"]["p50_ms"], call.packetMs + 400);
    EXPECT_EQ(report["level_in_dbfs"].size(), static_cast<std::size_t>(call.channels));
    EXPECT_THAT(program.Error(),
                ContainsRegex("1\\.. s  sent .* received .* lost 0 .*kbit/s  latency .* ms  in .*out"));

    // Judged again by what the recording holds, without the program's own word for it.
    const PcmFormat format{call.sampleRate, call.channels};
    auto sent = LoadBuiltInSpeech(format);
    sent.resize(static_cast<std::size_t>(call.sampleRate * call.channels) * 5 / 2);
    const CodecInfo& codec = *FindCodec(call.codec);
    const auto fidelity = CompareSound(format, sent, ReadWav(folder.File("out.wav"), format), codec.speechBandHz);
    EXPECT_EQ(FindSoundFaults(fidelity, codec.limits), std::vector<std::string>());
}

INSTANTIATE_TEST_SUITE_P(Codecs, Demo,
                         testing::Values(CallCase{"Gsm", "gsm", 1, 8000, 80}, CallCase{"GsmStereo", "gsm", 2, 8000, 80},
                                         CallCase{"Opus", "opus", 1, 48000, 40},
                                         CallCase{"OpusStereo", "opus", 2, 48000, 40}),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST(Program, EndsWithTheFileThatItSends) {
    CProgram program(
        {"demo", "--audio", std::string(kSpeechFolder) + "/Front_Center.wav", "--output", "none", "--json"});
    ASSERT_EQ(program.WaitForExit(), 0) << program.Error();
    EXPECT_NEAR(json::parse(program.Output())["samples_in"].get<double>(), 68545, 1);
}

TEST(Program, JudgesNoiseByWhatTheCodecMakesOfIt) {
    const test::CTempFolder folder;
    std::mt19937 generator(1);
    std::normal_distribution<double> noise(0, 2000);
    std::vector<std::int16_t> samples(16000);
    for (std::int16_t& sample : samples) {
        sample = static_cast<std::int16_t>(noise(generator));
    }
    CWavWriter(folder.File("noise.wav"), {8000, 1}).Write(samples);
    CProgram program({"demo", "--audio", folder.File("noise.wav"), "--codec", "gsm", "--output", "none", "--json"});
    ASSERT_EQ(program.WaitForExit(), 0) << program.Error();
    const json report = json::parse(program.Output());
    EXPECT_LT(report["fidelity"][0]["correlation"], 0.9);
    EXPECT_GT(report["codec_fidelity"][0]["correlation"], 0.99);
}

TEST(Program, RunsTheHalvesAsTwoProcesses) {
    const std::string port = FreePort();
    CProgram receiver({"receive", "--port", port, "--codec", "gsm", "--seconds", "2", "--output", "none", "--json"});
    ASSERT_TRUE(receiver.WaitForError("waiting for gsm packets on port " + port)) << receiver.Error();
    CProgram sender({"send", "--to", "127.0.0.1:" + port, "--codec", "gsm", "--seconds", "4", "--json"});
    ASSERT_EQ(receiver.WaitForExit(), 0) << receiver.Error();
    const json received = json::parse(receiver.Output());
    EXPECT_EQ(received["packets_lost"], 0);
    EXPECT_NEAR(received["packets_received"].get<double>(), 25, 4);
    EXPECT_GT(received["fidelity"][0]["correlation"], 0.95) << "the built-in speech is known at both ends";
    sender.Signal(SIGINT);
    ASSERT_EQ(sender.WaitForExit(), 0) << sender.Error();
    EXPECT_EQ(json::parse(sender.Output())["ok"], true);
}

TEST(Program, ComparesWithTheFileThatTheFarEndSends) {
    const std::string sent = std::string(kSpeechFolder) + "/Front_Left.wav";
    const std::string other = std::string(kSpeechFolder) + "/Noise.wav";
    for (const std::string& known : {sent, other}) {
        const std::string port = FreePort();
        CProgram receiver(
            {"receive", "--port", port, "--audio", known, "--seconds", "2", "--output", "none", "--json"});
        ASSERT_TRUE(receiver.WaitForError("waiting for"));
        const CProgram sender({"send", "--to", "127.0.0.1:" + port, "--audio", sent, "--seconds", "20"});
        EXPECT_EQ(receiver.WaitForExit(), known == sent ? 0 : 1) << receiver.Error();
        EXPECT_EQ(json::parse(receiver.Output())["fidelity"].is_null(), known == other);
    }
}

TEST(Program, PlaysOnADeviceThatKeepsTime) {
    CProgram program({"demo", "--codec", "gsm", "--seconds", "2", "--output", "speaker", "--json"}, {"QRN_SOUND=null"});
    ASSERT_EQ(program.WaitForExit(), 0) << program.Error();
    EXPECT_EQ(json::parse(program.Output())["output"], "speaker");
}

// ---------------------------------------------------------------------------------------------------------------------
// Calls that cannot work: one sentence and the status

struct FailureCase {
    const char* name;
    std::vector<std::string> arguments;
    int status;
    const char* sentence;
};
void PrintTo(const FailureCase& test, std::ostream* out) {
    *out << test.name;
}

class Failure : public testing::TestWithParam<FailureCase> {};

TEST_P(Failure, IsOneSentence) {
    CProgram program(GetParam().arguments, {"SDL_AUDIODRIVER=there-is-none"});
    EXPECT_EQ(program.WaitForExit(), GetParam().status);
    EXPECT_THAT(program.Error(), HasSubstr(GetParam().sentence));
    const std::string error = program.Error();
    EXPECT_EQ(std::count(error.begin(), error.end(), '\n'), 1) << error;
}

INSTANTIATE_TEST_SUITE_P(
    Uses, Failure,
    testing::Values(
        FailureCase{"OddPort", {"receive", "--port", "5001"}, 2, "port 5001 is odd"},
        FailureCase{"UnknownCodec", {"demo", "--codec", "g729"}, 2, "there is no codec 'g729'"},
        FailureCase{"MissingFile", {"demo", "--audio", "/none.wav"}, 1, "/none.wav: No such file"},
        FailureCase{"UnknownHost", {"send", "--to", "no.such.host.invalid:5000"}, 1, "the host no.such.host.invalid"},
        FailureCase{"ForeignAddress",
                    {"send", "--to", "127.0.0.1:5000", "--address", "192.0.2.1"},
                    1,
                    "192.0.2.1 is not one of this machine"},
        FailureCase{"NoSoundDevice", {"demo", "--output", "speaker"}, 1, "no sound device can be opened"},
        FailureCase{
            "UnwritableRecording", {"demo", "--output", "none", "--record", "/none/out.wav"}, 1, "/none/out.wav"},
        FailureCase{"FullDisk", {"demo", "--output", "none", "--record", "/dev/full"}, 1, "No space left"},
        FailureCase{"UnwritableGraph", {"demo", "--graph", "/none/g.dot"}, 1, "cannot write the graph /none/g.dot"},
        FailureCase{"NoModule", {"inspect", "--module", "/none.so"}, 1, "cannot load the module: /none.so"},
        FailureCase{"NoModuleToRegister", {"register", "--module", "/none.so"}, 1, "cannot load the module: /none.so"},
        FailureCase{"NoModuleAtAll", {"register", "--module", "/etc/passwd"}, 1, "/etc/passwd: invalid ELF header"},
        FailureCase{"AnotherLibrary", {"register", "--module", "libm.so.6"}, 1, "it has no entry point"}),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST(Program, ReceivesWithoutASoundDeviceAndSaysSo) {
    CProgram program({"demo", "--codec", "gsm", "--seconds", "2"}, {"SDL_AUDIODRIVER=there-is-none"});
    EXPECT_EQ(program.WaitForExit(), 0) << program.Error();
    EXPECT_THAT(program.Error(), HasSubstr("no sound device can be opened, so the call is not heard"));
}

TEST(Program, TellsAPortInUse) {
    const std::string port = FreePort();
    CProgram first({"receive", "--port", port, "--output", "none"});
    ASSERT_TRUE(first.WaitForError("waiting for"));
    CProgram second({"receive", "--port", port, "--output", "none"});
    EXPECT_EQ(second.WaitForExit(), 1);
    EXPECT_THAT(second.Error(), HasSubstr("port " + port + " is in use by another program"));
}

TEST(Program, GivesUpWhenNothingArrives) {
    const std::string port = FreePort();
    CProgram program({"receive", "--port", port, "--codec", "gsm", "--wait", "1", "--output", "none", "--json"});
    EXPECT_EQ(program.WaitForExit(), 1);
    const json report = json::parse(program.Output());
    EXPECT_EQ(report["ok"], false);
    EXPECT_THAT(report["faults"][0].get<std::string>(),
                AllOf(HasSubstr("nothing arrived on port " + port), HasSubstr("gsm"), HasSubstr("payload type 112")));
}

TEST(Program, GivesUpWhenTheFarEndRefuses) {
    const std::string port = FreePort();
    CProgram program({"send", "--to", "127.0.0.1:" + port, "--wait", "1"});
    EXPECT_EQ(program.WaitForExit(), 1);
    EXPECT_THAT(program.Error(), HasSubstr("no program receives at 127.0.0.1:" + port));
}

struct ForeignCase {
    const char* name;
    std::vector<std::string> sender;
    std::vector<std::string> receiver;
    const char* sentence;
};
void PrintTo(const ForeignCase& test, std::ostream* out) {
    *out << test.name;
}

class ForeignPackets : public testing::TestWithParam<ForeignCase> {};

TEST_P(ForeignPackets, AreNotTakenForACall) {
    const std::string port = FreePort();
    std::vector<std::string> receive{"receive", "--port", port, "--wait", "2", "--output", "none"};
    receive.insert(receive.end(), GetParam().receiver.begin(), GetParam().receiver.end());
    std::vector<std::string> send{"send", "--to", "127.0.0.1:" + port};
    send.insert(send.end(), GetParam().sender.begin(), GetParam().sender.end());
    CProgram receiver(receive);
    ASSERT_TRUE(receiver.WaitForError("waiting for"));
    CProgram sender(send);
    EXPECT_EQ(receiver.WaitForExit(), 1);
    EXPECT_THAT(receiver.Error(), AllOf(HasSubstr("port " + port), HasSubstr(GetParam().sentence)));
}

INSTANTIATE_TEST_SUITE_P(
    Senders, ForeignPackets,
    testing::Values(
        ForeignCase{"OpusForGsm", {"--codec", "opus"}, {"--codec", "gsm"}, "payload type 115 (such as opus)"},
        ForeignCase{"StereoForMonoGsm", {"--codec", "gsm", "--channels", "2"}, {"--codec", "gsm"}, "264 bytes"},
        ForeignCase{
            "MonoForStereoGsm", {"--codec", "gsm"}, {"--codec", "gsm", "--channels", "2"}, "132 bytes instead of 264"},
        ForeignCase{"StereoForMonoOpus", {"--channels", "2"}, {}, "no Opus packets of 1 channel"},
        ForeignCase{"MonoForStereoOpus", {}, {"--channels", "2"}, "no Opus packets of 2 channels"}),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST(Program, SurvivesRandomDatagrams) {
    const int port = FindFreeEvenPort(kLoopback);
    CProgram program({"receive", "--port", std::to_string(port), "--codec", "gsm", "--wait", "2", "--output", "none"});
    ASSERT_TRUE(program.WaitForError("waiting for"));
    const CFileDescriptor sender(socket(AF_INET, SOCK_DGRAM, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    inet_pton(AF_INET, kLoopback, &address.sin_addr);
    std::mt19937 generator(7);
    std::vector<std::uint8_t> datagram(1500);
    const auto end = SystemClock().Now() + std::chrono::seconds(20);
    while (!program.WaitForExit(std::chrono::seconds(0)) && SystemClock().Now() < end) {
        for (std::uint8_t& byte : datagram) {
            byte = static_cast<std::uint8_t>(generator());
        }
        sendto(sender.Get(), datagram.data(), generator() % datagram.size(), 0,
               reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    }
    EXPECT_EQ(program.WaitForExit(), 1);
    EXPECT_THAT(program.Error(), HasSubstr("on port " + std::to_string(port)));
}

// ---------------------------------------------------------------------------------------------------------------------
// Ctrl-C

class Interrupted : public testing::TestWithParam<std::vector<std::string>> {};

TEST_P(Interrupted, StopsInGoodOrder) {
    std::vector<std::string> arguments = GetParam();
    for (std::string& argument : arguments) {
        if (const auto place = argument.find("PORT"); place != std::string::npos) {
            argument.replace(place, 4, FreePort());
        }
    }
    CProgram program(arguments);
    ASSERT_TRUE(program.WaitForError("   1.")) << program.Error();
    const auto start = SystemClock().Now();
    program.Signal(SIGINT);
    ASSERT_TRUE(program.WaitForExit());
    EXPECT_LT(*program.WaitForExit(), 2) << "ended by itself";
    // The promise is one second; a busy machine may take its time.
    EXPECT_LT(SystemClock().Now() - start, std::chrono::seconds(3));
    EXPECT_THAT(program.Output(), HasSubstr("result"));
}

INSTANTIATE_TEST_SUITE_P(Commands, Interrupted,
                         testing::Values(std::vector<std::string>{"demo", "--output", "none"},
                                         std::vector<std::string>{"demo", "--output", "none", "--seconds", "0"},
                                         std::vector<std::string>{"send", "--to", "127.0.0.1:PORT"},
                                         std::vector<std::string>{"demo", "--frames", "20000,5", "--pace", "5,1500"},
                                         std::vector<std::string>{"send", "--to", "127.0.0.1:PORT", "--frames",
                                                                  "20000,30", "--stuff", "30000"},
                                         std::vector<std::string>{"receive", "--port", "PORT", "--frames"},
                                         std::vector<std::string>{"receive", "--port", "PORT", "--output", "none",
                                                                  "--srtp-key", std::string(60, '0')},
                                         std::vector<std::string>{"receive", "--port", "PORT", "--output", "none"}));

// ---------------------------------------------------------------------------------------------------------------------

TEST(Program, ListsTheModule) {
    CProgram text({"inspect"});
    ASSERT_EQ(text.WaitForExit(), 0) << text.Error();
    CProgram data({"inspect", "--json"});
    ASSERT_EQ(data.WaitForExit(), 0) << data.Error();
    const json classes = json::parse(data.Output())["classes"];
    ASSERT_EQ(classes.size(), 20u);
    for (const json& row : classes) {
        EXPECT_THAT(text.Output(), HasSubstr("\"" + row["name"].get<std::string>() + "\""));
        EXPECT_THAT(text.Output(), HasSubstr(row["class_id"].get<std::string>()));
    }
    const json& sender = classes[17];
    EXPECT_EQ(sender["name"], "QRN Audio Sender");
    EXPECT_EQ(sender["class_id"], "77BD5E69-0E53-4E90-AB0C-EE5FE241083B");
    EXPECT_EQ(sender["merit"], 0x200000);
    EXPECT_EQ(sender["registered_pins"][0]["name"], "Input");
    EXPECT_EQ(sender["registered_pins"][0]["media_types"][0], "auds/any");
    EXPECT_EQ(sender["created"], "S_OK");
    EXPECT_EQ(sender["live_pins"].size(), 1u);
    EXPECT_EQ(sender["interfaces"][0]["id"], "2EF11274-7A02-4497-8FED-4DE218869812");
    EXPECT_EQ(sender["interfaces"][0]["operations"].size(), 18u);
}

}  // namespace
}  // namespace qrn
