#include "audiodevices/CDirectSoundManager.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <new>
#include <numeric>

#include "platform/sound/CMemorySink.h"
#include "platform/sound/CSoundDevice.h"
#include "platform/sound/FakeDirectSound.h"
#include "support/FakeClock.h"

#if !defined(QRN_SANITIZED)
namespace {
thread_local std::size_t allocations = 0;

void* CountedAllocation(std::size_t bytes) {
    ++allocations;
    void* const memory = std::malloc(bytes > 0 ? bytes : 1);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}
}  // namespace

void* operator new(std::size_t bytes) {
    return CountedAllocation(bytes);
}
void* operator new[](std::size_t bytes) {
    return CountedAllocation(bytes);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
#endif

namespace {

using namespace std::chrono_literals;
using Bytes = std::vector<BYTE>;

/// The engine with its fields in the open.
class CEngine : public CDirectSoundManager {
public:
    using CDirectSoundManager::LatencyMs;
    using CDirectSoundManager::m_blockBytes;
    using CDirectSoundManager::m_blockMs;
    using CDirectSoundManager::m_bufferBytes;
    using CDirectSoundManager::m_bytesPerMs;
    using CDirectSoundManager::m_channels;
    using CDirectSoundManager::m_created;
    using CDirectSoundManager::m_device;
    using CDirectSoundManager::m_maxLatencyMs;
    using CDirectSoundManager::m_playing;
    using CDirectSoundManager::m_samplesPerSec;
    using CDirectSoundManager::m_window;
    using CDirectSoundManager::m_writeOffset;
};

class DirectSoundManager : public testing::Test {
protected:
    DirectSoundManager() { qrn::SetDirectSoundFactory(qrn::test::CFakeDirectSound::Factory(m_sound)); }
    ~DirectSoundManager() override { qrn::SetDirectSoundFactory({}); }

    static void SetUpEngine(CEngine& engine, DWORD rate, DWORD channels, DWORD blockBytes) {
        engine.m_samplesPerSec = rate;
        engine.m_channels = channels;
        engine.m_blockBytes = blockBytes;
        engine.m_window = 7;
    }
    /// 8 kHz mono in blocks of 80 ms: 16 bytes a millisecond, a buffer of 7680.
    void StartMono() {
        SetUpEngine(m_engine, 8000, 1, 1280);
        ASSERT_EQ(m_engine.Create(), 0);
        ASSERT_EQ(m_engine.Start(), 0);
        m_sound.calls.clear();
        m_sound.ahead = 160;
    }
    /// Sets up a measured distance and writes a block there. @return Write's result.
    HRESULT WriteAt(DWORD play, DWORD writeOffset, const Bytes& block) {
        m_sound.play = play;
        m_engine.m_writeOffset = writeOffset;
        return m_engine.Write(block.data(), static_cast<DWORD>(block.size()));
    }

    qrn::test::FakeSound m_sound;
    CEngine m_engine;
    const Bytes m_block = Bytes(1280, 1);
};

struct GeometryCase {
    const char* name;
    DWORD rate, channels, blockBytes;
    HRESULT result;
    DWORD blockMs, bytesPerMs, bufferBytes;
};

class Geometry : public DirectSoundManager, public testing::WithParamInterface<GeometryCase> {};

TEST_P(Geometry, IsComputedAtCreation) {
    const GeometryCase& c = GetParam();
    SetUpEngine(m_engine, c.rate, c.channels, c.blockBytes);
    ASSERT_EQ(m_engine.Create(), c.result);
    EXPECT_EQ(m_engine.m_created, c.result == 0);
    if (c.result != 0) {
        EXPECT_EQ(m_sound.Count("CreateSoundBuffer"), 0);
        return;
    }
    EXPECT_EQ(m_engine.m_blockMs, c.blockMs);
    EXPECT_EQ(m_engine.m_bytesPerMs, c.bytesPerMs);
    EXPECT_EQ(m_engine.m_bufferBytes, c.bufferBytes);
    EXPECT_EQ(m_sound.desc.dwBufferBytes, c.bufferBytes);
    EXPECT_EQ(m_sound.format.nSamplesPerSec, c.rate);
    EXPECT_EQ(m_sound.format.nChannels, c.channels);
}

INSTANTIATE_TEST_SUITE_P(
    Formats, Geometry,
    testing::Values(GeometryCase{"MonoEightKilohertz", 8000, 1, 1280, 0, 80, 16, 7680},
                    GeometryCase{"StereoFortyEight", 48000, 2, 1920, 0, 10, 192, 11520},
                    GeometryCase{"StereoThirtyTwo", 32000, 2, 2560, 0, 20, 128, 15360},
                    // 44100 * 2 / 1000 is 88, and 882 / 88 is 10.
                    GeometryCase{"BrokenMilliseconds", 44100, 1, 882, 0, 10, 88, 5292},
                    GeometryCase{"BelowAMillisecond", 48000, 2, 4, 0, 0, 192, 24},
                    GeometryCase{"NoWindowOrSize", 8000, 1, 0, 1, 0, 0, 0},
                    GeometryCase{"NoRate", 0, 1, 1280, E_INVALIDARG, 0, 0, 0},
                    GeometryCase{"RateBelowAByteAMillisecond", 499, 2, 1280, E_INVALIDARG, 0, 0, 0},
                    GeometryCase{"NoChannels", 8000, 0, 1280, E_INVALIDARG, 0, 0, 0},
                    GeometryCase{"ChannelsPastSixteenBits", 8000, 65536, 1280, E_INVALIDARG, 0, 0, 0},
                    GeometryCase{"BlockPastThirtyTwoBits", 8000, 1, 0x2AAAAAAB, E_INVALIDARG, 0, 0, 0}),
    [](const auto& c) { return std::string(c.param.name); });

TEST_F(DirectSoundManager, CreateAsksForTheDeviceInOrder) {
    m_engine.m_device = qrn::Guid("6A0C2B52-2E5B-4E6F-9B63-8E1F6B0E1A02");
    SetUpEngine(m_engine, 48000, 2, 1920);
    ASSERT_EQ(m_engine.Create(), 0);
    EXPECT_EQ(m_sound.calls, (std::vector<std::string>{"DirectSoundCreate", "SetCooperativeLevel", "CreateSoundBuffer",
                                                       "Lock", "Unlock"}));
    EXPECT_EQ(m_sound.device, m_engine.m_device);
    EXPECT_EQ(m_sound.window, 7U);
    EXPECT_EQ(m_sound.level, DSSCL_PRIORITY);
    EXPECT_EQ(m_sound.desc.dwSize, 36U);
    EXPECT_EQ(m_sound.desc.dwFlags, 0x18140U);
    EXPECT_EQ(m_sound.desc.guid3DAlgorithm, GUID_NULL);
    EXPECT_EQ(m_sound.format.wFormatTag, WAVE_FORMAT_PCM);
    EXPECT_EQ(m_sound.format.wBitsPerSample, 16);
    EXPECT_EQ(m_sound.format.nBlockAlign, 4);
    EXPECT_EQ(m_sound.format.nAvgBytesPerSec, 192000U);
    EXPECT_EQ(m_sound.format.cbSize, 0);
    EXPECT_EQ(m_sound.bytes, Bytes(11520, 0)) << "silent";
    EXPECT_EQ(m_sound.lockBytes, 11520U);
}

TEST_F(DirectSoundManager, CreateNeedsAWindow) {
    SetUpEngine(m_engine, 8000, 1, 1280);
    m_engine.m_window = 0;
    EXPECT_EQ(m_engine.Create(), 1);
    EXPECT_TRUE(m_sound.calls.empty());
}

TEST_F(DirectSoundManager, CreateKeepsTheFirstBuffer) {
    StartMono();
    SetUpEngine(m_engine, 48000, 2, 1920);
    EXPECT_EQ(m_engine.Create(), 0);
    EXPECT_TRUE(m_sound.calls.empty());
    EXPECT_EQ(m_engine.m_bytesPerMs, 16U);
    EXPECT_EQ(m_engine.m_bufferBytes, 7680U);
}

struct CreateFailure {
    const char* name;
    HRESULT qrn::test::FakeSound::*step;
    HRESULT result;
};

class CreateFails : public DirectSoundManager, public testing::WithParamInterface<CreateFailure> {};

TEST_P(CreateFails, WithTheResultOfTheStepAndCanBeTriedAgain) {
    m_sound.*GetParam().step = GetParam().result;
    SetUpEngine(m_engine, 8000, 1, 1280);
    EXPECT_EQ(m_engine.Create(), GetParam().result);
    EXPECT_FALSE(m_engine.m_created);
    EXPECT_EQ(m_engine.Start(), 0) << "there is no buffer to start";
    EXPECT_EQ(m_engine.Write(m_block.data(), 1280), 1);
    m_sound.*GetParam().step = S_OK;
    EXPECT_EQ(m_engine.Create(), 0);
    EXPECT_TRUE(m_engine.m_created);
}

INSTANTIATE_TEST_SUITE_P(Steps, CreateFails,
                         testing::Values(CreateFailure{"Device", &qrn::test::FakeSound::createResult, DSERR_NODRIVER},
                                         CreateFailure{"Level", &qrn::test::FakeSound::levelResult, E_INVALIDARG},
                                         CreateFailure{"Buffer", &qrn::test::FakeSound::bufferResult, DSERR_BADFORMAT}),
                         [](const auto& c) { return std::string(c.param.name); });

TEST_F(DirectSoundManager, CreateFailsWithoutNotify) {
    m_sound.hasNotify = false;
    SetUpEngine(m_engine, 8000, 1, 1280);
    EXPECT_EQ(m_engine.Create(), E_NOINTERFACE);
    EXPECT_FALSE(m_engine.m_created);
}

TEST_F(DirectSoundManager, StartRewindsAndWritesTwoBlocksAhead) {
    StartMono();
    EXPECT_EQ(m_engine.m_writeOffset, 2560U);
    EXPECT_TRUE(m_sound.playing);
    EXPECT_EQ(m_engine.Start(), 0);
    EXPECT_TRUE(m_sound.calls.empty()) << "it plays already";
}

TEST_F(DirectSoundManager, StartGivesTheFailureOfPlay) {
    SetUpEngine(m_engine, 8000, 1, 1280);
    ASSERT_EQ(m_engine.Create(), 0);
    m_sound.playResult = E_FAIL;
    EXPECT_EQ(m_engine.Start(), E_FAIL);
    EXPECT_FALSE(m_engine.m_playing);
}

TEST_F(DirectSoundManager, StopSilencesOnce) {
    StartMono();
    WriteAt(0, 2560, m_block);
    m_sound.calls.clear();
    EXPECT_EQ(m_engine.Stop(), 0);
    EXPECT_EQ(m_sound.bytes, Bytes(7680, 0));
    EXPECT_EQ(m_sound.calls, (std::vector<std::string>{"Stop", "Lock", "Unlock"}));
    EXPECT_EQ(m_engine.Stop(), 0);
    EXPECT_EQ(m_sound.calls.size(), 3U);
}

// ---------------------------------------------------------------------------------------------------------------------
// The latency control. The write cursor is 160 bytes after the play cursor.

struct WriteCase {
    const char* name;
    DWORD play, writeOffset, length;
    LONGLONG latencyMs;    // reported afterwards
    DWORD placedAt;        // kNowhere: nothing is written
    DWORD newWriteOffset;  // afterwards
};
constexpr DWORD kNowhere = 0xFFFFFFFF;

class WriteBlock : public DirectSoundManager, public testing::WithParamInterface<WriteCase> {};

TEST_P(WriteBlock, KeepsTheBand) {
    const WriteCase& c = GetParam();
    StartMono();
    Bytes block(c.length);
    std::iota(block.begin(), block.end(), BYTE{1});
    EXPECT_EQ(WriteAt(c.play, c.writeOffset, block), 0);
    EXPECT_EQ(m_engine.LatencyMs(), c.latencyMs);
    EXPECT_EQ(m_engine.m_writeOffset, c.newWriteOffset);
    EXPECT_EQ(m_sound.Count("Lock"), c.placedAt == kNowhere ? 0 : 1);
    EXPECT_EQ(m_sound.Count("Unlock"), m_sound.Count("Lock"));
    Bytes expected(7680, 0);
    for (std::size_t i = 0; c.placedAt != kNowhere && i < block.size(); ++i) {
        expected[(c.placedAt + i) % 7680] = block[i];
    }
    EXPECT_EQ(m_sound.bytes, expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, WriteBlock,
    testing::Values(WriteCase{"TwoBlocksAhead", 0, 2560, 1280, 160, 2560, 3840},
                    WriteCase{"RoundTheEnd", 7040, 640, 1280, 80, 640, 1920},
                    // At one block, and a millisecond below it: the first block boundary after the write cursor.
                    WriteCase{"OneBlockIsInTime", 1280, 2560, 1280, 80, 2560, 3840},
                    WriteCase{"BelowOneBlockIsLate", 1296, 2560, 1280, 79, 2560, 3840},
                    WriteCase{"LateByALot", 2600, 2560, 1280, 477, 3840, 5120},
                    WriteCase{"LateAtTheSpot", 2560, 2560, 1280, 0, 3840, 5120},
                    WriteCase{"LateWithTheBoundaryAtTheEnd", 6400, 6500, 1280, 6, 0, 1280},
                    WriteCase{"LateWithTheWriteCursorRoundTheEnd", 7600, 7600, 1280, 0, 1280, 2560},
                    WriteCase{"WriteCursorOnABoundary", 1120, 1200, 1280, 5, 2560, 3840},
                    // The ceiling: 240 ms is still written, 241 is dropped and told as 240.
                    WriteCase{"AtTheCeiling", 16, 3856, 1280, 240, 3856, 5136},
                    WriteCase{"AboveTheCeiling", 16, 3872, 1280, 240, kNowhere, 3872},
                    WriteCase{"FiveBlocksAreStillDropped", 16, 6416, 1280, 240, kNowhere, 6416},
                    WriteCase{"AboveFiveBlocksJumpsBack", 16, 6432, 1280, 401, 1280, 2560},
                    // Lengths.
                    WriteCase{"NothingStillMeasures", 0, 2560, 0, 160, kNowhere, 2560},
                    WriteCase{"NothingStillResynchronises", 2560, 2560, 0, 0, kNowhere, 3840},
                    WriteCase{"TheWholeBuffer", 0, 2560, 7680, 160, 2560, 2560},
                    WriteCase{"LongerThanTheBuffer", 0, 2560, 7681, 160, kNowhere, 2560},
                    WriteCase{"LongerThanTheBufferStillResynchronises", 2560, 2560, 7681, 0, kNowhere, 3840},
                    WriteCase{"AShortBlock", 0, 2560, 100, 160, 2560, 2660},
                    // The write offset at the end.
                    WriteCase{"UpToTheEnd", 5000, 6400, 1280, 87, 6400, 0},
                    WriteCase{"OverTheEnd", 5000, 6500, 1280, 93, 6500, 100}),
    [](const auto& c) { return std::string(c.param.name); });

TEST_F(DirectSoundManager, ShortBlocksNeverMeetTheCeiling) {
    // 48 kHz stereo in 10 ms: the band ends at 50 ms.
    SetUpEngine(m_engine, 48000, 2, 1920);
    ASSERT_EQ(m_engine.Create(), 0);
    ASSERT_EQ(m_engine.Start(), 0);
    const Bytes block(1920, 1);
    EXPECT_EQ(WriteAt(0, 9600, block), 0);
    EXPECT_EQ(m_engine.LatencyMs(), 50);
    EXPECT_EQ(m_engine.m_writeOffset, 0U) << "written up to the end";
    EXPECT_EQ(WriteAt(192, 192 * 52, block), 0);
    EXPECT_EQ(m_engine.LatencyMs(), 51);
    EXPECT_EQ(m_engine.m_writeOffset, 3840U) << "jumped back to 1920";
}

TEST_F(DirectSoundManager, ACursorThatStandsStillRestarts) {
    StartMono();
    EXPECT_EQ(WriteAt(100, 2660, m_block), 0);
    m_sound.calls.clear();
    EXPECT_EQ(m_engine.Write(m_block.data(), 1280), 1);
    EXPECT_EQ(m_sound.calls, (std::vector<std::string>{"Stop", "Lock", "Unlock", "SetCurrentPosition", "Play"}));
    EXPECT_EQ(m_sound.bytes, Bytes(7680, 0)) << "that block is lost, and the old ones are silenced";
    EXPECT_EQ(m_engine.m_writeOffset, 2560U);
    m_sound.play = 16;
    EXPECT_EQ(m_engine.Write(m_block.data(), 1280), 0);
    EXPECT_EQ(m_sound.bytes[2560], 1);
}

TEST_F(DirectSoundManager, ACursorThatCannotBeReadStandsStill) {
    StartMono();
    m_sound.positionResult = E_FAIL;
    EXPECT_EQ(m_engine.Write(m_block.data(), 1280), 1);
    EXPECT_EQ(m_sound.Count("Play"), 1);
}

TEST_F(DirectSoundManager, ABufferThatStoppedIsRestarted) {
    StartMono();
    m_sound.playing = false;
    EXPECT_EQ(WriteAt(5000, 6400, m_block), 0);
    EXPECT_TRUE(m_sound.playing);
    EXPECT_EQ(m_sound.Count("Restore"), 0);
    EXPECT_EQ(m_sound.bytes[2560], 1) << "two blocks ahead of the rewound cursor";
}

TEST_F(DirectSoundManager, WriteStartsWhatWasNeverStarted) {
    SetUpEngine(m_engine, 8000, 1, 1280);
    ASSERT_EQ(m_engine.Create(), 0);
    m_sound.calls.clear();
    EXPECT_EQ(m_engine.Write(m_block.data(), 1280), 0);
    EXPECT_EQ(m_sound.Count("Stop"), 0) << "nothing played, so the restart is a start";
    EXPECT_EQ(m_sound.bytes[2560], 1);
}

TEST_F(DirectSoundManager, ALostBufferIsRestoredAndRestarted) {
    StartMono();
    m_sound.Lose();
    EXPECT_EQ(m_engine.Write(m_block.data(), 1280), 0);
    EXPECT_EQ(m_sound.calls[0], "Restore");
    EXPECT_TRUE(m_sound.playing);
    EXPECT_EQ(m_sound.bytes[2560], 1);
}

TEST_F(DirectSoundManager, ABufferThatStaysLostLosesBlocksUntilItIsBack) {
    StartMono();
    m_sound.comesBack = false;
    m_sound.Lose();
    for (int i = 0; i < 3; ++i) {
        const HRESULT result = m_engine.Write(m_block.data(), 1280);
        EXPECT_TRUE(result == 0 || result == 1);
        EXPECT_FALSE(m_engine.m_playing);
    }
    EXPECT_EQ(m_sound.Count("Unlock"), 0);
    m_sound.comesBack = true;
    m_sound.play = 0;
    m_engine.Write(m_block.data(), 1280);
    m_sound.MovePlay(16);
    EXPECT_EQ(m_engine.Write(m_block.data(), 1280), 0);
    EXPECT_TRUE(m_engine.m_playing);
    EXPECT_EQ(std::count(m_sound.bytes.begin(), m_sound.bytes.end(), 1), 1280);
}

TEST_F(DirectSoundManager, ABufferLostAtLockIsRestoredAndTheBlockWritten) {
    StartMono();
    m_sound.loseAtLock = true;
    EXPECT_EQ(WriteAt(16, 2576, m_block), 0);
    EXPECT_EQ(m_sound.calls, (std::vector<std::string>{"Lock", "Restore", "Lock", "Unlock"}));
    EXPECT_EQ(m_sound.bytes[2576], 1);
    EXPECT_EQ(m_engine.m_writeOffset, 3856U);
}

TEST_F(DirectSoundManager, ALockThatFailsSkipsABlock) {
    StartMono();
    m_sound.lockResult = E_FAIL;
    EXPECT_EQ(WriteAt(16, 2576, m_block), 0);
    EXPECT_EQ(m_engine.m_writeOffset, 2576U + 1280U);
    EXPECT_EQ(m_sound.Count("Unlock"), 0);
    EXPECT_EQ(WriteAt(5000, 6400, m_block), 0);
    EXPECT_EQ(m_engine.m_writeOffset, 0U) << "round the end";
    m_sound.lockResult = DSERR_BUFFERLOST;
    m_sound.calls.clear();
    EXPECT_EQ(WriteAt(32, 2592, m_block), 0);
    EXPECT_EQ(m_sound.calls, (std::vector<std::string>{"Lock", "Restore", "Lock"}));
}

TEST_F(DirectSoundManager, AStatusThatCannotBeHadIsGood) {
    StartMono();
    m_sound.statusResult = E_FAIL;
    m_sound.playing = false;
    EXPECT_EQ(WriteAt(16, 2576, m_block), 0);
    EXPECT_EQ(m_sound.Count("Play"), 0);
}

TEST_F(DirectSoundManager, TheLimitThatWasSetChangesNothing) {
    EXPECT_EQ(m_engine.m_maxLatencyMs, 240U);
    StartMono();
    m_engine.m_maxLatencyMs = 1000;
    EXPECT_EQ(WriteAt(16, 16 + 16 * 300, m_block), 0);
    EXPECT_EQ(m_engine.LatencyMs(), 240);
}

TEST_F(DirectSoundManager, ABlockSizeTakenAwayWhileTheBufferStandsIsNotReady) {
    StartMono();
    m_engine.m_blockBytes = 0;
    EXPECT_EQ(m_engine.Write(m_block.data(), 1280), 1);
}

TEST_F(DirectSoundManager, ALargerBlockSizeThanTheBufferWasMadeForIsSafe) {
    StartMono();
    m_engine.Stop();
    m_engine.m_blockBytes = 100000;
    EXPECT_EQ(m_engine.Start(), 0);
    for (DWORD i = 1; i < 10; ++i) {
        m_sound.play = i * 100;
        EXPECT_EQ(m_engine.Write(m_block.data(), 1280), 0);
        EXPECT_LT(m_engine.m_writeOffset, 7680U);
    }
}

TEST_F(DirectSoundManager, LetsGoOfNotifyThenBufferThenDevice) {
    {
        CEngine engine;
        SetUpEngine(engine, 8000, 1, 1280);
        ASSERT_EQ(engine.Create(), 0);
        ASSERT_EQ(engine.Start(), 0);
        m_sound.calls.clear();
    }
    EXPECT_EQ(m_sound.calls, (std::vector<std::string>{"Stop", "buffer released", "buffer gone", "device gone"}));
}

// ---------------------------------------------------------------------------------------------------------------------
// On the real looping buffer

class DirectSoundManagerInTime : public testing::Test {
protected:
    DirectSoundManagerInTime() {
        qrn::SetDirectSoundFactory([this](const GUID&, IDirectSound** out) {
            *out = qrn::CSoundDevice::Create(qrn::test::CMemorySink::Maker(m_record), m_clock).Detach();
            return S_OK;
        });
        m_engine.m_samplesPerSec = 8000;
        m_engine.m_channels = 1;
        m_engine.m_blockBytes = 1280;
        m_engine.m_window = 7;
        EXPECT_EQ(m_engine.Create(), 0);
        EXPECT_EQ(m_engine.Start(), 0);
    }
    ~DirectSoundManagerInTime() override { qrn::SetDirectSoundFactory({}); }

    void Pass(std::chrono::nanoseconds time) {
        ASSERT_TRUE(m_clock.WaitForBlocked(1));
        m_clock.Advance(time);
        ASSERT_TRUE(m_clock.WaitForBlocked(1));
    }
    HRESULT Write(BYTE value) {
        const Bytes block(1280, value);
        return m_engine.Write(block.data(), 1280);
    }
    /// What is heard, as runs of one value each.
    std::vector<std::pair<BYTE, std::size_t>> Runs() {
        std::vector<std::pair<BYTE, std::size_t>> runs;
        for (const BYTE value : m_record->Bytes()) {
            if (runs.empty() || runs.back().first != value) {
                runs.emplace_back(value, 0);
            }
            ++runs.back().second;
        }
        return runs;
    }

    qrn::test::CManualClock m_clock;
    std::shared_ptr<qrn::test::CSinkRecord> m_record = std::make_shared<qrn::test::CSinkRecord>();
    CEngine m_engine;
};

TEST_F(DirectSoundManagerInTime, ASteadyStreamIsHeardWholeAndInOrder) {
    for (int i = 1; i <= 40; ++i) {
        EXPECT_EQ(Write(static_cast<BYTE>(i)), 0);
        EXPECT_EQ(m_engine.LatencyMs(), 160);
        Pass(80ms);
    }
    m_engine.Stop();
    ASSERT_TRUE(m_clock.WaitForBlocked(1));
    const auto runs = Runs();
    ASSERT_EQ(runs.size(), 39U) << "silence, then 38 of 40 blocks: two are still to come";
    EXPECT_EQ(runs[0], (std::pair<BYTE, std::size_t>{0, 2560}));
    for (std::size_t i = 1; i < runs.size(); ++i) {
        EXPECT_EQ(runs[i], (std::pair<BYTE, std::size_t>{static_cast<BYTE>(i), 1280}));
    }
}

TEST_F(DirectSoundManagerInTime, ASenderThatIsFasterStaysBelowTheCeiling) {
    LONGLONG most = 0;
    for (int i = 0; i < 200; ++i) {
        Write(1);
        most = std::max(most, m_engine.LatencyMs());
        Pass(70ms);
    }
    EXPECT_LE(most, 240);
    EXPECT_GT(most, 160);
}

TEST_F(DirectSoundManagerInTime, ASenderThatIsSlowerIsHeardAgainAfterEachGap) {
    for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(Write(static_cast<BYTE>(1 + i % 200)), 0);
        Pass(95ms);
    }
    // Being late makes room, it takes nothing away: all but the last blocks, which are still to come, are heard.
    std::vector<bool> heard(256);
    for (const auto& run : Runs()) {
        heard[run.first] = true;
    }
    EXPECT_EQ(std::count(heard.begin() + 1, heard.begin() + 196, true), 195);
}

TEST_F(DirectSoundManagerInTime, ALostDeviceComesBackWithTheNextBlock) {
    Pass(10ms);
    Write(1);
    m_record->SetGone(true);
    Pass(80ms);
    EXPECT_EQ(m_record->Opens(), 1);
    m_record->SetGone(false);
    EXPECT_EQ(Write(2), 0);
    EXPECT_EQ(m_record->Opens(), 2);
    EXPECT_TRUE(m_engine.m_playing);
    for (BYTE i = 3; i < 6; ++i) {
        Pass(80ms);
        EXPECT_EQ(Write(i), 0);
    }
    const auto runs = Runs();
    ASSERT_EQ(runs.size(), 2U) << "silence of two blocks, then the block that brought the device back";
    EXPECT_EQ(runs[1], (std::pair<BYTE, std::size_t>{2, 1280}));
}

TEST_F(DirectSoundManagerInTime, WritingAllocatesNothing) {
#if defined(QRN_SANITIZED)
    GTEST_SKIP() << "the sanitizer has the allocator";
#else
    Write(1);
    Pass(80ms);
    const Bytes block(1280, 2);
    const std::size_t before = allocations;
    EXPECT_EQ(m_engine.Write(block.data(), 1280), 0);
    EXPECT_EQ(allocations, before);
    // The counter counts: a restart does allocate.
    m_engine.Write(block.data(), 1280);
    EXPECT_GT(allocations, before);
#endif
}

}  // namespace
