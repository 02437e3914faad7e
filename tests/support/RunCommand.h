#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace qrn::test {

/// A shell command's standard output.
inline std::string RunCommand(const std::string& command) {
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::string output;
    char chunk[4096];
    while (const std::size_t read = pipe ? std::fread(chunk, 1, sizeof chunk, pipe.get()) : 0) {
        output.append(chunk, read);
    }
    return output;
}

}  // namespace qrn::test
