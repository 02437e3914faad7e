// FFmpeg's own implementation of SRTP as the far end, both ways.

extern "C" {
#include <libavformat/avio.h>
#include <libavutil/base64.h>
#include <libavutil/dict.h>
}

#include <gtest/gtest.h>

#include <chrono>
#include <memory>

#include "TestPackets.h"
#include "host/srtp/CSrtpProtector.h"
#include "host/srtp/CSrtpUnprotector.h"
#include "support/FakeClock.h"

namespace qrn {
namespace {

using test::Bytes;
using test::CUdpPeer;
using test::MediaPacket;
using test::ParityPacket;
using test::TestKey;

/// A far end that reads or writes packets under a key. It has no more than the name of the suite and the key in common
/// with the code under test.
class CFfmpegEnd {
public:
    CFfmpegEnd(const std::string& url, int flags, const SrtpKey& key)
        : m_deadline(std::chrono::steady_clock::now() + std::chrono::seconds(20)) {
        char key64[AV_BASE64_SIZE(kQrnSrtpMaxKeyBytes)];
        av_base64_encode(key64, sizeof(key64), key.data(), static_cast<int>(key.size()));
        AVDictionary* options = nullptr;
        const bool isReader = flags == AVIO_FLAG_READ;
        av_dict_set(&options, isReader ? "srtp_in_suite" : "srtp_out_suite", "AES_CM_128_HMAC_SHA1_80", 0);
        av_dict_set(&options, isReader ? "srtp_in_params" : "srtp_out_params", key64, 0);
        const AVIOInterruptCB interrupt{&IsOver, this};
        m_opened = avio_open2(&m_context, url.c_str(), flags, &interrupt, &options) >= 0;
        av_dict_free(&options);
    }
    ~CFfmpegEnd() { avio_closep(&m_context); }
    CFfmpegEnd(const CFfmpegEnd&) = delete;
    CFfmpegEnd& operator=(const CFfmpegEnd&) = delete;

    bool IsOpen() const { return m_opened; }
    /// Empty when none is authentic within the time.
    Bytes Read() {
        Bytes packet(2048);
        const int bytes = avio_read_partial(m_context, packet.data(), static_cast<int>(packet.size()));
        packet.resize(static_cast<std::size_t>(std::max(bytes, 0)));
        return packet;
    }
    void Write(const Bytes& packet) {
        avio_write(m_context, packet.data(), static_cast<int>(packet.size()));
        avio_flush(m_context);
    }

private:
    static int IsOver(void* self) {
        return std::chrono::steady_clock::now() > static_cast<CFfmpegEnd*>(self)->m_deadline ? 1 : 0;
    }

    const std::chrono::steady_clock::time_point m_deadline;
    AVIOContext* m_context = nullptr;
    bool m_opened = false;
};

/// A reader on a free port.
std::unique_ptr<CFfmpegEnd> MakeReader(const SrtpKey& key, std::uint16_t& port) {
    for (int attempt = 0; attempt < 20; ++attempt) {
        port = CUdpPeer().Port();
        auto reader = std::make_unique<CFfmpegEnd>("srtp://127.0.0.1:9?localrtpport=" + std::to_string(port),
                                                   AVIO_FLAG_READ, key);
        if (reader->IsOpen()) {
            return reader;
        }
    }
    return nullptr;
}

class SrtpPeer : public testing::Test {
protected:
    const SrtpSuite& m_suite = FindSrtpSuite(kQrnSrtpAesCm128HmacSha1_80);
    const SrtpKey m_key = TestKey(kQrnSrtpAesCm128HmacSha1_80);
    const CUdpPeer m_socket;
};

TEST_F(SrtpPeer, ReadsOurMediaOverTheWrap) {
    std::uint16_t port = 0;
    const auto reader = MakeReader(m_key, port);
    ASSERT_TRUE(reader);
    CSrtpProtector sender(m_suite, m_key);
    for (int number = 65533; number < 65540; ++number) {
        const Bytes packet = MediaPacket(static_cast<std::uint16_t>(number));
        const auto onWire = sender.Protect(packet);
        ASSERT_TRUE(onWire);
        m_socket.SendTo(port, Bytes(onWire->begin(), onWire->end()));
        EXPECT_EQ(reader->Read(), packet) << number;
    }
}

TEST_F(SrtpPeer, ReadsOurParityUnderTheKeyThatTheRuleGives) {
    SrtpKey parityKey = m_key;
    parityKey[16] ^= 127;  // the salt's first byte: the master key has 16
    std::uint16_t port = 0;
    const auto reader = MakeReader(parityKey, port);
    ASSERT_TRUE(reader);
    CSrtpProtector sender(m_suite, m_key);
    sender.Protect(MediaPacket(1));
    const auto onWire = sender.Protect(ParityPacket(1));
    ASSERT_TRUE(onWire);
    m_socket.SendTo(port, Bytes(onWire->begin(), onWire->end()));
    EXPECT_EQ(reader->Read(), ParityPacket(1));
}

TEST_F(SrtpPeer, IsReadByUs) {
    CFfmpegEnd writer("srtp://127.0.0.1:" + std::to_string(m_socket.Port()), AVIO_FLAG_WRITE, m_key);
    ASSERT_TRUE(writer.IsOpen());
    test::CAutoClock clock;
    CSrtpUnprotector receiver(m_suite, m_key, clock);
    for (int number = 65533; number < 65540; ++number) {
        const Bytes packet = MediaPacket(static_cast<std::uint16_t>(number));
        writer.Write(packet);
        const auto onWire = m_socket.Receive();
        ASSERT_TRUE(onWire);
        EXPECT_NE(*onWire, packet);
        std::span<const std::uint8_t> read;
        ASSERT_EQ(receiver.Unprotect(*onWire, read), CSrtpUnprotector::Outcome::kAuthentic) << number;
        EXPECT_EQ(Bytes(read.begin(), read.end()), packet);
    }
}

}  // namespace
}  // namespace qrn
