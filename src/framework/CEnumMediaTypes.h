#pragma once
/// Walks the media types that a pin offers.

#include "framework/CEnumerator.h"
#include "qrn/filters.h"

class CBasePin;

struct MediaTypeWalk {
    using Interface = IEnumMediaTypes;
    using Owner = CBasePin;
    using Item = AM_MEDIA_TYPE*;

    static LONG Version(const CBasePin& pin);
    /// What the pin's GetMediaType gives. Anything but S_OK and E_OUTOFMEMORY of it is the end.
    static HRESULT Get(CBasePin& pin, int position, AM_MEDIA_TYPE** type);
    static void LetGo(AM_MEDIA_TYPE* type);
};

/// Out of sync after CBasePin::IncrementTypeVersion.
using CEnumMediaTypes = CEnumerator<MediaTypeWalk>;
