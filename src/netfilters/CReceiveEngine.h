#pragma once
/// What the receive engines of audio and video have in common: a thread over the sessions of one filter.

#include <atomic>
#include <cstdint>
#include <deque>
#include <string>

#include "platform/system/Clock.h"
#include "platform/system/Event.h"
#include "platform/system/Lock.h"
#include "qrn/QRN_Media2.h"
#include "rtp/CNetworkReceiver.h"
#include "runtime/CMediaThread.h"
#include "runtime/CPacket.h"

/// The thread runs between Start and Stop, which one controlling thread calls at a time. The settings may be changed by
/// another one meanwhile; a session opened then is seen by the thread at its next round, its external stream at the
/// next Start. A derived class stops the engine in its own destructor.
class CReceiveEngine : public CMediaThread {
public:
    // CMediaThread
    int Run() final;
    bool Start() override;
    bool Stop() override;

protected:
    /// One session with what belongs to it.
    struct CChannel {
        explicit CChannel(qrn::IClock& clock) : session(clock) {}

        qrn::CEvent stopEvent{qrn::EventReset::kManual};
        CNetworkReceiver session;
        CPacket packet;  // of the engine's thread once the channel is open
        std::atomic<bool> opened{false};
    };

    /// @throws std::system_error when the process has no descriptor left.
    CReceiveEngine(qrn::IClock& clock, std::string threadName, std::uint32_t channels);

    /// One round of the thread. @return the step's code.
    virtual int ReceiveStep() = 0;
    /// For a round without an opened session. @return 240 once the engine is stopped, 0 after the time of a wait.
    int WaitUnopened(CChannel& channel);

    /// Opens the channel's session with room for frames of m_capacity bytes. An opened one stays as it is.
    /// @param mode  given to the stream of an external transport as it starts.
    /// @return 0 or a code of rtp/RtpErrors.h. @throws exc_CNetwork as CNetwork::Open.
    int Open(CChannel& channel, std::uint32_t portWord, IExternalTransport* transport, std::uint8_t mode);
    CChannel& Channel(std::uint32_t channel) { return m_channels[channel]; }
    std::deque<CChannel>& Channels() { return m_channels; }

    void SetAddress(std::string address) QRN_EXCLUDES(m_addressLock);
    std::string Address() const QRN_EXCLUDES(m_addressLock);

    std::atomic<std::uint32_t> m_port{0};          ///< port word
    std::atomic<std::uint32_t> m_capacity{0};      ///< largest coded frame in bytes
    std::atomic<std::uint32_t> m_timeoutMs{1000};  ///< of a wait for a packet

private:
    mutable qrn::CMutex m_addressLock;
    std::string m_address QRN_GUARDED_BY(m_addressLock) = "0.0.0.0";
    std::deque<CChannel> m_channels;  // made once
};
