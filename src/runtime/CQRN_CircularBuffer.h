#pragma once

#include <cstdint>

#include "runtime/CQRN_DinamicBuffer.h"
#include "runtime/CRing.h"

/// A locked ring of byte buffers. Any thread.
class CQRN_CircularBuffer : public qrn::CRing<CQRN_DinamicBuffer> {
public:
    /// @throws exc_CQRN_CircularBuffer for 0 slots.
    explicit CQRN_CircularBuffer(std::uint32_t count);
};
