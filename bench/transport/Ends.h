#pragma once
/// The two ends of a transport under measurement: ours and the bare programs beside it.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <span>

namespace qrn::bench {

/// Ends the program: a figure of a transport that does not work is none.
inline void Check(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "bench_transport: %s failed\n", what);
        std::exit(1);
    }
}

/// Of all packets but a frame's last, and what the default limit of 1100 bytes leaves behind the header.
inline constexpr std::size_t kPayloadBytes = 1088;
inline constexpr std::size_t kHeaderBytes = 12;
inline constexpr std::size_t kLargestFrame = 100'000;
/// Asked for by all ends alike. The system grants what its administrator allows.
inline constexpr int kSocketBufferBytes = 4 * 1024 * 1024;
/// A frame that never comes is an error to tell, not a reason to hang.
inline constexpr int kPatienceMs = 5000;

/// Used by one thread.
class ISendingEnd {
public:
    virtual ~ISendingEnd() = default;
    virtual void SendFrame(std::span<const std::uint8_t> frame, std::uint32_t timestamp) = 0;
    /// Datagrams that left, or that must have.
    virtual std::uint64_t Datagrams() const = 0;
    virtual std::uint64_t SystemCalls() const = 0;
};

/// Used by one thread.
class IReceivingEnd {
public:
    virtual ~IReceivingEnd() = default;
    /// The next whole frame, copied to `frame`. @return its bytes, 0 when anything at all went wrong.
    virtual std::size_t ReceiveFrame(std::span<std::uint8_t> frame) = 0;
    /// Packets or frames that are known to be missing.
    virtual std::uint64_t Lost() const = 0;
    virtual std::uint64_t SystemCalls() const = 0;
};

struct Transport {
    std::unique_ptr<IReceivingEnd> receiver;
    std::unique_ptr<ISendingEnd> sender;
};

/// Our sessions. @param parityGroup  0: none.
Transport MakeOurTransport(std::uint32_t parityGroup = 0);

/// The same datagrams by plain system calls: header written, payload gathered from where it lies, several datagrams a
/// call (sendmmsg, recvmmsg); at the far end version, type, sequence number and marker looked at and the payload copied
/// once.
Transport MakeManyCallsTransport();
/// As that, with datagrams cut and put together by the system (UDP_SEGMENT, UDP_GRO; see udp(7)).
Transport MakeOffloadTransport();
/// Whether the system can do that.
bool HasOffload();
/// What the system granted of kSocketBufferBytes for receiving, with its own bookkeeping in it.
std::size_t GrantedReceiveBuffer();

}  // namespace qrn::bench
