#pragma once
/// What the two receivers have in common.

#include <atomic>
#include <cstdint>

#include "framework/CMediaType.h"
#include "netfilters/CAudioReceiver.h"
#include "netfilters/CVideoReceiver.h"
#include "platform/system/Lock.h"
#include "qrn/QRN_Media2.h"
#include "runtime/CLiveSource.h"
#include "runtime/CNetworkBuffer.h"

/// A source whose engine's thread pushes each frame into a ring, from which the pin's thread takes one per sample.
///
/// m_setupLock keeps what the interface sets up. It is a lock of its own and not the filter's: the pin's thread takes
/// it for each sample, and the filter's is held while that thread is being stopped. Only the locks of the address and
/// of the ring are taken within it.
/// @tparam Receiver  IQRN_AudioReceiver or IQRN_VideoReceiver. @tparam Engine  CAudioReceiver or CVideoReceiver
template <class Receiver, class Engine>
class CReceiverFilter : public CLiveSource, public Engine, public Receiver, public IQRN_NetworkStatistics {
public:
    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override;

    // Both interfaces
    HRESULT OpenNetwork(DWORD channel) override;
    HRESULT SetLocalPort(DWORD portWord) override;
    HRESULT GetLocalPort(DWORD* portWord) override;
    HRESULT SetLocalAddress(const wchar_t* address) override;
    HRESULT GetLocalAddress(wchar_t** address) override;
    HRESULT SetOutputEnabled(BYTE enabled) override;
    HRESULT GetOutputEnabled(BYTE* enabled) override;
    HRESULT SetBufferCount(DWORD count) override;
    HRESULT GetBufferCount(DWORD* count) override;

    // IQRN_NetworkStatistics
    HRESULT GetSendStatistics(QRN_SEND_STATISTICS* /*statistics*/) override { return E_NOTIMPL; }
    HRESULT GetReceiveStatistics(DWORD channel, QRN_RECEIVE_STATISTICS* statistics) override;

    // For the pin
    bool StartEngine() { return Engine::Start(); }
    bool StopEngine() { return Engine::Stop(); }
    /// VFW_S_NO_MORE_ITEMS before SetFormat.
    HRESULT GetOutputType(CMediaType* type) const;
    CNetworkBuffer& Ring() { return m_ring; }

protected:
    /// Longest wait for a packet once a reorder queue is asked for, which lets go of what it holds after that.
    static constexpr DWORD kReorderTimeoutMs = CReorderQueue::kLongestHoldMs;

    CReceiverFilter(REFCLSID classId, const wchar_t* name, std::uint32_t ringFrames, IUnknown* outer, HRESULT* result);

    /// Opens the engine's session. @return 0 or another code.
    virtual int OpenEngine(DWORD channel, IExternalTransport* transport) QRN_REQUIRES(m_setupLock) = 0;
    void Push(const CPacket& frame);
    void SetTransport(IExternalTransport* transport);
    /// What the pin offers from then on; the network can be opened. E_OUTOFMEMORY changes nothing.
    HRESULT Configure(const CMediaType& type) QRN_REQUIRES(m_setupLock);
    bool IsConfigured() const QRN_REQUIRES(m_setupLock) { return m_configured; }

    mutable qrn::CMutex m_setupLock;

private:
    std::atomic<bool> m_outputEnabled{true};
    IExternalTransport* m_transport QRN_GUARDED_BY(m_setupLock) = nullptr;  // for what is opened next
    bool m_configured QRN_GUARDED_BY(m_setupLock) = false;
    DWORD m_bufferCount QRN_GUARDED_BY(m_setupLock) = 0;  // as given
    DWORD m_ringFrames QRN_GUARDED_BY(m_setupLock);
    CMediaType m_mediaType QRN_GUARDED_BY(m_setupLock);
    CNetworkBuffer m_ring;
};

extern template class CReceiverFilter<IQRN_AudioReceiver, CAudioReceiver>;
extern template class CReceiverFilter<IQRN_VideoReceiver, CVideoReceiver>;
