#pragma once
/// The source filter "QRN Video Receiver": RTP in, a codec's frames out.

#include <atomic>
#include <cstdint>

#include "netfilters/CReceiverFilter.h"

/// What the pin needs for a sample, as it is at that moment.
struct VideoReceiverLinks {
    DWORD framePeriodMs = 0;
    bool reportLoss = false;
    qrn::ComPtr<IQRN_AudioReceiver> audioReceiver;
    qrn::ComPtr<IQRN_AudioRender> audioRender;
    qrn::ComPtr<IQRN_VideoDeCompressor> decompressor;
};

/// Frames follow the audio of the filters that it is linked with. Those filters are called without a lock.
class CQRN_VideoReceiverSource : public CReceiverFilter<IQRN_VideoReceiver, CVideoReceiver> {
public:
    /// Null with E_OUTOFMEMORY in `result` when there is no memory or no descriptor for it.
    static CUnknown* CreateInstance(IUnknown* outer, HRESULT* result);
    ~CQRN_VideoReceiverSource() override;

    // IQRN_VideoReceiver
    HRESULT SetFormat(DWORD width, DWORD height, DWORD framesPerSecond, DWORD encoder) override;
    HRESULT JoinGroup(const wchar_t* address) override;
    HRESULT LeaveGroup(const wchar_t* address) override;
    HRESULT SetAudioReceiver(IUnknown* audioReceiver) override;
    HRESULT SetAudioRender(IUnknown* audioRender) override;
    HRESULT SetReportLoss(DWORD report) override;
    HRESULT GetReportLoss(DWORD* report) override;
    HRESULT SetExternalTransport(IExternalTransport* transport) override;
    HRESULT SetReorder(BYTE on, DWORD window, DWORD parityGroup) override;
    HRESULT GetStatistics(DWORD* received, DWORD* gaps) override;
    HRESULT SetMulticastLoop(DWORD on) override;

    // IQRN_NetworkStatistics
    HRESULT GetReceiveStatistics(DWORD channel, QRN_RECEIVE_STATISTICS* statistics) override;

    // CVideoReceiver, on the engine's thread
    int OnFrame(const CPacket& frame) override;

    // For the pin
    /// Room that a frame needs; -1 before SetFormat.
    LONG FrameCapacity() const;
    VideoReceiverLinks Links() const;
    /// The filter behind the pin, or null.
    void SetDecompressor(qrn::ComPtr<IQRN_VideoDeCompressor> decompressor);
    /// Whether it takes frames with holes. Without one everything stays as it was.
    void AskDecompressor();

protected:
    int OpenEngine(DWORD channel, IExternalTransport* transport) override QRN_REQUIRES(m_setupLock);

private:
    using GroupOperation = int (CNetworkReceiver::*)(const char* addressText);

    CQRN_VideoReceiverSource(IUnknown* outer, HRESULT* result);

    HRESULT ChangeGroup(GroupOperation operation, const wchar_t* address);
    template <class Interface>
    HRESULT Link(qrn::ComPtr<Interface> VideoReceiverLinks::*link, IUnknown* object);

    std::atomic<std::uint64_t> m_damagedFrames{0};
    VideoReceiverLinks m_links QRN_GUARDED_BY(m_setupLock);
};
