#pragma once
/// The transform filter "QRN Audio Compressor": PCM in, a codec's packets out.

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <span>

#include "audiocoding/CAudioEncoder.h"
#include "audiocoding/CDcFilter.h"
#include "framework/CPersistStream.h"
#include "framework/CTransformFilter.h"
#include "platform/system/Lock.h"
#include "qrn/QRN_Media2.h"

/// Gathers the incoming PCM to whole packets of the codec, conditions and meters it, encodes each channel by an encoder
/// of its own and stamps each packet. One input sample gives none, one or several output samples. What was gathered
/// when the stream stops is sent after the next start.
///
/// Transform and Receive run on the upstream filter's streaming thread, negotiation and IQRN_AudioCompressor on the
/// host's. Lock order: filter lock, then m_encoderLock, which is never held while a sample is fetched or delivered.
class CAudioCompressor :
    public CTransformFilter,
    public CPersistStream,
    public IQRN_AudioCompressor,
    public ISpecifyPropertyPages {
public:
    /// Null with E_OUTOFMEMORY in `result` when there is no memory for it.
    static CUnknown* CreateInstance(IUnknown* outer, HRESULT* result);
    ~CAudioCompressor() override;

    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override;

    // CTransformFilter
    HRESULT CheckInputType(const CMediaType* type) override;
    HRESULT CheckTransform(const CMediaType* in, const CMediaType* out) override;
    HRESULT GetMediaType(int position, CMediaType* type) override;
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;
    HRESULT StopStreaming() override;
    /// @param in  null: only what has been gathered is looked at.
    /// @return S_FALSE when there is nothing to deliver this time.
    HRESULT Transform(IMediaSample* in, IMediaSample* out) override;
    HRESULT Receive(IMediaSample* sample) override;

    // CPersistStream: channels, codec and bit rate.
    HRESULT GetClassID(CLSID* id) override { return CTransformFilter::GetClassID(id); }
    DWORD GetSoftwareVersion() override;
    int SizeMax() override;
    HRESULT WriteToStream(IStream* stream) override;
    HRESULT ReadFromStream(IStream* stream) override;

    // IQRN_AudioCompressor
    HRESULT SetChannels(DWORD channels) override;
    HRESULT GetChannels(DWORD* channels) override;
    HRESULT SetCodec(DWORD codec, LONG bitrate) override;
    HRESULT GetCodec(DWORD* codec) override;
    HRESULT GetBitrate(LONG* bitrate) override;
    HRESULT GetLevel(LONG* level, DWORD channel) override;
    HRESULT GetInputPacketBytes(DWORD* bytes) override;
    HRESULT SetMute(bool mute) override;
    HRESULT SetUseSampleTimes(bool useSampleTimes) override;

    // ISpecifyPropertyPages
    HRESULT GetPages(CAUUID* pages) override;

private:
    static constexpr std::size_t kGatherBytes = 64000;

    /// One channel of what is being gathered.
    struct Channel {
        std::unique_ptr<CAudioEncoder> encoder;
        std::array<std::int16_t, kGatherBytes / sizeof(std::int16_t)> pcm{};
        qrn::CDcFilter dcFilter;
    };

    CAudioCompressor(IUnknown* outer, HRESULT* result);

    bool IsAnyPinConnected() const;
    REFERENCE_TIME TimeOf(IMediaSample* in);
    HRESULT DeliverPackets(IMediaSample* sample);
    void Anchor(REFERENCE_TIME sampleTime) QRN_REQUIRES(m_encoderLock);
    void Gather(std::span<const std::uint8_t> pcm) QRN_REQUIRES(m_encoderLock);
    void ConditionAndMeter() QRN_REQUIRES(m_encoderLock);
    int EncodePacket(std::span<std::uint8_t> out) QRN_REQUIRES(m_encoderLock);
    int EncodeStereo(std::span<std::uint8_t> out) QRN_REQUIRES(m_encoderLock);
    int MakeHalvesEqual(std::span<std::uint8_t> out, int left, int right) QRN_REQUIRES(m_encoderLock);
    int EncodeChannel(Channel& channel, std::span<std::uint8_t> out) QRN_REQUIRES(m_encoderLock);
    void DropPacket() QRN_REQUIRES(m_encoderLock);
    std::uint32_t PacketBytes() const QRN_REQUIRES(m_encoderLock);
    REFERENCE_TIME PacketTime() const QRN_REQUIRES(m_encoderLock);

    qrn::CMutex m_encoderLock;
    /// The left channel is also the only one of a mono stream.
    Channel m_left QRN_GUARDED_BY(m_encoderLock);
    Channel m_right QRN_GUARDED_BY(m_encoderLock);
    DWORD m_codec QRN_GUARDED_BY(m_encoderLock);
    LONG m_bitrate QRN_GUARDED_BY(m_encoderLock);
    DWORD m_channels QRN_GUARDED_BY(m_encoderLock) = 1;
    /// Bytes held of each channel.
    std::uint32_t m_buffered QRN_GUARDED_BY(m_encoderLock) = 0;
    /// Of the next packet.
    REFERENCE_TIME m_nextTime QRN_GUARDED_BY(m_encoderLock) = 0;
    /// Take the time from the next input sample.
    bool m_resync QRN_GUARDED_BY(m_encoderLock) = true;

    // Single words that the host's thread touches while a stream runs.
    std::atomic<LONG> m_levelLeft = 0;
    std::atomic<LONG> m_levelRight = 0;
    std::atomic<bool> m_mute = false;
    std::atomic<bool> m_useSampleTimes = true;
};
