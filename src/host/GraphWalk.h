#pragma once
/// What a graph asks of its filters' pins: who is connected to whom. All of it calls the filters, so no lock of the
/// filter list may be held. The answers are true while nobody connects or disconnects: the graph sees to that.

#include <vector>

#include "host/CFilterList.h"
#include "qrn/filters.h"

namespace qrn {

/// The identity of any object, to compare filters by.
ComPtr<IUnknown> IdentityOf(IUnknown* object);

/// All pins of a filter.
std::vector<ComPtr<IPin>> PinsOf(IBaseFilter& filter);

/// The filter that a pin belongs to, or null.
ComPtr<IBaseFilter> FilterOf(IPin& pin);

/// The pin at the other end, or null.
ComPtr<IPin> PeerOf(IPin& pin);

/// Breaks all connections of a filter at both ends.
void DisconnectAll(IBaseFilter& filter);

/// The filters in the order of state changes: each behind all filters that it feeds, so that renderers come first and
/// sources last. Filters that feed one another in a circle come in some order. Connections to filters that are not in
/// the list do not count.
std::vector<CFilterList::Entry> DownstreamFirst(const std::vector<CFilterList::Entry>& entries);

/// Where media ends: a filter that says so of itself, or one whose input is connected and that has no output pin.
bool IsRenderer(IBaseFilter& filter);

/// A source that makes its media only while the graph runs, so that the filters behind it get none before.
bool IsLiveSource(IBaseFilter& filter);

}  // namespace qrn
