#pragma once
/// The end of a receive graph when nothing is to be heard.

#include "framework/CBaseRenderer.h"

namespace qrn {

/// Takes each sample at its time, as a sound device does, and lets it go.
class CNullRenderer final : public CBaseRenderer {
public:
    static ComPtr<CNullRenderer> Create();
    explicit CNullRenderer(HRESULT* result);

    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT DoRenderSample(IMediaSample* sample) override;
};

}  // namespace qrn
