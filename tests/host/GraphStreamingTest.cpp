// Graphs of real source threads and renderers on the framework's classes, in real time.

#include <dirent.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "framework/CBaseRenderer.h"
#include "framework/CSource.h"
#include "framework/CSourceStream.h"
#include "host/CFilterGraph.h"
#include "platform/system/Clock.h"

namespace qrn {
namespace {

using namespace std::chrono_literals;

int CountEntries(const char* folder) {
    DIR* entries = opendir(folder);
    int count = 0;
    while (readdir(entries) != nullptr) {
        ++count;
    }
    closedir(entries);
    return count;
}

bool Eventually(const std::function<bool()>& condition) {
    const auto start = SystemClock().Now();
    while (!condition()) {
        if (SystemClock().Now() - start > 20s) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

class CTone final : public CSourceStream {
public:
    /// @param samples  negative: without end.
    CTone(CSource* filter, HRESULT* result, int samples)
        : CSourceStream(L"tone pin", result, filter, L"Out"),
          m_samples(samples) {}

protected:
    using CSourceStream::GetMediaType;
    HRESULT GetMediaType(CMediaType* type) override {
        type->InitMediaType();
        type->SetType(&MEDIATYPE_Audio);
        type->SetSubtype(&MEDIASUBTYPE_PCM);
        type->SetFormatType(&FORMAT_None);
        return S_OK;
    }
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
        *request = {3, 64, 1, 0};
        ALLOCATOR_PROPERTIES actual{};
        return allocator->SetProperties(request, &actual);
    }
    HRESULT OnThreadCreate() override {
        m_made = 0;
        return S_OK;
    }
    HRESULT FillBuffer(IMediaSample* sample) override {
        if (m_made == m_samples) {
            return S_FALSE;
        }
        REFERENCE_TIME start = REFERENCE_TIME{m_made} * 10'000;  // a millisecond each
        REFERENCE_TIME end = start + 10'000;
        sample->SetTime(&start, &end);
        sample->SetActualDataLength(64);
        ++m_made;
        return S_OK;
    }

private:
    const int m_samples;
    int m_made = 0;
};

class CToneSource final : public CSource {
public:
    CToneSource(int samples, int pins) : CSource(L"tone", nullptr, GUID_NULL) {
        HRESULT result = S_OK;
        for (int pin = 0; pin < pins; ++pin) {
            new CTone(this, &result, samples);  // the source owns it
        }
    }
};

class CCountingSink final : public CBaseRenderer {
public:
    CCountingSink() : CBaseRenderer(GUID_NULL, L"sink", nullptr, nullptr) {}
    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    HRESULT DoRenderSample(IMediaSample*) override {
        ++rendered;
        return S_OK;
    }
    std::atomic<int> rendered{0};
};

struct StreamingGraph {
    explicit StreamingGraph(int samples, int sinkCount = 1) {
        source = ComPtr<CToneSource>::Share(new CToneSource(samples, sinkCount));
        EXPECT_EQ(graph->AddFilter(source.Get(), L"source"), S_OK);
        for (int at = 0; at < sinkCount; ++at) {
            sinks.push_back(ComPtr<CCountingSink>::Share(new CCountingSink));
            EXPECT_EQ(graph->AddFilter(sinks.back().Get(), nullptr), S_OK);
            EXPECT_EQ(graph->Connect(source->GetPin(at), sinks.back()->GetPin(0)), S_OK);
        }
    }
    ComPtr<CFilterGraph> graph = ComPtr<CFilterGraph>::Share(new CFilterGraph(nullptr, SystemClock()));
    ComPtr<CToneSource> source;
    std::vector<ComPtr<CCountingSink>> sinks;
};

TEST(GraphStreaming, RunsToTheEndOfAllStreams) {
    StreamingGraph streaming(30, 2);
    EXPECT_TRUE(SUCCEEDED(streaming.graph->Run()));
    LONG code = 0;
    EXPECT_EQ(streaming.graph->WaitForCompletion(20'000, &code), S_OK);
    EXPECT_EQ(code, EC_COMPLETE);
    EXPECT_EQ(streaming.sinks[0]->rendered, 30);
    EXPECT_EQ(streaming.sinks[1]->rendered, 30);
    EXPECT_EQ(streaming.graph->Stop(), S_OK);
    int completions = 0;
    LONG_PTR param = 0;
    while (streaming.graph->GetEvent(&code, &param, &param, 0) == S_OK) {
        completions += code == EC_COMPLETE ? 1 : 0;
    }
    EXPECT_EQ(completions, 1);
}

TEST(GraphStreaming, RunIsCuedWhenItReturns) {
    StreamingGraph streaming(-1);
    EXPECT_EQ(streaming.graph->Run(), S_OK);
    EXPECT_TRUE(Eventually([&] { return streaming.sinks[0]->rendered >= 5; }));
    EXPECT_TRUE(SUCCEEDED(streaming.graph->Pause()));
    FILTER_STATE state{};
    EXPECT_EQ(streaming.graph->GetState(LONG{20'000}, &state), S_OK);
    EXPECT_EQ(state, State_Paused);
    const int before = streaming.sinks[0]->rendered;
    EXPECT_EQ(streaming.graph->Run(), S_OK);
    EXPECT_TRUE(Eventually([&] { return streaming.sinks[0]->rendered > before; }));
    EXPECT_EQ(streaming.graph->Stop(), S_OK);
}

TEST(GraphStreaming, AnotherThreadStopsIt) {
    StreamingGraph streaming(-1);
    ASSERT_TRUE(SUCCEEDED(streaming.graph->Run()));
    EXPECT_TRUE(Eventually([&] { return streaming.sinks[0]->rendered > 0; }));
    HRESULT result = E_FAIL;
    std::thread stopper([&] { result = streaming.graph->Stop(); });
    stopper.join();
    EXPECT_EQ(result, S_OK);
    const int rendered = streaming.sinks[0]->rendered;
    EXPECT_TRUE(SUCCEEDED(streaming.graph->Pause()));  // parked: what follows begins anew
    EXPECT_EQ(streaming.sinks[0]->rendered, rendered);
    EXPECT_EQ(streaming.graph->Stop(), S_OK);
}

TEST(GraphStreaming, ManyThreadsChangeTheStateAtWill) {
    StreamingGraph streaming(-1);
    std::vector<std::thread> clients;
    for (int client = 0; client < 3; ++client) {
        clients.emplace_back([&, client] {
            for (int round = 0; round < 60; ++round) {
                HRESULT result = S_OK;
                switch ((round + client) % 4) {
                    case 0:
                        result = streaming.graph->Run();
                        break;
                    case 1:
                        result = streaming.graph->Pause();
                        break;
                    case 2:
                        result = streaming.graph->Stop();
                        break;
                    default:
                        FILTER_STATE state{};
                        result = streaming.graph->GetState(LONG{0}, &state);
                        break;
                }
                // A Run that another thread's Stop overtook is the one failure there may be.
                EXPECT_TRUE(SUCCEEDED(result) || result == E_ABORT) << std::hex << result;
            }
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }
    EXPECT_EQ(streaming.graph->Stop(), S_OK);
    FILTER_STATE state{};
    EXPECT_EQ(streaming.graph->GetState(LONG{-1}, &state), S_OK);
    EXPECT_EQ(state, State_Stopped);
}

TEST(GraphStreaming, LeavesNoThreadAndNoDescriptorBehind) {
    const auto round = [](int number) {
        StreamingGraph streaming(-1);
        ASSERT_TRUE(SUCCEEDED(number % 3 == 0 ? streaming.graph->Pause() : streaming.graph->Run()));
        if (number % 2 == 0) {
            ASSERT_EQ(streaming.graph->Stop(), S_OK);
        }  // else the last release has to do it
    };
    round(0);  // what is made once in a process
    round(1);
    const int threads = CountEntries("/proc/self/task");
    const int descriptors = CountEntries("/proc/self/fd");
    for (int number = 0; number < 1000; ++number) {
        round(number);
    }
    // A thread that has been joined may stand in the table for a moment longer.
    EXPECT_TRUE(Eventually([&] { return CountEntries("/proc/self/task") == threads; }));
    EXPECT_EQ(CountEntries("/proc/self/fd"), descriptors);
}

}  // namespace
}  // namespace qrn
