#include "client/NetworkOptions.h"

namespace qrn {
namespace {

// What the sessions take: beyond these they silently take something else.
constexpr int kSmallestParityGroup = 2;
constexpr int kLargestParityGroup = 24;
constexpr int kLargestWindow = 20;
constexpr int kLargestByte = 255;

std::optional<int> ParseByte(const char* option, const std::string& text) {
    return text.empty() ? std::nullopt : std::optional(ParseIntegerIn(option, text, 0, kLargestByte));
}

std::string ParseGroup(const std::string& text) {
    if (!IsGroup(text)) {
        RefuseUse("--join: '" + text + "' is no address of a multicast group, 224.0.0.0 to 239.255.255.255");
    }
    return text;
}

/// The encrypting transport has a socket of its own, which none of these reaches.
void RefuseBesideSrtp(const NetworkTexts& texts) {
    const std::pair<const char*, const std::string&> others[] = {
        {"--ttl", texts.ttl}, {"--tos", texts.tos}, {"--join", texts.group}, {"--interface", texts.interfaceAddress}};
    for (const auto& [option, text] : others) {
        if (!text.empty()) {
            RefuseUse(std::string(option) + " has no effect on an encrypted call (--srtp-key)");
        }
    }
}

}  // namespace

NetworkOptions ParseNetwork(const NetworkTexts& texts) {
    NetworkOptions network;
    for (const std::string& text : texts.farEnds) {
        network.farEnds.push_back(ParseFarEnd("--to", text));
    }
    if (!texts.localAddress.empty()) {
        network.localAddress = ParseIpv4("--address", texts.localAddress);
    }
    if (!texts.interfaceAddress.empty()) {
        network.interfaceAddress = ParseIpv4("--interface", texts.interfaceAddress);
    }
    if (!texts.group.empty()) {
        network.group = ParseGroup(texts.group);
    }
    network.ttl = ParseByte("--ttl", texts.ttl);
    network.tos = ParseByte("--tos", texts.tos);
    if (!texts.parity.empty()) {
        network.parityGroup = ParseIntegerIn("--parity", texts.parity, kSmallestParityGroup, kLargestParityGroup);
    }
    if (!texts.reorder.empty()) {
        network.reorderWindow = ParseIntegerIn("--reorder", texts.reorder, 0, kLargestWindow);
    }
    if (network.parityGroup != 0 && network.reorderWindow == 0) {
        RefuseUse("--reorder 0: a receiver that knows of parity packets always reorders");
    }
    if (network.parityGroup != 0 && network.farEnds.size() > 1) {
        RefuseUse("--parity is for one destination: the packets of several would get into each other's groups");
    }
    if (!texts.localAddress.empty() && !(texts.interfaceAddress.empty() && texts.group.empty())) {
        RefuseUse("--address binds to one address, which no group's packets come to: give --interface instead");
    }
    if (!texts.srtpKey.empty()) {
        RefuseBesideSrtp(texts);
        network.srtpKey = texts.srtpKey;
    }
    return network;
}

}  // namespace qrn
