#pragma once
/// What each filter says of itself when it is registered: merit, pins and the media types of each pin.

#include "qrn/filters.h"

namespace setup {

extern const AMOVIESETUP_FILTER kHttpWebcam;
extern const AMOVIESETUP_FILTER kAudioMicAEC;
extern const AMOVIESETUP_FILTER kAudioRenderAEC;
extern const AMOVIESETUP_FILTER kTempScaler;
extern const AMOVIESETUP_FILTER kVideoCompressor2;
extern const AMOVIESETUP_FILTER kVideoDeCompressor;
extern const AMOVIESETUP_FILTER kAudioCompressor;
extern const AMOVIESETUP_FILTER kAudioDeCompressor;
extern const AMOVIESETUP_FILTER kVideoRender;
extern const AMOVIESETUP_FILTER kVideoRender3D;
extern const AMOVIESETUP_FILTER kAudioRender;
extern const AMOVIESETUP_FILTER kVideoSender;
extern const AMOVIESETUP_FILTER kAudioSender;
extern const AMOVIESETUP_FILTER kVideoReceiver;
extern const AMOVIESETUP_FILTER kAudioReceiver;

}  // namespace setup
