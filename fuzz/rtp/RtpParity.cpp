// The parity coder on a run of packets, and the receiver's history on what it sent and on datagrams of any kind.
//
// Every parity packet is the sum, byte by byte, of the packets of its group, and what the history keeps of a group adds
// up to what it keeps of the parity packet. The history's lists are those of a model that inserts, sorts and cuts.
//
// Input: group size, then operations: a byte of kind; for a packet type, sequence, timestamp and payload; for any other
// datagram its bytes.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "../audiocoding/FuzzInput.h"
#include "rtp/CRtpParityCoder.h"
#include "rtp/CRtpParityHistory.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

void Require(bool isTrue) {
    if (!isTrue) {
        std::abort();
    }
}

/// What the history shall hold of one kind.
class CModelList {
public:
    std::uint32_t Extend(std::uint32_t sequence) {
        if (!m_highest) {
            m_cycles = sequence == 0 ? 65536 : 0;
        } else if (const std::uint32_t low = *m_highest % 65536; sequence < low) {
            if ((sequence - low) % 65536 >= low - sequence) {
                return sequence + m_cycles;
            }
            m_cycles += 65536;
        }
        m_highest = sequence + m_cycles;
        return *m_highest;
    }
    void Insert(std::uint32_t extended) {
        m_numbers.insert(std::ranges::upper_bound(m_numbers, extended), extended);
        if (m_numbers.size() == 25) {
            m_numbers.erase(m_numbers.begin());
        }
    }
    void RequireSame(const CRtpParityHistory::CList& list) const {
        Require(list.Size() == m_numbers.size());
        for (std::size_t i = 0; i < m_numbers.size(); ++i) {
            Require(list[i].ExtendedSequence() == m_numbers[i] && !list[i].IsEmpty() &&
                    list[i].Recovery().size() % 4 == 0 && list[i].HighestMember() < 24);
        }
    }

private:
    std::optional<std::uint32_t> m_highest;
    std::uint32_t m_cycles = 0;
    std::vector<std::uint32_t> m_numbers;
};

class CRun {
public:
    CRun(qrn::fuzz::CInput& input, CRtpParityCoder& coder)
        : m_input(input),
          m_coder(coder),
          m_groupSize(std::clamp<std::uint32_t>(input.Byte() % 32, 2, 24)) {
        m_coder.SetGroupSize(m_groupSize);
        m_coder.Reset();
    }

    void Step() {
        const std::uint8_t kind = m_input.Byte();
        if (kind % 4 != 0) {
            SendPacket();
            return;
        }
        const auto bytes = m_input.Bytes(m_input.Byte());
        Arrive(qrn::fuzz::CBlock(bytes));
    }

    void Finish() const {
        m_media.RequireSame(m_history.Media());
        m_parity.RequireSame(m_history.Parity());
    }

private:
    void SendPacket() {
        const std::uint8_t second = m_input.Byte();
        const std::uint16_t sequence = m_input.Word();
        const std::uint32_t timestamp = m_input.DoubleWord();
        const auto payload = m_input.Bytes(m_input.Byte());
        static Bytes buffer(65536);
        const std::uint8_t header[] = {0x80,
                                       static_cast<std::uint8_t>(second % 128 == 127 ? 113 : second),
                                       static_cast<std::uint8_t>(sequence >> 8),
                                       static_cast<std::uint8_t>(sequence),
                                       static_cast<std::uint8_t>(timestamp >> 24),
                                       static_cast<std::uint8_t>(timestamp >> 16),
                                       static_cast<std::uint8_t>(timestamp >> 8),
                                       static_cast<std::uint8_t>(timestamp),
                                       1,
                                       2,
                                       3,
                                       4};
        std::ranges::copy(header, buffer.begin());
        std::ranges::copy(payload, buffer.begin() + 12);
        const std::span packet(buffer.data(), 12 + payload.size());
        AddToSum(packet);
        Arrive(qrn::fuzz::CBlock(packet));

        auto length = static_cast<std::int32_t>(packet.size());
        const int result = m_coder.AddPacket(buffer, length, timestamp);
        Require(result == (m_members == m_groupSize ? static_cast<int>(m_longest + 24) : 0));
        if (result > 0) {
            Require(result == length);
            const std::span parity(buffer.data(), static_cast<std::size_t>(length));
            RequireSum(parity, timestamp);
            Arrive(qrn::fuzz::CBlock(parity));
            m_members = 0;
            m_longest = 0;
            m_sum.fill(0);
        }
    }

    /// Byte 0, byte 1, length, timestamp, payload.
    void AddToSum(std::span<const std::uint8_t> packet) {
        const std::size_t payload = packet.size() - 12;
        if (m_members++ == 0) {
            m_firstSequence = {packet[2], packet[3]};
        }
        m_longest = std::max(m_longest, payload);
        m_sum[1] ^= packet[1];
        m_sum[2] ^= static_cast<std::uint8_t>(payload >> 8);
        m_sum[3] ^= static_cast<std::uint8_t>(payload);
        for (std::size_t i = 0; i < 4; ++i) {
            m_sum[4 + i] ^= packet[4 + i];
        }
        for (std::size_t i = 0; i < payload; ++i) {
            m_sum[8 + i] ^= packet[12 + i];
        }
    }

    void RequireSum(std::span<const std::uint8_t> parity, std::uint32_t timestamp) const {
        const std::uint32_t stamp = timestamp + 2;
        const std::uint32_t mask = (1u << m_groupSize) - 1;
        Require(parity[0] == 0x80 && parity[1] == (m_sum[1] | 127));
        Require(parity[4] == stamp >> 24 && parity[7] == stamp % 256);
        Require(parity[8] == 1 && parity[11] == 4);
        Require(parity[12] == m_firstSequence[0] && parity[13] == m_firstSequence[1]);
        Require(parity[14] == m_sum[2] && parity[15] == m_sum[3] && parity[16] == m_sum[1] % 128 * 2);
        Require(parity[17] == mask >> 16 && parity[18] == mask % 256 && parity[19] == mask / 256 % 256);
        Require(std::ranges::equal(parity.subspan(20, 4), std::span(m_sum).subspan(4, 4)));
        Require(std::ranges::equal(parity.subspan(24), std::span(m_sum).subspan(8, m_longest)));
    }

    void Arrive(const qrn::fuzz::CBlock& block) {
        const std::span datagram(block.Data(), static_cast<std::size_t>(block.Length()));
        const int result = m_history.OnPacketReceived(datagram, m_groupSize);
        if (datagram.size() < 2 || datagram[0] / 64 != 2) {
            Require(result == -14);
            return;
        }
        const bool isParity = datagram[1] % 128 == 127;
        const std::size_t at = isParity ? 12 : 2;
        CModelList& list = isParity ? m_parity : m_media;
        if (datagram.size() < at + 2) {
            Require(result == -14);
            return;
        }
        const std::uint32_t extended = list.Extend(datagram[at] * 256u + datagram[at + 1]);
        if (datagram.size() < (isParity ? 24u : 12u)) {
            Require(result == -14);
            return;
        }
        Require(result == (isParity ? 0 : block.Length()));
        list.Insert(extended);
    }

    qrn::fuzz::CInput& m_input;
    CRtpParityCoder& m_coder;
    const std::uint32_t m_groupSize;
    std::uint32_t m_members = 0;
    std::size_t m_longest = 0;
    std::array<std::uint8_t, 2> m_firstSequence{};
    std::array<std::uint8_t, 300> m_sum{};
    CRtpParityHistory m_history;
    CModelList m_media;
    CModelList m_parity;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Its memory is large; a run begins with Reset, which leaves only the numbers of the parity packets.
    static const auto coder = std::make_unique<CRtpParityCoder>();
    qrn::fuzz::CInput input({data, size});
    CRun run(input, *coder);
    while (!input.IsEmpty()) {
        run.Step();
    }
    run.Finish();
    return 0;
}
