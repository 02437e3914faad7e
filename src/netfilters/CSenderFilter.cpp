#include "netfilters/CSenderFilter.h"

#include <new>
#include <system_error>
#include <utility>

#include "audiocoding/AudioFilterHelp.h"
#include "framework/Boundary.h"
#include "netfilters/NetworkStatistics.h"
#include "platform/com/TaskMemory.h"
#include "platform/com/Text.h"
#include "rtp/RtpErrors.h"

namespace {

/// Has no effect, and every session is given it.
constexpr double kTimestampUnit = 0.000125;

}  // namespace

template <class Sender>
CSenderFilter<Sender>::CSenderFilter(REFCLSID classId, const wchar_t* name, const GUID& majorType,
                                     HRESULT withoutSession, IUnknown* outer, HRESULT* result)
    : CBaseRenderer(classId, name, outer, result),
      m_majorType(majorType),
      m_withoutSession(withoutSession) {}

template <class Sender>
HRESULT CSenderFilter<Sender>::NonDelegatingQueryInterface(REFIID id, void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    if (id == IID_Of<Sender>) {
        return GetInterface(static_cast<Sender*>(this), object);
    }
    if (id == IID_IQRN_NetworkStatistics) {
        return GetInterface(static_cast<IQRN_NetworkStatistics*>(this), object);
    }
    return CBaseRenderer::NonDelegatingQueryInterface(id, object);
}

template <class Sender>
HRESULT CSenderFilter<Sender>::CheckMediaType(const CMediaType* type) {
    if (!m_enabled) {
        return E_FAIL;
    }
    // Subtype and format are not looked at.
    return type != nullptr && *type->Type() == m_majorType ? S_OK : E_INVALIDARG;
}

template <class Sender>
HRESULT CSenderFilter<Sender>::ShouldDrawSampleNow(IMediaSample* sample, REFERENCE_TIME* start, REFERENCE_TIME* end) {
    return m_renderAtOnce ? S_OK : CBaseRenderer::ShouldDrawSampleNow(sample, start, end);
}

template <class Sender>
HRESULT CSenderFilter<Sender>::DoRenderSample(IMediaSample* sample) {
    if (sample == nullptr) {
        return E_FAIL;
    }
    if (!m_enabled || sample->IsPreroll() == S_OK || sample->GetActualDataLength() < 1) {
        return S_OK;
    }
    BYTE* buffer = nullptr;
    if (const HRESULT result = sample->GetPointer(&buffer); FAILED(result)) {
        return result;
    }
    return Send(*sample, qrn::DataOf(*sample, buffer));
}

template <class Sender>
HRESULT CSenderFilter<Sender>::OpenNetwork() {
    const qrn::CScopedLock lock(m_sessionLock);
    try {
        CNetworkSender& session = MakeSession();
        session.SetExternalTransport(m_transport);
        session.SetParityGroup(m_parityGroup);
        return session.Open(m_portWord, m_localAddress.c_str(), kTimestampUnit, true) == qrn::kRtpOk ? S_OK : E_FAIL;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (const std::system_error&) {  // no descriptor is left
        return E_FAIL;
    }
}

template <class Sender>
HRESULT CSenderFilter<Sender>::SetLocalPort(DWORD portWord) {
    const qrn::CScopedLock lock(m_sessionLock);
    m_portWord = portWord;
    return S_OK;
}

template <class Sender>
HRESULT CSenderFilter<Sender>::GetLocalPort(DWORD* portWord) {
    if (portWord == nullptr) {
        return E_INVALIDARG;
    }
    const qrn::CScopedLock lock(m_sessionLock);
    *portWord = m_portWord;
    return S_OK;
}

template <class Sender>
HRESULT CSenderFilter<Sender>::SetLocalAddress(const wchar_t* address) {
    if (address == nullptr) {
        return E_INVALIDARG;
    }
    return qrn::AnswerFor([&] {
        std::string narrow = qrn::ToUtf8(address);
        const qrn::CScopedLock lock(m_sessionLock);
        m_localAddress = std::move(narrow);
        return S_OK;
    });
}

template <class Sender>
HRESULT CSenderFilter<Sender>::GetLocalAddress(wchar_t** address) {
    if (address == nullptr) {
        return E_INVALIDARG;
    }
    return qrn::AnswerFor([&] {
        const qrn::CScopedLock lock(m_sessionLock);
        *address = qrn::CopyToTaskMemory(qrn::ToWide(m_localAddress));
        return *address != nullptr ? S_OK : E_OUTOFMEMORY;
    });
}

template <class Sender>
HRESULT CSenderFilter<Sender>::AddDestination(const wchar_t* address, DWORD port) {
    return ChangeDestination(&CNetworkSender::AddDestination, address, port);
}

template <class Sender>
HRESULT CSenderFilter<Sender>::RemoveDestination(const wchar_t* address, DWORD port) {
    return ChangeDestination(&CNetworkSender::RemoveDestination, address, port);
}

template <class Sender>
HRESULT CSenderFilter<Sender>::ChangeDestination(DestinationOperation operation, const wchar_t* address, DWORD port) {
    return qrn::AnswerFor([&] {
        const qrn::CScopedLock lock(m_sessionLock);
        CNetworkSender* session = Session();
        if (session == nullptr) {
            return m_withoutSession;
        }
        if (address == nullptr) {
            return E_INVALIDARG;
        }
        return (session->*operation)(qrn::ToUtf8(address).c_str(), port) == qrn::kRtpOk ? S_OK : E_FAIL;
    });
}

template <class Sender>
HRESULT CSenderFilter<Sender>::GetTtl(DWORD* ttl) {
    if (ttl == nullptr) {
        return E_INVALIDARG;
    }
    const qrn::CScopedLock lock(m_sessionLock);
    *ttl = m_ttl;
    return S_OK;
}

template <class Sender>
HRESULT CSenderFilter<Sender>::SetEnabled(BYTE enabled) {
    m_enabled = enabled != 0;
    return S_OK;
}

template <class Sender>
HRESULT CSenderFilter<Sender>::GetEnabled(BYTE* enabled) {
    if (enabled == nullptr) {
        return E_INVALIDARG;
    }
    *enabled = m_enabled ? 1 : 0;
    return S_OK;
}

template <class Sender>
HRESULT CSenderFilter<Sender>::GetTos(DWORD* tos) {
    if (tos == nullptr) {
        return E_INVALIDARG;
    }
    const qrn::CScopedLock lock(m_sessionLock);
    *tos = m_tos;
    return S_OK;
}

template <class Sender>
HRESULT CSenderFilter<Sender>::SetExternalTransport(IExternalTransport* transport) {
    const qrn::CScopedLock lock(m_sessionLock);
    m_transport = transport;
    return S_OK;
}

template <class Sender>
HRESULT CSenderFilter<Sender>::SetParityGroup(DWORD groupSize) {
    const qrn::CScopedLock lock(m_sessionLock);
    m_parityGroup = groupSize;
    return S_OK;
}

template <class Sender>
HRESULT CSenderFilter<Sender>::SetMaxPacketSize(DWORD bytes) {
    if (bytes == 0) {
        return S_OK;
    }
    const qrn::CScopedLock lock(m_sessionLock);
    CNetworkSender* session = Session();
    if (session == nullptr) {
        return E_FAIL;
    }
    session->SetPacketLimit(static_cast<std::int32_t>(bytes));  // a size refused is not reported
    return S_OK;
}

template <class Sender>
HRESULT CSenderFilter<Sender>::GetMaxPacketSize(DWORD* bytes) {
    if (bytes == nullptr) {
        return E_INVALIDARG;
    }
    const qrn::CScopedLock lock(m_sessionLock);
    const CNetworkSender* session = Session();
    if (session == nullptr) {
        return E_FAIL;
    }
    *bytes = static_cast<DWORD>(session->PayloadSize() + qrn::kRtpHeaderBytes);
    return S_OK;
}

template <class Sender>
HRESULT CSenderFilter<Sender>::SetRenderAtOnce(BYTE atOnce) {
    m_renderAtOnce = atOnce != 0;
    return S_OK;
}

template <class Sender>
HRESULT CSenderFilter<Sender>::GetSendStatistics(QRN_SEND_STATISTICS* statistics) {
    const qrn::CScopedLock lock(m_sessionLock);
    return qrn::ReadStatistics(Session(), statistics);
}

template class CSenderFilter<IQRN_AudioSender>;
template class CSenderFilter<IQRN_VideoSender>;
