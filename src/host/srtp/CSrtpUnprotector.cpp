#include "host/srtp/CSrtpUnprotector.h"

#include <utility>

#include "platform/system/Log.h"

namespace qrn {
namespace {

constexpr const char* kLogArea = "srtp";

}  // namespace

CSrtpUnprotector::CSrtpUnprotector(const SrtpSuite& suite, const SrtpKey& key, IClock& clock)
    : m_suite(suite),
      m_clock(clock),
      m_media{key, {}},
      m_parity{ParityKey(key), {}} {
    // Told now and not with the first packet.
    const CSrtpSession supported(suite, key, {ssrc_any_inbound, 0});
}

CSrtpUnprotector::Outcome CSrtpUnprotector::Unprotect(std::span<const std::uint8_t> datagram,
                                                      std::span<const std::uint8_t>& packet) {
    if (datagram.size() < kSrtpHeaderBytes + m_suite.tagBytes || datagram[0] >> 6 != 2) {
        return Outcome::kMalformed;
    }
    Context& context = IsParity(datagram) ? m_parity : m_media;
    const std::uint32_t ssrc = SsrcOf(datagram);
    const auto known = context.sources.find(ssrc);
    srtp_err_status_t status = srtp_err_status_auth_fail;
    if (known == context.sources.end()) {
        status = DecryptOfNewSource(context, ssrc, datagram);
    } else {
        status = Decrypt(known->second, datagram);
        std::uint32_t wraps = 0;
        // Out of sight for long, its numbers look like made-up ones or like ones from long ago.
        const bool mayHaveWrapped = status == srtp_err_status_auth_fail || status == srtp_err_status_replay_old;
        if (mayHaveWrapped && MayTry() &&
            srtp_get_stream_roc(known->second.Get(), ssrc, &wraps) == srtp_err_status_ok) {
            // In a session by itself: only what proves right may move the source's own window.
            CSrtpSession other(m_suite, context.key, {ssrc_specific, ssrc});
            if (TryWraps(other, ssrc, wraps + 1, datagram)) {
                known->second = std::move(other);
                status = srtp_err_status_ok;
            }
        }
    }
    switch (status) {
        case srtp_err_status_ok:
            packet = m_packet;
            return Outcome::kAuthentic;
        case srtp_err_status_replay_fail:
        case srtp_err_status_replay_old:
        case srtp_err_status_pkt_idx_old:
            return Outcome::kReplayed;
        case srtp_err_status_parse_err:
        case srtp_err_status_bad_param:
            return Outcome::kMalformed;
        default:
            return Outcome::kNotAuthentic;
    }
}

srtp_err_status_t CSrtpUnprotector::DecryptOfNewSource(Context& context, std::uint32_t ssrc,
                                                       std::span<const std::uint8_t> datagram) {
    if (context.sources.size() >= kMostSources) {
        return srtp_err_status_auth_fail;
    }
    CSrtpSession session(m_suite, context.key, {ssrc_specific, ssrc});
    srtp_err_status_t status = Decrypt(session, datagram);
    if (status == srtp_err_status_auth_fail && MayTry() && TryWraps(session, ssrc, 1, datagram)) {
        status = srtp_err_status_ok;
    }
    if (status == srtp_err_status_ok) {
        context.sources.emplace(ssrc, std::move(session));
        Log(LogLevel::kInfo, kLogArea, "authentic %s from source %08x", &context == &m_media ? "media" : "parity",
            ssrc);
    }
    return status;
}

srtp_err_status_t CSrtpUnprotector::Decrypt(const CSrtpSession& session, std::span<const std::uint8_t> datagram) {
    m_packet.assign(datagram.begin(), datagram.end());  // each time: a cipher may have written before it refuses
    auto length = static_cast<int>(m_packet.size());
    const srtp_err_status_t status = srtp_unprotect(session.Get(), m_packet.data(), &length);
    if (status == srtp_err_status_ok) {
        m_packet.resize(static_cast<std::size_t>(length));
    }
    return status;
}

bool CSrtpUnprotector::TryWraps(CSrtpSession& session, std::uint32_t ssrc, std::uint32_t from,
                                std::span<const std::uint8_t> datagram) {
    for (std::uint32_t wraps = from; wraps < from + kMostWrapsTried; ++wraps) {
        if (srtp_set_stream_roc(session.Get(), ssrc, wraps) == srtp_err_status_ok &&
            Decrypt(session, datagram) == srtp_err_status_ok) {
            Log(LogLevel::kInfo, kLogArea, "source %08x is joined after %u wraps of its numbers", ssrc, wraps);
            return true;
        }
    }
    return false;
}

bool CSrtpUnprotector::MayTry() {
    const auto now = m_clock.Now();
    if (m_tries == 0 || now - m_triesSince >= std::chrono::seconds(1)) {
        m_triesSince = now;
        m_tries = 0;
    }
    return m_tries++ < kTriesEachSecond;
}

}  // namespace qrn
