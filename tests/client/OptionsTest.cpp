#include "client/Options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "support/TempFolder.h"

namespace qrn {
namespace {

using testing::HasSubstr;

std::vector<std::string> Words(const std::string& line) {
    std::istringstream stream(line);
    return {std::istream_iterator<std::string>(stream), {}};
}

Options Parsed(const std::string& line) {
    const auto result = ParseOptions(Words(line));
    if (const auto* answer = std::get_if<OptionsAnswer>(&result)) {
        ADD_FAILURE() << line << ": " << answer->text;
        return {};
    }
    return std::get<Options>(result);
}

OptionsAnswer Answered(const std::string& line) {
    const auto result = ParseOptions(Words(line));
    const auto* answer = std::get_if<OptionsAnswer>(&result);
    return answer != nullptr ? *answer : OptionsAnswer{"accepted", ExitStatus::kDone};
}

TEST(Options, TakesADemoWithoutMore) {
    const Options options = Parsed("demo");
    EXPECT_EQ(options.command, Command::kDemo);
    EXPECT_STREQ(options.codec->name, "opus");
    EXPECT_EQ(options.kbps, options.codec->defaultKbps);
    EXPECT_EQ(options.channels, 1);
    EXPECT_EQ(options.seconds, 10);
    EXPECT_EQ(options.network.localAddress, "127.0.0.1");
    EXPECT_EQ(options.output, Output::kAuto);
    EXPECT_FALSE(options.json);
}

TEST(Options, TakesEveryOptionOfADemo) {
    const Options options = Parsed(
        "demo --codec gsm --kbps 20 --channels 2 --seconds 2.5 --audio in.mkv --record out.wav --port 6000 --output "
        "none "
        "--graph g.dot --module ./m.so --address 127.0.0.2 --json");
    EXPECT_STREQ(options.codec->name, "gsm");
    EXPECT_EQ(options.kbps, 20);
    EXPECT_EQ(options.channels, 2);
    EXPECT_EQ(options.seconds, 2.5);
    EXPECT_EQ(options.audioFile, "in.mkv");
    EXPECT_EQ(options.recordFile, "out.wav");
    EXPECT_EQ(options.graphFile, "g.dot");
    EXPECT_EQ(options.port, 6000);
    EXPECT_EQ(options.output, Output::kNone);
    EXPECT_EQ(options.modulePath, "./m.so");
    EXPECT_EQ(options.network.localAddress, "127.0.0.2");
    EXPECT_TRUE(options.json);
}

TEST(Options, LastsAsLongAsAFileWhenNothingElseIsSaid) {
    EXPECT_EQ(Parsed("demo --audio a.wav").seconds, std::nullopt);
    EXPECT_EQ(Parsed("demo --audio a.wav --seconds 0").seconds, 0);
    EXPECT_EQ(Parsed("send --to h:5000").seconds, 0);
    EXPECT_EQ(Parsed("receive --port 5000").seconds, 0);
}

TEST(Options, SplitsTheFarEnd) {
    const Options options = Parsed("send --to some.host:65534 --codec speex_hq");
    ASSERT_EQ(options.network.farEnds.size(), 1u);
    EXPECT_EQ(options.network.farEnds[0].host, "some.host");
    EXPECT_EQ(options.network.farEnds[0].port, 65534);
    EXPECT_EQ(options.network.localAddress, "0.0.0.0");
    EXPECT_EQ(options.codec->id, 3u);
}

TEST(Options, TakesTheNetworkOfASender) {
    const NetworkOptions network = Parsed(
                                       "send --to a:5000 --to 239.1.1.1:5002 --ttl 3 --tos 184 --interface 10.0.0.1 "
                                       "--codec gsm")
                                       .network;
    ASSERT_EQ(network.farEnds.size(), 2u);
    EXPECT_EQ(network.farEnds[1].host, "239.1.1.1");
    EXPECT_EQ(network.ttl, 3);
    EXPECT_EQ(network.tos, 184);
    EXPECT_EQ(network.interfaceAddress, "10.0.0.1");
    EXPECT_EQ(network.reorderWindow, std::nullopt);
    EXPECT_EQ(Parsed("send --to a:5000 --parity 24").network.parityGroup, 24);
    EXPECT_EQ(Parsed("send --to a:5000 --srtp-key @key").network.srtpKey, "@key");
}

TEST(Options, TakesTheNetworkOfAReceiver) {
    const NetworkOptions network =
        Parsed("receive --port 5000 --join 239.1.1.1 --interface 127.0.0.1 --reorder 20 --parity 2").network;
    EXPECT_EQ(network.group, "239.1.1.1");
    EXPECT_EQ(network.interfaceAddress, "127.0.0.1");
    EXPECT_EQ(network.reorderWindow, 20);
    EXPECT_EQ(network.parityGroup, 2);
    EXPECT_EQ(network.localAddress, "0.0.0.0");
}

TEST(Options, TakesFrames) {
    const Options options =
        Parsed("send --to a:5000 --frames 4000,12.5,30000,50 --pace 7,2000 --stuff 5000,5008 --seconds 2");
    ASSERT_TRUE(options.frames);
    EXPECT_EQ(options.frames->traffic.bytes, 4000);
    EXPECT_EQ(options.frames->traffic.perSecond, 12.5);
    EXPECT_EQ(options.frames->traffic.keyBytes, 30000);
    EXPECT_EQ(options.frames->traffic.keyEvery, 50);
    EXPECT_EQ(options.frames->pacing->burstPackets, 7);
    EXPECT_EQ(options.frames->pacing->kbps, 2000);
    EXPECT_EQ(options.frames->stuffing->bytesPerFrame, 5000);
    EXPECT_EQ(options.frames->stuffing->port, 5008);
    EXPECT_EQ(Parsed("demo --frames 100,1 --stuff 5").frames->stuffing->port, 9) << "what is thrown away";
    EXPECT_TRUE(Parsed("receive --port 5000 --frames").frames);
    EXPECT_FALSE(Parsed("receive --port 5000").frames);
}

TEST(Options, TakesEveryCodec) {
    const Options options = Parsed("demo --codec all");
    EXPECT_TRUE(options.allCodecs);
    EXPECT_EQ(options.givenChannels, std::nullopt);
    EXPECT_GT(options.seconds, 0);
    EXPECT_EQ(options.output, Output::kNone);
    EXPECT_EQ(Parsed("demo --codec all --channels 2 --output speaker --seconds 5").givenChannels, 2);
}

TEST(Options, TakesWhatIsRegistered) {
    EXPECT_FALSE(Parsed("inspect --json").registered);
    EXPECT_TRUE(Parsed("inspect --registered").registered);
    EXPECT_EQ(Parsed("register").command, Command::kRegister);
    EXPECT_EQ(Parsed("register --module ./m.so --json").modulePath, "./m.so");
    EXPECT_EQ(Parsed("unregister").command, Command::kUnregister);
}

TEST(Options, TakesAModuleWithoutASlashForAFileThatIsHere) {
    const test::CTempFolder folder;
    std::ofstream(folder.File("m.so")) << "a file";
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder.File(""));
    EXPECT_EQ(Parsed("inspect --module m.so").modulePath, "./m.so");
    EXPECT_EQ(Parsed("inspect --module other.so").modulePath, "other.so");
    std::filesystem::current_path(before);
}

TEST(Options, TakesABadNetwork) {
    const Options options =
        Parsed("impair --listen 6000 --to localhost:6002 --loss 0.1 --burst 0.01,5 --seed 9 --json");
    EXPECT_EQ(options.command, Command::kImpair);
    EXPECT_EQ(options.port, 6000);
    EXPECT_EQ(options.network.farEnds.at(0).host, "localhost");
    EXPECT_EQ(options.network.farEnds.at(0).port, 6002);
    EXPECT_EQ(options.network.localAddress, "127.0.0.1");
    EXPECT_EQ(options.impairment.loss, 0.1);
    EXPECT_EQ(options.impairment.burstLength, 5);
    EXPECT_EQ(options.impairment.seed, 9u);
    EXPECT_TRUE(options.json);
}

TEST(Options, AnswersHelpAndVersionAsData) {
    for (const char* line : {"--help", "demo --help", "send --help", "receive --help", "inspect --help",
                             "register --help", "unregister --help", "--version"}) {
        EXPECT_EQ(Answered(line).status, ExitStatus::kDone) << line;
        EXPECT_THAT(Answered(line).text, testing::Not(HasSubstr("accepted"))) << line;
    }
    EXPECT_THAT(Answered("demo --help").text, HasSubstr("--record"));
    EXPECT_THAT(Answered("--version").text, testing::MatchesRegex("qrn [0-9.]+\n"));
}

struct WrongCase {
    const char* name;
    const char* line;
    const char* sentence;
};
void PrintTo(const WrongCase& test, std::ostream* out) {
    *out << test.line;
}

class WrongUse : public testing::TestWithParam<WrongCase> {};

TEST_P(WrongUse, IsOneSentenceAndStatus2) {
    const OptionsAnswer answer = Answered(GetParam().line);
    EXPECT_EQ(answer.status, ExitStatus::kWrongUse);
    EXPECT_THAT(answer.text, testing::StartsWith("qrn: "));
    EXPECT_THAT(answer.text, HasSubstr(GetParam().sentence));
}

INSTANTIATE_TEST_SUITE_P(
    Lines, WrongUse,
    testing::Values(
        WrongCase{"Nothing", "", "subcommand"}, WrongCase{"UnknownCommand", "dmeo", "dmeo"},
        WrongCase{"UnknownOption", "demo --sconds 3", "--sconds"},
        WrongCase{"UnknownCodec", "demo --codec g711", "'g711'; the codecs are gsm, g72x, speex, speex_hq, mp3, opus."},
        WrongCase{"OddPort", "receive --port 5001", "port 5001 is odd, but RTP needs an even port"},
        WrongCase{"OddFarPort", "send --to 10.0.0.1:5001", "port 5001 is odd"},
        WrongCase{"PortTooLarge", "receive --port 70000", "70000 is not between 1 and 65535"},
        WrongCase{"PortZero", "receive --port 0", "0 is not between"},
        WrongCase{"PortNoNumber", "receive --port 50x0", "'50x0' is no number"},
        WrongCase{"NoListen", "impair --to h:5000", "--listen is required"},
        WrongCase{"Loss", "impair --listen 5000 --to h:5000 --loss 2", "--loss: '2' is not a share"},
        WrongCase{"NoPort", "receive", "--port is required"}, WrongCase{"NoFarEnd", "send", "--to is required"},
        WrongCase{"FarEndWithoutPort", "send --to 10.0.0.1", "HOST:PORT"},
        WrongCase{"FarEndWithoutHost", "send --to :5000", "HOST:PORT"},
        WrongCase{"FarEndWithEmptyPort", "send --to h:", "'' is no number"},
        WrongCase{"FarEndIpv6", "send --to ::1:5000", "IPv4 only"},
        WrongCase{"FarEndIpv6InBrackets", "send --to [::1]:5000", "IPv4 only"},
        WrongCase{"Channels", "demo --channels 3", "3 is not between 1 and 2"},
        WrongCase{"Kbps", "demo --kbps 0", "0 is not between 1 and 512"},
        WrongCase{"NegativeKbps", "demo --kbps=-5", "-5 is not between"},
        WrongCase{"Seconds", "demo --seconds soon", "'soon' is no number"},
        WrongCase{"NegativeSeconds", "demo --seconds=-1", "no length of time"},
        WrongCase{"EndlessSeconds", "demo --seconds inf", "no length of time"},
        WrongCase{"LocalAddress", "receive --port 5000 --address localhost", "'localhost' is no IPv4 address"},
        WrongCase{"Output", "demo --output radio", "auto, speaker, none"},
        WrongCase{"AllOfASender", "send --to h:5000 --codec all", "no codec 'all'"},
        WrongCase{"AllAtARate", "demo --codec all --kbps 20", "--kbps is for one codec"},
        WrongCase{"AllRecorded", "demo --codec all --record f.wav", "--record is for one codec"},
        WrongCase{"AllForEver", "demo --codec all --seconds 0", "--seconds 0 is for one codec"},
        WrongCase{"ParityOfOne", "demo --parity 1", "--parity: 1 is not between 2 and 24"},
        WrongCase{"ParityTooLarge", "receive --port 5000 --parity 25", "25 is not between 2 and 24"},
        WrongCase{"ParityForTwo", "send --to a:5000 --to b:5000 --parity 4", "--parity is for one destination"},
        WrongCase{"Window", "demo --reorder 21", "--reorder: 21 is not between 0 and 20"},
        WrongCase{"NoWindowWithParity", "demo --parity 4 --reorder 0", "always reorders"},
        WrongCase{"WindowOfASender", "send --to h:5000 --reorder 5", "--reorder"},
        WrongCase{"Ttl", "send --to h:5000 --ttl 256", "256 is not between 0 and 255"},
        WrongCase{"TtlWithoutGroup", "demo --ttl 3", "--ttl is for groups"},
        WrongCase{"Tos", "send --to h:5000 --tos high", "'high' is no number"},
        WrongCase{"NoGroup", "receive --port 5000 --join 10.0.0.1", "--join: '10.0.0.1' is no address of a multicast"},
        WrongCase{"NoInterface", "send --to h:5000 --interface eth0", "--interface: 'eth0' is no IPv4 address"},
        WrongCase{"InterfaceForNothing", "receive --port 5000 --interface 10.0.0.1", "--interface is for --join"},
        WrongCase{"GroupAtOneAddress", "receive --port 5000 --join 239.1.1.1 --address 10.0.0.1",
                  "--interface instead"},
        WrongCase{"TosEncrypted", "send --to h:5000 --srtp-key @k --tos 1", "--tos has no effect on an encrypted call"},
        WrongCase{"GroupEncrypted", "receive --port 5000 --srtp-key @k --join 239.1.1.1", "--join has no effect"},
        WrongCase{"EmptyKey", "demo --srtp-key", "--srtp-key"},
        WrongCase{"PaceOfSound", "send --to h:5000 --pace 5,1500", "--pace is for frames (--frames)"},
        WrongCase{"StuffingOfSound", "demo --stuff 10000", "--stuff is for frames (--frames)"},
        WrongCase{"PaceOfAReceiver", "receive --port 5000 --frames --pace 5,1500", "--pace"},
        WrongCase{"FramesWithoutRate", "demo --frames 4000", "BYTES,PER_SECOND[,KEY_BYTES,KEY_EVERY]"},
        WrongCase{"FramesWithHalfAKey", "demo --frames 4000,25,9000", "BYTES,PER_SECOND[,KEY_BYTES,KEY_EVERY]"},
        WrongCase{"SmallFrames", "demo --frames 31,25", "31 is not between 32 and 1048576"},
        WrongCase{"LargeKeyFrames", "demo --frames 100,25,1048577,10", "1048577 is not between"},
        WrongCase{"TooManyFrames", "demo --frames 100,101", "not between 1 and 100"},
        WrongCase{"NotANumberOfFrames", "demo --frames 100,nan", "not between 1 and 100"},
        WrongCase{"PaceWithoutRate", "demo --frames 100,25 --pace 5", "not of the form BURST,RATE"},
        WrongCase{"PaceOfNothing", "demo --frames 100,25 --pace 0,1500", "0 is not between 1 and 1000"},
        WrongCase{"StuffingPort", "demo --frames 100,25 --stuff 100,0", "0 is not between 1 and 65535"},
        WrongCase{"FramesOfACodec", "demo --frames 100,25 --codec gsm", "--codec is for sound, not for --frames"},
        WrongCase{"FramesHeard", "receive --port 5000 --frames --output none", "--output is for sound"},
        WrongCase{"RegisteredOfAModule", "inspect --registered --module m.so", "--module excludes --registered"},
        WrongCase{"RegisterWithMore", "register m.so", "m.so"},
        WrongCase{"GraphOfOneHalf", "send --to h:5000 --graph g.dot", "--graph"},
        WrongCase{"GraphWithoutFile", "demo --graph", "--graph"},
        WrongCase{"InspectWithCodec", "inspect --codec gsm", "--codec"}),
    [](const auto& instance) { return std::string(instance.param.name); });

}  // namespace
}  // namespace qrn
