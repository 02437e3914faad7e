#include "client/CSendHalf.h"

#include "client/AudioTypes.h"
#include "client/CTapFilter.h"
#include "client/ClientError.h"
#include "platform/com/Text.h"

namespace qrn {
namespace {

std::uint32_t TimestampMsOf(IMediaSample& sample) {
    constexpr REFERENCE_TIME kUnitsPerMs = 10'000;
    REFERENCE_TIME start = 0;
    REFERENCE_TIME end = 0;
    if (FAILED(sample.GetTime(&start, &end))) {
        return 0;
    }
    return static_cast<std::uint32_t>(start / kUnitsPerMs);
}

}  // namespace

CSendHalf::CSendHalf(const SendSettings& settings, std::unique_ptr<IPcmSource> source)
    : m_transport(settings.network.MakeTransport()),
      m_compressor(CreateModuleFilter(CLSID_QRN_AudioCompressor, "QRN Audio Compressor")),
      m_sender(CreateModuleFilter(CLSID_QRN_AudioSender, "QRN Audio Sender")),
      m_source(CPcmSourceFilter::Create(std::move(source))) {
    ConfigureCompressor(settings);
    OpenSender(*InterfaceOf<IQRN_AudioSender>(m_sender, "QRN Audio Sender").Get(), settings.network,
               TransportOf(m_transport));
    Build();
}

void CSendHalf::ConfigureCompressor(const SendSettings& settings) {
    const auto control = InterfaceOf<IQRN_AudioCompressor>(m_compressor, "QRN Audio Compressor");
    const std::string name = settings.codec->name;
    Require(control->SetChannels(static_cast<DWORD>(settings.channels)), "set the channels of the compressor");
    Require(control->SetCodec(settings.codec->id, settings.kbps), "set the compressor to " + name);
    DWORD packetBytes = 0;
    Require(control->GetInputPacketBytes(&packetBytes), "ask the compressor for its packet");
    if (packetBytes == 0) {
        throw CClientError("the module cannot encode " + name);
    }
    LONG kbps = 0;
    Require(control->GetBitrate(&kbps), "ask the compressor for its bit rate");
    m_kbps = kbps;
    const std::size_t samples = packetBytes / 2 / static_cast<std::size_t>(settings.channels);
    m_meter = std::make_unique<CSendMeter>(PcmFormat{settings.codec->sampleRate, settings.channels}, samples);
}

void CSendHalf::Build() {
    CSendMeter* meter = m_meter.get();
    const auto input = CTapFilter::Create(L"PCM tap", [meter](IMediaSample& sample) { meter->OnPcm(PcmOf(sample)); });
    const auto coded = CTapFilter::Create(L"Coded tap", [meter](IMediaSample& sample) {
        meter->OnPacket(TimestampMsOf(sample), BytesOf(sample).size());
    });
    m_graph.Add(m_source.Get(), "PCM source");
    m_graph.Add(input.Get(), "PCM tap");
    m_graph.Add(m_compressor.Get(), "QRN Audio Compressor");
    m_graph.Add(coded.Get(), "Coded tap");
    m_graph.Add(m_sender.Get(), "QRN Audio Sender");
    m_graph.Connect(m_source.Get(), input.Get());
    m_graph.Connect(input.Get(), m_compressor.Get());
    m_graph.Connect(m_compressor.Get(), coded.Get());
    m_graph.Connect(coded.Get(), m_sender.Get());
}

bool CSendHalf::HasEnded() {
    const auto end = m_graph.TakeEnd();
    m_ended = m_ended || end.has_value();
    // A source that fails ends its stream first and tells of the failure then.
    const std::string cause = m_ended ? m_source->Failure() : std::string();
    if (!cause.empty()) {
        throw CClientError(cause);
    }
    if (end && end->failed) {
        throw CClientError("sending has failed: " + ResultName(end->result));
    }
    return m_ended;
}

}  // namespace qrn
