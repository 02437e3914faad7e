#pragma once
/// The bad network between two programs.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "client/FileDescriptor.h"
#include "client/impair/ImpairmentModel.h"
#include "platform/system/Clock.h"

namespace qrn {

/// Takes the datagrams that come to one UDP port and passes them on to another end, as badly as the model has it. One
/// way: what the far end sends back goes nowhere. Built on one thread, run on one thread.
class CUdpRelay {
public:
    struct Ends {
        std::string localAddress = "127.0.0.1";
        std::uint16_t localPort = 0;  // 0: any
        std::string farAddress;       // dotted form
        std::uint16_t farPort = 0;
    };
    /// Called once a second while the relay runs, on its thread.
    using Status = std::function<void(const ImpairmentCounters&)>;

    /// Opens the port. @throws CClientError when it cannot be had, or an address is none.
    CUdpRelay(const Ends& ends, const ImpairmentSettings& settings, IClock& clock = SystemClock());

    /// In host order.
    std::uint16_t Port() const { return m_port; }

    /// Relays until `stopDescriptor` is readable; what is under way then stays where it is.
    /// @throws CClientError when the system fails to wait.
    void Run(int stopDescriptor, const Status& status = {});

    /// Of the thread that runs it, or of anyone when none does.
    const ImpairmentCounters& Counters() const { return m_model.Counters(); }
    /// Datagrams that the system did not take from the relay.
    std::uint64_t SendFailures() const { return m_sendFailures; }

private:
    void ReadArrived();
    void SendDue();
    std::chrono::nanoseconds UntilNextWork(std::chrono::nanoseconds nextStatus) const;

    IClock& m_clock;
    CImpairmentModel m_model;
    CFileDescriptor m_socket;
    std::uint16_t m_port = 0;
    std::uint32_t m_farAddress = 0;  // network order
    std::uint16_t m_farPort = 0;     // network order
    std::uint64_t m_sendFailures = 0;
    std::vector<std::uint8_t> m_buffer;
};

}  // namespace qrn
