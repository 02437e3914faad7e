#include "integration/AudioGraphs.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <numbers>
#include <random>

#include "support/CollectSink.h"

namespace qrn::test {

namespace {

sockaddr_in Loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

/// A renderer that waits for each sample's time, as a loudspeaker does.
class CTimedSink final : public CBaseRenderer {
public:
    CTimedSink(CCollectSink::Handler handler, HRESULT* result)
        : CBaseRenderer(qrn::Guid("2F0D6C53-2D9F-4E4E-9D0C-6A6B6A1F0003"), L"timed sink", nullptr, result),
          m_handler(std::move(handler)) {}

    HRESULT CheckMediaType(const CMediaType* /*type*/) override { return S_OK; }
    HRESULT DoRenderSample(IMediaSample* sample) override {
        m_handler(sample);
        return S_OK;
    }

private:
    const CCollectSink::Handler m_handler;
};

}  // namespace

CTestSocket::CTestSocket() : m_socket(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    m_port = FreeEvenPort();
    const sockaddr_in address = Loopback(m_port);
    EXPECT_EQ(bind(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
}

CTestSocket::~CTestSocket() {
    close(m_socket);
}

std::optional<Bytes> CTestSocket::Receive(int timeoutMs) {
    pollfd wait{m_socket, POLLIN, 0};
    if (poll(&wait, 1, timeoutMs) != 1) {
        return std::nullopt;
    }
    Bytes datagram(65536);
    const ssize_t length = recv(m_socket, datagram.data(), datagram.size(), 0);
    datagram.resize(static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    return datagram;
}

void CTestSocket::SendTo(std::uint16_t port, const Bytes& datagram) {
    const sockaddr_in address = Loopback(port);
    EXPECT_EQ(sendto(m_socket, datagram.data(), datagram.size(), 0, reinterpret_cast<const sockaddr*>(&address),
                     sizeof address),
              static_cast<ssize_t>(datagram.size()));
}

std::uint16_t FreeEvenPort() {
    for (int attempt = 0; attempt < 100; ++attempt) {
        const int probe = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_in address = Loopback(0);
        socklen_t length = sizeof address;
        bind(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address);
        getsockname(probe, reinterpret_cast<sockaddr*>(&address), &length);
        close(probe);
        if (ntohs(address.sin_port) % 2 == 0) {
            return ntohs(address.sin_port);
        }
    }
    ADD_FAILURE() << "no free even port";
    return 0;
}

void UseTestModule() {
    QrnSetModulePath(QRN_MODULE_FILE);
}

ComPtr<IPin> PinOf(IBaseFilter* filter, PIN_DIRECTION direction) {
    ComPtr<IEnumPins> pins;
    EXPECT_EQ(filter->EnumPins(pins.Put()), S_OK);
    ComPtr<IPin> pin;
    while (pins->Next(1, pin.Put(), nullptr) == S_OK) {
        PIN_DIRECTION itsDirection{};
        pin->QueryDirection(&itsDirection);
        if (itsDirection == direction) {
            return pin;
        }
    }
    ADD_FAILURE() << "the filter has no such pin";
    return {};
}

ComPtr<IBaseFilter> MakeFilter(REFCLSID classId) {
    ComPtr<IBaseFilter> filter;
    EXPECT_EQ(CreateInstance(classId, filter), S_OK) << QrnLastLoadError();
    return filter;
}

void Connect(IGraphBuilder& graph, IBaseFilter* from, IBaseFilter* to) {
    EXPECT_EQ(graph.Connect(PinOf(from, PINDIR_OUTPUT).Get(), PinOf(to, PINDIR_INPUT).Get()), S_OK);
}

std::vector<std::int16_t> TestSignal(const AudioFormat& format, unsigned packets, unsigned seed) {
    std::vector<std::int16_t> samples;
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> noise(-1.0, 1.0);
    const unsigned count = packets * format.PacketSamples();
    for (unsigned i = 0; i < count; ++i) {
        const double seconds = static_cast<double>(i) / format.SamplesPerSec();
        for (unsigned channel = 0; channel < format.channels; ++channel) {
            const double pitch = 140.0 + 60.0 * channel + 40.0 * std::sin(2.0 * seconds);
            const double voice = std::sin(2 * std::numbers::pi * pitch * seconds) +
                                 0.5 * std::sin(2 * std::numbers::pi * 3 * pitch * seconds) + 0.05 * noise(random);
            samples.push_back(static_cast<std::int16_t>(9000 * voice));
        }
    }
    return samples;
}

CSendGraph::CSendGraph(const AudioFormat& format, std::uint16_t toPort, IExternalTransport* transport,
                       DWORD parityGroup) {
    UseTestModule();
    EXPECT_EQ(CreateInstance(CLSID_FilterGraph, m_graph), S_OK);
    m_control = m_graph.As<IMediaControl>();
    m_push = new CPushSource(PcmType(format.SamplesPerSec(), format.channels),
                             static_cast<LONG>(format.PacketSamples() * format.channels * 2));
    m_source = ComPtr<IBaseFilter>::Share(m_push);
    const ComPtr<IBaseFilter> compressor = MakeFilter(CLSID_QRN_AudioCompressor);
    const ComPtr<IBaseFilter> sender = MakeFilter(CLSID_QRN_AudioSender);

    const auto codec = compressor.As<IQRN_AudioCompressor>();
    EXPECT_EQ(codec->SetChannels(format.channels), S_OK);
    EXPECT_EQ(codec->SetCodec(format.codec, format.kbps), S_OK);
    m_sender = sender.As<IQRN_AudioSender>();
    EXPECT_EQ(m_sender->SetLocalAddress(L"127.0.0.1"), S_OK);
    EXPECT_EQ(m_sender->SetExternalTransport(transport), S_OK);
    EXPECT_EQ(m_sender->SetParityGroup(parityGroup), S_OK);
    EXPECT_EQ(m_sender->OpenNetwork(), S_OK);
    EXPECT_EQ(m_sender->AddDestination(L"127.0.0.1", toPort), S_OK);

    m_graph->AddFilter(m_source.Get(), L"source");
    m_graph->AddFilter(compressor.Get(), L"compressor");
    m_graph->AddFilter(sender.Get(), L"sender");
    Connect(*m_graph, m_source.Get(), compressor.Get());
    Connect(*m_graph, compressor.Get(), sender.Get());
    EXPECT_GE(m_control->Run(), 0);
}

CSendGraph::~CSendGraph() {
    m_control->Stop();
}

void CSendGraph::Push(std::span<const std::int16_t> samples, REFERENCE_TIME start) {
    EXPECT_EQ(m_push->Push({reinterpret_cast<const std::uint8_t*>(samples.data()), samples.size_bytes()}, start), S_OK);
}

CReceiveGraph::CReceiveGraph(const AudioFormat& format, std::uint16_t port, IExternalTransport* transport,
                             DWORD parityGroup)
    : m_format(format) {
    UseTestModule();
    EXPECT_EQ(CreateInstance(CLSID_FilterGraph, m_graph), S_OK);
    m_control = m_graph.As<IMediaControl>();
    const ComPtr<IBaseFilter> receiver = MakeFilter(CLSID_QRN_AudioReceiver);
    const ComPtr<IBaseFilter> decompressor = MakeFilter(CLSID_QRN_AudioDeCompressor);
    HRESULT result = S_OK;
    const auto sink =
        ComPtr<IBaseFilter>::Share(new CTimedSink([this](IMediaSample* sample) { OnSample(sample); }, &result));

    m_receiver = receiver.As<IQRN_AudioReceiver>();
    EXPECT_EQ(m_receiver->SetFormat(format.codec, static_cast<DWORD>(format.kbps), format.channels), S_OK);
    m_receiver->SetLocalAddress(L"127.0.0.1");
    m_receiver->SetLocalPort(port);
    m_receiver->SetExternalTransport(0, transport);
    EXPECT_EQ(m_receiver->OpenNetwork(0), S_OK);
    m_receiver->SetReorder(0, 1, 20, parityGroup);

    m_graph->AddFilter(receiver.Get(), L"receiver");
    m_graph->AddFilter(decompressor.Get(), L"decompressor");
    m_graph->AddFilter(sink.Get(), L"sink");
    Connect(*m_graph, receiver.Get(), decompressor.Get());
    if (format.channels == 2) {
        EXPECT_EQ(decompressor.As<IQRN_AudioDeCompressor>()->SetChannelMode(2), S_OK);
    }
    Connect(*m_graph, decompressor.Get(), sink.Get());
}

CReceiveGraph::~CReceiveGraph() {
    Stop();
}

void CReceiveGraph::Run() {
    std::unique_lock hold(m_lock);
    const std::size_t before = m_samples;
    hold.unlock();
    EXPECT_GE(m_control->Run(), 0);
    hold.lock();
    EXPECT_TRUE(m_heardMore.wait_for(hold, std::chrono::seconds(10), [&] { return m_samples > before; }));
}

void CReceiveGraph::Stop() {
    EXPECT_GE(m_control->Stop(), 0);
}

void CReceiveGraph::OnSample(IMediaSample* sample) {
    BYTE* data = nullptr;
    sample->GetPointer(&data);
    const auto* samples = reinterpret_cast<const std::int16_t*>(data);
    const std::span<const std::int16_t> block(samples, static_cast<std::size_t>(sample->GetActualDataLength() / 2));
    const bool isSilent = std::ranges::all_of(block, [](std::int16_t value) { return value == 0; });
    const std::lock_guard hold(m_lock);
    ++m_samples;
    if (!isSilent) {
        m_packets.emplace_back(block.begin(), block.end());
    }
    m_heardMore.notify_all();
}

std::vector<std::int16_t> CReceiveGraph::Heard() const {
    const std::lock_guard hold(m_lock);
    std::vector<std::int16_t> all;
    for (const auto& packet : m_packets) {
        all.insert(all.end(), packet.begin(), packet.end());
    }
    return all;
}

std::size_t CReceiveGraph::HeardPackets() const {
    const std::lock_guard hold(m_lock);
    return m_packets.size();
}

bool CReceiveGraph::WaitForPackets(std::size_t count) {
    std::unique_lock hold(m_lock);
    return m_heardMore.wait_for(hold, std::chrono::seconds(10), [&] { return m_packets.size() >= count; });
}

void CReceiveGraph::ReadStatistics() {
    DWORD received = 0;
    DWORD gaps = 0;
    EXPECT_EQ(m_receiver->GetStatistics(0, &received, &gaps), S_OK);
    m_received += received;
    m_gaps += gaps;
}

DWORD CReceiveGraph::Received() {
    ReadStatistics();
    return m_received;
}

DWORD CReceiveGraph::Gaps() {
    ReadStatistics();
    return m_gaps;
}

}  // namespace qrn::test
