#include "client/CCallRun.h"

#include <time.h>

#include <algorithm>
#include <cstdio>

#include "client/BuiltInSpeech.h"
#include "client/CMediaFileReader.h"
#include "client/CallComparison.h"
#include "client/ClientError.h"
#include "client/FormatText.h"
#include "client/Messages.h"
#include "client/SpeakerProbe.h"
#include "client/Verdict.h"

namespace qrn {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kLook{50};
constexpr milliseconds kStatusInterval{1000};
constexpr milliseconds kDrainLook{10};
// Frames on their way to the sound device: what the receiver keeps, and one in the hand of the renderer.
constexpr milliseconds kDrainTime{500};
constexpr milliseconds kWatchTime{300};
constexpr double kPauseSeconds = 3;
constexpr std::uint64_t kWrongFramesToGiveUp = 3;

double SecondsBetween(steady_clock::time_point from, steady_clock::time_point to) {
    return std::chrono::duration<double>(to - from).count();
}

double MillisecondsOf(std::chrono::nanoseconds time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

std::chrono::nanoseconds ProcessCpuTime() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

double KbpsOf(std::uint64_t bytes, double seconds) {
    return seconds > 0 ? static_cast<double>(bytes) * 8 / 1000 / seconds : 0;
}

}  // namespace

CCallRun::CCallRun(const Options& options, const CStopSignal& stop, const CDumpSignal& dump)
    : m_options(options),
      m_stop(stop),
      m_dump(dump),
      m_network(m_options) {}

CallReport CCallRun::Run() {
    if (m_options.graphFile) {
        m_graphFile.emplace(*m_options.graphFile);
    }
    if (Sends() && !PrepareSend()) {
        throw CClientError("stopped before the call began");
    }
    if (Receives()) {
        PrepareReceive();
    }
    m_start = m_lastStatus = steady_clock::now();
    if (m_receive) {
        m_receive->Run();
    }
    if (m_send) {
        m_send->Run();
    }
    const auto cpuBefore = ProcessCpuTime();
    CarryOn();
    m_end = steady_clock::now();
    m_cpuTime = ProcessCpuTime() - cpuBefore;
    WriteGraphFile();
    if (m_send) {
        m_send->Stop();
    }
    if (m_receive) {
        DrainNetwork();
        m_receive->Stop();
    }
    return MakeReport();
}

// ---------------------------------------------------------------------------------------------------------------------
// Set-up

bool CCallRun::PrepareSend() {
    auto network = m_network.ForSending(m_stop);
    if (!network) {
        return false;
    }
    m_farNames = DestinationNames(network->destinations);
    if (!Receives()) {
        m_farEnds = std::make_unique<CFarEnds>(network->destinations);
    }
    SendSettings settings;
    settings.codec = m_options.codec;
    settings.kbps = m_options.kbps;
    settings.channels = m_options.channels;
    settings.network = std::move(*network);
    m_send = std::make_unique<CSendHalf>(settings, OpenSource());
    return true;
}

std::unique_ptr<IPcmSource> CCallRun::OpenSource() const {
    if (!m_options.audioFile) {
        return std::make_unique<CPcmLoop>(Format(), LoadBuiltInSpeech(Format()));
    }
    using Repeat = CMediaFileReader::Repeat;
    return std::make_unique<CMediaFileReader>(*m_options.audioFile, Format(),
                                              m_options.seconds ? Repeat::kForEver : Repeat::kOnce);
}

void CCallRun::PrepareReceive() {
    ReceiveSettings settings;
    settings.codec = m_options.codec;
    settings.kbps = m_options.kbps;
    settings.channels = m_options.channels;
    settings.network = m_network.ForReceiving();
    settings.toSpeaker = UseSpeaker();
    settings.sender = m_send ? &m_send->Meter() : nullptr;
    if (m_options.recordFile) {
        settings.recording = std::make_unique<CWavWriter>(*m_options.recordFile, Format());
    }
    if (!Sends()) {
        m_knownSound = LoadKnownSound(m_options);
    }
    m_output = settings.toSpeaker ? "speaker" : "none";
    m_receive = std::make_unique<CReceiveHalf>(std::move(settings));
    if (!Sends()) {
        Say(std::string("waiting for ") + m_options.codec->name + " packets on port " +
            std::to_string(m_network.Port()));
    }
}

bool CCallRun::UseSpeaker() {
    if (m_options.output == Output::kNone) {
        return false;
    }
    if (HasSpeaker(Format(), m_stop)) {
        return true;
    }
    if (m_options.output == Output::kSpeaker) {
        throw CClientError("no sound device can be opened for --output speaker");
    }
    Say("no sound device can be opened, so the call is not heard (--output none says so from the start)");
    return false;
}

// ---------------------------------------------------------------------------------------------------------------------
// While it runs

void CCallRun::CarryOn() {
    try {
        while (!HasEnded(steady_clock::now()) && !m_stop.WaitFor(kLook)) {
            if (m_dump.Take()) {
                ShowGraphs();
            }
        }
    } catch (const CClientError& error) {
        m_faults.emplace_back(error.what());
    }
}

bool CCallRun::HasEnded(Time now) {
    if (m_receive && !m_firstPacket && m_receive->Meter().Total().frames > 0) {
        m_firstPacket = now;
    }
    if (now - m_lastStatus >= kStatusInterval) {
        ShowStatus(now);
        if (!Receives() && HasSendingFailed(now)) {
            return true;
        }
    }
    if (IsTooLong(now) || (m_send && m_send->HasEnded())) {
        return true;
    }
    return m_receive && HasReceivingFailed(now);
}

bool CCallRun::IsTooLong(Time now) const {
    const double seconds = m_options.seconds.value_or(0);
    if (seconds <= 0) {
        return false;
    }
    // A receiver's call begins when the far end does.
    const auto start = Sends() ? std::optional(m_start) : m_firstPacket;
    return start && SecondsBetween(*start, now) >= seconds;
}

bool CCallRun::HasReceivingFailed(Time now) {
    m_receive->RequireStream();
    if (const std::string failure = m_receive->TakeRecordingFailure(); !failure.empty()) {
        Say(failure);
        m_faults.push_back(failure);
    }
    if (Sends()) {
        return false;
    }
    const auto counts = m_receive->Meter().Total();
    if (counts.wrongFrames >= kWrongFramesToGiveUp && counts.wrongFrames == counts.frames) {
        m_faults.push_back("the packets that arrive on port " + std::to_string(m_network.Port()) +
                           " are not those of " + m_options.codec->name + " as it was asked for: they carry frames " +
                           m_receive->FrameFault());
        return true;
    }
    const auto lastArrival = m_receive->Meter().LastArrival();
    const double silentSeconds = lastArrival ? std::chrono::duration<double>(SystemClock().Now() - *lastArrival).count()
                                             : SecondsBetween(m_start, now);
    const bool pauses = lastArrival && silentSeconds >= kPauseSeconds;
    if (pauses && !m_pauseTold) {
        Say(FormatText("nothing has arrived on port %d for %.0f s", m_network.Port(), kPauseSeconds));
    }
    m_pauseTold = pauses;
    return m_options.waitSeconds > 0 && silentSeconds >= m_options.waitSeconds;
}

bool CCallRun::HasSendingFailed(Time now) {
    m_farEnds->AskAgain();
    if (!m_farEnds->AllRefuse()) {
        m_refusedSince.reset();
        return false;
    }
    m_refusedSince = m_refusedSince.value_or(now);
    return m_options.waitSeconds > 0 && SecondsBetween(*m_refusedSince, now) >= m_options.waitSeconds;
}

void CCallRun::ShowStatus(Time now) {
    StatusSample sample;
    sample.seconds = SecondsBetween(m_start, now);
    std::uint64_t codedBytes = 0;
    if (m_receive) {
        const auto statistics = m_receive->Total();
        sample.packetsReceived = statistics.received;
        sample.packetsLost = statistics.gaps;
        sample.latencyMs = m_receive->Meter().LastLatencyMs();
        sample.levelOutDbfs = m_receive->Meter().TakeRecentLevelDbfs();
        sample.trouble = TroubleAsText(m_receive->Figures());
        codedBytes = m_receive->Meter().Total().codedBytes;
    }
    if (m_send) {
        const auto counts = m_send->Meter().Total();
        sample.packetsSent = counts.packets;
        sample.trouble += TroubleAsText(m_send->Figures());
        sample.levelInDbfs = m_send->Meter().TakeRecentLevelDbfs();
        codedBytes = counts.codedBytes;
    }
    sample.bitrateKbps = KbpsOf(codedBytes - m_lastCodedBytes, SecondsBetween(m_lastStatus, now));
    m_lastCodedBytes = codedBytes;
    m_lastStatus = now;
    if (m_options.showStatus) {
        std::fprintf(stderr, "%s\n", FormatStatus(sample).c_str());
    }
}

std::vector<QrnNamedGraph> CCallRun::Graphs() const {
    std::vector<QrnNamedGraph> graphs;
    if (m_send) {
        graphs.push_back({m_send->Graph(), "send"});
    }
    if (m_receive) {
        graphs.push_back({m_receive->Graph(), "receive"});
    }
    return graphs;
}

void CCallRun::ShowGraphs() const {
    std::fputs(DescribeGraphs(Graphs(), kQrnDumpText).c_str(), stderr);
}

/// While the graphs still run: stopped ones have no state and no queues to tell of.
void CCallRun::WriteGraphFile() {
    if (!m_graphFile) {
        return;
    }
    try {
        m_graphFile->Write(Graphs());
    } catch (const CClientError& error) {
        m_faults.emplace_back(error.what());
    }
}

/// Lets what has been sent come out. Bounded, since a lost packet never does.
void CCallRun::DrainNetwork() {
    if (!m_send) {
        return;
    }
    const std::uint64_t sent = m_send->Meter().Total().packets;
    for (auto waited = milliseconds(0); waited < kDrainTime; waited += kDrainLook) {
        if (m_receive->Meter().Total().packetsPlayed >= sent) {
            return;
        }
        SystemClock().SleepFor(kDrainLook);
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Afterwards

CallReport CCallRun::MakeReport() {
    CallReport report;
    report.command = CommandName(m_options.command);
    report.codec = m_options.codec->name;
    report.sampleRate = m_options.codec->sampleRate;
    report.channels = m_options.channels;
    report.seconds = SecondsBetween(m_start, m_end);
    report.cpuMsPerSecond = report.seconds > 0 ? MillisecondsOf(m_cpuTime) / report.seconds : 0;
    report.faults = m_faults;
    if (m_receive) {
        ReportReceiving(report);
    }
    if (m_send) {
        ReportSending(report);
    }
    if (m_send && m_receive) {
        // Both ends are known, so the count is exact; a gap counts once however many packets it took.
        report.packetsLost = *report.packetsSent - std::min(*report.packetsSent, *report.packetsReceived);
    }
    if (report.faults.empty()) {
        report.faults = FindCallFaults(report);
    }
    if (report.faults.empty() && m_receive) {
        const auto received = m_receive->Meter().ReceivedSound();
        if (m_send) {
            CompareWithSent(m_options, m_send->Meter().SentSound(), received, report);
        } else {
            CompareWithKnown(m_options, m_knownSound, received, report);
        }
    }
    return report;
}

void CCallRun::ReportSending(CallReport& report) {
    const auto counts = m_send->Meter().Total();
    report.farEnd = Receives() ? "" : m_farNames;
    report.sending = m_send->Figures();
    report.kbps = m_send->Kbps();
    report.samplesIn = counts.samples;
    report.packetsSent = counts.packets;
    report.codedBytesSent = counts.codedBytes;
    report.bitrateKbps = KbpsOf(counts.codedBytes, report.seconds);
    report.levelInDbfs = m_send->Meter().LevelsDbfs();
    if (m_farEnds && m_farEnds->AnyRefuses()) {
        report.faults.push_back("no program receives at " + m_farEnds->RefusingNames());
    }
}

void CCallRun::ReportReceiving(CallReport& report) {
    const auto statistics = m_receive->Total();
    const auto counts = m_receive->Meter().Total();
    report.kbps = m_receive->Kbps();
    report.port = m_network.Port();
    report.output = m_output;
    report.receiving = m_receive->Figures();
    report.samplesOut = counts.samples;
    report.packetsReceived = statistics.received;
    report.packetsLost = statistics.gaps;
    report.packetsPlayed = counts.packetsPlayed;
    report.silentPackets = counts.silentTurns;
    report.bitrateKbps = KbpsOf(counts.codedBytes, SecondsBetween(m_firstPacket.value_or(m_start), m_end));
    report.levelOutDbfs = m_receive->Meter().LevelsDbfs();
    const CLatencyStatistics latencies = m_receive->Meter().Latencies();
    if (latencies.Count() > 0) {
        report.latency = LatencySummary{*latencies.PercentileMs(50), *latencies.PercentileMs(99), latencies.Count()};
    }
    if (!Sends() && counts.frames == 0) {
        ExplainSilence(report);
    }
    try {
        m_receive->CloseRecording();
    } catch (const CClientError& error) {
        report.faults.emplace_back(error.what());
    }
}

void CCallRun::ExplainSilence(CallReport& report) {
    if (!report.faults.empty()) {
        return;
    }
    if (m_stop.HasCome()) {
        report.faults.push_back("stopped before a packet had arrived on port " + std::to_string(m_network.Port()));
        return;
    }
    if (const auto& srtp = report.receiving->srtp; srtp && srtp->notAuthentic > 0) {
        report.faults.push_back(ExplainNotAuthentic(*srtp, m_network.Port()));
        return;
    }
    const Arrivals arrivals = WatchPort(m_options.network.localAddress, m_network.Port(), kWatchTime, m_stop);
    report.faults.push_back(ExplainNothingReceived(arrivals, m_network.Port(), *m_options.codec, report.seconds));
}

}  // namespace qrn
