#include "client/CWavWriter.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <bit>
#include <cerrno>
#include <string_view>
#include <system_error>
#include <utility>

#include "client/ClientError.h"

namespace qrn {
namespace {

constexpr std::size_t kHeaderBytes = 44;
// The RIFF size counts all but its first 8 bytes in 32 bits.
constexpr std::uint64_t kMaxDataBytes = 0xFFFFFFFFu - (kHeaderBytes - 8) - 1;

static_assert(std::endian::native == std::endian::little, "samples are written as they stand in memory");

/// Puts little-endian fields one after the other.
class CHeaderWriter {
public:
    void Tag(std::string_view text) {
        for (const char letter : text) {
            m_bytes[m_next++] = static_cast<std::uint8_t>(letter);
        }
    }
    void Number(std::uint64_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) {
            m_bytes[m_next++] = static_cast<std::uint8_t>(value >> (8 * i));
        }
    }
    const std::array<std::uint8_t, kHeaderBytes>& Bytes() const { return m_bytes; }

private:
    std::array<std::uint8_t, kHeaderBytes> m_bytes{};
    std::size_t m_next = 0;
};

}  // namespace

CWavWriter::CWavWriter(std::string path, PcmFormat format) : m_path(std::move(path)), m_format(format) {
    // Without waiting: opening a pipe that nobody reads would block.
    m_file = CFileDescriptor(open(m_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK, 0666));
    if (!m_file) {
        Fail(errno);
    }
    WriteHeader();
}

void CWavWriter::Fail(int error) const {
    throw CClientError("cannot write the recording " + m_path + ": " + std::generic_category().message(error));
}

void CWavWriter::WriteAt(std::uint64_t offset, std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t written = pwrite(m_file.Get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            Fail(written < 0 ? errno : ENOSPC);
        }
        offset += static_cast<std::uint64_t>(written);
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
}

/// RIFF WAVE with a format chunk of 16 bytes: Multimedia Programming Interface and Data Specifications 1.0, chapter 3.
void CWavWriter::WriteHeader() {
    const auto channels = static_cast<std::uint64_t>(m_format.channels);
    const auto rate = static_cast<std::uint64_t>(m_format.sampleRate);
    CHeaderWriter header;
    header.Tag("RIFF");
    header.Number(kHeaderBytes - 8 + m_dataBytes, 4);
    header.Tag("WAVEfmt ");
    header.Number(16, 4);
    header.Number(1, 2);  // linear PCM
    header.Number(channels, 2);
    header.Number(rate, 4);
    header.Number(rate * channels * 2, 4);
    header.Number(channels * 2, 2);
    header.Number(16, 2);
    header.Tag("data");
    header.Number(m_dataBytes, 4);
    WriteAt(0, header.Bytes());
}

void CWavWriter::Write(std::span<const std::int16_t> interleaved) {
    if (!m_file) {
        Fail(EBADF);
    }
    if (m_dataBytes + interleaved.size_bytes() > kMaxDataBytes) {
        Fail(EFBIG);
    }
    WriteAt(kHeaderBytes + m_dataBytes,
            {reinterpret_cast<const std::uint8_t*>(interleaved.data()), interleaved.size_bytes()});
    m_dataBytes += interleaved.size_bytes();
    WriteHeader();
}

void CWavWriter::Close() {
    if (!m_file.Close()) {
        Fail(errno);
    }
}

}  // namespace qrn
