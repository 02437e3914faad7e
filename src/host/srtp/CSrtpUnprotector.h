#pragma once

#include <map>
#include <span>
#include <vector>

#include "host/srtp/SrtpSuite.h"
#include "platform/system/Clock.h"

namespace qrn {

/// Checks and decrypts what one key protects, each source (SSRC) by itself. One thread.
///
/// A packet tells the low 16 bits of its number; how often they have wrapped both ends must know. Who joins late does
/// not, so the count of a source that is new, or that was lost from sight for long, is found by trying: the tag tells
/// which is right. Trying is rationed, so that made-up packets cannot keep the thread at it.
class CSrtpUnprotector {
public:
    enum class Outcome { kAuthentic, kNotAuthentic, kReplayed, kMalformed };

    /// The wraps that are tried, 64 * 65536 packets: some hours of video, days of audio.
    static constexpr std::uint32_t kMostWrapsTried = 64;
    static constexpr int kTriesEachSecond = 10;
    /// Sources of one key. Their replay windows are kept for good; a call has one, and one more for each restart.
    static constexpr std::size_t kMostSources = 256;

    /// @throws SrtpFailure
    CSrtpUnprotector(const SrtpSuite& suite, const SrtpKey& key, IClock& clock);

    /// @param packet  valid until the next call; written with kAuthentic.
    Outcome Unprotect(std::span<const std::uint8_t> datagram, std::span<const std::uint8_t>& packet);

    /// Sources that authentic packets came from, those of parity packets not counted again.
    std::size_t Sources() const { return m_media.sources.size(); }

private:
    struct Context {
        SrtpKey key;
        std::map<std::uint32_t, CSrtpSession> sources;
    };

    srtp_err_status_t Decrypt(const CSrtpSession& session, std::span<const std::uint8_t> datagram);
    srtp_err_status_t DecryptOfNewSource(Context& context, std::uint32_t ssrc, std::span<const std::uint8_t> datagram);
    bool TryWraps(CSrtpSession& session, std::uint32_t ssrc, std::uint32_t from,
                  std::span<const std::uint8_t> datagram);
    bool MayTry();

    const SrtpSuite& m_suite;
    IClock& m_clock;
    Context m_media;
    Context m_parity;
    std::vector<std::uint8_t> m_packet;
    std::chrono::nanoseconds m_triesSince{0};
    int m_tries = 0;
};

}  // namespace qrn
