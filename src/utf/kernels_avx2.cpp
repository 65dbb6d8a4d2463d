// The AVX2 level's kernels: the SSE2 level's blocks, built for AVX2 with its
// wider ASCII runs.
#define KY_UTF_ISA avx2
#include "kernel_sse.h"

namespace ky::detail {
const UtfKernels kAvx2UtfKernels = KY_UTF_KERNEL_TABLE;
}  // namespace ky::detail
