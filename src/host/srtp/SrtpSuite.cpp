#include "host/srtp/SrtpSuite.h"

#include <algorithm>
#include <utility>

namespace qrn {
namespace {

/// Packets by which one may come late and still be told from a replay: far more than sessions put back in order.
constexpr unsigned long kReplayWindow = 1024;

constexpr std::array<SrtpSuite, 2> kSuites{{
    {"AES_CM_128_HMAC_SHA1_80", SRTP_AES_ICM_128_KEY_LEN_WSALT, 10, &srtp_crypto_policy_set_rtp_default},
    {"AEAD_AES_128_GCM", SRTP_AES_GCM_128_KEY_LEN_WSALT, 16, &srtp_crypto_policy_set_aes_gcm_128_16_auth},
}};
static_assert(SRTP_AES_ICM_128_KEY_LEN_WSALT <= kQrnSrtpMaxKeyBytes);
static_assert(SRTP_AES_GCM_128_KEY_LEN_WSALT <= kQrnSrtpMaxKeyBytes);

/// Both suites have a key of AES-128, and the salt behind it.
constexpr std::size_t kMasterKeyBytes = SRTP_AES_128_KEY_LEN;

/// Once and never taken back. A failure is not looked at: where somebody else in the process has begun to use the
/// library before, it answers with one and works. Where it does not work, no session can be made.
void InitLibrary() {
    [[maybe_unused]] static const srtp_err_status_t status = srtp_init();
}

int HexDigit(char letter) {
    if (letter >= '0' && letter <= '9') {
        return letter - '0';
    }
    const char lower = static_cast<char>(letter | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

int Base64Digit(char letter) {
    constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const std::size_t digit = kDigits.find(letter);
    return digit != std::string_view::npos ? static_cast<int>(digit) : -1;
}

/// Reads digits of `bits` bits each. @return false at one that is none, or when what is left over is not zero.
bool ReadDigits(std::string_view text, int bits, int (*digitOf)(char), SrtpKey& key) {
    std::uint32_t pending = 0;
    int pendingBits = 0;
    for (const char letter : text) {
        const int digit = digitOf(letter);
        if (digit < 0) {
            return false;
        }
        pending = pending << bits | static_cast<std::uint32_t>(digit);
        pendingBits += bits;
        if (pendingBits >= 8) {
            pendingBits -= 8;
            key.push_back(static_cast<std::uint8_t>(pending >> pendingBits));
            pending &= (1u << pendingBits) - 1;
        }
    }
    return pending == 0;
}

}  // namespace

const SrtpSuite& FindSrtpSuite(DWORD suite) {
    if (suite >= kSuites.size()) {
        throw SrtpFailure{E_INVALIDARG, "there is no SRTP suite " + std::to_string(suite)};
    }
    return kSuites[suite];
}

void RequireKeyLength(const SrtpSuite& suite, std::size_t bytes, const char* what) {
    if (bytes != suite.keyBytes) {
        throw SrtpFailure{E_INVALIDARG, std::string(what) + " has " + std::to_string(bytes) + " bytes, but " +
                                            suite.name + " takes " + std::to_string(suite.keyBytes) +
                                            " of key and salt"};
    }
}

SrtpKey ParityKey(std::span<const std::uint8_t> mediaKey) {
    SrtpKey key(mediaKey.begin(), mediaKey.end());
    key.at(kMasterKeyBytes) ^= kSrtpParityType;
    return key;
}

SrtpKey ParseSrtpKey(std::string_view text, const SrtpSuite& suite) {
    const std::size_t hexDigits = 2 * suite.keyBytes;
    const std::size_t base64Letters = (suite.keyBytes + 2) / 3 * 4;
    SrtpKey key;
    bool isRead = false;
    if (text.size() == hexDigits) {
        isRead = ReadDigits(text, 4, &HexDigit, key);
    } else if (text.size() == base64Letters) {
        const std::size_t padding = (3 - suite.keyBytes % 3) % 3;
        isRead = text.ends_with(std::string_view("==").substr(0, padding)) &&
                 ReadDigits(text.substr(0, text.size() - padding), 6, &Base64Digit, key);
    } else {
        throw SrtpFailure{E_INVALIDARG, "an SRTP key for " + std::string(suite.name) + " is " +
                                            std::to_string(hexDigits) + " hexadecimal digits or " +
                                            std::to_string(base64Letters) + " letters of base64, not " +
                                            std::to_string(text.size()) + " letters"};
    }
    if (!isRead) {
        throw SrtpFailure{E_INVALIDARG, std::string("the SRTP key has letters that are not ") +
                                            (text.size() == hexDigits ? "hexadecimal digits" : "base64")};
    }
    return key;
}

CSrtpSession::CSrtpSession(const SrtpSuite& suite, const SrtpKey& key, srtp_ssrc_t sources) {
    InitLibrary();
    SrtpKey writable = key;
    srtp_policy_t policy{};
    suite.setPolicy(&policy.rtp);
    suite.setPolicy(&policy.rtcp);
    policy.ssrc = sources;
    policy.key = writable.data();
    policy.window_size = kReplayWindow;
    const srtp_err_status_t status = srtp_create(&m_session, &policy);
    std::ranges::fill(writable, std::uint8_t{0});
    if (status == srtp_err_status_alloc_fail) {
        throw SrtpFailure{E_OUTOFMEMORY, "out of memory"};
    }
    if (status != srtp_err_status_ok) {
        throw SrtpFailure{E_NOTIMPL, std::string("the SRTP library of this machine has no ") + suite.name};
    }
}

CSrtpSession::~CSrtpSession() {
    if (m_session != nullptr) {
        srtp_dealloc(m_session);
    }
}

CSrtpSession::CSrtpSession(CSrtpSession&& other) noexcept : m_session(std::exchange(other.m_session, nullptr)) {}

CSrtpSession& CSrtpSession::operator=(CSrtpSession&& other) noexcept {
    std::swap(m_session, other.m_session);
    return *this;
}

std::uint32_t SsrcOf(std::span<const std::uint8_t> packet) {
    return std::uint32_t{packet[8]} << 24 | std::uint32_t{packet[9]} << 16 | std::uint32_t{packet[10]} << 8 |
           packet[11];
}

bool IsParity(std::span<const std::uint8_t> packet) {
    return (packet[1] & 0x7F) == kSrtpParityType;
}

}  // namespace qrn
