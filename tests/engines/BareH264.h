#pragma once

#include <memory>
#include <vector>

#include "engines/Clip.h"

namespace qrn::test {

using Frame = std::vector<std::uint8_t>;

/// OpenH264 by itself, opened as a call would, to compare with.
class BareEncoder {
public:
    BareEncoder(int width, int height, int fps, int kbps, int keyInterval);
    ~BareEncoder();
    Frame Encode(const Picture& picture);

private:
    struct State;
    std::unique_ptr<State> m_state;
};

/// OpenH264's own decoder, which shares nothing with FFmpeg's.
class BareDecoder {
public:
    BareDecoder();
    ~BareDecoder();
    /// Empty bytes when there is no picture.
    Picture Decode(const Frame& frame);

private:
    struct State;
    std::unique_ptr<State> m_state;
};

}  // namespace qrn::test
