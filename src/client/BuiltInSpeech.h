#pragma once
/// The speech that a call carries when the user gives no file.

#include <filesystem>
#include <vector>

#include "client/Pcm.h"

namespace qrn {

/// Where Debian's package alsa-utils keeps its recordings.
inline constexpr const char* kSpeechFolder = "/usr/share/sounds/alsa";

/// The recordings of a voice in that folder, one after the other. The second channel has them in another order, so that
/// the channels differ at any moment.
/// @return interleaved samples.
/// @throws CClientError that names the package when a recording is missing.
std::vector<std::int16_t> LoadBuiltInSpeech(PcmFormat format, const std::filesystem::path& folder = kSpeechFolder);

/// Gives samples from memory again and again.
class CPcmLoop : public IPcmSource {
public:
    CPcmLoop(PcmFormat format, std::vector<std::int16_t> interleaved);

    PcmFormat Format() const override { return m_format; }
    std::size_t Read(std::span<std::int16_t> interleaved) override;

private:
    const PcmFormat m_format;
    const std::vector<std::int16_t> m_samples;
    std::size_t m_next = 0;
};

}  // namespace qrn
