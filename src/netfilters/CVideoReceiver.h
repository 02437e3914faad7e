#pragma once
/// The receive engine of video.

#include <atomic>
#include <cstdint>

#include "netfilters/CReceiveEngine.h"

/// Puts the frames of one port together and gives each to OnFrame.
class CVideoReceiver : public CReceiveEngine {
public:
    /// @throws exc_CVideoReceiver_Net_Init when the process has no descriptor left.
    explicit CVideoReceiver(qrn::IClock& clock = qrn::SystemClock());
    ~CVideoReceiver() override;

    /// A frame, on the engine's thread; the packet is the engine's. @return the step's code.
    virtual int OnFrame(const CPacket& packet) = 0;

protected:
    static constexpr std::uint32_t kChannels = 1;

    /// Opens the session on m_port, for frames of the payload type that m_codecIndex now stands for. An opened one
    /// stays as it is. @return 0 or a code of rtp/RtpErrors.h.
    int OpenSession(IExternalTransport* transport);
    CNetworkReceiver& Session(std::uint32_t /*channel*/ = 0) { return Channel(0).session; }

    std::atomic<std::uint32_t> m_codecIndex{0};    ///< video encoder id of the far end
    std::atomic<std::uint32_t> m_tolerateGaps{0};  ///< not 0: frames with holes are delivered too

private:
    int ReceiveStep() override;
};
