#include "host/GraphWalk.h"

#include <algorithm>
#include <cstddef>
#include <unordered_map>

namespace qrn {

namespace {

// For a filter whose pins never come to rest.
constexpr int kMostRestarts = 16;

bool IsOutput(IPin& pin) {
    PIN_DIRECTION direction = PINDIR_INPUT;
    return pin.QueryDirection(&direction) == S_OK && direction == PINDIR_OUTPUT;
}

ULONG MiscFlags(IBaseFilter& filter) {
    const auto flags = ComPtr<IBaseFilter>::Share(&filter).As<IAMFilterMiscFlags>();
    return flags ? flags->GetMiscFlags() : 0;
}

/// Which filters of a list feed which, by position.
class CFeeds {
public:
    explicit CFeeds(const std::vector<CFilterList::Entry>& entries) : m_fedBy(entries.size()) {
        std::unordered_map<const IUnknown*, std::size_t> positions;
        for (std::size_t at = 0; at < entries.size(); ++at) {
            positions.emplace(entries[at].identity.Get(), at);
        }
        for (std::size_t at = 0; at < entries.size(); ++at) {
            for (const ComPtr<IPin>& pin : PinsOf(*entries[at].filter)) {
                const ComPtr<IPin> peer = IsOutput(*pin) ? PeerOf(*pin) : nullptr;
                const ComPtr<IBaseFilter> filter = peer ? FilterOf(*peer) : nullptr;
                const auto found = positions.find(IdentityOf(filter.Get()).Get());
                if (found != positions.end()) {
                    m_fedBy[at].push_back(found->second);
                }
            }
        }
    }

    /// Appends `position` behind all that it feeds, unless it has been visited.
    void AppendDownstreamFirst(std::size_t position, std::vector<bool>& isVisited,
                               std::vector<std::size_t>& order) const {
        if (isVisited[position]) {
            return;
        }
        isVisited[position] = true;
        for (const std::size_t fed : m_fedBy[position]) {
            AppendDownstreamFirst(fed, isVisited, order);
        }
        order.push_back(position);
    }

private:
    std::vector<std::vector<std::size_t>> m_fedBy;
};

}  // namespace

ComPtr<IUnknown> IdentityOf(IUnknown* object) {
    return ComPtr<IUnknown>::Share(object).As<IUnknown>();
}

std::vector<ComPtr<IPin>> PinsOf(IBaseFilter& filter) {
    std::vector<ComPtr<IPin>> pins;
    ComPtr<IEnumPins> list;
    if (FAILED(filter.EnumPins(list.Put())) || !list) {
        return pins;
    }
    for (int restarts = 0;;) {
        ComPtr<IPin> pin;
        const HRESULT result = list->Next(1, pin.Put(), nullptr);
        if (result == VFW_E_ENUM_OUT_OF_SYNC && restarts < kMostRestarts) {
            // A filter that makes its pins on demand has just made one.
            ++restarts;
            pins.clear();
            list->Reset();
            continue;
        }
        if (result != S_OK || !pin) {
            return pins;
        }
        pins.push_back(pin);
    }
}

ComPtr<IBaseFilter> FilterOf(IPin& pin) {
    PIN_INFO info{};
    if (FAILED(pin.QueryPinInfo(&info))) {
        return nullptr;
    }
    return ComPtr<IBaseFilter>::Adopt(info.pFilter);
}

ComPtr<IPin> PeerOf(IPin& pin) {
    ComPtr<IPin> peer;
    if (FAILED(pin.ConnectedTo(peer.Put()))) {
        return nullptr;
    }
    return peer;
}

void DisconnectAll(IBaseFilter& filter) {
    for (const ComPtr<IPin>& pin : PinsOf(filter)) {
        if (const ComPtr<IPin> peer = PeerOf(*pin)) {
            peer->Disconnect();
            pin->Disconnect();
        }
    }
}

std::vector<CFilterList::Entry> DownstreamFirst(const std::vector<CFilterList::Entry>& entries) {
    const CFeeds feeds(entries);
    std::vector<bool> isVisited(entries.size());
    std::vector<std::size_t> order;
    for (std::size_t at = 0; at < entries.size(); ++at) {
        feeds.AppendDownstreamFirst(at, isVisited, order);
    }
    std::vector<CFilterList::Entry> ordered;
    ordered.reserve(order.size());
    for (const std::size_t at : order) {
        ordered.push_back(entries[at]);
    }
    return ordered;
}

bool IsRenderer(IBaseFilter& filter) {
    if ((MiscFlags(filter) & AM_FILTER_MISC_FLAGS_IS_RENDERER) != 0) {
        return true;
    }
    const std::vector<ComPtr<IPin>> pins = PinsOf(filter);
    return std::none_of(pins.begin(), pins.end(), [](const ComPtr<IPin>& pin) { return IsOutput(*pin); }) &&
           std::any_of(pins.begin(), pins.end(), [](const ComPtr<IPin>& pin) { return bool(PeerOf(*pin)); });
}

bool IsLiveSource(IBaseFilter& filter) {
    if ((MiscFlags(filter) & AM_FILTER_MISC_FLAGS_IS_SOURCE) != 0) {
        return true;
    }
    FILTER_STATE state = State_Stopped;
    return filter.GetState(0, &state) == VFW_S_CANT_CUE;
}

}  // namespace qrn
