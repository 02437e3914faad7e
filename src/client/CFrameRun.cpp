#include "client/CFrameRun.h"

#include <algorithm>
#include <cstdio>

#include "client/ClientError.h"
#include "client/FormatText.h"
#include "client/Messages.h"
#include "platform/system/Clock.h"

namespace qrn {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kLook{50};
constexpr milliseconds kStatusInterval{1000};
constexpr milliseconds kDrainLook{10};
// Frames wait in the paced sender and in the receiver; a second is what Ctrl-C may take.
constexpr milliseconds kDrainTime{800};
constexpr milliseconds kDrainQuiet{200};

double SecondsBetween(steady_clock::time_point from, steady_clock::time_point to) {
    return std::chrono::duration<double>(to - from).count();
}

double KbpsOf(std::uint64_t bytes, double seconds) {
    return seconds > 0 ? static_cast<double>(bytes) * 8 / 1000 / seconds : 0;
}

/// What leaves, with the stuffing of frames that are smaller.
double TrafficKbps(const FrameOptions& frames) {
    const FrameTraffic& traffic = frames.traffic;
    const int least = frames.stuffing ? frames.stuffing->bytesPerFrame : 0;
    const double share = traffic.keyEvery > 0 ? 1.0 / traffic.keyEvery : 0;
    const double bytes = share * std::max(traffic.keyBytes, least) + (1 - share) * std::max(traffic.bytes, least);
    return bytes * traffic.perSecond * 8 / 1000;
}

void WarnOfSlowPacing(const FrameOptions& frames) {
    const double kbps = TrafficKbps(frames);
    if (frames.pacing && kbps > frames.pacing->kbps) {
        Say(FormatText("the frames need %.0f kbit/s, more than the %d of --pace: the sender will drop some", kbps,
                       frames.pacing->kbps));
    }
}

}  // namespace

CFrameRun::CFrameRun(const Options& options, const CStopSignal& stop, const CDumpSignal& dump)
    : m_options(options),
      m_stop(stop),
      m_dump(dump),
      m_network(m_options) {}

FrameReport CFrameRun::Run() {
    if (m_options.graphFile) {
        m_graphFile.emplace(*m_options.graphFile);
    }
    Prepare();
    m_start = m_lastStatus = m_lastFrame = steady_clock::now();
    if (m_receive) {
        m_receive->Run();
    }
    if (m_send) {
        m_send->Run();
    }
    CarryOn();
    const Time end = steady_clock::now();
    WriteGraphFile();
    if (m_send) {
        m_send->Finish();
        Drain();
        m_send->Stop();
    }
    if (m_receive) {
        m_receive->Stop();
    }
    FrameReport report = MakeReport(end);
    Conclude(report);
    return report;
}

void CFrameRun::Prepare() {
    if (Sends()) {
        const auto network = m_network.ForSending(m_stop);
        if (!network) {
            throw CClientError("stopped before the call began");
        }
        m_farNames = DestinationNames(network->destinations);
        if (!Receives()) {
            m_farEnds = std::make_unique<CFarEnds>(network->destinations);
        }
        WarnOfSlowPacing(*m_options.frames);
        m_send = std::make_unique<CFrameSendHalf>(*m_options.frames, *network);
    }
    if (Receives()) {
        m_receive = std::make_unique<CFrameReceiveHalf>(m_network.ForReceiving());
    }
    if (!Sends()) {
        Say("waiting for frames on port " + std::to_string(m_network.Port()));
    }
}

void CFrameRun::CarryOn() {
    try {
        while (!HasEnded(steady_clock::now()) && !m_stop.WaitFor(kLook)) {
            if (m_dump.Take()) {
                std::fputs(DescribeGraphs(Graphs(), kQrnDumpText).c_str(), stderr);
            }
        }
    } catch (const CClientError& error) {
        m_faults.emplace_back(error.what());
    }
}

bool CFrameRun::HasEnded(Time now) {
    if (m_send) {
        m_send->RequireStream();
    }
    if (m_receive) {
        m_receive->RequireStream();
        if (const std::uint64_t whole = m_receive->Meter().Total().whole; whole != m_lastWhole) {
            m_lastWhole = whole;
            m_lastFrame = now;
            m_firstFrame = m_firstFrame.value_or(now);
        }
    }
    if (now - m_lastStatus >= kStatusInterval) {
        ShowStatus(now);
        if (m_farEnds) {
            m_farEnds->AskAgain();
        }
    }
    return IsTooLong(now) || IsFarEndGone(now);
}

bool CFrameRun::IsTooLong(Time now) const {
    const double seconds = m_options.seconds.value_or(0);
    // A receiver's call begins when the far end does.
    const auto start = Sends() ? std::optional(m_start) : m_firstFrame;
    return seconds > 0 && start && SecondsBetween(*start, now) >= seconds;
}

/// One that refuses, or that is silent.
bool CFrameRun::IsFarEndGone(Time now) {
    if (m_options.waitSeconds <= 0) {
        return false;
    }
    if (!Sends()) {
        return SecondsBetween(m_lastFrame, now) >= m_options.waitSeconds;
    }
    if (!m_farEnds || !m_farEnds->AllRefuse()) {
        m_refusedSince.reset();
        return false;
    }
    m_refusedSince = m_refusedSince.value_or(now);
    return SecondsBetween(*m_refusedSince, now) >= m_options.waitSeconds;
}

void CFrameRun::ShowStatus(Time now) {
    const FrameReport soFar = MakeReport(now);
    const std::uint64_t bytes = m_receive ? soFar.received->bytes : m_send->Frames().BytesGiven();
    const double kbps = KbpsOf(bytes - std::min(bytes, m_lastBytes), SecondsBetween(m_lastStatus, now));
    m_lastBytes = bytes;
    m_lastStatus = now;
    const auto delay = m_receive ? m_receive->Meter().LastDelayMs() : std::nullopt;
    std::fprintf(stderr, "%s\n", FormatFrameStatus(soFar, kbps, delay).c_str());
}

std::vector<QrnNamedGraph> CFrameRun::Graphs() const {
    std::vector<QrnNamedGraph> graphs;
    if (m_send) {
        graphs.push_back({m_send->Graph(), "send"});
    }
    if (m_receive) {
        graphs.push_back({m_receive->Graph(), "receive"});
    }
    return graphs;
}

void CFrameRun::WriteGraphFile() {
    if (!m_graphFile) {
        return;
    }
    try {
        m_graphFile->Write(Graphs());
    } catch (const CClientError& error) {
        m_faults.emplace_back(error.what());
    }
}

std::uint64_t CFrameRun::Progress() const {
    return m_send->Figures().session.datagrams + (m_receive ? m_receive->Meter().Total().whole : 0);
}

/// Lets what was made leave and come out: until all has come, or nothing moves any more.
void CFrameRun::Drain() {
    const IClock& clock = SystemClock();
    const auto start = clock.Now();
    auto lastMove = start;
    std::uint64_t progress = Progress();
    while (clock.Now() - start < kDrainTime && clock.Now() - lastMove < kDrainQuiet) {
        if (m_receive && m_receive->Meter().Total().whole >= m_send->Frames().FramesGiven()) {
            return;
        }
        SystemClock().SleepFor(kDrainLook);
        if (const std::uint64_t now = Progress(); now != progress) {
            progress = now;
            lastMove = clock.Now();
        }
    }
}

FrameReport CFrameRun::MakeReport(Time now) const {
    FrameReport report;
    report.command = CommandName(m_options.command);
    report.seconds = SecondsBetween(m_start, now);
    std::uint64_t bytes = 0;
    if (m_send) {
        report.farEnd = Receives() ? "" : m_farNames;
        report.framesSent = m_send->Frames().FramesGiven();
        report.sending = m_send->Figures();
        bytes = m_send->Frames().BytesGiven();
    }
    if (m_receive) {
        report.port = m_network.Port();
        report.received = m_receive->Meter().Total();
        report.receiving = m_receive->Figures();
        report.bursts = m_receive->Bursts();
        report.delays = m_receive->Meter().DelaysSoFar();
        report.lost = report.received->missing;
        bytes = report.received->bytes;
    }
    if (m_send && m_receive) {
        // Both ends are known, so that frames lost at the end count too.
        report.lost =
            *report.framesSent - std::min(*report.framesSent, report.received->whole + report.received->damaged);
    }
    report.kbps = KbpsOf(bytes, Sends() ? report.seconds : SecondsBetween(m_firstFrame.value_or(m_start), now));
    return report;
}

void CFrameRun::Conclude(FrameReport& report) const {
    report.faults = m_faults;
    if (m_farEnds && m_farEnds->AnyRefuses()) {
        report.faults.push_back("no program receives at " + m_farEnds->RefusingNames());
    }
    if (!report.faults.empty()) {
        return;
    }
    report.faults = FindFrameFaults(report);
    if (report.receiving && report.received->whole == 0 && report.receiving->srtp &&
        report.receiving->srtp->notAuthentic > 0) {
        report.faults = {ExplainNotAuthentic(*report.receiving->srtp, report.port)};
    } else if (!Sends() && report.receiving->session.datagrams == 0) {
        report.faults = {"nothing arrived on port " + std::to_string(report.port) +
                         FormatText(" within %.0f s", report.seconds)};
    }
}

}  // namespace qrn
