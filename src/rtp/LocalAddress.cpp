#include "rtp/LocalAddress.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

#include <cstring>
#include <memory>
#include <vector>

namespace qrn {
namespace {

/// Calls with each IPv4 address (host order) of the interfaces that are up, and the interface's name.
template <class Call>
void ForEachAddress(Call&& call) {
    ifaddrs* first = nullptr;
    if (::getifaddrs(&first) != 0) {
        return;
    }
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> owner(first, &::freeifaddrs);
    for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == AF_INET && (entry->ifa_flags & IFF_UP) != 0) {
            sockaddr_in address{};
            std::memcpy(&address, entry->ifa_addr, sizeof(address));
            call(ntohl(address.sin_addr.s_addr), entry->ifa_name);
        }
    }
}

}  // namespace

std::uint32_t ChooseLocalAddress(std::span<const std::uint32_t> addresses) {
    for (const std::uint32_t address : addresses) {
        const std::uint32_t firstOctet = address >> 24;
        if (firstOctet != 127 && firstOctet != 0) {
            return address;
        }
    }
    return addresses.empty() ? 0 : addresses.back();
}

std::uint32_t FindLocalAddress() {
    std::vector<std::uint32_t> addresses;
    ForEachAddress([&](std::uint32_t address, const char* /*name*/) { addresses.push_back(address); });
    return ChooseLocalAddress(addresses);
}

std::string InterfaceOf(std::uint32_t address) {
    std::string found = "none";
    ForEachAddress([&](std::uint32_t other, const char* name) {
        if (other == address) {
            found = name;
        }
    });
    return found;
}

}  // namespace qrn
