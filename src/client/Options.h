#pragma once
/// The command line.

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "client/ClientError.h"
#include "client/CodecTable.h"
#include "client/FrameOptions.h"
#include "client/NetworkOptions.h"
#include "client/impair/ImpairmentModel.h"

namespace qrn {

enum class Command { kDemo, kSend, kReceive, kInspect, kRegister, kUnregister, kImpair };

/// Where received sound goes. kAuto is the speaker, or nowhere on a machine without one.
enum class Output { kAuto, kSpeaker, kNone };

struct Options {
    Command command = Command::kDemo;
    const CodecInfo* codec = nullptr;  // of a survey: none
    int kbps = 0;
    int channels = 1;
    /// demo: a call with every codec, in turn; with 1 and 2 channels unless these are given.
    bool allCodecs = false;
    std::optional<int> givenChannels;
    /// Made-up frames instead of sound. A receiver's traffic is that of the far end.
    std::optional<FrameOptions> frames;
    /// Length of the call; 0: until it is stopped. Nothing: as long as the sound that is sent.
    std::optional<double> seconds;
    /// How long a far end may be silent, or refuse, before the call is given up; 0: for ever.
    double waitSeconds = 10;
    std::optional<std::string> audioFile;
    std::optional<std::string> recordFile;
    std::optional<std::string> graphFile;
    NetworkOptions network;
    int port = 0;  // local; 0: any
    Output output = Output::kAuto;
    std::string modulePath;
    bool json = false;
    bool showStatus = true;  // a line a second
    ImpairmentSettings impairment;
    bool registered = false;  // inspect: what is registered, instead of what the module holds
};

/// The program has nothing more to do than to say this: help or the version on standard output, or what is wrong with
/// the command line on standard error.
struct OptionsAnswer {
    std::string text;  // ends with a line feed
    ExitStatus status = ExitStatus::kDone;
};

/// @param arguments  without the program's name.
/// Checks all that can be checked without touching files, network or module.
std::variant<Options, OptionsAnswer> ParseOptions(const std::vector<std::string>& arguments);

const char* CommandName(Command command);

}  // namespace qrn
