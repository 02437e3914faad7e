/// What holds for every sound buffer: the one that plays and the fake that other tests stand on.

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "platform/sound/CMemorySink.h"
#include "platform/sound/CSoundDevice.h"
#include "platform/sound/FakeDirectSound.h"
#include "support/FakeClock.h"

namespace {

constexpr DWORD kRate = 8000;
constexpr DWORD kBytesPerMs = 16;
constexpr DWORD kBufferBytes = 7680;
constexpr DWORD kFlags =
    DSBCAPS_CTRLPAN | DSBCAPS_CTRLPOSITIONNOTIFY | DSBCAPS_GLOBALFOCUS | DSBCAPS_GETCURRENTPOSITION2;

/// A device of one kind and the means to let time pass for it and to take it away.
class IRig {
public:
    virtual ~IRig() = default;
    virtual qrn::ComPtr<IDirectSound> Device() = 0;
    virtual void Pass(DWORD milliseconds) = 0;
    /// While it plays.
    virtual void Lose() = 0;
    virtual void SetComesBack(bool comesBack) = 0;
};

class CFakeRig final : public IRig {
public:
    qrn::ComPtr<IDirectSound> Device() override {
        m_sound.ahead = 160;
        return qrn::ComPtr<IDirectSound>::Adopt(new qrn::test::CFakeDirectSound(m_sound));
    }
    void Pass(DWORD milliseconds) override {
        if (m_sound.playing) {
            m_sound.MovePlay(milliseconds * kBytesPerMs);
        }
    }
    void Lose() override { m_sound.Lose(); }
    void SetComesBack(bool comesBack) override { m_sound.comesBack = comesBack; }

private:
    qrn::test::FakeSound m_sound;
};

class CRealRig final : public IRig {
public:
    qrn::ComPtr<IDirectSound> Device() override {
        return qrn::CSoundDevice::Create(qrn::test::CMemorySink::Maker(m_record), m_clock);
    }
    void Pass(DWORD milliseconds) override {
        EXPECT_TRUE(m_clock.WaitForBlocked(1));
        m_clock.Advance(std::chrono::milliseconds(milliseconds));
        EXPECT_TRUE(m_clock.WaitForBlocked(1));
    }
    void Lose() override {
        m_record->SetGone(true);
        Pass(20);
    }
    void SetComesBack(bool comesBack) override {
        m_record->SetGone(!comesBack);
        Pass(1000);  // a device that stays away is not asked for at every call
    }

private:
    qrn::test::CManualClock m_clock;
    std::shared_ptr<qrn::test::CSinkRecord> m_record = std::make_shared<qrn::test::CSinkRecord>();
};

class SoundBufferConformance : public testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        if (GetParam()) {
            m_rig = std::make_unique<CRealRig>();
        } else {
            m_rig = std::make_unique<CFakeRig>();
        }
        m_device = m_rig->Device();
        ASSERT_EQ(m_device->SetCooperativeLevel(1, DSSCL_PRIORITY), S_OK);
        WAVEFORMATEX format{WAVE_FORMAT_PCM, 1, kRate, kRate * 2, 2, 16, 0};
        const DSBUFFERDESC desc{kDirectSoundDescBytes, kFlags, kBufferBytes, 0, &format, GUID_NULL};
        ASSERT_EQ(m_device->CreateSoundBuffer(&desc, m_buffer.Put(), nullptr), S_OK);
    }

    DWORD PlayCursor() {
        DWORD play = 0xFFFFFFFF;
        DWORD write = 0;
        EXPECT_EQ(m_buffer->GetCurrentPosition(&play, &write), S_OK);
        return play;
    }
    DWORD Status() {
        DWORD status = 0xFFFFFFFF;
        EXPECT_EQ(m_buffer->GetStatus(&status), S_OK);
        return status;
    }
    HRESULT Lock(DWORD offset, DWORD bytes, DWORD flags = 0) {
        return m_buffer->Lock(offset, bytes, &m_part1, &m_bytes1, &m_part2, &m_bytes2, flags);
    }

    std::unique_ptr<IRig> m_rig;
    qrn::ComPtr<IDirectSound> m_device;
    qrn::ComPtr<IDirectSoundBuffer> m_buffer;
    void* m_part1 = nullptr;
    void* m_part2 = nullptr;
    DWORD m_bytes1 = 0;
    DWORD m_bytes2 = 0;
};

TEST_P(SoundBufferConformance, StartsStoppedAtTheBeginning) {
    EXPECT_EQ(Status(), 0U);
    m_rig->Pass(100);
    EXPECT_EQ(PlayCursor(), 0U);
}

TEST_P(SoundBufferConformance, PlaysInTimeAndRoundTheEnd) {
    ASSERT_EQ(m_buffer->Play(0, 0, DSBPLAY_LOOPING), S_OK);
    EXPECT_EQ(Status(), DSBSTATUS_PLAYING | DSBSTATUS_LOOPING);
    m_rig->Pass(100);
    EXPECT_EQ(PlayCursor(), 1600U);
    m_rig->Pass(400);
    EXPECT_EQ(PlayCursor(), 320U);
    m_rig->Pass(459);
    DWORD play = 0;
    DWORD write = 0;
    m_buffer->GetCurrentPosition(&play, &write);
    EXPECT_EQ(play, 7664U);
    EXPECT_EQ(write, 144U) << "10 ms ahead, round the end";
}

TEST_P(SoundBufferConformance, StopHoldsTheCursor) {
    m_buffer->Play(0, 0, DSBPLAY_LOOPING);
    m_rig->Pass(30);
    EXPECT_EQ(m_buffer->Stop(), S_OK);
    EXPECT_EQ(Status(), 0U);
    m_rig->Pass(1000);
    EXPECT_EQ(PlayCursor(), 480U);
    m_buffer->Play(0, 0, DSBPLAY_LOOPING);
    m_rig->Pass(10);
    EXPECT_EQ(PlayCursor(), 640U);
}

TEST_P(SoundBufferConformance, TheCursorCanBeSet) {
    m_buffer->Play(0, 0, DSBPLAY_LOOPING);
    m_rig->Pass(30);
    EXPECT_EQ(m_buffer->SetCurrentPosition(0), S_OK);
    EXPECT_EQ(PlayCursor(), 0U);
    EXPECT_EQ(m_buffer->SetCurrentPosition(7678), S_OK);
    EXPECT_EQ(PlayCursor(), 7678U);
    EXPECT_EQ(m_buffer->SetCurrentPosition(kBufferBytes), E_INVALIDARG);
    EXPECT_EQ(PlayCursor(), 7678U);
}

TEST_P(SoundBufferConformance, OnlyLoopingIsThere) {
    EXPECT_EQ(m_buffer->Play(0, 0, 0), E_NOTIMPL);
}

TEST_P(SoundBufferConformance, LockGivesOneOrTwoParts) {
    ASSERT_EQ(Lock(0, kBufferBytes), S_OK);
    void* const begin = m_part1;
    EXPECT_EQ(m_bytes1, kBufferBytes);
    EXPECT_EQ(m_part2, nullptr);
    EXPECT_EQ(m_bytes2, 0U);
    ASSERT_EQ(Lock(kBufferBytes - 100, 300), S_OK);
    EXPECT_EQ(m_bytes1, 100U);
    EXPECT_EQ(m_part2, begin);
    EXPECT_EQ(m_bytes2, 200U);
    ASSERT_EQ(Lock(100, 0, DSBLOCK_ENTIREBUFFER), S_OK);
    EXPECT_EQ(m_bytes1 + m_bytes2, kBufferBytes);
}

TEST_P(SoundBufferConformance, LockRefusesWhatIsNotThere) {
    EXPECT_EQ(Lock(kBufferBytes, 1), E_INVALIDARG);
    EXPECT_EQ(Lock(0, 0), E_INVALIDARG);
    EXPECT_EQ(Lock(0, kBufferBytes + 1), E_INVALIDARG);
    EXPECT_EQ(Lock(0xFFFFFFFF, 0xFFFFFFFF), E_INVALIDARG);
}

TEST_P(SoundBufferConformance, WhatWasWrittenStays) {
    ASSERT_EQ(Lock(kBufferBytes - 2, 4), S_OK);
    std::memcpy(m_part1, "ab", 2);
    std::memcpy(m_part2, "cd", 2);
    ASSERT_EQ(m_buffer->Unlock(m_part1, 2, m_part2, 2), S_OK);
    ASSERT_EQ(Lock(0, 0, DSBLOCK_ENTIREBUFFER), S_OK);
    const auto* const bytes = static_cast<const char*>(m_part1);
    EXPECT_EQ(std::string(bytes, 2), "cd");
    EXPECT_EQ(std::string(bytes + kBufferBytes - 2, 2), "ab");
}

TEST_P(SoundBufferConformance, ALostBufferIsStoppedAndRefusesUntilRestored) {
    m_buffer->Play(0, 0, DSBPLAY_LOOPING);
    m_rig->Lose();
    EXPECT_EQ(Status(), DSBSTATUS_BUFFERLOST);
    EXPECT_EQ(Lock(0, 100), DSERR_BUFFERLOST);
    EXPECT_EQ(m_buffer->Play(0, 0, DSBPLAY_LOOPING), DSERR_BUFFERLOST);
    m_rig->SetComesBack(false);
    EXPECT_EQ(m_buffer->Restore(), DSERR_BUFFERLOST);
    EXPECT_EQ(Status(), DSBSTATUS_BUFFERLOST);
    m_rig->SetComesBack(true);
    EXPECT_EQ(m_buffer->Restore(), S_OK);
    EXPECT_EQ(Status(), 0U);
    EXPECT_EQ(Lock(0, 100), S_OK);
    EXPECT_EQ(m_buffer->Play(0, 0, DSBPLAY_LOOPING), S_OK);
    const DWORD before = PlayCursor();
    m_rig->Pass(10);
    EXPECT_EQ(PlayCursor(), (before + 160) % kBufferBytes);
}

TEST_P(SoundBufferConformance, RestoreOfAGoodBufferChangesNothing) {
    m_buffer->Play(0, 0, DSBPLAY_LOOPING);
    EXPECT_EQ(m_buffer->Restore(), S_OK);
    EXPECT_EQ(Status(), DSBSTATUS_PLAYING | DSBSTATUS_LOOPING);
}

TEST_P(SoundBufferConformance, HasNotify) {
    qrn::ComPtr<IDirectSoundNotify> notify = m_buffer.As<IDirectSoundNotify>();
    ASSERT_TRUE(notify);
    // It keeps the buffer.
    m_buffer.Reset();
    EXPECT_TRUE(notify.As<IDirectSoundBuffer>());
    void* other = this;
    EXPECT_EQ(notify->QueryInterface(IID_IDirectSound, &other), E_NOINTERFACE);
    EXPECT_EQ(other, nullptr);
}

TEST_P(SoundBufferConformance, AWindowIsNeeded) {
    EXPECT_EQ(m_device->SetCooperativeLevel(0, DSSCL_PRIORITY), E_INVALIDARG);
}

INSTANTIATE_TEST_SUITE_P(Devices, SoundBufferConformance, testing::Bool(),
                         [](const auto& c) { return c.param ? "Real" : "Fake"; });

}  // namespace
