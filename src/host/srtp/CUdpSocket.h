#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <span>
#include <string>

namespace qrn {

/// A bound UDP socket over IPv4 that never waits. Any thread.
class CUdpSocket {
public:
    /// @param address  network order. @param port  host order, 0: any.
    /// @throws SrtpFailure when the port cannot be had. @param text  names the address in its sentence.
    CUdpSocket(std::uint32_t address, std::uint16_t port, const std::string& text);
    ~CUdpSocket();
    CUdpSocket(const CUdpSocket&) = delete;
    CUdpSocket& operator=(const CUdpSocket&) = delete;

    int Descriptor() const { return m_descriptor; }
    /// Host order.
    std::uint16_t Port() const { return m_port; }

    /// @return false when the system did not take it.
    bool Send(std::span<const std::uint8_t> datagram, const sockaddr_in& destination) const;
    /// @return the datagram's bytes, also 0; -1 when there is none.
    std::int32_t Receive(std::span<std::uint8_t> buffer) const;

private:
    int m_descriptor;
    std::uint16_t m_port = 0;
};

}  // namespace qrn
