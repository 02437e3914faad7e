#pragma once
/// Linear sound as the program handles it: 16-bit samples, the channels interleaved.

#include <cstddef>
#include <cstdint>
#include <span>

namespace qrn {

struct PcmFormat {
    int sampleRate = 8000;  // Hz
    int channels = 1;       // 1 or 2

    std::size_t SamplesPerBlock(int milliseconds) const {
        return static_cast<std::size_t>(sampleRate) * static_cast<std::size_t>(milliseconds) / 1000;
    }
    friend bool operator==(const PcmFormat&, const PcmFormat&) = default;
};

/// Something that gives sound block by block. One thread at a time.
class IPcmSource {
public:
    virtual ~IPcmSource() = default;

    virtual PcmFormat Format() const = 0;

    /// Fills `interleaved`, whose size is a multiple of the channel count.
    /// @return how many values were written; fewer than asked for only at the end of the sound.
    /// @throws CClientError when the sound cannot be read any further.
    virtual std::size_t Read(std::span<std::int16_t> interleaved) = 0;
};

}  // namespace qrn
