#pragma once
/// The receive engine of audio: one thread over up to four far ends.

#include <atomic>
#include <cstdint>

#include "netfilters/CReceiveEngine.h"

/// Listens on up to four neighbouring ports, a channel each. The frames of the selected channel go to OnPacket; one
/// frame a round of each other channel is read and thrown away, so that switching is instant.
class CAudioReceiver : public CReceiveEngine {
public:
    static constexpr std::uint32_t kChannels = 4;

    /// @throws exc_CAudioReceiver_Net_Init when the process has no descriptor left.
    explicit CAudioReceiver(qrn::IClock& clock = qrn::SystemClock());
    ~CAudioReceiver() override;

    /// A whole frame of the selected channel, on the engine's thread; the packet is the engine's. @return the step's
    /// code.
    virtual int OnPacket(const CPacket& packet) = 0;

protected:
    /// Opens the channel's session on the port 2 * channel above the first one, and selects it. An opened one stays as
    /// it is. @return 0, 243 for a channel above 3, or a code of rtp/RtpErrors.h.
    int OpenChannel(std::uint32_t channel, IExternalTransport* transport);
    bool IsChannelOpen(std::uint32_t channel) { return channel < kChannels && Channel(channel).opened; }
    /// Of an opened channel or not; `channel` is below kChannels.
    CNetworkReceiver& Session(std::uint32_t channel) { return Channel(channel).session; }

    std::atomic<std::uint32_t> m_selected{0};
    std::atomic<std::uint32_t> m_codec{0};  ///< audio codec id

private:
    int ReceiveStep() override;
};
