#pragma once
/// Encrypted calls.

#include <array>
#include <string>
#include <vector>

#include "qrn/QRN_Media2.h"
#include "qrn/srtp.h"

namespace qrn {

/// A dotted address and a port.
struct Destination {
    std::string address;
    int port = 0;
};

struct SrtpKey {
    DWORD suite = kQrnSrtpAesCm128HmacSha1_80;
    std::array<BYTE, kQrnSrtpMaxKeyBytes> bytes{};
    DWORD count = 0;
};

/// @param text  a master key with its salt, in hex or base64, or @ and the name of a file that holds nothing else. Its
/// length tells the suite.
/// @throws CClientError, which never shows the key.
SrtpKey LoadSrtpKey(const std::string& text);

/// A transport that only sends. @param port  local; 0: any. @throws CClientError
ComPtr<IQRN_SrtpTransport> MakeSendingTransport(const SrtpKey& key, const std::string& localAddress, int port,
                                                const std::vector<Destination>& destinations);
/// One that only receives. @throws CClientError
ComPtr<IQRN_SrtpTransport> MakeReceivingTransport(const SrtpKey& key, const std::string& localAddress, int port);

/// Why an encrypted call is not heard. @param port  local.
std::string ExplainNotAuthentic(const QrnSrtpStatistics& statistics, int port);

/// For a filter; null for no transport.
IExternalTransport* TransportOf(const ComPtr<IQRN_SrtpTransport>& transport);

}  // namespace qrn
