#pragma once
/// A filter without input: each of its output pins makes samples on a thread of its own.

#include <vector>

#include "framework/CBaseFilter.h"

class CSourceStream;

/// Pins add themselves at construction (CSourceStream) and are deleted with the filter.
class CSource : public CBaseFilter {
public:
    CSource(const wchar_t* name, IUnknown* outer, REFCLSID classId, HRESULT* result = nullptr);
    ~CSource() override;

    int GetPinCount() override;
    CBasePin* GetPin(int index) override;
    /// A pin's id is its index plus 1 as decimal text.
    HRESULT FindPin(const wchar_t* id, IPin** pin) override;
    /// The index plus 1; 0 for a pin of another filter.
    int FindPinNumber(IPin* pin);

    CCritSec* pStateLock() { return &m_cStateLock; }

    /// E_OUTOFMEMORY: the pin is not among the filter's.
    HRESULT AddPin(CSourceStream* stream);
    HRESULT RemovePin(CSourceStream* stream);

protected:
    /// The filter's lock.
    CCritSec m_cStateLock;
    /// Guards the array; taken last, so that a streaming thread may ask for pins while a state change waits for it.
    CCritSec m_pinsLock;
    /// The pins, owned.
    std::vector<CSourceStream*> m_paStreams QRN_GUARDED_BY(m_pinsLock);
};
