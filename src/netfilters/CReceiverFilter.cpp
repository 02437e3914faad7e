#include "netfilters/CReceiverFilter.h"

#include "framework/Boundary.h"
#include "netfilters/NetworkStatistics.h"
#include "platform/com/TaskMemory.h"
#include "platform/com/Text.h"
#include "rtp/RtpErrors.h"

namespace {

/// More buffers than any call has use for would only take the process's memory.
constexpr DWORD kMostBuffers = 65536;

}  // namespace

template <class Receiver, class Engine>
CReceiverFilter<Receiver, Engine>::CReceiverFilter(REFCLSID classId, const wchar_t* name, std::uint32_t ringFrames,
                                                   IUnknown* outer, HRESULT* result)
    : CLiveSource(name, outer, classId, result),
      m_ringFrames(ringFrames),
      m_ring(ringFrames) {}

template <class Receiver, class Engine>
HRESULT CReceiverFilter<Receiver, Engine>::NonDelegatingQueryInterface(REFIID id, void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    if (id == IID_Of<Receiver>) {
        return GetInterface(static_cast<Receiver*>(this), object);
    }
    if (id == IID_IQRN_NetworkStatistics) {
        return GetInterface(static_cast<IQRN_NetworkStatistics*>(this), object);
    }
    return CLiveSource::NonDelegatingQueryInterface(id, object);
}

template <class Receiver, class Engine>
HRESULT CReceiverFilter<Receiver, Engine>::OpenNetwork(DWORD channel) {
    // Also what a wrong local address throws is E_FAIL.
    return qrn::AnswerFor([&] {
        const qrn::CScopedLock lock(m_setupLock);
        return m_configured && OpenEngine(channel, m_transport) == qrn::kRtpOk ? S_OK : E_FAIL;
    });
}

template <class Receiver, class Engine>
HRESULT CReceiverFilter<Receiver, Engine>::SetLocalPort(DWORD portWord) {
    this->m_port = portWord;
    return S_OK;
}

template <class Receiver, class Engine>
HRESULT CReceiverFilter<Receiver, Engine>::GetLocalPort(DWORD* portWord) {
    if (portWord == nullptr) {
        return E_INVALIDARG;
    }
    *portWord = this->m_port;
    return S_OK;
}

template <class Receiver, class Engine>
HRESULT CReceiverFilter<Receiver, Engine>::SetLocalAddress(const wchar_t* address) {
    if (address == nullptr) {
        return E_INVALIDARG;
    }
    return qrn::AnswerFor([&] {
        this->SetAddress(qrn::ToUtf8(address));
        return S_OK;
    });
}

template <class Receiver, class Engine>
HRESULT CReceiverFilter<Receiver, Engine>::GetLocalAddress(wchar_t** address) {
    if (address == nullptr) {
        return E_INVALIDARG;
    }
    return qrn::AnswerFor([&] {
        *address = qrn::CopyToTaskMemory(qrn::ToWide(this->Address()));
        return *address != nullptr ? S_OK : E_OUTOFMEMORY;
    });
}

template <class Receiver, class Engine>
HRESULT CReceiverFilter<Receiver, Engine>::SetOutputEnabled(BYTE enabled) {
    m_outputEnabled = enabled != 0;
    return S_OK;
}

template <class Receiver, class Engine>
HRESULT CReceiverFilter<Receiver, Engine>::GetOutputEnabled(BYTE* enabled) {
    if (enabled == nullptr) {
        return E_INVALIDARG;
    }
    *enabled = m_outputEnabled ? 1 : 0;
    return S_OK;
}

template <class Receiver, class Engine>
HRESULT CReceiverFilter<Receiver, Engine>::SetBufferCount(DWORD count) {
    if (count == 0) {
        return E_INVALIDARG;
    }
    if (count > kMostBuffers) {
        return E_OUTOFMEMORY;
    }
    return qrn::AnswerFor([&] {
        const qrn::CScopedLock lock(m_setupLock);
        if (count != m_ringFrames) {
            // A ring keeps its positions when its size changes, which is right for an empty one only.
            for (CPacket dropped; m_ring.Pop(dropped);) {
            }
            m_ring.Resize(count);
            m_ringFrames = count;
        }
        m_bufferCount = count;
        return S_OK;
    });
}

template <class Receiver, class Engine>
HRESULT CReceiverFilter<Receiver, Engine>::GetBufferCount(DWORD* count) {
    if (count == nullptr) {
        return E_INVALIDARG;
    }
    const qrn::CScopedLock lock(m_setupLock);
    *count = m_bufferCount;
    return S_OK;
}

template <class Receiver, class Engine>
HRESULT CReceiverFilter<Receiver, Engine>::GetReceiveStatistics(DWORD channel, QRN_RECEIVE_STATISTICS* statistics) {
    if (channel >= Engine::kChannels) {
        return E_INVALIDARG;
    }
    const qrn::CScopedLock lock(m_setupLock);
    return qrn::ReadStatistics(&this->Session(channel), statistics);
}

template <class Receiver, class Engine>
HRESULT CReceiverFilter<Receiver, Engine>::GetOutputType(CMediaType* type) const {
    if (type == nullptr) {
        return E_POINTER;
    }
    const qrn::CScopedLock lock(m_setupLock);
    return m_configured ? type->Set(m_mediaType) : VFW_S_NO_MORE_ITEMS;
}

template <class Receiver, class Engine>
void CReceiverFilter<Receiver, Engine>::Push(const CPacket& frame) {
    if (m_outputEnabled) {
        m_ring.Push(frame);
    }
}

template <class Receiver, class Engine>
void CReceiverFilter<Receiver, Engine>::SetTransport(IExternalTransport* transport) {
    const qrn::CScopedLock lock(m_setupLock);
    m_transport = transport;
}

template <class Receiver, class Engine>
HRESULT CReceiverFilter<Receiver, Engine>::Configure(const CMediaType& type) {
    const HRESULT result = m_mediaType.Set(type);
    m_configured = m_configured || SUCCEEDED(result);
    return result;
}

template class CReceiverFilter<IQRN_AudioReceiver, CAudioReceiver>;
template class CReceiverFilter<IQRN_VideoReceiver, CVideoReceiver>;
