#pragma once
/// What sessions count, in the form that a client reads.

#include "qrn/QRN_Media2.h"
#include "rtp/CNetworkReceiver.h"
#include "rtp/CNetworkSender.h"

namespace qrn {

/// With null for a session that is not open: S_FALSE and zeros. E_POINTER. Its session stays open meanwhile.
HRESULT ReadStatistics(const CNetworkSender* session, QRN_SEND_STATISTICS* statistics);
HRESULT ReadStatistics(const CNetworkReceiver* session, QRN_RECEIVE_STATISTICS* statistics);

}  // namespace qrn
