#include "client/CNullRenderer.h"

#include "client/AudioTypes.h"

namespace qrn {

ComPtr<CNullRenderer> CNullRenderer::Create() {
    HRESULT result = S_OK;
    auto filter = ComPtr<CNullRenderer>::Share(new CNullRenderer(&result));
    return SUCCEEDED(result) ? filter : nullptr;
}

CNullRenderer::CNullRenderer(HRESULT* result) : CBaseRenderer(GUID_NULL, L"Null renderer", nullptr, result) {}

HRESULT CNullRenderer::CheckMediaType(const CMediaType* type) {
    const bool isKnown = PcmFormatOf(*type) || *type->Type() == MEDIATYPE_Video;
    return isKnown ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT CNullRenderer::DoRenderSample(IMediaSample* /*sample*/) {
    return S_OK;
}

}  // namespace qrn
