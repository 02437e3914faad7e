#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "Chain.h"
#include "TestFilters.h"
#include "audiocoding/CountedNew.h"
#include "framework/CBaseRenderer.h"
#include "framework/CSourceStream.h"
#include "framework/CTransformFilter.h"
#include "platform/com/TaskMemory.h"

namespace qrn::test {
namespace {

class CPlainTransform final : public CTransformFilter {
public:
    CPlainTransform() : CTransformFilter(L"plain", nullptr, GUID_NULL) {}
    HRESULT Transform(IMediaSample*, IMediaSample*) override { throw std::bad_alloc(); }
    HRESULT CheckInputType(const CMediaType*) override { return hook ? hook() : S_OK; }
    HRESULT CheckTransform(const CMediaType*, const CMediaType*) override { return S_OK; }
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
        *request = ALLOCATOR_PROPERTIES{1, 64, 1, 0};
        ALLOCATOR_PROPERTIES actual{};
        return allocator->SetProperties(request, &actual);
    }
    HRESULT GetMediaType(int position, CMediaType* type) override {
        *type = TypeOf(10);
        return position == 0 ? S_OK : VFW_S_NO_MORE_ITEMS;
    }
    std::function<HRESULT()> hook;
};

class CPlainRenderer final : public CBaseRenderer {
public:
    CPlainRenderer() : CBaseRenderer(GUID_NULL, L"plain", nullptr, nullptr) {}
    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    HRESULT DoRenderSample(IMediaSample*) override { throw std::bad_alloc(); }
};

class CPlainSource final : public CSource {
public:
    CPlainSource() : CSource(L"plain", nullptr, GUID_NULL) {}
};

class CPlainStream final : public CSourceStream {
public:
    CPlainStream(HRESULT* result, CSource* source) : CSourceStream(L"plain", result, source, L"Out") {}
    using CSourceStream::GetMediaType;
    HRESULT FillBuffer(IMediaSample*) override { return S_FALSE; }
    HRESULT GetMediaType(CMediaType* type) override { return type->Set(TypeOf(1)); }
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
        *request = ALLOCATOR_PROPERTIES{1, 64, 1, 0};
        ALLOCATOR_PROPERTIES actual{};
        return allocator->SetProperties(request, &actual);
    }
};

/// Calls `act` with the first, the second, ... allocation in it failing, until none fails any more. Each failure must
/// be answered with a failure, and the whole must go well in the end.
void ExpectCleanAnswers(const std::function<HRESULT()>& act) {
    constexpr int kMostAllocations = 100;
    int allowed = 0;
    HRESULT result = S_OK;
    bool hasStruck = true;
    for (; hasStruck && allowed < kMostAllocations; ++allowed) {
        {
            CAllocationFault fault(allowed);
            result = act();
            hasStruck = fault.HasStruck();
        }
        EXPECT_EQ(FAILED(result), hasStruck) << "allocation " << allowed;
    }
    EXPECT_EQ(result, S_OK);
    EXPECT_GT(allowed, 1) << "nothing was allocated, so nothing was tested";
    EXPECT_LT(allowed, kMostAllocations);
}

TEST(OutOfMemory, EnumeratorsAndTheirClones) {
    CHeld<CFeedFilter> feed;
    ExpectCleanAnswers([&] {
        ComPtr<IEnumPins> walk;
        ComPtr<IEnumPins> clone;
        const HRESULT result = feed->EnumPins(walk.Put());
        EXPECT_EQ(static_cast<bool>(walk), SUCCEEDED(result));
        return FAILED(result) ? result : walk->Clone(clone.Put());
    });
    ExpectCleanAnswers([&] {
        ComPtr<IEnumMediaTypes> walk;
        ComPtr<IEnumMediaTypes> clone;
        const HRESULT result = feed->pin.EnumMediaTypes(walk.Put());
        return FAILED(result) ? result : walk->Clone(clone.Put());
    });
}

/// A filter that makes its pins on first request, asked by `ask`.
template <class Filter>
void ExpectPinsAfterAll(const std::function<HRESULT(Filter&)>& ask) {
    CHeld<Filter> filter;
    ExpectCleanAnswers([&] { return ask(*filter.Get()); });
}

TEST(OutOfMemory, PinsThatAreMadeOnRequest) {
    const auto find = [](auto& filter) {
        ComPtr<IPin> pin;
        const HRESULT result = filter.FindPin(L"In", pin.Put());
        EXPECT_EQ(static_cast<bool>(pin), SUCCEEDED(result));
        return result;
    };
    const auto walk = [](auto& filter) {
        ComPtr<IEnumPins> pins;
        ComPtr<IPin> pin;
        const HRESULT result = filter.EnumPins(pins.Put());
        return FAILED(result) ? result : pins->Next(1, pin.Put(), nullptr);
    };
    ExpectPinsAfterAll<CPlainTransform>(find);
    ExpectPinsAfterAll<CPlainTransform>(walk);
    ExpectPinsAfterAll<CPlainRenderer>(find);
    ExpectPinsAfterAll<CPlainRenderer>(walk);
}

TEST(OutOfMemory, JoiningAGraphByALongName) {
    CHeld<CFeedFilter> feed;
    const auto graph = ComPtr<CFakeGraph>::Share(new CFakeGraph);
    ExpectCleanAnswers([&] {
        return feed->JoinFilterGraph(graph.Get(), L"a name that no string holds without the heap, however long it is");
    });
    feed->JoinFilterGraph(nullptr, nullptr);
}

TEST(OutOfMemory, StartingASource) {
    CHeld<CPlainSource> source;
    CHeld<CTakeFilter> take;
    HRESULT made = S_OK;
    auto* stream = new CPlainStream(&made, source.Get());  // the filter's own
    ASSERT_EQ(made, S_OK);
    CChain chain;
    chain.Add(source.Get());
    chain.Add(take.Get());
    ASSERT_EQ(chain.Connect(stream, &take->pin), S_OK);
    ASSERT_EQ(take->Pause(), S_OK);
    ExpectCleanAnswers([&] { return source->Pause(); });
    EXPECT_TRUE(WaitUntil([&] { return take->pin.Ends() > 0; }));
}

TEST(OutOfMemory, AnotherPinOfASource) {
    CHeld<CPlainSource> source;
    HRESULT made = S_OK;
    auto* stream = new CPlainStream(&made, source.Get());
    ExpectCleanAnswers([&] {
        const HRESULT result = source->AddPin(stream);  // the array has to grow
        EXPECT_EQ(source->GetPinCount(), FAILED(result) ? 1 : 2);
        return result;
    });
    EXPECT_EQ(source->RemovePin(stream), S_OK);
    delete stream;
}

TEST(OutOfMemory, AHookThatThrowsEndsTheConnectionOnly) {
    CHeld<CFeedFilter> feed;
    CHeld<CPlainTransform> transform;
    for (const HRESULT expected : {E_OUTOFMEMORY, VFW_E_TYPE_NOT_ACCEPTED}) {
        transform->hook = [expected]() -> HRESULT {
            if (expected == E_OUTOFMEMORY) {
                throw std::bad_alloc();
            }
            throw std::runtime_error("hook");
        };
        const CMediaType type = TypeOf(1);
        EXPECT_EQ(feed->pin.Connect(transform->GetPin(0), &type), expected);
        EXPECT_FALSE(feed->pin.IsConnected());
        EXPECT_FALSE(transform->GetPin(0)->IsConnected());
        EXPECT_EQ(transform->GetPin(0)->QueryAccept(&type), S_FALSE);
    }
    transform->hook = nullptr;
    EXPECT_EQ(feed->pin.Connect(transform->GetPin(0), nullptr), S_OK);
    feed->pin.Disconnect();
    transform->GetPin(0)->Disconnect();
}

TEST(OutOfMemory, AStreamThatThrowsAnswersTheSample) {
    CHeld<CFeedFilter> feed;
    CHeld<CPlainTransform> transform;
    CHeld<CPlainRenderer> renderer;
    CChain chain;
    chain.Add(feed.Get());
    chain.Add(transform.Get());
    chain.Add(renderer.Get());
    ASSERT_EQ(chain.Connect(&feed->pin, transform->GetPin(0)), S_OK);
    ASSERT_EQ(chain.Connect(transform->GetPin(1), renderer->GetPin(0)), S_OK);
    chain.Run();
    EXPECT_EQ(feed->Feed(), E_OUTOFMEMORY);
    EXPECT_EQ(feed->Feed(), E_OUTOFMEMORY);  // its locks are free again
}

TEST(OutOfMemory, ARendererThatThrowsEndsItsStream) {
    CHeld<CFeedFilter> feed;
    CHeld<CPlainRenderer> renderer;
    CChain chain;
    chain.Add(feed.Get());
    chain.Add(renderer.Get());
    ASSERT_EQ(chain.Connect(&feed->pin, renderer->GetPin(0)), S_OK);
    chain.Run();
    EXPECT_EQ(feed->Feed(), E_OUTOFMEMORY);
    EXPECT_EQ(chain.graph->Count(EC_ERRORABORT), 1u);
    EXPECT_EQ(feed->Feed(), VFW_E_RUNTIME_ERROR);
}

}  // namespace
}  // namespace qrn::test
