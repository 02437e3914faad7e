#pragma once

#include <atomic>
#include <cstdint>

#include "platform/system/Clock.h"
#include "platform/system/Event.h"
#include "rtp/CRtpSession.h"

/// What every session has: its socket or external stream, the options, the wait. A session is built, configured, opened
/// once, used and destroyed. One thread waits; the operations that configure come from the owner's thread, before
/// opening unless they say otherwise. Codes are those of rtp/RtpErrors.h.
class CNetwork {
public:
    explicit CNetwork(qrn::IClock& clock = qrn::SystemClock()) : m_clock(clock), m_session(clock) {}
    virtual ~CNetwork();
    CNetwork(const CNetwork&) = delete;
    CNetwork& operator=(const CNetwork&) = delete;

    /// Takes over the datagram traffic; null for the session's own socket. Must outlive the session.
    void SetExternalTransport(IExternalTransport* transport) { m_externalTransport = transport; }
    bool HasExternalTransport() const { return m_externalTransport != nullptr; }
    /// Given to the external stream as it starts.
    void SetExternalMode(std::uint8_t mode) { m_externalMode = mode; }
    /// Bytes of the socket's send or receive buffer.
    void SetBufferSize(std::uint32_t bytes) { m_session.Connection().SetBufferSize(bytes); }
    /// The video codec that selects the payload type.
    void SetCodecIndex(std::uint32_t index) { m_codecIndex = index; }

    /// @param portWord  an even port in the low 16 bits (0: any), kQrnPort... bits above them. @param localAddress
    /// dotted form. @param timestampUnit  has no effect.
    /// @return 0 or an error code. @throws exc_CNetwork "No local address.", "Invalid local address."
    int Open(std::uint32_t portWord, const char* localAddress, double timestampUnit, bool isSender);
    /// As Open, and prepares the wait. @param stopEvent  of the owner, manual reset, outlives the session; may be null.
    int OpenReceiver(std::uint32_t portWord, const char* localAddress, double timestampUnit, bool isSender,
                     const qrn::CEvent* stopEvent);
    bool IsOpened() const { return m_opened; }

    /// Waits for a datagram and gives it out. While the stop event is set the result is 240, also with a packet
    /// pending, so that no flood of packets keeps a thread from ending. Datagrams are read several at once: those that
    /// are at hand already are given out without a system call.
    /// @param length, info  as CRtpReader::Poll tells; `info` points into the session's memory.
    /// @param timeoutMs  0xFFFFFFFF: for ever.
    /// @return 240 stop, 241 packet read, 242 time-out, 243 the wait failed, -14 what came was no packet.
    int WaitForPacket(std::int32_t& length, RtpPacketInfo& info, std::uint32_t timeoutMs);

    /// What came since the session was made. Any thread.
    qrn::ReceiveStatistics ReceiveStatistics() const { return m_session.Connection().Reader().Counters().Read(); }

    int SetMulticastTtl(std::uint32_t ttl) { return m_session.SetMulticastTtl(ttl); }
    int SetTos(std::uint32_t tos) { return m_session.SetTos(tos); }

    /// Starts and stops the external stream as streaming starts and stops; nothing without an external transport.
    void StartExternal();
    void StopExternal();

    /// Host order; 0 while not open.
    std::uint16_t LocalPort() const { return m_session.Connection().LocalPort(); }
    /// What the system granted of the socket's buffer; 0 while not open or with an external transport.
    std::uint32_t BufferBytes(bool isSender) const { return m_session.Connection().BufferBytes(isSender); }
    /// In host order; for a session on any address the one that stands for the machine.
    std::uint32_t LocalAddress() const { return m_session.Connection().LocalAddress(); }

protected:
    CRtpSession& Session() { return m_session; }
    const CRtpSession& Session() const { return m_session; }
    qrn::IClock& Clock() const { return m_clock; }
    std::uint32_t CodecIndex() const { return m_codecIndex; }

private:
    bool LooksStopped() const { return m_stopEvent != nullptr && m_stopEvent->LooksSet(); }
    int ReadPacket(std::int32_t& length, RtpPacketInfo& info);
    void LogOpened() const;
    void LogDatagramsWithoutRoom();

    qrn::IClock& m_clock;
    IExternalTransport* m_externalTransport = nullptr;
    std::uint8_t m_externalMode = 0;
    /// What the wait polls; -1 for none.
    std::atomic<int> m_readDescriptor{-1};
    const qrn::CEvent* m_stopEvent = nullptr;
    CRtpSession m_session;
    bool m_opened = false;
    bool m_waitPrepared = false;
    bool m_lastParseFailed = false;
    std::uint64_t m_toldNoRoom = 0;  // datagrams that the log has been told of
    std::uint32_t m_codecIndex = 0;
};
