#pragma once
/// The memory primitives of the picture library: aligned byte memory and a plain copy.

#include "platform/imaging/IppTypes.h"

/// @return `bytes` bytes at a 64-byte boundary, not initialised; null when there is no memory or `bytes` is not
/// positive. Give them back through ippsFree only. Any thread.
Ipp8u* ippsMalloc_8u(int bytes);

/// Null is allowed.
void ippsFree(void* memory);

/// Copies between areas that do not overlap. A null pointer or a length below 1 copies nothing and is told by the
/// result.
IppStatus ippsCopy_8u(const Ipp8u* source, Ipp8u* destination, int bytes);
