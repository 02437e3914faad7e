#pragma once
/// The input pin of a renderer: hands everything to the renderer.

#include "framework/CBaseInputPin.h"

class CBaseRenderer;

class CRendererInputPin : public CBaseInputPin {
public:
    CRendererInputPin(CBaseRenderer* renderer, HRESULT* result, const wchar_t* name);

    HRESULT QueryId(wchar_t** id) override;
    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT SetMediaType(const CMediaType* type) override;
    HRESULT BreakConnect() override;
    HRESULT CompleteConnect(IPin* receivePin) override;
    HRESULT Active() override;
    HRESULT Inactive() override;

    HRESULT EndOfStream() override;
    HRESULT BeginFlush() override;
    HRESULT EndFlush() override;
    HRESULT Receive(IMediaSample* sample) override;
    /// Takes down a sample's properties and checks the state, as CBaseInputPin.
    HRESULT CheckSample(IMediaSample* sample) { return CBaseInputPin::Receive(sample); }

protected:
    CBaseRenderer* const m_pRenderer;
};
