#include "audiodevices/CAudioRender.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <new>

namespace {

constexpr DWORD kClassStyles = 3;              // CS_HREDRAW | CS_VREDRAW
constexpr DWORD kWindowStyles = 0x02CF0000;    // WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN
constexpr DWORD kWindowStylesEx = 0x00000100;  // WS_EX_WINDOWEDGE
constexpr WORD kBitsPerSample = 16;
// 16000 is left out on purpose.
constexpr DWORD kRates[] = {8000, 32000, 48000};

bool IsPlayable(const WAVEFORMATEX& format) {
    // Without a channel there is no duration of a block.
    return format.wBitsPerSample == kBitsPerSample && format.nChannels != 0 &&
           std::find(std::begin(kRates), std::end(kRates), format.nSamplesPerSec) != std::end(kRates);
}

}  // namespace

CUnknown* CAudioRender::CreateInstance(IUnknown* outer, HRESULT* result) {
    try {
        return new CAudioRender(outer, result);
    } catch (const std::exception& failure) {
        if (result != nullptr) {
            *result = dynamic_cast<const std::bad_alloc*>(&failure) != nullptr ? E_OUTOFMEMORY : E_FAIL;
        }
        return nullptr;
    }
}

CAudioRender::CAudioRender(IUnknown* outer, HRESULT* result)
    : CBaseRenderer(CLSID_QRN_AudioRender, L"QRN Audio Render", outer, result) {
    const HRESULT window = PrepareWindow();
    if (FAILED(window) && result != nullptr) {
        *result = window;
    }
}

CAudioRender::~CAudioRender() {
    DoneWithWindow();
}

HRESULT CAudioRender::NonDelegatingQueryInterface(REFIID id, void** object) {
    if (id == IID_IQRN_AudioRender) {
        return GetInterface(static_cast<IQRN_AudioRender*>(this), object);
    }
    return CBaseRenderer::NonDelegatingQueryInterface(id, object);
}

HRESULT CAudioRender::CheckMediaType(const CMediaType* type) {
    if (type == nullptr) {
        return E_POINTER;
    }
    if (type->majortype != MEDIATYPE_Audio) {
        return E_INVALIDARG;
    }
    if (type->pbFormat == nullptr) {
        return E_OUTOFMEMORY;
    }
    // Old writers leave the last field, cbSize, out of a PCM format.
    if (type->cbFormat < offsetof(WAVEFORMATEX, cbSize)) {
        return E_INVALIDARG;
    }
    WAVEFORMATEX format{};
    std::memcpy(&format, type->pbFormat, std::min<std::size_t>(type->cbFormat, sizeof format));
    if (!IsPlayable(format)) {
        return E_INVALIDARG;
    }
    const qrn::CScopedLock lock(m_setupLock);
    m_samplesPerSec = format.nSamplesPerSec;
    m_channels = format.nChannels;
    m_window = GetWindowHWND();
    return S_OK;
}

HRESULT CAudioRender::OnStartStreaming() {
    const auto allocator = qrn::ComPtr<IMemAllocator>::Share(m_pInputPin ? m_pInputPin->Allocator() : nullptr);
    if (!allocator) {
        return S_FALSE;
    }
    ALLOCATOR_PROPERTIES properties{};
    allocator->GetProperties(&properties);
    const qrn::CScopedLock lock(m_setupLock);
    m_blockBytes = static_cast<DWORD>(properties.cbBuffer);
    if (Create() != 0) {
        return S_FALSE;
    }
    return Start();
}

HRESULT CAudioRender::OnStopStreaming() {
    CDirectSoundManager::Stop();
    return S_OK;
}

HRESULT CAudioRender::DoRenderSample(IMediaSample* sample) {
    if (sample == nullptr) {
        return E_POINTER;
    }
    const LONG length = std::clamp(sample->GetActualDataLength(), LONG{0}, std::max(sample->GetSize(), LONG{0}));
    BYTE* data = nullptr;
    if (FAILED(sample->GetPointer(&data)) || data == nullptr) {
        return S_OK;
    }
    return Write(data, static_cast<DWORD>(length));
}

HRESULT CAudioRender::GetLatency(LONGLONG* latencyMs) {
    if (latencyMs != nullptr) {
        *latencyMs = LatencyMs();
    }
    return S_OK;
}

HRESULT CAudioRender::SetMaxLatency(DWORD latencyMs) {
    m_maxLatencyMs = latencyMs;
    return S_OK;
}

HRESULT CAudioRender::GetMaxLatency(DWORD* latencyMs) {
    if (latencyMs == nullptr) {
        return E_POINTER;
    }
    *latencyMs = m_maxLatencyMs;
    return S_OK;
}

HRESULT CAudioRender::SetDevice(GUID device) {
    const qrn::CScopedLock lock(m_setupLock);
    m_device = device;
    return S_OK;
}

HRESULT CAudioRender::GetDevice(GUID* device) {
    if (device == nullptr) {
        return E_POINTER;
    }
    const qrn::CScopedLock lock(m_setupLock);
    *device = m_device;
    return S_OK;
}

const wchar_t* CAudioRender::GetClassWindowStyles(DWORD* classStyles, DWORD* windowStyles, DWORD* windowStylesEx) {
    *classStyles = kClassStyles;
    *windowStyles = kWindowStyles;
    *windowStylesEx = kWindowStylesEx;
    return L"MyWindowClass";
}
