#include "client/CodecTable.h"

#include <algorithm>
#include <array>

namespace qrn {
namespace {

constexpr std::array<CodecInfo, 6> kCodecs{{
    {"gsm", 0, 8000, 80, 112, 13, 3400, {0.95, 10.0}},
    {"g72x", 1, 8000, 80, 112, 32, 3400, {0.96, 18.0}},
    {"speex", 2, 8000, 80, 112, 15, 3400, {0.70, 1.5}},
    {"speex_hq", 3, 32000, 80, 112, 44, 7000, {0.80, 3.0}},
    {"mp3", 4, 32000, 72, 114, 64, 7000, {0.95, 10.0}},
    // At lower rates the coder changes its bandwidth in the middle of speech, and a packet whose two frames differ is
    // lost.
    {"opus", 5, 48000, 40, 115, 64, 3400, {0.80, 4.5}},
}};

template <class Predicate>
const CodecInfo* FindIf(Predicate predicate) {
    const auto* found = std::find_if(kCodecs.begin(), kCodecs.end(), predicate);
    return found == kCodecs.end() ? nullptr : found;
}

}  // namespace

std::span<const CodecInfo> Codecs() {
    return kCodecs;
}

const CodecInfo* FindCodec(std::string_view name) {
    return FindIf([name](const CodecInfo& codec) { return codec.name == name; });
}

const CodecInfo* FindCodecById(unsigned id) {
    return FindIf([id](const CodecInfo& codec) { return codec.id == id; });
}

const CodecInfo* FindCodecByPayloadType(int payloadType) {
    return FindIf([payloadType](const CodecInfo& codec) { return codec.payloadType == payloadType; });
}

std::string CodecNames() {
    std::string names;
    for (const CodecInfo& codec : kCodecs) {
        names += names.empty() ? "" : ", ";
        names += codec.name;
    }
    return names;
}

}  // namespace qrn
