// The kernel table of this process, chosen once.
#include "kernels.h"

namespace ky::detail {

std::atomic<const UtfKernels*> g_active_utf_kernels{nullptr};

namespace {
constexpr UtfKernels ScalarUtfKernels() {
  UtfKernels k{};
  k.min_units = ~size_t{0};
  return k;
}
constexpr UtfKernels kScalarUtfKernels = ScalarUtfKernels();
}  // namespace

const UtfKernels* ChooseUtfKernels() {
  const UtfKernels* table = &kScalarUtfKernels;
  switch (DetectUtfKernelLevel()) {
#if defined(__x86_64__) || defined(_M_X64)
    case UtfKernelLevel::kSse2:
      table = &kSse2UtfKernels;
      break;
    case UtfKernelLevel::kAvx2:
      table = &kAvx2UtfKernels;
      break;
    case UtfKernelLevel::kAvx512:
      table = &kAvx512UtfKernels;
      break;
#endif
    default:
      break;
  }
  g_active_utf_kernels.store(table, std::memory_order_relaxed);
  return table;
}

}  // namespace ky::detail
