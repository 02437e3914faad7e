#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "qrn/QRN_Media2.h"
#include "rtp/CReceiveBatch.h"
#include "rtp/CRtpParityCoder.h"
#include "rtp/ReceiveStatistics.h"
#include "rtp/RtpPacket.h"
#include "rtp/Socket.h"

/// The receiving half of a connection: reads datagrams from its socket, several at once, or from the external stream,
/// and gives them out one by one, parsed where they lie. Who looks at the results cannot tell how many were read at
/// once.
///
/// One thread reads; where from is set before and after that only. The counters may be read by any thread.
class CRtpReader {
public:
    /// @param parity  of the connection; looks at every datagram while parity is on.
    explicit CRtpReader(CRtpParityCoder& parity, qrn::IReceiveCalls& calls = qrn::SystemReceiveCalls())
        : m_parity(parity),
          m_batch(calls) {}
    CRtpReader(const CRtpReader&) = delete;
    CRtpReader& operator=(const CRtpReader&) = delete;

    /// Datagrams come from this socket from now on; null: from nowhere.
    void UseSocket(std::shared_ptr<qrn::CSocket> socket);
    /// Datagrams come from the client's stream and no socket; null: from nowhere, until it is started.
    void UseStream(IExternalStream* stream);
    void SetParityOn(bool on) { m_parityOn = on; }
    /// Has the system put datagrams together for a socket that this reader alone reads, and tell what it drops.
    void AskForOffload(qrn::CSocket& socket) { m_hasOffload = qrn::CReceiveBatch::AskForOffload(socket); }
    bool HasOffload() const { return m_hasOffload; }
    /// Gets the memory for reading; Poll does if nobody has. @return false when there is none.
    bool Prepare();

    /// The next packet, without waiting for it. The sender's address is not looked at.
    /// @param length, info  written only when there was a packet. Its payload stays valid until the call after the next
    /// one that gives a packet; so also where calls without one lie between.
    /// @return 0 also when nothing was pending; -1 for a datagram that is no packet, or without memory; -12 not open.
    int Poll(std::int32_t& length, RtpPacketInfo& info);

    /// A datagram was read already and waits to be given out: nobody needs to wait for one.
    bool HasPending() const { return !m_batch.IsEmpty() && !m_socket->IsTakenAway(); }
    /// The last read took all it could and nothing of it is left: looking for more is worth a try before any wait.
    bool ExpectsMore() const { return m_batch.IsEmpty() && m_batch.WasFull() && !m_socket->IsTakenAway(); }
    /// Reads from the socket, as Poll would first. @return false when nothing was there.
    bool TryRead();

    qrn::CReceiveCounters& Counters() { return m_counters; }
    const qrn::CReceiveCounters& Counters() const { return m_counters; }

private:
    int ReadSocket(std::span<const std::uint8_t>& datagram);
    int ReadStream(std::span<const std::uint8_t>& datagram);
    bool IsKeptByParity(std::span<const std::uint8_t> datagram);

    CRtpParityCoder& m_parity;
    std::atomic<bool> m_parityOn{false};
    qrn::CReceiveCounters m_counters;
    std::shared_ptr<qrn::CSocket> m_socket;
    qrn::CReceiveBatch m_batch;
    bool m_hasOffload = false;

    bool m_isExternal = false;
    IExternalStream* m_stream = nullptr;
    /// Two, so that the next read does not go where the packet given last lies.
    std::array<std::unique_ptr<std::uint8_t[]>, 2> m_streamBuffers;
    std::size_t m_streamBuffer = 0;
};
