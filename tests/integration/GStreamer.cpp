#include "integration/GStreamer.h"

#include <array>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <utility>

#include "platform/system/Clock.h"

namespace qrn::test {

namespace {

constexpr std::chrono::seconds kPatience{20};
constexpr std::chrono::milliseconds kLookAgain{5};  // nobody tells that a port was taken

bool IsUdpPortTaken(std::uint16_t port) {
    std::array<char, 16> wanted{};
    std::snprintf(wanted.data(), wanted.size(), "0100007F:%04X", static_cast<unsigned>(port));
    std::ifstream table("/proc/net/udp");
    for (std::string line; std::getline(table, line);) {
        if (line.find(wanted.data()) != std::string::npos) {
            return true;
        }
    }
    return false;
}

}  // namespace

bool HasProgram(const std::string& name) {
    return std::system(("command -v " + name + " > /dev/null").c_str()) == 0;
}

bool WaitForUdpPort(std::uint16_t port) {
    const auto start = SystemClock().Now();
    while (!IsUdpPortTaken(port)) {
        if (SystemClock().Now() - start > kPatience) {
            return false;
        }
        SystemClock().SleepFor(kLookAgain);
    }
    return true;
}

CGStreamer::CGStreamer(const std::string& pipeline)
    : m_output(popen(("timeout 60 gst-launch-1.0 -q " + pipeline + " 2>&1").c_str(), "r")) {}

CGStreamer::~CGStreamer() {
    Finish();
}

std::string CGStreamer::Finish() {
    if (m_output == nullptr) {
        return "it did not start";
    }
    FILE* const output = std::exchange(m_output, nullptr);
    std::string said;
    std::array<char, 4096> chunk{};
    while (const std::size_t read = std::fread(chunk.data(), 1, chunk.size(), output)) {
        said.append(chunk.data(), read);
    }
    return pclose(output) == 0 ? "" : "it failed: " + said;
}

}  // namespace qrn::test
