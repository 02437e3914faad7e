#include "client/Program.h"

#include <cstdio>
#include <exception>
#include <nlohmann/json.hpp>

#include "client/CCallRun.h"
#include "client/CDumpSignal.h"
#include "client/CFrameRun.h"
#include "client/CStopSignal.h"
#include "client/ClientError.h"
#include "client/CodecSurvey.h"
#include "client/ImpairCommand.h"
#include "client/Inspect.h"
#include "client/Messages.h"
#include "client/Options.h"
#include "client/Register.h"
#include "qrn/host.h"

namespace qrn {
namespace {

using Json = nlohmann::ordered_json;

/// File names need not be UTF-8.
std::string AsLine(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

/// @throws CClientError when it cannot be written: a report that nobody gets is not done.
void Print(const std::string& text) {
    if (std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) != 0) {
        throw CClientError("cannot write to the standard output");
    }
}

/// Says what went wrong and prints the report.
ExitStatus Conclude(const std::vector<std::string>& faults, const std::string& report) {
    for (const std::string& fault : faults) {
        Say(fault);
    }
    Print(report);
    return faults.empty() ? ExitStatus::kDone : ExitStatus::kFailed;
}

ExitStatus RunCall(const Options& options, const CStopSignal& stop) {
    const CDumpSignal dump;  // to the very end, since the signal would end the program
    const CallReport report = CCallRun(options, stop, dump).Run();
    return Conclude(report.faults, options.json ? FormatReportAsJson(report) + "\n" : FormatReport(report));
}

ExitStatus RunFrames(const Options& options, const CStopSignal& stop) {
    const CDumpSignal dump;
    const FrameReport report = CFrameRun(options, stop, dump).Run();
    return Conclude(report.faults, options.json ? FormatFrameReportAsJson(report) + "\n" : FormatFrameReport(report));
}

ExitStatus RunAllCodecs(const Options& options, const CStopSignal& stop) {
    const CDumpSignal dump;
    const SurveyReport survey = RunSurvey(options, stop, dump);
    return Conclude(survey.faults, options.json ? FormatSurveyAsJson(survey) + "\n" : FormatSurvey(survey));
}

ExitStatus RunInspect(const Options& options) {
    if (options.registered) {
        const RegistrationReport report = InspectRegistration();
        Print(options.json ? FormatRegistrationAsJson(report) + "\n" : FormatRegistration(report));
        return ExitStatus::kDone;
    }
    const auto classes = InspectModule();
    Print(options.json ? FormatInspectionAsJson(classes) + "\n" : FormatInspection(classes));
    return ExitStatus::kDone;
}

ExitStatus RunRegistration(const Options& options) {
    const bool registers = options.command == Command::kRegister;
    const std::string file = registers ? RegisterModule(options.modulePath) : UnregisterModule(options.modulePath);
    const Json json = {{"ok", true}, {"command", CommandName(options.command)}, {"module", file}};
    Print(options.json ? AsLine(json) : (registers ? "registered " : "unregistered ") + file + "\n");
    return ExitStatus::kDone;
}

ExitStatus RunCommand(const Options& options) {
    if (options.command == Command::kRegister || options.command == Command::kUnregister) {
        return RunRegistration(options);
    }
    const CStopSignal stop;
    if (options.command == Command::kImpair) {
        Print(RunImpair(options, stop));
        return ExitStatus::kDone;
    }
    if (!options.modulePath.empty() && FAILED(QrnSetModulePath(options.modulePath.c_str()))) {
        throw CClientError("cannot take " + options.modulePath + " as the module");
    }
    if (options.command == Command::kInspect) {
        return RunInspect(options);
    }
    if (options.frames) {
        return RunFrames(options, stop);
    }
    return options.allCodecs ? RunAllCodecs(options, stop) : RunCall(options, stop);
}

/// For who reads only the object on standard output.
std::string FailureAsJson(const Options& options, const std::string& sentence) {
    return AsLine({{"ok", false}, {"command", CommandName(options.command)}, {"faults", {sentence}}});
}

}  // namespace

int RunProgram(const std::vector<std::string>& arguments) {
    const auto parsed = ParseOptions(arguments);
    if (const auto* answer = std::get_if<OptionsAnswer>(&parsed)) {
        std::fputs(answer->text.c_str(), answer->status == ExitStatus::kDone ? stdout : stderr);
        return static_cast<int>(answer->status);
    }
    const auto& options = std::get<Options>(parsed);
    ExitStatus status = ExitStatus::kFailed;
    std::string failure;
    try {
        return static_cast<int>(RunCommand(options));
    } catch (const CClientError& error) {
        failure = error.what();
        status = error.Status();
    } catch (const std::exception& error) {
        failure = error.what();
    }
    Say(failure);
    if (options.json) {
        std::fputs(FailureAsJson(options, failure).c_str(), stdout);
    }
    return static_cast<int>(status);
}

}  // namespace qrn
