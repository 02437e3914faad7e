#include "support/CollectSink.h"

#include <utility>

namespace qrn::test {

namespace {
HRESULT g_ignored = S_OK;
}

CCollectSink::CCollectSink(Handler handler)
    : CBaseRenderer(qrn::Guid("2F0D6C53-2D9F-4E4E-9D0C-6A6B6A1F0002"), L"collecting sink", nullptr, &g_ignored),
      m_handler(std::move(handler)) {}

HRESULT CCollectSink::CheckMediaType(const CMediaType* /*type*/) {
    return S_OK;
}

HRESULT CCollectSink::ShouldDrawSampleNow(IMediaSample* /*sample*/, REFERENCE_TIME* /*start*/,
                                          REFERENCE_TIME* /*stop*/) {
    return S_OK;
}

HRESULT CCollectSink::DoRenderSample(IMediaSample* sample) {
    m_handler(sample);
    return S_OK;
}

}  // namespace qrn::test
