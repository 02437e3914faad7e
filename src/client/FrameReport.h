#pragma once
/// What a call of made-up frames came to, and how that is shown.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "client/CBurstCounter.h"
#include "client/CFrameMeter.h"
#include "client/NetworkFigures.h"

namespace qrn {

/// Empty fields were not measured: a sender does not know what has arrived.
struct FrameReport {
    std::string command;
    std::string farEnd;  // of a sender
    int port = 0;        // of a receiver
    double seconds = 0;
    double kbps = 0;  // of the frames, without headers
    std::optional<std::uint64_t> framesSent;
    std::optional<SendFigures> sending;
    std::optional<CFrameMeter::Counts> received;
    std::optional<std::uint64_t> lost;  // exact where both ends are known, else the numbers missing
    std::optional<CFrameMeter::Delays> delays;
    std::optional<CBurstCounter::Bursts> bursts;
    std::optional<ReceiveFigures> receiving;
    std::vector<std::string> faults;  // sentences; none when the call worked

    bool Ok() const { return faults.empty(); }
};

/// Whether frames came through; what a network lost of them is the finding of such a call, and no fault of it, unless
/// both ends are on this machine.
/// @return a sentence for each fault.
std::vector<std::string> FindFrameFaults(const FrameReport& report);

/// Lines with a closing line feed each.
std::string FormatFrameReport(const FrameReport& report);
/// One object in one line; what was not measured is null.
std::string FormatFrameReportAsJson(const FrameReport& report);
/// One line without a line feed: the second just past. @param kbps  in that second.
std::string FormatFrameStatus(const FrameReport& soFar, double kbps, std::optional<double> delayMs);

}  // namespace qrn
