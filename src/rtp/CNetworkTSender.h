#pragma once

#include <chrono>
#include <cstdint>
#include <span>

#include "rtp/CNetworkSender.h"
#include "runtime/CMediaThread.h"
#include "runtime/CNetworkBuffer.h"
#include "runtime/CPacket.h"
#include "runtime/CQRN_Event.h"

/// Sends video frames from a thread of its own, with a pause after each burst of packets, so that a large frame does
/// not leave as one spike. A burst is a number of packets, counted on across frames; stuffing counts too.
///
/// One thread puts frames in, this one's thread sends, the owner starts and stops it. The other operations of the base
/// may come from the owner while it runs, but for those that send.
class CNetworkTSender : public CNetworkSender, public CMediaThread {
public:
    /// @param clock  paces the bursts and counts the waits.
    /// @throws std::system_error when the process has no descriptor left, std::bad_alloc.
    explicit CNetworkTSender(qrn::IClock& clock = qrn::SystemClock());
    ~CNetworkTSender() override;

    /// Puts a copy of the frame into the ring of those that wait; a full ring drops its oldest, a key frame or not. It
    /// leaves with payload type 113 whatever its codec.
    /// @param timestamp  milliseconds. @return 0, always
    int EnqueueFrame(std::span<const std::uint8_t> data, std::uint32_t timestamp);

    /// Each value counts only if it is not 0. While the thread does not run.
    /// @param burstPackets  between pauses. @param rate  kilobits of payload a second.
    void SetPacing(std::uint32_t burstPackets, std::uint32_t rate);

    /// One frame, after a wait for it. @return 240 when it was told to stop, else 0 or an error code.
    int Run() override;
    /// Frames that a stop left in the ring leave first.
    bool Start() override;
    /// A frame that is on its way still leaves whole, without its pauses; stuffing does not.
    bool Stop() override;

private:
    bool WaitForFrame();
    bool TakeFrame();
    std::uint32_t BurstMs(std::uint32_t payloadBytes);
    int SendPaced(std::size_t payloadBytes);
    void StuffPaced(std::size_t sentBytes, std::size_t payloadBytes);
    std::size_t RoomInBurst() const;
    /// @return false when the thread is to stop.
    bool PauseAfterBurst();

    // Of the sending thread.
    CPacket m_frame;
    std::uint32_t m_frameBytes = 0;      // of memory that m_frame holds
    std::uint32_t m_packetsInBurst = 0;  // since the last pause
    std::uint32_t m_bytesInBurst = 0;    // since the last pause; not read
    std::uint32_t m_burstPackets = 5;
    std::uint32_t m_rate = 1500;
    std::uint32_t m_sleepMs = 0;
    std::chrono::nanoseconds m_overslept{0};  // of the last pause

    CNetworkBuffer m_ring;
    CQRN_Event m_dataEvent{true};
    CQRN_Event m_stopEvent;
};
