// What a packet of a call costs beyond the codec and the system calls that it needs anyway.
//
// "filters" is our path: sending, from a PCM sample at the compressor's input to the datagram in the socket; receiving,
// from the socket through reassembly, ring and decompressor to the decoded sample at a renderer. "bare" is the same
// packet with the codec library and the socket calls alone. Both run in turn in this process, on one thread; the table
// at the end shows the difference.

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <gsm.h>
#include <netinet/in.h>
#include <opus.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

#include "audiocoding/CAudioCompressor.h"
#include "audiocoding/CAudioDeCompressor.h"
#include "netfilters/CAudioSender.h"
#include "qrn/QRN_Media2.h"
#include "rtp/CNetworkReceiver.h"
#include "runtime/CNetworkBuffer.h"
#include "support/CollectSink.h"
#include "support/PushSource.h"

namespace {

using qrn::ComPtr;
using qrn::test::CCollectSink;
using qrn::test::CPushSource;

constexpr std::size_t kHeaderBytes = 12;
constexpr std::size_t kMaxDatagram = 65536;

struct Codec {
    const char* name;
    DWORD id;
    LONG kbps;
    unsigned samplesPerSec;
    std::size_t packetSamples;
};
constexpr Codec kGsm{"gsm", kQrnCodecGsm, 13, 8000, 640};
// A rate at which Opus stays in one mode: where it changes the mode inside a packet there is nothing to send.
constexpr Codec kOpus{"opus", kQrnCodecOpus, 96, 48000, 1920};

void Check(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "bench_audio_path: %s failed\n", what);
        std::exit(1);
    }
}

/// A connected pair of UDP sockets on loopback would take a shorter way through the kernel than sendto does, so both
/// ends are plain bound sockets.
class CSocketPair {
public:
    CSocketPair() : m_near(Open()), m_far(Open()) {}
    ~CSocketPair() {
        close(m_near);
        close(m_far);
    }
    CSocketPair(const CSocketPair&) = delete;
    CSocketPair& operator=(const CSocketPair&) = delete;

    void SendTo(std::uint16_t port, const std::uint8_t* data, std::size_t length) const {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port);
        Check(sendto(m_near, data, length, 0, reinterpret_cast<sockaddr*>(&address), sizeof address) ==
                  static_cast<ssize_t>(length),
              "sendto");
    }
    std::size_t ReceiveFar(std::uint8_t* data) const {
        const ssize_t length = recv(m_far, data, kMaxDatagram, 0);
        Check(length > 0, "recv");
        return static_cast<std::size_t>(length);
    }
    std::uint16_t FarPort() const {
        sockaddr_in address{};
        socklen_t length = sizeof address;
        getsockname(m_far, reinterpret_cast<sockaddr*>(&address), &length);
        return ntohs(address.sin_port);
    }

private:
    static int Open() {
        const int handle = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        Check(bind(handle, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0, "bind");
        // A packet that never comes is an error to tell, not a reason to hang.
        const timeval patience{2, 0};
        setsockopt(handle, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        return handle;
    }

    int m_near;
    int m_far;
};

std::vector<std::int16_t> Speechlike(const Codec& codec) {
    std::vector<std::int16_t> samples(codec.packetSamples);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double phase = 2 * std::numbers::pi * static_cast<double>(i) / codec.samplesPerSec;
        samples[i] = static_cast<std::int16_t>(6000 * std::sin(180 * phase) + 3000 * std::sin(720 * phase));
    }
    return samples;
}

/// The codec libraries by themselves, with the packet layout of the wire.
class CBareCodec {
public:
    explicit CBareCodec(const Codec& codec) : m_codec(codec) {
        int error = 0;
        m_gsmEncoder.reset(gsm_create());
        m_gsmDecoder.reset(gsm_create());
        m_opusEncoder.reset(opus_encoder_create(48000, 1, OPUS_APPLICATION_VOIP, &error));
        opus_encoder_ctl(m_opusEncoder.get(), OPUS_SET_BITRATE(codec.kbps * 1000));
        opus_encoder_ctl(m_opusEncoder.get(), OPUS_SET_VBR(0));
        m_opusDecoder.reset(opus_decoder_create(48000, 1, &error));
        m_repacketizer.reset(opus_repacketizer_create());
    }

    std::size_t Encode(std::int16_t* pcm, std::uint8_t* out) {
        if (m_codec.id == kQrnCodecGsm) {
            for (std::size_t frame = 0; frame < 4; ++frame) {
                gsm_encode(m_gsmEncoder.get(), pcm + 160 * frame, out + 33 * frame);
            }
            return 132;
        }
        opus_repacketizer_init(m_repacketizer.get());
        for (std::size_t frame = 0; frame < 2; ++frame) {
            const int length = opus_encode(m_opusEncoder.get(), pcm + 960 * frame, 960, m_frames[frame].data(), 960);
            opus_repacketizer_cat(m_repacketizer.get(), m_frames[frame].data(), length);
        }
        return static_cast<std::size_t>(opus_repacketizer_out(m_repacketizer.get(), out, 3840));
    }

    void Decode(std::uint8_t* data, std::size_t length, std::int16_t* pcm) {
        if (m_codec.id == kQrnCodecGsm) {
            for (std::size_t frame = 0; frame < 4; ++frame) {
                gsm_decode(m_gsmDecoder.get(), data + 33 * frame, pcm + 160 * frame);
            }
            return;
        }
        Check(opus_decode(m_opusDecoder.get(), data, static_cast<opus_int32>(length), pcm, 3840, 0) > 0, "opus_decode");
    }

private:
    template <auto Destroy>
    struct Deleter {
        template <class T>
        void operator()(T* object) const {
            Destroy(object);
        }
    };

    const Codec& m_codec;
    std::unique_ptr<gsm_state, Deleter<gsm_destroy>> m_gsmEncoder;
    std::unique_ptr<gsm_state, Deleter<gsm_destroy>> m_gsmDecoder;
    std::unique_ptr<OpusEncoder, Deleter<opus_encoder_destroy>> m_opusEncoder;
    std::unique_ptr<OpusDecoder, Deleter<opus_decoder_destroy>> m_opusDecoder;
    std::unique_ptr<OpusRepacketizer, Deleter<opus_repacketizer_destroy>> m_repacketizer;
    std::array<std::array<unsigned char, 960>, 2> m_frames{};
};

template <class Filter>
ComPtr<IBaseFilter> Make() {
    HRESULT result = S_OK;
    CUnknown* object = Filter::CreateInstance(nullptr, &result);
    Check(object != nullptr && SUCCEEDED(result), "making a filter");
    ComPtr<IBaseFilter> filter;
    object->NonDelegatingAddRef();
    object->NonDelegatingQueryInterface(IID_IBaseFilter, filter.PutVoid());
    object->NonDelegatingRelease();
    return filter;
}

ComPtr<IPin> PinOf(const ComPtr<IBaseFilter>& filter, PIN_DIRECTION wanted) {
    ComPtr<IEnumPins> pins;
    filter->EnumPins(pins.Put());
    ComPtr<IPin> pin;
    PIN_DIRECTION direction{};
    while (pins->Next(1, pin.Put(), nullptr) == S_OK && pin->QueryDirection(&direction) == S_OK &&
           direction != wanted) {
    }
    return pin;
}

void Connect(const ComPtr<IBaseFilter>& from, const ComPtr<IBaseFilter>& to) {
    Check(PinOf(from, PINDIR_OUTPUT)->Connect(PinOf(to, PINDIR_INPUT).Get(), nullptr) == S_OK, "connecting filters");
}

/// Source, one transform, sink; running while it lives.
class CChain {
public:
    CChain(CPushSource* source, ComPtr<IBaseFilter> transform, ComPtr<IBaseFilter> sink)
        : m_filters{std::move(sink), std::move(transform), ComPtr<IBaseFilter>::Share(source)} {
        Connect(m_filters[2], m_filters[1]);
        Connect(m_filters[1], m_filters[0]);
        for (const auto& filter : m_filters) {
            Check(SUCCEEDED(filter->Run(0)), "running a filter");
        }
    }
    ~CChain() {
        for (const auto& filter : m_filters) {
            filter->Stop();
        }
    }
    CChain(const CChain&) = delete;
    CChain& operator=(const CChain&) = delete;

private:
    std::array<ComPtr<IBaseFilter>, 3> m_filters;
};

std::span<const std::uint8_t> AsBytes(const std::vector<std::int16_t>& samples) {
    return {reinterpret_cast<const std::uint8_t*>(samples.data()), samples.size() * sizeof(std::int16_t)};
}

void SendFilters(benchmark::State& state, const Codec& codec) {
    const CSocketPair sockets;
    const ComPtr<IBaseFilter> compressor = Make<CAudioCompressor>();
    compressor.As<IQRN_AudioCompressor>()->SetCodec(codec.id, codec.kbps);
    const ComPtr<IBaseFilter> sender = Make<CAudioSender>();
    const auto network = sender.As<IQRN_AudioSender>();
    network->SetLocalAddress(L"127.0.0.1");
    Check(network->OpenNetwork() == S_OK, "opening the sender");
    network->AddDestination(L"127.0.0.1", sockets.FarPort());
    const std::vector<std::int16_t> pcm = Speechlike(codec);
    auto* const source = new CPushSource(qrn::test::PcmType(codec.samplesPerSec, 1), static_cast<LONG>(pcm.size() * 2));
    const CChain chain(source, compressor, sender);

    std::vector<std::uint8_t> datagram(kMaxDatagram);
    REFERENCE_TIME time = 0;
    for (auto step : state) {
        source->Push(AsBytes(pcm), time);
        time += 400000;
        sockets.ReceiveFar(datagram.data());
    }
}

void SendBare(benchmark::State& state, const Codec& codec) {
    const CSocketPair sockets;
    const std::uint16_t port = sockets.FarPort();
    CBareCodec bare(codec);
    std::vector<std::int16_t> pcm = Speechlike(codec);
    std::vector<std::uint8_t> datagram(kMaxDatagram);
    std::vector<std::uint8_t> arrived(kMaxDatagram);
    for (auto step : state) {
        const std::size_t length = bare.Encode(pcm.data(), datagram.data() + kHeaderBytes);
        sockets.SendTo(port, datagram.data(), kHeaderBytes + length);
        sockets.ReceiveFar(arrived.data());
    }
}

/// A media packet as the sender builds it; only the sequence number changes from one to the next.
std::vector<std::uint8_t> MediaPacket(const Codec& codec) {
    CBareCodec bare(codec);
    std::vector<std::int16_t> pcm = Speechlike(codec);
    std::vector<std::uint8_t> packet(kHeaderBytes + 4096);
    packet[0] = 0x80;
    packet[1] = static_cast<std::uint8_t>(0x80 | (codec.id == kQrnCodecGsm ? 112 : 115));
    packet[8] = 1;
    packet.resize(kHeaderBytes + bare.Encode(pcm.data(), packet.data() + kHeaderBytes));
    return packet;
}

void Number(std::vector<std::uint8_t>& packet, std::uint16_t sequence) {
    packet[2] = static_cast<std::uint8_t>(sequence >> 8);
    packet[3] = static_cast<std::uint8_t>(sequence);
}

void ReceiveFilters(benchmark::State& state, const Codec& codec) {
    const CSocketPair sockets;
    CNetworkReceiver network;
    const qrn::CEvent stop(qrn::EventReset::kManual);
    Check(network.OpenReceiver(0, "127.0.0.1", 0.000125, 0, &stop) == 0, "opening the receiver");
    const std::uint16_t port = network.LocalPort();

    CAudioEncoder format(static_cast<int>(codec.id), codec.kbps);
    WAVEFORMATEX wave{};
    wave.wFormatTag = static_cast<WORD>(kQrnAudioFormatTag + codec.id);
    wave.nChannels = 1;
    wave.nSamplesPerSec = static_cast<DWORD>(format.GetByteRate());
    wave.wBitsPerSample = 8;
    wave.nBlockAlign = 1;
    wave.nAvgBytesPerSec = wave.nSamplesPerSec;
    CMediaType type;
    CreateAudioMediaType(wave, &type, true);

    std::int64_t decoded = 0;
    auto* const source = new CPushSource(type, format.GetMaxPacketSize() * 2);
    const auto sink = ComPtr<IBaseFilter>::Share(
        new CCollectSink([&](IMediaSample* sample) { decoded += sample->GetActualDataLength(); }));
    const CChain chain(source, Make<CAudioDeCompressor>(), sink);

    std::vector<std::uint8_t> packet = MediaPacket(codec);
    CPacket frame;
    frame.Allocate(static_cast<std::uint32_t>(format.GetMaxPacketSize()));
    CNetworkBuffer ring(4);
    std::vector<std::uint8_t> popped(kMaxDatagram);
    std::uint16_t sequence = 1;
    for (auto step : state) {
        Number(packet, sequence++);
        sockets.SendTo(port, packet.data(), packet.size());
        frame.m_payloadType = codec.id == kQrnCodecGsm ? 112 : 115;
        Check(network.ReceiveFrame(frame, 1000) == 241, "receiving a frame");
        ring.Push(frame);
        auto length = static_cast<std::uint32_t>(popped.size());
        std::uint32_t timestamp = 0;
        std::uint32_t lost = 0;
        std::uint8_t payloadType = 0;
        Check(ring.Pop(popped.data(), &length, &timestamp, &lost, &payloadType), "taking a frame from the ring");
        source->Push({popped.data(), length}, 0);
    }
    Check(decoded == static_cast<std::int64_t>(state.iterations() * codec.packetSamples * 2), "decoding every packet");
}

void ReceiveBare(benchmark::State& state, const Codec& codec) {
    const CSocketPair sockets;
    const std::uint16_t port = sockets.FarPort();
    CBareCodec bare(codec);
    std::vector<std::uint8_t> packet = MediaPacket(codec);
    std::vector<std::uint8_t> arrived(kMaxDatagram);
    std::vector<std::int16_t> pcm(3840);
    std::uint16_t sequence = 1;
    for (auto step : state) {
        Number(packet, sequence++);
        sockets.SendTo(port, packet.data(), packet.size());
        const std::size_t length = sockets.ReceiveFar(arrived.data());
        bare.Decode(arrived.data() + kHeaderBytes, length - kHeaderBytes, pcm.data());
        benchmark::DoNotOptimize(pcm.data());
    }
}

/// Prints as usual and keeps the medians for the table of differences.
class CDifferenceReporter final : public benchmark::ConsoleReporter {
public:
    CDifferenceReporter() : ConsoleReporter(OO_Defaults) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
                m_medianUs[run.run_name.function_name] = run.GetAdjustedCPUTime() / 1000.0;
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void PrintDifferences() const {
        std::printf("\nmicroseconds of CPU a packet (median); framework, filters and transport may add 5.00\n");
        std::printf("%-16s %10s %10s %10s\n", "path", "filters", "bare", "added");
        for (const char* path : {"send/gsm", "send/opus", "receive/gsm", "receive/opus"}) {
            const double filters = m_medianUs.at(std::string(path) + "/filters");
            const double bare = m_medianUs.at(std::string(path) + "/bare");
            std::printf("%-16s %10.2f %10.2f %10.2f%s\n", path, filters, bare, filters - bare,
                        filters - bare > 5.0 ? "  too much" : "");
        }
    }

private:
    std::map<std::string, double> m_medianUs;
};

void Register(const char* direction, const Codec& codec, const char* kind,
              void (*function)(benchmark::State&, const Codec&)) {
    const std::string name = std::string(direction) + "/" + codec.name + "/" + kind;
    benchmark::RegisterBenchmark(name.c_str(), function, codec)
        ->Repetitions(9)
        ->MinTime(0.1)
        ->ReportAggregatesOnly(true);
}

}  // namespace

int main(int argc, char** argv) {
    // In turn and in random order, so that what else the machine does meets all of them alike.
    std::vector<char*> arguments(argv, argv + argc);
    std::string interleave = "--benchmark_enable_random_interleaving=true";
    arguments.push_back(interleave.data());
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    for (const Codec* codec : {&kGsm, &kOpus}) {
        Register("send", *codec, "filters", SendFilters);
        Register("send", *codec, "bare", SendBare);
        Register("receive", *codec, "filters", ReceiveFilters);
        Register("receive", *codec, "bare", ReceiveBare);
    }
    CDifferenceReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintDifferences();
    return 0;
}
