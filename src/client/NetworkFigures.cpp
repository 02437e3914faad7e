#include "client/NetworkFigures.h"

#include <array>
#include <nlohmann/json.hpp>
#include <span>

#include "client/CGraph.h"

namespace qrn {
namespace {

using Json = nlohmann::ordered_json;

template <class Record>
struct Field {
    const char* key;    // in JSON
    const char* words;  // in a status line once it is not 0; null for what is no trouble
    ULONGLONG Record::*value;
};

constexpr std::array kSendFields{
    Field<QRN_SEND_STATISTICS>{"packets", nullptr, &QRN_SEND_STATISTICS::packets},
    Field<QRN_SEND_STATISTICS>{"datagrams", nullptr, &QRN_SEND_STATISTICS::datagrams},
    Field<QRN_SEND_STATISTICS>{"bytes", nullptr, &QRN_SEND_STATISTICS::bytes},
    Field<QRN_SEND_STATISTICS>{"system_calls", nullptr, &QRN_SEND_STATISTICS::systemCalls},
    Field<QRN_SEND_STATISTICS>{"failures", "not taken by the system", &QRN_SEND_STATISTICS::failures},
};

constexpr std::array kReceiveFields{
    Field<QRN_RECEIVE_STATISTICS>{"datagrams", nullptr, &QRN_RECEIVE_STATISTICS::datagrams},
    Field<QRN_RECEIVE_STATISTICS>{"bytes", nullptr, &QRN_RECEIVE_STATISTICS::bytes},
    Field<QRN_RECEIVE_STATISTICS>{"system_calls", nullptr, &QRN_RECEIVE_STATISTICS::systemCalls},
    Field<QRN_RECEIVE_STATISTICS>{"waits", nullptr, &QRN_RECEIVE_STATISTICS::waits},
    Field<QRN_RECEIVE_STATISTICS>{"malformed", "no packets", &QRN_RECEIVE_STATISTICS::malformed},
    Field<QRN_RECEIVE_STATISTICS>{"parity", nullptr, &QRN_RECEIVE_STATISTICS::parity},
    Field<QRN_RECEIVE_STATISTICS>{"other_types", "of other types", &QRN_RECEIVE_STATISTICS::otherTypes},
    Field<QRN_RECEIVE_STATISTICS>{"late", "late", &QRN_RECEIVE_STATISTICS::late},
    Field<QRN_RECEIVE_STATISTICS>{"held_back", "early", &QRN_RECEIVE_STATISTICS::heldBack},
    Field<QRN_RECEIVE_STATISTICS>{"duplicates", "twice", &QRN_RECEIVE_STATISTICS::duplicates},
    Field<QRN_RECEIVE_STATISTICS>{"refused", "not kept", &QRN_RECEIVE_STATISTICS::refused},
    Field<QRN_RECEIVE_STATISTICS>{"kernel_drops", "dropped by this machine", &QRN_RECEIVE_STATISTICS::kernelDrops},
};

constexpr std::array kSrtpFields{
    Field<QrnSrtpStatistics>{"sent", nullptr, &QrnSrtpStatistics::sent},
    Field<QrnSrtpStatistics>{"send_refused", "not encrypted", &QrnSrtpStatistics::sendRefused},
    Field<QrnSrtpStatistics>{"send_failed", "not taken by the system", &QrnSrtpStatistics::sendFailed},
    Field<QrnSrtpStatistics>{"received", nullptr, &QrnSrtpStatistics::received},
    Field<QrnSrtpStatistics>{"not_authentic", "not authentic", &QrnSrtpStatistics::notAuthentic},
    Field<QrnSrtpStatistics>{"replayed", "replayed", &QrnSrtpStatistics::replayed},
    Field<QrnSrtpStatistics>{"malformed", "no packets", &QrnSrtpStatistics::malformed},
    Field<QrnSrtpStatistics>{"overrun", "not fetched", &QrnSrtpStatistics::overrun},
    Field<QrnSrtpStatistics>{"sources", nullptr, &QrnSrtpStatistics::sources},
};

template <class Record, std::size_t Count>
Json AsJson(const std::array<Field<Record>, Count>& fields, const Record& record) {
    Json json;
    for (const Field<Record>& field : fields) {
        json[field.key] = record.*field.value;
    }
    return json;
}

template <class Record, std::size_t Count>
std::string Trouble(const std::array<Field<Record>, Count>& fields, const Record& record) {
    std::string text;
    for (const Field<Record>& field : fields) {
        if (field.words != nullptr && record.*field.value != 0) {
            text += std::string("  ") + field.words + " " + std::to_string(record.*field.value);
        }
    }
    return text;
}

template <class Figures, std::size_t Count>
Json WholeAsJson(const std::array<Field<decltype(Figures::session)>, Count>& fields, const Figures& figures) {
    Json json = AsJson(fields, figures.session);
    json["local_port"] = figures.session.localPort;
    json["buffer_bytes"] = figures.session.bufferBytes;
    json["srtp"] = figures.srtp ? AsJson(kSrtpFields, *figures.srtp) : Json(nullptr);
    return json;
}

std::string BufferAsText(DWORD bytes) {
    return bytes == 0 ? "" : ", buffer of " + std::to_string(bytes / 1024) + " KiB";
}

template <class Figures>
void ReadSrtp(const ComPtr<IQRN_SrtpTransport>& transport, Figures& figures) {
    if (transport) {
        Require(transport->GetStatistics(&figures.srtp.emplace()), "ask the SRTP transport for its statistics");
        Require(transport->GetLocalPort(&figures.session.localPort), "ask the SRTP transport for its port");
    }
}

}  // namespace

SendFigures ReadSendFigures(const ComPtr<IBaseFilter>& sender, const ComPtr<IQRN_SrtpTransport>& transport) {
    SendFigures figures;
    Require(InterfaceOf<IQRN_NetworkStatistics>(sender, "of the sender")->GetSendStatistics(&figures.session),
            "ask the sender for its statistics");
    ReadSrtp(transport, figures);
    return figures;
}

ReceiveFigures ReadReceiveFigures(const ComPtr<IBaseFilter>& receiver, const ComPtr<IQRN_SrtpTransport>& transport) {
    ReceiveFigures figures;
    Require(InterfaceOf<IQRN_NetworkStatistics>(receiver, "of the receiver")->GetReceiveStatistics(0, &figures.session),
            "ask the receiver for its statistics");
    ReadSrtp(transport, figures);
    return figures;
}

double WireKbps(const SendFigures& figures, double seconds) {
    constexpr double kHeaderBytes = 28;  // 20 of IPv4, 8 of UDP
    const double bytes =
        static_cast<double>(figures.session.bytes) + kHeaderBytes * static_cast<double>(figures.session.datagrams);
    return seconds > 0 ? bytes * 8 / 1000 / seconds : 0;
}

Json FiguresAsJson(const SendFigures& figures) {
    return WholeAsJson(kSendFields, figures);
}

Json FiguresAsJson(const ReceiveFigures& figures) {
    return WholeAsJson(kReceiveFields, figures);
}

std::string FiguresAsText(const SendFigures& figures) {
    const QRN_SEND_STATISTICS& session = figures.session;
    return std::to_string(session.datagrams) + " datagrams, " + std::to_string(session.bytes) + " bytes from port " +
           std::to_string(session.localPort) + BufferAsText(session.bufferBytes) + TroubleAsText(figures);
}

std::string FiguresAsText(const ReceiveFigures& figures) {
    const QRN_RECEIVE_STATISTICS& session = figures.session;
    return std::to_string(session.datagrams) + " datagrams, " + std::to_string(session.bytes) + " bytes, parity " +
           std::to_string(session.parity) + ", dropped by this machine " + std::to_string(session.kernelDrops) +
           BufferAsText(session.bufferBytes) + TroubleAsText(figures);
}

std::string SrtpAsText(const QrnSrtpStatistics& statistics) {
    return "sent " + std::to_string(statistics.sent) + ", received " + std::to_string(statistics.received) +
           ", not authentic " + std::to_string(statistics.notAuthentic) + ", replayed " +
           std::to_string(statistics.replayed);
}

std::string TroubleAsText(const SendFigures& figures) {
    return Trouble(kSendFields, figures.session) + (figures.srtp ? Trouble(kSrtpFields, *figures.srtp) : std::string());
}

std::string TroubleAsText(const ReceiveFigures& figures) {
    return Trouble(kReceiveFields, figures.session) +
           (figures.srtp ? Trouble(kSrtpFields, *figures.srtp) : std::string());
}

}  // namespace qrn
