#include "netfilters/NetworkStatistics.h"

namespace qrn {

HRESULT ReadStatistics(const CNetworkSender* session, QRN_SEND_STATISTICS* statistics) {
    if (statistics == nullptr) {
        return E_POINTER;
    }
    *statistics = {};
    if (session == nullptr || !session->IsOpened()) {
        return S_FALSE;
    }
    const SendStatistics counts = session->Statistics();
    *statistics = {counts.packets,       counts.datagrams,          counts.bytes, counts.systemCalls, counts.failures,
                   session->LocalPort(), session->BufferBytes(true)};
    return S_OK;
}

HRESULT ReadStatistics(const CNetworkReceiver* session, QRN_RECEIVE_STATISTICS* statistics) {
    if (statistics == nullptr) {
        return E_POINTER;
    }
    *statistics = {};
    if (session == nullptr || !session->IsOpened()) {
        return S_FALSE;
    }
    const ReceiveStatistics counts = session->ReceiveStatistics();
    *statistics = {counts.datagrams,
                   counts.bytes,
                   counts.systemCalls,
                   counts.waits,
                   counts.malformed,
                   counts.parity,
                   counts.otherTypes,
                   counts.late,
                   counts.heldBack,
                   counts.duplicates,
                   counts.refused,
                   counts.noRoom,
                   session->LocalPort(),
                   session->BufferBytes(false),
                   0};
    return S_OK;
}

}  // namespace qrn
