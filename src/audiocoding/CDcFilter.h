#pragma once
/// Takes the constant part out of a PCM signal.

#include <cstdint>
#include <span>

namespace qrn {

/// The first-order high-pass y[n] = x[n] - x[n-1] + 0.995 y[n-1], in place. Its state goes on from block to block and
/// is reset by nothing but construction. One thread at a time.
class CDcFilter {
public:
    void Process(std::span<std::int16_t> pcm);

private:
    double m_lastIn = 0.0;
    double m_lastOut = 0.0;  ///< before clipping
};

}  // namespace qrn
