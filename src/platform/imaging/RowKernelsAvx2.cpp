#include "platform/imaging/RowKernelsFor.h"
#include "platform/imaging/VectorAvx2.h"

namespace qrn {

extern const RowKernels kAvx2Kernels;
constexpr RowKernels kAvx2Kernels = KernelsFor<VectorAvx2>();

}  // namespace qrn
