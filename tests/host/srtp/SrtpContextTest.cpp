// What is encrypted and what is let through, without a network.

#include <gtest/gtest.h>

#include <random>

#include "TestPackets.h"
#include "host/srtp/CSrtpProtector.h"
#include "host/srtp/CSrtpUnprotector.h"
#include "support/FakeClock.h"

namespace qrn {
namespace {

using test::Bytes;
using test::MediaPacket;
using test::ParityPacket;
using test::TestKey;
using Outcome = CSrtpUnprotector::Outcome;

class SrtpContext : public testing::TestWithParam<DWORD> {
protected:
    Bytes Protect(const Bytes& packet) { return Protect(m_sender, packet); }
    static Bytes Protect(CSrtpProtector& sender, const Bytes& packet) {
        const auto onWire = sender.Protect(packet);
        return onWire ? Bytes(onWire->begin(), onWire->end()) : Bytes();
    }
    Outcome Receive(const Bytes& datagram) { return Receive(m_receiver, datagram); }
    Outcome Receive(CSrtpUnprotector& receiver, const Bytes& datagram) {
        std::span<const std::uint8_t> packet;
        const Outcome outcome = receiver.Unprotect(datagram, packet);
        m_packet.assign(packet.begin(), packet.end());
        EXPECT_EQ(outcome == Outcome::kAuthentic, !m_packet.empty());
        return outcome;
    }
    /// Sends one packet and looks whether it arrives as it was.
    void ExpectArrives(const Bytes& packet) {
        const Bytes onWire = Protect(packet);
        ASSERT_EQ(Receive(onWire), Outcome::kAuthentic) << "number " << packet[2] * 256 + packet[3];
        EXPECT_EQ(m_packet, packet);
    }

    const SrtpSuite& m_suite = FindSrtpSuite(GetParam());
    test::CAutoClock m_clock;
    CSrtpProtector m_sender{m_suite, TestKey(GetParam())};
    CSrtpUnprotector m_receiver{m_suite, TestKey(GetParam()), m_clock};
    Bytes m_packet;
};

INSTANTIATE_TEST_SUITE_P(Suites, SrtpContext, testing::Values(kQrnSrtpAesCm128HmacSha1_80, kQrnSrtpAeadAes128Gcm),
                         [](const auto& row) { return std::string(row.param == 0 ? "AesCm" : "AesGcm"); });

TEST_P(SrtpContext, HidesThePayloadAndLeavesTheHeader) {
    const Bytes packet = MediaPacket(7);
    const Bytes onWire = Protect(packet);
    ASSERT_EQ(onWire.size(), packet.size() + m_suite.tagBytes);
    EXPECT_TRUE(std::equal(packet.begin(), packet.begin() + 12, onWire.begin()));
    int alike = 0;
    for (std::size_t i = 12; i < packet.size(); ++i) {
        alike += packet[i] == onWire[i] ? 1 : 0;
    }
    EXPECT_LT(alike, 5);
    EXPECT_EQ(Receive(onWire), Outcome::kAuthentic);
    EXPECT_EQ(m_packet, packet);
    EXPECT_EQ(m_receiver.Sources(), 1u);
}

TEST_P(SrtpContext, FollowsTheNumbersOverTheirWraps) {
    std::uint16_t sequence = 64000;
    for (int i = 0; i < 400; ++i, sequence = static_cast<std::uint16_t>(sequence + 700)) {
        ExpectArrives(MediaPacket(sequence));
    }
    // A late one from the other side of a wrap.
    constexpr std::uint32_t kOtherSource = 7;
    const Bytes before = Protect(MediaPacket(65500, "before", kOtherSource));
    const Bytes after = Protect(MediaPacket(20, "after", kOtherSource));
    EXPECT_EQ(Receive(after), Outcome::kAuthentic);
    EXPECT_EQ(Receive(before), Outcome::kAuthentic);
}

TEST_P(SrtpContext, JoinsASourceThatHasWrappedBefore) {
    std::uint16_t sequence = 40000;
    Bytes onWire;
    for (int i = 0; i < 300; ++i, sequence = static_cast<std::uint16_t>(sequence + 1000)) {
        onWire = Protect(MediaPacket(sequence));
    }
    EXPECT_EQ(Receive(onWire), Outcome::kAuthentic);
    EXPECT_EQ(Receive(onWire), Outcome::kReplayed);
    ExpectArrives(MediaPacket(sequence));
    // And finds it again after it was out of sight for some hundred thousand packets.
    const Bytes old = Protect(MediaPacket(static_cast<std::uint16_t>(sequence + 1)));
    for (int i = 0; i < 300; ++i, sequence = static_cast<std::uint16_t>(sequence + 1000)) {
        onWire = Protect(MediaPacket(static_cast<std::uint16_t>(sequence + 1000)));
    }
    EXPECT_EQ(Receive(onWire), Outcome::kAuthentic);
    EXPECT_NE(Receive(old), Outcome::kAuthentic);
    ExpectArrives(MediaPacket(static_cast<std::uint16_t>(sequence + 1000)));
}

TEST_P(SrtpContext, MadeUpPacketsUseUpTheTriesOfOneSecondOnly) {
    std::uint16_t sequence = 40000;
    for (int i = 0; i < 100; ++i, sequence = static_cast<std::uint16_t>(sequence + 1000)) {
        Protect(MediaPacket(sequence));
    }
    for (std::uint32_t ssrc = 1; ssrc <= CSrtpUnprotector::kTriesEachSecond; ++ssrc) {
        EXPECT_EQ(Receive(MediaPacket(1, std::string(40, 'x'), ssrc)), Outcome::kNotAuthentic);
    }
    const Bytes onWire = Protect(MediaPacket(sequence));
    EXPECT_EQ(Receive(onWire), Outcome::kNotAuthentic);
    m_clock.Advance(std::chrono::seconds(1));
    EXPECT_EQ(Receive(onWire), Outcome::kAuthentic);
    EXPECT_EQ(m_receiver.Sources(), 1u);
}

TEST_P(SrtpContext, ARestartedSenderIsHeardUnderItsNewName) {
    ExpectArrives(MediaPacket(100));
    ExpectArrives(MediaPacket(50000, "another", 0xAABBCCDD));
    ExpectArrives(MediaPacket(101));  // the first one is not forgotten
    CSrtpProtector restarted(m_suite, TestKey(GetParam()));
    EXPECT_EQ(Receive(Protect(restarted, MediaPacket(3, "a third", 0x99))), Outcome::kAuthentic);
    EXPECT_EQ(m_receiver.Sources(), 3u);
    // Under its old name it would use numbers a second time.
    EXPECT_EQ(Receive(Protect(restarted, MediaPacket(101))), Outcome::kReplayed);
}

TEST_P(SrtpContext, ANumberIsUsedForOneContentOnly) {
    const Bytes first = Protect(MediaPacket(5));
    EXPECT_EQ(Protect(MediaPacket(5)), first) << "for the next destination";
    EXPECT_TRUE(Protect(MediaPacket(5, "other contents")).empty());
    EXPECT_TRUE(Protect(MediaPacket(5)).empty()) << "no longer the last one";
    EXPECT_FALSE(Protect(MediaPacket(6)).empty());
}

TEST_P(SrtpContext, ParityPacketsHaveKeysOfTheirOwn) {
    const Bytes media = MediaPacket(5, std::string(64, 'a'));
    const Bytes parity = ParityPacket(5, std::string(64, 'b'));
    const Bytes mediaOnWire = Protect(media);
    const Bytes parityOnWire = Protect(parity);
    ASSERT_EQ(mediaOnWire.size(), parityOnWire.size());
    int sameKeyStream = 0;
    for (std::size_t i = 12; i < media.size(); ++i) {
        sameKeyStream += (mediaOnWire[i] ^ media[i]) == (parityOnWire[i] ^ parity[i]) ? 1 : 0;
    }
    EXPECT_LT(sameKeyStream, 8);
    EXPECT_EQ(Receive(mediaOnWire), Outcome::kAuthentic);
    EXPECT_EQ(Receive(parityOnWire), Outcome::kAuthentic);
    EXPECT_EQ(m_packet, parity);
    EXPECT_EQ(m_receiver.Sources(), 1u);
    // Under the media's key it is no parity packet.
    CSrtpProtector wrong(m_suite, ParityKey(TestKey(GetParam())));
    EXPECT_EQ(Receive(Protect(wrong, ParityPacket(6))), Outcome::kNotAuthentic);
}

TEST_P(SrtpContext, WhatWasChangedIsNotAuthentic) {
    const Bytes onWire = Protect(MediaPacket(7));
    for (std::size_t i = 0; i < onWire.size(); ++i) {
        for (const int bit : {0, 4, 7}) {
            Bytes changed = onWire;
            changed[i] = static_cast<std::uint8_t>(changed[i] ^ 1 << bit);
            EXPECT_NE(Receive(changed), Outcome::kAuthentic) << "byte " << i << " bit " << bit;
        }
    }
    for (std::size_t length = 0; length < onWire.size(); ++length) {
        m_clock.Advance(std::chrono::seconds(1));
        EXPECT_NE(Receive(Bytes(onWire.begin(), onWire.begin() + static_cast<std::ptrdiff_t>(length))),
                  Outcome::kAuthentic);
    }
    EXPECT_EQ(m_receiver.Sources(), 0u);
    EXPECT_EQ(Receive(onWire), Outcome::kAuthentic) << "all that took nothing from the packet";
    EXPECT_EQ(Receive(onWire), Outcome::kReplayed);
}

TEST_P(SrtpContext, RefusesWhatIsNoPacket) {
    EXPECT_TRUE(Protect(Bytes(11, 0x80)).empty());
    EXPECT_TRUE(Protect(Bytes(65507, 0x80)).empty());
    EXPECT_EQ(Receive({}), Outcome::kMalformed);
    EXPECT_EQ(Receive(Bytes(12 + m_suite.tagBytes - 1, 0x80)), Outcome::kMalformed);
    EXPECT_EQ(Receive(Bytes(200, 0x40)), Outcome::kMalformed);  // of another version
    CSrtpUnprotector other(m_suite, TestKey(GetParam(), 2), m_clock);
    EXPECT_EQ(Receive(other, Protect(MediaPacket(1))), Outcome::kNotAuthentic);
}

TEST_P(SrtpContext, TheNumberOfSourcesIsBounded) {
    for (std::uint32_t ssrc = 1; ssrc <= CSrtpUnprotector::kMostSources; ++ssrc) {
        ASSERT_EQ(Receive(Protect(MediaPacket(1, "x", ssrc))), Outcome::kAuthentic);
    }
    EXPECT_EQ(Receive(Protect(MediaPacket(1, "x", 0xFFFF))), Outcome::kNotAuthentic);
    EXPECT_EQ(Receive(Protect(MediaPacket(2, "x", 1))), Outcome::kAuthentic);
}

// ---------------------------------------------------------------------------------------------------------------------

struct KeyCase {
    const char* name;
    DWORD suite;
    std::string text;
    /// Its bytes in hexadecimal, or what the error says.
    std::string bytes;
    std::string error;
};

void PrintTo(const KeyCase& row, std::ostream* stream) {
    *stream << row.name;
}

class SrtpKeyText : public testing::TestWithParam<KeyCase> {};

TEST_P(SrtpKeyText, IsReadOrRefused) {
    const KeyCase& row = GetParam();
    BYTE key[kQrnSrtpMaxKeyBytes]{};
    DWORD bytes = 99;
    const HRESULT result = QrnParseSrtpKey(row.text.c_str(), row.suite, key, &bytes);
    if (row.error.empty()) {
        ASSERT_EQ(result, S_OK) << QrnLastSrtpError();
        std::string hexadecimal;
        for (DWORD i = 0; i < bytes; ++i) {
            constexpr const char* kDigits = "0123456789abcdef";
            hexadecimal += {kDigits[key[i] / 16], kDigits[key[i] % 16]};
        }
        EXPECT_EQ(hexadecimal, row.bytes);
        EXPECT_STREQ(QrnLastSrtpError(), "");
    } else {
        EXPECT_EQ(result, E_INVALIDARG);
        EXPECT_EQ(bytes, 0u);
        EXPECT_EQ(QrnLastSrtpError(), row.error);
    }
}

// The master key and salt of RFC 3711 appendix B.3, and the key of the example in RFC 4568 section 9.1.
const std::string kRfc3711Hex = "e1f97a0d3e018be0d64fa32c06de41390ec675ad498afeebb6960b3aabe6";
const std::string kNotOneOf = " is 60 hexadecimal digits or 40 letters of base64, not ";

INSTANTIATE_TEST_SUITE_P(
    Rows, SrtpKeyText,
    testing::Values(KeyCase{"Hexadecimal", 0, kRfc3711Hex, kRfc3711Hex, ""},
                    KeyCase{"Capitals", 0, "E1F97A0D3E018BE0D64FA32C06DE41390EC675AD498AFEEBB6960B3AABE6", kRfc3711Hex,
                            ""},
                    KeyCase{"Base64", 0, "4fl6DT4Bi+DWT6MsBt5BOQ7Gda1Jiv7rtpYLOqvm", kRfc3711Hex, ""},
                    KeyCase{"Gcm", 1, kRfc3711Hex.substr(0, 56), kRfc3711Hex.substr(0, 56), ""},
                    KeyCase{"GcmBase64", 1, "4fl6DT4Bi+DWT6MsBt5BOQ7Gda1Jiv7rtpYLOg==", kRfc3711Hex.substr(0, 56), ""},
                    KeyCase{"Empty", 0, "", "", "an SRTP key for AES_CM_128_HMAC_SHA1_80" + kNotOneOf + "0 letters"},
                    KeyCase{"Short", 0, kRfc3711Hex.substr(1), "",
                            "an SRTP key for AES_CM_128_HMAC_SHA1_80" + kNotOneOf + "59 letters"},
                    KeyCase{"GcmWithoutPadding", 1, "4fl6DT4Bi+DWT6MsBt5BOQ7Gda1Jiv7rtpYLOgAA", "",
                            "the SRTP key has letters that are not base64"},
                    KeyCase{"GcmRestNotZero", 1, "4fl6DT4Bi+DWT6MsBt5BOQ7Gda1Jiv7rtpYLOh==", "",
                            "the SRTP key has letters that are not base64"},
                    KeyCase{"NotHexadecimal", 0, "g" + kRfc3711Hex.substr(1), "",
                            "the SRTP key has letters that are not hexadecimal digits"},
                    KeyCase{"NotBase64", 0, "4fl6DT4Bi+DWT6MsBt5BOQ7Gda1Jiv7rtpYLOqv!", "",
                            "the SRTP key has letters that are not base64"},
                    KeyCase{"NoSuite", 2, kRfc3711Hex, "", "there is no SRTP suite 2"}),
    [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace qrn
