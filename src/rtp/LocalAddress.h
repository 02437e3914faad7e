#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace qrn {

/// The address that stands for this machine when a session is opened on any address: the first one whose first octet is
/// neither 127 nor 0; when there are only such ones, the last. Addresses are in host order. @return 0 for none.
std::uint32_t ChooseLocalAddress(std::span<const std::uint32_t> addresses);

/// The same of the interfaces that are up. They are asked directly: looking the machine's own name up, the other way to
/// learn them, may wait for a name server for many seconds and often knows only 127.0.1.1.
std::uint32_t FindLocalAddress();

/// The name of the interface that has this address (host order), for people. @return "none" where there is none.
std::string InterfaceOf(std::uint32_t address);

}  // namespace qrn
