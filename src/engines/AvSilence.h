#pragma once

namespace UMC {

/// As long as one lives, what FFmpeg says on its thread is dropped: a peer must not be able to fill the host's standard
/// error with damaged frames. Lines are told apart by thread, since the library works on the calling one only, and some
/// of its lines (headers of absurd sizes) escape the log level of their codec context.
///
/// FFmpeg has one log callback in the process, and no way to ask for it. The first object puts one there, which hands
/// the lines of everybody else to the library's own; the last breath of the module puts that back. A host that wants a
/// callback of its own sets it after it has opened its first decoder here; this one is never put there again.
class AvSilence {
public:
    AvSilence();
    ~AvSilence();
    AvSilence(const AvSilence&) = delete;
    AvSilence& operator=(const AvSilence&) = delete;
};

}  // namespace UMC
