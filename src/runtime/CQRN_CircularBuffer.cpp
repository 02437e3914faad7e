#include "runtime/CQRN_CircularBuffer.h"

#include "runtime/exceptions.h"

namespace {

std::uint32_t CheckedCount(std::uint32_t count) {
    if (count == 0) {
        throw exc_CQRN_CircularBuffer(L"DinamicBuffer", 93, L"was not possible create the circular buffer.", 0);
    }
    return count;
}

}  // namespace

CQRN_CircularBuffer::CQRN_CircularBuffer(std::uint32_t count) : CRing(CheckedCount(count)) {}
