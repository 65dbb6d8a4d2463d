// Which kernel level this process runs, from the CPU's features, the state
// the operating system saves, and KY_UTF_KERNEL.
#include <cstdlib>
#include <cstring>

#include "kernels.h"

#if defined(__x86_64__) || defined(_M_X64)
#include <cpuid.h>
#endif

namespace ky::detail {
namespace {

UtfKernelLevel CpuLevel() {
#if defined(__x86_64__) || defined(_M_X64)
  unsigned a, b, c, d;
  if (!__get_cpuid(1, &a, &b, &c, &d)) return UtfKernelLevel::kSse2;
  const bool popcnt = (c >> 23) & 1;
  const bool osxsave = (c >> 27) & 1;
  if (!osxsave || !popcnt || __get_cpuid_max(0, nullptr) < 7) return UtfKernelLevel::kSse2;
  // The vector registers are usable only when the operating system saves
  // them across switches: SSE and AVX state (bits 1, 2), and for AVX-512 the
  // mask and upper register state (bits 5, 6, 7).
  unsigned xcr0_lo, xcr0_hi;
  __asm__("xgetbv" : "=a"(xcr0_lo), "=d"(xcr0_hi) : "c"(0));
  if ((xcr0_lo & 0x06) != 0x06) return UtfKernelLevel::kSse2;
  __cpuid_count(7, 0, a, b, c, d);
  const bool bmi1 = (b >> 3) & 1, avx2 = (b >> 5) & 1, bmi2 = (b >> 8) & 1;
  if (!(avx2 && bmi1 && bmi2)) return UtfKernelLevel::kSse2;
  const bool f = (b >> 16) & 1, bw = (b >> 30) & 1, vl = (b >> 31) & 1;
  const bool vbmi = (c >> 1) & 1, vbmi2 = (c >> 6) & 1;
  if ((xcr0_lo & 0xE6) == 0xE6 && f && bw && vl && vbmi && vbmi2) return UtfKernelLevel::kAvx512;
  return UtfKernelLevel::kAvx2;
#else
  return UtfKernelLevel::kScalar;
#endif
}

const char* const kNames[] = {"scalar", "sse2", "avx2", "avx512"};

}  // namespace

UtfKernelLevel DetectUtfKernelLevel() {
  const UtfKernelLevel cpu = CpuLevel();
  const char* want = std::getenv("KY_UTF_KERNEL");
  if (want == nullptr) return cpu;
  for (int i = 0; i < 4; ++i) {
    if (std::strcmp(want, kNames[i]) == 0) {
      const auto level = static_cast<UtfKernelLevel>(i);
      return level < cpu ? level : cpu;
    }
  }
  return cpu;
}

const char* UtfKernelLevelName(UtfKernelLevel level) { return kNames[static_cast<int>(level)]; }

}  // namespace ky::detail
