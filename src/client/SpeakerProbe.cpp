#include "client/SpeakerProbe.h"

#include <fcntl.h>
#include <unistd.h>

#include <memory>

#include "client/BuiltInSpeech.h"
#include "client/CGraph.h"
#include "client/CPcmSourceFilter.h"
#include "client/FileDescriptor.h"
#include "qrn/QRN_Media2.h"

namespace qrn {
namespace {

/// The sound libraries below the module write pages of their own to standard error when there is no device; the program
/// says it in one sentence. Nothing else speaks while this lives.
class CQuietStandardError {
public:
    CQuietStandardError() : m_saved(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)) {
        const CFileDescriptor nothing(open("/dev/null", O_WRONLY | O_CLOEXEC));
        if (m_saved && nothing) {
            dup2(nothing.Get(), STDERR_FILENO);
        }
    }
    ~CQuietStandardError() {
        if (m_saved) {
            dup2(m_saved.Get(), STDERR_FILENO);
        }
    }
    CQuietStandardError(const CQuietStandardError&) = delete;
    CQuietStandardError& operator=(const CQuietStandardError&) = delete;

private:
    const CFileDescriptor m_saved;
};

}  // namespace

bool HasSpeaker(PcmFormat format, const CStopSignal& stop) {
    constexpr auto kPatience = std::chrono::milliseconds(500);
    constexpr auto kLook = std::chrono::milliseconds(10);
    const CQuietStandardError quiet;
    const auto renderer = CreateModuleFilter(CLSID_QRN_AudioRender, "QRN Audio Render");
    const auto control = InterfaceOf<IQRN_AudioRender>(renderer, "QRN Audio Render");
    const auto silence = CPcmSourceFilter::Create(std::make_unique<CPcmLoop>(format, std::vector<std::int16_t>(2, 0)));
    CGraph graph;
    graph.Add(silence.Get(), "Silence");
    graph.Add(renderer.Get(), "QRN Audio Render");
    graph.Connect(silence.Get(), renderer.Get());
    graph.Run();
    for (auto waited = std::chrono::milliseconds(0); waited < kPatience; waited += kLook) {
        LONGLONG latencyMs = 0;
        if (SUCCEEDED(control->GetLatency(&latencyMs)) && latencyMs != 0) {
            return true;
        }
        if (stop.WaitFor(kLook)) {
            break;
        }
    }
    return false;
}

}  // namespace qrn
