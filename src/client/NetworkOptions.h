#pragma once
/// How a call goes over the network, as it is asked for.

#include <optional>
#include <string>
#include <vector>

#include "client/OptionParsing.h"

namespace qrn {

/// As they are typed; empty: not given.
struct NetworkTexts {
    std::vector<std::string> farEnds;  // HOST:PORT
    std::string localAddress;
    std::string interfaceAddress;
    std::string group;
    std::string ttl;
    std::string tos;
    std::string parity;
    std::string reorder;
    std::string srtpKey;
};

struct NetworkOptions {
    std::vector<FarEnd> farEnds;
    std::string localAddress = "0.0.0.0";
    std::optional<std::string> interfaceAddress;  // the one that takes part in multicast
    std::optional<std::string> group;
    std::optional<int> ttl;
    std::optional<int> tos;
    int parityGroup = 0;  // media packets for one parity packet; 0: none
    /// How many packets may wait for one that is missing, 0: none. Nothing: as the session has it, which is 20.
    std::optional<int> reorderWindow;
    std::optional<std::string> srtpKey;  // the key, or @ and a file's name
};

/// @throws CClientError (wrong use) that names the option and what it takes.
NetworkOptions ParseNetwork(const NetworkTexts& texts);

}  // namespace qrn
