#pragma once

#include <cstdint>

/// Extends the 16-bit sequence numbers of one source to 32 bits that go on over each wrap. One thread.
class CRtpSequenceTracker {
public:
    /// A first number of 0 gives 65536, any other first number itself. There is no test of distance: a straggler from
    /// before a wrap that arrives after it lands a whole cycle too high, and is the highest from then on.
    std::uint32_t Extend(std::uint16_t sequence);
    void Reset();

private:
    bool m_started = false;
    std::uint32_t m_cycles = 0;
    std::uint32_t m_baseSequence = 0;
    std::uint32_t m_highestExtended = 0;
};
