#pragma once

#include <atomic>
#include <bitset>
#include <cstdint>

#include "platform/system/Lock.h"
#include "rtp/CNetwork.h"
#include "rtp/CReorderQueue.h"
#include "runtime/CPacket.h"

/// Puts the packets of one port together to frames again: holds back what came out of order, follows the numbers,
/// notices a change of source, counts the losses and completes a frame on the marker. One thread receives; the settings
/// and the counters may be used from another one meanwhile.
class CNetworkReceiver : public CNetwork {
public:
    static constexpr std::uint32_t kLargestWindow = 20;

    explicit CNetworkReceiver(qrn::IClock& clock = qrn::SystemClock()) : CNetwork(clock) {}

    /// The next whole frame; after a gap everything up to the next start of a frame is thrown away.
    /// @param packet  `m_data` and `m_capacity` are where the frame goes. `m_payloadType` other than 0 takes packets of
    /// that type only. Length, timestamp and extended sequence number (of the last packet), `m_lost` (1: there was a
    /// gap before this frame) and payload type are written with a frame.
    /// @param timeoutMs  for each packet that is waited for, where packets of another type do not count as any;
    /// 0xFFFFFFFF: for ever.
    /// @return 241 a frame; 245 a frame longer than the capacity, which is lost; as CNetwork::WaitForPacket otherwise,
    /// and the next call goes on with the frame begun.
    int ReceiveFrame(CPacket& packet, std::uint32_t timeoutMs) QRN_EXCLUDES(m_lock);

    /// The same, but a frame with holes is delivered too, at the start of the next one.
    int ReceiveFrameTolerant(CPacket& packet, std::uint32_t timeoutMs) QRN_EXCLUDES(m_lock);

    /// Packets that wait at most for the one that is missing. Taken unless it is 0 or, read as signed, above 20.
    void SetWindow(std::uint32_t packets);
    void SetReorder(bool on) { m_reorder = on; }
    /// Keeps parity packets away from the frames, and switches the reorder queue on; 0: no parity packets are expected.
    void SetParityGroup(std::uint32_t groupSize);

    /// Each is -1 unless opened, else as CRtpConnection.
    int JoinGroup(const char* addressText);
    int LeaveGroup(const char* addressText);
    int SetMulticastLoop(bool on);

    /// Packets that passed the type filter, and gaps with frames too large, since the last call.
    std::uint32_t TakeReceivedCount() { return m_received.exchange(0); }
    std::uint32_t TakeGapCount() { return m_gaps.exchange(0); }

private:
    enum class Mode { kStrict, kTolerant };
    enum class Step { kDrop, kAccept, kDeliver };

    int NextPacket(Mode mode, std::uint32_t timeoutMs) QRN_REQUIRES(m_lock);
    void HoldBack(bool isAgain) QRN_REQUIRES(m_lock);
    bool IsToBeHeldBack(Mode mode) const QRN_REQUIRES(m_lock);
    bool Admit(std::uint8_t wantedType, bool& frameLost) QRN_REQUIRES(m_lock);
    void NoteDroppedType(std::uint8_t wantedType) QRN_REQUIRES(m_lock);
    void FollowSource() QRN_REQUIRES(m_lock);
    void StartFrom(const RtpPacketInfo& start) QRN_REQUIRES(m_lock);
    Step JudgeStrict(CPacket& packet) QRN_REQUIRES(m_lock);
    Step JudgeTolerant() QRN_REQUIRES(m_lock);
    bool Fits(const CPacket& packet) const QRN_REQUIRES(m_lock);
    void Append(CPacket& packet) QRN_REQUIRES(m_lock);
    void Describe(CPacket& packet, bool frameLost) const QRN_REQUIRES(m_lock);
    int AcceptStrict(CPacket& packet, bool frameLost) QRN_REQUIRES(m_lock);
    int AcceptTolerant(CPacket& packet, bool frameLost) QRN_REQUIRES(m_lock);

    std::atomic<std::uint32_t> m_window{kLargestWindow};
    std::atomic<bool> m_reorder{true};
    std::atomic<std::uint32_t> m_received{0};
    std::atomic<std::uint32_t> m_gaps{0};

    /// Held for the whole of a call that receives, its waits included: nothing else takes it.
    qrn::CMutex m_lock;
    CReorderQueue m_queue QRN_GUARDED_BY(m_lock);
    std::uint32_t m_currentSsrc QRN_GUARDED_BY(m_lock) = 0;
    bool m_resync QRN_GUARDED_BY(m_lock) = true;           // waiting for a point to start from
    bool m_awaitFrameStart QRN_GUARDED_BY(m_lock) = true;  // tolerant only: drop what continues a frame
    std::uint32_t m_expected QRN_GUARDED_BY(m_lock) = 0;
    RtpPacketInfo m_arrived QRN_GUARDED_BY(m_lock);  // the last one read, in the session's memory
    RtpPacketInfo m_current QRN_GUARDED_BY(m_lock);  // the packet in hand
    std::uint32_t m_assembled QRN_GUARDED_BY(m_lock) = 0;
    std::bitset<128> m_toldTypes QRN_GUARDED_BY(m_lock);   // dropped ones that the log has been told of
    std::uint8_t m_toldWanted QRN_GUARDED_BY(m_lock) = 0;  // while this one was wanted
};
