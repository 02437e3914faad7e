#include "netfilters/CQRN_VideoReceiverPin.h"

#include <algorithm>
#include <chrono>

#include "netfilters/CQRN_VideoReceiverSource.h"
#include "netfilters/FilterOfPin.h"
#include "runtime/LiveTime.h"

namespace {

constexpr REFERENCE_TIME kUnitsPerMs = 10000;
/// Between empty samples for a renderer that holds none back.
constexpr std::chrono::milliseconds kIdle{5};

}  // namespace

CQRN_VideoReceiverPin::CQRN_VideoReceiverPin(CQRN_VideoReceiverSource* filter, HRESULT* result, qrn::IClock& clock)
    : CLiveSourceStream(L"QRN Video Receiver Pin", result, filter, L"Output"),
      m_receiver(filter),
      m_clock(clock) {}

HRESULT CQRN_VideoReceiverPin::CompleteConnect(IPin* receivePin) {
    m_receiver->SetDecompressor(qrn::FilterOfPin<IQRN_VideoDeCompressor>(receivePin));
    return CLiveSourceStream::CompleteConnect(receivePin);
}

HRESULT CQRN_VideoReceiverPin::BreakConnect() {
    m_receiver->SetDecompressor(nullptr);
    return CLiveSourceStream::BreakConnect();
}

HRESULT CQRN_VideoReceiverPin::GetMediaType(CMediaType* type) {
    return m_receiver->GetOutputType(type);
}

HRESULT CQRN_VideoReceiverPin::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) {
    if (allocator == nullptr || request == nullptr) {
        return E_POINTER;
    }
    const LONG bytes = m_receiver->FrameCapacity();
    if (bytes < 0) {
        return E_FAIL;
    }
    m_sampleSize = bytes;
    return qrn::AskForOneBuffer(allocator, request, bytes);
}

HRESULT CQRN_VideoReceiverPin::OnThreadDestroy() {
    m_receiver->StopEngine();
    return S_OK;
}

HRESULT CQRN_VideoReceiverPin::OnThreadStartPlay() {
    m_first = true;
    m_start = 0;
    m_receiver->AskDecompressor();
    return m_receiver->StartEngine() ? S_OK : S_FALSE;
}

HRESULT CQRN_VideoReceiverPin::FillBuffer(IMediaSample* sample) {
    if (m_receiver->IsBroken()) {
        return E_FAIL;  // ends the stream, which the client is told; no new start of this filter's engine succeeds
    }
    BYTE* data = nullptr;
    if (const HRESULT result = sample->GetPointer(&data); FAILED(result)) {
        return result;
    }
    if (m_sampleSize == 0) {
        m_clock.SleepFor(kIdle);  // the loop comes back at once
        return E_ABORT;
    }
    const auto frame = qrn::PopInto(*sample, data, m_receiver->Ring());
    const VideoReceiverLinks links = m_receiver->Links();
    if (frame && frame->lost != 0 && links.reportLoss && links.decompressor) {
        links.decompressor->SetOption2(1);
    }
    // A ring that is close to full drains at twice the frame rate.
    const bool hurried = frame && m_receiver->Ring().IsAlmostFull();
    if (frame && !hurried) {
        FollowAudio(*frame, links);
    }
    const REFERENCE_TIME start = NextStart(!frame, links.framePeriodMs != 0);
    const REFERENCE_TIME duration = links.framePeriodMs * kUnitsPerMs;
    m_start = start + (hurried ? duration / 2 : duration);
    return qrn::FinishSample(*sample, start, m_start, frame ? frame->length : 0);
}

void CQRN_VideoReceiverPin::FollowAudio(const qrn::PoppedFrame& frame, const VideoReceiverLinks& links) {
    qrn::CLipSync::AudioTimes audio{};
    if (!links.audioReceiver || links.audioReceiver->GetSyncPoint(&audio.timestamp, &audio.positionMs) != S_OK) {
        return;
    }
    if (links.audioRender && FAILED(links.audioRender->GetLatency(&audio.latencyMs))) {
        audio.latencyMs = 0;
    }
    if (const auto positionMs = m_lipSync.PositionOf(frame.timestamp, audio, links.framePeriodMs)) {
        m_start = std::max<REFERENCE_TIME>(*positionMs, 0) * kUnitsPerMs;
    }
}

REFERENCE_TIME CQRN_VideoReceiverPin::NextStart(bool isEmpty, bool hasPeriod) {
    REFERENCE_TIME now = 0;
    m_receiver->StreamTime(now);
    const REFERENCE_TIME kept = qrn::KeepLiveTime(m_start, now, &m_clock);
    // The renderer holds the one buffer until its time and so paces this thread. One that does not would have it spin:
    // what is pulled back to half a second ahead can as well wait a little, and so can what takes no time at all.
    if (isEmpty && (kept < m_start || !hasPeriod)) {
        m_clock.SleepFor(kIdle);
    }
    if (m_first) {
        m_first = false;
        return 0;
    }
    return kept;
}
