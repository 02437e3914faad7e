#include "client/CCallRun.h"

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

double KbpsOf(std::uint64_t bytes, double seconds) {
    return seconds > 0 ? static_cast<double>(bytes) * 8 / 1000 / seconds : 0;
}

}  // namespace

CCallRun::CCallRun(const Options& options, const CStopSignal& stop, const CDumpSignal& dump)
    : m_options(options),
      m_stop(stop),
      m_dump(dump),
      m_port(options.port) {}

CallReport CCallRun::Run() {
    if (m_options.graphFile) {
        m_graphFile.emplace(*m_options.graphFile);
    }
    if (Receives() && m_port == 0) {
        m_port = FindFreeEvenPort(m_options.localAddress);
    }
    RequireFreePort(m_options.localAddress, m_port);
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
    CarryOn();
    m_end = steady_clock::now();
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
    SendSettings settings;
    settings.codec = m_options.codec;
    settings.kbps = m_options.kbps;
    settings.channels = m_options.channels;
    settings.localAddress = m_options.localAddress;
    if (Receives()) {
        settings.farAddress = m_options.localAddress;
        settings.farPort = m_port;
    } else {
        const auto address = ResolveIpv4(m_options.farHost, m_stop);
        if (!address) {
            return false;
        }
        settings.farAddress = *address;
        settings.farPort = m_options.farPort;
        settings.localPort = m_port;
        m_farEnd = std::make_unique<CFarEndProbe>(settings.farAddress, settings.farPort);
    }
    m_farAddress = settings.farAddress + ":" + std::to_string(settings.farPort);
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
    settings.localAddress = m_options.localAddress;
    settings.port = m_port;
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
        Say(std::string("waiting for ") + m_options.codec->name + " packets on port " + std::to_string(m_port));
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
        m_faults.push_back("the packets that arrive on port " + std::to_string(m_port) + " are not those of " +
                           m_options.codec->name + " as it was asked for: they carry frames " +
                           m_receive->FrameFault());
        return true;
    }
    const auto lastArrival = m_receive->Meter().LastArrival();
    const double silentSeconds = lastArrival ? std::chrono::duration<double>(SystemClock().Now() - *lastArrival).count()
                                             : SecondsBetween(m_start, now);
    const bool pauses = lastArrival && silentSeconds >= kPauseSeconds;
    if (pauses && !m_pauseTold) {
        Say(FormatText("nothing has arrived on port %d for %.0f s", m_port, kPauseSeconds));
    }
    m_pauseTold = pauses;
    return m_options.waitSeconds > 0 && silentSeconds >= m_options.waitSeconds;
}

bool CCallRun::HasSendingFailed(Time now) {
    if (!m_farEnd->AskAgain()) {
        m_refusedSince.reset();
        m_refusalTold = false;
        return false;
    }
    m_refusedSince = m_refusedSince.value_or(now);
    if (!m_refusalTold) {
        Say("no program receives at " + m_farAddress + ": its machine refuses the packets");
        m_refusalTold = true;
    }
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
        codedBytes = m_receive->Meter().Total().codedBytes;
    }
    if (m_send) {
        const auto counts = m_send->Meter().Total();
        sample.packetsSent = counts.packets;
        sample.levelInDbfs = m_send->Meter().TakeRecentLevelDbfs();
        codedBytes = counts.codedBytes;
    }
    sample.bitrateKbps = KbpsOf(codedBytes - m_lastCodedBytes, SecondsBetween(m_lastStatus, now));
    m_lastCodedBytes = codedBytes;
    m_lastStatus = now;
    std::fprintf(stderr, "%s\n", FormatStatus(sample).c_str());
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
    report.farEnd = Receives() ? "" : m_farAddress;
    report.kbps = m_send->Kbps();
    report.samplesIn = counts.samples;
    report.packetsSent = counts.packets;
    report.bitrateKbps = KbpsOf(counts.codedBytes, report.seconds);
    report.levelInDbfs = m_send->Meter().LevelsDbfs();
    if (m_refusedSince) {
        report.faults.push_back("no program receives at " + m_farAddress);
    }
}

void CCallRun::ReportReceiving(CallReport& report) {
    const auto statistics = m_receive->Total();
    const auto counts = m_receive->Meter().Total();
    report.kbps = m_receive->Kbps();
    report.port = m_port;
    report.output = m_output;
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
        report.faults.push_back("stopped before a packet had arrived on port " + std::to_string(m_port));
        return;
    }
    const Arrivals arrivals = WatchPort(m_options.localAddress, m_port, kWatchTime, m_stop);
    report.faults.push_back(ExplainNothingReceived(arrivals, m_port, *m_options.codec, report.seconds));
}

}  // namespace qrn
