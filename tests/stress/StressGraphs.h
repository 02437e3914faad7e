#pragma once
/// Small graphs whose threads are known to be held up at a given place, for tests that stop them there.

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/system/Condition.h"
#include "platform/system/Lock.h"
#include "qrn/QRN_Media2.h"
#include "qrn/host.h"

namespace qrn::test {

/// Counts up until somebody has waited long enough for it.
class CProgressGate {
public:
    void Note();
    /// @return false after ten seconds.
    bool WaitFor(unsigned count);

private:
    CMutex m_lock;
    CCondition m_changed;
    unsigned m_count QRN_GUARDED_BY(m_lock) = 0;
};

/// A graph under test. Everything is released with it.
class IStressGraph {
public:
    virtual ~IStressGraph() = default;
    virtual ComPtr<IGraphBuilder> Graph() = 0;
    /// Waits until the streaming threads have got where they are held up, or have moved `samples` samples where nothing
    /// holds them up.
    virtual bool WaitUntilStreaming(unsigned samples) = 0;
};

enum class Held {
    kInDelivery,  ///< the source waits for a free buffer, because the sink keeps all of them
    kInRenderer,  ///< the renderer waits for a time that is an hour away
    kInFill,      ///< the receiver's pin waits for a packet and its engine for the socket
    kInPause,     ///< the paced video sender is in a pause of seconds, the video receiver waits for the rest of a frame
    kNowhere,     ///< a call over loopback in which all threads are busy
};
inline constexpr Held kAllHeld[] = {Held::kInDelivery, Held::kInRenderer, Held::kInFill, Held::kInPause,
                                    Held::kNowhere};

/// EXPECTs that every step works. Not running yet.
std::unique_ptr<IStressGraph> MakeStressGraph(Held held);

/// Points the host library at the module under test and brings about what is made once in a process.
void WarmUp();

/// What a process owns that a stopped and released graph must have given back.
struct ProcessState {
    std::size_t threads;
    std::size_t descriptors;
    LONG objects;  // of the test's own copy of the framework

    static ProcessState Now();
    bool operator==(const ProcessState&) const = default;
};
/// A thread that has been joined stands in the process's list for a moment longer. @return false after five seconds.
bool ComesBackTo(const ProcessState& baseline);
std::string ToText(const ProcessState& state);

}  // namespace qrn::test
