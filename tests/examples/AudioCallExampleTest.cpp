// The example of the documents as its reader runs it: the built program on loopback, in real time.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <numbers>
#include <string>
#include <vector>

#include "CProgram.h"
#include "platform/system/Clock.h"
#include "support/RunCommand.h"
#include "support/TempFolder.h"

namespace qrn::test {
namespace {

constexpr int kToneRate = 48000;

/// A UDP socket of the test's on 127.0.0.1, with an even port.
class CHeldPort {
public:
    CHeldPort() {
        do {
            Close();
            m_socket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
            sockaddr_in address{};
            address.sin_family = AF_INET;
            address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
            socklen_t length = sizeof address;
            EXPECT_EQ(bind(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
            EXPECT_EQ(getsockname(m_socket, reinterpret_cast<sockaddr*>(&address), &length), 0);
            m_port = ntohs(address.sin_port);
        } while (m_port % 2 != 0);
    }
    ~CHeldPort() { Close(); }
    CHeldPort(const CHeldPort&) = delete;
    CHeldPort& operator=(const CHeldPort&) = delete;

    std::string Number() const { return std::to_string(m_port); }

private:
    void Close() {
        if (m_socket >= 0) {
            close(m_socket);
        }
    }

    int m_socket = -1;
    std::uint16_t m_port = 0;
};

std::string FreePort() {
    return CHeldPort().Number();
}

bool WaitFor(const std::function<bool()>& condition) {
    const auto deadline = SystemClock().Now() + std::chrono::seconds(20);
    while (!condition()) {
        if (SystemClock().Now() >= deadline) {
            return false;
        }
        SystemClock().SleepFor(std::chrono::milliseconds(10));
    }
    return true;
}

/// The first channel of a recording, as ffmpeg reads it.
std::vector<std::int16_t> ReadRecording(const std::string& file) {
    const std::string bytes = RunCommand("ffmpeg -v error -i '" + file + "' -f s16le -ac 1 -ar " +
                                         std::to_string(kToneRate) + " - < /dev/null");
    std::vector<std::int16_t> samples(bytes.size() / sizeof(std::int16_t));
    std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(std::int16_t));
    return samples;
}

/// Milliseconds of the sound in which nearly all of the energy is that of a sine of this frequency.
int MillisecondsOfTone(const std::vector<std::int16_t>& samples, double hz) {
    constexpr int kWindowMs = 50;
    constexpr std::size_t kWindow = std::size_t{kToneRate} * kWindowMs / 1000;
    int found = 0;
    for (std::size_t at = 0; at + kWindow <= samples.size(); at += kWindow) {
        double cosine = 0;
        double sine = 0;
        double energy = 0;
        for (std::size_t i = 0; i < kWindow; ++i) {
            const double angle = 2 * std::numbers::pi * hz * static_cast<double>(i) / kToneRate;
            const double value = samples[at + i];
            cosine += value * std::cos(angle);
            sine += value * std::sin(angle);
            energy += value * value;
        }
        const double ofTone = 2 * (cosine * cosine + sine * sine) / static_cast<double>(kWindow);
        const bool isLoud = energy / static_cast<double>(kWindow) > 1000.0 * 1000.0;
        found += isLoud && ofTone > 0.95 * energy ? kWindowMs : 0;
    }
    return found;
}

/// -1 when the program has not reported.
int ReportedPackets(const CProgram& program) {
    int packets = -1;
    std::sscanf(program.Output().c_str(), "%d packets, 0 gaps", &packets);
    return packets;
}

TEST(AudioCallExample, PlaysTheToneThatItSends) {
    const CTempFolder folder;
    const std::string recording = folder.File("tone.wav");
    CProgram program({"QRN_SOUND=file:" + recording, QRN_EXAMPLE, "2", FreePort()});
    ASSERT_EQ(program.WaitForExit(), 0) << program.Error();
    // Two seconds are 50 packets of 40 ms.
    EXPECT_EQ(ReportedPackets(program), 50);
    // A machine under load may lose some of it on the way to the device.
    EXPECT_GE(MillisecondsOfTone(ReadRecording(recording), 440.0), 1000);
    EXPECT_EQ(program.Error(), "");
}

TEST(AudioCallExample, FindsTheModuleBesideItself) {
    CProgram program({"-u", "QRN_MODULE", "QRN_SOUND=null", QRN_EXAMPLE, "1", FreePort()});
    EXPECT_EQ(program.WaitForExit(), 0) << program.Error();
}

TEST(AudioCallExample, EndsInGoodOrderWhenInterrupted) {
    const CTempFolder folder;
    const std::string recording = folder.File("tone.wav");
    CProgram program({"QRN_SOUND=file:" + recording, QRN_EXAMPLE, "3600", FreePort()});
    constexpr std::uintmax_t kHalfASecond = kToneRate;
    std::error_code error;
    ASSERT_TRUE(WaitFor([&] {
        const std::uintmax_t bytes = std::filesystem::file_size(recording, error);
        return !error && bytes > kHalfASecond;
    })) << program.Error();
    program.Signal(SIGINT);
    EXPECT_EQ(program.WaitForExit(), 0) << program.Error();
    EXPECT_GT(ReportedPackets(program), 0);
}

TEST(AudioCallExample, TellsThatThereIsNoModule) {
    CProgram program({"QRN_MODULE=/nowhere/libnothing.so", QRN_EXAMPLE, "1", FreePort()});
    EXPECT_EQ(program.WaitForExit(), 1);
    EXPECT_NE(program.Error().find("audio_call: cannot load the module: /nowhere/libnothing.so"), std::string::npos)
        << program.Error();
}

TEST(AudioCallExample, TellsThatThePortIsInUse) {
    const CHeldPort held;
    CProgram program({"QRN_SOUND=null", QRN_EXAMPLE, "1", held.Number()});
    EXPECT_EQ(program.WaitForExit(), 1);
    EXPECT_EQ(program.Error(), "audio_call: cannot open port " + held.Number() + ": 0x80004005\n");
}

TEST(AudioCallExample, TellsHowItIsUsed) {
    CProgram program({QRN_EXAMPLE, "1"});
    EXPECT_EQ(program.WaitForExit(), 2);
    EXPECT_EQ(program.Error(), "usage: audio_call SECONDS PORT\n");
}

}  // namespace
}  // namespace qrn::test
