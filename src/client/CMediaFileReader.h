#pragma once
/// The sound of any media file.

#include <memory>
#include <string>
#include <vector>

#include "client/Pcm.h"

namespace qrn {

/// Decodes the best audio stream of a local file with FFmpeg and converts it to the wanted rate and channels, a block
/// at a time. Damaged packets inside the file are left out and counted.
class CMediaFileReader : public IPcmSource {
public:
    enum class Repeat { kOnce, kForEver };

    /// @param path  a regular file; never taken as an address of another kind.
    /// @throws CClientError when it cannot be opened, is no media file, has no audio, or no sound can be decoded.
    CMediaFileReader(const std::string& path, PcmFormat format, Repeat repeat);
    ~CMediaFileReader() override;

    PcmFormat Format() const override { return m_format; }
    std::size_t Read(std::span<std::int16_t> interleaved) override;

    std::size_t DamagedPackets() const;

private:
    class CDecoder;

    bool Refill();

    const std::string m_path;
    const PcmFormat m_format;
    const Repeat m_repeat;
    std::unique_ptr<CDecoder> m_decoder;
    std::vector<std::int16_t> m_block;  // decoded and not yet read
    std::size_t m_blockRead = 0;
    std::size_t m_damagedBefore = 0;  // in earlier passes over the file
};

}  // namespace qrn
