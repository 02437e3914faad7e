// Eight threads call whatever there is on one running call, in any order. The results are of no interest: nothing may
// crash, hang or race (the thread sanitizer looks), and in the end everything can be stopped and given back.

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <functional>
#include <numeric>
#include <random>
#include <thread>

#include "integration/AudioGraphs.h"
#include "platform/system/Clock.h"
#include "platform/system/Event.h"
#include "stress/StressGraphs.h"

namespace qrn::test {
namespace {

using namespace std::chrono_literals;

constexpr unsigned kThreads = 8;
#if defined(__SANITIZE_THREAD__)
constexpr auto kDuration = 60s;
#else
constexpr auto kDuration = 3s;
#endif

using Random = std::mt19937;

/// A call with all its interfaces at hand.
class CSharedCall {
public:
    CSharedCall()
        : m_call(MakeStressGraph(Held::kNowhere)),
          graph(m_call->Graph()),
          control(graph.As<IMediaControl>()) {
        events = graph.As<IMediaEvent>();
        Find(L"compressor", compressor);
        Find(L"sender", sender);
        Find(L"receiver", receiver);
        Find(L"decompressor", decompressor);
    }

private:
    template <class Interface>
    void Find(const wchar_t* name, ComPtr<Interface>& object) {
        ComPtr<IBaseFilter> filter;
        EXPECT_EQ(graph->FindFilterByName(name, filter.Put()), S_OK);
        object = filter.As<Interface>();
        filters.push_back(filter);
    }

    std::unique_ptr<IStressGraph> m_call;

public:
    ComPtr<IGraphBuilder> graph;
    ComPtr<IMediaControl> control;
    ComPtr<IMediaEvent> events;
    ComPtr<IQRN_AudioCompressor> compressor;
    ComPtr<IQRN_AudioSender> sender;
    ComPtr<IQRN_AudioReceiver> receiver;
    ComPtr<IQRN_AudioDeCompressor> decompressor;
    std::vector<ComPtr<IBaseFilter>> filters;
};

using Operation = std::function<void(CSharedCall&, Random&)>;

void DumpIt(CSharedCall& call, Random& random) {
    char* text = nullptr;
    if (QrnDumpGraph(call.graph.Get(), static_cast<int>(random() % 3), &text) == S_OK) {
        CoTaskMemFree(text);
    }
}

void WalkPins(CSharedCall& call, Random& random) {
    const auto& filter = call.filters[random() % call.filters.size()];
    ComPtr<IEnumPins> pins;
    if (filter->EnumPins(pins.Put()) != S_OK) {
        return;
    }
    ComPtr<IPin> pin;
    while (pins->Next(1, pin.Put(), nullptr) == S_OK) {
        ComPtr<IPin> other;
        pin->ConnectedTo(other.Put());
        AM_MEDIA_TYPE type{};
        if (pin->ConnectionMediaType(&type) == S_OK) {
            CoTaskMemFree(type.pbFormat);
        }
        ComPtr<IEnumMediaTypes> types;
        pin->EnumMediaTypes(types.Put());
        if (random() % 16 == 0) {
            pin->BeginFlush();
            pin->EndFlush();
        }
    }
}

void ReadSettings(CSharedCall& call, Random& /*random*/) {
    wchar_t* address = nullptr;
    if (call.receiver->GetLocalAddress(&address) == S_OK) {
        CoTaskMemFree(address);
    }
    DWORD value = 0;
    DWORD other = 0;
    BYTE flag = 0;
    LONG level = 0;
    call.receiver->GetStatistics(0, &value, &other);
    call.receiver->GetSyncPoint(&value, &other);
    call.receiver->GetSelectedChannel(&value);
    call.receiver->GetOutputEnabled(&flag);
    call.sender->GetMaxPacketSize(&value);
    call.sender->GetEnabled(&flag);
    call.compressor->GetLevel(&level, 0);
    call.compressor->GetBitrate(&level);
    call.compressor->GetInputPacketBytes(&value);
    call.decompressor->GetCodec(&value);
}

void ChangeGraph(CSharedCall& call, Random& random) {
    const ComPtr<IBaseFilter> extra = MakeFilter(random() % 2 == 0 ? CLSID_QRN_AudioRender : CLSID_QRN_AudioSender);
    call.graph->AddFilter(extra.Get(), nullptr);
    ComPtr<IEnumFilters> filters;
    call.graph->EnumFilters(filters.Put());
    ComPtr<IBaseFilter> one;
    while (filters && filters->Next(1, one.Put(), nullptr) == S_OK) {
        FILTER_STATE state{};
        one->GetState(0, &state);
    }
    call.graph->RemoveFilter(extra.Get());
}

void LookAtState(CSharedCall& call, Random& random) {
    FILTER_STATE state{};
    call.control->GetState(static_cast<LONG>(random() % 3), &state);
}

void TakeEvent(CSharedCall& call, Random& /*random*/) {
    LONG code = 0;
    LONG_PTR param1 = 0;
    LONG_PTR param2 = 0;
    if (call.events->GetEvent(&code, &param1, &param2, 0) == S_OK) {
        call.events->FreeEventParams(code, param1, param2);
    }
}

void AdviseClock(CSharedCall& call, Random& random) {
    ComPtr<IReferenceClock> clock;
    call.filters[0]->GetSyncSource(clock.Put());
    REFERENCE_TIME now = 0;
    if (clock && clock->GetTime(&now) >= 0) {
        const CEvent event(EventReset::kManual);
        DWORD_PTR cookie = 0;
        if (clock->AdviseTime(now, static_cast<REFERENCE_TIME>(random() % 100'000), event.Descriptor(), &cookie) ==
            S_OK) {
            clock->Unadvise(cookie);
        }
    }
}

void Reconnect(CSharedCall& call, Random& random) {
    const ComPtr<IPin> out = PinOf(call.filters[random() % 2 == 0 ? 0 : 2].Get(), PINDIR_OUTPUT);
    ComPtr<IPin> in;
    if (out->ConnectedTo(in.Put()) == S_OK) {
        call.graph->Disconnect(out.Get());
        call.graph->Disconnect(in.Get());
        call.graph->Connect(out.Get(), in.Get());
    }
}

void SendElsewhere(CSharedCall& call, Random& random) {
    const DWORD port = 40000 + random() % 4 * 2;
    if (random() % 2 == 0) {
        call.sender->AddDestination(L"127.0.0.1", port);
    }
    call.sender->RemoveDestination(L"127.0.0.1", port);
    call.sender->SetTtl(random() % 4);
    call.sender->SetTos(random() % 4);
    call.sender->SetMaxPacketSize(300 + random() % 1000);
    call.sender->SetEnabled(random() % 4 != 0);
}

void Reopen(CSharedCall& call, Random& random) {
    call.receiver->OpenNetwork(random() % 4);
    call.receiver->SelectChannel(random() % 4);
    call.sender->OpenNetwork();
    call.receiver->SelectChannel(0);
}

void TuneReceiver(CSharedCall& call, Random& random) {
    call.receiver->SetReorder(random() % 4, random() % 2, random() % 24, random() % 3);
    call.receiver->SetOutputEnabled(random() % 4 != 0);
    call.receiver->SetMulticastLoop(random() % 2);
    call.receiver->JoinGroup(L"239.255.77.1");
    call.receiver->LeaveGroup(L"239.255.77.1");
    call.receiver->SetBufferCount(random() % 8);
    call.receiver->SetFormat(kQrnCodecGsm, 13, 1);
}

void TuneCodec(CSharedCall& call, Random& random) {
    call.compressor->SetMute(random() % 2 == 0);
    call.compressor->SetUseSampleTimes(random() % 2 == 0);
    call.compressor->SetCodec(kQrnCodecGsm, 13);
    call.compressor->SetChannels(1);
    call.decompressor->SetChannelMode(random() % 3);
}

struct Choice {
    unsigned weight;
    bool mayWait;  // for a change of the graph's state that another thread is making, half a second at most
    Operation operation;
};

const std::vector<Choice> kChoices{
    {2, true, [](CSharedCall& call, Random&) { call.control->Run(); }},
    {1, true, [](CSharedCall& call, Random&) { call.control->Pause(); }},
    {1, true, [](CSharedCall& call, Random&) { call.control->Stop(); }},
    {1, true, [](CSharedCall& call, Random&) { call.control->StopWhenReady(); }},
    {1, true, ChangeGraph},
    {1, true, Reconnect},
    {2, false, Reopen},
    {10, false, LookAtState},
    {10, false, TakeEvent},
    {10, false, DumpIt},
    {20, false, WalkPins},
    {20, false, ReadSettings},
    {10, false, AdviseClock},
    {10, false, SendElsewhere},
    {10, false, TuneReceiver},
    {10, false, TuneCodec},
};

/// Two of the threads control the graph too; the others are never kept waiting.
std::discrete_distribution<std::size_t> ChoicesOf(unsigned thread) {
    std::vector<unsigned> weights;
    for (const Choice& choice : kChoices) {
        weights.push_back(choice.mayWait && thread >= 2 ? 0 : choice.weight);
    }
    return {weights.begin(), weights.end()};
}

TEST(RandomCalls, FromEightThreads) {
    WarmUp();
    {
        CSharedCall call;
        Random random(1);
        AdviseClock(call, random);  // the clock's thread stays
    }
    const ProcessState baseline = ProcessState::Now();
    std::array<std::uint64_t, kThreads> calls{};
    {
        CSharedCall call;
        call.control->Run();
        const auto end = SystemClock().Now() + kDuration;
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < kThreads; ++i) {
            threads.emplace_back([&, i] {
                Random random(i + 1);
                auto choose = ChoicesOf(i);
                while (SystemClock().Now() < end) {
                    kChoices[choose(random)].operation(call, random);
                    ++calls[i];
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        const auto start = SystemClock().Now();
        EXPECT_EQ(call.control->Stop(), S_OK);
        EXPECT_LE(SystemClock().Now() - start, 1s);
    }
    std::printf("%llu calls\n",
                static_cast<unsigned long long>(std::accumulate(calls.begin(), calls.end(), std::uint64_t{0})));
    for (const std::uint64_t count : calls) {
        EXPECT_GT(count, 0u) << "a thread was held up all the time";
    }
    EXPECT_TRUE(ComesBackTo(baseline)) << ToText(ProcessState::Now()) << ", before: " << ToText(baseline);
    CoFreeUnusedLibraries();
}

}  // namespace
}  // namespace qrn::test
