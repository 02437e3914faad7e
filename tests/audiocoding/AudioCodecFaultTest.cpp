#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "CountedNew.h"
#include "Signals.h"
#include "audiocoding/CAudioDecoder.h"
#include "audiocoding/CAudioEncoder.h"
#include "support/TempFolder.h"

namespace {

using qrn::test::Bytes;
using qrn::test::Pcm;
using qrn::test::Voice;

const std::string kTime = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}";

/// Memory that faults when it is touched.
class CForbiddenMemory {
public:
    CForbiddenMemory() : m_memory(mmap(nullptr, kBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {}
    ~CForbiddenMemory() { munmap(m_memory, kBytes); }
    CForbiddenMemory(const CForbiddenMemory&) = delete;
    CForbiddenMemory& operator=(const CForbiddenMemory&) = delete;

    template <class T>
    T* As() const {
        return static_cast<T*>(m_memory);
    }

private:
    static constexpr std::size_t kBytes = 65536;
    void* const m_memory;
};

/// The debug log goes to a folder of the test's own.
class AudioCodecFault : public testing::TestWithParam<int> {
protected:
    void SetUp() override {
        std::filesystem::create_directories(m_folder.File("Mondrake/Client/Log"));
        setenv("QRN_COMMON_APPDATA", m_folder.File("").c_str(), 1);
    }
    void TearDown() override { unsetenv("QRN_COMMON_APPDATA"); }

    std::string Log() const {
        std::ifstream file(m_folder.File("Mondrake/Client/Log/qrn_debug.txt"));
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }

    qrn::test::CTempFolder m_folder;
    CForbiddenMemory m_forbidden;
};

TEST_P(AudioCodecFault, OfTheEncoderIsLoggedAndHealedOnce) {
    CAudioEncoder encoder(GetParam(), 64);
    CAudioEncoder fresh(GetParam(), 64);
    const int samples = encoder.GetPacketSamples();
    const Pcm voice = Voice(samples, encoder.GetSampleRate());
    Bytes out(4000);
    Bytes expected(4000);
    ASSERT_GT(encoder.Encode(voice.data(), samples, out.data(), 4000), 0);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(encoder.Encode(m_forbidden.As<std::int16_t>(), samples, out.data(), 4000), 0);
        EXPECT_EQ(encoder.GetCodec(), GetParam());
        if (i == 0) {
            // Opened again: it has forgotten the packet from before.
            const int length = fresh.Encode(voice.data(), samples, expected.data(), 4000);
            EXPECT_EQ(encoder.Encode(voice.data(), samples, out.data(), 4000), length);
            EXPECT_EQ(out, expected);
        }
    }
    EXPECT_THAT(Log(), testing::MatchesRegex(kTime + " \\[Exception\\]\t0xC0000005\n"));
}

TEST_P(AudioCodecFault, OfTheDecoderIsLoggedAndHealedOnce) {
    CAudioDecoder decoder(GetParam(), 64);
    CAudioDecoder fresh(GetParam(), 64);
    CAudioEncoder encoder(GetParam(), 64);
    const int samples = encoder.GetPacketSamples();
    const Pcm voice = Voice(samples, encoder.GetSampleRate());
    Bytes packet(4000);
    // The second packet: an MP3 encoder keeps a part of the first one back.
    encoder.Encode(voice.data(), samples, packet.data(), 4000);
    const int length = encoder.Encode(voice.data(), samples, packet.data(), 4000);
    Pcm pcm(static_cast<std::size_t>(samples));
    Pcm expected = pcm;
    const int room = samples * 2;
    ASSERT_EQ(decoder.Decode(packet.data(), length, pcm.data(), room), room);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(decoder.Decode(m_forbidden.As<std::uint8_t>(), length, pcm.data(), room), 0);
        EXPECT_EQ(decoder.GetCodec(), GetParam());
        if (i == 0) {
            ASSERT_EQ(fresh.Decode(packet.data(), length, expected.data(), room), room);
            ASSERT_EQ(decoder.Decode(packet.data(), length, pcm.data(), room), room);
            EXPECT_EQ(pcm, expected);
        }
    }
    EXPECT_THAT(Log(), testing::MatchesRegex(kTime + " \\[Exception\\]\n0xC0000005\n"));
}

TEST_P(AudioCodecFault, ClosesTheCodecWhenItCannotBeOpenedAgain) {
    Bytes bytes(20000);
    bool hasStruck = true;
    for (int allowed = 0; hasStruck; ++allowed) {
        CAudioEncoder encoder(GetParam(), 64);
        CAudioDecoder decoder(GetParam(), 64);
        const int samples = encoder.GetPacketSamples();
        {
            const qrn::test::CAllocationFault fault(allowed);
            EXPECT_EQ(encoder.Encode(m_forbidden.As<std::int16_t>(), samples, bytes.data(), 4000), 0);
            hasStruck = fault.HasStruck();
        }
        EXPECT_EQ(encoder.GetCodec(), hasStruck ? 6 : GetParam());
        EXPECT_EQ(encoder.Encode(m_forbidden.As<std::int16_t>(), samples, bytes.data(), 4000), hasStruck ? -1 : 0);
        auto* pcm = reinterpret_cast<std::int16_t*>(bytes.data());
        {
            const qrn::test::CAllocationFault fault(allowed);
            EXPECT_EQ(decoder.Decode(m_forbidden.As<std::uint8_t>(), 100, pcm, 20000), 0);
            EXPECT_EQ(fault.HasStruck(), hasStruck);
        }
        EXPECT_EQ(decoder.GetCodec(), encoder.GetCodec());
    }
}
INSTANTIATE_TEST_SUITE_P(Codecs, AudioCodecFault, testing::Range(0, 6));

}  // namespace
