#include "platform/sound/CWavFileSink.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <string_view>
#include <system_error>
#include <utility>

namespace qrn {

namespace {

constexpr std::size_t kHeaderBytes = 44;
using Header = std::array<std::uint8_t, kHeaderBytes>;

class CHeaderWriter {
public:
    explicit CHeaderWriter(Header& header) : m_header(header) {}

    void Text(std::string_view fourLetters) {
        for (const char letter : fourLetters) {
            m_header.at(m_at++) = static_cast<std::uint8_t>(letter);
        }
    }
    void Word(std::uint32_t value) { Bytes(value, 2); }
    void DoubleWord(std::uint32_t value) { Bytes(value, 4); }

private:
    void Bytes(std::uint32_t value, int count) {
        for (int i = 0; i < count; ++i) {
            m_header.at(m_at++) = static_cast<std::uint8_t>(value >> (8 * i));
        }
    }

    Header& m_header;
    std::size_t m_at = 0;
};

/// Sizes have 32 bits; a longer file says the largest one, and programs then read to its end.
Header MakeHeader(const SoundFormat& format, std::uint64_t dataBytes) {
    constexpr std::uint64_t kMost = std::numeric_limits<std::uint32_t>::max();
    Header header{};
    CHeaderWriter writer(header);
    writer.Text("RIFF");
    writer.DoubleWord(static_cast<std::uint32_t>(std::min(kMost, dataBytes + kHeaderBytes - 8)));
    writer.Text("WAVE");
    writer.Text("fmt ");
    writer.DoubleWord(16);
    writer.Word(1);  // PCM
    writer.Word(format.channels);
    writer.DoubleWord(format.samplesPerSec);
    writer.DoubleWord(static_cast<std::uint32_t>(format.BytesPerSecond()));
    writer.Word(static_cast<std::uint32_t>(format.FrameBytes()));
    writer.Word(16);
    writer.Text("data");
    writer.DoubleWord(static_cast<std::uint32_t>(std::min(kMost - (kHeaderBytes - 8), dataBytes)));
    return header;
}

bool WriteAll(int file, std::span<const std::uint8_t> bytes, std::uint64_t offset) {
    while (!bytes.empty()) {
        const ssize_t written = pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        bytes = bytes.subspan(static_cast<std::size_t>(written));
        offset += static_cast<std::uint64_t>(written);
    }
    return true;
}

std::string ErrorText(int error) {
    return std::generic_category().message(error);
}

/// Opens for one writer alone. @return nothing and the file, or the reason.
std::optional<std::string> OpenAlone(const std::string& path, int& file) {
    // Without O_NONBLOCK a named pipe that stands there would hold us up.
    const int opened = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0666);
    if (opened < 0) {
        return path + ": " + ErrorText(errno);
    }
    struct stat info {};
    std::optional<std::string> reason;
    if (fstat(opened, &info) != 0 || !S_ISREG(info.st_mode)) {
        reason = path + ": not a regular file";
    } else if (flock(opened, LOCK_EX | LOCK_NB) != 0) {
        reason = path + ": in use by another sound device";
    }
    if (reason) {
        close(opened);
        return reason;
    }
    file = opened;
    return std::nullopt;
}

}  // namespace

CWavFileSink::CWavFileSink(std::string path) : m_path(std::move(path)) {}

CWavFileSink::~CWavFileSink() {
    Close();
}

std::optional<std::string> CWavFileSink::Open(const SoundFormat& format) {
    Close();
    if (m_path.empty()) {
        return "no file name";
    }
    if (auto reason = OpenAlone(m_path, m_file)) {
        return reason;
    }
    if (format != m_format) {
        m_format = format;
        m_dataBytes = 0;
    }
    // What a failed write left behind the last whole piece goes, too.
    const std::uint64_t keptBytes = m_dataBytes > 0 ? kHeaderBytes + m_dataBytes : 0;
    if (ftruncate(m_file, static_cast<off_t>(keptBytes)) != 0 || !WriteHeader()) {
        const int error = errno;
        close(std::exchange(m_file, -1));
        return m_path + ": " + ErrorText(error);
    }
    return std::nullopt;
}

bool CWavFileSink::Write(std::span<const std::uint8_t> bytes) {
    if (m_file < 0 || !WriteAll(m_file, bytes, kHeaderBytes + m_dataBytes)) {
        return false;
    }
    m_dataBytes += bytes.size();
    return m_dataBytes - m_headerBytes < m_format.BytesPerSecond() || WriteHeader();
}

void CWavFileSink::Close() {
    if (m_file < 0) {
        return;
    }
    WriteHeader();
    close(std::exchange(m_file, -1));
}

bool CWavFileSink::WriteHeader() {
    if (!WriteAll(m_file, MakeHeader(m_format, m_dataBytes), 0)) {
        return false;
    }
    m_headerBytes = m_dataBytes;
    return true;
}

}  // namespace qrn
