#pragma once
/// One call from its set-up to its report: the commands demo, send and receive.

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "client/CDumpSignal.h"
#include "client/CGraphFile.h"
#include "client/CReceiveHalf.h"
#include "client/CSendHalf.h"
#include "client/CStopSignal.h"
#include "client/CallReport.h"
#include "client/NetworkSetup.h"
#include "client/Options.h"

namespace qrn {

/// Status lines and messages go to standard error. One thread.
class CCallRun {
public:
    /// @param dump  asks for a description of the running graphs on standard error.
    CCallRun(const Options& options, const CStopSignal& stop, const CDumpSignal& dump);

    /// Carries the call until its end, whatever ends it.
    /// @throws CClientError when it cannot begin.
    CallReport Run();

private:
    using Time = std::chrono::steady_clock::time_point;

    // Set-up
    void PrepareReceive();
    bool PrepareSend();
    std::unique_ptr<IPcmSource> OpenSource() const;
    bool UseSpeaker();

    // While it runs
    void CarryOn();
    bool HasEnded(Time now);
    bool IsTooLong(Time now) const;
    bool HasReceivingFailed(Time now);
    bool HasSendingFailed(Time now);
    void ShowStatus(Time now);
    std::vector<QrnNamedGraph> Graphs() const;
    void ShowGraphs() const;
    void WriteGraphFile();
    void DrainNetwork();

    // Afterwards
    CallReport MakeReport();
    void ReportSending(CallReport& report);
    void ReportReceiving(CallReport& report);
    void ExplainSilence(CallReport& report);

    bool Receives() const { return m_options.command != Command::kSend; }
    bool Sends() const { return m_options.command != Command::kReceive; }
    PcmFormat Format() const { return {m_options.codec->sampleRate, m_options.channels}; }

    const Options m_options;
    const CStopSignal& m_stop;
    const CDumpSignal& m_dump;
    const CNetworkSetup m_network;
    std::string m_output;
    std::string m_farNames;
    std::vector<std::int16_t> m_knownSound;  // what a receiver by itself compares with
    // The receiving half asks the sending one for times, so it goes first.
    std::unique_ptr<CSendHalf> m_send;
    std::unique_ptr<CReceiveHalf> m_receive;
    std::unique_ptr<CFarEnds> m_farEnds;
    std::optional<CGraphFile> m_graphFile;

    Time m_start;
    Time m_end;
    std::chrono::nanoseconds m_cpuTime{0};  // of the whole process, while the call was carried
    std::optional<Time> m_firstPacket;
    std::optional<Time> m_refusedSince;
    Time m_lastStatus;
    std::uint64_t m_lastCodedBytes = 0;
    bool m_pauseTold = false;
    std::vector<std::string> m_faults;  // found on the way
};

}  // namespace qrn
