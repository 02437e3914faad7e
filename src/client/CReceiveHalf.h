#pragma once
/// The receiving half of a call: a graph from the network to a sound device.

#include <memory>
#include <string>

#include "client/CGraph.h"
#include "client/CReceiveMeter.h"
#include "client/CWavWriter.h"
#include "client/CodecTable.h"
#include "client/NetworkFigures.h"
#include "client/ReceiverNetwork.h"
#include "platform/system/Lock.h"
#include "qrn/QRN_Media2.h"

namespace qrn {

struct ReceiveSettings {
    const CodecInfo* codec = nullptr;
    int kbps = 0;
    int channels = 1;
    ReceiverNetwork network;
    bool toSpeaker = false;
    std::unique_ptr<CWavWriter> recording;  // may be null
    const CSendMeter* sender = nullptr;     // of this process, for the latency; may be null
};

/// receiver, tap, decompressor, tap, renderer. One controlling thread.
class CReceiveHalf {
public:
    /// @throws CClientError when the graph cannot be built.
    explicit CReceiveHalf(ReceiveSettings settings);

    void Run() { m_graph.Run(); }
    void Stop() { m_graph.Stop(); }
    /// For a description; lives as long as this.
    IFilterGraph* Graph() const { return m_graph.Get(); }

    struct Statistics {
        std::uint64_t received = 0;  // datagrams
        std::uint64_t gaps = 0;
    };
    /// Since the start.
    Statistics Total();

    /// @throws CClientError when the stream has failed.
    void RequireStream();
    /// Why the recording has ended early, told once; empty otherwise. The call goes on.
    std::string TakeRecordingFailure();
    /// What is wrong with the frames that cannot be of the codec, as FindFrameFault says it.
    std::string FrameFault() const;
    /// @throws CClientError when the recording cannot be completed.
    void CloseRecording();

    CReceiveMeter& Meter() { return m_meter; }
    ReceiveFigures Figures() const { return ReadReceiveFigures(m_receiver, m_transport); }
    /// Of one channel, as the codec snapped it.
    int Kbps() const { return m_kbps; }

private:
    void ConfigureReceiver();
    void Build();
    void OnPacket(IMediaSample& sample);
    void OnPcm(IMediaSample& sample);
    void Record(std::span<const std::int16_t> pcm);

    ReceiveSettings m_settings;
    CReceiveMeter m_meter;
    ComPtr<IQRN_SrtpTransport> m_transport;  // before the filters, which use it to their end; may be null
    std::optional<CGroupMember> m_groupMember;
    ComPtr<IBaseFilter> m_receiver;
    ComPtr<IQRN_AudioReceiver> m_control;
    ComPtr<IBaseFilter> m_decompressor;
    ComPtr<IBaseFilter> m_renderer;
    std::optional<std::size_t> m_expectedBytes;
    int m_kbps = 0;
    Statistics m_statistics;
    CMutex m_recordingLock;  // held while the disk is written to
    std::unique_ptr<CWavWriter> m_recording QRN_GUARDED_BY(m_recordingLock);
    mutable CMutex m_lock;
    std::string m_recordingFailure QRN_GUARDED_BY(m_lock);
    std::string m_frameFault QRN_GUARDED_BY(m_lock);
    CGraph m_graph;  // goes first: its streaming threads use all of the above
};

}  // namespace qrn
