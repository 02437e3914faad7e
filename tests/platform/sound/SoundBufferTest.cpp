#include "platform/sound/CSoundBuffer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <numeric>

#include "platform/sound/CMemorySink.h"
#include "platform/sound/CSoundDevice.h"
#include "support/FakeClock.h"

namespace {

using namespace std::chrono_literals;
using Bytes = std::vector<std::uint8_t>;

// 2 bytes a millisecond: times and offsets read alike.
constexpr qrn::SoundFormat kFormat{1000, 1};

struct Playing {
    std::shared_ptr<qrn::test::CSinkRecord> record = std::make_shared<qrn::test::CSinkRecord>();
    qrn::ComPtr<IDirectSoundBuffer> buffer;

    Playing(qrn::IClock& clock, DWORD bufferBytes) {
        const auto device = qrn::CSoundDevice::Create(qrn::test::CMemorySink::Maker(record), clock);
        device->SetCooperativeLevel(1, DSSCL_PRIORITY);
        WAVEFORMATEX format{WAVE_FORMAT_PCM, 1, kFormat.samplesPerSec, 2000, 2, 16, 0};
        const DSBUFFERDESC desc{kDirectSoundDescBytes, 0, bufferBytes, 0, &format, GUID_NULL};
        EXPECT_EQ(device->CreateSoundBuffer(&desc, buffer.Put(), nullptr), S_OK);
    }

    void Write(DWORD offset, const Bytes& bytes) const {
        void* part1 = nullptr;
        void* part2 = nullptr;
        DWORD bytes1 = 0;
        DWORD bytes2 = 0;
        ASSERT_EQ(buffer->Lock(offset, static_cast<DWORD>(bytes.size()), &part1, &bytes1, &part2, &bytes2, 0), S_OK);
        std::memcpy(part1, bytes.data(), bytes1);
        std::copy(bytes.begin() + bytes1, bytes.end(), static_cast<std::uint8_t*>(part2));
        ASSERT_EQ(buffer->Unlock(part1, bytes1, part2, bytes2), S_OK);
    }
    bool IsLost() const {
        DWORD status = 0;
        buffer->GetStatus(&status);
        return (status & DSBSTATUS_BUFFERLOST) != 0;
    }
};

Bytes Block(std::uint8_t value, std::size_t bytes = 20) {
    return Bytes(bytes, value);
}

void Append(Bytes& bytes, const Bytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

class SoundBuffer : public testing::Test {
protected:
    /// A feeder that is on its way to a wait would count it from the new time, hence the first look.
    void Pass(std::chrono::nanoseconds time, std::size_t feeders = 1) {
        ASSERT_TRUE(m_clock.WaitForBlocked(feeders));
        m_clock.Advance(time);
        ASSERT_TRUE(m_clock.WaitForBlocked(feeders));
    }

    /// Plays 10 ms, which the sink does not take.
    void HoldUp(const Playing& playing) {
        ASSERT_TRUE(m_clock.WaitForBlocked(1));
        playing.record->SetHeldUp(true);
        m_clock.Advance(10ms);
        playing.record->WaitForHeldWriter();
    }

    qrn::test::CManualClock m_clock;
};

TEST_F(SoundBuffer, TheSinkGetsWhatWasWrittenInOrder) {
    const Playing playing(m_clock, 120);
    playing.buffer->Play(0, 0, DSBPLAY_LOOPING);
    Bytes expected = Block(0, 40);
    for (std::uint8_t i = 0; i < 30; ++i) {
        // Two blocks of 10 ms ahead of the cursor, as the playback engine does.
        playing.Write((40 + i * 20U) % 120, Block(static_cast<std::uint8_t>(i + 1)));
        Append(expected, Block(static_cast<std::uint8_t>(i + 1)));
        Pass(10ms);
    }
    Pass(20ms);
    playing.buffer->Stop();
    EXPECT_EQ(playing.record->Bytes(), expected);
}

TEST_F(SoundBuffer, WhatIsNotOverwrittenIsHeardAgain) {
    const Playing playing(m_clock, 60);
    playing.Write(0, Block(1));
    playing.Write(20, Block(2));
    playing.Write(40, Block(3));
    playing.buffer->Play(0, 0, DSBPLAY_LOOPING);
    Pass(30ms);
    playing.Write(20, Block(4));
    Pass(30ms);
    Bytes expected;
    for (const std::uint8_t value : {1, 2, 3, 1, 4, 3}) {
        Append(expected, Block(value));
    }
    EXPECT_EQ(playing.record->Bytes(), expected);
}

TEST_F(SoundBuffer, TheSinkIsFedEveryTenMilliseconds) {
    const Playing playing(m_clock, 120);
    ASSERT_TRUE(m_clock.WaitForBlocked(1));
    playing.buffer->Play(0, 0, DSBPLAY_LOOPING);
    for (std::size_t ms = 1; ms <= 35; ++ms) {
        Pass(1ms);
        ASSERT_EQ(playing.record->Bytes().size(), ms / 10 * 20) << "after " << ms << " ms";
    }
}

TEST_F(SoundBuffer, AfterALateTickItKeepsToItsGrid) {
    const Playing playing(m_clock, 120);
    ASSERT_TRUE(m_clock.WaitForBlocked(1));
    playing.buffer->Play(0, 0, DSBPLAY_LOOPING);
    Pass(27ms);
    EXPECT_EQ(playing.record->Bytes().size(), 54U) << "all that is due, at once";
    Pass(2ms);
    EXPECT_EQ(playing.record->Bytes().size(), 54U);
    Pass(1ms);
    EXPECT_EQ(playing.record->Bytes().size(), 60U) << "the tick at 30 ms";
}

TEST_F(SoundBuffer, AHeldUpSinkGetsTheSoundAsItStoodWhenHeard) {
    const Playing playing(m_clock, 60);
    playing.buffer->Play(0, 0, DSBPLAY_LOOPING);
    HoldUp(playing);
    Bytes expected = Block(0);
    // Over three rounds are written over while the sink takes nothing.
    for (std::uint8_t i = 1; i <= 10; ++i) {
        playing.Write(i * 20U % 60, Block(i));
        Append(expected, Block(i));
        m_clock.Advance(10ms);
    }
    playing.buffer->Stop();
    playing.record->SetHeldUp(false);
    ASSERT_TRUE(m_clock.WaitForBlocked(1));
    EXPECT_EQ(playing.record->Bytes(), expected);
}

TEST_F(SoundBuffer, ASecondOfDelayIsTheMostThatIsKept) {
    const Playing playing(m_clock, 60);
    playing.buffer->Play(0, 0, DSBPLAY_LOOPING);
    HoldUp(playing);
    m_clock.Advance(5s);
    DWORD play = 0;
    playing.buffer->GetCurrentPosition(&play, nullptr);
    EXPECT_EQ(play, 5010U * 2 % 60) << "the cursor knows no delay";
    playing.buffer->Stop();
    playing.record->SetHeldUp(false);
    ASSERT_TRUE(m_clock.WaitForBlocked(1));
    EXPECT_EQ(playing.record->Bytes().size(), 20U + 2000U);
}

TEST_F(SoundBuffer, TheLastReleaseHandsOverTheRestAndCloses) {
    auto record = [this] {
        const Playing playing(m_clock, 60);
        playing.Write(0, Block(7));
        playing.buffer->Play(0, 0, DSBPLAY_LOOPING);
        m_clock.Advance(7ms);
        return playing.record;
    }();
    EXPECT_EQ(record->Bytes(), Block(7, 14));
    EXPECT_FALSE(record->IsOpen());
}

TEST_F(SoundBuffer, TwoPlayAtOnce) {
    const Playing one(m_clock, 60);
    const Playing two(m_clock, 100);
    one.Write(0, Block(1, 60));
    two.Write(0, Block(2, 100));
    one.buffer->Play(0, 0, DSBPLAY_LOOPING);
    Pass(10ms, 2);
    two.buffer->Play(0, 0, DSBPLAY_LOOPING);
    Pass(20ms, 2);
    one.buffer->Stop();
    two.buffer->Stop();
    ASSERT_TRUE(m_clock.WaitForBlocked(2));
    EXPECT_EQ(one.record->Bytes(), Block(1, 60));
    EXPECT_EQ(two.record->Bytes(), Block(2, 40));
}

TEST_F(SoundBuffer, ADeviceThatStaysAwayIsAskedForOnceASecond) {
    const Playing playing(m_clock, 60);
    playing.buffer->Play(0, 0, DSBPLAY_LOOPING);
    playing.record->SetGone(true);
    Pass(10ms);
    ASSERT_TRUE(playing.IsLost());
    for (int i = 0; i < 30; ++i) {
        EXPECT_EQ(playing.buffer->Restore(), DSERR_BUFFERLOST);
        Pass(100ms);
    }
    EXPECT_EQ(playing.record->Opens(), 1 + 3);
    EXPECT_EQ(playing.buffer->Restore(), DSERR_BUFFERLOST);
    playing.record->SetGone(false);
    Pass(1s);
    EXPECT_EQ(playing.buffer->Restore(), S_OK);
    EXPECT_TRUE(playing.record->IsOpen());
}

TEST_F(SoundBuffer, UnlockRefusesWhatLockDidNotGive) {
    const Playing playing(m_clock, 60);
    Bytes foreign(60);
    EXPECT_EQ(playing.buffer->Unlock(foreign.data(), 10, nullptr, 0), E_INVALIDARG);
    EXPECT_EQ(playing.buffer->Unlock(nullptr, 0, nullptr, 0), E_INVALIDARG);
    void* part = nullptr;
    DWORD bytes = 0;
    ASSERT_EQ(playing.buffer->Lock(40, 20, &part, &bytes, nullptr, nullptr, 0), S_OK);
    EXPECT_EQ(playing.buffer->Unlock(part, 21, nullptr, 0), E_INVALIDARG);
    EXPECT_EQ(playing.buffer->Unlock(part, 20, foreign.data(), 1), E_INVALIDARG);
    EXPECT_EQ(playing.buffer->Lock(50, 20, &part, &bytes, nullptr, nullptr, 0), E_INVALIDARG)
        << "two parts and no place for the second";
}

TEST_F(SoundBuffer, NotifyIsThereOnlyWhereAskedFor) {
    const Playing playing(m_clock, 60);
    EXPECT_FALSE(playing.buffer.As<IDirectSoundNotify>());
}

TEST_F(SoundBuffer, TheFeederCarriesAName) {
    const Playing playing(m_clock, 60);
    ASSERT_TRUE(m_clock.WaitForBlocked(1));
    int named = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string name;
        std::getline(std::ifstream(task.path() / "comm"), name);
        named += name == "qrn-sound" ? 1 : 0;
    }
    EXPECT_EQ(named, 1);
}

TEST(SoundBufferInRealTime, KeepsTheMachinesTime) {
    // The only test on the machine's own clock: at any moment the cursor is between what the time was before and after
    // it was asked for, however busy the machine is.
    qrn::IClock& clock = qrn::SystemClock();
    const Playing playing(clock, 2'000'000);
    const auto beforePlay = clock.Now();
    playing.buffer->Play(0, 0, DSBPLAY_LOOPING);
    const auto afterPlay = clock.Now();
    const auto frames = [](std::chrono::nanoseconds time) { return time / 1ms; };
    while (playing.record->Bytes().size() < 200) {  // the feeder runs by itself
        const auto before = clock.Now();
        DWORD play = 0;
        playing.buffer->GetCurrentPosition(&play, nullptr);
        const auto after = clock.Now();
        ASSERT_GE(play / 2, frames(before - afterPlay));
        ASSERT_LE(play / 2, frames(after - beforePlay));
        ASSERT_LT(after - beforePlay, qrn::test::kTestPatience);
    }
}

// ---------------------------------------------------------------------------------------------------------------------

struct DescCase {
    const char* name;
    void (*spoil)(DSBUFFERDESC& desc, WAVEFORMATEX& format);
    HRESULT result;
};

class SoundDeviceRefuses : public testing::TestWithParam<DescCase> {};

TEST_P(SoundDeviceRefuses, WhatItCannotPlay) {
    qrn::test::CManualClock clock;
    auto record = std::make_shared<qrn::test::CSinkRecord>();
    const auto device = qrn::CSoundDevice::Create(qrn::test::CMemorySink::Maker(record), clock);
    WAVEFORMATEX format{WAVE_FORMAT_PCM, 2, 48000, 192000, 4, 16, 0};
    DSBUFFERDESC desc{kDirectSoundDescBytes, DSBCAPS_CTRLPAN, 1000, 0, &format, GUID_NULL};
    qrn::ComPtr<IDirectSoundBuffer> buffer;
    EXPECT_EQ(device->CreateSoundBuffer(&desc, buffer.Put(), nullptr), DSERR_PRIOLEVELNEEDED);
    device->SetCooperativeLevel(1, DSSCL_PRIORITY);
    GetParam().spoil(desc, format);
    EXPECT_EQ(device->CreateSoundBuffer(&desc, buffer.Put(), nullptr), GetParam().result);
    EXPECT_EQ(static_cast<bool>(buffer), GetParam().result == S_OK);
    EXPECT_EQ(record->Opens(), GetParam().result == S_OK ? 1 : 0);
}

INSTANTIATE_TEST_SUITE_P(
    Descriptions, SoundDeviceRefuses,
    testing::Values(
        DescCase{"Nothing", [](DSBUFFERDESC&, WAVEFORMATEX&) {}, S_OK},
        DescCase{"SizeOfTheRecordHere", [](DSBUFFERDESC& d, WAVEFORMATEX&) { d.dwSize = sizeof d; }, E_INVALIDARG},
        DescCase{"Flags", [](DSBUFFERDESC& d, WAVEFORMATEX&) { d.dwFlags = 1; }, E_INVALIDARG},
        DescCase{"TooSmall", [](DSBUFFERDESC& d, WAVEFORMATEX&) { d.dwBufferBytes = 3; }, E_INVALIDARG},
        DescCase{"TooLarge", [](DSBUFFERDESC& d, WAVEFORMATEX&) { d.dwBufferBytes = 0x10000000; }, E_INVALIDARG},
        DescCase{"NoFormat", [](DSBUFFERDESC& d, WAVEFORMATEX&) { d.lpwfxFormat = nullptr; }, E_INVALIDARG},
        DescCase{"Tag", [](DSBUFFERDESC&, WAVEFORMATEX& f) { f.wFormatTag = 3; }, DSERR_BADFORMAT},
        DescCase{"Bits", [](DSBUFFERDESC&, WAVEFORMATEX& f) { f.wBitsPerSample = 8; }, DSERR_BADFORMAT},
        DescCase{"NoChannels", [](DSBUFFERDESC&, WAVEFORMATEX& f) { f.nChannels = f.nBlockAlign = 0; },
                 DSERR_BADFORMAT},
        DescCase{"Align", [](DSBUFFERDESC&, WAVEFORMATEX& f) { f.nBlockAlign = 2; }, DSERR_BADFORMAT},
        DescCase{"Rate", [](DSBUFFERDESC&, WAVEFORMATEX& f) { f.nSamplesPerSec = 0; }, DSERR_BADFORMAT},
        DescCase{"HighRate", [](DSBUFFERDESC&, WAVEFORMATEX& f) { f.nSamplesPerSec = 200001; }, DSERR_BADFORMAT}),
    [](const auto& c) { return std::string(c.param.name); });

TEST(SoundDevice, ADeviceThatDoesNotOpenIsNoDriver) {
    auto record = std::make_shared<qrn::test::CSinkRecord>();
    record->SetGone(true);
    const auto device = qrn::CSoundDevice::Create(qrn::test::CMemorySink::Maker(record));
    device->SetCooperativeLevel(1, DSSCL_PRIORITY);
    WAVEFORMATEX format{WAVE_FORMAT_PCM, 1, 8000, 16000, 2, 16, 0};
    const DSBUFFERDESC desc{kDirectSoundDescBytes, 0, 1000, 0, &format, GUID_NULL};
    qrn::ComPtr<IDirectSoundBuffer> buffer;
    EXPECT_EQ(device->CreateSoundBuffer(&desc, buffer.Put(), nullptr), DSERR_NODRIVER);
    EXPECT_FALSE(buffer);
}

}  // namespace
