#include <gtest/gtest.h>

#include <cstring>

#include "Chain.h"
#include "TestFilters.h"
#include "audiocoding/CountedNew.h"
#include "framework/CBaseRenderer.h"
#include "framework/CTransformFilter.h"

namespace qrn::test {
namespace {

class CEmptyTransform final : public CTransformFilter {
public:
    CEmptyTransform() : CTransformFilter(L"empty", nullptr, GUID_NULL) {}
    HRESULT Transform(IMediaSample*, IMediaSample*) override { return S_OK; }
    HRESULT CheckInputType(const CMediaType*) override { return S_OK; }
    HRESULT CheckTransform(const CMediaType*, const CMediaType*) override { return S_OK; }
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
        request->cBuffers = 2;
        request->cbBuffer = 64;
        ALLOCATOR_PROPERTIES actual{};
        return allocator->SetProperties(request, &actual);
    }
    HRESULT GetMediaType(int position, CMediaType* type) override {
        *type = TypeOf(10);
        return position == 0 ? S_OK : VFW_S_NO_MORE_ITEMS;
    }
};

class CCountingRenderer final : public CBaseRenderer {
public:
    CCountingRenderer() : CBaseRenderer(GUID_NULL, L"counting", nullptr, nullptr) {}
    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    HRESULT DoRenderSample(IMediaSample*) override {
        ++rendered;
        return S_OK;
    }
    int rendered = 0;
};

TEST(SteadyState, SamplesThroughAChainAllocateNothing) {
    CHeld<CFeedFilter> feed;
    CHeld<CEmptyTransform> transform;
    CHeld<CCountingRenderer> renderer;
    CChain chain;
    chain.Add(feed.Get());
    chain.Add(transform.Get());
    chain.Add(renderer.Get());
    ASSERT_EQ(chain.Connect(&feed->pin, transform->GetPin(0)), S_OK);
    ASSERT_EQ(chain.Connect(transform->GetPin(1), renderer->GetPin(0)), S_OK);
    chain.Run();
    chain.clock->Advance(1000);
    ASSERT_EQ(feed->Feed(0, 10), S_OK);
    CAllocationCount count;
    for (int i = 0; i < 1000; ++i) {
        if (feed->Feed(0, 10) != S_OK) {
            break;
        }
    }
    EXPECT_EQ(count.Stop(), 0);
    EXPECT_EQ(renderer->rendered, 1001);
}

}  // namespace
}  // namespace qrn::test
