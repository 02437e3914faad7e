#include "host/srtp/CSrtpProtector.h"

#include <algorithm>

namespace qrn {
namespace {

/// IPv4 and UDP take 28 of 65535.
constexpr std::size_t kLargestDatagramBytes = 65507;

}  // namespace

CSrtpProtector::CSrtpProtector(const SrtpSuite& suite, const SrtpKey& key)
    : m_tagBytes(suite.tagBytes),
      m_media{CSrtpSession(suite, key, {ssrc_any_outbound, 0}), {}, {}},
      m_parity{CSrtpSession(suite, ParityKey(key), {ssrc_any_outbound, 0}), {}, {}} {}

std::optional<std::span<const std::uint8_t>> CSrtpProtector::Protect(std::span<const std::uint8_t> packet) {
    if (packet.size() < kSrtpHeaderBytes || packet.size() + m_tagBytes > kLargestDatagramBytes) {
        return std::nullopt;
    }
    Context& context = IsParity(packet) ? m_parity : m_media;
    if (!context.plain.empty() && std::ranges::equal(packet, context.plain)) {
        return context.onWire;
    }
    context.plain.clear();
    context.onWire.assign(packet.begin(), packet.end());
    context.onWire.resize(packet.size() + SRTP_MAX_TRAILER_LEN);
    auto length = static_cast<int>(packet.size());
    // The library refuses a number that was used before, so that no failure of its user uncovers what was sent.
    if (srtp_protect(context.session.Get(), context.onWire.data(), &length) != srtp_err_status_ok) {
        return std::nullopt;
    }
    context.onWire.resize(static_cast<std::size_t>(length));
    context.plain.assign(packet.begin(), packet.end());
    return context.onWire;
}

}  // namespace qrn
