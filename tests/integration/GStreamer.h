#pragma once
/// GStreamer's own RTP elements at the other end.

#include <cstdint>
#include <cstdio>
#include <string>

namespace qrn::test {

/// Whether a program of that name can be run here.
bool HasProgram(const std::string& name);

/// Waits until some process has the UDP port on 127.0.0.1. @return false when none comes in time.
bool WaitForUdpPort(std::uint16_t port);

/// A gst-launch-1.0 that runs beside the test, a minute at most.
class CGStreamer {
public:
    /// @param pipeline  as on a command line of the shell.
    explicit CGStreamer(const std::string& pipeline);
    ~CGStreamer();
    CGStreamer(const CGStreamer&) = delete;
    CGStreamer& operator=(const CGStreamer&) = delete;

    /// Waits for its end. @return what it said, empty when it ended well.
    std::string Finish();

private:
    FILE* m_output;
};

}  // namespace qrn::test
