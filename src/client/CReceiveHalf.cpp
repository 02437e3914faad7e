#include "client/CReceiveHalf.h"

#include <utility>

#include "client/AudioTypes.h"
#include "client/CNullRenderer.h"
#include "client/CTapFilter.h"
#include "client/ClientError.h"
#include "client/PacketCheck.h"
#include "platform/com/Text.h"

namespace qrn {
namespace {

// A receiver has four; a call uses one.
constexpr DWORD kChannel = 0;
constexpr DWORD kBothChannels = 2;

std::optional<WAVEFORMATEX> ConnectedWaveFormat(CTapFilter& tap) {
    return WaveFormatOf(tap.Input().CurrentMediaType());
}

}  // namespace

CReceiveHalf::CReceiveHalf(ReceiveSettings settings)
    : m_settings(std::move(settings)),
      m_meter({m_settings.codec->sampleRate, m_settings.channels}, m_settings.sender),
      m_transport(m_settings.network.MakeTransport()),
      m_groupMember(JoinOnInterface(m_settings.network)),
      m_receiver(CreateModuleFilter(CLSID_QRN_AudioReceiver, "QRN Audio Receiver")),
      m_control(InterfaceOf<IQRN_AudioReceiver>(m_receiver, "QRN Audio Receiver")),
      m_decompressor(CreateModuleFilter(CLSID_QRN_AudioDeCompressor, "QRN Audio Decompressor")),
      m_recording(std::move(m_settings.recording)) {
    if (m_settings.toSpeaker) {
        m_renderer = CreateModuleFilter(CLSID_QRN_AudioRender, "QRN Audio Render");
    } else {
        m_renderer = ComPtr<IBaseFilter>::Share(CNullRenderer::Create().Get());
    }
    ConfigureReceiver();
    Build();
}

void CReceiveHalf::ConfigureReceiver() {
    Require(m_control->SetFormat(m_settings.codec->id, static_cast<DWORD>(m_settings.kbps),
                                 static_cast<DWORD>(m_settings.channels)),
            std::string("set the receiver to ") + m_settings.codec->name);
    OpenReceiver(*m_control.Get(), m_settings.network, TransportOf(m_transport));
    DWORD kbps = 0;
    Require(m_control->GetBitrate(&kbps), "ask the receiver for its bit rate");
    m_kbps = static_cast<int>(kbps);
}

void CReceiveHalf::Build() {
    const auto coded = CTapFilter::Create(L"Coded tap", [this](IMediaSample& sample) { OnPacket(sample); });
    const auto output = CTapFilter::Create(L"PCM tap", [this](IMediaSample& sample) { OnPcm(sample); });
    m_graph.Add(m_receiver.Get(), "QRN Audio Receiver");
    m_graph.Add(coded.Get(), "Coded tap");
    m_graph.Add(m_decompressor.Get(), "QRN Audio Decompressor");
    m_graph.Add(output.Get(), "PCM tap");
    m_graph.Add(m_renderer.Get(), "Renderer");
    m_graph.Connect(m_receiver.Get(), coded.Get());
    m_graph.Connect(coded.Get(), m_decompressor.Get());
    if (m_settings.channels == 2) {
        // After the input has told the channels, before the output has taken them.
        const auto control = InterfaceOf<IQRN_AudioDeCompressor>(m_decompressor, "QRN Audio Decompressor");
        Require(control->SetChannelMode(kBothChannels), "set the channels of the decompressor");
    }
    m_graph.Connect(m_decompressor.Get(), output.Get());
    m_graph.Connect(output.Get(), m_renderer.Get());
    if (const auto wave = ConnectedWaveFormat(*coded)) {
        m_expectedBytes = ExpectedFrameBytes(*m_settings.codec, *wave);
    }
}

void CReceiveHalf::OnPacket(IMediaSample& sample) {
    const auto frame = BytesOf(sample);
    DWORD timestamp = 0;
    DWORD position = 0;
    // This thread delivered the frame just now, so the pair is that of this very frame.
    const bool known = !frame.empty() && m_control->GetSyncPoint(&timestamp, &position) == S_OK;
    m_meter.OnPacket(frame.size(), known ? std::optional(timestamp) : std::nullopt);
    if (frame.empty()) {
        return;
    }
    if (const auto fault = FindFrameFault(*m_settings.codec, m_settings.channels, m_expectedBytes, frame)) {
        m_meter.OnWrongFrame();
        CScopedLock lock(m_lock);
        m_frameFault = *fault;
    }
}

void CReceiveHalf::OnPcm(IMediaSample& sample) {
    const auto pcm = PcmOf(sample);
    m_meter.OnPcm(pcm);
    Record(pcm);
}

void CReceiveHalf::Record(std::span<const std::int16_t> pcm) {
    std::string failure;
    {
        CScopedLock lock(m_recordingLock);
        if (!m_recording) {
            return;
        }
        try {
            m_recording->Write(pcm);
            return;
        } catch (const CClientError& error) {
            m_recording.reset();
            failure = error.what();
        }
    }
    CScopedLock lock(m_lock);
    m_recordingFailure = failure;
}

CReceiveHalf::Statistics CReceiveHalf::Total() {
    DWORD received = 0;
    DWORD gaps = 0;
    if (SUCCEEDED(m_control->GetStatistics(kChannel, &received, &gaps))) {
        m_statistics.received += received;
        m_statistics.gaps += gaps;
    }
    return m_statistics;
}

void CReceiveHalf::RequireStream() {
    if (const auto end = m_graph.TakeEnd(); end && end->failed) {
        throw CClientError("receiving has failed: " + ResultName(end->result));
    }
}

std::string CReceiveHalf::TakeRecordingFailure() {
    CScopedLock lock(m_lock);
    return std::exchange(m_recordingFailure, {});
}

std::string CReceiveHalf::FrameFault() const {
    CScopedLock lock(m_lock);
    return m_frameFault;
}

void CReceiveHalf::CloseRecording() {
    CScopedLock lock(m_recordingLock);
    if (const auto recording = std::exchange(m_recording, nullptr)) {
        recording->Close();
    }
}

}  // namespace qrn
