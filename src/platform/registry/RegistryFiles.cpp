#include "platform/registry/RegistryFiles.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <vector>

namespace qrn {

namespace {

constexpr const char* kFile = "qrn/registry.db";
constexpr const char* kMachineFolder = "/var/lib";

/// The variable's text, empty where it is not set. Not heeded in a program with raised rights, where it would let its
/// caller choose which code is run.
std::string FromEnvironment(const char* name) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): a program that changes its environment meanwhile is at fault
    const char* text = secure_getenv(name);
    return text != nullptr ? text : "";
}

std::filesystem::path HomeFolder() {
    std::filesystem::path home = FromEnvironment("HOME");
    if (home.is_absolute()) {
        return home;
    }
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr) {
        home = found->pw_dir;
    }
    return home.is_absolute() ? home : std::filesystem::path();
}

std::string UserFile() {
    std::string named = FromEnvironment("QRN_REGISTRY_USER");
    if (!named.empty()) {
        return named;
    }
    // A relative path there is to be ignored (XDG base directories, version 0.8).
    const std::filesystem::path config = FromEnvironment("XDG_CONFIG_HOME");
    if (config.is_absolute()) {
        return config / kFile;
    }
    const std::filesystem::path home = HomeFolder();
    return home.empty() ? std::string() : (home / ".config" / kFile).string();
}

std::string MachineFile() {
    std::string named = FromEnvironment("QRN_REGISTRY_MACHINE");
    return named.empty() ? (std::filesystem::path(kMachineFolder) / kFile).string() : named;
}

}  // namespace

RegistryFiles DefaultRegistryFiles() {
    return {UserFile(), MachineFile(), geteuid() == 0};
}

}  // namespace qrn
