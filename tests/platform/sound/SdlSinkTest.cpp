/// SDL's own drivers "dummy" and "disk" stand for a device; the latter keeps what it would play.

#include "platform/sound/CSdlSink.h"

#include <SDL.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "platform/sound/CSoundDevice.h"
#include "support/FakeClock.h"
#include "support/TempFolder.h"

namespace {

using namespace std::chrono_literals;
using Bytes = std::vector<std::uint8_t>;

constexpr qrn::SoundFormat kFormat{8000, 1};

Bytes Contents(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Calls until it answers true. @return false when it never did.
bool Until(const std::function<bool()>& condition) {
    qrn::IClock& clock = qrn::SystemClock();
    for (const auto end = clock.Now() + qrn::test::kTestPatience; !condition(); clock.SleepFor(1ms)) {
        if (clock.Now() > end) {
            return false;
        }
    }
    return true;
}

class SdlSink : public testing::Test {
protected:
    void UseDriver(const char* name) { setenv("SDL_AUDIODRIVER", name, 1); }
    void UseDisk(const std::string& path) {
        UseDriver("disk");
        setenv("SDL_DISKAUDIOFILE", path.c_str(), 1);
        unsetenv("SDL_DISKAUDIODELAY");
    }
    void TearDown() override {
        unsetenv("SDL_AUDIODRIVER");
        unsetenv("SDL_DISKAUDIOFILE");
    }

    qrn::test::CTempFolder m_folder;
};

TEST_F(SdlSink, TheDeviceGetsTheSamplesInOrder) {
    const std::string path = m_folder.File("played");
    UseDisk(path);
    qrn::CSdlSink sink;
    ASSERT_EQ(sink.Open(kFormat), std::nullopt);
    // Less than the queue holds, all of it distinct from silence.
    Bytes sent(640);
    for (std::size_t i = 0; i < sent.size(); i += 2) {
        const auto sample = static_cast<std::uint16_t>(1000 + i);
        std::memcpy(&sent[i], &sample, 2);
    }
    EXPECT_TRUE(sink.Write(sent));
    const auto isPlayed = [&] {
        const Bytes played = Contents(path);
        return std::search(played.begin(), played.end(), sent.begin(), sent.end()) != played.end();
    };
    EXPECT_TRUE(Until(isPlayed));
    sink.Close();
}

TEST_F(SdlSink, TwoPlayAtOnce) {
    // Drivers for a machine's default device alone, SDL's dummy among them, refuse the second one.
    const std::string paths[] = {m_folder.File("one"), m_folder.File("two")};
    qrn::CSdlSink one;
    qrn::CSdlSink two;
    UseDisk(paths[0]);
    ASSERT_EQ(one.Open(kFormat), std::nullopt);
    UseDisk(paths[1]);
    ASSERT_EQ(two.Open({48000, 2}), std::nullopt);
    EXPECT_TRUE(one.Write(Bytes(640, 1)));
    EXPECT_TRUE(two.Write(Bytes(7680, 2)));
    const auto isPlayed = [&](const std::string& path, std::uint8_t value, std::ptrdiff_t bytes) {
        const Bytes played = Contents(path);
        return std::count(played.begin(), played.end(), value) == bytes;
    };
    EXPECT_TRUE(Until([&] { return isPlayed(paths[0], 1, 640) && isPlayed(paths[1], 2, 7680); }));
    one.Close();
    EXPECT_TRUE(two.Write(Bytes(7680, 3))) << "the other goes on";
    EXPECT_TRUE(Until([&] { return isPlayed(paths[1], 3, 7680); }));
    two.Close();
    EXPECT_EQ(SDL_WasInit(SDL_INIT_AUDIO), 0U) << "the last user lets go of SDL";
}

TEST_F(SdlSink, OpensAgainAfterClose) {
    UseDriver("dummy");
    qrn::CSdlSink sink;
    for (int round = 0; round < 2; ++round) {
        ASSERT_EQ(sink.Open(kFormat), std::nullopt);
        EXPECT_TRUE(sink.Write(Bytes(160)));
        sink.Close();
        EXPECT_FALSE(sink.Write(Bytes(160)));
    }
}

TEST_F(SdlSink, RefusesWithAReason) {
    UseDriver("no-such-driver");
    qrn::CSdlSink sink;
    const auto noDriver = sink.Open(kFormat);
    ASSERT_TRUE(noDriver);
    EXPECT_FALSE(noDriver->empty());
    UseDriver("dummy");
    EXPECT_TRUE(sink.Open({8000, 300}));
    EXPECT_TRUE(sink.Open({8000, 255}));
    EXPECT_FALSE(sink.Write(Bytes(2)));
    EXPECT_EQ(sink.Open(kFormat), std::nullopt) << "a failure leaves nothing behind";
}

TEST_F(SdlSink, LeavesTheProgramsSignalsAlone) {
    UseDriver("dummy");
    std::signal(SIGINT, SIG_DFL);
    qrn::CSdlSink sink;
    ASSERT_EQ(sink.Open(kFormat), std::nullopt);
    struct sigaction now {};
    sigaction(SIGINT, nullptr, &now);
    EXPECT_EQ(now.sa_handler, SIG_DFL);
}

TEST_F(SdlSink, ADeviceThatGoesAwayLosesTheBufferUntilItIsBack) {
    // Nothing can be written there, and SDL's disk driver then says that the device was pulled out.
    UseDisk("/dev/full");
    const auto device = qrn::CSoundDevice::Create([] { return std::make_unique<qrn::CSdlSink>(); });
    device->SetCooperativeLevel(1, DSSCL_PRIORITY);
    WAVEFORMATEX format{WAVE_FORMAT_PCM, 2, 48000, 192000, 4, 16, 0};
    const DSBUFFERDESC desc{kDirectSoundDescBytes, 0, 11520, 0, &format, GUID_NULL};
    qrn::ComPtr<IDirectSoundBuffer> buffer;
    ASSERT_EQ(device->CreateSoundBuffer(&desc, buffer.Put(), nullptr), S_OK);
    ASSERT_EQ(buffer->Play(0, 0, DSBPLAY_LOOPING), S_OK);
    const auto isLost = [&] {
        DWORD status = 0;
        buffer->GetStatus(&status);
        return (status & DSBSTATUS_BUFFERLOST) != 0;
    };
    ASSERT_TRUE(Until(isLost));
    UseDisk(m_folder.File("played"));
    EXPECT_EQ(buffer->Restore(), S_OK);
    EXPECT_EQ(buffer->Play(0, 0, DSBPLAY_LOOPING), S_OK);
    EXPECT_TRUE(Until([&] { return !Contents(m_folder.File("played")).empty(); }));
    EXPECT_FALSE(isLost());
}

}  // namespace
