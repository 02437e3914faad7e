#include "rtp/LocalAddress.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

#include <cstring>
#include <memory>
#include <vector>

namespace qrn {

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
    ifaddrs* first = nullptr;
    if (::getifaddrs(&first) != 0) {
        return 0;
    }
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> owner(first, &::freeifaddrs);
    std::vector<std::uint32_t> addresses;
    for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == AF_INET && (entry->ifa_flags & IFF_UP) != 0) {
            sockaddr_in address{};
            std::memcpy(&address, entry->ifa_addr, sizeof(address));
            addresses.push_back(ntohl(address.sin_addr.s_addr));
        }
    }
    return ChooseLocalAddress(addresses);
}

}  // namespace qrn
