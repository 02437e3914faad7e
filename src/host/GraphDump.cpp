#include "host/GraphDump.h"

#include <cwchar>
#include <unordered_map>

#include "framework/CMediaType.h"
#include "host/GraphWalk.h"
#include "host/MediaTypeText.h"
#include "platform/com/TaskMemory.h"
#include "platform/com/Text.h"

namespace qrn {

namespace {

/// Where each pin stands; the pins are kept, so that no other object takes the place of one in memory.
struct KnownPins {
    std::unordered_map<const IUnknown*, PinDump::Address> addresses;
    std::vector<ComPtr<IUnknown>> identities;
};

// For a graph whose filters never come to rest.
constexpr int kMostRestarts = 16;

std::vector<ComPtr<IBaseFilter>> FiltersOf(IFilterGraph& graph) {
    std::vector<ComPtr<IBaseFilter>> filters;
    ComPtr<IEnumFilters> list;
    if (FAILED(graph.EnumFilters(list.Put())) || !list) {
        return filters;
    }
    for (int restarts = 0;;) {
        ComPtr<IBaseFilter> filter;
        const HRESULT result = list->Next(1, filter.Put(), nullptr);
        if (result == VFW_E_ENUM_OUT_OF_SYNC && restarts < kMostRestarts) {
            ++restarts;
            filters.clear();
            list->Reset();
            continue;
        }
        if (result != S_OK || !filter) {
            return filters;
        }
        filters.push_back(filter);
    }
}

/// The text of an array that its writer may have failed to close.
template <std::size_t capacity>
std::string TextOf(const wchar_t (&text)[capacity]) {
    return ToUtf8(std::wstring_view(text, wcsnlen(text, capacity)));
}

std::optional<StateDump> StateOf(IMediaFilter& object) {
    StateDump dump;
    const HRESULT result = object.GetState(0, &dump.state);
    if (FAILED(result)) {
        return std::nullopt;
    }
    dump.isIntermediate = result == VFW_S_STATE_INTERMEDIATE;
    return dump;
}

PinDump DumpPin(IPin& pin) {
    PinDump dump;
    PIN_INFO info{};
    if (SUCCEEDED(pin.QueryPinInfo(&info))) {
        const auto owner = ComPtr<IBaseFilter>::Adopt(info.pFilter);
        dump.name = TextOf(info.achName);
    }
    wchar_t* id = nullptr;
    if (SUCCEEDED(pin.QueryId(&id)) && id != nullptr) {
        const TaskMemoryPtr<wchar_t> owned(id);
        dump.id = ToUtf8(id);
    }
    PIN_DIRECTION direction = PINDIR_INPUT;
    dump.isOutput = SUCCEEDED(pin.QueryDirection(&direction)) && direction == PINDIR_OUTPUT;
    if (const auto counting = ComPtr<IPin>::Share(&pin).As<IQRN_PinStatistics>()) {
        QRN_PIN_STATISTICS statistics{};
        if (SUCCEEDED(counting->GetPinStatistics(&statistics))) {
            dump.statistics = statistics;
        }
    }
    return dump;
}

void DumpConnection(IPin& pin, const KnownPins& known, PinDump& dump) {
    const ComPtr<IPin> peer = PeerOf(pin);
    if (!peer) {
        return;
    }
    dump.isConnected = true;
    const auto found = known.addresses.find(IdentityOf(peer.Get()).Get());
    if (found != known.addresses.end()) {
        dump.peer = found->second;
    }
    CMediaType type;
    if (SUCCEEDED(pin.ConnectionMediaType(&type))) {
        dump.mediaType = DescribeMediaType(type);
    }
}

FilterDump DumpFilter(IBaseFilter& filter) {
    FilterDump dump;
    FILTER_INFO info{};
    if (SUCCEEDED(filter.QueryFilterInfo(&info))) {
        const auto graph = ComPtr<IFilterGraph>::Adopt(info.pGraph);
        dump.name = TextOf(info.achName);
    }
    if (FAILED(filter.GetClassID(&dump.classId))) {
        dump.classId = GUID_NULL;
    }
    dump.state = StateOf(filter);
    return dump;
}

double PerSecond(const QRN_PIN_STATISTICS& statistics, double amount) {
    const LONGLONG time = statistics.lastSampleNs - statistics.firstSampleNs;
    if (statistics.samples < 2 || time <= 0) {
        return 0;
    }
    // The time covers one interval less than there are samples.
    const auto samples = static_cast<double>(statistics.samples);
    return amount * (samples - 1) / samples * 1e9 / static_cast<double>(time);
}

}  // namespace

GraphDump TakeGraphDump(IFilterGraph& graph) {
    GraphDump dump;
    if (const auto media = ComPtr<IFilterGraph>::Share(&graph).As<IMediaFilter>()) {
        dump.state = StateOf(*media);
    }
    std::vector<std::vector<ComPtr<IPin>>> pins;
    KnownPins known;
    for (const ComPtr<IBaseFilter>& filter : FiltersOf(graph)) {
        pins.push_back(PinsOf(*filter));
        for (std::size_t at = 0; at < pins.back().size(); ++at) {
            known.identities.push_back(IdentityOf(pins.back()[at].Get()));
            known.addresses.emplace(known.identities.back().Get(), PinDump::Address{dump.filters.size(), at});
        }
        dump.filters.push_back(DumpFilter(*filter));
    }
    for (std::size_t at = 0; at < pins.size(); ++at) {
        for (const ComPtr<IPin>& pin : pins[at]) {
            dump.filters[at].pins.push_back(DumpPin(*pin));
            DumpConnection(*pin, known, dump.filters[at].pins.back());
        }
    }
    return dump;
}

double SamplesPerSecond(const QRN_PIN_STATISTICS& statistics) {
    return PerSecond(statistics, static_cast<double>(statistics.samples));
}

double BytesPerSecond(const QRN_PIN_STATISTICS& statistics) {
    return PerSecond(statistics, static_cast<double>(statistics.bytes));
}

}  // namespace qrn
