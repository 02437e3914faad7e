#include "platform/imaging/RowKernelsFor.h"
#include "platform/imaging/VectorSse2.h"

namespace qrn {

extern const RowKernels kSse2Kernels;
constexpr RowKernels kSse2Kernels = KernelsFor<VectorSse2>();

}  // namespace qrn
