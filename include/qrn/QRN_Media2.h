#pragma once
/// The module: its class ids, media types and custom interfaces.
///
/// A client makes a filter with CoCreateInstance (qrn/host.h) and asks it for the interface below that belongs to it.
/// Operations of these interfaces may be called from any thread unless they say otherwise; what they say about being
/// connected is about the filter's pins.
///
/// Set-up operations that say so let an exception pass: it derives from std::exception, and what() tells the failure.

#include "qrn/com.h"
#include "qrn/filters.h"

// ---------------------------------------------------------------------------------------------------------------------
// Class ids: 15 filters and 5 property pages, in the order of the module's class table

inline constexpr CLSID CLSID_QRN_HttpWebcam = qrn::Guid("1B25DF74-7121-4533-B0AA-7F18031729A9");
inline constexpr CLSID CLSID_QRN_HttpWebcamPage = qrn::Guid("35453F91-880B-4AFF-BAE8-64E21907060B");
inline constexpr CLSID CLSID_QRN_AudioMicAEC = qrn::Guid("E2491182-D764-43CB-A70B-6776B5851391");
inline constexpr CLSID CLSID_QRN_AudioRenderAEC = qrn::Guid("39221D3C-FF56-4E35-AE73-94869A76DB3E");
inline constexpr CLSID CLSID_QRN_TempScaler = qrn::Guid("14C5D313-57B5-4725-8D8C-9FCC09005A0D");
inline constexpr CLSID CLSID_QRN_TempScalerPage = qrn::Guid("1BA7A590-938B-4445-8087-2D4F001A70CA");
inline constexpr CLSID CLSID_QRN_VideoCompressor2 = qrn::Guid("FA4F7CD9-82F6-46D8-8603-4C888018FB04");
inline constexpr CLSID CLSID_QRN_VideoCompressorPage = qrn::Guid("E74612EB-7D76-4968-BC51-4472809FA856");
inline constexpr CLSID CLSID_QRN_VideoDeCompressor = qrn::Guid("6B999C9D-C709-4AE5-9798-4550FF22EDC6");
inline constexpr CLSID CLSID_QRN_AudioCompressor = qrn::Guid("2E57B6DD-595C-4EDE-9BBA-A7FAE97509FE");
inline constexpr CLSID CLSID_QRN_AudioCompressorPage = qrn::Guid("0A27D430-AB0C-4AC8-AD0B-E6E7C6AAC230");
inline constexpr CLSID CLSID_QRN_AudioDeCompressor = qrn::Guid("524EC7DB-55B7-49DE-B692-50C098B16BBA");
inline constexpr CLSID CLSID_QRN_AudioDeCompressorPage = qrn::Guid("39F8308B-ADC1-44C0-9B74-4F4E7E074734");
inline constexpr CLSID CLSID_QRN_VideoRender = qrn::Guid("8AEE8D01-995E-47C8-AF35-D6F56773FA5A");
inline constexpr CLSID CLSID_QRN_VideoRender3D = qrn::Guid("6822840B-A601-412D-AC92-FCF9F7705623");
inline constexpr CLSID CLSID_QRN_AudioRender = qrn::Guid("0B10CDB5-1F35-4913-9AD3-F089E9F04E45");
inline constexpr CLSID CLSID_QRN_VideoSender = qrn::Guid("565271DE-CDE3-41EF-9841-E59D857AD478");
inline constexpr CLSID CLSID_QRN_AudioSender = qrn::Guid("77BD5E69-0E53-4E90-AB0C-EE5FE241083B");
inline constexpr CLSID CLSID_QRN_VideoReceiver = qrn::Guid("43E8A2E3-651D-4BA8-9DA8-968672359D53");
inline constexpr CLSID CLSID_QRN_AudioReceiver = qrn::Guid("F133B6BE-7DE8-4E05-83E2-7A9C31053151");

// ---------------------------------------------------------------------------------------------------------------------
// Media subtypes

/// Audio codec ids, as IQRN_AudioCompressor::SetCodec takes them. The wave format tag is kQrnAudioFormatTag + id.
enum QrnAudioCodec : DWORD {
    kQrnCodecGsm = 0,
    kQrnCodecG72x = 1,
    kQrnCodecSpeex = 2,
    kQrnCodecSpeexHq = 3,
    kQrnCodecMp3 = 4,
    kQrnCodecOpus = 5,
    kQrnAudioCodecCount = 6,
};
inline constexpr WORD kQrnAudioFormatTag = 14212;

inline constexpr GUID MEDIASUBTYPE_QRN_GSM = qrn::Guid("00003784-0000-0010-8000-00AA00389B71");
inline constexpr GUID MEDIASUBTYPE_QRN_G72X = qrn::Guid("00003785-0000-0010-8000-00AA00389B71");
inline constexpr GUID MEDIASUBTYPE_QRN_SPEEX = qrn::Guid("00003786-0000-0010-8000-00AA00389B71");
inline constexpr GUID MEDIASUBTYPE_QRN_SPEEX_HQ = qrn::Guid("00003787-0000-0010-8000-00AA00389B71");
inline constexpr GUID MEDIASUBTYPE_QRN_MP3 = qrn::Guid("00003788-0000-0010-8000-00AA00389B71");
inline constexpr GUID MEDIASUBTYPE_QRN_OPUS = qrn::Guid("00003789-0000-0010-8000-00AA00389B71");
/// Compressed video of encoder id 0.
inline constexpr GUID MEDIASUBTYPE_QRN1 = qrn::Guid("314E5251-0000-0010-8000-00AA00389B71");
/// Compressed video of every other encoder id.
inline constexpr GUID MEDIASUBTYPE_QRN2 = qrn::Guid("324E5251-0000-0010-8000-00AA00389B71");
inline constexpr GUID MEDIASUBTYPE_I420 = qrn::Guid("30323449-0000-0010-8000-00AA00389B71");

// ---------------------------------------------------------------------------------------------------------------------
// Port words: the low 16 bits are an even UDP port, these bits share the socket between two sessions of one process

inline constexpr DWORD kQrnPortPublishAudio = 0x00010000;
inline constexpr DWORD kQrnPortPublishVideo = 0x00020000;
inline constexpr DWORD kQrnPortTakeAudio = 0x00040000;
inline constexpr DWORD kQrnPortTakeVideo = 0x00080000;

// ---------------------------------------------------------------------------------------------------------------------
// External transport: an object of the client that takes over a session's datagram traffic. Both are plain tables of
// virtual functions without counting; they live as long as the sessions that use them.

struct IExternalStream {
    virtual void Reserved0() = 0;
    /// Never waits. @param info  two zeroed words. @return the datagram's length, 0 or less for none.
    virtual std::int32_t Receive(BYTE* buffer, std::int32_t capacity, DWORD* info) = 0;
    virtual void Reserved2() = 0;
    /// @param flags 0. @param port  the destination's, in host order.
    virtual std::int32_t Send(const BYTE* buffer, std::int32_t length, DWORD flags, DWORD port) = 0;
    /// A descriptor that is readable while Receive has something to give (an eventfd, a socket).
    virtual int GetReadEvent() = 0;
    virtual void Reserved5() = 0;
    virtual void SetMode(DWORD mode) = 0;

protected:
    ~IExternalStream() = default;
};

struct IExternalTransport {
    /// @param reserved 0. @param port  the session's local port. @return null when there is none to give.
    virtual IExternalStream* CreateStream(DWORD reserved, DWORD port) = 0;
    virtual void Reserved1() = 0;
    virtual void ReleaseStream(IExternalStream* stream) = 0;

protected:
    ~IExternalTransport() = default;
};

// ---------------------------------------------------------------------------------------------------------------------
// Custom interfaces

inline constexpr IID IID_IQRN_VideoRender = qrn::Guid("0C852253-21FA-4CDF-BC53-EB507C3AA8CD");
inline constexpr IID IID_IQRN_AudioRenderAEC = qrn::Guid("27AC5F56-A626-41D1-BA87-9B57351A3CB2");
inline constexpr IID IID_IQRN_AudioMicAEC = qrn::Guid("BB1B7A70-3972-4E2B-8971-49397C3B824D");
inline constexpr IID IID_IQRN_TempScaler = qrn::Guid("DB1400CF-C043-4511-9709-8423E9C85FC6");
inline constexpr IID IID_IQRN_HttpWebcam = qrn::Guid("E9EA82C6-8296-4FA9-A592-5E1B4AD5F1BE");

/// Of "QRN Audio Compressor". A fresh filter has no codec in force: call SetCodec before connecting.
struct IQRN_AudioCompressor : IUnknown {
    /// 1 or 2, else E_INVALIDARG. E_FAIL while a pin is connected.
    virtual HRESULT SetChannels(DWORD channels) = 0;
    virtual HRESULT GetChannels(DWORD* channels) = 0;
    /// @param codec  a QrnAudioCodec. @param bitrate  kbit/s; snapped to what the codec has, see GetBitrate.
    /// E_FAIL while a pin is connected or for an id above 5. A codec that cannot be opened is seen by
    /// GetInputPacketBytes answering 0.
    virtual HRESULT SetCodec(DWORD codec, LONG bitrate) = 0;
    virtual HRESULT GetCodec(DWORD* codec) = 0;
    virtual HRESULT GetBitrate(LONG* bitrate) = 0;
    /// The level of the last packet of a channel (0 left or only, 1 right): 0 is -30 dB or less, 32768 is full scale.
    virtual HRESULT GetLevel(LONG* level, DWORD channel) = 0;
    /// PCM bytes of one packet of all channels.
    virtual HRESULT GetInputPacketBytes(DWORD* bytes) = 0;
    virtual HRESULT SetMute(bool mute) = 0;
    /// False: packets are stamped by the stream clock instead of the input's times.
    virtual HRESULT SetUseSampleTimes(bool useSampleTimes) = 0;

protected:
    ~IQRN_AudioCompressor() = default;
};
inline constexpr IID IID_IQRN_AudioCompressor = qrn::Guid("090B314A-3BCB-4B98-B18A-925D43433CF9");
template <>
inline constexpr IID IID_Of<IQRN_AudioCompressor> = IID_IQRN_AudioCompressor;

/// Of "QRN Audio Decompressor".
struct IQRN_AudioDeCompressor : IUnknown {
    /// 0 left, 1 right, 2 both. A change that would alter the channel count of a connected output is ignored.
    virtual HRESULT SetChannelMode(DWORD mode) = 0;
    virtual HRESULT GetChannelMode(DWORD* mode) = 0;
    virtual HRESULT GetCodec(DWORD* codec) = 0;
    virtual HRESULT GetBitrate(LONG* bitrate) = 0;

protected:
    ~IQRN_AudioDeCompressor() = default;
};
inline constexpr IID IID_IQRN_AudioDeCompressor = qrn::Guid("9A5E45EC-BC22-448F-8C33-382B45D64DAA");
template <>
inline constexpr IID IID_Of<IQRN_AudioDeCompressor> = IID_IQRN_AudioDeCompressor;

/// Of "QRN Audio Sender". Order: port, address, parity, transport; OpenNetwork; destinations, TTL, ToS, packet size;
/// connect and run. A second OpenNetwork starts anew, without destinations.
struct IQRN_AudioSender : IUnknown {
    /// Lets exceptions pass ("No local address.", "Invalid local address.").
    virtual HRESULT OpenNetwork() = 0;
    virtual HRESULT SetLocalPort(DWORD portWord) = 0;
    virtual HRESULT GetLocalPort(DWORD* portWord) = 0;
    /// Dotted form; "0.0.0.0" is any.
    virtual HRESULT SetLocalAddress(const wchar_t* address) = 0;
    virtual HRESULT GetLocalAddress(wchar_t** address) = 0;
    virtual HRESULT AddDestination(const wchar_t* address, DWORD port) = 0;
    virtual HRESULT RemoveDestination(const wchar_t* address, DWORD port) = 0;
    virtual HRESULT SetTtl(DWORD ttl) = 0;
    virtual HRESULT GetTtl(DWORD* ttl) = 0;
    virtual HRESULT SetEnabled(BYTE enabled) = 0;
    virtual HRESULT GetEnabled(BYTE* enabled) = 0;
    virtual HRESULT SetTos(DWORD tos) = 0;
    virtual HRESULT GetTos(DWORD* tos) = 0;
    virtual HRESULT SetExternalTransport(IExternalTransport* transport) = 0;
    virtual HRESULT SetParityGroup(DWORD groupSize) = 0;
    /// Bytes of a whole packet, 300 to 65535; needs an open network.
    virtual HRESULT SetMaxPacketSize(DWORD bytes) = 0;
    virtual HRESULT GetMaxPacketSize(DWORD* bytes) = 0;
    /// 0: samples wait for their time on the graph's clock before they leave.
    virtual HRESULT SetRenderAtOnce(BYTE atOnce) = 0;

protected:
    ~IQRN_AudioSender() = default;
};
inline constexpr IID IID_IQRN_AudioSender = qrn::Guid("2EF11274-7A02-4497-8FED-4DE218869812");
template <>
inline constexpr IID IID_Of<IQRN_AudioSender> = IID_IQRN_AudioSender;

/// Of "QRN Audio Receiver". Channels are 0 to 3, on neighbouring even ports. Order: SetFormat; port, address;
/// OpenNetwork per channel; SelectChannel at will.
struct IQRN_AudioReceiver : IUnknown {
    /// E_FAIL before SetFormat, for a wrong local address and when the port cannot be opened.
    virtual HRESULT OpenNetwork(DWORD channel) = 0;
    virtual HRESULT SetLocalPort(DWORD portWord) = 0;
    virtual HRESULT GetLocalPort(DWORD* portWord) = 0;
    virtual HRESULT SetLocalAddress(const wchar_t* address) = 0;
    virtual HRESULT GetLocalAddress(wchar_t** address) = 0;
    virtual HRESULT JoinGroup(const wchar_t* address) = 0;
    virtual HRESULT LeaveGroup(const wchar_t* address) = 0;
    virtual HRESULT SetOutputEnabled(BYTE enabled) = 0;
    virtual HRESULT GetOutputEnabled(BYTE* enabled) = 0;
    /// The wire timestamp (milliseconds of the sender) of the packet delivered last and the stream time, in
    /// milliseconds, at which it is to be heard. S_FALSE until a packet has been delivered.
    virtual HRESULT GetSyncPoint(DWORD* timestamp, DWORD* positionMs) = 0;
    virtual HRESULT SetFormat(DWORD codec, DWORD bitrate, DWORD channels) = 0;
    virtual HRESULT GetBitrate(DWORD* bitrate) = 0;
    virtual HRESULT SetBufferCount(DWORD count) = 0;
    virtual HRESULT GetBufferCount(DWORD* count) = 0;
    virtual HRESULT SelectChannel(DWORD channel) = 0;
    virtual HRESULT GetSelectedChannel(DWORD* channel) = 0;
    virtual HRESULT SetExternalTransport(DWORD reserved, IExternalTransport* transport) = 0;
    virtual HRESULT SetReorder(DWORD channel, BYTE on, DWORD window, DWORD parityGroup) = 0;
    /// Packets received and gaps in their numbers since the last call.
    virtual HRESULT GetStatistics(DWORD channel, DWORD* received, DWORD* gaps) = 0;
    virtual HRESULT SetMulticastLoop(DWORD on) = 0;

protected:
    ~IQRN_AudioReceiver() = default;
};
inline constexpr IID IID_IQRN_AudioReceiver = qrn::Guid("DC98120C-0B4A-40BB-A8B6-F50A0BDEC5D9");
template <>
inline constexpr IID IID_Of<IQRN_AudioReceiver> = IID_IQRN_AudioReceiver;

/// Of "QRN Video Compressor 2". Everything but the bit rate and the frame rate's limit takes effect at the next start.
struct IQRN_VideoCompressor2 : IUnknown {
    /// kbit/s in the low 24 bits. Bit 31: pictures are dropped so that the rate is never exceeded.
    virtual HRESULT SetBitrate(DWORD bitrate) = 0;
    virtual HRESULT GetBitrate(DWORD* bitrate) = 0;
    /// Pictures from one key frame to the next. Once a frame rate is set it becomes 1, whatever is asked for: so set it
    /// before the frame rate.
    virtual HRESULT SetKeyInterval(DWORD pictures) = 0;
    virtual HRESULT GetKeyInterval(DWORD* pictures) = 0;
    /// Pictures a second, not 0. With bit 31 the low 24 bits are the tenths of a second from one picture to the next,
    /// each a key frame.
    virtual HRESULT SetFramerate(DWORD rate) = 0;
    virtual HRESULT GetFramerate(DWORD* rate) = 0;
    /// Effort of the motion search, 0 to 6; others are ignored.
    virtual HRESULT SetMEQuality(DWORD quality) = 0;
    virtual HRESULT GetMEQuality(DWORD* quality) = 0;
    virtual HRESULT RequestKeyFrame() = 0;
    /// A video encoder id: 0 to 2 MPEG-4 part 2, 3 Theora, 4 H.264, 5 VC-1, 6 VP8, 8 Motion JPEG, 9 Snow. E_INVALIDARG
    /// for 10; any other is found out at the start.
    virtual HRESULT SetVideoEncoder(LONG encoder) = 0;
    virtual HRESULT GetVideoEncoder(LONG* encoder) = 0;
    virtual HRESULT SetAuxMode(DWORD mode) = 0;

protected:
    ~IQRN_VideoCompressor2() = default;
};
inline constexpr IID IID_IQRN_VideoCompressor2 = qrn::Guid("13736ED8-1C99-48E5-BAEE-953AE392B699");
template <>
inline constexpr IID IID_Of<IQRN_VideoCompressor2> = IID_IQRN_VideoCompressor2;

/// Of "QRN Video DeCompressor". The media type does not tell the codec: set the decoder and the sender's settings
/// before streaming.
struct IQRN_VideoDeCompressor : IUnknown {
    virtual HRESULT SetPostProcessing(LONG level) = 0;
    virtual HRESULT GetPostProcessing(LONG* level) = 0;
    virtual HRESULT Reserved1(DWORD value) = 0;
    virtual HRESULT Reserved2(DWORD* value) = 0;
    /// Has no effect; what GetOption1 gives is 0 or 1.
    virtual HRESULT SetOption1(DWORD on) = 0;
    virtual HRESULT GetOption1(DWORD* on) = 0;
    /// Set to 1 by the video receiver when a frame with lost data was delivered, see
    /// IQRN_VideoReceiver::SetReportLoss. Nothing clears it but the client.
    virtual HRESULT SetOption2(DWORD value) = 0;
    virtual HRESULT GetOption2(DWORD* value) = 0;
    virtual HRESULT Reserved3(DWORD first, DWORD second, DWORD third, DWORD fourth) = 0;
    /// The id of the encoder at the far end. E_INVALIDARG for 10; any other is found out at the start.
    virtual HRESULT SetVideoDecoder(LONG decoder) = 0;
    /// The settings of the encoder at the far end.
    virtual HRESULT SetFramerate(DWORD rate) = 0;
    virtual HRESULT SetBitrate(DWORD bitrate) = 0;
    virtual HRESULT SetMEQuality(DWORD quality) = 0;
    virtual HRESULT SetKeyInterval(DWORD pictures) = 0;
    /// Whether an empty sample repeats the last picture (the default) or gives a white one.
    virtual HRESULT SetHoldLastPicture(BYTE hold) = 0;
    /// 1 for VP8, whose frames the video receiver then delivers with holes; else 0.
    virtual HRESULT GetIsVp8(DWORD* isVp8) = 0;

protected:
    ~IQRN_VideoDeCompressor() = default;
};
inline constexpr IID IID_IQRN_VideoDeCompressor = qrn::Guid("CD97BFF3-EEFD-4A19-9BDD-738AE5FA199F");
template <>
inline constexpr IID IID_Of<IQRN_VideoDeCompressor> = IID_IQRN_VideoDeCompressor;

/// Of "QRN Video Sender". Order: port, address, pacing, parity, transport; OpenNetwork; destinations, TTL, ToS, packet
/// size, stuffing; connect and run. A second OpenNetwork starts anew, without destinations and stuffing.
struct IQRN_VideoSender : IUnknown {
    /// Makes a paced session when SetPacing has asked for one, else a plain one; a paced one counts for all that
    /// follows, also if a plain one was opened later. In a running graph a new session takes the codec, and a paced one
    /// begins to send, at the next run. Lets exceptions pass ("No local address.", "Invalid local address.").
    virtual HRESULT OpenNetwork() = 0;
    virtual HRESULT SetLocalPort(DWORD portWord) = 0;
    virtual HRESULT GetLocalPort(DWORD* portWord) = 0;
    /// Dotted form; "0.0.0.0" is any.
    virtual HRESULT SetLocalAddress(const wchar_t* address) = 0;
    virtual HRESULT GetLocalAddress(wchar_t** address) = 0;
    /// This and all that change an open session: E_FAIL before OpenNetwork.
    virtual HRESULT AddDestination(const wchar_t* address, DWORD port) = 0;
    virtual HRESULT RemoveDestination(const wchar_t* address, DWORD port) = 0;
    /// S_FALSE before OpenNetwork.
    virtual HRESULT SetTtl(DWORD ttl) = 0;
    virtual HRESULT GetTtl(DWORD* ttl) = 0;
    /// Bytes of a whole packet, 300 to 65535.
    virtual HRESULT SetMaxPacketSize(DWORD bytes) = 0;
    virtual HRESULT GetMaxPacketSize(DWORD* bytes) = 0;
    virtual HRESULT SetEnabled(BYTE enabled) = 0;
    virtual HRESULT GetEnabled(BYTE* enabled) = 0;
    /// Fills the traffic of each frame up to so many bits with datagrams that nobody reads, to that port of the address
    /// added last; 0 bits: no stuffing.
    virtual HRESULT SetStuffing(DWORD bitsPerFrame, DWORD port) = 0;
    virtual HRESULT SetTos(DWORD tos) = 0;
    virtual HRESULT GetTos(DWORD* tos) = 0;
    /// For the next OpenNetwork. A rate of 0 stands for no pacing, otherwise the sender pauses after each burst (0: 5
    /// packets) so that it keeps to the rate in kbit/s. Paced frames leave with payload type 113 whatever their codec:
    /// a receiver takes them when its SetFormat was given an id of 0 to 2 or of 7 to 9.
    virtual HRESULT SetPacing(DWORD burstPackets, DWORD rate) = 0;
    virtual HRESULT SetExternalTransport(IExternalTransport* transport) = 0;
    virtual HRESULT SetParityGroup(DWORD groupSize) = 0;
    /// 0: samples wait for their time on the graph's clock before they leave.
    virtual HRESULT SetRenderAtOnce(BYTE atOnce) = 0;

protected:
    ~IQRN_VideoSender() = default;
};
inline constexpr IID IID_IQRN_VideoSender = qrn::Guid("390571BF-20C9-4251-9A97-C5F79D5E03E5");
template <>
inline constexpr IID IID_Of<IQRN_VideoSender> = IID_IQRN_VideoSender;

/// Of "QRN Video Receiver". Order: SetFormat; port, address, transport; OpenNetwork; the filters of lip sync, reorder;
/// connect and run.
struct IQRN_VideoReceiver : IUnknown {
    /// @param reserved  has no effect. E_FAIL before SetFormat, for a wrong local address and when the port cannot be
    /// opened. The session stays open until the filter goes.
    virtual HRESULT OpenNetwork(DWORD reserved) = 0;
    virtual HRESULT SetLocalPort(DWORD portWord) = 0;
    virtual HRESULT GetLocalPort(DWORD* portWord) = 0;
    virtual HRESULT SetLocalAddress(const wchar_t* address) = 0;
    virtual HRESULT GetLocalAddress(wchar_t** address) = 0;
    /// The encoder id of the far end decides which payload type is taken once the network is open: 113, but 116 for 3,
    /// 117 for 4, 118 for 5 and 119 for 6. E_FAIL for 10 to 14; E_INVALIDARG for 0 frames a second and for a picture
    /// that no buffer holds. A compressed frame may have as many bytes as the picture has pixels.
    virtual HRESULT SetFormat(DWORD width, DWORD height, DWORD framesPerSecond, DWORD encoder) = 0;
    virtual HRESULT JoinGroup(const wchar_t* address) = 0;
    virtual HRESULT LeaveGroup(const wchar_t* address) = 0;
    virtual HRESULT SetOutputEnabled(BYTE enabled) = 0;
    virtual HRESULT GetOutputEnabled(BYTE* enabled) = 0;
    /// Lip sync: frames are shown when what the audio receiver got with them is heard. The object is kept until another
    /// one is given; one without IQRN_AudioReceiver is not, nor is the old one then.
    virtual HRESULT SetAudioReceiver(IUnknown* audioReceiver) = 0;
    /// The latency of this renderer (IQRN_AudioRender) counts in lip sync. Kept likewise.
    virtual HRESULT SetAudioRender(IUnknown* audioRender) = 0;
    virtual HRESULT SetBufferCount(DWORD count) = 0;
    virtual HRESULT GetBufferCount(DWORD* count) = 0;
    /// Not 0: a frame with lost data sets IQRN_VideoDeCompressor::SetOption2.
    virtual HRESULT SetReportLoss(DWORD report) = 0;
    virtual HRESULT GetReportLoss(DWORD* report) = 0;
    virtual HRESULT SetExternalTransport(IExternalTransport* transport) = 0;
    virtual HRESULT SetReorder(BYTE on, DWORD window, DWORD parityGroup) = 0;
    /// Packets received and gaps in their numbers since the last call.
    virtual HRESULT GetStatistics(DWORD* received, DWORD* gaps) = 0;
    /// Has no effect.
    virtual HRESULT SetMulticastLoop(DWORD on) = 0;

protected:
    ~IQRN_VideoReceiver() = default;
};
inline constexpr IID IID_IQRN_VideoReceiver = qrn::Guid("7B94E3F1-1D92-4AFF-9733-908082635AC9");
template <>
inline constexpr IID IID_Of<IQRN_VideoReceiver> = IID_IQRN_VideoReceiver;

/// What a sender's session has sent since its OpenNetwork. The counts are read one by one while packets leave, so they
/// may differ by a few.
struct QRN_SEND_STATISTICS {
    ULONGLONG packets;      ///< media packets that took a sequence number and were not refused
    ULONGLONG datagrams;    ///< that left: one a destination, of every kind (media, parity, stuffing)
    ULONGLONG bytes;        ///< of those datagrams, without the headers of UDP and IP
    ULONGLONG systemCalls;  ///< that sent or tried to
    ULONGLONG failures;     ///< datagrams that the system did not take
    DWORD localPort;        ///< that the session is bound to, also where the port word asked for any
    DWORD bufferBytes;      ///< of the socket's send buffer as the system granted it; 0 with an external transport
};

/// What a receiver's channel has received since its OpenNetwork, likewise.
struct QRN_RECEIVE_STATISTICS {
    ULONGLONG datagrams;    ///< read, of every kind
    ULONGLONG bytes;        ///< of those datagrams, without the headers of UDP and IP
    ULONGLONG systemCalls;  ///< that read or tried to; waits apart
    ULONGLONG waits;        ///< for a datagram or for being stopped
    ULONGLONG malformed;    ///< datagrams that are no packet
    ULONGLONG parity;       ///< parity packets that were kept away from the frames
    ULONGLONG otherTypes;   ///< packets of a payload type that the codec does not have
    ULONGLONG late;         ///< packets that came after their place was given up or taken, twins among them
    ULONGLONG heldBack;     ///< packets that came before their turn
    ULONGLONG duplicates;   ///< packets that were held back beside one of the same number
    ULONGLONG refused;      ///< packets that could not be held back, for lack of room or memory
    ULONGLONG kernelDrops;  ///< datagrams that reached this machine and found the socket's buffer full
    DWORD localPort;        ///< as above
    DWORD bufferBytes;      ///< of the socket's receive buffer as the system granted it; 0 with an external transport
    /// Of the video receiver: frames that came with or right behind a hole.
    ULONGLONG damagedFrames;
};

/// Of the two senders and the two receivers. Reading changes nothing: IQRN_AudioReceiver::GetStatistics, which clears
/// what it reads, counts for itself. A call may wait a few tenths of a second while a full network holds up a sender.
struct IQRN_NetworkStatistics : IUnknown {
    /// S_FALSE and zeros before OpenNetwork. E_NOTIMPL from a receiver, E_POINTER.
    virtual HRESULT GetSendStatistics(QRN_SEND_STATISTICS* statistics) = 0;
    /// Channels are 0 to 3 of the audio receiver and 0 of the video receiver, others are E_INVALIDARG. S_FALSE and
    /// zeros for one that is not open. E_NOTIMPL from a sender, E_POINTER.
    virtual HRESULT GetReceiveStatistics(DWORD channel, QRN_RECEIVE_STATISTICS* statistics) = 0;

protected:
    ~IQRN_NetworkStatistics() = default;
};
inline constexpr IID IID_IQRN_NetworkStatistics = qrn::Guid("5E0B5A1D-3C64-4F0B-9B0E-6F6B27C3A2D4");
template <>
inline constexpr IID IID_Of<IQRN_NetworkStatistics> = IID_IQRN_NetworkStatistics;

/// Of "QRN Audio Render".
struct IQRN_AudioRender : IUnknown {
    /// Milliseconds between what was written last and what is heard; 0 until a block has been written.
    virtual HRESULT GetLatency(LONGLONG* latencyMs) = 0;
    virtual HRESULT SetMaxLatency(DWORD latencyMs) = 0;
    virtual HRESULT GetMaxLatency(DWORD* latencyMs) = 0;
    /// Takes effect when the device is next made, that is before the first run.
    virtual HRESULT SetDevice(GUID device) = 0;
    virtual HRESULT GetDevice(GUID* device) = 0;

protected:
    ~IQRN_AudioRender() = default;
};
inline constexpr IID IID_IQRN_AudioRender = qrn::Guid("DF980042-E28A-4630-8C23-B29483F72125");
template <>
inline constexpr IID IID_Of<IQRN_AudioRender> = IID_IQRN_AudioRender;

// ---------------------------------------------------------------------------------------------------------------------
// Sound devices for IQRN_AudioRender::SetDevice

/// The default device: what the environment variable QRN_SOUND names ("sdl", "null", "file:PATH"), else SDL's default.
inline constexpr GUID QRN_SoundDeviceDefault = GUID_NULL;
/// SDL's default playback device.
inline constexpr GUID QRN_SoundDeviceSdl = qrn::Guid("6A0C2B52-2E5B-4E6F-9B63-8E1F6B0E1A01");
/// Plays in time and is not heard.
inline constexpr GUID QRN_SoundDeviceNull = qrn::Guid("6A0C2B52-2E5B-4E6F-9B63-8E1F6B0E1A02");
/// Plays in time into the WAV file that the environment variable QRN_SOUND_FILE names.
inline constexpr GUID QRN_SoundDeviceFile = qrn::Guid("6A0C2B52-2E5B-4E6F-9B63-8E1F6B0E1A03");

// ---------------------------------------------------------------------------------------------------------------------
// What a class says of itself

/// Answered by the module's class factories: a client can look at a class without making an object of it.
struct IQRN_ClassInfo : IUnknown {
    /// The text belongs to the module.
    virtual HRESULT GetDisplayName(const wchar_t** name) = 0;
    /// Null for a property page. The record belongs to the module.
    virtual HRESULT GetSetup(const AMOVIESETUP_FILTER** setup) = 0;

protected:
    ~IQRN_ClassInfo() = default;
};
inline constexpr IID IID_IQRN_ClassInfo = qrn::Guid("D5B0A4C7-7A59-4B0A-9C55-0C7C9D1B6E10");
template <>
inline constexpr IID IID_Of<IQRN_ClassInfo> = IID_IQRN_ClassInfo;

// ---------------------------------------------------------------------------------------------------------------------
// What the module says to people

/// Answered by the module's class factories: a client takes over what the module would show or tell by itself, for the
/// whole module and until it is unloaded. Null gives it back to the default, the log (QRN_LOG). A handler runs on
/// whatever thread has something to say, on several at once too, and must not throw; one that has been replaced may
/// still be running for a moment.
struct IQRN_ModuleHooks : IUnknown {
    /// Returns when the user has answered. @param style  0, or 0x10 for an error.
    using MessageBoxHandler = void (*)(void* context, const wchar_t* text, const wchar_t* caption, DWORD style);
    /// @param text  as it would go to a debugger, with its line ends.
    using DebugOutputHandler = void (*)(void* context, const wchar_t* text);

    /// E_OUTOFMEMORY: the handler before stays.
    virtual HRESULT SetMessageBoxHandler(MessageBoxHandler handler, void* context) = 0;
    virtual HRESULT SetDebugOutputHandler(DebugOutputHandler handler, void* context) = 0;

protected:
    ~IQRN_ModuleHooks() = default;
};
inline constexpr IID IID_IQRN_ModuleHooks = qrn::Guid("5C7E0C0E-5C1B-4F0E-8B2C-2C8F2B1D7A33");
template <>
inline constexpr IID IID_Of<IQRN_ModuleHooks> = IID_IQRN_ModuleHooks;

// ---------------------------------------------------------------------------------------------------------------------
// The module's exported functions, for whoever loads it by itself

extern "C" {
using PFN_DllGetClassObject = HRESULT (*)(REFCLSID classId, REFIID interfaceId, void** object);
using PFN_DllCanUnloadNow = HRESULT (*)();
using PFN_DllRegisterServer = HRESULT (*)();
using PFN_DllUnregisterServer = HRESULT (*)();
}
