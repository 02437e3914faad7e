#include "audiodevices/CAudioRender.h"

#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <memory>

#include "platform/sound/FakeDirectSound.h"
#include "platform/system/Condition.h"
#include "platform/system/Thread.h"
#include "support/PushSource.h"

namespace {

using Bytes = std::vector<BYTE>;
using qrn::ComPtr;

constexpr REFERENCE_TIME kMs = 10000;

/// The graph's clock, moved by the test. Keeps one request for a time, which is all that one renderer makes.
class CGraphClock final : public CUnknown, public IReferenceClock {
public:
    DECLARE_IUNKNOWN
    CGraphClock() : CUnknown(L"graph clock", nullptr) {}

    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override {
        return id == IID_IReferenceClock ? GetInterface(static_cast<IReferenceClock*>(this), object)
                                         : CUnknown::NonDelegatingQueryInterface(id, object);
    }
    HRESULT GetTime(REFERENCE_TIME* time) override {
        const qrn::CScopedLock lock(m_gate);
        *time = m_now;
        return S_OK;
    }
    HRESULT AdviseTime(REFERENCE_TIME base, REFERENCE_TIME stream, HEVENT event, DWORD_PTR* cookie) override {
        const qrn::CScopedLock lock(m_gate);
        m_due = base + stream;
        m_event = event;
        *cookie = 1;
        SignalIfDue();
        m_changed.NotifyAll();
        return S_OK;
    }
    HRESULT AdvisePeriodic(REFERENCE_TIME, REFERENCE_TIME, HSEMAPHORE, DWORD_PTR*) override { return E_NOTIMPL; }
    HRESULT Unadvise(DWORD_PTR) override {
        const qrn::CScopedLock lock(m_gate);
        return std::exchange(m_event, -1) < 0 ? S_FALSE : S_OK;
    }

    void SetTime(REFERENCE_TIME now) {
        const qrn::CScopedLock lock(m_gate);
        m_now = now;
        SignalIfDue();
    }
    /// Until somebody waits for a time. @return that time.
    REFERENCE_TIME WaitForRequest() {
        qrn::CScopedLock lock(m_gate);
        while (m_event < 0) {
            m_changed.Wait(m_gate);
        }
        return m_due;
    }

private:
    void SignalIfDue() QRN_REQUIRES(m_gate) {
        if (m_event >= 0 && m_now >= m_due) {
            eventfd_write(std::exchange(m_event, -1), 1);
        }
    }

    qrn::CMutex m_gate;
    qrn::CCondition m_changed;
    REFERENCE_TIME m_now QRN_GUARDED_BY(m_gate) = 0;
    REFERENCE_TIME m_due QRN_GUARDED_BY(m_gate) = 0;
    HEVENT m_event QRN_GUARDED_BY(m_gate) = -1;
};

/// A sample of 100 bytes that may have no memory to show.
class CBareSample final : public IMediaSample {
public:
    explicit CBareSample(bool hasPointer) : m_hasPointer(hasPointer) {}

    HRESULT QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG AddRef() override { return 1; }
    ULONG Release() override { return 1; }
    HRESULT GetPointer(BYTE** buffer) override {
        *buffer = m_bytes.data();
        return m_hasPointer ? S_OK : E_FAIL;
    }
    LONG GetSize() override { return static_cast<LONG>(m_bytes.size()); }
    LONG GetActualDataLength() override { return GetSize(); }
    HRESULT GetTime(REFERENCE_TIME*, REFERENCE_TIME*) override { return E_NOTIMPL; }
    HRESULT SetTime(const REFERENCE_TIME*, const REFERENCE_TIME*) override { return E_NOTIMPL; }
    HRESULT IsSyncPoint() override { return S_FALSE; }
    HRESULT SetSyncPoint(BOOL) override { return E_NOTIMPL; }
    HRESULT IsPreroll() override { return S_FALSE; }
    HRESULT SetPreroll(BOOL) override { return E_NOTIMPL; }
    HRESULT SetActualDataLength(LONG) override { return E_NOTIMPL; }
    HRESULT GetMediaType(AM_MEDIA_TYPE**) override { return S_FALSE; }
    HRESULT SetMediaType(const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    HRESULT IsDiscontinuity() override { return S_FALSE; }
    HRESULT SetDiscontinuity(BOOL) override { return E_NOTIMPL; }
    HRESULT GetMediaTime(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }
    HRESULT SetMediaTime(const LONGLONG*, const LONGLONG*) override { return E_NOTIMPL; }

private:
    std::array<BYTE, 100> m_bytes{};
    const bool m_hasPointer;
};

class AudioRender : public testing::Test {
protected:
    AudioRender() {
        qrn::SetDirectSoundFactory(qrn::test::CFakeDirectSound::Factory(m_sound));
        HRESULT result = S_OK;
        m_render = dynamic_cast<CAudioRender*>(CAudioRender::CreateInstance(nullptr, &result));
        EXPECT_EQ(result, S_OK);
        m_filter = ComPtr<IBaseFilter>::Share(m_render);
        m_control = m_filter.As<IQRN_AudioRender>();
    }
    ~AudioRender() override {
        if (m_source) {
            Disconnect();  // connected pins hold each other
        }
        m_control.Reset();
        m_filter.Reset();
        qrn::SetDirectSoundFactory({});
    }

    /// A source of 8 kHz mono, in blocks of 80 ms, before the renderer.
    void Connect(unsigned rate = 8000, LONG blockBytes = 1280) {
        auto* const source = new qrn::test::CPushSource(qrn::test::PcmType(rate, 1), blockBytes);
        m_source = ComPtr<IBaseFilter>::Share(source);
        m_push = source;
        ASSERT_EQ(source->GetPin(0)->Connect(m_render->GetPin(0), nullptr), S_OK);
    }
    void Disconnect() {
        m_push->GetPin(0)->Disconnect();
        m_render->GetPin(0)->Disconnect();
    }
    void SetClock(IReferenceClock* clock) {
        m_filter->SetSyncSource(clock);
        m_source->SetSyncSource(clock);
    }
    void Run() {
        EXPECT_GE(m_filter->Run(0), 0);
        ASSERT_EQ(m_source->Run(0), S_OK);
    }
    void Stop() {
        EXPECT_EQ(m_filter->Stop(), S_OK);
        EXPECT_EQ(m_source->Stop(), S_OK);
    }
    LONGLONG Latency() {
        LONGLONG latency = -1;
        EXPECT_EQ(m_control->GetLatency(&latency), S_OK);
        return latency;
    }

    qrn::test::FakeSound m_sound;
    CAudioRender* m_render = nullptr;
    ComPtr<IBaseFilter> m_filter;
    ComPtr<IQRN_AudioRender> m_control;
    ComPtr<IBaseFilter> m_source;
    qrn::test::CPushSource* m_push = nullptr;
};

struct TypeCase {
    const char* name;
    void (*change)(CMediaType& type);
    HRESULT result;
};

WAVEFORMATEX& Format(CMediaType& type) {
    return *reinterpret_cast<WAVEFORMATEX*>(type.pbFormat);
}

class AudioRenderTypes : public AudioRender, public testing::WithParamInterface<TypeCase> {};

TEST_P(AudioRenderTypes, AreChecked) {
    CMediaType type = qrn::test::PcmType(8000, 1);
    GetParam().change(type);
    EXPECT_EQ(m_render->CheckMediaType(&type), GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(
    Types, AudioRenderTypes,
    testing::Values(TypeCase{"Mono8000", [](CMediaType&) {}, S_OK},
                    TypeCase{"Mono32000", [](CMediaType& type) { Format(type).nSamplesPerSec = 32000; }, S_OK},
                    TypeCase{"Stereo48000", [](CMediaType& type) { type = qrn::test::PcmType(48000, 2); }, S_OK},
                    TypeCase{"SixChannels", [](CMediaType& type) { type = qrn::test::PcmType(48000, 6); }, S_OK},
                    TypeCase{"NeitherSubtypeNorFormatTypeMatters",
                             [](CMediaType& type) {
                                 type.SetSubtype(&MEDIASUBTYPE_QRN1);
                                 type.SetFormatType(&FORMAT_VideoInfo);
                             },
                             S_OK},
                    TypeCase{"Rate16000", [](CMediaType& type) { Format(type).nSamplesPerSec = 16000; }, E_INVALIDARG},
                    TypeCase{"Rate44100", [](CMediaType& type) { Format(type).nSamplesPerSec = 44100; }, E_INVALIDARG},
                    TypeCase{"NoRate", [](CMediaType& type) { Format(type).nSamplesPerSec = 0; }, E_INVALIDARG},
                    TypeCase{"EightBits", [](CMediaType& type) { Format(type).wBitsPerSample = 8; }, E_INVALIDARG},
                    TypeCase{"NoChannels", [](CMediaType& type) { Format(type).nChannels = 0; }, E_INVALIDARG},
                    TypeCase{"Video", [](CMediaType& type) { type.SetType(&MEDIATYPE_Video); }, E_INVALIDARG},
                    TypeCase{"NoFormat", [](CMediaType& type) { type.ResetFormatBuffer(); }, E_OUTOFMEMORY},
                    TypeCase{"VideoWithoutFormat",
                             [](CMediaType& type) {
                                 type.SetType(&MEDIATYPE_Video);
                                 type.ResetFormatBuffer();
                             },
                             E_INVALIDARG},
                    TypeCase{"WithoutItsLastField", [](CMediaType& type) { type.ReallocFormatBuffer(16); }, S_OK},
                    TypeCase{"ShortFormat", [](CMediaType& type) { type.ReallocFormatBuffer(15); }, E_INVALIDARG}),
    [](const auto& c) { return std::string(c.param.name); });

TEST_F(AudioRender, HasItsInterface) {
    EXPECT_TRUE(m_control);
    void* object = this;
    EXPECT_EQ(m_filter->QueryInterface(IID_IQRN_VideoRender, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    CLSID id{};
    EXPECT_EQ(m_filter->GetClassID(&id), S_OK);
    EXPECT_EQ(id, CLSID_QRN_AudioRender);
}

TEST_F(AudioRender, KeepsItsSettings) {
    EXPECT_EQ(Latency(), 0);
    EXPECT_EQ(m_control->GetLatency(nullptr), S_OK);
    DWORD most = 0;
    EXPECT_EQ(m_control->GetMaxLatency(&most), S_OK);
    EXPECT_EQ(most, 240U);
    EXPECT_EQ(m_control->SetMaxLatency(1000), S_OK);
    m_control->GetMaxLatency(&most);
    EXPECT_EQ(most, 1000U);
    EXPECT_EQ(m_control->GetMaxLatency(nullptr), E_POINTER);
    GUID device = IID_IUnknown;
    EXPECT_EQ(m_control->GetDevice(&device), S_OK);
    EXPECT_EQ(device, GUID_NULL);
    EXPECT_EQ(m_control->SetDevice(QRN_SoundDeviceNull), S_OK);
    m_control->GetDevice(&device);
    EXPECT_EQ(device, QRN_SoundDeviceNull);
    EXPECT_EQ(m_control->GetDevice(nullptr), E_POINTER);
}

TEST_F(AudioRender, WithoutAConnectionThereIsNothingToStart) {
    EXPECT_EQ(m_render->OnStartStreaming(), S_FALSE);
    EXPECT_TRUE(m_sound.calls.empty());
}

TEST_F(AudioRender, TheFirstRunOpensTheDeviceWithTheBlocksOfTheConnection) {
    m_control->SetDevice(QRN_SoundDeviceFile);
    Connect();
    EXPECT_TRUE(m_sound.calls.empty()) << "not before the run";
    Run();
    EXPECT_EQ(m_sound.device, QRN_SoundDeviceFile);
    EXPECT_NE(m_sound.window, 0U);
    EXPECT_EQ(m_sound.desc.dwBufferBytes, 6U * 1280);
    EXPECT_EQ(m_sound.format.nSamplesPerSec, 8000U);
    EXPECT_TRUE(m_sound.playing);
    EXPECT_EQ(m_push->Push(Bytes(1280, 1)), S_OK);
    EXPECT_EQ(Latency(), 160);
    EXPECT_EQ(m_sound.bytes[2560], 1);
    Stop();
    EXPECT_FALSE(m_sound.playing);
    EXPECT_EQ(m_sound.bytes, Bytes(7680, 0));
}

TEST_F(AudioRender, TheBufferStaysForTheFiltersLife) {
    Connect();
    Run();
    Stop();
    Disconnect();
    m_control->SetDevice(QRN_SoundDeviceNull);
    Connect(48000, 960);
    Run();
    EXPECT_TRUE(m_sound.playing);
    m_sound.play = 16;
    EXPECT_EQ(m_push->Push(Bytes(960, 1)), S_OK);
    Stop();
    EXPECT_EQ(m_sound.Count("DirectSoundCreate"), 1);
    EXPECT_EQ(m_sound.desc.dwBufferBytes, 6U * 1280);
}

TEST_F(AudioRender, WithoutADeviceTheGraphGoesOn) {
    m_sound.createResult = DSERR_NODRIVER;
    Connect();
    Run();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(m_push->Push(Bytes(1280, 1)), S_OK);
    }
    EXPECT_EQ(m_render->OnStartStreaming(), S_FALSE);
    CBareSample sample(true);
    EXPECT_EQ(m_render->DoRenderSample(&sample), S_FALSE);
    EXPECT_EQ(Latency(), 0);
    FILTER_STATE state = State_Stopped;
    EXPECT_EQ(m_filter->GetState(0, &state), S_OK);
    EXPECT_EQ(state, State_Running);
    Stop();
    // The device has come: the next run finds it.
    m_sound.createResult = S_OK;
    Run();
    EXPECT_TRUE(m_sound.playing);
    Stop();
}

TEST_F(AudioRender, ASampleWithoutMemoryIsSkipped) {
    Connect();
    Run();
    CBareSample sample(false);
    EXPECT_EQ(m_render->DoRenderSample(&sample), S_OK);
    EXPECT_EQ(Latency(), 0);
    EXPECT_EQ(m_render->DoRenderSample(nullptr), E_POINTER);
    Stop();
}

TEST_F(AudioRender, ARestartOfTheEngineIsNoFailure) {
    Connect();
    Run();
    CBareSample sample(true);
    m_sound.play = 16;
    EXPECT_EQ(m_render->DoRenderSample(&sample), S_OK);
    EXPECT_EQ(m_render->DoRenderSample(&sample), S_FALSE) << "the cursor stands still";
    EXPECT_EQ(m_push->Push(Bytes(1280, 1)), S_OK);
    Stop();
}

TEST_F(AudioRender, SamplesAreHeardAtTheirTime) {
    auto clock = ComPtr<CGraphClock>::Share(new CGraphClock);
    Connect();
    SetClock(clock.Get());
    Run();
    qrn::CThread streaming;
    ASSERT_TRUE(streaming.Start("test-stream", [this] {
        for (BYTE i = 1; i <= 3; ++i) {
            EXPECT_EQ(m_push->Push(Bytes(1280, i), i * 80 * kMs, (i + 1) * 80 * kMs), S_OK);
        }
    }));
    for (BYTE i = 1; i <= 3; ++i) {
        EXPECT_EQ(clock->WaitForRequest(), i * 80 * kMs);
        EXPECT_EQ(std::count(m_sound.bytes.begin(), m_sound.bytes.end(), i), 0) << "too early";
        m_sound.play = i * 1280U - 1280U + 16U;
        clock->SetTime(i * 80 * kMs);
    }
    streaming.Join();
    for (BYTE i = 1; i <= 3; ++i) {
        EXPECT_EQ(m_sound.bytes[1280U * (i + 1U)], i);
    }
    EXPECT_EQ(Latency(), 159);
    Stop();
    SetClock(nullptr);
}

TEST_F(AudioRender, StopEndsTheWaitForATime) {
    auto clock = ComPtr<CGraphClock>::Share(new CGraphClock);
    Connect();
    SetClock(clock.Get());
    Run();
    qrn::CThread streaming;
    ASSERT_TRUE(streaming.Start("test-stream", [this] { m_push->Push(Bytes(1280, 1), 3600000 * kMs); }));
    clock->WaitForRequest();
    Stop();
    streaming.Join();
    EXPECT_EQ(m_sound.bytes, Bytes(7680, 0));
    EXPECT_EQ(Latency(), 0);
    SetClock(nullptr);
}

TEST_F(AudioRender, LatencyMayBeAskedForWhileSamplesArrive) {
    Connect();
    Run();
    std::atomic<bool> done = false;
    qrn::CThread streaming;
    ASSERT_TRUE(streaming.Start("test-stream", [this, &done] {
        for (int i = 0; i < 500; ++i) {
            m_sound.MovePlay(1280);
            m_push->Push(Bytes(1280, 1));
        }
        done = true;
    }));
    while (!done) {
        const LONGLONG latency = Latency();
        EXPECT_TRUE(latency >= 0 && latency <= 480) << latency;
    }
    streaming.Join();
    Stop();
}

TEST_F(AudioRender, LettingGoWhileRunningEndsAll) {
    Connect();
    Run();
    m_push->Push(Bytes(1280, 1));
    Disconnect();  // refused while active
    m_source->Stop();
    m_control.Reset();
    m_push->GetPin(0)->Disconnect();
    m_source.Reset();
    m_filter.Reset();
    EXPECT_FALSE(m_sound.playing);
    EXPECT_EQ(m_sound.Count("device gone"), 1);
}

TEST(AudioRenderInTheModule, CountsAsAnObjectWhileItLives) {
    const LONG before = CBaseObject::ActiveObjects();
    HRESULT result = S_OK;
    auto filter =
        ComPtr<IBaseFilter>::Share(dynamic_cast<CAudioRender*>(CAudioRender::CreateInstance(nullptr, &result)));
    EXPECT_GT(CBaseObject::ActiveObjects(), before);
    filter.Reset();
    EXPECT_EQ(CBaseObject::ActiveObjects(), before);
}

}  // namespace
