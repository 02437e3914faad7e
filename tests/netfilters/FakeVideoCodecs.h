#pragma once
/// Stand-ins for the filters that the video filters ask: a compressor with its output pin, and a decompressor that is
/// the end of its graph.

#include <atomic>
#include <functional>
#include <utility>

#include "framework/CBaseFilter.h"
#include "framework/CBaseOutputPin.h"
#include "framework/CBaseRenderer.h"
#include "qrn/QRN_Media2.h"

namespace qrn::test {

inline CMediaType CodedVideoType() {
    CMediaType type(&MEDIATYPE_Video);
    type.SetSubtype(&MEDIASUBTYPE_QRN2);
    type.SetFormatType(&FORMAT_VideoInfo);
    const VIDEOINFOHEADER format{};
    type.SetFormat(reinterpret_cast<const BYTE*>(&format), sizeof(format));
    return type;
}

/// Make it with `new`, hold it in a ComPtr.
class CFakeCompressor final : public CBaseFilter, public IQRN_VideoCompressor2 {
public:
    DECLARE_IUNKNOWN

    CFakeCompressor() : CBaseFilter(L"fake compressor", nullptr, &m_filterLock, GUID_NULL), m_pin(this) {}

    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override {
        return id == IID_IQRN_VideoCompressor2 ? GetInterface(static_cast<IQRN_VideoCompressor2*>(this), object)
                                               : CBaseFilter::NonDelegatingQueryInterface(id, object);
    }
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int position) override { return position == 0 ? &m_pin : nullptr; }

    HRESULT SetBitrate(DWORD) override { return E_NOTIMPL; }
    HRESULT GetBitrate(DWORD*) override { return E_NOTIMPL; }
    HRESULT SetKeyInterval(DWORD) override { return E_NOTIMPL; }
    HRESULT GetKeyInterval(DWORD*) override { return E_NOTIMPL; }
    HRESULT SetFramerate(DWORD) override { return E_NOTIMPL; }
    HRESULT GetFramerate(DWORD*) override { return E_NOTIMPL; }
    HRESULT SetMEQuality(DWORD) override { return E_NOTIMPL; }
    HRESULT GetMEQuality(DWORD*) override { return E_NOTIMPL; }
    HRESULT RequestKeyFrame() override { return E_NOTIMPL; }
    HRESULT SetVideoEncoder(LONG encoder) override {
        m_encoder = encoder;
        return S_OK;
    }
    HRESULT GetVideoEncoder(LONG* encoder) override {
        *encoder = m_encoder;
        return S_OK;
    }
    HRESULT SetAuxMode(DWORD) override { return E_NOTIMPL; }

private:
    class CPin final : public CBaseOutputPin {
    public:
        explicit CPin(CFakeCompressor* filter)
            : CBaseOutputPin(L"fake pin", filter, &filter->m_filterLock, nullptr, L"Output") {}
        HRESULT CheckMediaType(const CMediaType* /*type*/) override { return S_OK; }
        HRESULT GetMediaType(int position, CMediaType* type) override {
            *type = CodedVideoType();
            return position == 0 ? S_OK : VFW_S_NO_MORE_ITEMS;
        }
        HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
            *request = {1, 4000, 1, 0};
            ALLOCATOR_PROPERTIES actual{};
            return allocator->SetProperties(request, &actual);
        }
    };

    CCritSec m_filterLock;
    LONG m_encoder = 7;
    CPin m_pin;
};

/// Takes every sample at once and hands it to the test, on the streaming thread.
class CFakeDecompressor final : public CBaseRenderer, public IQRN_VideoDeCompressor {
public:
    DECLARE_IUNKNOWN

    explicit CFakeDecompressor(std::function<void(IMediaSample*)> handler)
        : CBaseRenderer(GUID_NULL, L"fake decompressor", nullptr, nullptr),
          m_handler(std::move(handler)) {}

    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override {
        return id == IID_IQRN_VideoDeCompressor ? GetInterface(static_cast<IQRN_VideoDeCompressor*>(this), object)
                                                : CBaseRenderer::NonDelegatingQueryInterface(id, object);
    }
    HRESULT CheckMediaType(const CMediaType* /*type*/) override { return S_OK; }
    HRESULT ShouldDrawSampleNow(IMediaSample*, REFERENCE_TIME*, REFERENCE_TIME*) override { return S_OK; }
    HRESULT DoRenderSample(IMediaSample* sample) override {
        m_handler(sample);
        return S_OK;
    }

    HRESULT SetPostProcessing(LONG) override { return E_NOTIMPL; }
    HRESULT GetPostProcessing(LONG*) override { return E_NOTIMPL; }
    HRESULT Reserved1(DWORD) override { return S_OK; }
    HRESULT Reserved2(DWORD*) override { return E_NOTIMPL; }
    HRESULT SetOption1(DWORD) override { return E_NOTIMPL; }
    HRESULT GetOption1(DWORD*) override { return E_NOTIMPL; }
    HRESULT SetOption2(DWORD value) override {
        m_option2 = value;
        return S_OK;
    }
    HRESULT GetOption2(DWORD* value) override {
        *value = m_option2;
        return S_OK;
    }
    HRESULT Reserved3(DWORD, DWORD, DWORD, DWORD) override { return S_OK; }
    HRESULT SetVideoDecoder(LONG) override { return E_NOTIMPL; }
    HRESULT SetFramerate(DWORD) override { return E_NOTIMPL; }
    HRESULT SetBitrate(DWORD) override { return E_NOTIMPL; }
    HRESULT SetMEQuality(DWORD) override { return E_NOTIMPL; }
    HRESULT SetKeyInterval(DWORD) override { return E_NOTIMPL; }
    HRESULT SetHoldLastPicture(BYTE) override { return E_NOTIMPL; }
    HRESULT GetIsVp8(DWORD* isVp8) override {
        *isVp8 = m_isVp8;
        return S_OK;
    }

    std::atomic<DWORD> m_isVp8{0};
    std::atomic<DWORD> m_option2{0};

private:
    const std::function<void(IMediaSample*)> m_handler;
};

}  // namespace qrn::test
