#include "host/MediaTypeText.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <span>

#include "host/NumberText.h"
#include "platform/com/Text.h"
#include "qrn/QRN_Media2.h"

namespace qrn {

namespace {

constexpr std::size_t kWaveFormatBytes = 18;
// Of the native framework's video format: two rectangles, rates and times, then the header of a bitmap.
constexpr std::size_t kVideoFormatBytes = 88;
constexpr std::size_t kVideoBitRateAt = 32;
constexpr std::size_t kVideoFrameTimeAt = 40;
constexpr std::size_t kVideoWidthAt = 52;
constexpr std::size_t kVideoHeightAt = 56;
constexpr std::size_t kVideoBitCountAt = 62;

constexpr std::array<const char*, kQrnAudioCodecCount> kAudioCodecNames{"GSM",      "G72x", "Speex",
                                                                        "Speex HQ", "MP3",  "Opus"};

struct KnownSubtype {
    GUID id;
    const char* name;
};
constexpr std::array<KnownSubtype, 4> kPictureSubtypes{{
    {Guid("E436EB7B-524F-11CE-9F53-0020AF0BA770"), "RGB565"},
    {Guid("E436EB7C-524F-11CE-9F53-0020AF0BA770"), "RGB555"},
    {Guid("E436EB7D-524F-11CE-9F53-0020AF0BA770"), "RGB24"},
    {Guid("E436EB7E-524F-11CE-9F53-0020AF0BA770"), "RGB32"},
}};

std::uint64_t ReadLittleEndian(std::span<const BYTE> block, std::size_t at, std::size_t bytes) {
    std::uint64_t value = 0;
    for (std::size_t i = bytes; i-- > 0;) {
        value = value << 8 | block[at + i];
    }
    return value;
}

std::string AudioTagName(std::uint32_t tag) {
    if (tag == WAVE_FORMAT_PCM) {
        return "PCM";
    }
    if (tag >= kQrnAudioFormatTag && tag - kQrnAudioFormatTag < kQrnAudioCodecCount) {
        return kAudioCodecNames[tag - kQrnAudioFormatTag];
    }
    return "format " + std::to_string(tag);
}

/// The four letters that make a video subtype; nothing where they cannot be printed.
std::optional<std::string> FourLetters(std::uint32_t code) {
    std::string letters;
    for (int shift = 0; shift < 32; shift += 8) {
        const char letter = static_cast<char>(code >> shift & 0xFF);
        const bool isPlain = (letter >= '0' && letter <= '9') || (letter >= 'A' && letter <= 'Z') ||
                             (letter >= 'a' && letter <= 'z') || letter == ' ' || letter == '-' || letter == '_';
        if (!isPlain) {
            return std::nullopt;
        }
        letters += letter;
    }
    return letters;
}

std::string SubtypeName(const AM_MEDIA_TYPE& type) {
    for (const KnownSubtype& known : kPictureSubtypes) {
        if (known.id == type.subtype) {
            return known.name;
        }
    }
    // Most subtypes are a format tag or four letters in front of the same tail.
    GUID tail = type.subtype;
    tail.Data1 = MEDIATYPE_Audio.Data1;
    if (tail == MEDIATYPE_Audio && type.majortype == MEDIATYPE_Audio) {
        return AudioTagName(type.subtype.Data1);
    }
    if (tail == MEDIATYPE_Audio) {
        if (const auto letters = FourLetters(type.subtype.Data1)) {
            return *letters;
        }
    }
    return ToString(type.subtype);
}

std::string MajorName(const GUID& major) {
    if (major == MEDIATYPE_Audio) {
        return "audio";
    }
    return major == MEDIATYPE_Video ? "video" : ToString(major);
}

std::string DescribeWave(std::span<const BYTE> block) {
    const std::uint64_t channels = ReadLittleEndian(block, 2, 2);
    const std::uint64_t bits = ReadLittleEndian(block, 14, 2);
    std::string text = ", " + std::to_string(ReadLittleEndian(block, 4, 4)) + " Hz, " + std::to_string(channels) +
                       (channels == 1 ? " channel" : " channels");
    if (bits != 0) {
        text += ", " + std::to_string(bits) + " bit";
    }
    return text;
}

std::string DescribeVideo(std::span<const BYTE> block) {
    const auto width = static_cast<std::int32_t>(ReadLittleEndian(block, kVideoWidthAt, 4));
    const auto height = static_cast<std::int32_t>(ReadLittleEndian(block, kVideoHeightAt, 4));
    const auto frameTime = static_cast<std::int64_t>(ReadLittleEndian(block, kVideoFrameTimeAt, 8));
    const std::uint64_t bits = ReadLittleEndian(block, kVideoBitCountAt, 2);
    const std::uint64_t bitRate = ReadLittleEndian(block, kVideoBitRateAt, 4);
    // A height below 0 says that the first row is the top one.
    std::string text =
        ", " + std::to_string(width) + "x" + std::to_string(std::llabs(height)) + (height < 0 ? " top-down" : "");
    if (bits != 0) {
        text += ", " + std::to_string(bits) + " bit";
    }
    if (frameTime > 0) {
        text += ", " + DecimalText(1e7 / static_cast<double>(frameTime), 2) + " frames/s";
    }
    if (bitRate != 0) {
        text += ", " + std::to_string(bitRate) + " bit/s";
    }
    return text;
}

}  // namespace

std::string DescribeMediaType(const AM_MEDIA_TYPE& type) {
    std::string text = MajorName(type.majortype) + " " + SubtypeName(type);
    const std::span<const BYTE> block(type.pbFormat, type.pbFormat != nullptr ? type.cbFormat : 0);
    if (type.formattype == FORMAT_WaveFormatEx && block.size() >= kWaveFormatBytes) {
        text += DescribeWave(block);
    } else if (type.formattype == FORMAT_VideoInfo && block.size() >= kVideoFormatBytes) {
        text += DescribeVideo(block);
    }
    return text;
}

}  // namespace qrn
