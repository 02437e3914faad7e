#include "client/Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <filesystem>
#include <iterator>
#include <system_error>

#include "client/impair/ImpairmentOptions.h"

#ifndef QRN_VERSION
#error "QRN_VERSION is given by the build"
#endif

namespace qrn {
namespace {

constexpr double kDemoSeconds = 10;
constexpr double kSurveySeconds = 3;
constexpr const char* kAllCodecs = "all";
constexpr const char* kDefaultCodec = "opus";
constexpr const char* kLoopback = "127.0.0.1";
constexpr const char* kSrtpVariable = "QRN_SRTP_KEY";
constexpr const char* kSendHelp = "Send the sound of a media file instead of the built-in speech";
constexpr int kMaxKbps = 512;

/// The options as they were typed.
struct RawOptions {
    std::string codec;
    std::string kbps;
    std::string channels;
    std::string seconds;
    std::string waitSeconds = "10";
    std::string audioFile;
    std::string recordFile;
    std::string graphFile;
    std::string port;
    NetworkTexts network;
    FrameTexts frames;
    bool takesFrames = false;
    std::string output = "auto";
    std::string modulePath;
    ImpairmentTexts impairment;
    bool json = false;
    bool registered = false;
};

const CodecInfo* ParseCodec(const std::string& name) {
    const CodecInfo* codec = FindCodec(name);
    if (codec == nullptr) {
        RefuseUse("--codec: there is no codec '" + name + "'; the codecs are " + CodecNames());
    }
    return codec;
}

Output ParseOutput(const std::string& name) {
    if (name == "auto") {
        return Output::kAuto;
    }
    if (name == "speaker") {
        return Output::kSpeaker;
    }
    if (name != "none") {
        RefuseUse("--output: there is no output '" + name + "'; the outputs are auto, speaker, none");
    }
    return Output::kNone;
}

std::optional<double> ParseSeconds(const RawOptions& raw, Command command) {
    if (!raw.seconds.empty()) {
        return ParseTime("--seconds", raw.seconds);
    }
    if (command == Command::kReceive) {
        return 0;
    }
    if (!raw.audioFile.empty()) {
        return std::nullopt;
    }
    if (command != Command::kDemo) {
        return 0;
    }
    return raw.codec == kAllCodecs ? kSurveySeconds : kDemoSeconds;
}

std::optional<std::string> IfGiven(const std::string& text) {
    return text.empty() ? std::nullopt : std::optional(text);
}

/// The dynamic loader looks for a name without a slash everywhere but here, where whoever types it means it to be.
std::string ModuleFile(const std::string& typed) {
    std::error_code error;
    const bool isHere = typed.find('/') == std::string::npos && std::filesystem::is_regular_file(typed, error);
    return isHere ? "./" + typed : typed;
}

void CheckImpair(const RawOptions& raw, Options& options) {
    options.port = ParsePort("--listen", raw.port);
    options.network = ParseNetwork(raw.network);
    if (raw.network.localAddress.empty()) {
        options.network.localAddress = kLoopback;
    }
    options.impairment = ParseImpairment(raw.impairment);
}

/// A survey's calls differ in what these would fix.
void CheckSurvey(const RawOptions& raw, Options& options) {
    const std::pair<const char*, bool> others[] = {
        {"--kbps", !raw.kbps.empty()},
        {"--record", !raw.recordFile.empty()},
        {"--graph", !raw.graphFile.empty()},
        {"--seconds 0", options.seconds == 0},
    };
    for (const auto& [option, isGiven] : others) {
        if (isGiven) {
            RefuseUse(std::string(option) + " is for one codec, not for --codec all");
        }
    }
    options.allCodecs = true;
    if (raw.output == "auto") {
        options.output = Output::kNone;
    }
}

void CheckSound(Command command, const RawOptions& raw, Options& options) {
    options.output = ParseOutput(raw.output);
    if (!raw.channels.empty()) {
        options.channels = ParseIntegerIn("--channels", raw.channels, 1, 2);
        options.givenChannels = options.channels;
    }
    if (command == Command::kDemo && raw.codec == kAllCodecs) {
        CheckSurvey(raw, options);
        return;
    }
    options.codec = ParseCodec(raw.codec.empty() ? kDefaultCodec : raw.codec);
    options.kbps = raw.kbps.empty() ? options.codec->defaultKbps : ParseIntegerIn("--kbps", raw.kbps, 1, kMaxKbps);
    options.audioFile = IfGiven(raw.audioFile);
    options.recordFile = IfGiven(raw.recordFile);
}

/// Frames stand in the place of sound, so that all options of sound are without effect.
void CheckFrames(const RawOptions& raw, Options& options) {
    const std::pair<const char*, const std::string&> others[] = {
        {"--codec", raw.codec},     {"--kbps", raw.kbps},         {"--channels", raw.channels},
        {"--audio", raw.audioFile}, {"--record", raw.recordFile},
    };
    for (const auto& [option, text] : others) {
        if (!text.empty()) {
            RefuseUse(std::string(option) + " is for sound, not for --frames");
        }
    }
    if (raw.output != "auto") {
        RefuseUse("--output is for sound, not for --frames");
    }
    options.frames = raw.takesFrames ? FrameOptions{} : *ParseFrames(raw.frames);
}

void CheckNetwork(Command command, const RawOptions& raw, Options& options) {
    options.network = ParseNetwork(raw.network);
    NetworkOptions& network = options.network;
    if (command != Command::kSend && network.interfaceAddress && !network.group) {
        RefuseUse("--interface is for --join; --address binds to one address");
    }
    if (command == Command::kDemo && network.ttl && !network.group) {
        RefuseUse("--ttl is for groups: give --join too");
    }
    if (command == Command::kDemo && raw.network.localAddress.empty() && !network.group) {
        network.localAddress = kLoopback;
    }
}

Options Check(Command command, const RawOptions& raw) {
    Options options;
    options.command = command;
    options.json = raw.json;
    options.modulePath = ModuleFile(raw.modulePath);
    options.registered = raw.registered;
    if (command == Command::kImpair) {
        CheckImpair(raw, options);
        return options;
    }
    if (command != Command::kDemo && command != Command::kSend && command != Command::kReceive) {
        return options;
    }
    options.seconds = ParseSeconds(raw, command);
    options.waitSeconds = ParseTime("--wait", raw.waitSeconds);
    options.graphFile = IfGiven(raw.graphFile);
    if (!raw.port.empty()) {
        options.port = ParsePort("--port", raw.port);
    }
    CheckNetwork(command, raw, options);
    if (raw.takesFrames || ParseFrames(raw.frames)) {
        CheckFrames(raw, options);
    } else {
        CheckSound(command, raw, options);
    }
    return options;
}

void AddCommonOptions(CLI::App& command, RawOptions& raw) {
    command.add_option("--module", raw.modulePath, "The module's file instead of the one beside the program")
        ->type_name("PATH");
    command.add_flag("--json", raw.json, "Print one JSON object instead of text");
}

void AddCallOptions(CLI::App& command, RawOptions& raw, const char* codecHelp = "") {
    command.add_option("--codec", raw.codec, "One of " + CodecNames() + codecHelp + " (opus)")->type_name("NAME");
    command.add_option("--kbps", raw.kbps, "Bit rate of one channel; the codec takes the nearest that it has")
        ->type_name("N");
    command.add_option("--channels", raw.channels, "1 or 2 (1)")->type_name("N");
    command.add_option("--wait", raw.waitSeconds, "Give up when the far end is silent this long, 0: never (10)")
        ->type_name("N");
    AddCommonOptions(command, raw);
}

void AddNetworkOptions(CLI::App& command, NetworkTexts& texts) {
    command.add_option("--address", texts.localAddress, "Local IPv4 address")->type_name("ADDRESS");
    command
        .add_option("--interface", texts.interfaceAddress, "Local IPv4 address whose interface takes part in multicast")
        ->type_name("ADDRESS");
    command
        .add_option("--srtp-key", texts.srtpKey,
                    "Encrypt: master key and salt in hex or base64, or @FILE that holds them")
        ->type_name("KEY")
        ->envname(kSrtpVariable);
}

void AddSenderOptions(CLI::App& command, NetworkTexts& texts) {
    command.add_option("--ttl", texts.ttl, "Hops that packets to a group may take, 0 to 255 (1)")->type_name("N");
    command.add_option("--tos", texts.tos, "Type-of-service byte of the packets, 0 to 255 (0)")->type_name("N");
    command.add_option("--parity", texts.parity, "A parity packet for every K media packets, 2 to 24")->type_name("K");
}

void AddReceiverOptions(CLI::App& command, NetworkTexts& texts) {
    command.add_option("--join", texts.group, "Receive what is sent to this multicast group")->type_name("GROUP");
    command.add_option("--reorder", texts.reorder, "Packets that may wait for a missing one, 0 to 20 (20)")
        ->type_name("WINDOW");
}

void AddFrameOptions(CLI::App& command, FrameTexts& texts) {
    command.add_option("--frames", texts.frames, "Made-up video frames instead of sound")
        ->type_name("BYTES,PER_SECOND[,KEY_BYTES,KEY_EVERY]");
    command.add_option("--pace", texts.pace, "Send frames in bursts of so many packets, at so many kbit/s")
        ->type_name("BURST,RATE");
    command
        .add_option("--stuff", texts.stuff, "Fill each frame's traffic up to so many bytes (to the discard port, 9)")
        ->type_name("BYTES[,PORT]");
}

void AddSoundOption(CLI::App& command, RawOptions& raw, const char* help) {
    command.add_option("--audio", raw.audioFile, help)->type_name("FILE");
}

void AddOutputOptions(CLI::App& command, RawOptions& raw) {
    command.add_option("--record", raw.recordFile, "Also write what arrives to a WAV file")->type_name("FILE.wav");
    command.add_option("--output", raw.output, "auto, speaker or none (auto)")->type_name("NAME");
}

CLI::App* AddDemo(CLI::App& app, RawOptions& raw) {
    CLI::App* demo = app.add_subcommand("demo", "A whole call in one process over loopback, with a report");
    AddCallOptions(*demo, raw, ", or all for a table");
    AddNetworkOptions(*demo, raw.network);
    AddSenderOptions(*demo, raw.network);
    AddReceiverOptions(*demo, raw.network);
    AddFrameOptions(*demo, raw.frames);
    AddSoundOption(*demo, raw, kSendHelp);
    demo->add_option("--seconds", raw.seconds, "Length of the call, 0: until Ctrl-C (10, or as long as the file)")
        ->type_name("N");
    demo->add_option("--port", raw.port, "Even UDP port of the receiving half (any free one)")->type_name("PORT");
    AddOutputOptions(*demo, raw);
    demo->add_option("--graph", raw.graphFile, "Also describe the running graphs: .dot, .json, else text")
        ->type_name("FILE");
    return demo;
}

CLI::App* AddSend(CLI::App& app, RawOptions& raw) {
    CLI::App* send = app.add_subcommand("send", "The sending half of a call");
    send->add_option("--to", raw.network.farEnds, "The receiving half; several may be given")
        ->type_name("HOST:PORT")
        ->allow_extra_args(false)
        ->required();
    AddCallOptions(*send, raw);
    AddNetworkOptions(*send, raw.network);
    AddSenderOptions(*send, raw.network);
    AddFrameOptions(*send, raw.frames);
    AddSoundOption(*send, raw, kSendHelp);
    send->add_option("--seconds", raw.seconds, "Length of the call, 0: until Ctrl-C (0, or as long as the file)")
        ->type_name("N");
    send->add_option("--port", raw.port, "Even local UDP port (any)")->type_name("PORT");
    return send;
}

CLI::App* AddReceive(CLI::App& app, RawOptions& raw) {
    CLI::App* receive = app.add_subcommand("receive", "The receiving half of a call");
    receive->add_option("--port", raw.port, "Even UDP port to receive on")->type_name("PORT")->required();
    AddCallOptions(*receive, raw);
    AddNetworkOptions(*receive, raw.network);
    AddReceiverOptions(*receive, raw.network);
    receive->add_option("--parity", raw.network.parity, "Count parity packets, of one for every K media packets")
        ->type_name("K");
    receive->add_flag("--frames", raw.takesFrames, "Made-up video frames instead of sound");
    AddSoundOption(*receive, raw, "The media file that the far end sends, to compare with (the built-in speech)");
    receive->add_option("--seconds", raw.seconds, "Length of the call, 0: until Ctrl-C (0)")->type_name("N");
    AddOutputOptions(*receive, raw);
    return receive;
}

CLI::App* AddInspect(CLI::App& app, RawOptions& raw) {
    CLI::App* inspect = app.add_subcommand("inspect", "What the module holds: filters, pins, types, interfaces");
    AddCommonOptions(*inspect, raw);
    inspect->add_flag("--registered", raw.registered, "What is registered instead, and where its module is")
        ->excludes("--module");
    return inspect;
}

CLI::App* AddRegistration(CLI::App& app, RawOptions& raw, Command command, const char* help) {
    CLI::App* registration = app.add_subcommand(CommandName(command), help);
    AddCommonOptions(*registration, raw);
    return registration;
}

CLI::App* AddImpair(CLI::App& app, RawOptions& raw) {
    CLI::App* impair = app.add_subcommand("impair", "A bad network: relays one UDP port to another, until Ctrl-C");
    impair->add_option("--listen", raw.port, "Even UDP port that takes the datagrams")->type_name("PORT")->required();
    impair->add_option("--to", raw.network.farEnds, "Where they go")->type_name("HOST:PORT")->expected(1)->required();
    impair->add_option("--address", raw.network.localAddress, "Local IPv4 address (127.0.0.1)")->type_name("ADDRESS");
    ImpairmentTexts& texts = raw.impairment;
    impair->add_option("--loss", texts.loss, "Share lost one by one, 0 to 1")->type_name("P");
    impair->add_option("--burst", texts.burst, "Share that begins a burst of losses, and its mean length")
        ->type_name("P,LENGTH");
    impair->add_option("--delay", texts.delay, "Of each datagram")->type_name("MS");
    impair->add_option("--jitter", texts.jitter, "Added to the delay, from nothing to this")->type_name("MS");
    impair->add_option("--reorder", texts.reorder, "Share that is overtaken, by 1 to DISTANCE others")
        ->type_name("P,DISTANCE");
    impair->add_option("--duplicate", texts.duplicate, "Share that comes twice")->type_name("P");
    impair->add_option("--rate", texts.rate, "Of the line, with the heads of IPv4 and UDP")->type_name("KBIT");
    impair->add_option("--seed", texts.seed, "The same seed treats the same datagrams alike (1)")->type_name("N");
    impair->add_flag("--json", raw.json, "Print one JSON object instead of text");
    return impair;
}

constexpr Command kCommands[] = {Command::kDemo,     Command::kSend,       Command::kReceive, Command::kInspect,
                                 Command::kRegister, Command::kUnregister, Command::kImpair};

/// CLI11 would only say that a subcommand is required.
void RefuseUnknownCommand(const std::vector<std::string>& arguments) {
    if (arguments.empty() || arguments.front().starts_with('-')) {
        return;
    }
    std::string names;
    for (const Command command : kCommands) {
        if (arguments.front() == CommandName(command)) {
            return;
        }
        names += (names.empty() ? "" : ", ") + std::string(CommandName(command));
    }
    RefuseUse("there is no command '" + arguments.front() + "'; the commands are " + names);
}

}  // namespace

const char* CommandName(Command command) {
    switch (command) {
        case Command::kDemo:
            return "demo";
        case Command::kSend:
            return "send";
        case Command::kReceive:
            return "receive";
        case Command::kInspect:
            return "inspect";
        case Command::kRegister:
            return "register";
        case Command::kUnregister:
            return "unregister";
        case Command::kImpair:
            return "impair";
    }
    return "";
}

std::variant<Options, OptionsAnswer> ParseOptions(const std::vector<std::string>& arguments) {
    RawOptions raw;
    CLI::App app("Runs audio calls through the filters of QRN_Media2, shows what the module holds, and registers it.",
                 "qrn");
    app.set_version_flag("--version", "qrn " QRN_VERSION);
    app.require_subcommand(1);
    const std::array commands{
        AddDemo(app, raw),
        AddSend(app, raw),
        AddReceive(app, raw),
        AddInspect(app, raw),
        AddRegistration(app, raw, Command::kRegister,
                        "Register the module's classes: for the machine when root does it, else for the user"),
        AddRegistration(app, raw, Command::kUnregister, "Take the registration back"),
        AddImpair(app, raw),
    };
    static_assert(commands.size() == std::size(kCommands));
    try {
        RefuseUnknownCommand(arguments);
        // CLI11 takes them last first.
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
        const auto* parsed =
            std::find_if(commands.begin(), commands.end(), [](const CLI::App* command) { return command->parsed(); });
        return Check(kCommands[parsed - commands.begin()], raw);
    } catch (const CLI::CallForHelp&) {
        return OptionsAnswer{app.help(), ExitStatus::kDone};
    } catch (const CLI::CallForVersion& version) {
        return OptionsAnswer{std::string(version.what()) + "\n", ExitStatus::kDone};
    } catch (const CLI::ParseError& error) {
        return OptionsAnswer{std::string("qrn: ") + error.what() + "\nTry 'qrn --help'.\n", ExitStatus::kWrongUse};
    } catch (const CClientError& error) {
        return OptionsAnswer{std::string("qrn: ") + error.what() + ".\n", error.Status()};
    }
}

}  // namespace qrn
