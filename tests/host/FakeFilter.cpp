#include "host/FakeFilter.h"

#include <stdexcept>
#include <utility>

namespace qrn::test {

void CJournal::Write(std::string line) {
    CScopedLock lock(m_lock);
    m_lines.push_back(std::move(line));
}

std::vector<std::string> CJournal::Lines() const {
    CScopedLock lock(m_lock);
    return m_lines;
}

std::vector<std::string> CJournal::Take() {
    CScopedLock lock(m_lock);
    return std::exchange(m_lines, {});
}

CFakeInput::CFakeInput(CFakeFilter& filter, const wchar_t* name)
    : CBaseInputPin(L"fake input", &filter, filter.FilterLock(), nullptr, name),
      m_fake(filter) {}

HRESULT CFakeInput::CheckMediaType(const CMediaType* type) {
    return m_fake.takes == GUID_NULL || m_fake.takes == *type->Subtype() ? S_OK : S_FALSE;
}

HRESULT CFakeInput::CompleteConnect(IPin* receivePin) {
    if (m_fake.onInputConnected) {
        m_fake.onInputConnected();
    }
    return CBaseInputPin::CompleteConnect(receivePin);
}

CFakeOutput::CFakeOutput(CFakeFilter& filter, const wchar_t* name)
    : CBaseOutputPin(L"fake output", &filter, filter.FilterLock(), nullptr, name),
      m_fake(filter) {}

HRESULT CFakeOutput::Connect(IPin* receivePin, const AM_MEDIA_TYPE* type) {
    if (type == nullptr && m_fake.refusesOpenConnect) {
        return VFW_E_NO_ACCEPTABLE_TYPES;
    }
    return CBaseOutputPin::Connect(receivePin, type);
}

HRESULT CFakeOutput::CheckMediaType(const CMediaType* /*type*/) {
    return S_OK;
}

HRESULT CFakeOutput::GetMediaType(int position, CMediaType* type) {
    if (position >= static_cast<int>(m_fake.offers.size())) {
        return VFW_S_NO_MORE_ITEMS;
    }
    type->InitMediaType();
    type->SetType(&MEDIATYPE_Audio);
    type->SetSubtype(&m_fake.offers[static_cast<std::size_t>(position)]);
    type->SetFormatType(&FORMAT_None);
    return S_OK;
}

HRESULT CFakeOutput::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) {
    *request = {1, 16, 1, 0};
    ALLOCATOR_PROPERTIES actual{};
    return allocator->SetProperties(request, &actual);
}

ComPtr<CFakeFilter> CFakeFilter::Make(std::string name, CJournal& journal, int inputs, int outputs, CCritSec* lock) {
    return ComPtr<CFakeFilter>::Share(new CFakeFilter(std::move(name), journal, inputs, outputs, lock));
}

CFakeFilter::CFakeFilter(std::string name, CJournal& journal, int inputs, int outputs, CCritSec* lock)
    : CBaseFilter(L"fake", nullptr, lock != nullptr ? lock : &m_lock, GUID_NULL),
      m_label(std::move(name)),
      m_journal(journal) {
    for (int i = 0; i < inputs; ++i) {
        m_inputs.push_back(std::make_unique<CFakeInput>(*this, (L"In" + std::to_wstring(i)).c_str()));
    }
    for (int i = 0; i < outputs; ++i) {
        m_outputs.push_back(std::make_unique<CFakeOutput>(*this, (L"Out" + std::to_wstring(i)).c_str()));
    }
}

HRESULT CFakeFilter::NonDelegatingQueryInterface(REFIID id, void** object) {
    if (id == IID_IAMFilterMiscFlags) {
        return GetInterface(static_cast<IAMFilterMiscFlags*>(this), object);
    }
    return CBaseFilter::NonDelegatingQueryInterface(id, object);
}

int CFakeFilter::GetPinCount() {
    return static_cast<int>(m_inputs.size() + m_outputs.size());
}

CBasePin* CFakeFilter::GetPin(int index) {
    const auto at = static_cast<std::size_t>(index);
    if (index < 0 || at >= m_inputs.size() + m_outputs.size()) {
        return nullptr;
    }
    return at < m_inputs.size() ? static_cast<CBasePin*>(m_inputs[at].get()) : m_outputs[at - m_inputs.size()].get();
}

HRESULT CFakeFilter::Done(const char* what, HRESULT wanted, HRESULT based) {
    m_journal.Write(m_label + " " + what);
    return wanted == S_OK ? based : wanted;
}

HRESULT CFakeFilter::Stop() {
    if (onStop) {
        onStop();
    }
    return Done("stop", stopResult, CBaseFilter::Stop());
}

HRESULT CFakeFilter::Pause() {
    if (pauseThrows) {
        throw std::runtime_error("a filter at fault");
    }
    if (onPause) {
        onPause();
    }
    const HRESULT wanted = pauseResult;
    return Done("pause", wanted, FAILED(wanted) ? wanted : CBaseFilter::Pause());
}

HRESULT CFakeFilter::Run(REFERENCE_TIME start) {
    const HRESULT wanted = runResult;
    return Done("run", wanted, FAILED(wanted) ? wanted : CBaseFilter::Run(start));
}

HRESULT CFakeFilter::GetState(DWORD timeoutMs, FILTER_STATE* state) {
    const HRESULT based = CBaseFilter::GetState(timeoutMs, state);
    const HRESULT wanted = stateResult;
    return wanted == S_OK ? based : wanted;
}

HRESULT CFakeFilter::SetSyncSource(IReferenceClock* clock) {
    const HRESULT wanted = clockResult;
    return FAILED(wanted) ? wanted : CBaseFilter::SetSyncSource(clock);
}

HRESULT CFakeFilter::JoinFilterGraph(IFilterGraph* graph, const wchar_t* name) {
    const HRESULT wanted = joinResult;
    return FAILED(wanted) && graph != nullptr ? wanted : CBaseFilter::JoinFilterGraph(graph, name);
}

}  // namespace qrn::test
