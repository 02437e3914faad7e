#include "host/GraphDumpFormat.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "support/RunCommand.h"
#include "support/TempFolder.h"

namespace qrn::test {
namespace {

/// Two filters under `name`, whose pins have it too: the one feeds the other. The output counts, the input does not.
GraphDump TwoFilters(const std::string& name) {
    QRN_PIN_STATISTICS statistics{};
    statistics.samples = 51;
    statistics.bytes = 5100;
    statistics.discontinuities = 2;
    statistics.dropped = 3;
    statistics.skipped = 4;
    statistics.buffersInUse = 5;
    statistics.bufferCount = 6;
    statistics.firstSampleNs = 1'000'000'000;
    statistics.lastSampleNs = 2'000'000'000;
    statistics.nowNs = 2'012'500'000;
    PinDump output;
    output.name = name;
    output.id = name;
    output.isOutput = true;
    output.isConnected = true;
    output.peer = PinDump::Address{1, 0};
    output.mediaType = "audio PCM, 16000 Hz, 1 channel, 16 bit";
    output.statistics = statistics;
    PinDump input = output;
    input.isOutput = false;
    input.peer = PinDump::Address{0, 0};
    input.statistics.reset();
    GraphDump dump;
    dump.state = StateDump{State_Running, false};
    dump.filters.push_back({name, Guid("00112233-4455-6677-8899-AABBCCDDEEFF"), StateDump{State_Running, false}, {}});
    dump.filters.back().pins.push_back(output);
    dump.filters.push_back({name, GUID_NULL, StateDump{State_Paused, true}, {}});
    dump.filters.back().pins.push_back(input);
    return dump;
}

GraphDump Bare() {
    GraphDump dump;
    dump.filters.emplace_back();
    dump.filters.back().pins.emplace_back();
    return dump;
}

std::size_t Count(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

// ---------------------------------------------------------------------------------------------------------------------
// DOT, read by its own grammar: https://graphviz.org/doc/info/lang.html and, for records, info/shapes.html

/// The texts of a record label's fields with their escapes undone; nothing for a label that is none.
/// @param ports  receives the names of the ports.
std::optional<std::vector<std::string>> ReadRecord(const std::string& label, std::vector<std::string>& ports) {
    std::vector<std::string> fields(1);
    int depth = 0;
    bool mayText = true;  // no text behind a closed group
    for (std::size_t at = 0; at < label.size(); ++at) {
        const char letter = label[at];
        if (letter == '{') {
            if (!mayText || !fields.back().empty()) {
                return std::nullopt;
            }
            ++depth;
        } else if (letter == '}') {
            if (--depth < 0) {
                return std::nullopt;
            }
            mayText = false;
        } else if (letter == '|') {
            fields.emplace_back();
            mayText = true;
        } else if (!mayText) {
            return std::nullopt;
        } else if (letter == '<') {
            const std::size_t end = label.find('>', at);
            if (end == std::string::npos || !fields.back().empty()) {
                return std::nullopt;
            }
            ports.push_back(label.substr(at + 1, end - at - 1));
            at = end;
        } else if (letter == '>' || letter == '"' || letter == '\n') {
            return std::nullopt;
        } else if (letter == '\\') {
            if (++at == label.size()) {
                return std::nullopt;
            }
            fields.back() += label[at] == 'n' ? '\n' : label[at];
        } else if (letter == '&') {
            if (label.compare(at, 5, "&amp;") != 0) {
                return std::nullopt;
            }
            at += 4;
            fields.back() += '&';
        } else {
            fields.back() += letter;
        }
    }
    return depth == 0 ? std::optional(fields) : std::nullopt;
}

struct DotGraph {
    std::vector<std::vector<std::string>> nodes;  // the fields of each
    std::vector<std::string> ports;               // "f0:p1"
    std::vector<std::string> ends;                // of arrows, in the same form
    std::vector<std::string> faults;
};

/// Reads the parts of one statement, one after another; each answers whether it stands there.
class CReader {
public:
    explicit CReader(std::string_view text) : m_left(text) {}
    bool IsAtEnd() const { return m_left.empty(); }
    bool Take(std::string_view text) {
        if (m_left.substr(0, text.size()) != text) {
            return false;
        }
        m_left.remove_prefix(text.size());
        return true;
    }
    bool TakeName(std::string& name) {
        const std::size_t end = m_left.find_first_not_of("abcdefghijklmnopqrstuvwxyz_0123456789");
        name = m_left.substr(0, end);
        m_left.remove_prefix(name.size());
        return !name.empty() && (name[0] < '0' || name[0] > '9');
    }
    /// A node and its port, "f0:p1".
    bool TakeEnd(std::string& end) {
        std::string port;
        if (!TakeName(end) || !Take(":") || !TakeName(port)) {
            return false;
        }
        end += ":" + port;
        return true;
    }
    /// The inside of a string, escapes as they are.
    bool TakeString(std::string& text) {
        if (!Take("\"")) {
            return false;
        }
        std::size_t end = 0;
        while (end < m_left.size() && m_left[end] != '"') {
            end += m_left[end] == '\\' ? 2 : 1;
        }
        text = m_left.substr(0, end);
        m_left.remove_prefix(std::min(end, m_left.size()));
        return Take("\"");
    }

private:
    std::string_view m_left;
};

/// @return false for a line that is no statement.
bool ReadStatement(const std::string& line, DotGraph& graph) {
    if (line == "    rankdir=LR;" || line == "    node [shape=record];") {
        return true;
    }
    std::string name;
    std::string label;
    CReader ofGraph(line);
    if (ofGraph.Take("    label=") && ofGraph.TakeString(label) && ofGraph.Take(";")) {
        return ofGraph.IsAtEnd();
    }
    CReader node(line);
    if (node.Take("    ") && node.TakeName(name) && node.Take(" [label=") && node.TakeString(label)) {
        std::vector<std::string> ports;
        const auto fields = ReadRecord(label, ports);
        if (!fields) {
            return false;
        }
        graph.nodes.push_back(*fields);
        for (const std::string& port : ports) {
            graph.ports.push_back(std::string(name).append(":").append(port));
        }
        return node.Take("];") && node.IsAtEnd();
    }
    CReader arrow(line);
    std::string to;
    if (arrow.Take("    ") && arrow.TakeEnd(name) && arrow.Take(" -> ") && arrow.TakeEnd(to)) {
        graph.ends.insert(graph.ends.end(), {name, to});
        return arrow.Take(" [label=") && arrow.TakeString(label) && arrow.Take("];") && arrow.IsAtEnd();
    }
    return false;
}

DotGraph ReadDot(const std::string& dot) {
    DotGraph graph;
    std::istringstream lines(dot);
    std::string line;
    std::string name;
    std::getline(lines, line);
    CReader header(line);
    if (!header.Take("digraph ") || !header.TakeName(name) || !header.Take(" {") || !header.IsAtEnd()) {
        graph.faults.push_back(line);
    }
    while (std::getline(lines, line) && line != "}") {
        if (!ReadStatement(line, graph)) {
            graph.faults.push_back(line);
        }
    }
    if (line != "}" || std::getline(lines, line)) {
        graph.faults.push_back("no end");
    }
    return graph;
}

// ---------------------------------------------------------------------------------------------------------------------

struct NameCase {
    const char* name;
    std::string text;
    std::string quoted;  // for terminals
    std::string inDot;   // what a drawing shows
};

class Names : public testing::TestWithParam<NameCase> {};

TEST_P(Names, StandInTextAsInC) {
    const std::string text = FormatAsText(TwoFilters(GetParam().text));
    // Each filter and pin by itself, and at each end of the connection.
    EXPECT_EQ(Count(text, GetParam().quoted), 8u) << text;
    EXPECT_EQ(Count(text, "\n"), 6u) << text;
}

TEST_P(Names, ComeBackFromJson) {
    const auto json = nlohmann::json::parse(FormatAsJson(TwoFilters(GetParam().text)));
    for (const auto& filter : json.at("filters")) {
        EXPECT_EQ(filter.at("name").get<std::string>(), GetParam().text);
        EXPECT_EQ(filter.at("pins").at(0).at("name").get<std::string>(), GetParam().text);
        EXPECT_EQ(filter.at("pins").at(0).at("id").get<std::string>(), GetParam().text);
    }
}

TEST_P(Names, AreLabelsInDot) {
    const DotGraph graph = ReadDot(FormatAsDot(TwoFilters(GetParam().text)));
    EXPECT_EQ(graph.faults, std::vector<std::string>{});
    ASSERT_EQ(graph.nodes.size(), 2u);
    ASSERT_EQ(graph.nodes[0].size(), 2u);
    EXPECT_EQ(graph.nodes[0][0], GetParam().inDot + "\nrunning");
    EXPECT_EQ(graph.nodes[0][1],
              GetParam().inDot + "\n51 samples, 50/s\n5100 bytes, 5000/s\nqueue 5/6" + "\ndropped 3, skipped 4");
    ASSERT_EQ(graph.nodes[1].size(), 2u);
    EXPECT_EQ(graph.nodes[1][0], GetParam().inDot);
    EXPECT_EQ(graph.nodes[1][1], GetParam().inDot + "\npaused (not reached yet)");
    EXPECT_EQ(graph.ports, (std::vector<std::string>{"f0:p0", "f1:p0"}));
    EXPECT_EQ(graph.ends, graph.ports);
}

/// The character data of a drawing, entities undone.
std::string TextsOfSvg(const std::string& svg) {
    std::string texts;
    for (std::size_t at = svg.find("<text"); at != std::string::npos; at = svg.find("<text", at)) {
        at = svg.find('>', at) + 1;
        texts += svg.substr(at, svg.find('<', at) - at) + "\n";
    }
    const auto undo = [&texts](const std::string& entity, const std::string& text) {
        for (std::size_t at = texts.find(entity); at != std::string::npos; at = texts.find(entity, at + text.size())) {
            texts.replace(at, entity.size(), text);
        }
    };
    undo("&quot;", "\"");
    undo("&#39;", "'");
    undo("&#45;", "-");
    undo("&#160;", " ");
    undo("&lt;", "<");
    undo("&gt;", ">");
    undo("&amp;", "&");
    return texts;
}

/// The drawing as SVG; empty where Graphviz is not installed.
std::string Draw(const std::string& dot) {
    if (RunCommand("command -v dot").empty()) {
        return {};
    }
    const CTempFolder folder;
    std::ofstream(folder.File("graph.dot")) << dot;
    return RunCommand("dot -Tsvg '" + folder.File("graph.dot") + "' 2>&1");
}

TEST_P(Names, AreDrawnByGraphviz) {
    const std::string svg = Draw(FormatAsDot(TwoFilters(GetParam().text)));
    if (svg.empty()) {
        GTEST_SKIP() << "Graphviz is not installed";
    }
    const std::string texts = TextsOfSvg(svg);
    // Names of filters and of pins.
    EXPECT_EQ(Count("\n" + texts, "\n" + GetParam().inDot + "\n"), 4u) << svg;
    EXPECT_EQ(svg.find("Error"), std::string::npos) << svg;
    EXPECT_EQ(svg.find("Warning"), std::string::npos) << svg;
    EXPECT_EQ(Count(svg, "class=\"edge\""), 1u) << svg;
}

TEST_P(Names, MayBeThoseOfSeveralGraphs) {
    const GraphDump dump = TwoFilters("filter");
    const std::vector<NamedGraphDump> graphs{{GetParam().text, dump}, {"empty", {}}, {GetParam().text, dump}};
    const std::string text = FormatAsText(graphs);
    EXPECT_EQ(Count("\n" + text, "\n" + GetParam().quoted + ": " + FormatAsText(dump)), 2u) << text;
    auto json = nlohmann::json::parse(FormatAsJson(graphs)).at("graphs");
    ASSERT_EQ(json.size(), 3u);
    EXPECT_EQ(json[2].at("name").get<std::string>(), GetParam().text);
    json[2].erase("name");
    EXPECT_EQ(json[2], nlohmann::json::parse(FormatAsJson(dump)));

    const std::string svg = Draw(FormatAsDot(graphs));
    if (svg.empty()) {
        GTEST_SKIP() << "Graphviz is not installed";
    }
    EXPECT_EQ(svg.find("Error"), std::string::npos) << svg;
    EXPECT_EQ(svg.find("Warning"), std::string::npos) << svg;
    EXPECT_EQ(Count(svg, "class=\"node\""), 4u) << "each graph has its own";
    EXPECT_EQ(Count(svg, "class=\"edge\""), 2u) << svg;
    if (GetParam().text.find('\n') == std::string::npos) {
        EXPECT_EQ(Count("\n" + TextsOfSvg(svg), "\n" + GetParam().inDot + ": running\n"), 2u) << svg;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Names,
    testing::Values(NameCase{"Plain", "Plain name", R"("Plain name")", "Plain name"},
                    NameCase{"Spaces", "two  and three   b", R"("two  and three   b")", "two  and three   b"},
                    NameCase{"Quotes", R"(a "b" 'c')", R"("a \"b\" 'c'")", R"(a "b" 'c')"},
                    NameCase{"Backslashes", R"(C:\new\)", R"("C:\\new\\")", R"(C:\new\)"},
                    NameCase{"Lines", "one\ntwo\r\tthree", R"("one\ntwo\r\tthree")",
                             "one\ntwo\xEF\xBF\xBD\xEF\xBF\xBDthree"},
                    NameCase{"Record", "<p0>{a|b}", R"("<p0>{a|b}")", "<p0>{a|b}"},
                    NameCase{"Markup", "a&lt;b & c", R"("a&lt;b & c")", "a&lt;b & c"},
                    NameCase{"Controls", "\x1B[31m\x7F\x01", R"("\u001B[31m\u007F\u0001")",
                             "\xEF\xBF\xBD[31m\xEF\xBF\xBD\xEF\xBF\xBD"},
                    NameCase{"UpperControl",
                             "a\xC2\x9B"
                             "1m\xC2\xA0",
                             "\"a\\u009B1m\xC2\xA0\"",
                             "a\xEF\xBF\xBD"
                             "1m\xC2\xA0"},
                    NameCase{"Languages", "микрофон 麦克风 é 🎤", "\"микрофон 麦克风 é 🎤\"", "микрофон 麦克风 é 🎤"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(GraphDumpFormat, TextTellsAll) {
    EXPECT_EQ(FormatAsText(TwoFilters("x")),
              "graph running, 2 filters\n"
              "\"x\" running {00112233-4455-6677-8899-AABBCCDDEEFF}\n"
              "  out \"x\" -> \"x\" \"x\": audio PCM, 16000 Hz, 1 channel, 16 bit\n"
              "      51 samples, 5100 bytes, 50 samples/s, 5000 bytes/s, last 12 ms ago, queue 5/6, dropped 3, "
              "skipped 4, discontinuities 2\n"
              "\"x\" paused (not reached yet) {00000000-0000-0000-0000-000000000000}\n"
              "  in  \"x\" <- \"x\" \"x\": audio PCM, 16000 Hz, 1 channel, 16 bit\n");
}

TEST(GraphDumpFormat, JsonTellsAll) {
    const auto json = nlohmann::json::parse(FormatAsJson(TwoFilters("x")));
    const auto expected = nlohmann::json::parse(R"({
        "state": "running", "intermediate": false, "filters": [
        {"name": "x", "classId": "00112233-4455-6677-8899-AABBCCDDEEFF", "state": "running", "intermediate": false,
         "pins": [{"name": "x", "id": "x", "direction": "out", "connected": true, "peer": {"filter": 1, "pin": 0},
                   "mediaType": "audio PCM, 16000 Hz, 1 channel, 16 bit",
                   "statistics": {"samples": 51, "bytes": 5100, "samplesPerSecond": 50, "bytesPerSecond": 5000,
                                  "discontinuities": 2, "dropped": 3, "skipped": 4, "buffersInUse": 5,
                                  "bufferCount": 6, "sinceLastSampleMs": 12.5}}]},
        {"name": "x", "classId": "00000000-0000-0000-0000-000000000000", "state": "paused", "intermediate": true,
         "pins": [{"name": "x", "id": "x", "direction": "in", "connected": true, "peer": {"filter": 0, "pin": 0},
                   "mediaType": "audio PCM, 16000 Hz, 1 channel, 16 bit", "statistics": null}]}]})");
    EXPECT_EQ(json, expected);
}

TEST(GraphDumpFormat, WhatIsNotKnownIsNull) {
    GraphDump dump = Bare();
    QRN_PIN_STATISTICS statistics{};
    statistics.buffersInUse = -1;
    statistics.bufferCount = -1;
    dump.filters[0].pins[0].statistics = statistics;
    const auto json = nlohmann::json::parse(FormatAsJson(dump));
    EXPECT_TRUE(json.at("state").is_null());
    const auto& filter = json.at("filters").at(0);
    EXPECT_TRUE(filter.at("state").is_null());
    const auto& pin = filter.at("pins").at(0);
    EXPECT_EQ(pin.at("connected"), false);
    EXPECT_TRUE(pin.at("peer").is_null());
    EXPECT_TRUE(pin.at("mediaType").is_null());
    EXPECT_TRUE(pin.at("statistics").at("buffersInUse").is_null());
    EXPECT_TRUE(pin.at("statistics").at("sinceLastSampleMs").is_null());
    EXPECT_EQ(FormatAsText(dump),
              "graph state unknown, 1 filter\n"
              "\"\" state unknown {00000000-0000-0000-0000-000000000000}\n"
              "  in  \"\" not connected\n"
              "      0 samples, 0 bytes, 0 samples/s, 0 bytes/s, dropped 0, skipped 0, discontinuities 0\n");
}

TEST(GraphDumpFormat, GraphsWithoutFiltersAndFiltersWithoutPins) {
    GraphDump dump;
    dump.state = StateDump{};
    EXPECT_EQ(FormatAsText(dump), "graph stopped, 0 filters\n");
    EXPECT_EQ(nlohmann::json::parse(FormatAsJson(dump)).at("filters"), nlohmann::json::array());
    EXPECT_EQ(ReadDot(FormatAsDot(dump)).faults, std::vector<std::string>{});
    dump.filters.emplace_back();
    const DotGraph graph = ReadDot(FormatAsDot(dump));
    EXPECT_EQ(graph.faults, std::vector<std::string>{});
    ASSERT_EQ(graph.nodes.size(), 1u);
    EXPECT_EQ(graph.nodes[0], std::vector<std::string>{"\nstate unknown"});
    EXPECT_EQ(nlohmann::json::parse(FormatAsJson(dump)).at("filters").at(0).at("pins"), nlohmann::json::array());
}

}  // namespace
}  // namespace qrn::test
