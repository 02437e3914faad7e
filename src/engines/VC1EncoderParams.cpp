#include "engines/VC1EncoderParams.h"

#include <array>
#include <string_view>

#include "engines/ParamText.h"

namespace UMC {

namespace {

constexpr std::wstring_view kProfileKey = L"Profile:";
constexpr std::wstring_view kBitrateKey = L"Bitrate:";

struct Key {
    std::wstring_view text;
    std::int32_t VC1EncoderParams::*field;
};

constexpr std::array kKeys{
    Key{L"GOPLength:", &VC1EncoderParams::m_GOPLength},
    Key{L"BFramesLength:", &VC1EncoderParams::m_BFramesLength},
    Key{L"Width:", &VC1EncoderParams::m_width},
    Key{L"Height:", &VC1EncoderParams::m_height},
    Key{L"VSTtransform:", &VC1EncoderParams::m_VSTtransform},
    Key{L"Deblocking:", &VC1EncoderParams::m_Deblocking},
    Key{L"ConstQuantization:", &VC1EncoderParams::m_ConstQuantization},
    Key{L"NumberOfFrames:", &VC1EncoderParams::m_NumberOfFrames},
    Key{L"MESearchSpeed:", &VC1EncoderParams::m_MESearchSpeed},
    Key{L"HRDBufferSize:", &VC1EncoderParams::m_HRDBufferSize},
    Key{L"HRDInitFullness:", &VC1EncoderParams::m_HRDInitFullness},
    Key{L"FrameRecoding:", &VC1EncoderParams::m_FrameRecoding},
    Key{L"MixedMV:", &VC1EncoderParams::m_MixedMV},
    Key{L"OriginalPredictedFrame:", &VC1EncoderParams::m_OriginalPredictedFrame},
    Key{L"InterlaceField:", &VC1EncoderParams::m_InterlaceField},
    Key{L"RefField:", &VC1EncoderParams::m_RefField},
    Key{L"SceneAnalyzer:", &VC1EncoderParams::m_SceneAnalyzer},
    Key{L"QuantType:", &VC1EncoderParams::m_QuantType},
    Key{L"SelectVLCTables:", &VC1EncoderParams::m_SelectVLCTables},
    Key{L"ChangeInterpPixelType:", &VC1EncoderParams::m_ChangeInterpPixelType},
    Key{L"UseTreillisQuantization:", &VC1EncoderParams::m_UseTreillisQuantization},
};

/// @return what follows the key; nothing when the line does not hold it.
std::optional<std::wstring_view> ValueOf(std::wstring_view line, std::wstring_view key) {
    const std::size_t at = line.find(key);
    return at == std::wstring_view::npos ? std::nullopt : std::optional(line.substr(at + key.size()));
}

bool TakeProfile(std::wstring_view value, std::int32_t& profile) {
    constexpr std::wstring_view kBlanks = L" \t\r";
    value.remove_prefix(std::min(value.find_first_not_of(kBlanks), value.size()));
    const std::wstring_view name = value.substr(0, value.find_first_of(kBlanks));
    if (name == L"Simple") {
        profile = VC1EncoderParams::kSimple;
    } else if (name == L"Main") {
        profile = VC1EncoderParams::kMain;
    } else if (name == L"Advance") {
        profile = VC1EncoderParams::kAdvanced;
    } else {
        return false;
    }
    return true;
}

bool TakeLine(std::wstring_view line, VC1EncoderParams& params) {
    if (const auto value = ValueOf(line, kProfileKey)) {
        return TakeProfile(*value, params.m_profile);
    }
    if (const auto value = ValueOf(line, kBitrateKey)) {
        const auto number = ParamText::Number(*value);
        params.m_bitrate = static_cast<std::uint32_t>(number.value_or(0));
        return number.value_or(-1) >= 0;
    }
    for (const Key& key : kKeys) {
        if (const auto value = ValueOf(line, key.text)) {
            const auto number = ParamText::Number(*value);
            params.*key.field = number.value_or(0);
            return number.has_value();
        }
    }
    return true;
}

}  // namespace

Status VC1EncoderParams::ReadParams(const std::filesystem::path& file) {
    ParamText text(file);
    if (!text.IsOpen()) {
        return kCannotOpen;
    }
    VC1EncoderParams read(*this);
    while (const auto line = text.NextLine()) {
        if (!TakeLine(*line, read)) {
            return kBadText;
        }
    }
    *this = read;
    return kOk;
}

}  // namespace UMC
