#include "module/FilterSetup.h"

#include <cstddef>

#include "qrn/QRN_Media2.h"

namespace setup {

namespace {

using MediaType = AMOVIESETUP_MEDIATYPE;

// The lists of the audio filters name the first four audio subtypes only; at run time the filters take all six.
constexpr MediaType kAnyVideo[] = {{&MEDIATYPE_Video, &GUID_NULL}};
constexpr MediaType kAnyAudio[] = {{&MEDIATYPE_Audio, &GUID_NULL}};
constexpr MediaType kPcm[] = {{&MEDIATYPE_Audio, &MEDIASUBTYPE_PCM}};
constexpr MediaType kCodedAudio[] = {{&MEDIATYPE_Audio, &MEDIASUBTYPE_QRN_GSM},
                                     {&MEDIATYPE_Audio, &MEDIASUBTYPE_QRN_G72X},
                                     {&MEDIATYPE_Audio, &MEDIASUBTYPE_QRN_SPEEX},
                                     {&MEDIATYPE_Audio, &MEDIASUBTYPE_QRN_SPEEX_HQ}};
constexpr MediaType kCodedVideoOut[] = {{&MEDIATYPE_Video, &MEDIASUBTYPE_QRN2}};
constexpr MediaType kCodedVideoIn[] = {{&MEDIATYPE_Video, &MEDIASUBTYPE_QRN1}, {&MEDIATYPE_Video, &MEDIASUBTYPE_QRN2}};

// The output pin of a source is registered as "Ouput", and stays so: registrations of earlier versions carry that name.
constexpr const wchar_t* kSourcePinName = L"Ouput";
constexpr const wchar_t* kInputName = L"Input";
constexpr const wchar_t* kOutputName = L"Output";

template <std::size_t N>
constexpr AMOVIESETUP_PIN Pin(const wchar_t* name, PIN_DIRECTION direction, const wchar_t* connectsTo,
                              const MediaType (&types)[N]) {
    return {name, FALSE, direction == PINDIR_OUTPUT ? TRUE : FALSE, FALSE, FALSE, nullptr, connectsTo, N, types};
}
template <std::size_t N>
constexpr AMOVIESETUP_PIN SourceOut(const MediaType (&types)[N]) {
    return Pin(kSourcePinName, PINDIR_OUTPUT, nullptr, types);
}
template <std::size_t N>
constexpr AMOVIESETUP_PIN SinkIn(const MediaType (&types)[N]) {
    return Pin(kInputName, PINDIR_INPUT, nullptr, types);
}
template <std::size_t N>
constexpr AMOVIESETUP_PIN TransformIn(const MediaType (&types)[N]) {
    return Pin(kInputName, PINDIR_INPUT, kOutputName, types);
}
template <std::size_t N>
constexpr AMOVIESETUP_PIN TransformOut(const MediaType (&types)[N]) {
    return Pin(kOutputName, PINDIR_OUTPUT, kInputName, types);
}
template <std::size_t N>
constexpr AMOVIESETUP_FILTER Filter(const CLSID& classId, const wchar_t* name, DWORD merit,
                                    const AMOVIESETUP_PIN (&pins)[N]) {
    return {&classId, name, merit, N, pins};
}

constexpr AMOVIESETUP_PIN kVideoSource[] = {SourceOut(kAnyVideo)};
constexpr AMOVIESETUP_PIN kAudioSource[] = {SourceOut(kAnyAudio)};
constexpr AMOVIESETUP_PIN kVideoSink[] = {SinkIn(kAnyVideo)};
constexpr AMOVIESETUP_PIN kAudioSink[] = {SinkIn(kAnyAudio)};
constexpr AMOVIESETUP_PIN kVideoToVideo[] = {TransformIn(kAnyVideo), TransformOut(kAnyVideo)};
constexpr AMOVIESETUP_PIN kVideoCoder[] = {TransformIn(kAnyVideo), TransformOut(kCodedVideoOut)};
constexpr AMOVIESETUP_PIN kVideoDecoder[] = {TransformIn(kCodedVideoIn), TransformOut(kAnyVideo)};
constexpr AMOVIESETUP_PIN kAudioCoder[] = {TransformIn(kPcm), TransformOut(kCodedAudio)};
constexpr AMOVIESETUP_PIN kAudioDecoder[] = {TransformIn(kCodedAudio), TransformOut(kPcm)};

}  // namespace

const AMOVIESETUP_FILTER kHttpWebcam = Filter(CLSID_QRN_HttpWebcam, L"QRN HTTP Webcam", MERIT_UNLIKELY, kVideoSource);
const AMOVIESETUP_FILTER kAudioMicAEC =
    Filter(CLSID_QRN_AudioMicAEC, L"QRN Audio MicAEC", MERIT_UNLIKELY, kAudioSource);
const AMOVIESETUP_FILTER kAudioRenderAEC =
    Filter(CLSID_QRN_AudioRenderAEC, L"QRN Audio RenderAEC", MERIT_UNLIKELY, kAudioSink);
const AMOVIESETUP_FILTER kTempScaler =
    Filter(CLSID_QRN_TempScaler, L"QRN Temporal Scaler", MERIT_UNLIKELY, kVideoToVideo);
const AMOVIESETUP_FILTER kVideoCompressor2 =
    Filter(CLSID_QRN_VideoCompressor2, L"QRN Video Compressor 2", MERIT_NORMAL, kVideoCoder);
const AMOVIESETUP_FILTER kVideoDeCompressor =
    Filter(CLSID_QRN_VideoDeCompressor, L"QRN Video DeCompressor", MERIT_NORMAL, kVideoDecoder);
const AMOVIESETUP_FILTER kAudioCompressor =
    Filter(CLSID_QRN_AudioCompressor, L"QRN Audio Compressor", MERIT_NORMAL, kAudioCoder);
const AMOVIESETUP_FILTER kAudioDeCompressor =
    Filter(CLSID_QRN_AudioDeCompressor, L"QRN Audio Decompressor", MERIT_NORMAL, kAudioDecoder);
const AMOVIESETUP_FILTER kVideoRender = Filter(CLSID_QRN_VideoRender, L"QRN Video Render", MERIT_UNLIKELY, kVideoSink);
const AMOVIESETUP_FILTER kVideoRender3D =
    Filter(CLSID_QRN_VideoRender3D, L"QRN Video Render 3D", MERIT_UNLIKELY, kVideoSink);
const AMOVIESETUP_FILTER kAudioRender = Filter(CLSID_QRN_AudioRender, L"QRN Audio Render", MERIT_UNLIKELY, kAudioSink);
const AMOVIESETUP_FILTER kVideoSender = Filter(CLSID_QRN_VideoSender, L"QRN Video Sender", MERIT_UNLIKELY, kVideoSink);
const AMOVIESETUP_FILTER kAudioSender = Filter(CLSID_QRN_AudioSender, L"QRN Audio Sender", MERIT_UNLIKELY, kAudioSink);
const AMOVIESETUP_FILTER kVideoReceiver =
    Filter(CLSID_QRN_VideoReceiver, L"QRN Video Receiver", MERIT_UNLIKELY, kVideoSource);
const AMOVIESETUP_FILTER kAudioReceiver =
    Filter(CLSID_QRN_AudioReceiver, L"QRN Audio Receiver", MERIT_UNLIKELY, kAudioSource);

}  // namespace setup
