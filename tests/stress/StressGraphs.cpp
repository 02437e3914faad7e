#include "stress/StressGraphs.h"

#include <dirent.h>
#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <utility>

#include "framework/CBaseObject.h"
#include "framework/CBaseRenderer.h"
#include "framework/CSource.h"
#include "framework/CSourceStream.h"
#include "integration/AudioGraphs.h"
#include "platform/system/Clock.h"

namespace qrn::test {

using namespace std::chrono_literals;

namespace {

constexpr LONG kPacketBytes = 1280;  // 80 ms at 8000 Hz
constexpr REFERENCE_TIME kPacketTime = 800'000;
constexpr REFERENCE_TIME kHour = REFERENCE_TIME{3600} * 10'000'000;
constexpr LONG kBuffers = 3;

CMediaType CodedVideo() {
    CMediaType type(&MEDIATYPE_Video);
    type.SetSubtype(&MEDIASUBTYPE_QRN1);
    type.SetFormatType(&FORMAT_VideoInfo);
    return type;
}

class CTone final : public CSourceStream {
public:
    CTone(CSource* filter, REFERENCE_TIME first, CMediaType type = PcmType(8000, 1))
        : CSourceStream(L"tone", nullptr, filter, L"Out"),
          m_next(first),
          m_type(std::move(type)) {}

protected:
    using CSourceStream::GetMediaType;
    HRESULT GetMediaType(CMediaType* type) override { return type->Set(m_type); }
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
        *request = {kBuffers, kPacketBytes, 1, 0};
        ALLOCATOR_PROPERTIES actual{};
        return allocator->SetProperties(request, &actual);
    }
    HRESULT FillBuffer(IMediaSample* sample) override {
        REFERENCE_TIME start = m_next;
        m_next += kPacketTime;
        sample->SetTime(&start, &m_next);
        return sample->SetActualDataLength(kPacketBytes);
    }

private:
    REFERENCE_TIME m_next;
    const CMediaType m_type;
};

ComPtr<IBaseFilter> MakeTone(REFERENCE_TIME first) {
    auto* source = new CSource(L"tone source", nullptr, GUID_NULL);
    new CTone(source, first);  // the source owns it
    return ComPtr<IBaseFilter>::Share(source);
}

/// Bytes that stand for coded pictures, two packets each.
ComPtr<IBaseFilter> MakePictures() {
    auto* source = new CSource(L"picture source", nullptr, GUID_NULL);
    new CTone(source, 0, CodedVideo());  // the source owns it
    return ComPtr<IBaseFilter>::Share(source);
}

class CGateSink final : public CBaseRenderer {
public:
    /// @param keep  true: keeps every sample until it is stopped. @param timed  false: renders at once.
    CGateSink(CProgressGate& gate, bool keep, bool timed)
        : CBaseRenderer(GUID_NULL, L"gate", nullptr, nullptr),
          m_gate(gate),
          m_keep(keep),
          m_timed(timed) {}

    HRESULT CheckMediaType(const CMediaType* /*type*/) override { return S_OK; }
    HRESULT ShouldDrawSampleNow(IMediaSample* /*sample*/, REFERENCE_TIME* /*start*/, REFERENCE_TIME* /*end*/) override {
        if (m_timed) {
            m_gate.Note();
        }
        return m_timed ? S_FALSE : S_OK;
    }
    HRESULT DoRenderSample(IMediaSample* sample) override {
        if (m_keep) {
            m_kept.push_back(ComPtr<IMediaSample>::Share(sample));
        }
        m_gate.Note();
        return S_OK;
    }
    HRESULT OnStopStreaming() override {
        m_kept.clear();
        return S_OK;
    }

private:
    CProgressGate& m_gate;
    const bool m_keep;
    const bool m_timed;
    std::vector<ComPtr<IMediaSample>> m_kept;  // under the renderer's drawing lock
};

class CStressGraph final : public IStressGraph {
public:
    explicit CStressGraph(Held held) : m_held(held) {
        EXPECT_EQ(CreateInstance(CLSID_FilterGraph, m_graph), S_OK);
        switch (held) {
            case Held::kInDelivery:
            case Held::kInRenderer:
                MakeLocal();
                break;
            case Held::kInFill:
                MakeReceiving(FreeEvenPort());
                break;
            case Held::kInPause:
                MakeVideo(FreeEvenPort());
                break;
            case Held::kNowhere:
                MakeCall();
                break;
        }
    }

    ComPtr<IGraphBuilder> Graph() override { return m_graph; }

    bool WaitUntilStreaming(unsigned samples) override {
        switch (m_held) {
            case Held::kInDelivery:
                return m_gate.WaitFor(kBuffers);
            case Held::kInRenderer:
                return m_gate.WaitFor(1);
            case Held::kInFill:
                return true;
            case Held::kInPause:
                return m_gate.WaitFor(1) && WaitForVideoPacket();
            case Held::kNowhere:
                return m_gate.WaitFor(samples);
        }
        return false;
    }

private:
    ComPtr<IBaseFilter> Add(ComPtr<IBaseFilter> filter, const wchar_t* name) {
        EXPECT_EQ(m_graph->AddFilter(filter.Get(), name), S_OK);
        return filter;
    }

    ComPtr<IBaseFilter> AddSink(bool keep, bool timed) {
        return Add(ComPtr<IBaseFilter>::Share(new CGateSink(m_gate, keep, timed)), L"sink");
    }

    void MakeLocal() {
        const bool far = m_held == Held::kInRenderer;
        const auto source = Add(MakeTone(far ? kHour : 0), L"source");
        const auto sink = AddSink(!far, far);
        Connect(*m_graph, source.Get(), sink.Get());
    }

    void MakeReceiving(std::uint16_t port) {
        const auto receiver = Add(MakeFilter(CLSID_QRN_AudioReceiver), L"receiver");
        const auto decompressor = Add(MakeFilter(CLSID_QRN_AudioDeCompressor), L"decompressor");
        const auto sink = AddSink(false, false);
        const auto settings = receiver.As<IQRN_AudioReceiver>();
        EXPECT_EQ(settings->SetFormat(kQrnCodecGsm, 13, 1), S_OK);
        EXPECT_EQ(settings->SetLocalAddress(L"127.0.0.1"), S_OK);
        EXPECT_EQ(settings->SetLocalPort(port), S_OK);
        EXPECT_EQ(settings->OpenNetwork(0), S_OK);
        Connect(*m_graph, receiver.Get(), decompressor.Get());
        Connect(*m_graph, decompressor.Get(), sink.Get());
    }

    void MakeCall() {
        const std::uint16_t port = FreeEvenPort();
        MakeReceiving(port);
        const auto source = Add(MakeTone(0), L"source");
        const auto compressor = Add(MakeFilter(CLSID_QRN_AudioCompressor), L"compressor");
        const auto sender = Add(MakeFilter(CLSID_QRN_AudioSender), L"sender");
        EXPECT_EQ(compressor.As<IQRN_AudioCompressor>()->SetChannels(1), S_OK);
        EXPECT_EQ(compressor.As<IQRN_AudioCompressor>()->SetCodec(kQrnCodecGsm, 13), S_OK);
        const auto settings = sender.As<IQRN_AudioSender>();
        EXPECT_EQ(settings->SetLocalAddress(L"127.0.0.1"), S_OK);
        EXPECT_EQ(settings->SetRenderAtOnce(1), S_OK);
        EXPECT_EQ(settings->OpenNetwork(), S_OK);
        EXPECT_EQ(settings->AddDestination(L"127.0.0.1", port), S_OK);
        Connect(*m_graph, source.Get(), compressor.Get());
        Connect(*m_graph, compressor.Get(), sender.Get());
    }

    void MakeVideo(std::uint16_t port) {
        const auto receiver = Add(MakeFilter(CLSID_QRN_VideoReceiver), L"video receiver");
        const auto sink = AddSink(false, false);
        const auto receiving = receiver.As<IQRN_VideoReceiver>();
        EXPECT_EQ(receiving->SetFormat(320, 240, 25, 0), S_OK);
        EXPECT_EQ(receiving->SetLocalAddress(L"127.0.0.1"), S_OK);
        EXPECT_EQ(receiving->SetLocalPort(port), S_OK);
        EXPECT_EQ(receiving->OpenNetwork(0), S_OK);
        Connect(*m_graph, receiver.Get(), sink.Get());

        const auto source = Add(MakePictures(), L"pictures");
        const auto sender = Add(MakeFilter(CLSID_QRN_VideoSender), L"video sender");
        const auto sending = sender.As<IQRN_VideoSender>();
        EXPECT_EQ(sending->SetLocalAddress(L"127.0.0.1"), S_OK);
        EXPECT_EQ(sending->SetPacing(1, 1), S_OK);  // eight seconds after each packet
        EXPECT_EQ(sending->OpenNetwork(), S_OK);
        EXPECT_EQ(sending->AddDestination(L"127.0.0.1", port), S_OK);
        Connect(*m_graph, source.Get(), sender.Get());
        m_videoCounter = receiver.As<IQRN_NetworkStatistics>();
    }

    bool WaitForVideoPacket() const {
        const auto end = SystemClock().Now() + 10s;
        QRN_RECEIVE_STATISTICS counts{};
        while (m_videoCounter->GetReceiveStatistics(0, &counts) == S_OK && counts.datagrams == 0) {
            if (SystemClock().Now() > end) {
                return false;
            }
            std::this_thread::yield();
        }
        return counts.datagrams != 0;
    }

    const Held m_held;
    CProgressGate m_gate;  // outlives the graph's filters
    ComPtr<IGraphBuilder> m_graph;
    ComPtr<IQRN_NetworkStatistics> m_videoCounter;
};

std::size_t EntriesOf(const char* folder) {
    DIR* entries = opendir(folder);
    std::size_t count = 0;
    while (readdir(entries) != nullptr) {
        ++count;
    }
    closedir(entries);
    return count;
}

}  // namespace

void CProgressGate::Note() {
    const CScopedLock hold(m_lock);
    ++m_count;
    m_changed.NotifyAll();
}

bool CProgressGate::WaitFor(unsigned count) {
    const CScopedLock hold(m_lock);
    const auto end = SystemClock().Now() + 10s;
    while (m_count < count) {
        if (SystemClock().Now() >= end) {
            return false;
        }
        m_changed.WaitFor(m_lock, 1s);
    }
    return true;
}

std::unique_ptr<IStressGraph> MakeStressGraph(Held held) {
    return std::make_unique<CStressGraph>(held);
}

void WarmUp() {
    UseTestModule();
    for (const Held held : kAllHeld) {
        const std::unique_ptr<IStressGraph> graph = MakeStressGraph(held);
        const auto control = graph->Graph().As<IMediaControl>();
        EXPECT_GE(control->Run(), 0);
        EXPECT_EQ(control->Stop(), S_OK);
    }
    CoFreeUnusedLibraries();
}

ProcessState ProcessState::Now() {
    return {EntriesOf("/proc/self/task"), EntriesOf("/proc/self/fd"), CBaseObject::ActiveObjects()};
}

bool ComesBackTo(const ProcessState& baseline) {
    const auto end = SystemClock().Now() + 5s;
    while (ProcessState::Now() != baseline) {
        if (SystemClock().Now() > end) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

std::string ToText(const ProcessState& state) {
    return std::to_string(state.threads) + " threads, " + std::to_string(state.descriptors) + " descriptors, " +
           std::to_string(state.objects) + " objects";
}

}  // namespace qrn::test
