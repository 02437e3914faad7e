// What the SRTP transport does with datagrams: those of a sender with the key, the same changed, cut off or repeated,
// and made-up ones. Only what the sender sent may come through, once, and as it was before. Also the text of a key.
//
// Input: a byte for the suite, then operations; see Step.

#include "../audiocoding/FuzzInput.h"
#include "host/srtp/CSrtpProtector.h"
#include "host/srtp/CSrtpUnprotector.h"
#include "support/FakeClock.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <string_view>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;
using Outcome = qrn::CSrtpUnprotector::Outcome;

class CLink {
public:
    explicit CLink(qrn::fuzz::CInput& input) : m_input(input), m_suite(qrn::FindSrtpSuite(input.Byte() % 2)) {}

    void Step() {
        switch (const std::uint8_t operation = m_input.Byte(); operation % 8) {
            case 0:
                Deliver(Take(m_input.Word()));  // made up
                break;
            case 1:
                Change();
                break;
            case 2:
                Deliver(m_last);  // again
                break;
            case 3:
                m_clock.Advance(std::chrono::milliseconds(m_input.Word()));
                break;
            case 4:
                ReadKey();
                break;
            default:
                Send((operation & 64) != 0, (operation & 32) == 0);
                break;
        }
    }

private:
    Bytes Take(std::size_t count) {
        const auto bytes = m_input.Bytes(count);
        return {bytes.begin(), bytes.end()};
    }

    void Send(bool isParity, bool arrives) {
        m_sequence = static_cast<std::uint16_t>(m_sequence + m_input.Word());
        Bytes packet{0x80,
                     static_cast<std::uint8_t>(isParity ? 127 : 113),
                     static_cast<std::uint8_t>(m_sequence >> 8),
                     static_cast<std::uint8_t>(m_sequence),
                     0,
                     0,
                     0,
                     1,
                     9,
                     9,
                     9,
                     static_cast<std::uint8_t>(m_input.Byte() % 4)};
        const Bytes payload = Take(m_input.Byte());
        packet.insert(packet.end(), payload.begin(), payload.end());
        const auto onWire = m_sender.Protect(packet);
        if (!onWire) {
            return;
        }
        m_last.assign(onWire->begin(), onWire->end());
        if (m_plainOf.emplace(m_last, packet).second && arrives) {
            Deliver(m_last);
        }
    }

    void Change() {
        Bytes changed = m_last;
        if (!changed.empty()) {
            changed[m_input.Word() % changed.size()] ^= m_input.Byte();
            changed.resize(changed.size() - std::min<std::size_t>(changed.size(), m_input.Byte() % 4));
        }
        Deliver(changed);
    }

    void Deliver(const Bytes& datagram) {
        std::span<const std::uint8_t> packet;
        if (m_receiver.Unprotect(datagram, packet) != Outcome::kAuthentic) {
            return;
        }
        const auto sent = m_plainOf.find(datagram);
        if (sent == m_plainOf.end() || !std::ranges::equal(packet, sent->second)) {
            std::abort();  // not what was sent, or for the second time
        }
        sent->second.clear();
    }

    void ReadKey() {
        const Bytes text = Take(m_input.Byte());
        try {
            const std::string_view letters(reinterpret_cast<const char*>(text.data()), text.size());
            if (qrn::ParseSrtpKey(letters, m_suite).size() != m_suite.keyBytes) {
                std::abort();
            }
        } catch (const qrn::SrtpFailure&) {
        }
    }

    qrn::fuzz::CInput& m_input;
    const qrn::SrtpSuite& m_suite;
    const qrn::SrtpKey m_key = qrn::SrtpKey(m_suite.keyBytes, 7);
    qrn::test::CAutoClock m_clock;
    qrn::CSrtpProtector m_sender{m_suite, m_key};
    qrn::CSrtpUnprotector m_receiver{m_suite, m_key, m_clock};
    std::uint16_t m_sequence = 1;
    Bytes m_last;
    std::map<Bytes, Bytes> m_plainOf;  // empty once it was delivered
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    qrn::fuzz::CInput input({data, size});
    CLink link(input);
    while (!input.IsEmpty()) {
        link.Step();
    }
    return 0;
}
