#include "client/CFrameHalves.h"

#include <poll.h>

#include <array>
#include <chrono>

#include "client/AudioTypes.h"
#include "client/CNullRenderer.h"
#include "client/CTapFilter.h"
#include "client/ClientError.h"
#include "platform/com/Text.h"
#include "platform/system/Clock.h"

namespace qrn {
namespace {

constexpr const char* kSenderName = "QRN Video Sender";
constexpr const char* kReceiverName = "QRN Video Receiver";
// A frame may have as many bytes as the picture has pixels.
constexpr DWORD kPictureSide = 1024;
static_assert(kPictureSide * kPictureSide == kLargestFrameBytes);
// The receiver hands on a frame in each of its periods, so with a short one it adds least to what is measured.
constexpr DWORD kReceiverRate = 200;
// What a paced sender labels its frames with, and a plain one those of no known encoder.
constexpr DWORD kEncoder = 0;
constexpr DWORD kBitsPerByte = 8;

void SetTraffic(IQRN_VideoSender& sender, const FrameOptions& frames) {
    if (frames.pacing) {
        Require(
            sender.SetPacing(static_cast<DWORD>(frames.pacing->burstPackets), static_cast<DWORD>(frames.pacing->kbps)),
            "set the pacing");
    }
}

void SetStuffing(IQRN_VideoSender& sender, const FrameOptions& frames) {
    if (frames.stuffing) {
        Require(sender.SetStuffing(static_cast<DWORD>(frames.stuffing->bytesPerFrame) * kBitsPerByte,
                                   static_cast<DWORD>(frames.stuffing->port)),
                "set the stuffing");
    }
}

void RequireNoFailure(CGraph& graph, const char* what) {
    if (const auto end = graph.TakeEnd(); end && end->failed) {
        throw CClientError(std::string(what) + " has failed: " + ResultName(end->result));
    }
}

}  // namespace

CFrameSendHalf::CFrameSendHalf(const FrameOptions& frames, const SenderNetwork& network)
    : m_transport(network.MakeTransport()),
      m_sender(CreateModuleFilter(CLSID_QRN_VideoSender, kSenderName)),
      m_source(CFrameSourceFilter::Create(frames.traffic)) {
    const auto control = InterfaceOf<IQRN_VideoSender>(m_sender, kSenderName);
    SetTraffic(*control.Get(), frames);
    OpenSender(*control.Get(), network, TransportOf(m_transport));
    SetStuffing(*control.Get(), frames);
    m_graph.Add(m_source.Get(), "Frame source");
    m_graph.Add(m_sender.Get(), kSenderName);
    m_graph.Connect(m_source.Get(), m_sender.Get());
}

void CFrameSendHalf::RequireStream() {
    RequireNoFailure(m_graph, "sending");
}

CFrameReceiveHalf::CFrameReceiveHalf(const ReceiverNetwork& network)
    : m_transport(network.MakeTransport()),
      m_groupMember(JoinOnInterface(network)),
      m_receiver(CreateModuleFilter(CLSID_QRN_VideoReceiver, kReceiverName)) {
    const auto control = InterfaceOf<IQRN_VideoReceiver>(m_receiver, kReceiverName);
    Require(control->SetFormat(kPictureSide, kPictureSide, kReceiverRate, kEncoder), "set the receiver to frames");
    OpenReceiver(*control.Get(), network, TransportOf(m_transport));
    const auto tap = CTapFilter::Create(L"Frame tap", [this](IMediaSample& sample) {
        if (const auto frame = BytesOf(sample); !frame.empty()) {
            m_meter.OnFrame(frame, std::chrono::system_clock::now().time_since_epoch());
        }
    });
    const auto renderer = CNullRenderer::Create();
    m_graph.Add(m_receiver.Get(), kReceiverName);
    m_graph.Add(tap.Get(), "Frame tap");
    m_graph.Add(renderer.Get(), "Renderer");
    m_graph.Connect(m_receiver.Get(), tap.Get());
    m_graph.Connect(tap.Get(), renderer.Get());
}

CFrameReceiveHalf::~CFrameReceiveHalf() {
    m_stopWatching.Set();
    m_burstThread.Join();
}

void CFrameReceiveHalf::Run() {
    m_graph.Run();
    if (!m_burstThread.Start("burst watch", [this] { WatchBursts(); })) {
        throw CClientError("cannot start a thread");
    }
}

void CFrameReceiveHalf::Stop() {
    m_stopWatching.Set();
    m_burstThread.Join();
    m_graph.Stop();
}

void CFrameReceiveHalf::RequireStream() {
    RequireNoFailure(m_graph, "receiving");
}

CBurstCounter::Bursts CFrameReceiveHalf::Bursts() const {
    CScopedLock lock(m_burstLock);
    return m_bursts.Total();
}

void CFrameReceiveHalf::WatchBursts() {
    constexpr std::chrono::milliseconds kLook{1};
    const auto statistics = InterfaceOf<IQRN_NetworkStatistics>(m_receiver, kReceiverName);
    std::array<pollfd, 1> stop{{{m_stopWatching.Descriptor(), POLLIN, 0}}};
    while (SystemClock().Poll(stop, kLook) == 0) {
        QRN_RECEIVE_STATISTICS now{};
        if (statistics->GetReceiveStatistics(0, &now) == S_OK) {
            CScopedLock lock(m_burstLock);
            m_bursts.Look(SystemClock().Now(), now.datagrams);
        }
    }
}

}  // namespace qrn
