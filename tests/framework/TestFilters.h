#pragma once
/// Small filters at both ends of a chain, which let a test drive what stands between them.

#include <algorithm>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "framework/CBaseFilter.h"
#include "framework/CBaseInputPin.h"
#include "framework/CBaseOutputPin.h"
#include "framework/CTransformFilter.h"
#include "platform/system/Condition.h"
#include "support/FakeClock.h"

namespace qrn::test {

/// A type that differs from others by its subtype's first field.
inline CMediaType TypeOf(std::uint32_t number, const GUID& major = MEDIATYPE_Video) {
    CMediaType type(&major);
    GUID subtype = MEDIASUBTYPE_PCM;
    subtype.Data1 = number;
    type.SetSubtype(&subtype);
    type.SetFormatType(&FORMAT_None);
    return type;
}

/// Waits for a condition that another thread brings about. @return false when it takes longer than a test may wait.
template <class Condition>
bool WaitUntil(Condition condition) {
    const auto start = SystemClock().Now();
    while (!condition()) {
        if (SystemClock().Now() - start > kTestPatience) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

/// A pin that the test feeds on its own thread.
class CFeedPin final : public CBaseOutputPin {
public:
    CFeedPin(CBaseFilter* filter, CCritSec* lock) : CBaseOutputPin(L"feed pin", filter, lock, nullptr, L"Feed") {}

    HRESULT CheckMediaType(const CMediaType* type) override {
        ++checks;
        return std::find(types.begin(), types.end(), *type) != types.end() ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
    }
    HRESULT GetMediaType(int position, CMediaType* type) override {
        if (static_cast<std::size_t>(position) >= types.size()) {
            return VFW_S_NO_MORE_ITEMS;
        }
        *type = types[static_cast<std::size_t>(position)];
        return S_OK;
    }
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
        requests.push_back(*request);
        if (FAILED(decideResult)) {
            return decideResult;
        }
        ALLOCATOR_PROPERTIES wanted{buffers, bufferBytes, std::max<LONG>(request->cbAlign, 1), 0};
        ALLOCATOR_PROPERTIES actual{};
        return allocator->SetProperties(&wanted, &actual);
    }
    HRESULT CompleteConnect(IPin* pin) override {
        return FAILED(completeResult) ? completeResult : CBaseOutputPin::CompleteConnect(pin);
    }
    HRESULT Active() override { return FAILED(activeResult) ? activeResult : CBaseOutputPin::Active(); }
    HRESULT Inactive() override {
        ++inactives;
        return CBaseOutputPin::Inactive();
    }
    HRESULT Notify(IBaseFilter*, Quality quality) override {
        notes.push_back(quality);
        return S_OK;
    }
    using CBasePin::m_bTryMyTypesFirst;

    std::vector<CMediaType> types{TypeOf(1)};
    LONG buffers = 1;
    LONG bufferBytes = 16;
    HRESULT decideResult = S_OK;
    HRESULT completeResult = S_OK;
    HRESULT activeResult = S_OK;
    int checks = 0;
    int inactives = 0;
    std::vector<ALLOCATOR_PROPERTIES> requests;
    std::vector<Quality> notes;
};

class CFeedFilter final : public CBaseFilter {
public:
    CFeedFilter() : CBaseFilter(L"feed", nullptr, &m_lock, GUID_NULL) {}
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int index) override { return index == 0 ? &pin : nullptr; }

    /// A sample of `bytes` bytes; no time when `start` is negative.
    ComPtr<IMediaSample> Sample(REFERENCE_TIME start = -1, REFERENCE_TIME stop = -1, bool isSync = true,
                                LONG bytes = 4) {
        ComPtr<IMediaSample> sample;
        if (FAILED(pin.GetDeliveryBuffer(sample.Put(), nullptr, nullptr, 0))) {
            return nullptr;
        }
        sample->SetTime(start >= 0 ? &start : nullptr, start >= 0 && stop >= 0 ? &stop : nullptr);
        sample->SetSyncPoint(isSync);
        sample->SetActualDataLength(bytes);
        return sample;
    }
    HRESULT Feed(REFERENCE_TIME start = -1, REFERENCE_TIME stop = -1, bool isSync = true, LONG bytes = 4) {
        const ComPtr<IMediaSample> sample = Sample(start, stop, isSync, bytes);
        return sample ? pin.Deliver(sample.Get()) : VFW_E_NOT_COMMITTED;
    }

private:
    CCritSec m_lock;

public:
    CFeedPin pin{this, &m_lock};
};

/// What a CTakePin saw of a sample.
struct Taken {
    REFERENCE_TIME start = -1;
    REFERENCE_TIME stop = -1;
    LONG bytes = 0;
    bool isSync = false;
    bool isDiscontinuity = false;
    bool isPreroll = false;
    LONGLONG mediaStart = -1;
};

/// Takes every sample at once and notes it.
class CTakePin final : public CBaseInputPin {
public:
    CTakePin(CBaseFilter* filter, CCritSec* lock) : CBaseInputPin(L"take pin", filter, lock, nullptr, L"Take") {}

    HRESULT CheckMediaType(const CMediaType* type) override {
        ++checks;
        return accepts.empty() || std::find(accepts.begin(), accepts.end(), *type) != accepts.end()
                   ? S_OK
                   : VFW_E_TYPE_NOT_ACCEPTED;
    }
    HRESULT GetMediaType(int position, CMediaType* type) override {
        if (static_cast<std::size_t>(position) >= offers.size()) {
            return VFW_S_NO_MORE_ITEMS;
        }
        *type = offers[static_cast<std::size_t>(position)];
        return S_OK;
    }
    HRESULT GetAllocator(IMemAllocator** allocator) override {
        return FAILED(allocatorResult) ? allocatorResult : CBaseInputPin::GetAllocator(allocator);
    }
    HRESULT GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) override {
        if (requirements.cbAlign == 0) {
            return E_NOTIMPL;
        }
        *properties = requirements;
        return S_OK;
    }
    HRESULT Receive(IMediaSample* sample) override {
        const HRESULT result = CBaseInputPin::Receive(sample);
        if (result != S_OK) {
            return result;
        }
        Taken taken;
        sample->GetTime(&taken.start, &taken.stop);
        taken.bytes = sample->GetActualDataLength();
        taken.isSync = sample->IsSyncPoint() == S_OK;
        taken.isDiscontinuity = sample->IsDiscontinuity() == S_OK;
        taken.isPreroll = sample->IsPreroll() == S_OK;
        LONGLONG mediaStop = 0;
        sample->GetMediaTime(&taken.mediaStart, &mediaStop);
        {
            CScopedLock lock(m_gate);
            m_taken.push_back(taken);
            if (keepsSamples) {
                m_kept.push_back(ComPtr<IMediaSample>::Share(sample));
            }
            m_changed.NotifyAll();
        }
        return onReceive ? onReceive(sample) : S_OK;
    }
    HRESULT EndOfStream() override {
        CScopedLock lock(m_gate);
        ++m_ends;
        m_changed.NotifyAll();
        return S_OK;
    }
    HRESULT BeginFlush() override {
        calls += "B";
        return CBaseInputPin::BeginFlush();
    }
    HRESULT EndFlush() override {
        calls += "E";
        return CBaseInputPin::EndFlush();
    }
    HRESULT NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override {
        calls += "S";
        return CBaseInputPin::NewSegment(start, stop, rate);
    }

    std::vector<Taken> All() const {
        CScopedLock lock(m_gate);
        return m_taken;
    }
    int Ends() const {
        CScopedLock lock(m_gate);
        return m_ends;
    }
    bool WaitForSamples(std::size_t count) {
        return WaitUntil([this, count] { return All().size() >= count; });
    }
    void ReleaseKept() {
        std::deque<ComPtr<IMediaSample>> kept;
        CScopedLock lock(m_gate);
        kept.swap(m_kept);
    }

    std::vector<CMediaType> accepts;
    std::vector<CMediaType> offers;
    HRESULT allocatorResult = S_OK;
    ALLOCATOR_PROPERTIES requirements{};
    std::function<HRESULT(IMediaSample*)> onReceive;
    bool keepsSamples = false;
    int checks = 0;
    std::string calls;

private:
    mutable CMutex m_gate;
    CCondition m_changed;
    std::vector<Taken> m_taken QRN_GUARDED_BY(m_gate);
    std::deque<ComPtr<IMediaSample>> m_kept QRN_GUARDED_BY(m_gate);
    int m_ends QRN_GUARDED_BY(m_gate) = 0;
};

class CTakeFilter final : public CBaseFilter {
public:
    CTakeFilter() : CBaseFilter(L"take", nullptr, &m_lock, GUID_NULL) {}
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int index) override { return index == 0 ? &pin : nullptr; }

private:
    CCritSec m_lock;

public:
    CTakePin pin{this, &m_lock};
};

/// A filter made with its first reference, so that the test holds it as any client would.
template <class Filter, class... Args>
class CHeld {
public:
    explicit CHeld(Args... args) : m_filter(new Filter(args...)), m_reference(ComPtr<IBaseFilter>::Share(m_filter)) {}
    Filter* operator->() const { return m_filter; }
    Filter* Get() const { return m_filter; }
    void Release() { m_reference.Reset(); }

private:
    Filter* m_filter;
    ComPtr<IBaseFilter> m_reference;
};

}  // namespace qrn::test
