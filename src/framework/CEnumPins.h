#pragma once
/// Walks the pins of a filter.

#include "framework/CEnumerator.h"
#include "qrn/filters.h"

class CBaseFilter;

struct PinWalk {
    using Interface = IEnumPins;
    using Owner = CBaseFilter;
    using Item = IPin*;

    static LONG Version(const CBaseFilter& filter);
    /// E_OUTOFMEMORY for a pin that could not be made.
    static HRESULT Get(CBaseFilter& filter, int position, IPin** pin);
    static void LetGo(IPin* pin) { pin->Release(); }
};

/// Out of sync after CBaseFilter::IncrementPinVersion.
using CEnumPins = CEnumerator<PinWalk>;
