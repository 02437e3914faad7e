#pragma once
/// Walks the pins of a filter.

#include <atomic>

#include "framework/CCritSec.h"
#include "qrn/filters.h"

class CBaseFilter;

/// Answers VFW_E_ENUM_OUT_OF_SYNC once the filter's pins have changed (CBaseFilter::IncrementPinVersion); Reset starts
/// anew. Holds the filter. Made with one reference. Any thread.
class CEnumPins final : public IEnumPins {
public:
    explicit CEnumPins(CBaseFilter* filter);
    CEnumPins(const CEnumPins&) = delete;
    CEnumPins& operator=(const CEnumPins&) = delete;

    HRESULT QueryInterface(REFIID id, void** object) override;
    ULONG AddRef() override;
    ULONG Release() override;

    HRESULT Next(ULONG count, IPin** pins, ULONG* fetched) override;
    HRESULT Skip(ULONG count) override;
    HRESULT Reset() override;
    HRESULT Clone(IEnumPins** clone) override;

private:
    CEnumPins(CBaseFilter* filter, int position, LONG version);
    ~CEnumPins();
    bool IsOutOfSync() const QRN_REQUIRES(m_lock);

    std::atomic<ULONG> m_count{1};
    CBaseFilter* const m_filter;
    CCritSec m_lock;
    int m_position QRN_GUARDED_BY(m_lock);
    LONG m_version QRN_GUARDED_BY(m_lock);
};
