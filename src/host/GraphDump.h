#pragma once
/// What a graph is made of and what flows through it, at one moment.

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "qrn/filters.h"

namespace qrn {

/// A state as an object told it.
struct StateDump {
    FILTER_STATE state = State_Stopped;
    /// On its way there: a renderer that waits for its first sample, a graph that is being changed.
    bool isIntermediate = false;
};

/// All texts here are UTF-8 as the objects gave them: anything may stand in a name.
struct PinDump {
    /// By position in GraphDump::filters and FilterDump::pins.
    struct Address {
        std::size_t filter;
        std::size_t pin;
    };

    std::string name;
    std::string id;
    bool isOutput = false;
    bool isConnected = false;
    /// None when the pin at the other end belongs to no filter of the graph.
    std::optional<Address> peer;
    /// In words; empty while not connected.
    std::string mediaType;
    /// None for a pin that does not count.
    std::optional<QRN_PIN_STATISTICS> statistics;
};

struct FilterDump {
    std::string name;
    CLSID classId{};
    std::optional<StateDump> state;
    std::vector<PinDump> pins;
};

struct GraphDump {
    std::optional<StateDump> state;
    /// In the graph's order.
    std::vector<FilterDump> filters;
};

/// Asks every filter and pin of any graph, one after another while the graph goes on, so the parts of the dump are true
/// each for its own moment. No lock is held while they are asked, and the objects of the framework answer without
/// waiting for their stream or for a state change. Any thread.
GraphDump TakeGraphDump(IFilterGraph& graph);

/// Means over the time from the first to the last sample; 0 when there are less than two or they came in one timer
/// tick.
double SamplesPerSecond(const QRN_PIN_STATISTICS& statistics);
double BytesPerSecond(const QRN_PIN_STATISTICS& statistics);

}  // namespace qrn
