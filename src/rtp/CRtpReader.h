#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "qrn/QRN_Media2.h"
#include "rtp/CRtpParityCoder.h"
#include "rtp/RtpPacket.h"
#include "rtp/Socket.h"

/// The receiving half of a connection: reads datagrams from its socket or from the external stream and parses them. One
/// thread reads; where from is set before and after that only.
class CRtpReader {
public:
    /// @param parity  of the connection; looks at every datagram while parity is on.
    explicit CRtpReader(CRtpParityCoder& parity) : m_parity(parity) {}
    CRtpReader(const CRtpReader&) = delete;
    CRtpReader& operator=(const CRtpReader&) = delete;

    /// Datagrams come from this socket from now on; null: from nowhere.
    void UseSocket(std::shared_ptr<qrn::CSocket> socket);
    /// Datagrams come from the client's stream and no socket; null: from nowhere, until it is started.
    void UseStream(IExternalStream* stream);
    void SetParityOn(bool on) { m_parityOn = on; }

    /// As CRtpConnection::Poll.
    int Poll(std::span<std::uint8_t> buffer, std::int32_t& length, RtpPacketInfo& info);

private:
    int ReadSocket(std::span<std::uint8_t> buffer, std::size_t& bytes);
    int ReadStream(std::span<std::uint8_t> buffer, std::size_t& bytes);
    bool IsKeptByParity(std::span<const std::uint8_t> datagram) const;

    CRtpParityCoder& m_parity;
    std::atomic<bool> m_parityOn{false};
    std::shared_ptr<qrn::CSocket> m_socket;
    bool m_isExternal = false;
    IExternalStream* m_stream = nullptr;
};
