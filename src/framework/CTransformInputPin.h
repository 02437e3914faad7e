#pragma once
/// The input pin of a transform filter: hands everything to the filter.

#include "framework/CBaseInputPin.h"

class CTransformFilter;

class CTransformInputPin : public CBaseInputPin {
public:
    CTransformInputPin(const wchar_t* objectName, CTransformFilter* filter, HRESULT* result, const wchar_t* name);

    HRESULT QueryId(wchar_t** id) override;
    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT SetMediaType(const CMediaType* type) override;
    HRESULT CheckConnect(IPin* pin) override;
    HRESULT BreakConnect() override;
    HRESULT CompleteConnect(IPin* receivePin) override;

    HRESULT EndOfStream() override;
    HRESULT BeginFlush() override;
    HRESULT EndFlush() override;
    HRESULT NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;
    HRESULT Receive(IMediaSample* sample) override;

protected:
    CTransformFilter* const m_pTransformFilter;
};
