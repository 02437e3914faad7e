#pragma once
/// The source filter "QRN Audio Receiver": RTP in, a codec's packets out.

#include <cstdint>

#include "netfilters/CReceiverFilter.h"
#include "netfilters/CSyncPoint.h"

/// Its ring holds few packets: one that waits is delay that is heard.
class CQRN_AudioReceiverSource : public CReceiverFilter<IQRN_AudioReceiver, CAudioReceiver> {
public:
    /// Null with E_OUTOFMEMORY in `result` when there is no memory or no descriptor for it.
    static CUnknown* CreateInstance(IUnknown* outer, HRESULT* result);
    ~CQRN_AudioReceiverSource() override;

    // IQRN_AudioReceiver
    HRESULT JoinGroup(const wchar_t* address) override;
    HRESULT LeaveGroup(const wchar_t* address) override;
    HRESULT GetSyncPoint(DWORD* timestamp, DWORD* positionMs) override;
    HRESULT SetFormat(DWORD codec, DWORD bitrate, DWORD channels) override;
    HRESULT GetBitrate(DWORD* bitrate) override;
    HRESULT SelectChannel(DWORD channel) override;
    HRESULT GetSelectedChannel(DWORD* channel) override;
    HRESULT SetExternalTransport(DWORD reserved, IExternalTransport* transport) override;
    HRESULT SetReorder(DWORD channel, BYTE on, DWORD window, DWORD parityGroup) override;
    HRESULT GetStatistics(DWORD channel, DWORD* received, DWORD* gaps) override;
    HRESULT SetMulticastLoop(DWORD on) override;

    // CAudioReceiver, on the engine's thread
    int OnPacket(const CPacket& packet) override;

    // For the pin
    /// Room that a sample needs; -1 before SetFormat.
    LONG SampleBytes() const;
    /// Time span of one sample.
    DWORD PacketMs() const;
    qrn::CSyncPoint& SyncPoint() { return m_syncPoint; }

protected:
    int OpenEngine(DWORD channel, IExternalTransport* transport) override QRN_REQUIRES(m_setupLock);

private:
    using GroupOperation = int (CNetworkReceiver::*)(const char* addressText);

    CQRN_AudioReceiverSource(IUnknown* outer, HRESULT* result);

    HRESULT ChangeGroup(GroupOperation operation, const wchar_t* address);

    DWORD m_bitrate QRN_GUARDED_BY(m_setupLock) = 0;  // as the codec snapped it
    DWORD m_packetMs QRN_GUARDED_BY(m_setupLock) = 80;
    qrn::CSyncPoint m_syncPoint;
};
