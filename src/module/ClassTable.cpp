#include <algorithm>
#include <iterator>

#include "audiocoding/CAudioCompressor.h"
#include "audiocoding/CAudioDeCompressor.h"
#include "audiocoding/CPropPageAudioCompressor.h"
#include "audiocoding/CPropPageAudioDeCompressor.h"
#include "audiodevices/CAudioRender.h"
#include "module/CFactoryTemplate.h"
#include "module/FilterSetup.h"
#include "netfilters/CAudioSender.h"
#include "netfilters/CQRN_AudioReceiverSource.h"
#include "netfilters/CQRN_VideoReceiverSource.h"
#include "netfilters/CVideoSender.h"
#include "qrn/QRN_Media2.h"

namespace {

/// For the classes that this version lists and cannot make yet: the class is known, and making one says so.
CUnknown* CreateUnavailable(IUnknown* /*outer*/, HRESULT* result) {
    *result = E_NOTIMPL;
    return nullptr;
}

const CFactoryTemplate kClasses[] = {
    {L"QRN HTTP Webcam", &CLSID_QRN_HttpWebcam, CreateUnavailable, nullptr, &setup::kHttpWebcam},
    {L"Webcam Settings", &CLSID_QRN_HttpWebcamPage, CreateUnavailable, nullptr, nullptr},
    {L"QRN Audio MicAEC", &CLSID_QRN_AudioMicAEC, CreateUnavailable, nullptr, &setup::kAudioMicAEC},
    {L"QRN Audio RenderAEC", &CLSID_QRN_AudioRenderAEC, CreateUnavailable, nullptr, &setup::kAudioRenderAEC},
    {L"QRN Temporal Scaler", &CLSID_QRN_TempScaler, CreateUnavailable, nullptr, &setup::kTempScaler},
    {L"Scaler Settings", &CLSID_QRN_TempScalerPage, CreateUnavailable, nullptr, nullptr},
    {L"QRN Video Compressor 2", &CLSID_QRN_VideoCompressor2, CreateUnavailable, nullptr, &setup::kVideoCompressor2},
    {L"Compressor Settings", &CLSID_QRN_VideoCompressorPage, CreateUnavailable, nullptr, nullptr},
    {L"QRN Video DeCompressor", &CLSID_QRN_VideoDeCompressor, CreateUnavailable, nullptr, &setup::kVideoDeCompressor},
    {L"QRN Audio Compressor", &CLSID_QRN_AudioCompressor, CAudioCompressor::CreateInstance, nullptr,
     &setup::kAudioCompressor},
    {L"Compressor Settings", &CLSID_QRN_AudioCompressorPage, CPropPageAudioCompressor::CreateInstance, nullptr,
     nullptr},
    {L"QRN Audio Decompressor", &CLSID_QRN_AudioDeCompressor, CAudioDeCompressor::CreateInstance, nullptr,
     &setup::kAudioDeCompressor},
    {L"DeCompressor Settings", &CLSID_QRN_AudioDeCompressorPage, CPropPageAudioDeCompressor::CreateInstance, nullptr,
     nullptr},
    {L"QRN Video Render", &CLSID_QRN_VideoRender, CreateUnavailable, nullptr, &setup::kVideoRender},
    {L"QRN Video Render 3D", &CLSID_QRN_VideoRender3D, CreateUnavailable, nullptr, &setup::kVideoRender3D},
    {L"QRN Audio Render", &CLSID_QRN_AudioRender, CAudioRender::CreateInstance, nullptr, &setup::kAudioRender},
    {L"QRN Video Sender", &CLSID_QRN_VideoSender, CVideoSender::CreateInstance, nullptr, &setup::kVideoSender},
    {L"QRN Audio Sender", &CLSID_QRN_AudioSender, CAudioSender::CreateInstance, nullptr, &setup::kAudioSender},
    {L"QRN Video Receiver", &CLSID_QRN_VideoReceiver, CQRN_VideoReceiverSource::CreateInstance, nullptr,
     &setup::kVideoReceiver},
    {L"QRN Audio Receiver", &CLSID_QRN_AudioReceiver, CQRN_AudioReceiverSource::CreateInstance, nullptr,
     &setup::kAudioReceiver},
};

}  // namespace

std::span<const CFactoryTemplate> ClassTable() {
    return kClasses;
}

const CFactoryTemplate* FindClass(REFCLSID classId) {
    const auto found = std::find_if(std::begin(kClasses), std::end(kClasses),
                                    [&](const CFactoryTemplate& row) { return *row.m_classId == classId; });
    return found == std::end(kClasses) ? nullptr : found;
}
