#pragma once
/// A dump of a graph as people and programs read it. UTF-8, closed by a line end.

#include <string>
#include <string_view>
#include <vector>

#include "host/GraphDump.h"

namespace qrn {

/// For people: one line for each filter and two for each pin. Names stand in quotes; what would disturb a terminal is
/// escaped as in C.
std::string FormatAsText(const GraphDump& dump);

/// One JSON object (RFC 8259):
///   {"state", "intermediate", "filters": [{"name", "classId", "state", "intermediate", "pins": [{"name", "id",
///   "direction": "in"|"out", "connected", "peer": {"filter", "pin"}, "mediaType", "statistics": {"samples", "bytes",
///   "samplesPerSecond", "bytesPerSecond", "discontinuities", "dropped", "skipped", "buffersInUse", "bufferCount",
///   "sinceLastSampleMs"}}]}]}
/// The numbers of a peer are positions in "filters" and in its "pins". What is not known, or is not there, is null.
std::string FormatAsJson(const GraphDump& dump);

/// A directed graph for Graphviz: a record for each filter, with its pins as ports, and an arrow for each connection.
std::string FormatAsDot(const GraphDump& dump);

/// One of several graphs that belong together, such as the two halves of a call.
struct NamedGraphDump {
    std::string name;
    GraphDump dump;
};

/// The graphs one below the other, each behind its name.
std::string FormatAsText(const std::vector<NamedGraphDump>& graphs);
/// {"graphs": [{"name", and then as above}]}
std::string FormatAsJson(const std::vector<NamedGraphDump>& graphs);
/// One drawing with a box for each graph.
std::string FormatAsDot(const std::vector<NamedGraphDump>& graphs);

/// A text in double quotes as C would have it; control characters as escapes, everything else as it is.
std::string QuoteForTerminal(std::string_view utf8);
/// A JSON string, with its quotes.
std::string QuoteForJson(std::string_view utf8);
/// A text inside a record label of Graphviz, without quotes.
std::string EscapeForDot(std::string_view utf8);

}  // namespace qrn
