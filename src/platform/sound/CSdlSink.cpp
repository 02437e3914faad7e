#include "platform/sound/CSdlSink.h"

#include <SDL.h>

#include <algorithm>
#include <limits>

#include "platform/system/Lock.h"

namespace qrn {

namespace {

constexpr std::uint32_t kDevicePeriodMs = 10;

/// SDL counts the users of its parts without a lock.
CMutex& SdlGate() {
    static CMutex gate;
    return gate;
}

/// SDL wants a power of two; the smallest one that is not below the period.
std::uint16_t PeriodFrames(const SoundFormat& format) {
    std::uint16_t frames = 64;
    while (frames < std::uint64_t{format.samplesPerSec} * kDevicePeriodMs / 1000 && frames < 0x8000) {
        frames = static_cast<std::uint16_t>(frames * 2);
    }
    return frames;
}

void Pull(void* queue, std::uint8_t* out, int bytes) {
    static_cast<CPlayoutQueue*>(queue)->Pull(std::span(out, static_cast<std::size_t>(std::max(bytes, 0))));
}

}  // namespace

CSdlAudio::CSdlAudio() {
    const CScopedLock lock(SdlGate());
    // SIGINT and SIGTERM belong to the program, not to us.
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    if (SDL_InitSubSystem(SDL_INIT_AUDIO) != 0) {
        m_error = SDL_GetError();
        if (m_error.empty()) {
            m_error = "SDL has no audio";
        }
    }
}

CSdlAudio::~CSdlAudio() {
    if (m_error.empty()) {
        const CScopedLock lock(SdlGate());
        SDL_QuitSubSystem(SDL_INIT_AUDIO);
    }
}

CSdlSink::~CSdlSink() {
    Close();
}

std::optional<std::string> CSdlSink::Open(const SoundFormat& format) {
    Close();
    if (format.channels > std::numeric_limits<std::uint8_t>::max()) {
        return "too many channels";
    }
    auto audio = std::make_unique<CSdlAudio>();
    if (!audio->Error().empty()) {
        return audio->Error();
    }
    const std::uint16_t periodFrames = PeriodFrames(format);
    auto queue = std::make_unique<CPlayoutQueue>(format, periodFrames * 1000U / format.samplesPerSec);
    SDL_AudioSpec wanted{};
    wanted.freq = static_cast<int>(format.samplesPerSec);
    wanted.format = AUDIO_S16LSB;
    wanted.channels = static_cast<std::uint8_t>(format.channels);
    wanted.samples = periodFrames;
    wanted.callback = Pull;
    wanted.userdata = queue.get();
    const SDL_AudioDeviceID device = SDL_OpenAudioDevice(nullptr, 0, &wanted, nullptr, 0);
    if (device == 0) {
        return SDL_GetError();
    }
    m_audio = std::move(audio);
    m_queue = std::move(queue);
    m_device = device;
    SDL_PauseAudioDevice(m_device, 0);
    return std::nullopt;
}

bool CSdlSink::Write(std::span<const std::uint8_t> bytes) {
    // A device that was pulled out is stopped by SDL, nobody else stops it.
    if (m_device == 0 || SDL_GetAudioDeviceStatus(m_device) == SDL_AUDIO_STOPPED) {
        return false;
    }
    m_queue->Push(bytes);
    return true;
}

void CSdlSink::Close() {
    if (m_device == 0) {
        return;
    }
    SDL_CloseAudioDevice(m_device);
    m_device = 0;
    m_queue.reset();
    m_audio.reset();
}

}  // namespace qrn
