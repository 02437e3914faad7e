#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <vector>

#include "framework/CUnknown.h"
#include "host/srtp/CPacketQueue.h"
#include "host/srtp/CSrtpProtector.h"
#include "host/srtp/CSrtpUnprotector.h"
#include "host/srtp/CUdpSocket.h"
#include "platform/system/Clock.h"
#include "platform/system/Thread.h"
#include "qrn/QRN_Media2.h"
#include "qrn/srtp.h"

namespace qrn {

/// The transport of qrn/srtp.h. Its keys' states and its socket live as long as it does, whatever streams come and go,
/// so that a session that stops and starts goes on where it was.
///
/// A thread of its own reads the socket, where there is a key to receive with: a session takes each wake-up for a
/// packet and looks at its last one again when there is none, so nothing may wake it but what is authentic and new.
/// That thread also follows the sources' numbers while no session runs. Send comes from the sessions' threads, Receive
/// too.
class CSrtpTransport final : public CUnknown, public IQRN_SrtpTransport {
public:
    /// @throws SrtpFailure, std::bad_alloc, std::system_error
    explicit CSrtpTransport(const QrnSrtpParameters& parameters, IClock& clock = SystemClock());
    ~CSrtpTransport() override;

    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override;

    // IQRN_SrtpTransport
    IExternalTransport* GetTransport() override { return &m_door; }
    HRESULT GetLocalPort(DWORD* port) override;
    HRESULT GetStatistics(QrnSrtpStatistics* statistics) override;

private:
    class CStream;

    /// What the sessions hold of it.
    class CDoor final : public IExternalTransport {
    public:
        explicit CDoor(CSrtpTransport& owner) : m_owner(owner) {}
        IExternalStream* CreateStream(DWORD reserved, DWORD port) override;
        void Reserved1() override {}
        void ReleaseStream(IExternalStream* stream) override;

    private:
        CSrtpTransport& m_owner;
    };

    struct Destination {
        sockaddr_in address;  // its port is 0 where packets of every port go
        std::uint16_t port;
    };
    struct Counters {
        std::atomic<ULONGLONG> sent{0};
        std::atomic<ULONGLONG> sendRefused{0};
        std::atomic<ULONGLONG> sendFailed{0};
        std::atomic<ULONGLONG> received{0};
        std::atomic<ULONGLONG> notAuthentic{0};
        std::atomic<ULONGLONG> replayed{0};
        std::atomic<ULONGLONG> malformed{0};
        std::atomic<ULONGLONG> overrun{0};
        std::atomic<ULONGLONG> sources{0};
    };

    std::int32_t Send(std::span<const std::uint8_t> packet, std::uint16_t port) QRN_EXCLUDES(m_sendLock);
    std::int32_t Receive(std::span<std::uint8_t> buffer) { return m_arrived.Pop(buffer); }
    /// The reading thread.
    void Read();
    void TakeIn(std::span<const std::uint8_t> datagram);

    IClock& m_clock;
    CDoor m_door{*this};
    std::vector<Destination> m_destinations;
    std::optional<CUdpSocket> m_socket;
    Counters m_counters;
    CPacketQueue m_arrived;

    CMutex m_sendLock;  // held while a packet is handed to the socket, which does not wait
    std::optional<CSrtpProtector> m_protector QRN_GUARDED_BY(m_sendLock);

    CMutex m_streamLock;
    std::vector<std::unique_ptr<CStream>> m_streams QRN_GUARDED_BY(m_streamLock);

    std::optional<CSrtpUnprotector> m_unprotector;  // of the reading thread, while it runs
    CEvent m_stop{EventReset::kManual};
    CThread m_reader;
};

}  // namespace qrn
