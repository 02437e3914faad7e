#pragma once
/// One call of made-up frames from its set-up to its report: the commands demo, send and receive with --frames.

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "client/CDumpSignal.h"
#include "client/CFrameHalves.h"
#include "client/CGraphFile.h"
#include "client/CStopSignal.h"
#include "client/FrameReport.h"
#include "client/NetworkSetup.h"
#include "client/Options.h"

namespace qrn {

/// Status lines and messages go to standard error. One thread.
class CFrameRun {
public:
    /// @param dump  asks for a description of the running graphs on standard error.
    CFrameRun(const Options& options, const CStopSignal& stop, const CDumpSignal& dump);

    /// Carries the call until its end, whatever ends it. @throws CClientError when it cannot begin.
    FrameReport Run();

private:
    using Time = std::chrono::steady_clock::time_point;

    void Prepare();
    void CarryOn();
    bool HasEnded(Time now);
    bool IsTooLong(Time now) const;
    bool IsFarEndGone(Time now);
    void ShowStatus(Time now);
    std::vector<QrnNamedGraph> Graphs() const;
    void WriteGraphFile();
    void Drain();
    std::uint64_t Progress() const;
    FrameReport MakeReport(Time now) const;
    void Conclude(FrameReport& report) const;

    bool Receives() const { return m_options.command != Command::kSend; }
    bool Sends() const { return m_options.command != Command::kReceive; }

    const Options m_options;
    const CStopSignal& m_stop;
    const CDumpSignal& m_dump;
    const CNetworkSetup m_network;
    std::string m_farNames;
    std::unique_ptr<CFrameSendHalf> m_send;
    std::unique_ptr<CFrameReceiveHalf> m_receive;
    std::unique_ptr<CFarEnds> m_farEnds;
    std::optional<CGraphFile> m_graphFile;

    Time m_start;
    Time m_lastStatus;
    std::optional<Time> m_firstFrame;
    Time m_lastFrame;                    // or the start
    std::optional<Time> m_refusedSince;  // by all far ends
    std::uint64_t m_lastWhole = 0;
    std::uint64_t m_lastBytes = 0;
    std::vector<std::string> m_faults;  // found on the way
};

}  // namespace qrn
