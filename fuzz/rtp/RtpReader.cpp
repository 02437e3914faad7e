// CRtpReader on messages as the system gives them, several datagrams put together or not, with calls for several
// messages or one: what it gives out is the same datagrams one by one.
//
// Input: a byte of flags, then operations: some polls, or a message with its segment size and bytes.

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <span>
#include <vector>

#include "../audiocoding/FuzzInput.h"
#include "rtp/CRtpReader.h"
#include "rtp/FakeReceiveCalls.h"

namespace {

void Require(bool isTrue) {
    if (!isTrue) {
        std::abort();
    }
}

/// One for all runs: its memory is large. UseSocket makes it forget what it had read.
struct Shared {
    qrn::test::CFakeReceiveCalls calls;
    CRtpParityCoder parity;
    CRtpReader reader{parity, calls};
    std::shared_ptr<qrn::CSocket> socket = qrn::CSocket::Make();
};

class CRun {
public:
    CRun(qrn::fuzz::CInput& input, Shared& shared) : m_input(input), m_calls(shared.calls), m_reader(shared.reader) {
        m_parityOn = input.Byte() % 2 != 0;
        shared.parity.SetGroupSize(m_parityOn ? 3 : 0);
        m_reader.SetParityOn(m_parityOn);
        m_calls.m_pending.clear();
        m_reader.UseSocket(shared.socket);
    }

    void Step() {
        const std::uint8_t operation = m_input.Byte();
        if (operation % 4 == 0) {
            for (int polls = operation / 4; polls > 0 && !IsDone(); --polls) {
                Poll();
            }
            Poll();
            return;
        }
        const std::size_t segmentBytes = operation % 4 == 1 ? 0 : operation / 4u;
        const auto bytes = m_input.Bytes(m_input.Byte());
        m_calls.m_pending.push_back({{bytes.begin(), bytes.end()}, static_cast<int>(segmentBytes), {}});
        std::span<const std::uint8_t> rest = bytes;
        do {
            const auto datagram = rest.first(std::min(segmentBytes != 0 ? segmentBytes : rest.size(), rest.size()));
            m_expected.push_back(datagram);
            rest = rest.subspan(datagram.size());
        } while (!rest.empty());
    }

    void Poll() {
        while (!m_expected.empty() && IsKept(m_expected.front())) {
            m_expected.pop_front();
        }
        std::int32_t length = 0;
        const int result = m_reader.Poll(length, m_info);
        if (m_expected.empty()) {
            Require(result == 0 && length == 0);
        } else {
            Judge(result, length);
            m_expected.pop_front();
        }
        if (m_info.payload != nullptr) {
            Require(std::equal(m_last.begin(), m_last.end(), m_info.payload, m_info.payload + m_info.payloadLength));
        }
    }

    bool IsDone() const { return m_expected.empty(); }

private:
    bool IsKept(std::span<const std::uint8_t> datagram) const {
        if (datagram.empty() || !m_parityOn) {
            return datagram.empty();
        }
        return datagram.size() < 12 || datagram[0] / 64 != 2 || datagram[1] % 128 == 127;
    }

    void Judge(int result, std::int32_t length) {
        const std::span<const std::uint8_t> datagram = m_expected.front();
        RtpPacketInfo parsed;
        if (ParseRtpPacket(datagram.data(), static_cast<std::int32_t>(datagram.size()), parsed) != 0) {
            Require(result == -1 && length == 0);
            return;
        }
        Require(result == 0 && length == static_cast<std::int32_t>(datagram.size()));
        Require(m_info.sequence == parsed.sequence && m_info.payloadLength == parsed.payloadLength);
        m_last = {parsed.payload, static_cast<std::size_t>(parsed.payloadLength)};
    }

    qrn::fuzz::CInput& m_input;
    qrn::test::CFakeReceiveCalls& m_calls;
    CRtpReader& m_reader;
    bool m_parityOn = false;
    std::deque<std::span<const std::uint8_t>> m_expected;
    RtpPacketInfo m_info;
    std::span<const std::uint8_t> m_last;  // payload of the last packet
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Shared shared;
    qrn::fuzz::CInput input({data, size});
    CRun run(input, shared);
    while (!input.IsEmpty()) {
        run.Step();
    }
    while (!run.IsDone()) {
        run.Poll();
    }
    return 0;
}
