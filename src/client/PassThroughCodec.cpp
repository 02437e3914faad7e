#include "client/PassThroughCodec.h"

#include <algorithm>
#include <memory>

#include "client/AudioTypes.h"
#include "client/CGraph.h"
#include "client/CNullRenderer.h"
#include "client/CPcmSourceFilter.h"
#include "client/CTapFilter.h"
#include "client/ClientError.h"
#include "qrn/QRN_Media2.h"

namespace qrn {
namespace {

/// Gives samples once.
class CPcmOnce final : public IPcmSource {
public:
    CPcmOnce(PcmFormat format, std::span<const std::int16_t> interleaved)
        : m_format(format),
          m_samples(interleaved.begin(), interleaved.end()) {}

    PcmFormat Format() const override { return m_format; }
    std::size_t Read(std::span<std::int16_t> interleaved) override {
        const std::size_t count = std::min(interleaved.size(), m_samples.size() - m_next);
        std::copy_n(m_samples.begin() + static_cast<std::ptrdiff_t>(m_next), count, interleaved.begin());
        m_next += count;
        return count;
    }

private:
    const PcmFormat m_format;
    const std::vector<std::int16_t> m_samples;
    std::size_t m_next = 0;
};

}  // namespace

std::vector<std::int16_t> PassThroughCodec(const CodecInfo& codec, int kbps, PcmFormat format,
                                           std::span<const std::int16_t> interleaved) {
    constexpr int kPatienceMs = 20'000;
    const auto compressor = CreateModuleFilter(CLSID_QRN_AudioCompressor, "QRN Audio Compressor");
    const auto compression = InterfaceOf<IQRN_AudioCompressor>(compressor, "QRN Audio Compressor");
    Require(compression->SetChannels(static_cast<DWORD>(format.channels)), "set the channels of the compressor");
    Require(compression->SetCodec(codec.id, kbps), std::string("set the compressor to ") + codec.name);
    const auto decompressor = CreateModuleFilter(CLSID_QRN_AudioDeCompressor, "QRN Audio Decompressor");
    const auto decompression = InterfaceOf<IQRN_AudioDeCompressor>(decompressor, "QRN Audio Decompressor");

    std::vector<std::int16_t> decoded;  // written by the streaming thread, which the graph parks before it goes
    const auto source = CPcmSourceFilter::Create(std::make_unique<CPcmOnce>(format, interleaved));
    const auto renderer = CNullRenderer::Create();
    const auto tap = CTapFilter::Create(L"PCM tap", [&decoded](IMediaSample& sample) {
        const auto pcm = PcmOf(sample);
        decoded.insert(decoded.end(), pcm.begin(), pcm.end());
    });
    CGraph graph;
    graph.Add(source.Get(), "PCM source");
    graph.Add(compressor.Get(), "QRN Audio Compressor");
    graph.Add(decompressor.Get(), "QRN Audio Decompressor");
    graph.Add(tap.Get(), "PCM tap");
    graph.Add(renderer.Get(), "Null renderer");
    graph.Connect(source.Get(), compressor.Get());
    graph.Connect(compressor.Get(), decompressor.Get());
    Require(decompression->SetChannelMode(format.channels == 2 ? 2 : 0), "set the channels of the decompressor");
    graph.Connect(decompressor.Get(), tap.Get());
    graph.Connect(tap.Get(), renderer.Get());
    graph.RunWithoutClock();
    const auto end = graph.WaitForEnd(kPatienceMs);
    graph.Stop();
    if (!end || end->failed) {
        throw CClientError(std::string("the codec ") + codec.name + " has not come to an end by itself");
    }
    return decoded;
}

}  // namespace qrn
