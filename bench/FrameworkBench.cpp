// What the filter framework costs: a sample on its way through an empty transform, and a graph until it streams.
//
// "sample/filters" is a sample from a source's buffer through a transform that does nothing to a renderer that renders
// at once. "sample/bare" is the same way with nothing but what it cannot do without: two buffers from locked stocks, a
// lock held around each of the two stages, virtual calls between them. "start/graph" is five filters put into a graph,
// connected, and run until the first sample has been rendered, by way of the host library as a client does it.
// "start/bare" is the one thing in it that is not ours: a thread that starts and wakes the waiting one.

#include <benchmark/benchmark.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "framework/CBaseRenderer.h"
#include "framework/CSourceStream.h"
#include "framework/CTransformFilter.h"
#include "platform/system/Event.h"
#include "platform/system/Thread.h"
#include "qrn/host.h"
#include "support/PushSource.h"

namespace {

std::atomic<std::int64_t> g_allocations = 0;

}  // namespace

// The C library's heap, counted: everything that is allocated in the process comes by here.
extern "C" {
void* __libc_malloc(std::size_t bytes);
void* __libc_calloc(std::size_t count, std::size_t bytes);
void* __libc_realloc(void* memory, std::size_t bytes);

__attribute__((visibility("default"))) void* malloc(std::size_t bytes) noexcept {
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(bytes);
}
__attribute__((visibility("default"))) void* calloc(std::size_t count, std::size_t bytes) noexcept {
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_calloc(count, bytes);
}
__attribute__((visibility("default"))) void* realloc(void* memory, std::size_t bytes) noexcept {
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_realloc(memory, bytes);
}
}

namespace {

using qrn::ComPtr;
using qrn::test::CPushSource;
using qrn::test::PcmType;

constexpr LONG kBufferBytes = 320;
constexpr double kSampleLimitUs = 3.0;
constexpr double kStartLimitMs = 5.0;

void Check(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "bench_framework: %s failed\n", what);
        std::exit(1);
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// The filters

class CEmptyTransform final : public CTransformFilter {
public:
    CEmptyTransform() : CTransformFilter(L"empty transform", nullptr, GUID_NULL) {}
    HRESULT Transform(IMediaSample*, IMediaSample*) override { return S_OK; }
    HRESULT CheckInputType(const CMediaType*) override { return S_OK; }
    HRESULT CheckTransform(const CMediaType*, const CMediaType*) override { return S_OK; }
    HRESULT GetMediaType(int position, CMediaType* type) override {
        if (position != 0) {
            return VFW_S_NO_MORE_ITEMS;
        }
        *type = m_pInput->CurrentMediaType();
        return S_OK;
    }
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
        *request = ALLOCATOR_PROPERTIES{2, kBufferBytes, 1, 0};
        ALLOCATOR_PROPERTIES actual{};
        return allocator->SetProperties(request, &actual);
    }
};

class CPromptRenderer final : public CBaseRenderer {
public:
    CPromptRenderer() : CBaseRenderer(GUID_NULL, L"prompt renderer", nullptr, nullptr) {}
    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    HRESULT ShouldDrawSampleNow(IMediaSample*, REFERENCE_TIME*, REFERENCE_TIME*) override { return S_OK; }
    HRESULT DoRenderSample(IMediaSample*) override {
        if (m_rendered++ == 0) {
            m_first.Set();
        }
        return S_OK;
    }
    std::int64_t Rendered() const { return m_rendered; }
    bool WaitForFirst() { return m_first.Wait(qrn::SystemClock(), std::chrono::seconds(10)); }

private:
    std::int64_t m_rendered = 0;
    qrn::CEvent m_first{qrn::EventReset::kManual};
};

class CShortSource final : public CSource {
public:
    CShortSource();
};

/// One sample, then the end.
class CShortStream final : public CSourceStream {
public:
    explicit CShortStream(CSource* source) : CSourceStream(L"short stream", nullptr, source, L"Out") {}
    using CSourceStream::GetMediaType;
    HRESULT FillBuffer(IMediaSample* sample) override {
        REFERENCE_TIME start = 0;
        sample->SetTime(&start, nullptr);
        return m_hasGiven.exchange(true) ? S_FALSE : S_OK;
    }
    HRESULT GetMediaType(CMediaType* type) override { return type->Set(PcmType(8000, 1)); }
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
        *request = ALLOCATOR_PROPERTIES{2, kBufferBytes, 1, 0};
        ALLOCATOR_PROPERTIES actual{};
        return allocator->SetProperties(request, &actual);
    }

private:
    std::atomic<bool> m_hasGiven{false};
};

CShortSource::CShortSource() : CSource(L"short source", nullptr, GUID_NULL) {
    static_cast<void>(new CShortStream(this));  // the filter's own
}

// ---------------------------------------------------------------------------------------------------------------------
// The graph

ComPtr<IPin> PinOf(IBaseFilter* filter, PIN_DIRECTION wanted) {
    ComPtr<IEnumPins> pins;
    Check(filter->EnumPins(pins.Put()) == S_OK, "listing pins");
    ComPtr<IPin> pin;
    PIN_DIRECTION direction{};
    while (pins->Next(1, pin.Put(), nullptr) == S_OK) {
        if (pin->QueryDirection(&direction) == S_OK && direction == wanted) {
            return pin;
        }
    }
    return nullptr;
}

/// Filters in a row, in a graph of the host library.
class CRow {
public:
    explicit CRow(const std::vector<ComPtr<IBaseFilter>>& filters) {
        Check(qrn::CreateInstance(CLSID_FilterGraph, m_graph) == S_OK, "making a graph");
        for (const auto& filter : filters) {
            Check(SUCCEEDED(m_graph->AddFilter(filter.Get(), L"filter")), "adding a filter");  // and numbering it
        }
        for (std::size_t i = 1; i < filters.size(); ++i) {
            const ComPtr<IPin> output = PinOf(filters[i - 1].Get(), PINDIR_OUTPUT);
            const ComPtr<IPin> input = PinOf(filters[i].Get(), PINDIR_INPUT);
            Check(m_graph->ConnectDirect(output.Get(), input.Get(), nullptr) == S_OK, "connecting");
        }
        m_control = m_graph.As<IMediaControl>();
        Check(SUCCEEDED(m_control->Run()), "running");
    }
    ~CRow() { m_control->Stop(); }
    CRow(const CRow&) = delete;
    CRow& operator=(const CRow&) = delete;

private:
    ComPtr<IGraphBuilder> m_graph;
    ComPtr<IMediaControl> m_control;
};

template <class Filter>
ComPtr<IBaseFilter> Hold(Filter* filter) {
    return ComPtr<IBaseFilter>::Share(filter);
}

// ---------------------------------------------------------------------------------------------------------------------
// Benchmarks

constexpr std::array<std::uint8_t, kBufferBytes> kPcm{};

void SampleFilters(benchmark::State& state) {
    auto* const source = new CPushSource(PcmType(8000, 1), kBufferBytes);
    auto* const renderer = new CPromptRenderer;
    const CRow row({Hold(source), Hold(new CEmptyTransform), Hold(renderer)});
    Check(source->Push(kPcm, 0) == S_OK, "the first sample");
    const std::int64_t before = g_allocations;
    Check(before > 0, "counting allocations");
    std::int64_t during = 0;
    for (auto step : state) {
        source->Push(kPcm, 0);
        during = g_allocations - before;
    }
    Check(renderer->Rendered() == state.iterations() + 1, "rendering every sample");
    state.counters["allocations"] = static_cast<double>(during);
}

struct Buffer {
    std::array<std::uint8_t, kBufferBytes> bytes;
    Buffer* next = nullptr;
};

class CStock {
public:
    CStock() { Return(&m_only); }
    Buffer* Take() {
        qrn::CScopedLock lock(m_lock);
        return std::exchange(m_free, m_free->next);
    }
    void Return(Buffer* buffer) {
        qrn::CScopedLock lock(m_lock);
        buffer->next = std::exchange(m_free, buffer);
    }

private:
    qrn::CMutex m_lock;
    Buffer m_only;
    Buffer* m_free QRN_GUARDED_BY(m_lock) = nullptr;
};

struct IStage {
    virtual ~IStage() = default;
    virtual HRESULT Receive(Buffer* in) = 0;
};

class CBareRenderer final : public IStage {
public:
    HRESULT Receive(Buffer* in) override {
        qrn::CScopedLock lock(m_lock);
        benchmark::DoNotOptimize(in->bytes.data());
        return S_OK;
    }

private:
    qrn::CRecursiveMutex m_lock;
};

class CBareTransform final : public IStage {
public:
    explicit CBareTransform(IStage& next) : m_next(next) {}
    HRESULT Receive(Buffer* in) override {
        qrn::CScopedLock lock(m_lock);
        benchmark::DoNotOptimize(in->bytes.data());
        Buffer* const out = m_stock.Take();
        const HRESULT result = m_next.Receive(out);
        m_stock.Return(out);
        return result;
    }

private:
    IStage& m_next;
    qrn::CRecursiveMutex m_lock;
    CStock m_stock;
};

void SampleBare(benchmark::State& state) {
    CBareRenderer renderer;
    const std::unique_ptr<IStage> transform = std::make_unique<CBareTransform>(renderer);
    CStock stock;
    for (auto step : state) {
        Buffer* const buffer = stock.Take();
        std::copy(kPcm.begin(), kPcm.end(), buffer->bytes.begin());
        benchmark::DoNotOptimize(transform->Receive(buffer));
        stock.Return(buffer);
    }
}

void StartGraph(benchmark::State& state) {
    for (auto step : state) {
        state.PauseTiming();
        auto* const renderer = new CPromptRenderer;
        const std::vector<ComPtr<IBaseFilter>> filters = {Hold(new CShortSource), Hold(new CEmptyTransform),
                                                          Hold(new CEmptyTransform), Hold(new CEmptyTransform),
                                                          Hold(renderer)};
        state.ResumeTiming();
        auto row = std::make_unique<CRow>(filters);
        Check(renderer->WaitForFirst(), "rendering the first sample");
        state.PauseTiming();
        row.reset();
        state.ResumeTiming();
    }
}

void StartBare(benchmark::State& state) {
    for (auto step : state) {
        qrn::CEvent woken(qrn::EventReset::kManual);
        qrn::CThread thread;
        thread.Start("bench", [&woken] { woken.Set(); });
        woken.Wait(qrn::SystemClock(), std::chrono::seconds(10));
    }
}

/// Prints as usual and keeps the medians for the closing lines.
class CLimitReporter final : public benchmark::ConsoleReporter {
public:
    CLimitReporter() : ConsoleReporter(OO_Defaults) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
                Median& median = m_medians[run.run_name.function_name];
                // A sample stays on one thread, so others on the machine do not count; a start waits for another.
                const bool isSample = run.run_name.function_name.starts_with("sample");
                median.nanoseconds = isSample ? run.GetAdjustedCPUTime() : run.GetAdjustedRealTime();
                const auto counter = run.counters.find("allocations");
                median.allocations = counter != run.counters.end() ? static_cast<double>(counter->second) : 0;
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void PrintLimits() const {
        std::printf("\n%-28s %10s %10s %10s\n", "median", "ours", "bare", "limit");
        PrintLine("sample, microseconds", "sample", 1e3, kSampleLimitUs);
        PrintLine("start, milliseconds", "start", 1e6, kStartLimitMs);
        const double allocations = m_medians.at("sample/filters").allocations;
        std::printf("%-28s %10.0f %10d %10d%s\n", "sample, allocations", allocations, 0, 0,
                    allocations > 0 ? "  too many" : "");
    }

private:
    struct Median {
        double nanoseconds = 0;
        double allocations = 0;
    };

    void PrintLine(const char* title, const std::string& name, double unit, double limit) const {
        const double ours = m_medians.at(name + (name == "sample" ? "/filters" : "/graph")).nanoseconds / unit;
        const double bare = m_medians.at(name + "/bare").nanoseconds / unit;
        std::printf("%-28s %10.3f %10.3f %10.3f%s\n", title, ours, bare, limit, ours > limit ? "  too much" : "");
    }

    std::map<std::string, Median> m_medians;
};

}  // namespace

int main(int argc, char** argv) {
    std::vector<char*> arguments(argv, argv + argc);
    std::string interleave = "--benchmark_enable_random_interleaving=true";
    arguments.push_back(interleave.data());
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    const std::pair<const char*, void (*)(benchmark::State&)> benches[] = {{"sample/filters", SampleFilters},
                                                                           {"sample/bare", SampleBare},
                                                                           {"start/graph", StartGraph},
                                                                           {"start/bare", StartBare}};
    for (const auto& [name, function] : benches) {
        benchmark::RegisterBenchmark(name, function)
            ->Repetitions(9)
            ->MinTime(0.1)
            ->UseRealTime()
            ->ReportAggregatesOnly(true);
    }
    CLimitReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintLimits();
    return 0;
}
