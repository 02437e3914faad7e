#include "client/BuiltInSpeech.h"

#include <algorithm>
#include <array>

#include "client/CMediaFileReader.h"
#include "client/ClientError.h"

namespace qrn {
namespace {

constexpr std::array kRecordings{"Front_Center.wav", "Front_Left.wav", "Front_Right.wav", "Rear_Center.wav",
                                 "Rear_Left.wav",    "Rear_Right.wav", "Side_Left.wav",   "Side_Right.wav"};

std::vector<std::int16_t> ReadAll(const std::filesystem::path& file, int sampleRate) {
    CMediaFileReader reader(file.string(), {sampleRate, 1}, CMediaFileReader::Repeat::kOnce);
    std::vector<std::int16_t> all;
    std::array<std::int16_t, 4096> block{};
    while (const std::size_t count = reader.Read(block)) {
        all.insert(all.end(), block.begin(), block.begin() + static_cast<std::ptrdiff_t>(count));
    }
    return all;
}

/// All recordings in one, beginning with the one of that index.
std::vector<std::int16_t> Chain(const std::vector<std::vector<std::int16_t>>& recordings, std::size_t first) {
    std::vector<std::int16_t> chain;
    for (std::size_t i = 0; i < recordings.size(); ++i) {
        const auto& recording = recordings[(first + i) % recordings.size()];
        chain.insert(chain.end(), recording.begin(), recording.end());
    }
    return chain;
}

}  // namespace

std::vector<std::int16_t> LoadBuiltInSpeech(PcmFormat format, const std::filesystem::path& folder) {
    std::vector<std::vector<std::int16_t>> recordings;
    for (const char* name : kRecordings) {
        const std::filesystem::path file = folder / name;
        std::error_code ignored;
        if (!std::filesystem::exists(file, ignored)) {
            throw CClientError("the built-in speech " + file.string() +
                               " is missing: install the package alsa-utils, or give a file with --audio");
        }
        recordings.push_back(ReadAll(file, format.sampleRate));
    }
    std::vector<std::int16_t> left = Chain(recordings, 0);
    if (format.channels == 1) {
        return left;
    }
    const std::vector<std::int16_t> right = Chain(recordings, recordings.size() / 2);
    std::vector<std::int16_t> both(left.size() * 2);
    for (std::size_t i = 0; i < left.size(); ++i) {
        both[2 * i] = left[i];
        both[2 * i + 1] = right[i];
    }
    return both;
}

CPcmLoop::CPcmLoop(PcmFormat format, std::vector<std::int16_t> interleaved)
    : m_format(format),
      m_samples(std::move(interleaved)) {}

std::size_t CPcmLoop::Read(std::span<std::int16_t> interleaved) {
    if (m_samples.empty()) {
        return 0;
    }
    for (std::int16_t& sample : interleaved) {
        sample = m_samples[m_next];
        m_next = (m_next + 1) % m_samples.size();
    }
    return interleaved.size();
}

}  // namespace qrn
