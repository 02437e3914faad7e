// CNetworkReceiver on a run of packets with plausible headers, of datagrams that are none, of pauses and of wake-ups
// with nothing to read, in virtual time: every result and every frame is that of the model.
//
// Input: how the session is set up (a byte of flags, window, payload type wanted, capacity), then operations; see Step.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <iterator>
#include <string>
#include <vector>

#include "../audiocoding/FuzzInput.h"
#include "rtp/ComparedSession.h"
#include "rtp/MemoryWire.h"

namespace {

using Session = qrn::test::CComparedSession<qrn::test::CMemoryWire>;

qrn::test::ModelSettings Settings(qrn::fuzz::CInput& input) {
    const std::uint8_t flags = input.Byte();
    qrn::test::ModelSettings settings;
    settings.tolerant = (flags & 1) != 0;
    settings.parity = (flags & 4) != 0;
    settings.reorder = settings.parity || (flags & 2) == 0;
    if ((flags & 8) != 0) {
        settings.window = 0xFFFFFFFF;
    } else if (const std::uint8_t window = input.Byte(); window != 0 && window <= 20) {
        settings.window = window;
    }
    settings.wantedType = (flags & 16) != 0 ? static_cast<std::uint8_t>(112 + input.Byte() % 8) : std::uint8_t{0};
    settings.capacity = input.Byte() * std::uint32_t{4};
    return settings;
}

class CRun {
public:
    CRun(qrn::fuzz::CInput& input, std::uint8_t flags)
        : m_input(input),
          m_session(Settings(input)),
          m_sequence((flags & 32) != 0 ? 65530 : 5) {
        if (!m_session.IsOpen()) {
            std::abort();
        }
    }

    void Step() {
        const std::uint8_t operation = m_input.Byte();
        switch (operation % 8) {
            case 0:
                Receive();
                break;
            case 1:
                ArriveNoPacket();
                break;
            case 2:
                m_session.Wake();
                break;
            case 3:
                m_session.Advance(m_input.Byte());
                break;
            default:
                ArrivePacket(operation);
                break;
        }
    }

    int Receive() {
        int code = 0;
        Check(m_session.Receive(code));
        return code;
    }

    /// What still waits comes out, at the latest when it is old enough.
    void Finish() {
        while (Receive() != 242) {
        }
        m_session.Advance(100);
        while (Receive() != 242) {
        }
        Check(m_session.CompareCounts());
    }

private:
    static void Check(const std::string& difference) {
        if (!difference.empty()) {
            std::fprintf(stderr, "the session and the model differ: %s\n", difference.c_str());
            std::abort();
        }
    }

    void ArrivePacket(std::uint8_t operation) {
        const std::uint8_t shape = m_input.Byte();
        m_sequence = static_cast<std::uint16_t>(m_sequence + static_cast<std::int8_t>(m_input.Byte()));
        const std::uint8_t type = (shape & 1) != 0 ? static_cast<std::uint8_t>(112 + shape / 32) : std::uint8_t{113};
        const auto payload = m_input.Bytes(m_input.Byte());
        const std::uint8_t source = (shape & 4) != 0 ? 0x10 : 0x50;
        const std::uint8_t header[] = {
            0x80,
            static_cast<std::uint8_t>(((shape & 2) != 0 ? 128 : 0) + ((operation & 64) != 0 ? 127 : type)),
            static_cast<std::uint8_t>(m_sequence >> 8),
            static_cast<std::uint8_t>(m_sequence),
            0,
            0,
            0,
            m_input.Byte(),
            source,
            0x20,
            0x30,
            0x40};
        std::vector<std::uint8_t>& datagram = NextDatagram();
        datagram.assign(std::begin(header), std::end(header));
        datagram.insert(datagram.end(), payload.begin(), payload.end());
        m_session.Arrive(datagram);
    }

    void ArriveNoPacket() {
        const auto bytes = m_input.Bytes(m_input.Byte());
        std::vector<std::uint8_t>& datagram = NextDatagram();
        datagram.assign(bytes.begin(), bytes.end());
        if (datagram.size() >= 12) {
            datagram[0] &= 0x7F;  // a version that is none
        }
        m_session.Arrive(datagram);
    }

    /// Memory for one, which is used again in the next run.
    std::vector<std::uint8_t>& NextDatagram() {
        static std::deque<std::vector<std::uint8_t>> datagrams;
        if (m_datagrams == datagrams.size()) {
            datagrams.emplace_back();
        }
        return datagrams[m_datagrams++];
    }

    qrn::fuzz::CInput& m_input;
    Session m_session;
    std::uint16_t m_sequence;
    std::size_t m_datagrams = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    qrn::fuzz::CInput input({data, size});
    CRun run(input, size > 0 ? data[0] : std::uint8_t{0});
    while (!input.IsEmpty()) {
        run.Step();
    }
    run.Finish();
    return 0;
}
