#include "host/srtp/CSrtpTransport.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <string>

#include "platform/system/Log.h"

namespace qrn {
namespace {

constexpr const char* kLogArea = "srtp";
constexpr std::size_t kReceiveBufferBytes = 65535;
/// Read in a row before the stop event is looked at again.
constexpr int kMostReadInARow = 64;

std::uint32_t ParseAddress(const char* text, const char* what) {
    in_addr address{};
    if (text == nullptr || inet_pton(AF_INET, text, &address) != 1) {
        throw SrtpFailure{E_INVALIDARG,
                          std::string(what) + " '" + (text != nullptr ? text : "") + "' is no IPv4 address"};
    }
    return address.s_addr;
}

/// Empty when none is given.
SrtpKey CopyKey(const SrtpSuite& suite, const BYTE* key, DWORD bytes, const char* what) {
    if (key == nullptr) {
        return {};
    }
    RequireKeyLength(suite, bytes, what);
    return {key, key + bytes};
}

}  // namespace

/// What one session holds while it streams. All streams of a transport are doors to the same socket.
class CSrtpTransport::CStream final : public IExternalStream {
public:
    explicit CStream(CSrtpTransport& owner) : m_owner(ComPtr<IUnknown>::Share(owner.GetOwner())), m_transport(owner) {}

    void Reserved0() override {}
    std::int32_t Receive(BYTE* buffer, std::int32_t capacity, DWORD* /*info*/) override {
        return buffer != nullptr && capacity > 0 ? m_transport.Receive({buffer, static_cast<std::size_t>(capacity)})
                                                 : 0;
    }
    void Reserved2() override {}
    std::int32_t Send(const BYTE* buffer, std::int32_t length, DWORD /*flags*/, DWORD port) override {
        return buffer != nullptr && length > 0
                   ? m_transport.Send({buffer, static_cast<std::size_t>(length)}, static_cast<std::uint16_t>(port))
                   : 0;
    }
    int GetReadEvent() override { return m_transport.m_arrived.Descriptor(); }
    void Reserved5() override {}
    void SetMode(DWORD /*mode*/) override {}

private:
    const ComPtr<IUnknown> m_owner;  // the transport stays while a session streams through it
    CSrtpTransport& m_transport;
};

CSrtpTransport::CSrtpTransport(const QrnSrtpParameters& parameters, IClock& clock)
    : CUnknown(L"SRTP transport", nullptr),
      m_clock(clock) {
    if (parameters.size != sizeof(QrnSrtpParameters)) {
        throw SrtpFailure{E_INVALIDARG, "the parameters are of another version of the library"};
    }
    const SrtpSuite& suite = FindSrtpSuite(parameters.suite);
    const SrtpKey sendKey = CopyKey(suite, parameters.sendKey, parameters.sendKeyBytes, "the key to send with");
    const SrtpKey receiveKey =
        CopyKey(suite, parameters.receiveKey, parameters.receiveKeyBytes, "the key to receive with");
    if (sendKey.empty() && receiveKey.empty()) {
        throw SrtpFailure{E_INVALIDARG, "there is no key"};
    }
    if (parameters.destinationCount > 0 && parameters.destinations == nullptr) {
        throw SrtpFailure{E_INVALIDARG, "there are no destinations"};
    }
    for (DWORD i = 0; i < parameters.destinationCount; ++i) {
        const QrnSrtpDestination& given = parameters.destinations[i];
        Destination destination{{}, given.port};
        destination.address.sin_family = AF_INET;
        destination.address.sin_addr.s_addr = ParseAddress(given.address, "the destination");
        m_destinations.push_back(destination);
    }
    const char* localAddress = parameters.localAddress != nullptr ? parameters.localAddress : "0.0.0.0";
    m_socket.emplace(ParseAddress(localAddress, "the local address"), parameters.localPort, localAddress);
    if (!sendKey.empty()) {
        const CScopedLock lock(m_sendLock);
        m_protector.emplace(suite, sendKey);
    }
    if (!receiveKey.empty()) {
        m_unprotector.emplace(suite, receiveKey, m_clock);
        if (!m_reader.Start("qrn-srtp", [this] { Read(); })) {
            throw SrtpFailure{E_OUTOFMEMORY, "no thread"};
        }
    }
}

CSrtpTransport::~CSrtpTransport() {
    m_stop.Set();
    m_reader.Join();
}

HRESULT CSrtpTransport::NonDelegatingQueryInterface(REFIID id, void** object) {
    if (id == IID_IQRN_SrtpTransport) {
        return GetInterface(static_cast<IQRN_SrtpTransport*>(this), object);
    }
    return CUnknown::NonDelegatingQueryInterface(id, object);
}

HRESULT CSrtpTransport::GetLocalPort(DWORD* port) {
    if (port == nullptr) {
        return E_POINTER;
    }
    *port = m_socket->Port();
    return S_OK;
}

HRESULT CSrtpTransport::GetStatistics(QrnSrtpStatistics* statistics) {
    if (statistics == nullptr) {
        return E_POINTER;
    }
    *statistics = {m_counters.sent,      m_counters.sendRefused,  m_counters.sendFailed,
                   m_counters.received,  m_counters.notAuthentic, m_counters.replayed,
                   m_counters.malformed, m_counters.overrun,      m_counters.sources};
    return S_OK;
}

IExternalStream* CSrtpTransport::CDoor::CreateStream(DWORD /*reserved*/, DWORD /*port*/) {
    try {
        const CScopedLock lock(m_owner.m_streamLock);
        if (m_owner.m_streams.empty()) {
            m_owner.m_arrived.Clear();  // of the time when nobody listened
        }
        return m_owner.m_streams.emplace_back(std::make_unique<CStream>(m_owner)).get();
    } catch (...) {
        return nullptr;
    }
}

void CSrtpTransport::CDoor::ReleaseStream(IExternalStream* stream) {
    std::unique_ptr<CStream> released;  // outlives the lock: it may hold the transport's last reference
    const CScopedLock lock(m_owner.m_streamLock);
    const auto place = std::ranges::find_if(m_owner.m_streams, [&](const auto& held) { return held.get() == stream; });
    if (place != m_owner.m_streams.end()) {
        released = std::move(*place);
        m_owner.m_streams.erase(place);
    }
}

std::int32_t CSrtpTransport::Send(std::span<const std::uint8_t> packet, std::uint16_t port) {
    const CScopedLock lock(m_sendLock);
    const auto onWire = m_protector ? m_protector->Protect(packet) : std::nullopt;
    if (!onWire) {
        if (m_counters.sendRefused++ == 0) {
            Log(LogLevel::kWarn, kLogArea, "a packet is not sent: %s",
                m_protector ? "it cannot be protected" : "there is no key to send with");
        }
        return -1;
    }
    for (const Destination& destination : m_destinations) {
        if (destination.port != 0 && destination.port != port) {
            continue;
        }
        sockaddr_in address = destination.address;
        address.sin_port = htons(port);
        ++(m_socket->Send(*onWire, address) ? m_counters.sent : m_counters.sendFailed);
    }
    return static_cast<std::int32_t>(packet.size());
}

void CSrtpTransport::Read() {
    std::vector<std::uint8_t> buffer(kReceiveBufferBytes);
    for (;;) {
        std::array<pollfd, 2> descriptors{{{m_stop.Descriptor(), POLLIN, 0}, {m_socket->Descriptor(), POLLIN, 0}}};
        if (m_clock.Poll(descriptors, std::chrono::nanoseconds(-1)) < 0 || descriptors[0].revents != 0) {
            return;
        }
        for (int read = 0; read < kMostReadInARow; ++read) {
            const std::int32_t bytes = m_socket->Receive(buffer);
            if (bytes < 0) {
                break;
            }
            TakeIn(std::span(buffer).first(static_cast<std::size_t>(bytes)));
        }
    }
}

void CSrtpTransport::TakeIn(std::span<const std::uint8_t> datagram) {
    std::span<const std::uint8_t> packet;
    switch (m_unprotector->Unprotect(datagram, packet)) {
        case CSrtpUnprotector::Outcome::kAuthentic:
            ++m_counters.received;
            m_counters.sources = m_unprotector->Sources();
            if (!m_arrived.Push(packet)) {
                ++m_counters.overrun;
            }
            break;
        case CSrtpUnprotector::Outcome::kNotAuthentic:
            if (m_counters.notAuthentic++ == 0) {
                Log(LogLevel::kWarn, kLogArea, "port %u: packets come that are not of this key", m_socket->Port());
            }
            break;
        case CSrtpUnprotector::Outcome::kReplayed:
            ++m_counters.replayed;
            break;
        case CSrtpUnprotector::Outcome::kMalformed:
            ++m_counters.malformed;
            break;
    }
}

}  // namespace qrn
