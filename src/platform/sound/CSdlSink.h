#pragma once
/// Sound to the machine's default playback device.

#include <cstdint>
#include <memory>

#include "platform/sound/CPlayoutQueue.h"
#include "platform/sound/ISoundSink.h"

namespace qrn {

/// One use of SDL's audio part; it goes with the last one in the process.
class CSdlAudio {
public:
    CSdlAudio();
    ~CSdlAudio();
    CSdlAudio(const CSdlAudio&) = delete;
    CSdlAudio& operator=(const CSdlAudio&) = delete;

    /// Why there is none; empty when there is.
    const std::string& Error() const { return m_error; }

private:
    std::string m_error;
};

/// SDL takes from a queue on a thread of its own and converts to what the device wants.
class CSdlSink final : public ISoundSink {
public:
    CSdlSink() = default;
    ~CSdlSink() override;
    CSdlSink(const CSdlSink&) = delete;
    CSdlSink& operator=(const CSdlSink&) = delete;

    std::optional<std::string> Open(const SoundFormat& format) override;
    bool Write(std::span<const std::uint8_t> bytes) override;
    void Close() override;

private:
    std::unique_ptr<CSdlAudio> m_audio;
    std::unique_ptr<CPlayoutQueue> m_queue;  // the device's thread holds a pointer until Close
    std::uint32_t m_device = 0;              // 0: closed
};

}  // namespace qrn
