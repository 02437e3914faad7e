#include "netfilters/CVideoSender.h"

#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <string>

#include "FakeVideoCodecs.h"
#include "TestSamples.h"
#include "rtp/TestWire.h"
#include "support/FakeReferenceClock.h"

using qrn::ComPtr;
using qrn::test::CFakeCompressor;
using qrn::test::CFakeReferenceClock;
using qrn::test::CFakeTransport;
using qrn::test::CSampleMaker;
using qrn::test::CUdpPeer;
using qrn::test::Decode;
using qrn::test::Pattern;
using qrn::test::WirePacket;

namespace {

constexpr REFERENCE_TIME kMs = 10000;

class VideoSender : public testing::Test {
protected:
    VideoSender() {
        HRESULT result = S_OK;
        CUnknown* made = CVideoSender::CreateInstance(nullptr, &result);
        EXPECT_EQ(result, S_OK);
        m_filter = dynamic_cast<CVideoSender*>(made);
        made->NonDelegatingQueryInterface(IID_IQRN_VideoSender, m_sender.PutVoid());
        m_sender->SetLocalAddress(L"127.0.0.1");
    }

    /// Packets go to the fake transport.
    void OpenToTransport() {
        m_sender->SetExternalTransport(&m_transport);
        ASSERT_EQ(m_sender->OpenNetwork(), S_OK);
        ASSERT_EQ(m_sender->AddDestination(L"127.0.0.1", 5004), S_OK);
        ASSERT_EQ(m_filter->OnStartStreaming(), S_OK);
    }
    void OpenTo(const CUdpPeer& peer) {
        ASSERT_EQ(m_sender->OpenNetwork(), S_OK);
        ASSERT_EQ(m_sender->AddDestination(L"127.0.0.1", peer.Port()), S_OK);
    }
    HRESULT Render(std::size_t bytes, const REFERENCE_TIME* start = nullptr) {
        return m_filter->DoRenderSample(m_samples.Make(Pattern(bytes), start).Get());
    }
    WirePacket Sent(std::size_t index) const { return Decode(m_transport.m_sent.at(index).datagram); }
    QRN_SEND_STATISTICS Counts() const {
        QRN_SEND_STATISTICS counts{};
        EXPECT_EQ(m_sender.As<IQRN_NetworkStatistics>()->GetSendStatistics(&counts), S_OK);
        return counts;
    }

    CFakeTransport m_transport;
    CSampleMaker m_samples;
    CVideoSender* m_filter = nullptr;
    ComPtr<IQRN_VideoSender> m_sender;
};

TEST_F(VideoSender, AnswersItsInterfaces) {
    for (const IID& id : {IID_IQRN_VideoSender, IID_IQRN_NetworkStatistics, IID_IBaseFilter}) {
        ComPtr<IUnknown> found;
        EXPECT_EQ(m_sender->QueryInterface(id, found.PutVoid()), S_OK);
    }
    ComPtr<IUnknown> none;
    EXPECT_EQ(m_sender->QueryInterface(IID_IPersistStream, none.PutVoid()), E_NOINTERFACE) << "it keeps nothing";
    CMediaType type(&MEDIATYPE_Video);
    EXPECT_EQ(m_filter->CheckMediaType(&type), S_OK);
    type.SetType(&MEDIATYPE_Audio);
    EXPECT_EQ(m_filter->CheckMediaType(&type), E_INVALIDARG);
    m_sender->SetEnabled(0);
    EXPECT_EQ(m_filter->CheckMediaType(&type), E_FAIL);
}

struct EncoderCase {
    const char* name;
    std::optional<LONG> first;   // at the first start; none: no compressor is connected
    std::optional<LONG> second;  // at the second one
    int type;                    // of the frame then
};

class VideoSenderEncoder : public VideoSender, public testing::WithParamInterface<EncoderCase> {};

TEST_P(VideoSenderEncoder, DecidesThePayloadTypeOfThePlainSession) {
    const auto compressor = ComPtr<CFakeCompressor>::Share(new CFakeCompressor);
    OpenToTransport();
    for (const std::optional<LONG> encoder : {GetParam().first, GetParam().second}) {
        m_filter->OnStopStreaming();
        m_filter->BreakConnect();
        if (encoder) {
            compressor->SetVideoEncoder(*encoder);
            ASSERT_EQ(m_filter->CompleteConnect(compressor->GetPin(0)), S_OK);
        }
        ASSERT_EQ(m_filter->OnStartStreaming(), S_OK);
    }
    EXPECT_EQ(Render(1089), S_OK);
    ASSERT_EQ(m_transport.m_sent.size(), 2u);
    EXPECT_EQ(Sent(0).type, GetParam().type);
    EXPECT_EQ(Sent(1).type, GetParam().type);
    EXPECT_EQ(Sent(1).marker, true);
}

INSTANTIATE_TEST_SUITE_P(
    Ids, VideoSenderEncoder,
    testing::Values(EncoderCase{"NoCompressor", std::nullopt, std::nullopt, 113}, EncoderCase{"Mpeg4", 4, 0, 113},
                    EncoderCase{"Theora", 0, 3, 116}, EncoderCase{"H264", 0, 4, 117}, EncoderCase{"Vc1", 0, 5, 118},
                    EncoderCase{"Vp8", 0, 6, 119}, EncoderCase{"SevenLeavesIt", 4, 7, 117},
                    EncoderCase{"MotionJpegLeavesIt", 5, 8, 118}, EncoderCase{"SnowAfterNone", std::nullopt, 9, 113},
                    EncoderCase{"NegativeIsAnyOther", 4, -1, 113}, EncoderCase{"LostCompressor", 6, std::nullopt, 119}),
    [](const auto& row) { return std::string(row.param.name); });

struct TimeCase {
    const char* name;
    std::optional<REFERENCE_TIME> sample;  // relative to a stream time of 100 s
    bool hasClock;
    std::uint32_t timestamp;  // on the wire
};

class VideoSenderTime : public VideoSender, public testing::WithParamInterface<TimeCase> {};

TEST_P(VideoSenderTime, KeepsToStreamTime) {
    const auto clock = ComPtr<CFakeReferenceClock>::Share(new CFakeReferenceClock(100'000 * kMs));
    OpenToTransport();
    ASSERT_EQ(m_filter->SetSyncSource(GetParam().hasClock ? clock.Get() : nullptr), S_OK);
    ASSERT_GE(m_filter->Run(0), 0);
    const REFERENCE_TIME start = GetParam().sample.value_or(0) + 100'000 * kMs;
    EXPECT_EQ(Render(1, GetParam().sample ? &start : nullptr), S_OK);
    ASSERT_EQ(m_transport.m_sent.size(), 1u);
    EXPECT_EQ(Sent(0).timestamp, GetParam().timestamp);
    EXPECT_EQ(m_filter->Stop(), S_OK);
}

INSTANTIATE_TEST_SUITE_P(
    Times, VideoSenderTime,
    testing::Values(TimeCase{"Behind", -400 * kMs, true, 99600}, TimeCase{"AtTheEdge", -500 * kMs, true, 99500},
                    TimeCase{"OverTheEdge", -500 * kMs - 1, true, 100000},
                    TimeCase{"FarBehind", -600 * kMs, true, 100000}, TimeCase{"Ahead", 500 * kMs, true, 100500},
                    TimeCase{"FarAhead", 600 * kMs, true, 100000},
                    TimeCase{"Endless", std::numeric_limits<REFERENCE_TIME>::max() - 100'000 * kMs, true, 100000},
                    TimeCase{"NoTime", std::nullopt, true, 0}, TimeCase{"NoClock", 600 * kMs, false, 100600},
                    TimeCase{"NoClockNoTime", std::nullopt, false, 0}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(VideoSender, WithoutASessionItAnswersAsTold) {
    DWORD value = 77;
    EXPECT_EQ(m_sender->AddDestination(L"127.0.0.1", 1), E_FAIL);
    EXPECT_EQ(m_sender->RemoveDestination(L"127.0.0.1", 1), E_FAIL);
    EXPECT_EQ(m_sender->SetTtl(5), S_FALSE);
    EXPECT_EQ(m_sender->GetTtl(&value), S_OK);
    EXPECT_EQ(value, 128u) << "not stored";
    EXPECT_EQ(m_sender->SetTos(5), E_FAIL);
    EXPECT_EQ(m_sender->SetStuffing(8, 1), E_FAIL);
    EXPECT_EQ(m_sender->SetMaxPacketSize(0), S_OK);
    EXPECT_EQ(m_sender->SetMaxPacketSize(500), E_FAIL);
    EXPECT_EQ(m_sender->GetMaxPacketSize(&value), E_FAIL);
    EXPECT_EQ(m_filter->OnStartStreaming(), S_OK);
    EXPECT_EQ(m_filter->DoRenderSample(nullptr), E_FAIL);
    EXPECT_EQ(Render(0), S_OK) << "dropped before anybody asks for a session";
    EXPECT_EQ(Render(1), E_FAIL);
    EXPECT_EQ(m_filter->OnStopStreaming(), S_OK);
}

TEST_F(VideoSender, ASessionThatIsNotOpenTakesTheTtlButNoTypeOfService) {
    m_sender->SetLocalPort(5001);
    EXPECT_EQ(m_sender->OpenNetwork(), E_FAIL) << "an odd port";
    DWORD value = 77;
    EXPECT_EQ(m_sender->SetTtl(5), E_FAIL);
    EXPECT_EQ(m_sender->GetTtl(&value), S_OK);
    EXPECT_EQ(value, 5u);
    EXPECT_EQ(m_sender->SetTos(5), E_FAIL);
    EXPECT_EQ(m_sender->GetTos(&value), S_OK);
    EXPECT_EQ(value, 0u);
    EXPECT_EQ(Render(1), S_OK) << "a frame that fails is one that was lost";
    m_sender->SetLocalAddress(L"nowhere");
    EXPECT_THROW(m_sender->OpenNetwork(), std::exception);
    m_sender->SetLocalAddress(L"127.0.0.1");
    m_sender->SetLocalPort(0);
    EXPECT_EQ(m_sender->OpenNetwork(), S_OK);
    EXPECT_EQ(m_sender->SetTos(0xB8), S_OK);
    EXPECT_EQ(m_sender->GetTos(&value), S_OK);
    EXPECT_EQ(value, 0xB8u);
}

TEST_F(VideoSender, APacedSessionSendsWhileTheGraphRuns) {
    const CUdpPeer peer;
    const auto compressor = ComPtr<CFakeCompressor>::Share(new CFakeCompressor);
    compressor->SetVideoEncoder(4);
    ASSERT_EQ(m_filter->CompleteConnect(compressor->GetPin(0)), S_OK);
    m_sender->SetPacing(0, 1000);
    OpenTo(peer);
    EXPECT_EQ(Render(3000), S_OK);
    EXPECT_EQ(Counts().packets, 0u) << "waits in the ring";
    m_sender->SetPacing(5, 0);
    ASSERT_EQ(m_sender->OpenNetwork(), S_OK);
    EXPECT_EQ(Render(500), S_OK);
    EXPECT_EQ(Counts().packets, 0u) << "the paced session counts though a plain one was opened";

    ASSERT_EQ(m_filter->OnStartStreaming(), S_OK);
    for (const std::size_t bytes : {1088u, 1088u, 824u, 500u}) {
        const auto datagram = peer.Receive();
        ASSERT_TRUE(datagram);
        EXPECT_EQ(datagram->size(), bytes + 12);
        EXPECT_EQ(Decode(*datagram).type, 113) << "whatever the encoder";
    }
    EXPECT_EQ(m_filter->OnStopStreaming(), S_OK);
}

TEST_F(VideoSender, ABurstOfZeroPacketsStandsForTheDefaultAndARateOfZeroForNoPacing) {
    const CUdpPeer peer;
    m_sender->SetPacing(5, 0);
    OpenTo(peer);
    EXPECT_EQ(Render(3000), S_OK);
    EXPECT_EQ(Counts().packets, 3u) << "on this thread";
}

TEST_F(VideoSender, StopsAtOnceInALongPause) {
    const CUdpPeer peer;
    m_sender->SetPacing(1, 1);  // 8.7 seconds after each packet
    OpenTo(peer);
    ASSERT_EQ(m_filter->OnStartStreaming(), S_OK);
    EXPECT_EQ(Render(3000), S_OK);
    ASSERT_TRUE(peer.Receive());
    const auto start = qrn::SystemClock().Now();
    EXPECT_EQ(m_filter->OnStopStreaming(), S_OK);
    EXPECT_LT(qrn::SystemClock().Now() - start, std::chrono::seconds(1));
    EXPECT_EQ(Counts().packets, 3u) << "a frame that was begun leaves whole";
}

TEST_F(VideoSender, StuffingFillsAFrameUpInBytes) {
    const CUdpPeer peer;
    const CUdpPeer waste;
    OpenTo(peer);
    EXPECT_EQ(m_sender->SetStuffing(80007, waste.Port()), S_OK) << "10000 bytes and a rest that does not count";
    EXPECT_EQ(Render(4000), S_OK);
    EXPECT_EQ(Counts().packets, 4u);
    EXPECT_EQ(Counts().datagrams, 4u + 5u);
    for (int i = 0; i < 5; ++i) {
        const auto datagram = waste.Receive();
        ASSERT_TRUE(datagram);
        EXPECT_EQ(*datagram, Pattern(1088)) << "the start of the frame";
    }
    EXPECT_EQ(m_sender->SetStuffing(0, waste.Port()), S_OK);
    EXPECT_EQ(Render(4000), S_OK);
    EXPECT_EQ(Counts().datagrams, 4u + 5u + 4u);
    m_sender->SetStuffing(80000, waste.Port());
    OpenTo(peer);
    EXPECT_EQ(Render(4000), S_OK);
    EXPECT_EQ(Counts().datagrams, 4u) << "not kept across openings";
}

}  // namespace
