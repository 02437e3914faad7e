#pragma once
/// The receive engine of audio: one thread over up to four far ends.

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/system/Clock.h"
#include "platform/system/Event.h"
#include "platform/system/Lock.h"
#include "qrn/QRN_Media2.h"
#include "rtp/CNetworkReceiver.h"
#include "runtime/CMediaThread.h"
#include "runtime/CPacket.h"

/// Listens on up to four neighbouring ports, a channel each. The frames of the selected channel go to OnPacket; one
/// frame a round of each other channel is read and thrown away, so that switching is instant.
///
/// The thread runs between Start and Stop, which one controlling thread calls at a time. The settings may be changed by
/// another one meanwhile; a channel opened then is seen by the thread at its next round, its external stream at the
/// next Start. A derived class stops the engine in its own destructor.
class CAudioReceiver : public CMediaThread {
public:
    static constexpr std::uint32_t kChannels = 4;

    /// @throws exc_CAudioReceiver_Net_Init when the process has no descriptor left.
    explicit CAudioReceiver(qrn::IClock& clock = qrn::SystemClock());
    ~CAudioReceiver() override;

    // CMediaThread
    int Run() override;
    bool Start() override;
    bool Stop() override;

    /// A whole frame of the selected channel, on the engine's thread; the packet is the engine's. @return the step's
    /// code.
    virtual int OnPacket(const CPacket& packet) = 0;

protected:
    /// Opens the channel's session on the port 2 * channel above the first one, and selects it. An opened one stays as
    /// it is. @return 0, 243 for a channel above 3, or a code of rtp/RtpErrors.h.
    int OpenChannel(std::uint32_t channel, IExternalTransport* transport);
    bool IsChannelOpen(std::uint32_t channel) const { return channel < kChannels && m_channels[channel].opened; }
    /// Of an opened channel or not; `channel` is below kChannels.
    CNetworkReceiver& Session(std::uint32_t channel) { return m_channels[channel].session; }

    void SetAddress(std::string address) QRN_EXCLUDES(m_addressLock);
    std::string Address() const QRN_EXCLUDES(m_addressLock);

    std::atomic<std::uint32_t> m_port{0};            ///< port word of channel 0
    std::atomic<std::uint32_t> m_packetCapacity{0};  ///< largest coded packet in bytes
    std::atomic<std::uint32_t> m_selected{0};
    std::atomic<std::uint32_t> m_timeoutMs{1000};  ///< of a wait for a packet
    std::atomic<std::uint32_t> m_codec{0};         ///< audio codec id

private:
    struct CAudioChannel {
        explicit CAudioChannel(qrn::IClock& clock) : session(clock) {}

        qrn::CEvent stopEvent{qrn::EventReset::kManual};
        CNetworkReceiver session;
        CPacket packet;  // of the engine's thread once the channel is open
        std::atomic<bool> opened{false};
    };

    int ReceiveStep();
    int WaitUnopened(CAudioChannel& channel);

    mutable qrn::CMutex m_addressLock;
    std::string m_address QRN_GUARDED_BY(m_addressLock) = "0.0.0.0";
    std::array<CAudioChannel, kChannels> m_channels;
};
