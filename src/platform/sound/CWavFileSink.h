#pragma once
/// Sound into a file.

#include <cstdint>
#include <string>

#include "platform/sound/ISoundSink.h"

namespace qrn {

/// Writes a RIFF WAVE file (Multimedia Programming Interface and Data Specifications 1.0, IBM and Microsoft, 1991) of
/// everything that was played, without the pauses. The header is brought up to date once a second of sound and at
/// Close, so that a program that is killed leaves a file that plays. One writer has the file at a time, also among
/// processes.
class CWavFileSink final : public ISoundSink {
public:
    explicit CWavFileSink(std::string path);
    ~CWavFileSink() override;
    CWavFileSink(const CWavFileSink&) = delete;
    CWavFileSink& operator=(const CWavFileSink&) = delete;

    /// The first time the file starts anew; after a failed Write (a full disk) it goes on at its end.
    std::optional<std::string> Open(const SoundFormat& format) override;
    bool Write(std::span<const std::uint8_t> bytes) override;
    void Close() override;

private:
    bool WriteHeader();

    const std::string m_path;
    SoundFormat m_format;
    int m_file = -1;
    std::uint64_t m_dataBytes = 0;
    std::uint64_t m_headerBytes = 0;  // of data that the header tells of
};

}  // namespace qrn
