#pragma once
/// What the suites ask for, and the library's policy for each.

#include <srtp2/srtp.h>

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "qrn/srtp.h"

namespace qrn {

/// A failure while a transport is set up, as one sentence without a closing dot.
struct SrtpFailure {
    HRESULT code;
    std::string sentence;
};

/// Payload type of parity packets, which have keys of their own.
inline constexpr std::uint8_t kSrtpParityType = 127;
inline constexpr std::size_t kSrtpHeaderBytes = 12;

struct SrtpSuite {
    const char* name;
    std::size_t keyBytes;  // master key and salt
    std::size_t tagBytes;
    void (*setPolicy)(srtp_crypto_policy_t*);
};

/// @throws SrtpFailure
const SrtpSuite& FindSrtpSuite(DWORD suite);

/// Master key and salt.
using SrtpKey = std::vector<std::uint8_t>;

/// @throws SrtpFailure when it has not the length that the suite asks for. @param what  names it in the sentence.
void RequireKeyLength(const SrtpSuite& suite, std::size_t bytes, const char* what);

/// Of the parity packets, as qrn/srtp.h has it.
SrtpKey ParityKey(std::span<const std::uint8_t> mediaKey);

/// Hexadecimal or base64. @throws SrtpFailure
SrtpKey ParseSrtpKey(std::string_view text, const SrtpSuite& suite);

/// Owns a session of the library.
class CSrtpSession {
public:
    /// A session with one policy: for one source, or for any one that comes (`ssrc_any_outbound`).
    /// @throws SrtpFailure
    CSrtpSession(const SrtpSuite& suite, const SrtpKey& key, srtp_ssrc_t sources);
    ~CSrtpSession();
    CSrtpSession(CSrtpSession&& other) noexcept;
    CSrtpSession& operator=(CSrtpSession&& other) noexcept;

    srtp_t Get() const { return m_session; }

private:
    srtp_t m_session = nullptr;
};

/// Of what the header of a packet says; the packet has at least kSrtpHeaderBytes.
std::uint32_t SsrcOf(std::span<const std::uint8_t> packet);
bool IsParity(std::span<const std::uint8_t> packet);

}  // namespace qrn
