#include "netfilters/ReceiverPinHelp.h"

#include <algorithm>

namespace qrn {

HRESULT AskForOneBuffer(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request, LONG bytes) {
    request->cBuffers = 1;
    request->cbBuffer = bytes;
    ALLOCATOR_PROPERTIES actual{};
    if (const HRESULT result = allocator->SetProperties(request, &actual); FAILED(result)) {
        return result;
    }
    return actual.cBuffers < request->cBuffers || actual.cbBuffer < 0 ? E_FAIL : S_OK;
}

std::optional<PoppedFrame> PopInto(IMediaSample& sample, BYTE* data, CNetworkBuffer& ring) {
    PoppedFrame frame;
    frame.length = static_cast<std::uint32_t>(std::max<LONG>(sample.GetSize(), 0));
    std::uint8_t payloadType = 0;
    if (!ring.Pop(data, &frame.length, &frame.timestamp, &frame.lost, &payloadType)) {
        return std::nullopt;
    }
    return frame;
}

HRESULT FinishSample(IMediaSample& sample, REFERENCE_TIME start, REFERENCE_TIME stop, std::uint32_t length) {
    if (const HRESULT result = sample.SetTime(&start, &stop); FAILED(result)) {
        return result;
    }
    if (const HRESULT result = sample.SetMediaTime(nullptr, nullptr); FAILED(result)) {
        return result;
    }
    sample.SetPreroll(FALSE);
    sample.SetSyncPoint(TRUE);
    sample.SetActualDataLength(static_cast<LONG>(length));
    return S_OK;
}

}  // namespace qrn
