/// A call with itself, written as any client would write it: against include/qrn/, libqrn_host and, for a source filter
/// of its own, the filter base classes. A tone is coded with Opus and sent to a port of this machine; what arrives at
/// that port is decoded and played.
///
///     audio_call SECONDS PORT
///
/// PORT is even. Ctrl-C ends the call early. The exit status is 0 when sound has arrived without a gap.

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <initializer_list>
#include <stdexcept>
#include <string>

#include "CToneSource.h"
#include "qrn/QRN_Media2.h"
#include "qrn/filters.h"
#include "qrn/host.h"

using qrn::ComPtr;

namespace {

constexpr LONG kKbps = 96;
constexpr wchar_t kThisMachine[] = L"127.0.0.1";

volatile std::sig_atomic_t g_interrupted = 0;

// snippet: helpers
void Require(HRESULT result, const std::string& what) {
    if (FAILED(result)) {
        std::array<char, 32> code{};
        std::snprintf(code.data(), code.size(), ": 0x%08X", static_cast<unsigned>(result));
        throw std::runtime_error("cannot " + what + code.data());
    }
}

ComPtr<IBaseFilter> MakeFilter(REFCLSID classId, const std::string& name) {
    ComPtr<IBaseFilter> filter;
    const HRESULT result = qrn::CreateInstance(classId, filter);
    if (result == E_MODULE_NOT_FOUND) {
        throw std::runtime_error(std::string("cannot load the module: ") + QrnLastLoadError());
    }
    Require(result, "make the filter " + name);
    return filter;
}

ComPtr<IPin> PinOf(IBaseFilter& filter, PIN_DIRECTION wanted) {
    ComPtr<IEnumPins> pins;
    Require(filter.EnumPins(pins.Put()), "list the pins of a filter");
    ComPtr<IPin> pin;
    PIN_DIRECTION direction{};
    while (pins->Next(1, pin.Put(), nullptr) == S_OK) {
        if (SUCCEEDED(pin->QueryDirection(&direction)) && direction == wanted) {
            return pin;
        }
    }
    throw std::runtime_error("a filter has no such pin");
}

/// A graph of filters in one row, each connected to the next.
ComPtr<IGraphBuilder> BuildGraph(std::initializer_list<IBaseFilter*> filters) {
    ComPtr<IGraphBuilder> graph;
    Require(qrn::CreateInstance(CLSID_FilterGraph, graph), "make a filter graph");
    IBaseFilter* previous = nullptr;
    for (IBaseFilter* filter : filters) {
        Require(graph->AddFilter(filter, nullptr), "add a filter");
        if (previous != nullptr) {
            const ComPtr<IPin> output = PinOf(*previous, PINDIR_OUTPUT);
            const ComPtr<IPin> input = PinOf(*filter, PINDIR_INPUT);
            Require(graph->Connect(output.Get(), input.Get()), "connect two filters");
        }
        previous = filter;
    }
    return graph;
}
// end of snippet

// snippet: graphs
ComPtr<IGraphBuilder> BuildReceiveGraph(DWORD port, ComPtr<IQRN_AudioReceiver>& network) {
    const auto receiver = MakeFilter(CLSID_QRN_AudioReceiver, "QRN Audio Receiver");
    const auto decompressor = MakeFilter(CLSID_QRN_AudioDeCompressor, "QRN Audio Decompressor");
    const auto renderer = MakeFilter(CLSID_QRN_AudioRender, "QRN Audio Render");

    network = receiver.As<IQRN_AudioReceiver>();
    Require(network->SetFormat(kQrnCodecOpus, kKbps, 1), "set the format of the receiver");
    Require(network->SetLocalPort(port), "set the port of the receiver");
    Require(network->SetLocalAddress(kThisMachine), "set the address of the receiver");
    Require(network->OpenNetwork(0), "open port " + std::to_string(port));

    return BuildGraph({receiver.Get(), decompressor.Get(), renderer.Get()});
}

ComPtr<IGraphBuilder> BuildSendGraph(int seconds, DWORD toPort) {
    const auto source = CToneSource::Create(seconds);
    const auto compressor = MakeFilter(CLSID_QRN_AudioCompressor, "QRN Audio Compressor");
    const auto sender = MakeFilter(CLSID_QRN_AudioSender, "QRN Audio Sender");
    Require(source ? S_OK : E_OUTOFMEMORY, "make the source of the tone");

    const auto codec = compressor.As<IQRN_AudioCompressor>();
    Require(codec->SetChannels(1), "set the channels of the compressor");
    Require(codec->SetCodec(kQrnCodecOpus, kKbps), "set the codec of the compressor");

    const auto network = sender.As<IQRN_AudioSender>();
    Require(network->SetLocalAddress(kThisMachine), "set the address of the sender");
    Require(network->OpenNetwork(), "open the network for sending");
    Require(network->AddDestination(kThisMachine, toPort), "add the destination");
    Require(network->SetRenderAtOnce(0), "let packets leave at their time");

    return BuildGraph({source.Get(), compressor.Get(), sender.Get()});
}
// end of snippet

// snippet: events
/// Waits for the next event of a graph.
/// @return whether the stream has come to its end. @throws std::runtime_error when it has failed.
bool HasEnded(IMediaEvent& events, LONG timeoutMs) {
    LONG code = 0;
    LONG_PTR first = 0;
    LONG_PTR second = 0;
    if (events.GetEvent(&code, &first, &second, timeoutMs) != S_OK) {
        return false;  // none came in this time
    }
    events.FreeEventParams(code, first, second);
    if (code == EC_ERRORABORT) {
        Require(static_cast<HRESULT>(first), "go on with the stream");
    }
    return code == EC_COMPLETE;
}

void Call(int seconds, DWORD port, ComPtr<IQRN_AudioReceiver>& network) {
    constexpr LONG kLookMs = 100;
    constexpr LONG kPlayOutMs = 500;
    const ComPtr<IGraphBuilder> receiving = BuildReceiveGraph(port, network);
    const ComPtr<IGraphBuilder> sending = BuildSendGraph(seconds, port);
    const auto heard = receiving.As<IMediaEvent>();
    const auto sent = sending.As<IMediaEvent>();

    Require(receiving.As<IMediaControl>()->Run(), "run the receiving graph");
    Require(sending.As<IMediaControl>()->Run(), "run the sending graph");
    while (g_interrupted == 0 && !HasEnded(*sent, kLookMs)) {
        HasEnded(*heard, 0);  // a receiver has no end, but it may fail
    }
    Require(sending.As<IMediaControl>()->Stop(), "stop the sending graph");
    HasEnded(*heard, kPlayOutMs);  // what is under way is heard before the loudspeaker stops
    Require(receiving.As<IMediaControl>()->Stop(), "stop the receiving graph");
}
// end of snippet

bool Report(IQRN_AudioReceiver& network) {
    DWORD received = 0;
    DWORD gaps = 0;
    Require(network.GetStatistics(0, &received, &gaps), "ask for the statistics");
    std::printf("%u packets, %u gaps\n", received, gaps);
    return received > 0 && gaps == 0;
}

}  // namespace

int main(int count, char** arguments) {
    const int seconds = count == 3 ? std::atoi(arguments[1]) : 0;
    const int port = count == 3 ? std::atoi(arguments[2]) : 0;
    if (seconds < 1 || port < 2 || port > 65534) {
        std::fprintf(stderr, "usage: audio_call SECONDS PORT\n");
        return 2;
    }
    std::signal(SIGINT, [](int) { g_interrupted = 1; });
    try {
        ComPtr<IQRN_AudioReceiver> network;
        Call(seconds, static_cast<DWORD>(port), network);
        return Report(*network) ? 0 : 1;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "audio_call: %s\n", failure.what());
        return 1;
    }
}
