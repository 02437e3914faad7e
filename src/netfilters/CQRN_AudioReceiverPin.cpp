#include "netfilters/CQRN_AudioReceiverPin.h"

#include <chrono>

#include "netfilters/CQRN_AudioReceiverSource.h"
#include "netfilters/ReceiverPinHelp.h"
#include "platform/system/Thread.h"
#include "runtime/LiveTime.h"

namespace {

constexpr REFERENCE_TIME kUnitsPerMs = 10000;
/// Between empty samples for a renderer that holds none back.
constexpr std::chrono::milliseconds kIdle{5};

}  // namespace

CQRN_AudioReceiverPin::CQRN_AudioReceiverPin(CQRN_AudioReceiverSource* filter, HRESULT* result, qrn::IClock& clock)
    : CLiveSourceStream(L"QRN Audio Receiver Pin", result, filter, L"Output"),
      m_receiver(filter),
      m_clock(clock) {}

HRESULT CQRN_AudioReceiverPin::GetMediaType(CMediaType* type) {
    return m_receiver->GetOutputType(type);
}

HRESULT CQRN_AudioReceiverPin::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) {
    if (allocator == nullptr || request == nullptr) {
        return E_POINTER;
    }
    const LONG bytes = m_receiver->SampleBytes();
    if (bytes < 0) {
        return E_FAIL;
    }
    return qrn::AskForOneBuffer(allocator, request, bytes);
}

HRESULT CQRN_AudioReceiverPin::OnThreadCreate() {
    qrn::SetCurrentThreadPriority(qrn::ThreadPriority::kAboveNormal);
    return S_OK;
}

HRESULT CQRN_AudioReceiverPin::OnThreadDestroy() {
    m_receiver->StopEngine();
    return S_OK;
}

HRESULT CQRN_AudioReceiverPin::OnThreadStartPlay() {
    m_first = true;
    m_start = 0;
    m_receiver->SyncPoint().Clear();
    return m_receiver->StartEngine() ? S_OK : S_FALSE;
}

HRESULT CQRN_AudioReceiverPin::FillBuffer(IMediaSample* sample) {
    if (m_receiver->IsBroken()) {
        return E_FAIL;  // ends the stream, which the client is told; no new start of this filter's engine succeeds
    }
    BYTE* data = nullptr;
    if (const HRESULT result = sample->GetPointer(&data); FAILED(result)) {
        return result;
    }
    const auto packet = qrn::PopInto(*sample, data, m_receiver->Ring());
    const REFERENCE_TIME start = NextStart(!packet);
    m_start = start + m_receiver->PacketMs() * kUnitsPerMs;
    if (packet) {
        m_receiver->SyncPoint().Set({packet->timestamp, static_cast<std::uint32_t>(start / kUnitsPerMs)});
    }
    return qrn::FinishSample(*sample, start, m_start, packet ? packet->length : 0);
}

REFERENCE_TIME CQRN_AudioReceiverPin::NextStart(bool isEmpty) {
    REFERENCE_TIME now = 0;
    m_receiver->StreamTime(now);
    const REFERENCE_TIME kept = qrn::KeepLiveTime(m_start, now, nullptr);
    // The renderer holds the one buffer until its time and so paces this thread. One that does not would have it spin:
    // what is pulled back to half a second ahead can as well wait a little.
    if (isEmpty && kept < m_start) {
        m_clock.SleepFor(kIdle);
    }
    if (m_first) {
        m_first = false;
        return 0;
    }
    return kept;
}
