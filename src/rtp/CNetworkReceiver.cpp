#include "rtp/CNetworkReceiver.h"

#include <arpa/inet.h>

#include <algorithm>
#include <utility>

#include "platform/system/Log.h"
#include "rtp/RtpErrors.h"

namespace {

constexpr const char* kLogArea = "rtp";
/// NextPacket went through a round that gave no packet to look at.
constexpr int kNextRound = 0;

/// Packets that are not taken (of another type, late, held back, in the middle of a frame that is lost) are as good as
/// none: however many come, the call ends when its time-out has passed without one that is taken, and the caller sees
/// what has been changed meanwhile. What was held back stays for the next call.
class CPatience {
public:
    CPatience(const qrn::IClock& clock, std::uint32_t timeoutMs) : m_clock(clock), m_timeoutMs(timeoutMs) {}
    bool IsOver() {
        Settle();
        return qrn::TimeMs(m_clock) - m_sinceMs >= m_timeoutMs;
    }
    /// A packet was taken. The clock is asked when it matters, not at every packet.
    void Renew() { m_isRenewed = true; }
    /// To be called before time passes.
    void Settle() {
        if (std::exchange(m_isRenewed, false)) {
            m_sinceMs = qrn::TimeMs(m_clock);
        }
    }

private:
    const qrn::IClock& m_clock;
    const std::uint32_t m_timeoutMs;
    std::uint32_t m_sinceMs = 0;
    bool m_isRenewed = true;
};

bool IsFrameStart(const RtpPacketInfo& info) {
    return info.payloadType == qrn::kPayloadAudio || info.timestamp % 2 == 0;
}

/// What is no address becomes one that is no group.
std::uint32_t GroupOf(const char* addressText) {
    return addressText != nullptr ? ntohl(::inet_addr(addressText)) : INADDR_NONE;
}

}  // namespace

int CNetworkReceiver::ReceiveFrame(CPacket& packet, std::uint32_t timeoutMs) {
    const qrn::CScopedLock lock(m_lock);
    CPatience patience(Clock(), timeoutMs);
    bool frameLost = false;
    for (;;) {
        if (!Session().Connection().Reader().HasPending()) {
            patience.Settle();
        }
        const int next = NextPacket(Mode::kStrict, timeoutMs);
        if (next != kNextRound && next != qrn::kRtpComplete) {
            return next;
        }
        if (next == kNextRound || !Admit(packet.m_payloadType, frameLost) || JudgeStrict(packet) == Step::kDrop) {
            if (patience.IsOver()) {
                return qrn::kRtpTimeout;
            }
            continue;
        }
        patience.Renew();
        if (const int result = AcceptStrict(packet, frameLost); result != kNextRound) {
            return result;
        }
    }
}

int CNetworkReceiver::ReceiveFrameTolerant(CPacket& packet, std::uint32_t timeoutMs) {
    const qrn::CScopedLock lock(m_lock);
    CPatience patience(Clock(), timeoutMs);
    bool frameLost = false;
    for (;;) {
        if (!Session().Connection().Reader().HasPending()) {
            patience.Settle();
        }
        const int next = NextPacket(Mode::kTolerant, timeoutMs);
        if (next != kNextRound && next != qrn::kRtpComplete) {
            return next;
        }
        const bool isInHand = next != kNextRound && Admit(packet.m_payloadType, frameLost);
        switch (isInHand ? JudgeTolerant() : Step::kDrop) {
            case Step::kDrop:
                if (patience.IsOver()) {
                    return qrn::kRtpTimeout;
                }
                break;
            case Step::kDeliver:
                // The fields are those of the last packet accepted. The packet that ended the frame goes through the
                // queue, and so is subject to its rules of lateness.
                HoldBack(false);
                m_assembled = 0;
                return qrn::kRtpComplete;
            case Step::kAccept:
                patience.Renew();
                if (const int result = AcceptTolerant(packet, frameLost); result != kNextRound) {
                    return result;
                }
                break;
        }
    }
}

int CNetworkReceiver::NextPacket(Mode mode, std::uint32_t timeoutMs) {
    if (m_reorder && !m_queue.IsEmpty() && m_queue.Take(m_expected, m_window, qrn::TimeMs(Clock()), m_current)) {
        return qrn::kRtpComplete;
    }
    std::int32_t length = 0;
    const int result = WaitForPacket(length, m_arrived, timeoutMs);
    if (result != qrn::kRtpComplete) {
        return result;
    }
    m_current = m_arrived;
    if (!IsToBeHeldBack(mode)) {
        return qrn::kRtpComplete;
    }
    // A length of 0 is a wake-up with nothing to read: the packet before is looked at once more.
    HoldBack(length == 0);
    return kNextRound;
}

void CNetworkReceiver::HoldBack(bool isAgain) {
    const CReorderQueue::Outcome outcome = m_queue.Insert(m_current, m_expected, qrn::TimeMs(Clock()));
    qrn::CReceiveCounters& counters = Session().Connection().Reader().Counters();
    switch (outcome) {
        case CReorderQueue::Outcome::kHeld:
            counters.AddHeldBack();
            break;
        case CReorderQueue::Outcome::kHeldTwin:
            counters.AddDuplicate();
            break;
        case CReorderQueue::Outcome::kLate:
            if (!isAgain) {
                counters.AddLate();
            }
            break;
        case CReorderQueue::Outcome::kRefused:
            counters.AddRefused();
            break;
    }
}

bool CNetworkReceiver::IsToBeHeldBack(Mode mode) const {
    const bool isOutOfTurn = m_reorder && m_current.extendedSequence != m_expected;
    if (mode == Mode::kTolerant) {
        return isOutOfTurn;  // also the very first packet, which then leaves the queue by age
    }
    return isOutOfTurn && m_expected != 0 && m_current.ssrc == m_currentSsrc;
}

bool CNetworkReceiver::Admit(std::uint8_t wantedType, bool& frameLost) {
    if (wantedType != 0 && wantedType != m_current.payloadType) {
        NoteDroppedType(wantedType);
        return false;
    }
    if (m_current.ssrc != m_currentSsrc) {
        FollowSource();
    }
    ++m_received;
    if (!m_resync && m_current.extendedSequence != m_expected) {
        ++m_gaps;
        m_resync = true;
        frameLost = true;
    }
    return true;
}

void CNetworkReceiver::NoteDroppedType(std::uint8_t wantedType) {
    Session().Connection().Reader().Counters().AddOtherType();
    if (m_toldWanted != wantedType) {
        m_toldWanted = wantedType;
        m_toldTypes.reset();
    }
    if (!m_toldTypes[m_current.payloadType]) {
        m_toldTypes.set(m_current.payloadType);
        qrn::Log(qrn::LogLevel::kWarn, kLogArea, "port %u: packets of payload type %d are dropped, %d is expected",
                 LocalPort(), m_current.payloadType, wantedType);
    }
}

void CNetworkReceiver::FollowSource() {
    if (m_currentSsrc == 0) {
        qrn::Log(qrn::LogLevel::kInfo, kLogArea, "port %u: source %08x", LocalPort(), m_current.ssrc);
    } else {
        qrn::Log(qrn::LogLevel::kInfo, kLogArea, "port %u: source %08x in place of %08x", LocalPort(), m_current.ssrc,
                 m_currentSsrc);
    }
    m_resync = true;
    m_currentSsrc = m_current.ssrc;
    m_queue.Clear();
    m_toldTypes.reset();
}

void CNetworkReceiver::StartFrom(const RtpPacketInfo& start) {
    m_expected = start.extendedSequence;
    m_resync = false;
}

CNetworkReceiver::Step CNetworkReceiver::JudgeStrict(CPacket& packet) {
    if (!m_resync) {
        return Step::kAccept;
    }
    if (!IsFrameStart(m_current)) {
        return Step::kDrop;
    }
    StartFrom(m_current);
    m_assembled = 0;
    packet.m_length = 0;
    return Step::kAccept;
}

CNetworkReceiver::Step CNetworkReceiver::JudgeTolerant() {
    if (!m_resync) {
        return Step::kAccept;
    }
    if (m_current.payloadType == qrn::kPayloadAudio) {
        StartFrom(m_current);
        m_assembled = 0;
        return Step::kAccept;
    }
    if (!IsFrameStart(m_current)) {
        // Without repair of the expected number: the hole stays in the frame.
        return m_awaitFrameStart ? Step::kDrop : Step::kAccept;
    }
    if (m_assembled != 0) {
        return Step::kDeliver;
    }
    StartFrom(m_current);
    m_awaitFrameStart = false;
    return Step::kAccept;
}

int CNetworkReceiver::AcceptStrict(CPacket& packet, bool frameLost) {
    ++m_expected;
    if (!Fits(packet)) {
        ++m_gaps;
        m_resync = true;
        return qrn::kRtpFrameTooLarge;
    }
    Append(packet);
    if (m_current.marker == 0) {
        return kNextRound;
    }
    packet.m_length = m_assembled;
    Describe(packet, frameLost);
    m_assembled = 0;
    return qrn::kRtpComplete;
}

int CNetworkReceiver::AcceptTolerant(CPacket& packet, bool frameLost) {
    ++m_expected;
    if (!Fits(packet)) {
        m_resync = true;
        m_awaitFrameStart = true;
        m_assembled = 0;
        return qrn::kRtpFrameTooLarge;  // not counted as a gap
    }
    Describe(packet, frameLost);
    Append(packet);
    packet.m_length = m_assembled;
    if (m_current.marker == 0) {
        return kNextRound;
    }
    m_assembled = 0;
    return qrn::kRtpComplete;
}

bool CNetworkReceiver::Fits(const CPacket& packet) const {
    const std::uint64_t needed = std::uint64_t{m_assembled} + static_cast<std::uint32_t>(m_current.payloadLength);
    return needed <= (packet.m_data != nullptr ? packet.m_capacity : 0);
}

void CNetworkReceiver::Append(CPacket& packet) {
    const auto bytes = static_cast<std::uint32_t>(m_current.payloadLength);
    if (bytes > 0) {
        std::copy_n(m_current.payload, bytes, packet.m_data + m_assembled);
    }
    m_assembled += bytes;
}

void CNetworkReceiver::Describe(CPacket& packet, bool frameLost) const {
    packet.m_timestamp = m_current.timestamp;
    packet.m_sequence = m_current.extendedSequence;
    packet.m_lost = frameLost ? 1 : 0;
    packet.m_payloadType = m_current.payloadType;
}

void CNetworkReceiver::SetWindow(std::uint32_t packets) {
    if (packets != 0 && static_cast<std::int32_t>(packets) <= static_cast<std::int32_t>(kLargestWindow)) {
        m_window = packets;
    }
}

void CNetworkReceiver::SetParityGroup(std::uint32_t groupSize) {
    Session().Connection().SetParityGroup(groupSize);
    if (groupSize != 0) {
        m_reorder = true;
    }
}

int CNetworkReceiver::JoinGroup(const char* addressText) {
    return IsOpened() ? Session().JoinGroup(GroupOf(addressText)) : qrn::kRtpFailed;
}

int CNetworkReceiver::LeaveGroup(const char* addressText) {
    return IsOpened() ? Session().LeaveGroup(GroupOf(addressText)) : qrn::kRtpFailed;
}

int CNetworkReceiver::SetMulticastLoop(bool on) {
    return IsOpened() ? Session().SetMulticastLoop(on) : qrn::kRtpFailed;
}
