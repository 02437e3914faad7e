// What the program tells of its graphs: `qrn demo --graph FILE`, and SIGUSR1 to every call.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "CProgram.h"
#include "client/NetworkCheck.h"
#include "support/RunCommand.h"

namespace qrn {
namespace {

using nlohmann::json;
using test::CProgram;
using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;

std::string ReadText(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::size_t Count(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

TEST(GraphFile, DescribesBothHalvesOfTheRunningCall) {
    const test::CTempFolder folder;
    // The cheapest codec, since there are three calls at once.
    const auto call = [&](const char* file) {
        return std::vector<std::string>{"demo",     "--codec", "gsm",     "--seconds",      "1",
                                        "--output", "none",    "--graph", folder.File(file)};
    };
    CProgram asJson(call("graph.json"));
    CProgram asDot(call("graph.dot"));
    CProgram asText(call("graph.txt"));
    for (CProgram* program : {&asJson, &asDot, &asText}) {
        EXPECT_EQ(program->WaitForExit(), 0) << program->Error();
    }

    const json graphs = json::parse(ReadText(folder.File("graph.json"))).at("graphs");
    ASSERT_EQ(graphs.size(), 2u);
    EXPECT_EQ(graphs[0]["name"], "send");
    EXPECT_EQ(graphs[1]["name"], "receive");
    for (const json& graph : graphs) {
        EXPECT_EQ(graph["state"], "running");
        ASSERT_EQ(graph["filters"].size(), 5u);
        int pins = 0;
        for (const json& filter : graph["filters"]) {
            for (const json& pin : filter["pins"]) {
                ++pins;
                EXPECT_EQ(pin["connected"], true) << pin;
                EXPECT_GT(pin["statistics"]["samples"], 5) << pin;
                EXPECT_GT(pin["statistics"]["bytes"], 500) << pin;
                EXPECT_GT(pin["statistics"]["samplesPerSecond"], 5) << pin;
            }
        }
        EXPECT_EQ(pins, 8);
    }

    const std::string text = ReadText(folder.File("graph.txt"));
    EXPECT_THAT(text, HasSubstr("\"send\": graph running, 5 filters\n"));
    EXPECT_THAT(text, HasSubstr("\n\"receive\": graph running, 5 filters\n"));
    EXPECT_THAT(text, ContainsRegex("\"QRN Audio Sender\" running .*\n.*\n +[1-9][0-9]* samples, [1-9][0-9]* bytes"));

    EXPECT_THAT(ReadText(folder.File("graph.dot")), testing::StartsWith("digraph "));
    if (!test::RunCommand("command -v dot").empty()) {
        const std::string svg = test::RunCommand("dot -Tsvg '" + folder.File("graph.dot") + "' 2>&1");
        EXPECT_EQ(Count(svg, "class=\"cluster\""), 2u) << svg;
        EXPECT_EQ(Count(svg, "class=\"node\""), 10u);
        EXPECT_EQ(Count(svg, "class=\"edge\""), 8u);
    }
}

TEST(GraphFile, IsWrittenWhenTheCallIsInterrupted) {
    const test::CTempFolder folder;
    CProgram program({"demo", "--seconds", "0", "--output", "none", "--graph", folder.File("graph.json")});
    ASSERT_TRUE(program.WaitForError("   1.")) << program.Error();
    program.Signal(SIGINT);
    ASSERT_TRUE(program.WaitForExit());
    EXPECT_EQ(json::parse(ReadText(folder.File("graph.json")))["graphs"][1]["state"], "running");
}

TEST(GraphFile, ThatIsFullFailsTheCallAtItsEnd) {
    CProgram program({"demo", "--seconds", "1", "--output", "none", "--graph", "/dev/full", "--json"});
    EXPECT_EQ(program.WaitForExit(), 1);
    const json report = json::parse(program.Output());
    EXPECT_EQ(report["ok"], false);
    EXPECT_EQ(report["faults"], json::array({"cannot write the graph /dev/full: No space left on device"}));
    EXPECT_GT(report["packets_received"], 0);
}

struct SignalCase {
    const char* name;
    std::vector<std::string> arguments;
    std::vector<std::string> graphs;
    const char* filter;
};
void PrintTo(const SignalCase& test, std::ostream* out) {
    *out << test.name;
}

class DumpSignal : public testing::TestWithParam<SignalCase> {};

TEST_P(DumpSignal, ShowsThePinsOfTheRunningGraphsAsOftenAsItComes) {
    const std::string port = std::to_string(FindFreeEvenPort("127.0.0.1"));
    std::vector<std::string> arguments = GetParam().arguments;
    for (std::string& argument : arguments) {
        if (const auto place = argument.find("PORT"); place != std::string::npos) {
            argument.replace(place, 4, port);
        }
    }
    CProgram program(arguments);
    ASSERT_TRUE(program.WaitForError("   1.")) << program.Error();
    for (std::size_t round = 1; round <= 2; ++round) {
        program.Signal(SIGUSR1);
        const std::string name = "\"" + GetParam().graphs.back() + "\": graph running, 5 filters\n";
        const auto isShown = [&] { return Count(program.Error(), name) == round; };
        ASSERT_TRUE(program.WaitUntil(isShown)) << program.Error();
    }
    program.Signal(SIGINT);
    ASSERT_TRUE(program.WaitForExit());
    EXPECT_LT(*program.WaitForExit(), 2) << "ended by itself";
    for (const std::string& graph : GetParam().graphs) {
        EXPECT_THAT(program.Error(), HasSubstr("\"" + graph + "\": graph running, 5 filters\n"));
    }
    EXPECT_THAT(program.Error(), ContainsRegex(std::string("\"") + GetParam().filter +
                                               "\" running .*\n  (in|out) .*\n +[0-9]+ samples, [0-9]+ bytes"));
    EXPECT_THAT(program.Output(), HasSubstr("result")) << "the report stands alone";
    EXPECT_THAT(program.Output(), testing::Not(HasSubstr("graph running")));
}

INSTANTIATE_TEST_SUITE_P(
    Calls, DumpSignal,
    testing::Values(
        SignalCase{"Demo", {"demo", "--output", "none", "--seconds", "0"}, {"send", "receive"}, "QRN Audio Receiver"},
        SignalCase{"Send", {"send", "--to", "127.0.0.1:PORT"}, {"send"}, "QRN Audio Sender"},
        SignalCase{"Receive", {"receive", "--port", "PORT", "--output", "none"}, {"receive"}, "QRN Audio Receiver"}),
    [](const auto& instance) { return std::string(instance.param.name); });

}  // namespace
}  // namespace qrn
