#include "client/InterfaceCatalogue.h"

#include <algorithm>
#include <array>

#include "platform/com/Text.h"
#include "qrn/QRN_Media2.h"
#include "qrn/filters.h"

namespace qrn {
namespace {

using Names = std::string_view;

// The module's interfaces
constexpr Names kAudioCompressor[] = {
    "SetChannels", "GetChannels",         "SetCodec", "GetCodec",         "GetBitrate",
    "GetLevel",    "GetInputPacketBytes", "SetMute",  "SetUseSampleTimes"};
constexpr Names kAudioDeCompressor[] = {"SetChannelMode", "GetChannelMode", "GetCodec", "GetBitrate"};
constexpr Names kAudioSender[] = {"OpenNetwork",      "SetLocalPort",         "GetLocalPort",      "SetLocalAddress",
                                  "GetLocalAddress",  "AddDestination",       "RemoveDestination", "SetTtl",
                                  "GetTtl",           "SetEnabled",           "GetEnabled",        "SetTos",
                                  "GetTos",           "SetExternalTransport", "SetParityGroup",    "SetMaxPacketSize",
                                  "GetMaxPacketSize", "SetRenderAtOnce"};
constexpr Names kAudioReceiver[] = {"OpenNetwork",          "SetLocalPort",   "GetLocalPort",  "SetLocalAddress",
                                    "GetLocalAddress",      "JoinGroup",      "LeaveGroup",    "SetOutputEnabled",
                                    "GetOutputEnabled",     "GetSyncPoint",   "SetFormat",     "GetBitrate",
                                    "SetBufferCount",       "GetBufferCount", "SelectChannel", "GetSelectedChannel",
                                    "SetExternalTransport", "SetReorder",     "GetStatistics", "SetMulticastLoop"};
constexpr Names kAudioRender[] = {"GetLatency", "SetMaxLatency", "GetMaxLatency", "SetDevice", "GetDevice"};

constexpr Names kVideoCompressor2[] = {"SetBitrate",      "GetBitrate",      "SetKeyInterval",  "GetKeyInterval",
                                       "SetFramerate",    "GetFramerate",    "SetMEQuality",    "GetMEQuality",
                                       "RequestKeyFrame", "SetVideoEncoder", "GetVideoEncoder", "SetAuxMode"};
constexpr Names kVideoDeCompressor[] = {"SetPostProcessing", "GetPostProcessing", "Reserved1",          "Reserved2",
                                        "SetOption1",        "GetOption1",        "SetOption2",         "GetOption2",
                                        "Reserved3",         "SetVideoDecoder",   "SetFramerate",       "SetBitrate",
                                        "SetMEQuality",      "SetKeyInterval",    "SetHoldLastPicture", "GetIsVp8"};
constexpr Names kVideoSender[] = {"OpenNetwork",
                                  "SetLocalPort",
                                  "GetLocalPort",
                                  "SetLocalAddress",
                                  "GetLocalAddress",
                                  "AddDestination",
                                  "RemoveDestination",
                                  "SetTtl",
                                  "GetTtl",
                                  "SetMaxPacketSize",
                                  "GetMaxPacketSize",
                                  "SetEnabled",
                                  "GetEnabled",
                                  "SetStuffing",
                                  "SetTos",
                                  "GetTos",
                                  "SetPacing",
                                  "SetExternalTransport",
                                  "SetParityGroup",
                                  "SetRenderAtOnce"};
constexpr Names kVideoReceiver[] = {"OpenNetwork",          "SetLocalPort",     "GetLocalPort",     "SetLocalAddress",
                                    "GetLocalAddress",      "SetFormat",        "JoinGroup",        "LeaveGroup",
                                    "SetOutputEnabled",     "GetOutputEnabled", "SetAudioReceiver", "SetAudioRender",
                                    "SetBufferCount",       "GetBufferCount",   "SetReportLoss",    "GetReportLoss",
                                    "SetExternalTransport", "SetReorder",       "GetStatistics",    "SetMulticastLoop"};
constexpr Names kNetworkStatistics[] = {"GetSendStatistics", "GetReceiveStatistics"};

// The framework's
constexpr Names kPersist[] = {"GetClassID"};
constexpr Names kMediaFilter[] = {"GetClassID", "Stop", "Pause", "Run", "GetState", "SetSyncSource", "GetSyncSource"};
constexpr Names kBaseFilter[] = {"GetClassID",      "Stop",           "Pause",    "Run",     "GetState",
                                 "SetSyncSource",   "GetSyncSource",  "EnumPins", "FindPin", "QueryFilterInfo",
                                 "JoinFilterGraph", "QueryVendorInfo"};
constexpr Names kMovieSetup[] = {"Register", "Unregister"};
constexpr Names kMiscFlags[] = {"GetMiscFlags"};
constexpr Names kPersistStream[] = {"GetClassID", "IsDirty", "Load", "Save", "GetSizeMax"};
constexpr Names kPropertyPages[] = {"GetPages"};

#define QRN_INTERFACE(name, operations) \
    InterfaceInfo {                     \
#name, IID_##name, operations   \
    }
const std::array kInterfaces{
    QRN_INTERFACE(IQRN_AudioCompressor, kAudioCompressor),
    QRN_INTERFACE(IQRN_AudioDeCompressor, kAudioDeCompressor),
    QRN_INTERFACE(IQRN_AudioSender, kAudioSender),
    QRN_INTERFACE(IQRN_AudioReceiver, kAudioReceiver),
    QRN_INTERFACE(IQRN_AudioRender, kAudioRender),
    QRN_INTERFACE(IQRN_VideoCompressor2, kVideoCompressor2),
    QRN_INTERFACE(IQRN_VideoDeCompressor, kVideoDeCompressor),
    QRN_INTERFACE(IQRN_VideoSender, kVideoSender),
    QRN_INTERFACE(IQRN_VideoReceiver, kVideoReceiver),
    QRN_INTERFACE(IQRN_NetworkStatistics, kNetworkStatistics),
    // Their operations are not declared yet.
    QRN_INTERFACE(IQRN_VideoRender, {}),
    QRN_INTERFACE(IQRN_AudioRenderAEC, {}),
    QRN_INTERFACE(IQRN_AudioMicAEC, {}),
    QRN_INTERFACE(IQRN_TempScaler, {}),
    QRN_INTERFACE(IQRN_HttpWebcam, {}),
    QRN_INTERFACE(IPersist, kPersist),
    QRN_INTERFACE(IMediaFilter, kMediaFilter),
    QRN_INTERFACE(IBaseFilter, kBaseFilter),
    QRN_INTERFACE(IAMovieSetup, kMovieSetup),
    QRN_INTERFACE(IAMFilterMiscFlags, kMiscFlags),
    QRN_INTERFACE(IPersistStream, kPersistStream),
    QRN_INTERFACE(ISpecifyPropertyPages, kPropertyPages),
};
#undef QRN_INTERFACE

#define QRN_CLASS(name) \
    ClassName {         \
#name, name     \
    }
constexpr std::array kClasses{
    QRN_CLASS(CLSID_QRN_HttpWebcam),
    QRN_CLASS(CLSID_QRN_HttpWebcamPage),
    QRN_CLASS(CLSID_QRN_AudioMicAEC),
    QRN_CLASS(CLSID_QRN_AudioRenderAEC),
    QRN_CLASS(CLSID_QRN_TempScaler),
    QRN_CLASS(CLSID_QRN_TempScalerPage),
    QRN_CLASS(CLSID_QRN_VideoCompressor2),
    QRN_CLASS(CLSID_QRN_VideoCompressorPage),
    QRN_CLASS(CLSID_QRN_VideoDeCompressor),
    QRN_CLASS(CLSID_QRN_AudioCompressor),
    QRN_CLASS(CLSID_QRN_AudioCompressorPage),
    QRN_CLASS(CLSID_QRN_AudioDeCompressor),
    QRN_CLASS(CLSID_QRN_AudioDeCompressorPage),
    QRN_CLASS(CLSID_QRN_VideoRender),
    QRN_CLASS(CLSID_QRN_VideoRender3D),
    QRN_CLASS(CLSID_QRN_AudioRender),
    QRN_CLASS(CLSID_QRN_VideoSender),
    QRN_CLASS(CLSID_QRN_AudioSender),
    QRN_CLASS(CLSID_QRN_VideoReceiver),
    QRN_CLASS(CLSID_QRN_AudioReceiver),
};
#undef QRN_CLASS

struct TypeName {
    GUID id;
    const char* name;
};
constexpr std::array kTypeNames{
    TypeName{GUID_NULL, "any"},
    TypeName{MEDIATYPE_Audio, "auds"},
    TypeName{MEDIATYPE_Video, "vids"},
    TypeName{MEDIASUBTYPE_PCM, "PCM"},
    TypeName{MEDIASUBTYPE_QRN_GSM, "GSM (0x3784)"},
    TypeName{MEDIASUBTYPE_QRN_G72X, "G72x (0x3785)"},
    TypeName{MEDIASUBTYPE_QRN_SPEEX, "SPEEX (0x3786)"},
    TypeName{MEDIASUBTYPE_QRN_SPEEX_HQ, "SPEEX_HQ (0x3787)"},
    TypeName{MEDIASUBTYPE_QRN_MP3, "MP3 (0x3788)"},
    TypeName{MEDIASUBTYPE_QRN_OPUS, "Opus (0x3789)"},
    TypeName{MEDIASUBTYPE_QRN1, "QRN1"},
    TypeName{MEDIASUBTYPE_QRN2, "QRN2"},
    TypeName{MEDIASUBTYPE_I420, "I420"},
};

}  // namespace

std::span<const InterfaceInfo> KnownInterfaces() {
    return kInterfaces;
}

std::span<const ClassName> KnownClasses() {
    return kClasses;
}

std::string MediaTypeName(const GUID& id) {
    const auto* found =
        std::find_if(kTypeNames.begin(), kTypeNames.end(), [&id](const TypeName& row) { return row.id == id; });
    return found == kTypeNames.end() ? ToString(id) : found->name;
}

}  // namespace qrn
