#include "netfilters/CQRN_AudioReceiverSource.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Delivery.h"
#include "audiocoding/CAudioEncoder.h"
#include "framework/FakeGraph.h"
#include "platform/com/TaskMemory.h"
#include "rtp/TestWire.h"
#include "support/CollectSink.h"
#include "support/CommonDataFolder.h"
#include "support/FakeClock.h"
#include "support/Faults.h"

using qrn::ComPtr;
using qrn::test::CCollectSink;
using qrn::test::CDelivery;
using qrn::test::CUdpPeer;
using qrn::test::Delivered;
using qrn::test::Encode;
using qrn::test::HasText;

namespace {

constexpr REFERENCE_TIME kMs = 10000;

class AudioReceiverSource : public testing::Test {
protected:
    AudioReceiverSource() {
        HRESULT result = S_OK;
        CUnknown* made = CQRN_AudioReceiverSource::CreateInstance(nullptr, &result);
        EXPECT_EQ(result, S_OK);
        m_filter = dynamic_cast<CQRN_AudioReceiverSource*>(made);
        made->NonDelegatingQueryInterface(IID_IQRN_AudioReceiver, m_receiver.PutVoid());
        m_base = m_receiver.As<IBaseFilter>();
        m_receiver->SetLocalAddress(L"127.0.0.1");
    }

    void SendTo(std::uint16_t port, std::uint16_t sequence, const std::string& payload,
                std::uint32_t timestamp = 7000) {
        m_peer.SendTo(
            port,
            Encode({.sequence = sequence, .timestamp = timestamp, .marker = true, .payload = payload, .type = 112}));
    }

    /// Free, even, and so are the next three; as near as one can tell.
    static std::uint16_t FreePorts() {
        for (;;) {
            const CUdpPeer peer;
            if (peer.Port() % 2 == 0 && peer.Port() < 65000) {
                return peer.Port();
            }
        }
    }

    CUdpPeer m_peer;
    CQRN_AudioReceiverSource* m_filter = nullptr;
    ComPtr<IQRN_AudioReceiver> m_receiver;
    ComPtr<IBaseFilter> m_base;
};

TEST_F(AudioReceiverSource, AnswersItsInterfaces) {
    for (const IID& id :
         {IID_IQRN_AudioReceiver, IID_IQRN_NetworkStatistics, IID_IBaseFilter, IID_IAMFilterMiscFlags, IID_IUnknown}) {
        ComPtr<IUnknown> found;
        EXPECT_EQ(m_receiver->QueryInterface(id, found.PutVoid()), S_OK);
    }
    EXPECT_EQ(m_receiver->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
    PIN_INFO info{};
    ASSERT_EQ(m_filter->GetPinCount(), 1);
    ASSERT_EQ(m_filter->GetPin(0)->QueryPinInfo(&info), S_OK);
    EXPECT_STREQ(info.achName, L"Output");
    info.pFilter->Release();
}

struct FormatCase {
    const char* name;
    DWORD codec;
    DWORD bitrate;
    DWORD channels;
    HRESULT result;
};

void PrintTo(const FormatCase& row, std::ostream* stream) {
    *stream << row.name;
}

class ReceiverFormat : public AudioReceiverSource, public testing::WithParamInterface<FormatCase> {};

TEST_P(ReceiverFormat, MakesTheTypeThatThePinOffers) {
    const FormatCase& row = GetParam();
    CMediaType type;
    EXPECT_EQ(m_filter->GetOutputType(&type), VFW_S_NO_MORE_ITEMS);
    ASSERT_EQ(m_receiver->SetFormat(row.codec, row.bitrate, row.channels), row.result);
    if (FAILED(row.result)) {
        EXPECT_EQ(m_filter->GetOutputType(&type), VFW_S_NO_MORE_ITEMS);
        EXPECT_EQ(m_receiver->OpenNetwork(0), E_FAIL);
        return;
    }
    const CAudioEncoder encoder(static_cast<int>(row.codec), static_cast<int>(row.bitrate));
    ASSERT_EQ(m_filter->GetOutputType(&type), S_OK);
    EXPECT_EQ(*type.Type(), MEDIATYPE_Audio);
    EXPECT_EQ(*type.FormatType(), FORMAT_WaveFormatEx);
    EXPECT_EQ(type.Subtype()->Data1, 14212u + row.codec);
    ASSERT_EQ(type.FormatLength(), sizeof(WAVEFORMATEX));
    WAVEFORMATEX format{};
    std::copy_n(type.Format(), sizeof(format), reinterpret_cast<BYTE*>(&format));
    EXPECT_EQ(format.wFormatTag, 14212 + row.codec);
    EXPECT_EQ(format.nChannels, row.channels);
    EXPECT_EQ(format.nSamplesPerSec, static_cast<DWORD>(encoder.GetByteRate()));
    EXPECT_EQ(format.nAvgBytesPerSec, row.channels * static_cast<DWORD>(encoder.GetByteRate()));
    EXPECT_EQ(format.nBlockAlign, row.channels);
    EXPECT_EQ(format.wBitsPerSample, 8);
    EXPECT_EQ(format.cbSize, 0);
    DWORD bitrate = 0;
    EXPECT_EQ(m_receiver->GetBitrate(&bitrate), S_OK);
    EXPECT_EQ(bitrate, static_cast<DWORD>(encoder.GetBitrate()));
    EXPECT_EQ(m_filter->PacketMs(), row.codec == kQrnCodecOpus ? 40u : 80u);
    EXPECT_EQ(m_filter->SampleBytes(), 2 * encoder.GetMaxPacketSize() * static_cast<LONG>(row.channels));
}

INSTANTIATE_TEST_SUITE_P(Formats, ReceiverFormat,
                         testing::Values(FormatCase{"GsmMono", kQrnCodecGsm, 8, 1, S_OK},
                                         FormatCase{"GsmStereo", kQrnCodecGsm, 13, 2, S_OK},
                                         FormatCase{"OpusStereo", kQrnCodecOpus, 64, 2, S_OK},
                                         FormatCase{"NoCodec", 6, 8, 1, E_FAIL},
                                         FormatCase{"FarNoCodec", 0xFFFFFFFF, 8, 1, E_FAIL},
                                         FormatCase{"TooManyChannels", kQrnCodecGsm, 8, 65536, E_INVALIDARG},
                                         FormatCase{"HugeBitRate", kQrnCodecGsm, 0xFFFFFFFF, 1, S_OK}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(AudioReceiverSource, OpensOnlyWhenConfigured) {
    EXPECT_EQ(m_receiver->OpenNetwork(0), E_FAIL);
    ASSERT_EQ(m_receiver->SetFormat(kQrnCodecGsm, 13, 1), S_OK);
    EXPECT_EQ(m_receiver->OpenNetwork(4), E_FAIL);
    EXPECT_EQ(m_receiver->OpenNetwork(5), E_FAIL);
    EXPECT_EQ(m_receiver->OpenNetwork(2), S_OK);
    EXPECT_EQ(m_receiver->OpenNetwork(1), S_OK);
    DWORD channel = 99;
    EXPECT_EQ(m_receiver->GetSelectedChannel(&channel), S_OK);
    EXPECT_EQ(channel, 1u);
    for (const DWORD ignored : {0u, 3u, 4u, 5u, 0xFFFFFFFFu}) {
        EXPECT_EQ(m_receiver->SelectChannel(ignored), S_OK);
        EXPECT_EQ(m_receiver->GetSelectedChannel(&channel), S_OK);
        EXPECT_EQ(channel, 1u) << ignored;
    }
    EXPECT_EQ(m_receiver->SelectChannel(2), S_OK);
    EXPECT_EQ(m_receiver->GetSelectedChannel(&channel), S_OK);
    EXPECT_EQ(channel, 2u);
}

TEST_F(AudioReceiverSource, AWrongAddressIsAFailureAndNoException) {
    ASSERT_EQ(m_receiver->SetFormat(kQrnCodecGsm, 13, 1), S_OK);
    m_receiver->SetLocalAddress(L"nowhere");
    EXPECT_EQ(m_receiver->OpenNetwork(0), E_FAIL);
    m_receiver->SetLocalAddress(L"127.0.0.1");
    EXPECT_EQ(m_receiver->OpenNetwork(0), S_OK) << "no lock stays taken";
}

TEST_F(AudioReceiverSource, ChannelsThatAreNoneAreIgnored) {
    DWORD received = 77;
    DWORD gaps = 77;
    for (const DWORD channel : {4u, 5u, 0xFFFFFFFFu}) {
        EXPECT_EQ(m_receiver->SetReorder(channel, 1, 5, 2), S_OK);
        EXPECT_EQ(m_receiver->GetStatistics(channel, &received, &gaps), S_OK);
        EXPECT_EQ(received, 77u);
    }
    EXPECT_EQ(m_receiver->GetStatistics(0, nullptr, &gaps), S_OK);
    EXPECT_EQ(gaps, 77u);
    EXPECT_EQ(m_receiver->GetStatistics(0, &received, &gaps), S_OK);
    EXPECT_EQ(received, 0u);
}

TEST_F(AudioReceiverSource, GroupsAreForOpenedChannels) {
    EXPECT_EQ(m_receiver->JoinGroup(L"nonsense"), S_OK) << "no channel is open";
    ASSERT_EQ(m_receiver->SetFormat(kQrnCodecGsm, 13, 1), S_OK);
    ASSERT_EQ(m_receiver->OpenNetwork(0), S_OK);
    EXPECT_EQ(m_receiver->JoinGroup(L"nonsense"), E_FAIL);
    EXPECT_EQ(m_receiver->JoinGroup(L"239.1.2.3"), S_OK);
    ASSERT_EQ(m_receiver->OpenNetwork(1), S_OK);
    EXPECT_EQ(m_receiver->JoinGroup(L"239.1.2.3"), E_FAIL) << "channel 0 is in it already";
    EXPECT_EQ(m_receiver->LeaveGroup(L"239.1.2.3"), E_FAIL) << "channel 1 is not in it";
    EXPECT_EQ(m_receiver->LeaveGroup(nullptr), E_INVALIDARG);
    EXPECT_EQ(m_receiver->SetMulticastLoop(1), S_OK);
}

TEST_F(AudioReceiverSource, KeepsWhatIsSet) {
    DWORD value = 77;
    EXPECT_EQ(m_receiver->GetBufferCount(&value), S_OK);
    EXPECT_EQ(value, 0u);
    EXPECT_EQ(m_receiver->SetBufferCount(0), E_INVALIDARG);
    EXPECT_EQ(m_receiver->SetBufferCount(0xFFFFFFFF), E_OUTOFMEMORY);
    EXPECT_EQ(m_receiver->SetBufferCount(6), S_OK);
    EXPECT_EQ(m_receiver->GetBufferCount(&value), S_OK);
    EXPECT_EQ(value, 6u);
    EXPECT_EQ(m_receiver->SetLocalPort(0x10001), S_OK);
    EXPECT_EQ(m_receiver->GetLocalPort(&value), S_OK);
    EXPECT_EQ(value, 0x10001u);
    BYTE enabled = 0;
    EXPECT_EQ(m_receiver->GetOutputEnabled(&enabled), S_OK);
    EXPECT_EQ(enabled, 1);
    wchar_t* address = nullptr;
    ASSERT_EQ(m_receiver->GetLocalAddress(&address), S_OK);
    EXPECT_STREQ(address, L"127.0.0.1");
    CoTaskMemFree(address);
}

TEST_F(AudioReceiverSource, RefusesNullPointers) {
    DWORD value = 0;
    EXPECT_EQ(m_receiver->GetLocalPort(nullptr), E_INVALIDARG);
    EXPECT_EQ(m_receiver->GetLocalAddress(nullptr), E_INVALIDARG);
    EXPECT_EQ(m_receiver->SetLocalAddress(nullptr), E_INVALIDARG);
    EXPECT_EQ(m_receiver->JoinGroup(nullptr), E_INVALIDARG);
    EXPECT_EQ(m_receiver->GetOutputEnabled(nullptr), E_INVALIDARG);
    EXPECT_EQ(m_receiver->GetSyncPoint(nullptr, &value), E_INVALIDARG);
    EXPECT_EQ(m_receiver->GetSyncPoint(&value, nullptr), E_INVALIDARG);
    EXPECT_EQ(m_receiver->GetBitrate(nullptr), E_INVALIDARG);
    EXPECT_EQ(m_receiver->GetBufferCount(nullptr), E_INVALIDARG);
    EXPECT_EQ(m_receiver->GetSelectedChannel(nullptr), E_INVALIDARG);
}

/// The filter in front of a sink that holds nothing back, without a clock: stream time stays 0.
class AudioReceiverGraph : public AudioReceiverSource {
protected:
    void Build() {
        ASSERT_EQ(m_receiver->SetFormat(kQrnCodecGsm, 13, 1), S_OK);
        m_port = FreePorts();
        m_receiver->SetLocalPort(m_port);
        ASSERT_EQ(m_receiver->OpenNetwork(0), S_OK);
        m_sink = new CCollectSink([this](IMediaSample* sample) { m_delivery.Add(sample); });
        m_sinkHolder = ComPtr<IBaseFilter>::Share(m_sink);
        ASSERT_EQ(m_filter->GetPin(0)->Connect(m_sink->GetPin(0), nullptr), S_OK);
    }
    void Run() {
        ASSERT_GE(m_sink->Run(0), 0);
        ASSERT_GE(m_base->Run(0), 0);
    }
    void Stop() {
        EXPECT_EQ(m_sink->Stop(), S_OK);
        EXPECT_EQ(m_base->Stop(), S_OK);
    }
    ~AudioReceiverGraph() override {
        if (m_sink != nullptr) {
            Stop();
            m_filter->GetPin(0)->Disconnect();
            m_sink->GetPin(0)->Disconnect();
        }
    }

    CDelivery m_delivery;
    std::uint16_t m_port = 0;
    CCollectSink* m_sink = nullptr;
    ComPtr<IBaseFilter> m_sinkHolder;
};

TEST_F(AudioReceiverGraph, EmptySamplesKeepTheGraphsTime) {
    Build();
    ASSERT_FALSE(HasFatalFailure());
    ASSERT_EQ(m_base->Pause(), S_OK);
    FILTER_STATE state{};
    EXPECT_EQ(m_base->GetState(0, &state), VFW_S_CANT_CUE);
    Run();
    const auto samples = m_delivery.WaitUntil([](const auto& all) { return all.size() >= 9; });
    ASSERT_GE(samples.size(), 9u);
    // Stream time stands still, so the running time goes on until it is half a second ahead.
    for (std::size_t i = 0; i < 9; ++i) {
        const auto expected = std::min<REFERENCE_TIME>(static_cast<REFERENCE_TIME>(i) * 80, 500) * kMs;
        EXPECT_EQ(samples[i].start, expected) << i;
        EXPECT_EQ(samples[i].stop, expected + 80 * kMs) << i;
        EXPECT_EQ(samples[i].text, "");
        EXPECT_TRUE(samples[i].isSyncPoint);
        EXPECT_FALSE(samples[i].isPreroll);
        EXPECT_FALSE(samples[i].hasMediaTime);
    }
}

TEST_F(AudioReceiverGraph, PacketsReachTheSinkAndTheSyncPoint) {
    Build();
    ASSERT_FALSE(HasFatalFailure());
    DWORD timestamp = 0;
    DWORD position = 0;
    EXPECT_EQ(m_receiver->GetSyncPoint(&timestamp, &position), S_FALSE);
    Run();
    EXPECT_EQ(m_receiver->GetSyncPoint(&timestamp, &position), S_FALSE) << "no packet yet";
    SendTo(m_port, 10, "one", 7001);
    const auto samples = m_delivery.WaitUntil([](const auto& all) { return HasText(all, "one"); });
    ASSERT_EQ(m_receiver->GetSyncPoint(&timestamp, &position), S_OK);
    EXPECT_EQ(timestamp, 7001u);
    for (const Delivered& sample : samples) {
        if (sample.text == "one") {
            EXPECT_EQ(position, static_cast<DWORD>(sample.start / kMs));
        }
    }
    DWORD received = 0;
    DWORD gaps = 0;
    EXPECT_EQ(m_receiver->GetStatistics(0, &received, &gaps), S_OK);
    EXPECT_EQ(received, 1u);
    EXPECT_EQ(gaps, 0u);
    const auto counter = m_receiver.As<IQRN_NetworkStatistics>();
    QRN_RECEIVE_STATISTICS counts{};
    ASSERT_EQ(counter->GetReceiveStatistics(0, &counts), S_OK);
    EXPECT_EQ(counts.datagrams, 1u);
    EXPECT_EQ(counts.bytes, 15u);
    EXPECT_EQ(counts.malformed + counts.otherTypes + counts.late + counts.kernelDrops, 0u);
    EXPECT_EQ(counts.localPort, m_port);
    EXPECT_GT(counts.bufferBytes, 0u);
    EXPECT_EQ(counter->GetReceiveStatistics(1, &counts), S_FALSE) << "not open";
    EXPECT_EQ(counts.datagrams + counts.localPort, 0u);
    EXPECT_EQ(counter->GetReceiveStatistics(4, &counts), E_INVALIDARG);
    EXPECT_EQ(counter->GetReceiveStatistics(0, nullptr), E_POINTER);
    QRN_SEND_STATISTICS sent{};
    EXPECT_EQ(counter->GetSendStatistics(&sent), E_NOTIMPL);

    Stop();
    Run();
    SendTo(m_port, 11, "again");
    m_delivery.WaitUntil([](const auto& all) { return HasText(all, "again"); });
}

TEST_F(AudioReceiverGraph, ADisabledOutputIsSilent) {
    Build();
    ASSERT_FALSE(HasFatalFailure());
    m_receiver->SetOutputEnabled(0);
    Run();
    SendTo(m_port, 10, "unheard");
    const auto start = qrn::SystemClock().Now();
    DWORD received = 0;
    DWORD gaps = 0;
    while (received == 0 && qrn::SystemClock().Now() - start < qrn::test::kTestPatience) {
        m_receiver->GetStatistics(0, &received, &gaps);
        std::this_thread::yield();
    }
    EXPECT_EQ(received, 1u);
    m_receiver->SetOutputEnabled(1);
    SendTo(m_port, 11, "heard");
    EXPECT_FALSE(HasText(m_delivery.WaitUntil([](const auto& all) { return HasText(all, "heard"); }), "unheard"));
}

TEST_F(AudioReceiverGraph, TheHostMayChangeEverythingWhileItRuns) {
    Build();
    ASSERT_FALSE(HasFatalFailure());
    Run();
    for (int i = 0; i < 50; ++i) {
        DWORD value = 0;
        m_receiver->SetFormat(i % 2 == 0 ? kQrnCodecOpus : kQrnCodecGsm, 13, 1);
        m_receiver->SetReorder(0, static_cast<BYTE>(i % 2), static_cast<DWORD>(i % 20), static_cast<DWORD>(i % 3));
        m_receiver->SetBufferCount(static_cast<DWORD>(1 + i % 5));
        m_receiver->GetSyncPoint(&value, &value);
        m_receiver->GetStatistics(0, &value, &value);
        m_receiver->SelectChannel(static_cast<DWORD>(i % 5));
        SendTo(m_port, static_cast<std::uint16_t>(100 + i), "x");
    }
    m_receiver->SetLocalPort(0);
    EXPECT_EQ(m_receiver->OpenNetwork(1), S_OK) << "another channel in the running engine";
    EXPECT_EQ(m_receiver->SelectChannel(0), S_OK);
    m_receiver->SetFormat(kQrnCodecGsm, 13, 1);
    m_receiver->SetReorder(0, 0, 20, 0);
    // Numbers far ahead are no late ones.
    std::uint16_t sequence = 1000;
    m_delivery.WaitUntil([&](const auto& all) {
        SendTo(m_port, sequence++, "last");
        return HasText(all, "last");
    });
}

TEST_F(AudioReceiverGraph, MayBeLetGoOfWhileItRuns) {
    Build();
    ASSERT_FALSE(HasFatalFailure());
    Run();
    SendTo(m_port, 10, "one");
    m_delivery.WaitUntil([](const auto& all) { return HasText(all, "one"); });
    m_base->Stop();
    m_filter->GetPin(0)->Disconnect();
    m_sink->Stop();
    m_sink->GetPin(0)->Disconnect();
    m_base.Reset();
    m_receiver.Reset();
    m_sink = nullptr;
    // Nothing holds the port any more: a plain socket without the reuse option gets it.
    const int socket = ::socket(AF_INET, SOCK_DGRAM, 0);
    const sockaddr_in address = CUdpPeer::Loopback(m_port);
    EXPECT_EQ(::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    ::close(socket);
}

/// A client's transport with a fault in it.
class CFaultyTransport final : public qrn::test::CFakeTransport {
public:
    std::int32_t Receive(BYTE* buffer, std::int32_t capacity, DWORD* info) override {
        qrn::test::WriteToNowhere();
        return CFakeTransport::Receive(buffer, capacity, info);
    }
};

TEST_F(AudioReceiverGraph, AFaultWhileReceivingEndsTheStreamAndIsTold) {
    const qrn::test::CCommonDataFolder folder;
    CFaultyTransport transport;
    const auto graph = ComPtr<qrn::test::CFakeGraph>::Share(new qrn::test::CFakeGraph);
    ASSERT_EQ(m_base->JoinFilterGraph(graph.Get(), L"receiver"), S_OK);
    m_receiver->SetExternalTransport(0, &transport);
    Build();
    ASSERT_FALSE(HasFatalFailure());
    Run();
    transport.Wake();
    EXPECT_TRUE(graph->WaitFor(EC_ERRORABORT, 1));
    Stop();
    Run();  // what the session holds may be half changed: it is not used again
    EXPECT_TRUE(graph->WaitFor(EC_ERRORABORT, 2));
    Stop();
    EXPECT_EQ(m_base->JoinFilterGraph(nullptr, nullptr), S_OK);
}

}  // namespace
