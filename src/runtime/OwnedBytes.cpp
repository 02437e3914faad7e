#include "runtime/OwnedBytes.h"

#include <climits>
#include <cstring>

#include "platform/imaging/IppMemory.h"

namespace qrn {

std::uint8_t* AllocateBytes(std::uint32_t size) {
    return size > static_cast<std::uint32_t>(INT_MAX) ? nullptr : ippsMalloc_8u(static_cast<int>(size));
}

bool ReplaceBytes(std::uint8_t*& data, std::uint32_t& capacity, std::uint32_t size) {
    ippsFree(data);
    data = AllocateBytes(size);
    capacity = data == nullptr ? 0 : size;
    return capacity == size;
}

void CopyOrClear(std::uint8_t* destination, const std::uint8_t* source, std::uint32_t size) {
    if (destination == nullptr || size == 0) {
        return;
    }
    if (source == nullptr) {
        std::memset(destination, 0, size);
        return;
    }
    ippsCopy_8u(source, destination, static_cast<int>(size));  // no owner holds more than an int counts
}

}  // namespace qrn
