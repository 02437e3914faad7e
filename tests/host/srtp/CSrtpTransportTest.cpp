// The transport as a session uses it, over loopback and through the library's public functions.

#include <gtest/gtest.h>

#include <functional>

#include "TestPackets.h"
#include "qrn/QRN_Media2.h"
#include "qrn/srtp.h"
#include "support/FakeClock.h"

namespace qrn {
namespace {

using test::Bytes;
using test::CUdpPeer;
using test::MediaPacket;
using test::ParityPacket;
using test::TestKey;

/// Parameters and what they point to.
struct Settings {
    DWORD suite = kQrnSrtpAesCm128HmacSha1_80;
    SrtpKey sendKey{};
    SrtpKey receiveKey{};
    std::vector<QrnSrtpDestination> destinations{};
    const char* localAddress = "127.0.0.1";
    WORD localPort = 0;

    QrnSrtpParameters Parameters() const {
        return {sizeof(QrnSrtpParameters),
                suite,
                sendKey.empty() ? nullptr : sendKey.data(),
                static_cast<DWORD>(sendKey.size()),
                receiveKey.empty() ? nullptr : receiveKey.data(),
                static_cast<DWORD>(receiveKey.size()),
                localAddress,
                localPort,
                destinations.data(),
                static_cast<DWORD>(destinations.size())};
    }
};

/// A transport with one stream of a session.
class CEnd {
public:
    explicit CEnd(const Settings& settings) {
        const QrnSrtpParameters parameters = settings.Parameters();
        EXPECT_EQ(QrnCreateSrtpTransport(&parameters, m_transport.Put()), S_OK) << QrnLastSrtpError();
        Start();
    }
    ~CEnd() {
        if (m_stream != nullptr) {
            Stop();
        }
    }
    CEnd(const CEnd&) = delete;
    CEnd& operator=(const CEnd&) = delete;

    void Start() { m_stream = m_transport->GetTransport()->CreateStream(0, 5000); }
    void Stop() { m_transport->GetTransport()->ReleaseStream(std::exchange(m_stream, nullptr)); }
    WORD Port() const {
        DWORD port = 0;
        EXPECT_EQ(m_transport->GetLocalPort(&port), S_OK);
        return static_cast<WORD>(port);
    }
    QrnSrtpStatistics Statistics() const {
        QrnSrtpStatistics statistics{};
        EXPECT_EQ(m_transport->GetStatistics(&statistics), S_OK);
        return statistics;
    }
    /// Waits until the statistics are as they should be.
    bool Await(const std::function<bool(const QrnSrtpStatistics&)>& condition) const {
        const auto start = SystemClock().Now();
        while (!condition(Statistics())) {
            if (SystemClock().Now() - start > test::kTestPatience) {
                return false;
            }
            SystemClock().SleepFor(std::chrono::milliseconds(1));
        }
        return true;
    }
    std::int32_t Send(const Bytes& packet, WORD port) {
        return m_stream->Send(packet.data(), static_cast<std::int32_t>(packet.size()), 0, port);
    }
    bool IsReadable(std::chrono::nanoseconds timeout = std::chrono::nanoseconds::zero()) const {
        pollfd descriptor{m_stream->GetReadEvent(), POLLIN, 0};
        return SystemClock().Poll({&descriptor, 1}, timeout) == 1;
    }
    /// Waits for a packet; empty when none comes.
    Bytes Receive() {
        Bytes buffer(65535);
        DWORD info[2]{};
        if (!IsReadable(test::kTestPatience)) {
            return {};
        }
        const std::int32_t bytes = m_stream->Receive(buffer.data(), 65535, info);
        buffer.resize(static_cast<std::size_t>(std::max(bytes, 0)));
        return buffer;
    }

    ComPtr<IQRN_SrtpTransport> m_transport;
    IExternalStream* m_stream = nullptr;
};

class SrtpTransport : public testing::Test {
protected:
    Settings ReceiverSettings() const { return {.receiveKey = m_key}; }
    Settings SenderSettings() const { return {.sendKey = m_key, .destinations = {{"127.0.0.1", 0}}}; }

    const SrtpKey m_key = TestKey(kQrnSrtpAesCm128HmacSha1_80);
};

TEST_F(SrtpTransport, CarriesMediaAndParity) {
    CEnd receiver(ReceiverSettings());
    CEnd sender(SenderSettings());
    for (const Bytes& packet : {MediaPacket(1), ParityPacket(1), MediaPacket(2)}) {
        EXPECT_EQ(sender.Send(packet, receiver.Port()), static_cast<std::int32_t>(packet.size()));
        EXPECT_EQ(receiver.Receive(), packet);
    }
    EXPECT_FALSE(receiver.IsReadable());
    EXPECT_EQ(sender.Statistics().sent, 3u);
    EXPECT_EQ(receiver.Statistics().received, 3u);
    EXPECT_EQ(receiver.Statistics().sources, 1u);
}

TEST_F(SrtpTransport, BothWaysOverOnePort) {
    Settings first{.sendKey = m_key, .receiveKey = TestKey(0, 2), .destinations = {{"127.0.0.1", 0}}};
    Settings second = first;
    std::swap(second.sendKey, second.receiveKey);
    CEnd one(first);
    CEnd other(second);
    one.Send(MediaPacket(1, "there"), other.Port());
    EXPECT_EQ(other.Receive(), MediaPacket(1, "there"));
    other.Send(MediaPacket(1, "and back"), one.Port());
    EXPECT_EQ(one.Receive(), MediaPacket(1, "and back"));
}

TEST_F(SrtpTransport, NothingWakesTheSessionButWhatIsAuthenticAndNew) {
    CEnd receiver(ReceiverSettings());
    CEnd sender(SenderSettings());
    const CUdpPeer spy;
    const CUdpPeer attacker;
    sender.Send(MediaPacket(1), spy.Port());
    const auto recorded = spy.Receive();
    ASSERT_TRUE(recorded);
    attacker.SendTo(receiver.Port(), *recorded);
    EXPECT_EQ(receiver.Receive(), MediaPacket(1));
    attacker.SendTo(receiver.Port(), *recorded);  // replayed
    attacker.SendTo(receiver.Port(), MediaPacket(2, "not a tag at all"));
    attacker.SendTo(receiver.Port(), {1, 2, 3});
    attacker.SendTo(receiver.Port(), {});
    EXPECT_TRUE(receiver.Await(
        [](const QrnSrtpStatistics& now) { return now.replayed == 1 && now.notAuthentic == 1 && now.malformed == 2; }));
    EXPECT_FALSE(receiver.IsReadable());
    EXPECT_EQ(receiver.Statistics().received, 1u);
}

TEST_F(SrtpTransport, AWrongKeyIsCountedAndNotHeard) {
    Settings wrong = ReceiverSettings();
    wrong.receiveKey[29] ^= 1;
    CEnd receiver(wrong);
    CEnd sender(SenderSettings());
    for (std::uint16_t i = 0; i < 5; ++i) {
        sender.Send(MediaPacket(i), receiver.Port());
    }
    EXPECT_TRUE(receiver.Await([](const QrnSrtpStatistics& now) { return now.notAuthentic == 5; }));
    EXPECT_FALSE(receiver.IsReadable());
    EXPECT_EQ(receiver.Statistics().sources, 0u);
}

TEST_F(SrtpTransport, AStopAndAStartUseNoNumberTwice) {
    CEnd receiver(ReceiverSettings());
    CEnd sender(SenderSettings());
    sender.Send(MediaPacket(1), receiver.Port());
    EXPECT_EQ(receiver.Receive(), MediaPacket(1));
    sender.Stop();
    sender.Start();
    receiver.Stop();
    // What comes meanwhile is followed and not kept.

    sender.Send(MediaPacket(2), receiver.Port());
    EXPECT_TRUE(receiver.Await([](const QrnSrtpStatistics& now) { return now.received == 2; }));
    receiver.Start();
    EXPECT_FALSE(receiver.IsReadable());
    EXPECT_EQ(sender.Send(MediaPacket(1, "other contents under an old number"), receiver.Port()), -1);
    sender.Send(MediaPacket(3), receiver.Port());
    EXPECT_EQ(receiver.Receive(), MediaPacket(3));
    EXPECT_EQ(sender.Statistics().sendRefused, 1u);
}

TEST_F(SrtpTransport, WhatIsNotFetchedPushesOutTheOldest) {
    CEnd receiver(ReceiverSettings());
    CEnd sender(SenderSettings());
    for (std::uint16_t i = 0; i < 300; ++i) {
        sender.Send(MediaPacket(i), receiver.Port());
        // In step, so that the socket's own buffer loses nothing.
        ASSERT_TRUE(receiver.Await([&](const QrnSrtpStatistics& now) { return now.received == i + 1u; }));
    }
    EXPECT_EQ(receiver.Statistics().overrun, 44u);
    for (std::uint16_t i = 44; i < 300; ++i) {
        ASSERT_EQ(receiver.Receive(), MediaPacket(i));
    }
    EXPECT_FALSE(receiver.IsReadable());
}

TEST_F(SrtpTransport, DestinationsTakeTheirPort) {
    const CUdpPeer first;
    const CUdpPeer second;
    Settings settings = SenderSettings();
    settings.destinations = {{"127.0.0.1", first.Port()}, {"127.0.0.1", second.Port()}};
    CEnd sender(settings);
    sender.Send(MediaPacket(1), first.Port());
    sender.Send(MediaPacket(1), second.Port());  // the session's next destination
    const auto toFirst = first.Receive();
    ASSERT_TRUE(toFirst);
    EXPECT_EQ(second.Receive(), toFirst);
    EXPECT_FALSE(first.Receive(0));
    EXPECT_FALSE(second.Receive(0));
    EXPECT_EQ(sender.Statistics().sent, 2u);
}

TEST_F(SrtpTransport, OneWithoutAKeyForItDoesNotSend) {
    Settings settings = ReceiverSettings();
    settings.destinations = {{"127.0.0.1", 0}};
    const CUdpPeer peer;
    CEnd receiver(settings);
    EXPECT_EQ(receiver.Send(MediaPacket(1), peer.Port()), -1);
    EXPECT_FALSE(peer.Receive(0));
    EXPECT_EQ(receiver.Statistics().sendRefused, 1u);
}

TEST_F(SrtpTransport, LivesAsLongAsASessionStreams) {
    CEnd receiver(ReceiverSettings());
    CEnd sender(SenderSettings());
    IExternalTransport* transport = receiver.m_transport->GetTransport();
    IExternalStream* stream = receiver.m_stream;
    const WORD port = receiver.Port();
    receiver.m_transport.Reset();
    sender.Send(MediaPacket(1), port);
    EXPECT_EQ(receiver.Receive(), MediaPacket(1));
    receiver.m_stream = nullptr;
    transport->ReleaseStream(stream);  // the last that held it
    EXPECT_NO_THROW(CEnd(Settings{.receiveKey = m_key, .localPort = port})) << "the port is free again";
}

TEST_F(SrtpTransport, ASmallBufferLosesThePacketAndNothingElse) {
    CEnd receiver(ReceiverSettings());
    CEnd sender(SenderSettings());
    sender.Send(MediaPacket(1), receiver.Port());
    ASSERT_TRUE(receiver.IsReadable(test::kTestPatience));
    BYTE buffer[12];
    DWORD info[2]{};
    EXPECT_EQ(receiver.m_stream->Receive(buffer, sizeof(buffer), info), 0);
    EXPECT_EQ(receiver.m_stream->Receive(nullptr, 65535, info), 0);
    EXPECT_FALSE(receiver.IsReadable());
}

// ---------------------------------------------------------------------------------------------------------------------

struct BadCase {
    const char* name;
    HRESULT result;
    const char* error;
    std::function<void(QrnSrtpParameters&)> spoil;
};

void PrintTo(const BadCase& row, std::ostream* stream) {
    *stream << row.name;
}

class BadParameters : public testing::TestWithParam<BadCase> {};

TEST_P(BadParameters, AreRefusedWithTheirReason) {
    const Settings settings{.receiveKey = TestKey(0), .destinations = {{"127.0.0.1", 0}}};
    QrnSrtpParameters parameters = settings.Parameters();
    GetParam().spoil(parameters);
    auto* untouched = reinterpret_cast<IQRN_SrtpTransport*>(&parameters);
    EXPECT_EQ(QrnCreateSrtpTransport(&parameters, &untouched), GetParam().result);
    EXPECT_EQ(untouched, nullptr);
    EXPECT_STREQ(QrnLastSrtpError(), GetParam().error);
}

constexpr QrnSrtpDestination kNoAddress{"localhost", 0};

INSTANTIATE_TEST_SUITE_P(
    Rows, BadParameters,
    testing::Values(
        BadCase{"Size", E_INVALIDARG, "the parameters are of another version of the library",
                [](QrnSrtpParameters& p) { p.size = 8; }},
        BadCase{"Suite", E_INVALIDARG, "there is no SRTP suite 7", [](QrnSrtpParameters& p) { p.suite = 7; }},
        BadCase{"KeyLength", E_INVALIDARG,
                "the key to receive with has 29 bytes, but AES_CM_128_HMAC_SHA1_80 takes 30 of key and salt",
                [](QrnSrtpParameters& p) { p.receiveKeyBytes = 29; }},
        BadCase{"KeyOfAnotherSuite", E_INVALIDARG,
                "the key to receive with has 30 bytes, but AEAD_AES_128_GCM takes 28 of key and salt",
                [](QrnSrtpParameters& p) { p.suite = kQrnSrtpAeadAes128Gcm; }},
        BadCase{"NoKey", E_INVALIDARG, "there is no key", [](QrnSrtpParameters& p) { p.receiveKey = nullptr; }},
        BadCase{"LocalAddress", E_INVALIDARG, "the local address '1.2.3' is no IPv4 address",
                [](QrnSrtpParameters& p) { p.localAddress = "1.2.3"; }},
        BadCase{"ForeignAddress", E_ACCESSDENIED,
                "UDP port 0 of 192.0.2.1 cannot be had: Cannot assign requested address",
                [](QrnSrtpParameters& p) { p.localAddress = "192.0.2.1"; }},
        BadCase{"NoDestinations", E_INVALIDARG, "there are no destinations",
                [](QrnSrtpParameters& p) { p.destinations = nullptr; }},
        BadCase{"Destination", E_INVALIDARG, "the destination 'localhost' is no IPv4 address",
                [](QrnSrtpParameters& p) { p.destinations = &kNoAddress; }}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(SrtpTransport, APortInUseIsToldByItsNumber) {
    const CUdpPeer taken;
    Settings settings = ReceiverSettings();
    settings.localPort = taken.Port();
    const QrnSrtpParameters parameters = settings.Parameters();
    ComPtr<IQRN_SrtpTransport> transport;
    EXPECT_EQ(QrnCreateSrtpTransport(&parameters, transport.Put()), E_ACCESSDENIED);
    EXPECT_EQ(QrnLastSrtpError(), "UDP port " + std::to_string(taken.Port()) + " of 127.0.0.1 is in use");
}

TEST_F(SrtpTransport, RefusesNullArguments) {
    const Settings settings = ReceiverSettings();
    const QrnSrtpParameters parameters = settings.Parameters();
    IQRN_SrtpTransport* transport = nullptr;
    EXPECT_EQ(QrnCreateSrtpTransport(nullptr, &transport), E_POINTER);
    EXPECT_EQ(QrnCreateSrtpTransport(&parameters, nullptr), E_POINTER);
    BYTE key[kQrnSrtpMaxKeyBytes];
    DWORD bytes = 0;
    EXPECT_EQ(QrnParseSrtpKey(nullptr, 0, key, &bytes), E_POINTER);
    EXPECT_EQ(QrnParseSrtpKey("x", 0, nullptr, &bytes), E_POINTER);
    EXPECT_EQ(QrnParseSrtpKey("x", 0, key, nullptr), E_POINTER);
    CEnd end(settings);
    EXPECT_EQ(end.m_transport->GetLocalPort(nullptr), E_POINTER);
    EXPECT_EQ(end.m_transport->GetStatistics(nullptr), E_POINTER);
    EXPECT_TRUE(end.m_transport.As<IUnknown>());
    EXPECT_FALSE(end.m_transport.As<IPin>());
}

}  // namespace
}  // namespace qrn
