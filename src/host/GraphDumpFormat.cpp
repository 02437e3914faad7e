#include "host/GraphDumpFormat.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

#include "host/NumberText.h"
#include "platform/com/Text.h"

namespace qrn {

namespace {

constexpr const char* kReplacement = "\xEF\xBF\xBD";  // U+FFFD

bool IsControl(char byte) {
    const auto value = static_cast<unsigned char>(byte);
    return value < 0x20 || value == 0x7F;
}

/// Whether a control character of the upper set, U+0080 to U+009F, stands there. Some terminals obey those too.
bool IsUpperControl(std::string_view utf8, std::size_t at) {
    return utf8[at] == '\xC2' && at + 1 < utf8.size() && static_cast<unsigned char>(utf8[at + 1]) < 0xA0;
}

/// Four hexadecimal digits behind a backslash and a u, as C and JSON write it.
std::string EscapeOf(char byte) {
    char text[8];
    std::snprintf(text, sizeof(text), "\\u%04X", static_cast<unsigned>(static_cast<unsigned char>(byte)));
    return text;
}

const char* StateName(FILTER_STATE state) {
    switch (state) {
        case State_Stopped:
            return "stopped";
        case State_Paused:
            return "paused";
        case State_Running:
            return "running";
    }
    return "unknown";
}

std::string StateText(const std::optional<StateDump>& state) {
    if (!state) {
        return "state unknown";
    }
    return std::string(StateName(state->state)) + (state->isIntermediate ? " (not reached yet)" : "");
}

std::optional<double> SinceLastSampleMs(const QRN_PIN_STATISTICS& statistics) {
    if (statistics.samples == 0) {
        return std::nullopt;
    }
    const LONGLONG time = statistics.nowNs - statistics.lastSampleNs;
    return static_cast<double>(std::max<LONGLONG>(time, 0)) / 1e6;
}

const PinDump& PeerPin(const GraphDump& dump, const PinDump::Address& peer) {
    return dump.filters[peer.filter].pins[peer.pin];
}

// ---------------------------------------------------------------------------------------------------------------------
// Text

std::string FiguresAsText(const QRN_PIN_STATISTICS& statistics) {
    std::string text = std::to_string(statistics.samples) + " samples, " + std::to_string(statistics.bytes) +
                       " bytes, " + DecimalText(SamplesPerSecond(statistics), 1) + " samples/s, " +
                       DecimalText(BytesPerSecond(statistics), 0) + " bytes/s";
    if (const auto since = SinceLastSampleMs(statistics)) {
        text += ", last " + DecimalText(*since, 0) + " ms ago";
    }
    if (statistics.bufferCount >= 0) {
        text += ", queue " + std::to_string(statistics.buffersInUse) + "/" + std::to_string(statistics.bufferCount);
    }
    return text + ", dropped " + std::to_string(statistics.dropped) + ", skipped " +
           std::to_string(statistics.skipped) + ", discontinuities " + std::to_string(statistics.discontinuities);
}

std::string ConnectionAsText(const GraphDump& dump, const PinDump& pin) {
    if (!pin.isConnected) {
        return " not connected";
    }
    std::string text = pin.isOutput ? " -> " : " <- ";
    if (pin.peer) {
        text += QuoteForTerminal(dump.filters[pin.peer->filter].name) + " " +
                QuoteForTerminal(PeerPin(dump, *pin.peer).name);
    } else {
        text += "outside of the graph";
    }
    return text + (pin.mediaType.empty() ? "" : ": " + pin.mediaType);
}

// ---------------------------------------------------------------------------------------------------------------------
// JSON

std::string StateAsJson(const std::optional<StateDump>& state) {
    if (!state) {
        return R"("state":null,"intermediate":null)";
    }
    return R"("state":)" + QuoteForJson(StateName(state->state)) + R"(,"intermediate":)" +
           (state->isIntermediate ? "true" : "false");
}

std::string FiguresAsJson(const QRN_PIN_STATISTICS& statistics) {
    const auto since = SinceLastSampleMs(statistics);
    const auto orNull = [](LONG number) { return number >= 0 ? std::to_string(number) : "null"; };
    return R"({"samples":)" + std::to_string(statistics.samples) + R"(,"bytes":)" + std::to_string(statistics.bytes) +
           R"(,"samplesPerSecond":)" + DecimalText(SamplesPerSecond(statistics), 3) + R"(,"bytesPerSecond":)" +
           DecimalText(BytesPerSecond(statistics), 3) + R"(,"discontinuities":)" +
           std::to_string(statistics.discontinuities) + R"(,"dropped":)" + std::to_string(statistics.dropped) +
           R"(,"skipped":)" + std::to_string(statistics.skipped) + R"(,"buffersInUse":)" +
           orNull(statistics.buffersInUse) + R"(,"bufferCount":)" + orNull(statistics.bufferCount) +
           R"(,"sinceLastSampleMs":)" + (since ? DecimalText(*since, 3) : "null") + "}";
}

std::string PinAsJson(const PinDump& pin) {
    std::string json = R"({"name":)" + QuoteForJson(pin.name) + R"(,"id":)" + QuoteForJson(pin.id) +
                       R"(,"direction":)" + (pin.isOutput ? R"("out")" : R"("in")") + R"(,"connected":)" +
                       (pin.isConnected ? "true" : "false") + R"(,"peer":)";
    json += pin.peer ? R"({"filter":)" + std::to_string(pin.peer->filter) + R"(,"pin":)" +
                           std::to_string(pin.peer->pin) + "}"
                     : "null";
    json += R"(,"mediaType":)" + (pin.mediaType.empty() ? "null" : QuoteForJson(pin.mediaType));
    return json + R"(,"statistics":)" + (pin.statistics ? FiguresAsJson(*pin.statistics) : "null") + "}";
}

/// The parts with `separator` between them.
template <class Parts, class Format>
std::string Join(const Parts& parts, std::string_view separator, Format format) {
    std::string joined;
    for (const auto& part : parts) {
        if (&part != &parts.front()) {
            joined += separator;
        }
        joined += format(part);
    }
    return joined;
}

std::string FilterAsJson(const FilterDump& filter) {
    return R"({"name":)" + QuoteForJson(filter.name) + R"(,"classId":)" + QuoteForJson(ToString(filter.classId)) + "," +
           StateAsJson(filter.state) + R"(,"pins":[)" + Join(filter.pins, ",", PinAsJson) + "]}";
}

std::string MembersAsJson(const GraphDump& dump) {
    return StateAsJson(dump.state) + R"(,"filters":[)" + Join(dump.filters, ",", FilterAsJson) + "]";
}

// ---------------------------------------------------------------------------------------------------------------------
// DOT

std::string FiguresAsDot(const QRN_PIN_STATISTICS& statistics) {
    std::string text = R"(\n)" + std::to_string(statistics.samples) + " samples, " +
                       DecimalText(SamplesPerSecond(statistics), 1) + R"(/s\n)" + std::to_string(statistics.bytes) +
                       " bytes, " + DecimalText(BytesPerSecond(statistics), 0) + "/s";
    if (statistics.bufferCount >= 0) {
        text += R"(\nqueue )" + std::to_string(statistics.buffersInUse) + "/" + std::to_string(statistics.bufferCount);
    }
    return text + R"(\ndropped )" + std::to_string(statistics.dropped) + ", skipped " +
           std::to_string(statistics.skipped);
}

/// The pins of one side as fields of the record, one above the other; empty when there are none.
std::string PortsAsDot(const FilterDump& filter, bool isOutput) {
    std::string ports;
    for (std::size_t at = 0; at < filter.pins.size(); ++at) {
        const PinDump& pin = filter.pins[at];
        if (pin.isOutput != isOutput) {
            continue;
        }
        // No space behind the port: Graphviz 2.43 then drops the next one of a text that begins beyond ASCII.
        ports += (ports.empty() ? "{<p" : "|<p") + std::to_string(at) + ">" + EscapeForDot(pin.name);
        if (pin.isConnected && !pin.peer) {
            ports += R"(\nconnected outside of the graph)";
        }
        ports += pin.statistics ? FiguresAsDot(*pin.statistics) : "";
    }
    return ports.empty() ? ports : ports + "}";
}

std::string FilterAsDot(const FilterDump& filter, std::size_t number) {
    const std::string inputs = PortsAsDot(filter, false);
    const std::string outputs = PortsAsDot(filter, true);
    // The outer braces lay inputs, name and outputs out from left to right, as the arrows run.
    return "    f" + std::to_string(number) + " [label=\"{" + (inputs.empty() ? "" : inputs + "|") +
           EscapeForDot(filter.name) + R"(\n)" + StateText(filter.state) + (outputs.empty() ? "" : "|" + outputs) +
           "}\"];\n";
}

std::string ArrowsAsDot(const FilterDump& filter, std::size_t first, std::size_t number) {
    std::string arrows;
    for (std::size_t at = 0; at < filter.pins.size(); ++at) {
        const PinDump& pin = filter.pins[at];
        if (pin.isOutput && pin.peer) {
            arrows += "    f" + std::to_string(first + number) + ":p" + std::to_string(at) + " -> f" +
                      std::to_string(first + pin.peer->filter) + ":p" + std::to_string(pin.peer->pin) + " [label=\"" +
                      EscapeForDot(pin.mediaType) + "\"];\n";
        }
    }
    return arrows;
}

constexpr const char* kDotHead = "digraph graph_of_filters {\n    rankdir=LR;\n    node [shape=record];\n";

/// @param first  the number of the graph's first filter in the drawing.
std::string BodyAsDot(const GraphDump& dump, const std::string& label, std::size_t first) {
    std::string dot = "    label=\"" + label + "\";\n";
    for (std::size_t at = 0; at < dump.filters.size(); ++at) {
        dot += FilterAsDot(dump.filters[at], first + at);
    }
    for (std::size_t at = 0; at < dump.filters.size(); ++at) {
        dot += ArrowsAsDot(dump.filters[at], first, at);
    }
    return dot;
}

}  // namespace

std::string QuoteForTerminal(std::string_view utf8) {
    std::string text = "\"";
    for (std::size_t at = 0; at < utf8.size(); ++at) {
        const char byte = utf8[at];
        if (byte == '"' || byte == '\\') {
            text += '\\';
            text += byte;
        } else if (byte == '\n' || byte == '\r' || byte == '\t') {
            text += byte == '\n' ? "\\n" : byte == '\r' ? "\\r" : "\\t";
        } else if (IsControl(byte)) {
            text += EscapeOf(byte);
        } else if (IsUpperControl(utf8, at)) {
            text += EscapeOf(utf8[++at]);
        } else {
            text += byte;
        }
    }
    return text + "\"";
}

std::string QuoteForJson(std::string_view utf8) {
    std::string json = "\"";
    for (const char byte : utf8) {
        if (byte == '"' || byte == '\\') {
            json += '\\';
            json += byte;
        } else if (IsControl(byte)) {
            json += EscapeOf(byte);
        } else {
            json += byte;
        }
    }
    return json + "\"";
}

std::string EscapeForDot(std::string_view utf8) {
    std::string label;
    for (std::size_t at = 0; at < utf8.size(); ++at) {
        const char byte = utf8[at];
        if (byte == '\n') {
            label += "\\n";
        } else if (byte == '&') {
            label += "&amp;";  // labels take the entities of HTML
        } else if (std::string_view(R"("\{}|<> )").find(byte) != std::string_view::npos) {
            label += '\\';  // a space too: in records some are dropped
            label += byte;
        } else if (IsControl(byte) || IsUpperControl(utf8, at)) {
            at += IsControl(byte) ? 0 : 1;
            label += kReplacement;  // there is no escape for them, and the drawing may be XML
        } else {
            label += byte;
        }
    }
    return label;
}

std::string FormatAsText(const GraphDump& dump) {
    std::string text = "graph " + StateText(dump.state) + ", " + std::to_string(dump.filters.size()) +
                       (dump.filters.size() == 1 ? " filter\n" : " filters\n");
    for (const FilterDump& filter : dump.filters) {
        text += QuoteForTerminal(filter.name) + " " + StateText(filter.state) + " {" + ToString(filter.classId) + "}\n";
        for (const PinDump& pin : filter.pins) {
            text += std::string(pin.isOutput ? "  out " : "  in  ") + QuoteForTerminal(pin.name) +
                    ConnectionAsText(dump, pin) + "\n";
            text += pin.statistics ? "      " + FiguresAsText(*pin.statistics) + "\n" : "";
        }
    }
    return text;
}

std::string FormatAsJson(const GraphDump& dump) {
    return "{" + MembersAsJson(dump) + "}\n";
}

std::string FormatAsDot(const GraphDump& dump) {
    return kDotHead + BodyAsDot(dump, StateText(dump.state), 0) + "}\n";
}

std::string FormatAsText(const std::vector<NamedGraphDump>& graphs) {
    return Join(graphs, "\n", [](const NamedGraphDump& graph) {
        return QuoteForTerminal(graph.name) + ": " + FormatAsText(graph.dump);
    });
}

std::string FormatAsJson(const std::vector<NamedGraphDump>& graphs) {
    const auto format = [](const NamedGraphDump& graph) {
        return R"({"name":)" + QuoteForJson(graph.name) + "," + MembersAsJson(graph.dump) + "}";
    };
    return R"({"graphs":[)" + Join(graphs, ",", format) + "]}\n";
}

std::string FormatAsDot(const std::vector<NamedGraphDump>& graphs) {
    std::string dot = kDotHead;
    std::size_t first = 0;
    for (const NamedGraphDump& graph : graphs) {
        // Graphviz draws a box around what stands in a subgraph of such a name.
        dot += "    subgraph cluster_" + std::to_string(first) + " {\n" +
               BodyAsDot(graph.dump, EscapeForDot(graph.name) + ": " + StateText(graph.dump.state), first) + "    }\n";
        first += graph.dump.filters.size() + 1;
    }
    return dot + "}\n";
}

}  // namespace qrn
