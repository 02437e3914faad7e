#include "platform/sound/SoundDevices.h"

#include <cstdlib>
#include <string_view>
#include <utility>

#include "platform/com/Text.h"
#include "platform/sound/CNullSink.h"
#include "platform/sound/CSdlSink.h"
#include "platform/sound/CWavFileSink.h"
#include "qrn/QRN_Media2.h"

namespace qrn {

namespace {

std::optional<std::string> Variable(const char* name) {
    // The environment is read only; whoever changes it while threads run has that fault anywhere.
    const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): see above
    return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

SoundDeviceChoice Sdl() {
    auto audio = std::make_shared<const CSdlAudio>();
    if (!audio->Error().empty()) {
        return {{}, audio->Error()};
    }
    // Held as long as somebody may ask for a sink, so that SDL does not look for its driver a second time.
    return {[audio = std::move(audio)] { return std::make_unique<CSdlSink>(); }, {}};
}

SoundDeviceChoice Null() {
    return {[] { return std::make_unique<CNullSink>(); }, {}};
}

SoundDeviceChoice File(std::string path, std::string_view variable) {
    if (path.empty()) {
        return {{}, std::string(variable) + " names no file"};
    }
    return {[path = std::move(path)] { return std::make_unique<CWavFileSink>(path); }, {}};
}

SoundDeviceChoice Default(const SoundEnvironment& environment) {
    constexpr std::string_view kFilePrefix = "file:";
    const std::string sound = environment.sound.value_or("");
    if (sound.empty() || sound == "sdl") {
        return Sdl();
    }
    if (sound == "null") {
        return Null();
    }
    if (sound.starts_with(kFilePrefix)) {
        return File(sound.substr(kFilePrefix.size()), "QRN_SOUND");
    }
    return {{}, "QRN_SOUND is neither sdl nor null nor file:PATH: " + sound};
}

}  // namespace

SoundEnvironment SoundEnvironment::OfProcess() {
    return {Variable("QRN_SOUND"), Variable("QRN_SOUND_FILE")};
}

SoundDeviceChoice ChooseSoundDevice(const GUID& device, const SoundEnvironment& environment) {
    if (device == QRN_SoundDeviceDefault) {
        return Default(environment);
    }
    if (device == QRN_SoundDeviceSdl) {
        return Sdl();
    }
    if (device == QRN_SoundDeviceNull) {
        return Null();
    }
    if (device == QRN_SoundDeviceFile) {
        return File(environment.soundFile.value_or(""), "QRN_SOUND_FILE");
    }
    return {{}, "unknown device " + ToString(device)};
}

}  // namespace qrn
