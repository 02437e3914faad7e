#pragma once
/// The two halves of a call of made-up frames.

#include <memory>
#include <optional>

#include "client/CBurstCounter.h"
#include "client/CFrameMeter.h"
#include "client/CFrameSourceFilter.h"
#include "client/CGraph.h"
#include "client/FrameOptions.h"
#include "client/NetworkFigures.h"
#include "client/ReceiverNetwork.h"
#include "client/SenderNetwork.h"
#include "platform/system/Event.h"
#include "platform/system/Lock.h"
#include "platform/system/Thread.h"

namespace qrn {

/// frame source, sender. One controlling thread.
class CFrameSendHalf {
public:
    /// @throws CClientError when the graph cannot be built.
    CFrameSendHalf(const FrameOptions& frames, const SenderNetwork& network);

    void Run() { m_graph.Run(); }
    /// No more frames are made; those that wait to be sent still leave.
    void Finish() { m_source->Frames().Finish(); }
    void Stop() { m_graph.Stop(); }
    IFilterGraph* Graph() const { return m_graph.Get(); }
    /// @throws CClientError when the stream has failed.
    void RequireStream();

    const CFrameSourcePin& Frames() const { return m_source->Frames(); }
    SendFigures Figures() const { return ReadSendFigures(m_sender, m_transport); }

private:
    ComPtr<IQRN_SrtpTransport> m_transport;  // before the filters, which use it to their end; may be null
    ComPtr<IBaseFilter> m_sender;
    ComPtr<CFrameSourceFilter> m_source;
    CGraph m_graph;  // goes first: its streaming threads use all of the above
};

/// receiver, tap, renderer, and a thread that looks at the receiver's counters every millisecond. One controlling
/// thread.
class CFrameReceiveHalf {
public:
    /// @throws CClientError when the graph cannot be built.
    explicit CFrameReceiveHalf(const ReceiverNetwork& network);
    ~CFrameReceiveHalf();

    void Run();
    void Stop();
    IFilterGraph* Graph() const { return m_graph.Get(); }
    /// @throws CClientError when the stream has failed.
    void RequireStream();

    const CFrameMeter& Meter() const { return m_meter; }
    CBurstCounter::Bursts Bursts() const;
    ReceiveFigures Figures() const { return ReadReceiveFigures(m_receiver, m_transport); }

private:
    void WatchBursts();

    CFrameMeter m_meter;
    ComPtr<IQRN_SrtpTransport> m_transport;  // before the filters, which use it to their end; may be null
    std::optional<CGroupMember> m_groupMember;
    ComPtr<IBaseFilter> m_receiver;
    mutable CMutex m_burstLock;
    CBurstCounter m_bursts QRN_GUARDED_BY(m_burstLock);
    CEvent m_stopWatching{EventReset::kManual};
    CThread m_burstThread;
    CGraph m_graph;  // goes first: its streaming threads use all of the above
};

}  // namespace qrn
