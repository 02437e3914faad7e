#pragma once
/// A renderer that takes every sample at once and hands it to the test.

#include <functional>

#include "framework/CBaseRenderer.h"

namespace qrn::test {

class CCollectSink final : public CBaseRenderer {
public:
    using Handler = std::function<void(IMediaSample*)>;

    /// `handler` runs on the streaming thread.
    explicit CCollectSink(Handler handler);

    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT ShouldDrawSampleNow(IMediaSample* sample, REFERENCE_TIME* start, REFERENCE_TIME* stop) override;
    HRESULT DoRenderSample(IMediaSample* sample) override;

private:
    const Handler m_handler;
};

}  // namespace qrn::test
