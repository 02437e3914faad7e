#pragma once
/// What a receiving session does with the datagrams that come, told as plainly as possible: one datagram at a time, no
/// thought of speed. The tests and the fuzz target hold the session to it.

#include <algorithm>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace qrn::test {

struct ModelSettings {
    bool tolerant = false;
    bool reorder = true;
    bool parity = false;
    std::uint32_t window = 20;
    std::uint32_t capacity = 0;
    std::uint8_t wantedType = 0;
};

/// The result of one call; all but `code` counts with a frame only.
struct ModelFrame {
    int code = 0;
    std::vector<std::uint8_t> bytes;
    std::uint32_t timestamp = 0;
    std::uint32_t sequence = 0;
    std::uint32_t lost = 0;
    std::uint8_t type = 0;
};

/// Datagrams of the plain 12-byte header, or such as are no packet for their version or their length.
class CReassemblyModel {
public:
    /// @param isSocket  the datagrams come from a socket, not from a client's transport.
    explicit CReassemblyModel(const ModelSettings& settings, bool isSocket) : m_set(settings), m_isSocket(isSocket) {}

    /// @param datagram  outlives the model.
    void Arrive(std::span<const std::uint8_t> datagram) { m_arrived.push_back(datagram); }
    /// The wait will end though nothing may be there to read.
    void Wake() { m_woken = true; }
    void Advance(std::uint32_t ms) { m_nowMs += ms; }

    /// @param timeoutMs  not 0.
    const ModelFrame& Receive(std::uint32_t timeoutMs) {
        m_frame.type = m_set.wantedType;
        bool lost = false;
        for (;;) {
            std::optional<Packet> packet = m_set.reorder ? TakeFromQueue() : std::nullopt;
            if (!packet) {
                if (m_arrived.empty() && !m_woken) {
                    m_nowMs += timeoutMs;
                    return Ended(242);
                }
                if (!Read()) {
                    return Ended(-14);
                }
                if (IsHeldBack(*m_last)) {
                    InsertInQueue(*m_last);
                    continue;
                }
                packet = m_last;
            }
            // What a frame says of its type is what is wanted of the packets that follow it in the call.
            if (m_frame.type != 0 && m_frame.type != packet->type) {
                continue;
            }
            if (packet->ssrc != m_ssrc) {
                m_resync = true;
                m_ssrc = packet->ssrc;
                m_queue.clear();
            }
            ++m_received;
            if (!m_resync && packet->extended != m_expected) {
                ++m_gaps;
                m_resync = true;
                lost = true;
            }
            if (const int code = m_set.tolerant ? Tolerant(*packet, lost) : Strict(*packet, lost); code != 0) {
                return Ended(code);
            }
        }
    }

    std::uint32_t Received() const { return m_received; }
    std::uint32_t Gaps() const { return m_gaps; }

private:
    static constexpr std::size_t kMostHeld = 256;

    struct Packet {
        std::uint32_t ssrc, timestamp, extended;
        std::uint8_t type;
        bool marker;
        std::span<const std::uint8_t> payload;
        std::uint32_t heldSinceMs = 0;

        bool StartsFrame() const { return type == 112 || timestamp % 2 == 0; }
    };

    static std::uint32_t Number(std::span<const std::uint8_t> bytes) {
        std::uint32_t value = 0;
        for (const std::uint8_t byte : bytes) {
            value = value * 256 + byte;
        }
        return value;
    }

    const ModelFrame& Ended(int code) {
        m_frame.code = code;
        return m_frame;
    }

    /// Reads until there is a packet or nothing more. @return false for what is no packet, or when nothing came and no
    /// packet ever did.
    bool Read() {
        if (m_arrived.empty()) {
            m_woken = false;
            return m_last.has_value();
        }
        const std::span<const std::uint8_t> datagram = m_arrived.front();
        m_arrived.pop_front();
        m_woken = m_woken && !m_arrived.empty();
        if (datagram.empty() || (m_set.parity && IsKept(datagram))) {
            // The client's transport is asked once a wait, a socket until there is a packet.
            return m_isSocket && !m_arrived.empty() ? Read() : m_last.has_value();
        }
        if (datagram.size() < 12 || datagram[0] / 64 != 2) {
            return false;
        }
        Packet packet{Number(datagram.subspan(8, 4)),
                      Number(datagram.subspan(4, 4)),
                      0,
                      static_cast<std::uint8_t>(datagram[1] % 128),
                      datagram[1] >= 128,
                      datagram.subspan(12)};
        packet.extended = Extend(packet.ssrc, Number(datagram.subspan(2, 2)));
        m_last = std::move(packet);
        return true;
    }

    static bool IsKept(std::span<const std::uint8_t> datagram) {
        const bool isParity = datagram.size() >= 2 && datagram[1] % 128 == 127;
        return datagram[0] / 64 != 2 || isParity || datagram.size() < 12;
    }

    std::uint32_t Extend(std::uint32_t ssrc, std::uint32_t sequence) {
        if (m_trackedSsrc != 0 && m_trackedSsrc != ssrc) {
            m_highest.reset();
            m_cycles = 0;
        }
        m_trackedSsrc = ssrc;
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

    bool IsHeldBack(const Packet& packet) const {
        if (!m_set.reorder || packet.extended == m_expected) {
            return false;
        }
        return m_set.tolerant || (m_expected != 0 && packet.ssrc == m_ssrc);
    }

    void InsertInQueue(Packet packet) {
        const bool isLate = packet.extended < m_expected && packet.extended > m_expected - 20;
        if (isLate || m_queue.size() == kMostHeld) {
            return;
        }
        packet.heldSinceMs = m_nowMs;
        const auto place = std::find_if(m_queue.begin(), m_queue.end(),
                                        [&](const Packet& held) { return held.extended > packet.extended; });
        m_queue.insert(place, std::move(packet));
    }

    std::optional<Packet> TakeFromQueue() {
        if (m_queue.empty()) {
            return std::nullopt;
        }
        const Packet& head = m_queue.front();
        if (head.extended != m_expected && m_queue.size() < std::min<std::size_t>(m_set.window, kMostHeld) &&
            m_nowMs - head.heldSinceMs < 100) {
            return std::nullopt;
        }
        Packet taken = std::move(m_queue.front());
        m_queue.pop_front();
        return taken;
    }

    /// @return 0 for the next round.
    int Strict(const Packet& packet, bool lost) {
        if (m_resync) {
            if (!packet.StartsFrame()) {
                return 0;
            }
            m_expected = packet.extended;
            m_resync = false;
            m_assembled.clear();
        }
        ++m_expected;
        if (m_assembled.size() + packet.payload.size() > m_set.capacity) {
            ++m_gaps;
            m_resync = true;
            return 245;
        }
        m_assembled.insert(m_assembled.end(), packet.payload.begin(), packet.payload.end());
        if (!packet.marker) {
            return 0;
        }
        Describe(packet, lost);
        m_assembled.clear();
        return 241;
    }

    int Tolerant(const Packet& packet, bool lost) {
        if (m_resync && packet.type == 112) {
            m_expected = packet.extended;
            m_resync = false;
            m_assembled.clear();
        } else if (m_resync && packet.timestamp % 2 == 0) {
            if (!m_assembled.empty()) {
                InsertInQueue(packet);
                m_assembled.clear();
                return 241;
            }
            m_expected = packet.extended;
            m_resync = false;
            m_awaitFrameStart = false;
        } else if (m_resync && m_awaitFrameStart) {
            return 0;
        }
        ++m_expected;
        if (m_assembled.size() + packet.payload.size() > m_set.capacity) {
            m_resync = true;
            m_awaitFrameStart = true;
            m_assembled.clear();
            return 245;
        }
        m_assembled.insert(m_assembled.end(), packet.payload.begin(), packet.payload.end());
        Describe(packet, lost);
        if (!packet.marker) {
            return 0;
        }
        m_assembled.clear();
        return 241;
    }

    void Describe(const Packet& packet, bool lost) {
        m_frame.bytes = m_assembled;
        m_frame.timestamp = packet.timestamp;
        m_frame.sequence = packet.extended;
        m_frame.lost = lost ? 1 : 0;
        m_frame.type = packet.type;
    }

    const ModelSettings m_set;
    const bool m_isSocket;
    std::deque<std::span<const std::uint8_t>> m_arrived;
    bool m_woken = false;
    std::uint32_t m_nowMs = 0;
    std::optional<Packet> m_last;  // read last

    std::uint32_t m_trackedSsrc = 0;
    std::optional<std::uint32_t> m_highest;
    std::uint32_t m_cycles = 0;

    std::deque<Packet> m_queue;
    std::uint32_t m_ssrc = 0;
    std::uint32_t m_expected = 0;
    bool m_resync = true;
    bool m_awaitFrameStart = true;
    std::vector<std::uint8_t> m_assembled;
    ModelFrame m_frame;  // what the caller's packet says
    std::uint32_t m_received = 0;
    std::uint32_t m_gaps = 0;
};

}  // namespace qrn::test
