#pragma once
/// Which sound devices there are. qrn/QRN_Media2.h names them for clients:
///
/// - GUID_NULL, the default: what the environment variable QRN_SOUND says, "sdl", "null" or "file:PATH"; without it
/// SDL's;
/// - 6A0C2B52-2E5B-4E6F-9B63-8E1F6B0E1A01: SDL's default playback device;
/// - ...1A02: plays in time and is not heard;
/// - ...1A03: plays in time into the WAV file that QRN_SOUND_FILE names.

#include <optional>
#include <string>

#include "platform/sound/ISoundSink.h"
#include "qrn/com.h"

namespace qrn {

/// The environment as it was asked: a test gives its own.
struct SoundEnvironment {
    std::optional<std::string> sound;      // QRN_SOUND
    std::optional<std::string> soundFile;  // QRN_SOUND_FILE

    static SoundEnvironment OfProcess();
};

/// A device or why there is none.
struct SoundDeviceChoice {
    SoundSinkMaker makeSink;
    std::string error;
};

/// Opens no device: that needs a format. For SDL it starts SDL's audio part, which fails where no driver works.
SoundDeviceChoice ChooseSoundDevice(const GUID& device, const SoundEnvironment& environment);

}  // namespace qrn
