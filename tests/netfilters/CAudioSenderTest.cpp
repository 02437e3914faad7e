#include "netfilters/CAudioSender.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>

#include "TestSamples.h"
#include "audiocoding/MemoryStream.h"
#include "platform/com/TaskMemory.h"
#include "rtp/TestWire.h"
#include "support/PushSource.h"

using qrn::ComPtr;
using qrn::test::AudioType;
using qrn::test::Bytes;
using qrn::test::CFakeTransport;
using qrn::test::CPushSource;
using qrn::test::CSampleMaker;
using qrn::test::CUdpPeer;
using qrn::test::Decode;
using qrn::test::Pattern;
using qrn::test::WirePacket;

namespace {

constexpr REFERENCE_TIME kMs = 10000;

class AudioSender : public testing::Test {
protected:
    AudioSender() {
        HRESULT result = S_OK;
        CUnknown* made = CAudioSender::CreateInstance(nullptr, &result);
        EXPECT_EQ(result, S_OK);
        m_filter = dynamic_cast<CAudioSender*>(made);
        made->NonDelegatingQueryInterface(IID_IQRN_AudioSender, m_sender.PutVoid());
    }

    /// Packets go to the fake transport.
    void Open(WORD tag = kQrnAudioFormatTag) {
        m_sender->SetExternalTransport(&m_transport);
        ASSERT_EQ(m_sender->SetLocalAddress(L"127.0.0.1"), S_OK);
        ASSERT_EQ(m_sender->OpenNetwork(), S_OK);
        ASSERT_EQ(m_sender->AddDestination(L"127.0.0.1", 5004), S_OK);
        SetTag(tag);
        ASSERT_EQ(m_filter->OnStartStreaming(), S_OK);
    }
    void SetTag(WORD tag) {
        const CMediaType type = AudioType(tag);
        ASSERT_EQ(m_filter->SetMediaType(&type), S_OK);
    }
    HRESULT Render(std::size_t bytes, REFERENCE_TIME start = 0) {
        return m_filter->DoRenderSample(m_samples.Make(Pattern(bytes), &start).Get());
    }
    WirePacket Sent(std::size_t index) const { return Decode(m_transport.m_sent.at(index).datagram); }

    CFakeTransport m_transport;
    CSampleMaker m_samples;
    CAudioSender* m_filter = nullptr;
    ComPtr<IQRN_AudioSender> m_sender;
};

TEST_F(AudioSender, AnswersItsInterfaces) {
    for (const IID& id :
         {IID_IQRN_AudioSender, IID_IQRN_NetworkStatistics, IID_IBaseFilter, IID_IPersistStream, IID_IUnknown}) {
        ComPtr<IUnknown> found;
        EXPECT_EQ(m_sender->QueryInterface(id, found.PutVoid()), S_OK);
    }
    ComPtr<IUnknown> none;
    EXPECT_EQ(m_sender->QueryInterface(IID_IQRN_AudioReceiver, none.PutVoid()), E_NOINTERFACE);
    CLSID id{};
    EXPECT_EQ(m_filter->GetClassID(&id), S_OK);
    EXPECT_EQ(id, CLSID_QRN_AudioSender);
}

struct TagCase {
    const char* name;
    WORD tag;
    HRESULT result;
    std::uint8_t type;
    std::uint32_t timestamp;  // on the wire, of 1001 ms
};

void PrintTo(const TagCase& row, std::ostream* stream) {
    *stream << row.name;
}

class AudioSenderTag : public AudioSender, public testing::WithParamInterface<TagCase> {};

TEST_P(AudioSenderTag, DecidesHowASampleTravels) {
    const TagCase& row = GetParam();
    Open(row.tag);
    EXPECT_EQ(Render(33, 1001 * kMs), row.result);
    ASSERT_EQ(m_transport.m_sent.size(), row.type != 0 ? 1u : 0u);
    if (row.type != 0) {
        EXPECT_EQ(Sent(0).type, row.type);
        EXPECT_EQ(Sent(0).timestamp, row.timestamp);
        EXPECT_TRUE(Sent(0).marker);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Tags, AudioSenderTag,
    testing::Values(TagCase{"Gsm", 14212, S_OK, 112, 1001}, TagCase{"G72x", 14213, S_OK, 112, 1001},
                    TagCase{"Speex", 14214, S_OK, 112, 1001}, TagCase{"SpeexHq", 14215, S_OK, 112, 1001},
                    TagCase{"Mp3", 14216, S_OK, 114, 1000}, TagCase{"Opus", 14217, S_OK, 115, 1000},
                    TagCase{"BelowAll", 14211, E_FAIL, 0, 0}, TagCase{"AboveAll", 14218, E_FAIL, 0, 0},
                    TagCase{"Pcm", 1, E_FAIL, 0, 0}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(AudioSender, DropsWhatItCannotSendWithoutStoppingTheStream) {
    EXPECT_EQ(m_filter->DoRenderSample(nullptr), E_FAIL);
    EXPECT_EQ(Render(33), S_OK) << "no session: not even the tag is looked at";
    Open();
    EXPECT_EQ(Render(0), S_OK);
    const auto preroll = m_samples.Make(Pattern(5));
    preroll->SetPreroll(TRUE);
    EXPECT_EQ(m_filter->DoRenderSample(preroll.Get()), S_OK);
    m_sender->SetEnabled(0);
    EXPECT_EQ(Render(33), S_OK);
    EXPECT_TRUE(m_transport.m_sent.empty());
    m_sender->SetEnabled(7);
    EXPECT_EQ(Render(33), S_OK);
    EXPECT_EQ(m_transport.m_sent.size(), 1u);
}

TEST_F(AudioSender, ASampleTooLongForAPacketTakesANumber) {
    Open();
    EXPECT_EQ(Render(1088), S_OK);
    EXPECT_EQ(Render(1089), S_FALSE);
    EXPECT_EQ(Render(1), S_OK);
    ASSERT_EQ(m_transport.m_sent.size(), 2u);
    EXPECT_EQ(Sent(1).sequence, static_cast<std::uint16_t>(Sent(0).sequence + 2));
}

TEST_F(AudioSender, ALongSampleOfOpusIsFragmented) {
    Open(14217);
    EXPECT_EQ(Render(1089, 1001 * kMs), S_OK);
    ASSERT_EQ(m_transport.m_sent.size(), 2u);
    EXPECT_EQ(Sent(0).timestamp, 1000u);
    EXPECT_EQ(Sent(1).timestamp, 1001u);
}

TEST_F(AudioSender, TheTimestampIsTheStartInMilliseconds) {
    Open();
    EXPECT_EQ(m_filter->DoRenderSample(m_samples.Make(Pattern(1)).Get()), S_OK);
    EXPECT_EQ(Render(1, 19999), S_OK);
    EXPECT_EQ(Render(1, (0x100000000 + 5) * kMs), S_OK);
    ASSERT_EQ(m_transport.m_sent.size(), 3u);
    EXPECT_EQ(Sent(0).timestamp, 0u) << "a sample without a time";
    EXPECT_EQ(Sent(1).timestamp, 1u);
    EXPECT_EQ(Sent(2).timestamp, 5u);
}

TEST_F(AudioSender, JudgesTheMediaType) {
    const CMediaType audio = AudioType(1);
    EXPECT_EQ(m_filter->CheckMediaType(&audio), S_OK) << "whatever the codec";
    CMediaType video;
    video.SetType(&MEDIATYPE_Video);
    EXPECT_EQ(m_filter->CheckMediaType(&video), E_INVALIDARG);
    EXPECT_EQ(m_filter->CheckMediaType(nullptr), E_INVALIDARG);
    m_sender->SetEnabled(0);
    EXPECT_EQ(m_filter->CheckMediaType(&audio), E_FAIL);

    CMediaType noFormat;
    noFormat.SetType(&MEDIATYPE_Audio);
    EXPECT_EQ(m_filter->SetMediaType(&noFormat), E_OUTOFMEMORY);
    const BYTE oneByte = 1;
    ASSERT_TRUE(noFormat.SetFormat(&oneByte, 1));
    EXPECT_EQ(m_filter->SetMediaType(&noFormat), E_INVALIDARG);
}

TEST_F(AudioSender, WithoutASessionSettersAnswerAsTold) {
    DWORD value = 77;
    EXPECT_EQ(m_sender->AddDestination(L"127.0.0.1", 1), S_OK);
    EXPECT_EQ(m_sender->RemoveDestination(L"127.0.0.1", 1), S_OK);
    EXPECT_EQ(m_sender->SetTtl(5), S_OK);
    EXPECT_EQ(m_sender->GetTtl(&value), S_OK);
    EXPECT_EQ(value, 128u) << "not stored";
    EXPECT_EQ(m_sender->SetTos(5), S_OK);
    EXPECT_EQ(m_sender->GetTos(&value), S_OK);
    EXPECT_EQ(value, 0u);
    EXPECT_EQ(m_sender->SetMaxPacketSize(0), S_OK);
    EXPECT_EQ(m_sender->SetMaxPacketSize(500), E_FAIL);
    EXPECT_EQ(m_sender->GetMaxPacketSize(&value), E_FAIL);
    EXPECT_EQ(m_filter->OnStartStreaming(), S_OK);
    EXPECT_EQ(m_filter->OnStopStreaming(), S_OK);
}

TEST_F(AudioSender, WithASessionSettersReachIt) {
    Open();
    DWORD value = 0;
    EXPECT_EQ(m_sender->SetTtl(300), S_OK);
    EXPECT_EQ(m_sender->GetTtl(&value), S_OK);
    EXPECT_EQ(value, 300u) << "as given, though the socket takes it modulo 256";
    EXPECT_EQ(m_sender->SetTos(0xB8), S_OK);
    EXPECT_EQ(m_sender->GetTos(&value), S_OK);
    EXPECT_EQ(value, 0xB8u);
    EXPECT_EQ(m_sender->GetMaxPacketSize(&value), S_OK);
    EXPECT_EQ(value, 1100u);
    EXPECT_EQ(m_sender->SetMaxPacketSize(299), S_OK) << "whatever the session made of it";
    EXPECT_EQ(m_sender->GetMaxPacketSize(&value), S_OK);
    EXPECT_EQ(value, 299u);
    EXPECT_EQ(m_sender->SetMaxPacketSize(0xFFFFFFFF), S_OK);
    EXPECT_EQ(m_sender->RemoveDestination(L"127.0.0.1", 5006), E_FAIL);
    EXPECT_EQ(m_sender->RemoveDestination(L"127.0.0.1", 5004), S_OK);
}

TEST_F(AudioSender, RefusesNullPointers) {
    Open();
    EXPECT_EQ(m_sender->GetLocalPort(nullptr), E_INVALIDARG);
    EXPECT_EQ(m_sender->GetLocalAddress(nullptr), E_INVALIDARG);
    EXPECT_EQ(m_sender->SetLocalAddress(nullptr), E_INVALIDARG);
    EXPECT_EQ(m_sender->AddDestination(nullptr, 1), E_INVALIDARG);
    EXPECT_EQ(m_sender->RemoveDestination(nullptr, 1), E_INVALIDARG);
    EXPECT_EQ(m_sender->GetTtl(nullptr), E_INVALIDARG);
    EXPECT_EQ(m_sender->GetEnabled(nullptr), E_INVALIDARG);
    EXPECT_EQ(m_sender->GetTos(nullptr), E_INVALIDARG);
    EXPECT_EQ(m_sender->GetMaxPacketSize(nullptr), E_INVALIDARG);
    EXPECT_EQ(m_sender->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
    EXPECT_EQ(m_sender.As<IQRN_NetworkStatistics>()->GetSendStatistics(nullptr), E_POINTER);
}

TEST_F(AudioSender, CountsNothingBeforeItIsOpen) {
    const auto counter = m_sender.As<IQRN_NetworkStatistics>();
    QRN_SEND_STATISTICS counts{7, 7, 7, 7, 7, 7, 7};
    EXPECT_EQ(counter->GetSendStatistics(&counts), S_FALSE);
    EXPECT_EQ(counts.packets + counts.localPort, 0u);
    QRN_RECEIVE_STATISTICS other{};
    EXPECT_EQ(counter->GetReceiveStatistics(0, &other), E_NOTIMPL);
}

TEST_F(AudioSender, KeepsPortAndAddress) {
    DWORD port = 0;
    EXPECT_EQ(m_sender->SetLocalPort(0x00015001), S_OK);
    EXPECT_EQ(m_sender->GetLocalPort(&port), S_OK);
    EXPECT_EQ(port, 0x00015001u);
    wchar_t* address = nullptr;
    ASSERT_EQ(m_sender->GetLocalAddress(&address), S_OK);
    EXPECT_STREQ(address, L"0.0.0.0");
    CoTaskMemFree(address);
    EXPECT_EQ(m_sender->OpenNetwork(), E_FAIL) << "an odd port";
}

TEST_F(AudioSender, OpeningWithAWrongAddressThrowsAndTheFilterLivesOn) {
    ASSERT_EQ(m_sender->SetLocalAddress(L"nowhere"), S_OK);
    try {
        m_sender->OpenNetwork();
        ADD_FAILURE() << "no exception";
    } catch (const std::exception& failure) {
        EXPECT_NE(std::string(failure.what()).find("Invalid local address."), std::string::npos) << failure.what();
    }
    EXPECT_EQ(m_sender->AddDestination(L"127.0.0.1", 1), E_FAIL) << "the session is there and is not open";
    SetTag(14212);
    EXPECT_EQ(Render(5), S_FALSE);
    Open();
    EXPECT_EQ(Render(5), S_OK);
}

TEST_F(AudioSender, OpeningAgainStartsWithoutDestinations) {
    Open();
    EXPECT_EQ(Render(5), S_OK);
    ASSERT_EQ(m_sender->OpenNetwork(), S_OK);
    ASSERT_EQ(m_filter->OnStartStreaming(), S_OK);
    EXPECT_EQ(Render(5), S_OK);
    EXPECT_EQ(m_transport.m_sent.size(), 1u);
    EXPECT_EQ(m_filter->OnStopStreaming(), S_OK);
    EXPECT_EQ(m_transport.m_streams, 0);
}

TEST_F(AudioSender, AParityGroupIsForTheNextOpening) {
    m_sender->SetParityGroup(2);
    Open();
    EXPECT_EQ(Render(5), S_OK);
    EXPECT_EQ(Render(5), S_OK);
    ASSERT_EQ(m_transport.m_sent.size(), 3u);
    EXPECT_EQ(Sent(2).type, 127);
    DWORD bytes = 0;
    EXPECT_EQ(m_sender->GetMaxPacketSize(&bytes), S_OK);
    EXPECT_EQ(bytes, 1088u);
}

TEST_F(AudioSender, PersistsThreeNumbersBehindTheVersion) {
    Open();
    m_sender->SetLocalPort(0x11223344);
    m_sender->SetTtl(0x00000201);
    m_sender->SetTos(0x10);
    ULONGLONG size = 0;
    EXPECT_EQ(m_filter->GetSizeMax(&size), S_OK);
    EXPECT_EQ(size, 36u);
    const auto stream = qrn::test::CMemoryStream::Create();
    ASSERT_EQ(m_filter->Save(stream.Get(), TRUE), S_OK);
    ASSERT_EQ(stream->bytes.size(), 36u);
    EXPECT_EQ(Bytes(stream->bytes.begin() + 24, stream->bytes.end()),
              (Bytes{1, 2, 0, 0, 0x44, 0x33, 0x22, 0x11, 0x10, 0, 0, 0}));

    HRESULT result = S_OK;
    ComPtr<IQRN_AudioSender> other;
    CAudioSender::CreateInstance(nullptr, &result)->NonDelegatingQueryInterface(IID_IQRN_AudioSender, other.PutVoid());
    const auto persist = other.As<IPersistStream>();
    ASSERT_EQ(persist->Load(stream.Get()), S_OK);
    DWORD ttl = 0;
    DWORD port = 0;
    DWORD tos = 0;
    EXPECT_EQ(other->GetTtl(&ttl), S_OK);
    EXPECT_EQ(other->GetLocalPort(&port), S_OK);
    EXPECT_EQ(other->GetTos(&tos), S_OK);
    EXPECT_EQ(ttl, 0x201u);
    EXPECT_EQ(port, 0x11223344u);
    EXPECT_EQ(tos, 0x10u);
}

TEST_F(AudioSender, AStreamOfAnotherVersionOrCutOffChangesNothing) {
    for (const bool otherVersion : {true, false}) {
        const auto stream = qrn::test::CMemoryStream::Create();
        ASSERT_EQ(m_filter->Save(stream.Get(), TRUE), S_OK);
        if (otherVersion) {
            stream->bytes[20] = '9';
        } else {
            stream->bytes.resize(30);
        }
        EXPECT_TRUE(FAILED(m_filter->Load(stream.Get()))) << otherVersion;
        DWORD ttl = 0;
        EXPECT_EQ(m_sender->GetTtl(&ttl), S_OK);
        EXPECT_EQ(ttl, 128u);
    }
}

/// In a graph: a source that the test pushes, real UDP.
TEST_F(AudioSender, SendsWhatTheGraphDelivers) {
    const CUdpPeer peer;
    auto* source = new CPushSource(AudioType(14217), 4000);
    const auto sourceHolder = ComPtr<IBaseFilter>::Share(source);
    ASSERT_EQ(m_sender->SetLocalAddress(L"127.0.0.1"), S_OK);
    ASSERT_EQ(m_sender->OpenNetwork(), S_OK);
    ASSERT_EQ(m_sender->AddDestination(L"127.0.0.1", peer.Port()), S_OK);
    ASSERT_EQ(source->GetPin(0)->Connect(m_filter->GetPin(0), nullptr), S_OK);
    ASSERT_GE(m_filter->Run(0), 0);
    ASSERT_EQ(source->Run(0), S_OK);
    // A time far ahead: samples leave at once, whatever the clock.
    EXPECT_EQ(source->Push(Pattern(50), 3600 * 1000 * kMs, 3600 * 1000 * kMs + 1), S_OK);
    const auto datagram = peer.Receive();
    ASSERT_TRUE(datagram);
    EXPECT_EQ(Decode(*datagram).timestamp, 3600u * 1000u);
    EXPECT_EQ(qrn::test::ToBytes(Decode(*datagram).payload), Pattern(50));

    const auto counter = m_sender.As<IQRN_NetworkStatistics>();
    QRN_SEND_STATISTICS counts{};
    ASSERT_EQ(counter->GetSendStatistics(&counts), S_OK);
    EXPECT_EQ(counts.packets, 1u);
    EXPECT_EQ(counts.datagrams, 1u);
    EXPECT_EQ(counts.bytes, 62u);
    EXPECT_EQ(counts.failures, 0u);
    EXPECT_NE(counts.localPort, 0u);
    EXPECT_GT(counts.bufferBytes, 0u);

    // The host opens anew and changes destinations while samples pass.
    std::atomic<bool> done{false};
    std::thread host([&] {
        for (int i = 0; i < 100; ++i) {
            EXPECT_EQ(m_sender->OpenNetwork(), S_OK);
            EXPECT_EQ(m_sender->AddDestination(L"127.0.0.1", peer.Port()), S_OK);
            EXPECT_EQ(m_sender->SetMaxPacketSize(500), S_OK);
        }
        done = true;
    });
    while (!done) {
        EXPECT_EQ(source->Push(Pattern(2000), 0, 1), S_OK);
    }
    host.join();
    EXPECT_EQ(m_filter->Stop(), S_OK);
    EXPECT_EQ(source->Stop(), S_OK);
    source->GetPin(0)->Disconnect();
    m_filter->GetPin(0)->Disconnect();
}

}  // namespace
