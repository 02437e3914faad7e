#pragma once

#include <string>

namespace qrn {

/// Where the registry is kept.
struct RegistryFiles {
    /// The current user's store; empty where the user has no home.
    std::string user;
    /// The machine-wide store.
    std::string machine;
    /// Whether changes to the classes go into the machine-wide store.
    bool writesMachine = false;
};

/// The stores of this process. The user's is $XDG_CONFIG_HOME/qrn/registry.db, by default ~/.config/qrn/registry.db;
/// the machine's is /var/lib/qrn/registry.db, since programs write it (FHS 3.0 keeps /etc for what people edit, 5.8
/// /var/lib for what programs keep). QRN_REGISTRY_USER and QRN_REGISTRY_MACHINE name other files. Root registers for
/// the machine, everybody else for himself.
RegistryFiles DefaultRegistryFiles();

}  // namespace qrn
