#include "host/GraphDump.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <future>
#include <string>
#include <thread>

#include "framework/CBaseRenderer.h"
#include "framework/CSource.h"
#include "framework/CSourceStream.h"
#include "host/ForeignFilter.h"
#include "host/GraphDumpFormat.h"
#include "host/GraphFixture.h"
#include "host/MediaTypeText.h"

namespace qrn::test {
namespace {

constexpr int kSamples = 30;
constexpr LONG kSampleBytes = 64;

CMediaType SpeechType(DWORD hertz) {
    const WAVEFORMATEX format{WAVE_FORMAT_PCM, 1, hertz, hertz * 2, 2, 16, 0};
    CMediaType type;
    CreateAudioMediaType(format, &type, true);
    return type;
}

/// Makes samples of 64 bytes without a time, which are rendered as they come; each brings its type along.
class CSpeechPin final : public CSourceStream {
public:
    CSpeechPin(CSource* filter, HRESULT* result, int samples)
        : CSourceStream(L"speech pin", result, filter, L"Speech"),
          m_samples(samples) {}

protected:
    using CSourceStream::GetMediaType;
    HRESULT GetMediaType(CMediaType* type) override { return type->Set(SpeechType(16000)); }
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
        *request = {3, kSampleBytes, 1, 0};
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
        const CMediaType type = SpeechType(m_made % 2 == 0 ? 16000 : 8000);
        sample->SetMediaType(&type);
        sample->SetTime(nullptr, nullptr);
        sample->SetActualDataLength(kSampleBytes);
        ++m_made;
        return S_OK;
    }

private:
    const int m_samples;  // negative: without end
    int m_made = 0;
};

class CSpeechSource final : public CSource {
public:
    explicit CSpeechSource(int samples) : CSource(L"speech", nullptr, Guid("00112233-4455-6677-8899-AABBCCDDEEFF")) {
        HRESULT result = S_OK;
        new CSpeechPin(this, &result, samples);  // the source owns it
    }
};

class CListener final : public CBaseRenderer {
public:
    CListener() : CBaseRenderer(GUID_NULL, L"listener", nullptr, nullptr) {}
    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    HRESULT DoRenderSample(IMediaSample*) override { return S_OK; }
};

struct SpeechGraph {
    explicit SpeechGraph(int samples) : source(ComPtr<CSpeechSource>::Share(new CSpeechSource(samples))) {
        EXPECT_EQ(graph->AddFilter(source.Get(), L"source"), S_OK);
        EXPECT_EQ(graph->AddFilter(listener.Get(), L"listener"), S_OK);
        EXPECT_EQ(graph->Connect(source->GetPin(0), listener->GetPin(0)), S_OK);
    }
    ComPtr<CFilterGraph> graph = ComPtr<CFilterGraph>::Share(new CFilterGraph(nullptr, SystemClock()));
    ComPtr<CSpeechSource> source;
    ComPtr<CListener> listener = ComPtr<CListener>::Share(new CListener);
};

TEST(GraphDumpOfAStream, HasTheRightFigures) {
    SpeechGraph speech(kSamples);
    ASSERT_TRUE(SUCCEEDED(speech.graph->Run()));
    LONG code = 0;
    ASSERT_EQ(speech.graph->WaitForCompletion(20'000, &code), S_OK);
    const GraphDump dump = TakeGraphDump(*speech.graph);
    ASSERT_TRUE(dump.state);
    EXPECT_EQ(dump.state->state, State_Running);
    ASSERT_EQ(dump.filters.size(), 2u);
    EXPECT_EQ(dump.filters[0].name, "source");
    EXPECT_EQ(dump.filters[0].classId, Guid("00112233-4455-6677-8899-AABBCCDDEEFF"));
    EXPECT_EQ(dump.filters[1].name, "listener");
    for (std::size_t at = 0; at < 2; ++at) {
        SCOPED_TRACE(dump.filters[at].name);
        ASSERT_TRUE(dump.filters[at].state);
        EXPECT_EQ(dump.filters[at].state->state, State_Running);
        ASSERT_EQ(dump.filters[at].pins.size(), 1u);
        const PinDump& pin = dump.filters[at].pins[0];
        EXPECT_EQ(pin.isOutput, at == 0);
        EXPECT_TRUE(pin.isConnected);
        ASSERT_TRUE(pin.peer);
        EXPECT_EQ(pin.peer->filter, 1 - at);
        EXPECT_EQ(pin.peer->pin, 0u);
        ASSERT_TRUE(pin.statistics);
        EXPECT_EQ(pin.statistics->samples, static_cast<ULONGLONG>(kSamples));
        EXPECT_EQ(pin.statistics->bytes, static_cast<ULONGLONG>(kSamples * kSampleBytes));
        EXPECT_EQ(pin.statistics->dropped, 0u);
        EXPECT_EQ(pin.statistics->bufferCount, 3);
        EXPECT_EQ(pin.statistics->buffersInUse, 0);
    }
    EXPECT_EQ(dump.filters[0].pins[0].mediaType, "audio PCM, 16000 Hz, 1 channel, 16 bit");
    EXPECT_EQ(dump.filters[1].pins[0].mediaType, "audio PCM, 8000 Hz, 1 channel, 16 bit");  // the last sample's
    EXPECT_EQ(speech.graph->Stop(), S_OK);
}

TEST(GraphDumpOfAStream, AnotherThreadTakesItWhileTheGraphChanges) {
    SpeechGraph speech(-1);
    std::atomic<bool> isOver{false};
    std::atomic<int> running{0};
    std::thread looker([&] {
        while (!isOver) {
            const GraphDump dump = TakeGraphDump(*speech.graph);
            for (const std::string& text : {FormatAsText(dump), FormatAsJson(dump), FormatAsDot(dump)}) {
                EXPECT_FALSE(text.empty());
            }
            ASSERT_EQ(dump.filters.size(), 2u);
            const auto& statistics = dump.filters[0].pins[0].statistics;
            ASSERT_TRUE(statistics);
            if (dump.state && dump.state->state == State_Running && statistics->samples > 0) {
                ++running;
            }
        }
    });
    for (int round = 0; round < 30; ++round) {
        EXPECT_TRUE(SUCCEEDED(speech.graph->Run()));
        const int seen = running;
        const auto start = SystemClock().Now();
        while (running == seen && SystemClock().Now() - start < std::chrono::seconds(20)) {
            std::this_thread::yield();
        }
        EXPECT_GT(running, seen);
        EXPECT_EQ(speech.graph->Stop(), S_OK);
        EXPECT_EQ(speech.graph->Disconnect(speech.source->GetPin(0)), S_OK);
        EXPECT_EQ(speech.graph->Disconnect(speech.listener->GetPin(0)), S_OK);
        EXPECT_EQ(speech.graph->Connect(speech.source->GetPin(0), speech.listener->GetPin(0)), S_OK);
    }
    isOver = true;
    looker.join();
}

using GraphDumpTest = GraphFixture;

TEST_F(GraphDumpTest, AnEmptyGraph) {
    const GraphDump dump = TakeGraphDump(*m_graph);
    ASSERT_TRUE(dump.state);
    EXPECT_EQ(dump.state->state, State_Stopped);
    EXPECT_TRUE(dump.filters.empty());
}

TEST_F(GraphDumpTest, DoesNotWaitForAChangeThatHangs) {
    static CCritSec filterLock;  // the graph, which lets go of the filter, outlives the test
    const auto source = Add("source", 0, 1, &filterLock);
    const auto sink = Add("sink", 1, 0);
    Connect(source->Output(), sink->Input());
    std::promise<GraphDump> taken;
    std::future<GraphDump> dump = taken.get_future();
    std::thread looker;
    bool isInTime = false;
    // Inside the graph's change, and with a filter's lock held as by one that hangs in its own.
    sink->onPause = [&] {
        CAutoLock lock(&filterLock);
        looker = std::thread([&] { taken.set_value(TakeGraphDump(*m_graph)); });
        isInTime = dump.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
    };
    EXPECT_TRUE(SUCCEEDED(m_graph->Pause()));
    ASSERT_TRUE(looker.joinable());
    looker.join();
    EXPECT_TRUE(isInTime);
    const GraphDump seen = dump.get();
    ASSERT_EQ(seen.filters.size(), 2u);
    EXPECT_TRUE(seen.filters[0].pins[0].isConnected);
    ASSERT_TRUE(seen.state);
    EXPECT_TRUE(seen.state->isIntermediate);
    m_graph->Stop();
}

TEST_F(GraphDumpTest, PinsInTheOrderOfTheirFilter) {
    const auto first = Add("first", 1, 2);
    const auto second = Add("second", 2, 0);
    Connect(first->Output(1), second->Input(1));
    const GraphDump dump = TakeGraphDump(*m_graph);
    ASSERT_EQ(dump.filters.size(), 2u);
    ASSERT_EQ(dump.filters[0].pins.size(), 3u);
    EXPECT_EQ(dump.filters[0].pins[0].id, "In0");
    EXPECT_FALSE(dump.filters[0].pins[1].isConnected);
    EXPECT_FALSE(dump.filters[0].pins[1].peer);
    EXPECT_EQ(dump.filters[0].pins[1].mediaType, "");
    ASSERT_TRUE(dump.filters[0].pins[2].peer);
    EXPECT_EQ(dump.filters[0].pins[2].peer->filter, 1u);
    EXPECT_EQ(dump.filters[0].pins[2].peer->pin, 1u);
    EXPECT_EQ(dump.filters[0].pins[2].mediaType, "audio PCM");
}

TEST_F(GraphDumpTest, AForeignFilterShowsWhatItTells) {
    const auto foreign = ComPtr<CForeignFilter>::Share(new CForeignFilter);
    ASSERT_EQ(m_graph->AddFilter(foreign.Get(), L"foreign"), S_OK);
    const GraphDump dump = TakeGraphDump(*m_graph);
    ASSERT_EQ(dump.filters.size(), 1u);
    const FilterDump& filter = dump.filters[0];
    EXPECT_EQ(filter.name, std::string(MAX_FILTER_NAME, 'f'));  // an array without a closing zero
    EXPECT_EQ(filter.classId, GUID_NULL);
    EXPECT_FALSE(filter.state);
    ASSERT_EQ(filter.pins.size(), 1u);
    const PinDump& pin = filter.pins[0];
    EXPECT_EQ(pin.name, std::string(MAX_PIN_NAME, 'p'));
    EXPECT_EQ(pin.id, "");
    EXPECT_TRUE(pin.isConnected);
    EXPECT_FALSE(pin.peer);
    EXPECT_EQ(pin.mediaType, "");
    EXPECT_FALSE(pin.statistics);
    EXPECT_NE(FormatAsText(dump).find("outside of the graph"), std::string::npos);
    ASSERT_EQ(m_graph->RemoveFilter(foreign.Get()), S_OK);
    EXPECT_EQ(foreign->References(), 1u);  // the dump lets go of all it was given
}

// ---------------------------------------------------------------------------------------------------------------------

struct RateCase {
    const char* name;
    ULONGLONG samples;
    ULONGLONG bytes;
    LONGLONG firstMs;
    LONGLONG lastMs;
    double samplesPerSecond;
    double bytesPerSecond;
};

class Rate : public testing::TestWithParam<RateCase> {};

TEST_P(Rate, IsOverTheIntervalsBetweenSamples) {
    QRN_PIN_STATISTICS statistics{};
    statistics.samples = GetParam().samples;
    statistics.bytes = GetParam().bytes;
    statistics.firstSampleNs = GetParam().firstMs * 1'000'000;
    statistics.lastSampleNs = GetParam().lastMs * 1'000'000;
    EXPECT_DOUBLE_EQ(SamplesPerSecond(statistics), GetParam().samplesPerSecond);
    EXPECT_DOUBLE_EQ(BytesPerSecond(statistics), GetParam().bytesPerSecond);
}

INSTANTIATE_TEST_SUITE_P(Rows, Rate,
                         testing::Values(RateCase{"None", 0, 0, 0, 0, 0, 0}, RateCase{"One", 1, 100, 5, 5, 0, 0},
                                         RateCase{"SameTick", 3, 300, 5, 5, 0, 0},
                                         RateCase{"Backwards", 3, 300, 6, 5, 0, 0},
                                         RateCase{"Steady", 51, 5100, 1000, 2000, 50, 5000}),
                         [](const auto& row) { return std::string(row.param.name); });

CMediaType VideoType(const GUID& subtype, std::int32_t height, std::int64_t frameTime, std::size_t bytes) {
    CMediaType type(&MEDIATYPE_Video);
    type.SetSubtype(&subtype);
    type.SetFormatType(&FORMAT_VideoInfo);
    BYTE block[88]{};
    const std::int32_t width = 352;
    std::memcpy(block + 40, &frameTime, 8);
    std::memcpy(block + 52, &width, 4);
    std::memcpy(block + 56, &height, 4);
    block[62] = 12;
    type.SetFormat(block, static_cast<ULONG>(bytes));
    return type;
}

CMediaType AudioType(WORD tag, WORD channels, WORD bits) {
    CMediaType type;
    CreateAudioMediaType({tag, channels, 8000, 1650, 0, bits, 0}, &type, true);
    return type;
}

struct TypeCase {
    const char* name;
    CMediaType type;
    const char* text;
};

class TypeText : public testing::TestWithParam<TypeCase> {};

TEST_P(TypeText, NamesWhatItKnows) {
    EXPECT_EQ(DescribeMediaType(GetParam().type), GetParam().text);
}

constexpr GUID kI420 = Guid("30323449-0000-0010-8000-00AA00389B71");
constexpr GUID kUnprintable = Guid("31225251-0000-0010-8000-00AA00389B71");

INSTANTIATE_TEST_SUITE_P(
    Rows, TypeText,
    testing::Values(
        TypeCase{"Coded", AudioType(14217, 2, 0), "audio Opus, 8000 Hz, 2 channels"},
        TypeCase{"UnknownTag", AudioType(14218, 1, 4), "audio format 14218, 8000 Hz, 1 channel, 4 bit"},
        TypeCase{"Picture", VideoType(kI420, 288, 400'000, 88), "video I420, 352x288, 12 bit, 25 frames/s"},
        TypeCase{"UpsideDown", VideoType(kI420, -288, 333'667, 88),
                 "video I420, 352x288 top-down, 12 bit, 29.97 frames/s"},
        TypeCase{"NoHeight", VideoType(kI420, INT32_MIN, -1, 88), "video I420, 352x2147483648 top-down, 12 bit"},
        TypeCase{"ShortBlock", VideoType(kI420, 288, 400'000, 87), "video I420"},
        TypeCase{"Quote", VideoType(kUnprintable, 288, 0, 0), "video 31225251-0000-0010-8000-00AA00389B71"},
        TypeCase{"Nothing", CMediaType(), "00000000-0000-0000-0000-000000000000 00000000-0000-0000-0000-000000000000"}),
    [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace qrn::test
