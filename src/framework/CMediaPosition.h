#pragma once
/// The base of objects with IMediaPosition.

#include "framework/CUnknown.h"
#include "qrn/position.h"

/// Part of a filter or a pin: its references are those of `outer`.
class CMediaPosition : public IMediaPosition, public CUnknown {
public:
    DECLARE_IUNKNOWN

    CMediaPosition(const wchar_t* name, IUnknown* outer) : CUnknown(name, outer) {}

    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override {
        if (id == IID_IMediaPosition) {
            return GetInterface(static_cast<IMediaPosition*>(this), object);
        }
        return CUnknown::NonDelegatingQueryInterface(id, object);
    }
};
