#pragma once
/// The memory steps that packets and buffers share. None of them fails the caller: without memory a buffer is empty.

#include <cstdint>

namespace qrn {

/// Lets go of `data` and takes `size` fresh bytes; without memory `data` is null and `capacity` 0 afterwards.
/// @return whether `size` bytes are there.
bool ReplaceBytes(std::uint8_t*& data, std::uint32_t& capacity, std::uint32_t size);

/// Copies `size` bytes; where there is no source the destination gets zeros instead of what it held.
void CopyOrClear(std::uint8_t* destination, const std::uint8_t* source, std::uint32_t size);

/// Memory of its own for `size` bytes, or null: also when `size` is 0 or more than one piece of memory may have.
std::uint8_t* AllocateBytes(std::uint32_t size);

}  // namespace qrn
