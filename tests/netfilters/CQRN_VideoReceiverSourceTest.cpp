#include "netfilters/CQRN_VideoReceiverSource.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "Delivery.h"
#include "FakeVideoCodecs.h"
#include "TestSamples.h"
#include "netfilters/CQRN_AudioReceiverSource.h"
#include "netfilters/CVideoSender.h"
#include "platform/com/TaskMemory.h"
#include "rtp/TestWire.h"
#include "support/FakeReferenceClock.h"
#include "support/PushSource.h"

using qrn::ComPtr;
using qrn::test::CDelivery;
using qrn::test::CFakeDecompressor;
using qrn::test::CFakeReferenceClock;
using qrn::test::CUdpPeer;
using qrn::test::Delivered;
using qrn::test::Encode;
using qrn::test::HasText;

namespace {

constexpr REFERENCE_TIME kMs = 10000;
/// Another port each time, even and free a moment ago.
std::uint16_t FreePort() {
    for (;;) {
        const CUdpPeer peer;
        if (peer.Port() % 2 == 0) {
            return peer.Port();
        }
    }
}

template <class Filter, class Interface>
Filter* Make(ComPtr<Interface>& object) {
    HRESULT result = S_OK;
    CUnknown* made = Filter::CreateInstance(nullptr, &result);
    EXPECT_EQ(result, S_OK);
    made->NonDelegatingQueryInterface(IID_Of<Interface>, object.PutVoid());
    return dynamic_cast<Filter*>(made);
}

class VideoReceiverSource : public testing::Test {
protected:
    VideoReceiverSource() : m_filter(Make<CQRN_VideoReceiverSource>(m_receiver)) {
        m_base = m_receiver.As<IBaseFilter>();
        m_receiver->SetLocalAddress(L"127.0.0.1");
    }

    ComPtr<IQRN_VideoReceiver> m_receiver;
    CQRN_VideoReceiverSource* m_filter;
    ComPtr<IBaseFilter> m_base;
};

TEST_F(VideoReceiverSource, AnswersItsInterfaces) {
    for (const IID& id :
         {IID_IQRN_VideoReceiver, IID_IQRN_NetworkStatistics, IID_IBaseFilter, IID_IAMFilterMiscFlags}) {
        ComPtr<IUnknown> found;
        EXPECT_EQ(m_receiver->QueryInterface(id, found.PutVoid()), S_OK);
    }
    PIN_INFO info{};
    ASSERT_EQ(m_filter->GetPinCount(), 1);
    ASSERT_EQ(m_filter->GetPin(0)->QueryPinInfo(&info), S_OK);
    EXPECT_STREQ(info.achName, L"Output");
    info.pFilter->Release();
}

struct FormatCase {
    const char* name;
    DWORD width;
    DWORD height;
    DWORD fps;
    DWORD encoder;
    HRESULT result;
    LONG capacity;
    DWORD periodMs;
};

class VideoReceiverFormat : public VideoReceiverSource, public testing::WithParamInterface<FormatCase> {};

TEST_P(VideoReceiverFormat, MakesTheTypeThatThePinOffers) {
    const FormatCase& row = GetParam();
    CMediaType type;
    EXPECT_EQ(m_filter->GetOutputType(&type), VFW_S_NO_MORE_ITEMS);
    ASSERT_EQ(m_receiver->SetFormat(row.width, row.height, row.fps, row.encoder), row.result);
    if (FAILED(row.result)) {
        EXPECT_EQ(m_filter->GetOutputType(&type), VFW_S_NO_MORE_ITEMS);
        EXPECT_EQ(m_filter->FrameCapacity(), -1);
        EXPECT_EQ(m_receiver->OpenNetwork(0), E_FAIL);
        return;
    }
    ASSERT_EQ(m_filter->GetOutputType(&type), S_OK);
    EXPECT_EQ(*type.Type(), MEDIATYPE_Video);
    EXPECT_EQ(*type.Subtype(), row.encoder == 0 ? MEDIASUBTYPE_QRN1 : MEDIASUBTYPE_QRN2);
    EXPECT_EQ(*type.FormatType(), FORMAT_VideoInfo);
    EXPECT_TRUE(type.IsTemporalCompressed());
    EXPECT_FALSE(type.IsFixedSize());
    EXPECT_EQ(type.lSampleSize, static_cast<ULONG>(row.capacity));
    ASSERT_EQ(type.FormatLength(), 88u);
    VIDEOINFOHEADER format{};
    std::copy_n(type.Format(), sizeof(format), reinterpret_cast<BYTE*>(&format));
    EXPECT_EQ(format.AvgTimePerFrame, 10000000 / row.fps);
    EXPECT_EQ(format.bmiHeader.biSize, 40u);
    EXPECT_EQ(format.bmiHeader.biWidth, static_cast<LONG>(row.width));
    EXPECT_EQ(format.bmiHeader.biHeight, static_cast<LONG>(row.height));
    EXPECT_EQ(format.bmiHeader.biPlanes, 1);
    EXPECT_EQ(format.bmiHeader.biBitCount, 8);
    EXPECT_EQ(format.bmiHeader.biCompression, row.encoder == 0 ? 0x314E5251u : 0x324E5251u);
    EXPECT_EQ(format.bmiHeader.biSizeImage, static_cast<DWORD>(row.capacity));
    EXPECT_EQ(m_filter->FrameCapacity(), row.capacity);
    EXPECT_EQ(m_filter->Links().framePeriodMs, row.periodMs);
}

INSTANTIATE_TEST_SUITE_P(Formats, VideoReceiverFormat,
                         testing::Values(FormatCase{"Mpeg4", 640, 480, 25, 0, S_OK, 307200, 40},
                                         FormatCase{"Vp8", 320, 240, 30, 6, S_OK, 76800, 33},
                                         FormatCase{"WholeWords", 641, 2, 25, 4, S_OK, 2 * 644, 40},
                                         FormatCase{"TopDown", 640, static_cast<DWORD>(-480), 25, 9, S_OK, 307200, 40},
                                         FormatCase{"UnknownEncoder", 8, 8, 2000, 15, S_OK, 64, 0},
                                         FormatCase{"RefusedFrom", 640, 480, 25, 10, E_FAIL, 0, 0},
                                         FormatCase{"RefusedTo", 640, 480, 25, 14, E_FAIL, 0, 0},
                                         FormatCase{"NoRate", 640, 480, 0, 0, E_INVALIDARG, 0, 0},
                                         FormatCase{"TooLarge", 65536, 32768, 25, 0, E_INVALIDARG, 0, 0},
                                         FormatCase{"FarTooLarge", 0xFFFFFFFF, 0x80000000, 25, 0, E_INVALIDARG, 0, 0}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(VideoReceiverSource, KeepsWhatIsSet) {
    DWORD value = 77;
    DWORD other = 77;
    EXPECT_EQ(m_receiver->SetBufferCount(0), E_INVALIDARG);
    EXPECT_EQ(m_receiver->GetBufferCount(&value), S_OK);
    EXPECT_EQ(value, 0u);
    EXPECT_EQ(m_receiver->GetReportLoss(&value), S_OK);
    EXPECT_EQ(value, 0u);
    EXPECT_EQ(m_receiver->SetReportLoss(256), S_OK);
    EXPECT_EQ(m_receiver->GetReportLoss(&value), S_OK);
    EXPECT_EQ(value, 1u);
    EXPECT_EQ(m_receiver->GetReportLoss(nullptr), E_INVALIDARG);
    EXPECT_EQ(m_receiver->SetMulticastLoop(1), S_OK);
    EXPECT_EQ(m_receiver->GetStatistics(nullptr, &other), S_OK);
    EXPECT_EQ(other, 77u);
    EXPECT_EQ(m_receiver->GetStatistics(&value, &other), S_OK);
    EXPECT_EQ(value + other, 0u);
    EXPECT_EQ(m_receiver->JoinGroup(L"239.1.2.3"), E_FAIL) << "not open";
    EXPECT_EQ(m_receiver->JoinGroup(nullptr), E_INVALIDARG);
    QRN_RECEIVE_STATISTICS counts{};
    const auto counter = m_receiver.As<IQRN_NetworkStatistics>();
    EXPECT_EQ(counter->GetReceiveStatistics(0, &counts), S_FALSE);
    EXPECT_EQ(counter->GetReceiveStatistics(1, &counts), E_INVALIDARG);

    ASSERT_EQ(m_receiver->SetFormat(64, 64, 25, 0), S_OK);
    m_receiver->SetLocalAddress(L"nowhere");
    EXPECT_EQ(m_receiver->OpenNetwork(0), E_FAIL) << "and no exception";
    m_receiver->SetLocalAddress(L"127.0.0.1");
    EXPECT_EQ(m_receiver->OpenNetwork(99), S_OK) << "the argument has no effect";
    EXPECT_EQ(m_receiver->OpenNetwork(0), S_OK) << "open already";
    EXPECT_EQ(m_receiver->JoinGroup(L"239.1.2.3"), S_OK);
    EXPECT_EQ(m_receiver->LeaveGroup(L"239.1.2.3"), S_OK);
    EXPECT_EQ(m_receiver->LeaveGroup(L"239.1.2.3"), E_FAIL);
}

TEST_F(VideoReceiverSource, HoldsTheFiltersThatItIsLinkedWith) {
    EXPECT_EQ(m_receiver->SetAudioReceiver(nullptr), E_INVALIDARG);
    EXPECT_EQ(m_receiver->SetAudioRender(nullptr), E_INVALIDARG);
    ComPtr<IQRN_AudioReceiver> audio;
    Make<CQRN_AudioReceiverSource>(audio);
    EXPECT_EQ(m_receiver->SetAudioReceiver(audio.Get()), S_OK);
    EXPECT_EQ(m_filter->Links().audioReceiver.Get(), audio.Get());
    EXPECT_EQ(m_receiver->SetAudioReceiver(nullptr), E_INVALIDARG);
    EXPECT_EQ(m_filter->Links().audioReceiver.Get(), audio.Get());
    EXPECT_EQ(m_receiver->SetAudioRender(audio.Get()), E_NOINTERFACE);
    EXPECT_EQ(m_receiver->SetAudioReceiver(m_receiver.Get()), E_NOINTERFACE);
    EXPECT_FALSE(m_filter->Links().audioReceiver) << "the old one is let go of";
    EXPECT_EQ(audio->AddRef(), 2u);
    audio->Release();
}

/// The filter with an opened session, a decompressor behind it and a clock that stands still at stream time 10 s.
class VideoReceiverGraph : public VideoReceiverSource {
protected:
    static constexpr REFERENCE_TIME kNow = 10'000 * kMs;

    ~VideoReceiverGraph() override {
        Stop();
        if (m_sink != nullptr) {
            m_filter->GetPin(0)->Disconnect();
            m_sink->GetPin(0)->Disconnect();
        }
    }

    void Build(DWORD encoder = 0) {
        m_port = FreePort();
        m_receiver->SetLocalPort(m_port);
        ASSERT_EQ(m_receiver->SetFormat(100, 100, 25, encoder), S_OK);
        ASSERT_EQ(m_receiver->OpenNetwork(0), S_OK);
        m_sink = new CFakeDecompressor([this](IMediaSample* sample) { m_delivery.Add(sample); });
        m_sinkHolder = ComPtr<IBaseFilter>::Share(m_sink);
        ASSERT_EQ(m_filter->GetPin(0)->Connect(m_sink->GetPin(0), nullptr), S_OK);
        ASSERT_EQ(m_base->SetSyncSource(m_clock.Get()), S_OK);
    }
    void Run() {
        ASSERT_GE(m_sink->Run(0), 0);
        ASSERT_GE(m_base->Run(m_clock->Now() - kNow), 0);
    }
    void Stop() {
        if (m_sink != nullptr) {
            EXPECT_EQ(m_sink->Stop(), S_OK);
        }
        EXPECT_EQ(m_base->Stop(), S_OK);
    }
    /// As if the engine had received it.
    void Put(const std::string& text, std::uint32_t timestamp = 0, bool lost = false) {
        CPacket frame;
        ASSERT_TRUE(frame.Allocate(static_cast<std::uint32_t>(text.size())));
        std::copy(text.begin(), text.end(), frame.m_data);
        frame.m_length = static_cast<std::uint32_t>(text.size());
        frame.m_timestamp = timestamp;
        frame.m_lost = lost ? 1 : 0;
        EXPECT_EQ(m_filter->OnFrame(frame), 0);
    }
    Delivered WaitFor(const std::string& text) {
        for (const Delivered& sample : m_delivery.WaitUntil([&](const auto& all) { return HasText(all, text); })) {
            if (sample.text == text) {
                return sample;
            }
        }
        return {};
    }

    ComPtr<CFakeReferenceClock> m_clock = ComPtr<CFakeReferenceClock>::Share(new CFakeReferenceClock);
    CUdpPeer m_peer;
    CDelivery m_delivery;
    std::uint16_t m_port = 0;
    CFakeDecompressor* m_sink = nullptr;
    ComPtr<IBaseFilter> m_sinkHolder;
};

TEST_F(VideoReceiverGraph, EmptySamplesKeepTheGraphsTime) {
    Build();
    ASSERT_FALSE(HasFatalFailure());
    Run();
    const auto samples = m_delivery.WaitUntil([](const auto& all) { return all.size() >= 20; });
    ASSERT_GE(samples.size(), 20u);
    for (std::size_t i = 0; i < 20; ++i) {
        // The first one at once, the second one late, then a period each until they are half a second ahead.
        const auto ahead = std::min<REFERENCE_TIME>(5 + 40 * (static_cast<REFERENCE_TIME>(i) - 1), 500) * kMs;
        const auto start = i == 0 ? 0 : kNow + ahead;
        EXPECT_EQ(samples[i].start, start) << i;
        EXPECT_EQ(samples[i].stop, start + 40 * kMs) << i;
        EXPECT_EQ(samples[i].text, "");
        EXPECT_TRUE(samples[i].isSyncPoint);
        EXPECT_FALSE(samples[i].isPreroll);
        EXPECT_FALSE(samples[i].hasMediaTime);
    }
}

TEST_F(VideoReceiverGraph, ARingThatIsNearlyFullDrainsAtTwiceTheRate) {
    Build();
    ASSERT_FALSE(HasFatalFailure());
    for (int i = 0; i < 20; ++i) {
        Put("frame" + std::to_string(i));
    }
    Run();
    for (int i = 0; i < 20; ++i) {
        const Delivered sample = WaitFor("frame" + std::to_string(i));
        // 18 wait behind the second one.
        EXPECT_EQ(sample.stop - sample.start, (i < 2 ? 20 : 40) * kMs) << i;
    }
}

TEST_F(VideoReceiverGraph, LossIsReportedOnlyWhenAskedFor) {
    Build();
    ASSERT_FALSE(HasFatalFailure());
    Run();
    Put("silent", 0, true);
    WaitFor("silent");
    EXPECT_EQ(m_sink->m_option2, 0u);
    m_receiver->SetReportLoss(1);
    Put("whole");
    WaitFor("whole");
    EXPECT_EQ(m_sink->m_option2, 0u);
    Put("told", 0, true);
    WaitFor("told");
    EXPECT_EQ(m_sink->m_option2, 1u);
    QRN_RECEIVE_STATISTICS counts{};
    EXPECT_EQ(m_receiver.As<IQRN_NetworkStatistics>()->GetReceiveStatistics(0, &counts), S_OK);
    EXPECT_EQ(counts.damagedFrames, 2u);
    m_receiver->SetOutputEnabled(0);
    Put("unseen");
    m_receiver->SetOutputEnabled(1);
    Put("seen");
    WaitFor("seen");
    EXPECT_FALSE(HasText(m_delivery.WaitUntil([](const auto&) { return true; }), "unseen"));
}

TEST_F(VideoReceiverGraph, FollowsTheAudioItIsLinkedWith) {
    struct CLatency final : CUnknown, IQRN_AudioRender {
        DECLARE_IUNKNOWN
        CLatency() : CUnknown(L"latency", nullptr) {}
        HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override {
            return id == IID_IQRN_AudioRender ? GetInterface(static_cast<IQRN_AudioRender*>(this), object)
                                              : CUnknown::NonDelegatingQueryInterface(id, object);
        }
        HRESULT GetLatency(LONGLONG* latencyMs) override {
            *latencyMs = 100;
            return S_OK;
        }
        HRESULT SetMaxLatency(DWORD) override { return E_NOTIMPL; }
        HRESULT GetMaxLatency(DWORD*) override { return E_NOTIMPL; }
        HRESULT SetDevice(GUID) override { return E_NOTIMPL; }
        HRESULT GetDevice(GUID*) override { return E_NOTIMPL; }
    };
    ComPtr<IQRN_AudioReceiver> audio;
    auto* audioFilter = Make<CQRN_AudioReceiverSource>(audio);
    const auto render = ComPtr<CLatency>::Share(new CLatency);
    Build();
    ASSERT_FALSE(HasFatalFailure());
    ASSERT_EQ(m_receiver->SetAudioReceiver(audio.Get()), S_OK);
    Run();
    WaitFor("");  // the first sample of a run is at 0 whatever it holds
    // Half a second ahead of the clock is the farthest: the audio is at 10.1 s.
    audioFilter->SyncPoint().Set({7000, 10'100});
    Put("together", 7000);
    EXPECT_EQ(WaitFor("together").start, kNow + 100 * kMs);
    ASSERT_EQ(m_receiver->SetAudioRender(render->GetOwner()), S_OK);
    Put("delayed", 7050);
    EXPECT_EQ(WaitFor("delayed").start, kNow + (100 + 50 + 100) * kMs);
    Put("behind", 6500);
    EXPECT_EQ(WaitFor("behind").start, kNow + 5 * kMs) << "too late: as soon as possible";
    m_delivery.WaitUntil([](const auto& all) { return all.back().start == kNow + 500 * kMs; });
    Put("apart", 6000);
    EXPECT_EQ(WaitFor("apart").start, kNow + 500 * kMs) << "a second apart: the running time goes on";
}

/// Frames over loopback from the sender filter to this one.
class VideoEndToEnd : public VideoReceiverGraph, public testing::WithParamInterface<std::tuple<bool, DWORD>> {};

TEST_P(VideoEndToEnd, FramesOfManyPacketsArriveWhole) {
    const auto [isPaced, parity] = GetParam();
    Build();
    ASSERT_FALSE(HasFatalFailure());
    ComPtr<IQRN_VideoSender> sender;
    auto* senderFilter = Make<CVideoSender>(sender);
    ASSERT_EQ(sender->SetLocalAddress(L"127.0.0.1"), S_OK);
    sender->SetPacing(20, isPaced ? 100000 : 0);
    sender->SetParityGroup(parity);
    ASSERT_EQ(m_receiver->SetReorder(1, 20, parity), S_OK);
    ASSERT_EQ(sender->OpenNetwork(), S_OK);
    ASSERT_EQ(sender->AddDestination(L"127.0.0.1", m_port), S_OK);
    auto* source = new qrn::test::CPushSource(qrn::test::CodedVideoType(), 10000);
    const auto sourceHolder = ComPtr<IBaseFilter>::Share(source);
    ASSERT_EQ(source->GetPin(0)->Connect(senderFilter->GetPin(0), nullptr), S_OK);
    ASSERT_GE(senderFilter->Run(0), 0);
    ASSERT_EQ(source->Run(0), S_OK);
    Run();
    for (const std::size_t bytes : {1u, 1088u, 1089u, 10000u}) {
        const auto frame = qrn::test::Pattern(bytes);
        ASSERT_EQ(source->Push(frame, 0, 1), S_OK);
        WaitFor(std::string(frame.begin(), frame.end()));
    }
    EXPECT_EQ(senderFilter->Stop(), S_OK);
    EXPECT_EQ(source->Stop(), S_OK);
    Stop();
    QRN_SEND_STATISTICS sent{};
    QRN_RECEIVE_STATISTICS received{};
    EXPECT_EQ(sender.As<IQRN_NetworkStatistics>()->GetSendStatistics(&sent), S_OK);
    EXPECT_EQ(m_receiver.As<IQRN_NetworkStatistics>()->GetReceiveStatistics(0, &received), S_OK);
    EXPECT_EQ(sent.packets, parity != 0 ? 15u : 14u) << "1088 bytes are two packets with parity";
    EXPECT_GE(sent.datagrams, received.datagrams);
    EXPECT_EQ(received.damagedFrames + received.malformed + received.kernelDrops, 0u);
    EXPECT_EQ(received.parity > 0, parity != 0);
    source->GetPin(0)->Disconnect();
    senderFilter->GetPin(0)->Disconnect();
}

INSTANTIATE_TEST_SUITE_P(Ways, VideoEndToEnd, testing::Combine(testing::Bool(), testing::Values(0u, 2u)),
                         [](const auto& row) {
                             return std::string(std::get<0>(row.param) ? "Paced" : "Plain") +
                                    (std::get<1>(row.param) != 0 ? "WithParity" : "");
                         });

class VideoLoss : public VideoReceiverGraph, public testing::WithParamInterface<bool> {};

TEST_P(VideoLoss, TheDecompressorDecidesWhetherFramesWithHolesCome) {
    Build();
    ASSERT_FALSE(HasFatalFailure());
    m_sink->m_isVp8 = GetParam() ? 1 : 0;
    m_receiver->SetReportLoss(1);
    m_receiver->SetReorder(1, 20, 0);
    Run();
    const auto send = [&](std::uint16_t sequence, std::uint32_t timestamp, bool last, const char* payload) {
        m_peer.SendTo(m_port,
                      Encode({.sequence = sequence, .timestamp = timestamp, .marker = last, .payload = payload}));
    };
    send(9, 500, true, "first");
    WaitFor("first");
    send(10, 1000, false, "a");
    send(11, 1001, true, "b");
    WaitFor("ab");
    send(12, 2000, false, "c");  // 13 is lost
    send(14, 2001, true, "e");
    send(15, 3000, true, "f");
    WaitFor("f");
    EXPECT_EQ(HasText(m_delivery.WaitUntil([](const auto&) { return true; }), "ce"), GetParam());
    EXPECT_EQ(m_sink->m_option2, 1u);
    DWORD received = 0;
    DWORD gaps = 0;
    EXPECT_EQ(m_receiver->GetStatistics(&received, &gaps), S_OK);
    EXPECT_EQ(received, 6u);
    EXPECT_GE(gaps, 1u);

    // Another run goes on with the same session.
    Stop();
    Run();
    std::uint16_t sequence = 100;
    m_delivery.WaitUntil([&](const auto& all) {
        send(sequence++, 4000, true, "again");
        return HasText(all, "again");
    });
}

INSTANTIATE_TEST_SUITE_P(Ways, VideoLoss, testing::Bool(),
                         [](const auto& row) { return std::string(row.param ? "Tolerant" : "Strict"); });

}  // namespace
