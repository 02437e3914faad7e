#pragma once
/// The output pin of a transform filter. It connects only after the input pin.

#include <memory>

#include "framework/CBaseOutputPin.h"
#include "framework/CPosPassThru.h"
#include "platform/system/Lock.h"

class CTransformFilter;

class CTransformOutputPin : public CBaseOutputPin {
public:
    CTransformOutputPin(const wchar_t* objectName, CTransformFilter* filter, HRESULT* result, const wchar_t* name);

    /// IMediaPosition and IMediaSeeking too, passed on to whoever is before the filter.
    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override;

    HRESULT QueryId(wchar_t** id) override;
    /// E_INVALIDARG while the input is not connected.
    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT SetMediaType(const CMediaType* type) override;
    HRESULT GetMediaType(int position, CMediaType* type) override;
    /// E_UNEXPECTED while the input is not connected.
    HRESULT CheckConnect(IPin* pin) override;
    HRESULT BreakConnect() override;
    HRESULT CompleteConnect(IPin* receivePin) override;
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;

    /// To the filter's AlterQuality and, on its S_FALSE, upstream.
    HRESULT Notify(IBaseFilter* self, Quality quality) override;

protected:
    CTransformFilter* const m_pTransformFilter;

private:
    qrn::CMutex m_positionLock;  // while it is made
    std::unique_ptr<CPosPassThru> m_pPosition QRN_GUARDED_BY(m_positionLock);
};
