#pragma once
/// The source filter "QRN Audio Receiver": RTP in, a codec's packets out.

#include <atomic>
#include <cstdint>

#include "framework/CMediaType.h"
#include "netfilters/CAudioReceiver.h"
#include "netfilters/CSyncPoint.h"
#include "platform/system/Lock.h"
#include "qrn/QRN_Media2.h"
#include "runtime/CLiveSource.h"
#include "runtime/CNetworkBuffer.h"

/// The engine's thread pushes each frame into a ring of a few packets, from which the pin's thread takes one per
/// sample.
///
/// m_setupLock keeps what the interface sets up. It is a lock of its own and not the filter's: the pin's thread takes
/// it for each sample, and the filter's is held while that thread is being stopped. Only the locks of the address and
/// of the ring are taken within it.
class CQRN_AudioReceiverSource :
    public CLiveSource,
    public CAudioReceiver,
    public IQRN_AudioReceiver,
    public IQRN_NetworkStatistics {
public:
    /// Null with E_OUTOFMEMORY in `result` when there is no memory or no descriptor for it.
    static CUnknown* CreateInstance(IUnknown* outer, HRESULT* result);
    ~CQRN_AudioReceiverSource() override;

    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override;

    // IQRN_AudioReceiver
    HRESULT OpenNetwork(DWORD channel) override;
    HRESULT SetLocalPort(DWORD portWord) override;
    HRESULT GetLocalPort(DWORD* portWord) override;
    HRESULT SetLocalAddress(const wchar_t* address) override;
    HRESULT GetLocalAddress(wchar_t** address) override;
    HRESULT JoinGroup(const wchar_t* address) override;
    HRESULT LeaveGroup(const wchar_t* address) override;
    HRESULT SetOutputEnabled(BYTE enabled) override;
    HRESULT GetOutputEnabled(BYTE* enabled) override;
    HRESULT GetSyncPoint(DWORD* timestamp, DWORD* positionMs) override;
    HRESULT SetFormat(DWORD codec, DWORD bitrate, DWORD channels) override;
    HRESULT GetBitrate(DWORD* bitrate) override;
    HRESULT SetBufferCount(DWORD count) override;
    HRESULT GetBufferCount(DWORD* count) override;
    HRESULT SelectChannel(DWORD channel) override;
    HRESULT GetSelectedChannel(DWORD* channel) override;
    HRESULT SetExternalTransport(DWORD reserved, IExternalTransport* transport) override;
    HRESULT SetReorder(DWORD channel, BYTE on, DWORD window, DWORD parityGroup) override;
    HRESULT GetStatistics(DWORD channel, DWORD* received, DWORD* gaps) override;
    HRESULT SetMulticastLoop(DWORD on) override;

    // IQRN_NetworkStatistics
    HRESULT GetSendStatistics(QRN_SEND_STATISTICS* /*statistics*/) override { return E_NOTIMPL; }
    HRESULT GetReceiveStatistics(DWORD channel, QRN_RECEIVE_STATISTICS* statistics) override;

    // CAudioReceiver, on the engine's thread
    int OnPacket(const CPacket& packet) override;

    // For the pin
    bool StartEngine() { return CAudioReceiver::Start(); }
    bool StopEngine() { return CAudioReceiver::Stop(); }
    /// VFW_S_NO_MORE_ITEMS before SetFormat.
    HRESULT GetOutputType(CMediaType* type) const;
    /// Room that a sample needs; -1 before SetFormat.
    LONG SampleBytes() const;
    /// Time span of one sample.
    DWORD PacketMs() const;
    CNetworkBuffer& Ring() { return m_ring; }
    qrn::CSyncPoint& SyncPoint() { return m_syncPoint; }

private:
    static constexpr std::uint32_t kFirstRingPackets = 4;

    using GroupOperation = int (CNetworkReceiver::*)(const char* addressText);

    CQRN_AudioReceiverSource(IUnknown* outer, HRESULT* result);

    HRESULT ChangeGroup(GroupOperation operation, const wchar_t* address);

    std::atomic<bool> m_outputEnabled{true};
    mutable qrn::CMutex m_setupLock;
    IExternalTransport* m_transport QRN_GUARDED_BY(m_setupLock) = nullptr;  // for the next channel opened
    DWORD m_bitrate QRN_GUARDED_BY(m_setupLock) = 0;                        // as the codec snapped it
    DWORD m_packetMs QRN_GUARDED_BY(m_setupLock) = 80;
    bool m_configured QRN_GUARDED_BY(m_setupLock) = false;
    DWORD m_bufferCount QRN_GUARDED_BY(m_setupLock) = 0;  // as given
    DWORD m_ringPackets QRN_GUARDED_BY(m_setupLock) = kFirstRingPackets;
    CMediaType m_mediaType QRN_GUARDED_BY(m_setupLock);
    CNetworkBuffer m_ring;
    qrn::CSyncPoint m_syncPoint;
};
