#pragma once
/// A call with every codec, and what they look like beside each other.

#include <string>
#include <vector>

#include "client/CDumpSignal.h"
#include "client/CStopSignal.h"
#include "client/CallReport.h"
#include "client/Options.h"

namespace qrn {

struct SurveyReport {
    std::vector<CallReport> calls;  // in the order in which they were made
    std::vector<std::string> faults;

    bool Ok() const { return faults.empty(); }
};

/// One call after the other, so that each has the machine for itself. @throws CClientError when one cannot begin.
SurveyReport RunSurvey(const Options& options, const CStopSignal& stop, const CDumpSignal& dump);

/// A table, and below it a line for each fault and the result.
std::string FormatSurvey(const SurveyReport& survey);
/// One object in one line, with the reports of the calls as FormatReportAsJson has them.
std::string FormatSurveyAsJson(const SurveyReport& survey);

}  // namespace qrn
