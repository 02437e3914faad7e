#pragma once
/// A filter and a pin of another make than the framework's, which tell as little as they may and nothing of what they
/// count.

#include <algorithm>
#include <atomic>

#include "qrn/filters.h"

namespace qrn::test {

/// Part of its filter. Connected to some pin that is in no graph.
class CForeignPin final : public IPin {
public:
    CForeignPin(IBaseFilter& filter, CForeignPin* peer) : m_filter(filter), m_peer(peer) {}

    HRESULT QueryInterface(REFIID id, void** object) override {
        *object = nullptr;
        if (id != IID_IPin && id != IID_IUnknown) {
            return E_NOINTERFACE;
        }
        *object = static_cast<IPin*>(this);
        AddRef();
        return S_OK;
    }
    ULONG AddRef() override { return m_filter.AddRef(); }
    ULONG Release() override { return m_filter.Release(); }

    HRESULT ConnectedTo(IPin** pin) override {
        *pin = m_peer;
        if (m_peer == nullptr) {
            return VFW_E_NOT_CONNECTED;
        }
        m_peer->AddRef();
        return S_OK;
    }
    HRESULT QueryPinInfo(PIN_INFO* info) override {
        info->pFilter = &m_filter;
        m_filter.AddRef();
        info->dir = PINDIR_OUTPUT;
        std::fill(std::begin(info->achName), std::end(info->achName), L'p');
        return S_OK;
    }
    HRESULT QueryDirection(PIN_DIRECTION* direction) override {
        *direction = PINDIR_OUTPUT;
        return S_OK;
    }
    HRESULT Disconnect() override {
        m_peer = nullptr;
        return S_OK;
    }
    HRESULT Connect(IPin*, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    HRESULT ReceiveConnection(IPin*, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    HRESULT ConnectionMediaType(AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    HRESULT QueryId(wchar_t**) override { return E_NOTIMPL; }
    HRESULT QueryAccept(const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    HRESULT EnumMediaTypes(IEnumMediaTypes**) override { return E_NOTIMPL; }
    HRESULT QueryInternalConnections(IPin**, ULONG*) override { return E_NOTIMPL; }
    HRESULT EndOfStream() override { return E_NOTIMPL; }
    HRESULT BeginFlush() override { return E_NOTIMPL; }
    HRESULT EndFlush() override { return E_NOTIMPL; }
    HRESULT NewSegment(REFERENCE_TIME, REFERENCE_TIME, double) override { return E_NOTIMPL; }

private:
    IBaseFilter& m_filter;
    CForeignPin* m_peer;
};

/// Shows one of its two pins, which is connected to the other.
class CForeignFilter final : public IBaseFilter {
public:
    HRESULT QueryInterface(REFIID id, void** object) override {
        *object = nullptr;
        if (id != IID_IBaseFilter && id != IID_IMediaFilter && id != IID_IPersist && id != IID_IUnknown) {
            return E_NOINTERFACE;
        }
        *object = static_cast<IBaseFilter*>(this);
        AddRef();
        return S_OK;
    }
    ULONG AddRef() override { return ++m_references; }
    ULONG Release() override {
        const ULONG left = --m_references;
        if (left == 0) {
            delete this;
        }
        return left;
    }
    ULONG References() const { return m_references; }

    HRESULT EnumPins(IEnumPins** pins) override {
        *pins = new CPinList(m_shown);
        return S_OK;
    }
    HRESULT QueryFilterInfo(FILTER_INFO* info) override {
        std::fill(std::begin(info->achName), std::end(info->achName), L'f');
        info->pGraph = nullptr;
        return S_OK;
    }
    HRESULT JoinFilterGraph(IFilterGraph*, const wchar_t*) override { return S_OK; }
    HRESULT SetSyncSource(IReferenceClock*) override { return S_OK; }
    HRESULT Stop() override { return S_OK; }
    HRESULT Pause() override { return S_OK; }
    HRESULT Run(REFERENCE_TIME) override { return S_OK; }
    HRESULT GetClassID(CLSID* id) override {
        *id = IID_IPersist;  // what stands there after a failure means nothing
        return E_NOTIMPL;
    }
    HRESULT GetState(DWORD, FILTER_STATE*) override { return E_NOTIMPL; }
    HRESULT GetSyncSource(IReferenceClock**) override { return E_NOTIMPL; }
    HRESULT FindPin(const wchar_t*, IPin**) override { return E_NOTIMPL; }
    HRESULT QueryVendorInfo(wchar_t**) override { return E_NOTIMPL; }

private:
    ~CForeignFilter() = default;

    class CPinList final : public IEnumPins {
    public:
        explicit CPinList(CForeignPin& pin) : m_pin(ComPtr<IPin>::Share(&pin)) {}
        HRESULT QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
        ULONG AddRef() override { return ++m_references; }
        ULONG Release() override {
            const ULONG left = --m_references;
            if (left == 0) {
                delete this;
            }
            return left;
        }
        HRESULT Next(ULONG, IPin** pins, ULONG*) override {
            *pins = m_pin.Detach();
            return *pins != nullptr ? S_OK : S_FALSE;
        }
        HRESULT Skip(ULONG) override { return E_NOTIMPL; }
        HRESULT Reset() override { return E_NOTIMPL; }
        HRESULT Clone(IEnumPins**) override { return E_NOTIMPL; }

    private:
        ~CPinList() = default;
        ComPtr<IPin> m_pin;
        ULONG m_references = 1;
    };

    std::atomic<ULONG> m_references{0};
    CForeignPin m_hidden{*this, nullptr};
    CForeignPin m_shown{*this, &m_hidden};
};

}  // namespace qrn::test
