#pragma once
/// The sending half of a call: a graph from a source of sound to the network.

#include <memory>
#include <string>

#include "client/CGraph.h"
#include "client/CPcmSourceFilter.h"
#include "client/CSendMeter.h"
#include "client/CodecTable.h"
#include "client/NetworkFigures.h"
#include "client/SenderNetwork.h"
#include "qrn/QRN_Media2.h"

namespace qrn {

struct SendSettings {
    const CodecInfo* codec = nullptr;
    int kbps = 0;
    int channels = 1;
    SenderNetwork network;
};

/// source, tap, compressor, tap, sender. One controlling thread.
class CSendHalf {
public:
    /// @param source  of the codec's rate and the wanted channels. @throws CClientError when the graph cannot be built.
    CSendHalf(const SendSettings& settings, std::unique_ptr<IPcmSource> source);

    void Run() { m_graph.Run(); }
    void Stop() { m_graph.Stop(); }
    /// For a description; lives as long as this.
    IFilterGraph* Graph() const { return m_graph.Get(); }

    /// Whether the sound has come to its end. @throws CClientError when the stream has failed.
    bool HasEnded();

    CSendMeter& Meter() { return *m_meter; }
    SendFigures Figures() const { return ReadSendFigures(m_sender, m_transport); }
    /// Of one channel, as the codec snapped it.
    int Kbps() const { return m_kbps; }

private:
    void ConfigureCompressor(const SendSettings& settings);
    void Build();

    ComPtr<IQRN_SrtpTransport> m_transport;  // before the filters, which use it to their end; may be null
    ComPtr<IBaseFilter> m_compressor;
    ComPtr<IBaseFilter> m_sender;
    ComPtr<CPcmSourceFilter> m_source;
    std::unique_ptr<CSendMeter> m_meter;
    int m_kbps = 0;
    bool m_ended = false;
    CGraph m_graph;  // goes first: its streaming threads use all of the above
};

}  // namespace qrn
