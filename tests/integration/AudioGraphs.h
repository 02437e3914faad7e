#pragma once
/// The two halves of an audio call as a client builds them, through public interfaces only, with a plain UDP socket of
/// the test's at the other end.

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "qrn/QRN_Media2.h"
#include "qrn/host.h"
#include "support/PushSource.h"

namespace qrn::test {

using Bytes = std::vector<std::uint8_t>;

/// A UDP socket on 127.0.0.1 with an even port.
class CTestSocket {
public:
    CTestSocket();
    ~CTestSocket();
    CTestSocket(const CTestSocket&) = delete;
    CTestSocket& operator=(const CTestSocket&) = delete;

    std::uint16_t Port() const { return m_port; }
    /// Nothing when none comes within the time.
    std::optional<Bytes> Receive(int timeoutMs = 2000);
    void SendTo(std::uint16_t port, const Bytes& datagram);

private:
    int m_socket;
    std::uint16_t m_port = 0;
};

/// An even port that was free a moment ago.
std::uint16_t FreeEvenPort();

/// Points the host library at the module under test.
void UseTestModule();

struct AudioFormat {
    DWORD codec;
    LONG kbps;
    unsigned channels;

    unsigned SamplesPerSec() const { return codec == kQrnCodecOpus ? 48000 : 8000; }
    unsigned PacketMs() const { return codec == kQrnCodecOpus ? 40 : 80; }
    unsigned PacketSamples() const { return SamplesPerSec() * PacketMs() / 1000; }
};

/// Push source, compressor, sender; runs from construction on. EXPECTs that every step works.
class CSendGraph {
public:
    /// @param transport  takes the traffic; null for the session's own socket.
    CSendGraph(const AudioFormat& format, std::uint16_t toPort, IExternalTransport* transport = nullptr,
               DWORD parityGroup = 0);
    ~CSendGraph();

    /// One packet's worth of interleaved samples.
    void Push(std::span<const std::int16_t> samples, REFERENCE_TIME start);
    IQRN_AudioSender& Sender() { return *m_sender; }

private:
    ComPtr<IGraphBuilder> m_graph;
    ComPtr<IMediaControl> m_control;
    ComPtr<IBaseFilter> m_source;
    CPushSource* m_push = nullptr;
    ComPtr<IQRN_AudioSender> m_sender;
};

/// Receiver, decompressor, a sink in the graph's time that keeps what it gets.
class CReceiveGraph {
public:
    CReceiveGraph(const AudioFormat& format, std::uint16_t port, IExternalTransport* transport = nullptr,
                  DWORD parityGroup = 0);
    ~CReceiveGraph();

    /// Returns when the first sample has come: the engine starts on the pin's thread, and what reaches a client's
    /// transport before that is nobody's.
    void Run();
    void Stop();

    IQRN_AudioReceiver& Receiver() { return *m_receiver; }

    /// The samples of all packets so far without those of silence that stand for missing packets.
    std::vector<std::int16_t> Heard() const;
    /// Waits until that many packets with sound have been heard. @return false after ten seconds.
    bool WaitForPackets(std::size_t count);
    std::size_t HeardPackets() const;
    /// Read and added up over the graph's life.
    DWORD Received();
    DWORD Gaps();

private:
    void OnSample(IMediaSample* sample);
    void ReadStatistics();

    const AudioFormat m_format;
    ComPtr<IGraphBuilder> m_graph;
    ComPtr<IMediaControl> m_control;
    ComPtr<IQRN_AudioReceiver> m_receiver;
    DWORD m_received = 0;
    DWORD m_gaps = 0;
    mutable std::mutex m_lock;
    std::condition_variable m_heardMore;
    std::size_t m_samples = 0;  // with those of silence
    std::vector<std::vector<std::int16_t>> m_packets;
};

/// Finds a filter's pin by its direction.
ComPtr<IPin> PinOf(IBaseFilter* filter, PIN_DIRECTION direction);

/// A filter of the module under test.
ComPtr<IBaseFilter> MakeFilter(REFCLSID classId);
void Connect(IGraphBuilder& graph, IBaseFilter* from, IBaseFilter* to);

/// A voice-like signal: never silent, and no two packets are alike.
std::vector<std::int16_t> TestSignal(const AudioFormat& format, unsigned packets, unsigned seed = 1);

}  // namespace qrn::test
