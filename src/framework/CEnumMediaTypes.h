#pragma once
/// Walks the media types that a pin offers.

#include <atomic>

#include "framework/CCritSec.h"
#include "qrn/filters.h"

class CBasePin;

/// Calls the pin's GetMediaType for position 0, 1, ... until it answers anything but S_OK. VFW_E_ENUM_OUT_OF_SYNC once
/// the types have changed (CBasePin::IncrementTypeVersion); Reset starts anew. Holds the pin. Made with one reference.
/// Any thread.
class CEnumMediaTypes final : public IEnumMediaTypes {
public:
    explicit CEnumMediaTypes(CBasePin* pin);
    CEnumMediaTypes(const CEnumMediaTypes&) = delete;
    CEnumMediaTypes& operator=(const CEnumMediaTypes&) = delete;

    HRESULT QueryInterface(REFIID id, void** object) override;
    ULONG AddRef() override;
    ULONG Release() override;

    HRESULT Next(ULONG count, AM_MEDIA_TYPE** types, ULONG* fetched) override;
    HRESULT Skip(ULONG count) override;
    HRESULT Reset() override;
    HRESULT Clone(IEnumMediaTypes** clone) override;

private:
    CEnumMediaTypes(CBasePin* pin, int position, LONG version);
    ~CEnumMediaTypes();
    bool IsOutOfSync() const QRN_REQUIRES(m_lock);

    std::atomic<ULONG> m_count{1};
    CBasePin* const m_pin;
    CCritSec m_lock;
    int m_position QRN_GUARDED_BY(m_lock);
    LONG m_version QRN_GUARDED_BY(m_lock);
};
