#pragma once
/// Recording to a WAV file.

#include <cstdint>
#include <span>
#include <string>

#include "client/FileDescriptor.h"
#include "client/Pcm.h"

namespace qrn {

/// Writes 16-bit PCM in the RIFF WAVE form. The sizes in its header are put right after each block, so that the file is
/// whole also when the program ends without closing it. One thread at a time.
class CWavWriter {
public:
    /// Makes the file or empties it. @throws CClientError when it cannot be written.
    CWavWriter(std::string path, PcmFormat format);

    /// @throws CClientError when the disk is full, the file has reached the 4 GiB of its form, or the write fails. What
    /// was written before stays valid.
    void Write(std::span<const std::int16_t> interleaved);

    /// @throws CClientError when the file system reports a late failure.
    void Close();

    std::uint64_t DataBytes() const { return m_dataBytes; }

private:
    void WriteAt(std::uint64_t offset, std::span<const std::uint8_t> bytes);
    void WriteHeader();
    [[noreturn]] void Fail(int error) const;

    const std::string m_path;
    const PcmFormat m_format;
    CFileDescriptor m_file;
    std::uint64_t m_dataBytes = 0;
};

}  // namespace qrn
