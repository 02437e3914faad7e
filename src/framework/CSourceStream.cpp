#include "framework/CSourceStream.h"

#include <array>
#include <cwchar>
#include <new>
#include <string>

#include "platform/com/TaskMemory.h"
#include "platform/com/Text.h"

namespace {

/// Without a buffer the loop looks again after this time, or as soon as a command comes.
constexpr std::chrono::milliseconds kRetryWithoutBuffer(1);

}  // namespace

CSourceStream::CSourceStream(const wchar_t* objectName, HRESULT* result, CSource* filter, const wchar_t* pinName)
    : CAMThread(pinName != nullptr ? qrn::ToUtf8(pinName) : std::string("qrn-source")),
      CBaseOutputPin(objectName, filter, filter->pStateLock(), result, pinName),
      m_source(filter) {
    const HRESULT added = m_source->AddPin(this);
    if (result != nullptr && FAILED(added)) {
        *result = added;
    }
}

CSourceStream::~CSourceStream() {
    m_source->RemovePin(this);
}

HRESULT CSourceStream::QueryId(wchar_t** id) {
    if (id == nullptr) {
        return E_POINTER;
    }
    *id = nullptr;
    const int number = m_source->FindPinNumber(this);
    if (number == 0) {
        return VFW_E_NOT_FOUND;
    }
    // Longer than the text of any int, so that nothing is taken from the heap but the answer.
    std::array<wchar_t, 16> text{};
    std::swprintf(text.data(), text.size(), L"%d", number);
    *id = qrn::CopyToTaskMemory(text.data());
    return *id != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT CSourceStream::Active() {
    CAutoLock lock(m_source->pStateLock());
    if (m_source->IsActive()) {
        return S_FALSE;
    }
    if (!IsConnected()) {
        return S_OK;
    }
    HRESULT result = CBaseOutputPin::Active();
    if (FAILED(result)) {
        return result;
    }
    if (Create() == FALSE) {
        CBaseOutputPin::Inactive();
        return E_FAIL;
    }
    result = Init();
    if (FAILED(result)) {
        Close();  // a worker whose OnThreadCreate fails ends by itself
        CBaseOutputPin::Inactive();
        return result;
    }
    return Pause();
}

HRESULT CSourceStream::Inactive() {
    CAutoLock lock(m_source->pStateLock());
    if (!IsConnected()) {
        return S_OK;
    }
    // First the allocator, so that a wait for a buffer ends and the worker sees its commands.
    const HRESULT result = CBaseOutputPin::Inactive();
    if (ThreadExists() != FALSE) {
        Stop();
        Exit();
        Close();
    }
    return result == VFW_E_NO_ALLOCATOR ? S_OK : result;
}

DWORD CSourceStream::ThreadProc() {
    while (GetRequest() != CMD_INIT) {
        Reply(static_cast<DWORD>(E_UNEXPECTED));
    }
    const HRESULT created = OnThreadCreate();
    if (FAILED(created)) {
        OnThreadDestroy();
        Reply(static_cast<DWORD>(created));
        return 1;
    }
    Reply(S_OK);
    for (;;) {
        switch (GetRequest()) {
            case CMD_EXIT:
                OnThreadDestroy();
                Reply(S_OK);
                return 0;
            case CMD_PAUSE:
                Reply(S_OK);
                if (StreamsWhilePaused()) {
                    RunLoop();
                }
                break;
            case CMD_RUN:
                Reply(S_OK);
                RunLoop();
                break;
            case CMD_STOP:
                Reply(S_OK);
                break;
            default:
                Reply(static_cast<DWORD>(E_NOTIMPL));
                break;
        }
    }
}

void CSourceStream::RunLoop() {
    m_looping = true;
    HRESULT failure = S_OK;
    try {
        DoBufferProcessingLoop();
    } catch (const std::bad_alloc&) {
        failure = E_OUTOFMEMORY;
    } catch (const std::exception&) {
        failure = E_FAIL;
    }
    if (FAILED(failure)) {
        EndStream(failure);
    }
    m_looping = false;
}

void CSourceStream::EndStream(HRESULT failure) {
    DeliverEndOfStream();
    m_source->NotifyEvent(EC_ERRORABORT, failure, 0);
}

HRESULT CSourceStream::DoBufferProcessingLoop() {
    OnThreadStartPlay();
    for (;;) {
        DWORD command = 0;
        while (CheckRequest(&command) == FALSE) {
            Step step = Step::kGoOn;
            const HRESULT result = ProduceSample(step);
            if (step == Step::kLeave) {
                return result;
            }
        }
        if (AnswerRequest(command) == Step::kLeave) {
            return S_FALSE;
        }
    }
}

HRESULT CSourceStream::ProduceSample(Step& step) {
    qrn::ComPtr<IMediaSample> sample;
    if (FAILED(GetDeliveryBuffer(sample.Put(), nullptr, nullptr, 0))) {
        WaitForRequest(kRetryWithoutBuffer);
        return S_OK;
    }
    const HRESULT filled = FillBuffer(sample.Get());
    if (filled == S_OK) {
        // Anything but S_OK says that the filters after this one want no more, for whatever reason.
        if (Deliver(sample.Get()) != S_OK) {
            step = Step::kLeave;
        }
        return S_OK;
    }
    sample.Reset();
    if (filled == E_ABORT) {
        return S_OK;  // a live source without data, not the end
    }
    step = Step::kLeave;
    if (FAILED(filled)) {
        EndStream(filled);
        return filled;
    }
    DeliverEndOfStream();
    return S_OK;
}

CSourceStream::Step CSourceStream::AnswerRequest(DWORD command) {
    switch (command) {
        case CMD_RUN:
            Reply(S_OK);
            return Step::kGoOn;
        case CMD_PAUSE:
            Reply(S_OK);
            return StreamsWhilePaused() ? Step::kGoOn : Step::kLeave;
        case CMD_STOP:
            Reply(S_OK);
            return Step::kLeave;
        default:
            Reply(static_cast<DWORD>(E_UNEXPECTED));
            return Step::kGoOn;
    }
}

HRESULT CSourceStream::OnThreadCreate() {
    return S_OK;
}

HRESULT CSourceStream::OnThreadDestroy() {
    return S_OK;
}

HRESULT CSourceStream::OnThreadStartPlay() {
    return S_OK;
}

HRESULT CSourceStream::CheckMediaType(const CMediaType* type) {
    CAutoLock lock(m_source->pStateLock());
    CMediaType mine;
    if (FAILED(GetMediaType(&mine))) {
        return E_FAIL;
    }
    return mine == *type ? S_OK : E_FAIL;
}

HRESULT CSourceStream::GetMediaType(int position, CMediaType* type) {
    CAutoLock lock(m_source->pStateLock());
    if (position < 0) {
        return E_INVALIDARG;
    }
    return position == 0 ? GetMediaType(type) : VFW_S_NO_MORE_ITEMS;
}

HRESULT CSourceStream::GetMediaType(CMediaType* /*type*/) {
    return E_UNEXPECTED;
}
