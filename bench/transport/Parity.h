#pragma once

#include <cstdint>

namespace qrn::bench {

/// Nanoseconds a packet of full size, in memory that is not the same from packet to packet.
struct FoldingCost {
    double fold = 0;  ///< into the parity of a group, a parity packet for each group among it
    double copy = 0;  ///< one copy of the packet
};
FoldingCost MeasureFolding(std::uint32_t groupSize);

}  // namespace qrn::bench
