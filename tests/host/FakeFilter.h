#pragma once
/// Filters that write down what is asked of them and answer as the test wants.

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "framework/CBaseFilter.h"
#include "framework/CBaseInputPin.h"
#include "framework/CBaseOutputPin.h"
#include "platform/system/Lock.h"

namespace qrn::test {

/// What happened, in order, over all filters of a test. Any thread.
class CJournal {
public:
    void Write(std::string line);
    std::vector<std::string> Lines() const;
    /// The lines since the last Take.
    std::vector<std::string> Take();

private:
    mutable CMutex m_lock;
    std::vector<std::string> m_lines QRN_GUARDED_BY(m_lock);
};

class CFakeFilter;

class CFakeInput final : public CBaseInputPin {
public:
    CFakeInput(CFakeFilter& filter, const wchar_t* name);
    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT CompleteConnect(IPin* receivePin) override;

private:
    CFakeFilter& m_fake;
};

class CFakeOutput final : public CBaseOutputPin {
public:
    CFakeOutput(CFakeFilter& filter, const wchar_t* name);
    HRESULT Connect(IPin* receivePin, const AM_MEDIA_TYPE* type) override;
    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT GetMediaType(int position, CMediaType* type) override;
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;

private:
    CFakeFilter& m_fake;
};

class CFakeFilter final : public CBaseFilter, public IAMFilterMiscFlags {
public:
    /// @param lock  the filter's lock, if it is to be one that outlives the filter instead of its own.
    static ComPtr<CFakeFilter> Make(std::string name, CJournal& journal, int inputs, int outputs,
                                    CCritSec* lock = nullptr);

    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override;
    int GetPinCount() override;
    CBasePin* GetPin(int index) override;
    HRESULT Stop() override;
    HRESULT Pause() override;
    HRESULT Run(REFERENCE_TIME start) override;
    HRESULT GetState(DWORD timeoutMs, FILTER_STATE* state) override;
    HRESULT SetSyncSource(IReferenceClock* clock) override;
    HRESULT JoinFilterGraph(IFilterGraph* graph, const wchar_t* name) override;
    ULONG GetMiscFlags() override { return miscFlags; }

    IPin* Input(int index = 0) { return m_inputs[static_cast<std::size_t>(index)].get(); }
    IPin* Output(int index = 0) { return m_outputs[static_cast<std::size_t>(index)].get(); }
    ComPtr<IReferenceClock> GivenClock() const { return Clock(); }
    REFERENCE_TIME GivenStart() const { return m_tStart; }
    FILTER_STATE State() const { return m_State; }

    // Answers in place of the base's work.
    std::atomic<HRESULT> pauseResult{S_OK};
    std::atomic<HRESULT> runResult{S_OK};
    std::atomic<HRESULT> stopResult{S_OK};
    std::atomic<HRESULT> stateResult{S_OK};
    std::atomic<HRESULT> clockResult{S_OK};
    std::atomic<HRESULT> joinResult{S_OK};
    std::atomic<ULONG> miscFlags{0};
    bool pauseThrows = false;
    // The subtypes that the output offers, and the only one that the input takes (null: any).
    std::vector<GUID> offers{MEDIASUBTYPE_PCM};
    GUID takes = GUID_NULL;
    bool refusesOpenConnect = false;
    // Run inside the operation.
    std::function<void()> onPause;
    std::function<void()> onStop;
    std::function<void()> onInputConnected;

private:
    CFakeFilter(std::string name, CJournal& journal, int inputs, int outputs, CCritSec* lock);
    HRESULT Done(const char* what, HRESULT wanted, HRESULT based);

    const std::string m_label;
    CJournal& m_journal;
    CCritSec m_lock;
    std::vector<std::unique_ptr<CFakeInput>> m_inputs;
    std::vector<std::unique_ptr<CFakeOutput>> m_outputs;
};

}  // namespace qrn::test
