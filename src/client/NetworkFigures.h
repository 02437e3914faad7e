#pragma once
/// What the sessions and the encrypting transport of a call have counted.

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "client/Srtp.h"
#include "qrn/QRN_Media2.h"

namespace qrn {

struct SendFigures {
    QRN_SEND_STATISTICS session{};
    std::optional<QrnSrtpStatistics> srtp;
};

struct ReceiveFigures {
    QRN_RECEIVE_STATISTICS session{};
    std::optional<QrnSrtpStatistics> srtp;
};

/// @param transport  may be null. @throws CClientError when the filter does not tell.
SendFigures ReadSendFigures(const ComPtr<IBaseFilter>& sender, const ComPtr<IQRN_SrtpTransport>& transport);
ReceiveFigures ReadReceiveFigures(const ComPtr<IBaseFilter>& receiver, const ComPtr<IQRN_SrtpTransport>& transport);

/// All that left, with the headers of IPv4 and UDP; what SRTP adds is not in it.
double WireKbps(const SendFigures& figures, double seconds);

/// Every counter by its name.
nlohmann::ordered_json FiguresAsJson(const SendFigures& figures);
nlohmann::ordered_json FiguresAsJson(const ReceiveFigures& figures);

/// What a person wants to see of them.
std::string FiguresAsText(const SendFigures& figures);
std::string FiguresAsText(const ReceiveFigures& figures);
std::string SrtpAsText(const QrnSrtpStatistics& statistics);

/// The counters that are no longer 0 though on a good network they are, each behind two spaces; empty when all is well.
std::string TroubleAsText(const SendFigures& figures);
std::string TroubleAsText(const ReceiveFigures& figures);

}  // namespace qrn
