#include "client/Srtp.h"

#include <cerrno>
#include <fstream>
#include <system_error>

#include "client/ClientError.h"

namespace qrn {
namespace {

// More than a key in hex with a line feed, so that a wrong file is not taken for one that was cut.
constexpr std::size_t kMostFileBytes = 256;

std::string ReadKeyFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string text(kMostFileBytes, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (!file.is_open() || file.bad()) {
        throw CClientError("cannot read the SRTP key from " + path + ": " + std::generic_category().message(errno));
    }
    text.resize(static_cast<std::size_t>(file.gcount()));
    const std::size_t last = text.find_last_not_of(" \t\r\n");
    return text.substr(0, last == std::string::npos ? 0 : last + 1);
}

ComPtr<IQRN_SrtpTransport> Make(QrnSrtpParameters& parameters, const std::string& localAddress, int port) {
    parameters.size = sizeof(parameters);
    parameters.localAddress = localAddress.c_str();
    parameters.localPort = static_cast<WORD>(port);
    ComPtr<IQRN_SrtpTransport> transport;
    if (FAILED(QrnCreateSrtpTransport(&parameters, transport.Put()))) {
        throw CClientError(std::string("cannot encrypt the call: ") + QrnLastSrtpError());
    }
    return transport;
}

}  // namespace

SrtpKey LoadSrtpKey(const std::string& text) {
    const std::string digits = text.starts_with('@') ? ReadKeyFile(text.substr(1)) : text;
    for (const DWORD suite : {kQrnSrtpAesCm128HmacSha1_80, kQrnSrtpAeadAes128Gcm}) {
        SrtpKey key;
        key.suite = suite;
        if (SUCCEEDED(QrnParseSrtpKey(digits.c_str(), suite, key.bytes.data(), &key.count))) {
            return key;
        }
    }
    throw CClientError(
        "--srtp-key: what is given is no master key with its salt: 30 bytes (AES-128 and HMAC-SHA1-80) or 28 bytes "
        "(AES-128-GCM) in hexadecimal digits or base64",
        ExitStatus::kWrongUse);
}

ComPtr<IQRN_SrtpTransport> MakeSendingTransport(const SrtpKey& key, const std::string& localAddress, int port,
                                                const std::vector<Destination>& destinations) {
    std::vector<QrnSrtpDestination> list;
    list.reserve(destinations.size());
    for (const Destination& destination : destinations) {
        list.push_back({destination.address.c_str(), static_cast<WORD>(destination.port)});
    }
    QrnSrtpParameters parameters{};
    parameters.suite = key.suite;
    parameters.sendKey = key.bytes.data();
    parameters.sendKeyBytes = key.count;
    parameters.destinations = list.data();
    parameters.destinationCount = static_cast<DWORD>(list.size());
    return Make(parameters, localAddress, port);
}

ComPtr<IQRN_SrtpTransport> MakeReceivingTransport(const SrtpKey& key, const std::string& localAddress, int port) {
    QrnSrtpParameters parameters{};
    parameters.suite = key.suite;
    parameters.receiveKey = key.bytes.data();
    parameters.receiveKeyBytes = key.count;
    return Make(parameters, localAddress, port);
}

std::string ExplainNotAuthentic(const QrnSrtpStatistics& statistics, int port) {
    return std::to_string(statistics.notAuthentic) + " packets arrived on port " + std::to_string(port) +
           " that are not authentic: the far end has another key or does not encrypt";
}

IExternalTransport* TransportOf(const ComPtr<IQRN_SrtpTransport>& transport) {
    return transport ? transport->GetTransport() : nullptr;
}

}  // namespace qrn
