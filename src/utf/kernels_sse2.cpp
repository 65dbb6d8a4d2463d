// The SSE2 level's kernels: the x86-64 baseline, built without extra target
// options.
#define KY_UTF_ISA sse2
#include "kernel_sse.h"

namespace ky::detail {
const UtfKernels kSse2UtfKernels = UtfKernelTable<Kernel>::kTable;
}  // namespace ky::detail
