// The kernel table of this process, chosen once.
#include "kernels.h"

namespace ky::detail {

const UtfKernels* ActiveUtfKernels() {
  static const UtfKernels* const table = []() -> const UtfKernels* {
    switch (DetectUtfKernelLevel()) {
#if defined(__x86_64__) || defined(_M_X64)
      case UtfKernelLevel::kSse2:
        return &kSse2UtfKernels;
      case UtfKernelLevel::kAvx2:
        return &kAvx2UtfKernels;
      case UtfKernelLevel::kAvx512:
        return &kAvx512UtfKernels;
#endif
      default:
        return nullptr;
    }
  }();
  return table;
}

}  // namespace ky::detail
