#pragma once
#include "platform/sound/ISoundSink.h"

namespace qrn {

/// Nobody listens. What comes before it keeps time all the same.
class CNullSink final : public ISoundSink {
public:
    std::optional<std::string> Open(const SoundFormat&) override { return std::nullopt; }
    bool Write(std::span<const std::uint8_t>) override { return true; }
    void Close() override {}
};

}  // namespace qrn
