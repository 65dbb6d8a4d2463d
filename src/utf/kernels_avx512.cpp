// placeholder
#define KY_UTF_ISA avx512
#include "kernel_sse.h"

namespace ky::detail {
const UtfKernels kAvx512UtfKernels = KY_UTF_KERNEL_TABLE;
}  // namespace ky::detail
