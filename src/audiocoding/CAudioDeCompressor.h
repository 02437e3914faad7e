#pragma once
/// The transform filter "QRN Audio Decompressor": a codec's packets in, PCM out.

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "audiocoding/CAudioDecoder.h"
#include "framework/CTransformFilter.h"
#include "platform/system/Lock.h"
#include "qrn/QRN_Media2.h"

/// Each input sample is one packet of one or two channels and gives one output sample with its times. An empty one
/// stands for a lost packet and gives silence. The host listens to the left channel, the right one or both.
///
/// Transform runs on the upstream filter's streaming thread, negotiation and IQRN_AudioDeCompressor on the host's.
/// Lock order: filter lock, then m_decoderLock.
class CAudioDeCompressor : public CTransformFilter, public IQRN_AudioDeCompressor, public ISpecifyPropertyPages {
public:
    /// Null with E_OUTOFMEMORY in `result` when there is no memory for it.
    static CUnknown* CreateInstance(IUnknown* outer, HRESULT* result);
    ~CAudioDeCompressor() override;

    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override;

    // CTransformFilter
    HRESULT CheckInputType(const CMediaType* type) override;
    HRESULT CheckTransform(const CMediaType* in, const CMediaType* out) override;
    HRESULT SetMediaType(PIN_DIRECTION direction, const CMediaType* type) override;
    HRESULT GetMediaType(int position, CMediaType* type) override;
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;
    HRESULT Transform(IMediaSample* in, IMediaSample* out) override;

    // IQRN_AudioDeCompressor
    HRESULT SetChannelMode(DWORD mode) override;
    HRESULT GetChannelMode(DWORD* mode) override;
    HRESULT GetCodec(DWORD* codec) override;
    HRESULT GetBitrate(LONG* bitrate) override;

    // ISpecifyPropertyPages
    HRESULT GetPages(CAUUID* pages) override;

private:
    using Payload = std::span<const std::uint8_t>;
    /// The two channels' parts of a stereo packet.
    struct Halves {
        Payload left;
        Payload right;
        /// False when the packet itself says how long its left part is, and that cannot be.
        bool isValid;
    };

    CAudioDeCompressor(IUnknown* outer, HRESULT* result);

    Halves Split(Payload payload) const QRN_REQUIRES(m_decoderLock);
    int DecodePacket(Payload payload, std::span<std::uint8_t> out) QRN_REQUIRES(m_decoderLock);
    int DecodeOne(CAudioDecoder* decoder, Payload payload, std::span<std::uint8_t> out) QRN_REQUIRES(m_decoderLock);
    int DecodeBoth(const Halves& halves, std::span<std::uint8_t> out) QRN_REQUIRES(m_decoderLock);

    qrn::CMutex m_decoderLock;
    std::unique_ptr<CAudioDecoder> m_left QRN_GUARDED_BY(m_decoderLock);
    /// Of a stereo input only.
    std::unique_ptr<CAudioDecoder> m_right QRN_GUARDED_BY(m_decoderLock);
    /// One output sample of PCM, as it leaves the decoders.
    std::vector<std::int16_t> m_scratch QRN_GUARDED_BY(m_decoderLock);
    DWORD m_codec QRN_GUARDED_BY(m_decoderLock);
    LONG m_bitrate QRN_GUARDED_BY(m_decoderLock);
    DWORD m_inputChannels QRN_GUARDED_BY(m_decoderLock) = 1;
    DWORD m_outputChannels QRN_GUARDED_BY(m_decoderLock) = 1;
    /// PCM bytes of one output sample.
    std::uint32_t m_packetBytes QRN_GUARDED_BY(m_decoderLock) = 0;

    /// 0 left, 1 right, 2 both; the host's thread may change it while a stream runs.
    std::atomic<DWORD> m_channelMode = 0;
};
