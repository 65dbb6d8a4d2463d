// The AVX2 level's kernels: the SSE2 level's blocks, built for AVX2 with its
// wider ASCII runs.
#define KY_UTF_ISA avx2
#include "kernel_sse.h"

namespace ky::detail {
const UtfKernels kAvx2UtfKernels = UtfKernelTable<Kernel>::kTable;
}  // namespace ky::detail
