// Internal to libvokyutil: not installed, not to be included outside src/
// (the UTF benchmark compiles kernel_level.cpp to print the level in use).
//
// Vector kernels of the transcoding engine. A kernel converts (or measures)
// the longest prefix of a counted source that it can take whole: characters
// that the engine's decoder calls well-formed, each written entirely, with no
// unit stored past its output or past the room. It stops at the first unit it
// does not take (an ill-formed sequence, a character that does not fit, a
// shape it has no block for, or the last few units) and leaves that unit to
// the scalar engine, which alone applies the policy. Since a well-formed
// character converts the same under every policy, a kernel knows no policy.
//
// One table of kernels exists per instruction-set level; the engine picks one
// once per process from the CPU's features (and KY_UTF_KERNEL, a diagnostic
// override) and calls through it. Each level's kernels live in their own
// translation unit, built with that level's target options, and everything
// they define is local to it, so no code of a higher level can be merged into
// a function that the lower levels call.
#ifndef KY_SRC_UTF_KERNELS_H
#define KY_SRC_UTF_KERNELS_H

#include <atomic>
#include <cstddef>

namespace ky::detail {

enum class UtfKernelLevel { kScalar, kSse2, kAvx2, kAvx512 };

// The level this process runs: the highest the CPU and the operating system
// support (AVX-512 counts only with BW, VL, VBMI and VBMI2 and the OS saving
// the vector state), lowered to KY_UTF_KERNEL=scalar|sse2|avx2|avx512 when
// that is set. A request above what the CPU has is lowered to what it has;
// an unknown value is ignored.
UtfKernelLevel DetectUtfKernelLevel();

// "scalar", "sse2", "avx2" or "avx512".
const char* UtfKernelLevelName(UtfKernelLevel level);

// What a kernel took: source units consumed and destination units produced.
struct KernelProgress {
  size_t in;
  size_t out;
};

// Converting kernels write at most `room` units at d; measuring kernels have
// no destination and no room limit.
template <typename To, typename From>
using ConvertKernel = KernelProgress (*)(To* d, size_t room, const From* s, size_t n);
template <typename From>
using MeasureKernel = KernelProgress (*)(const From* s, size_t n);

using U8 = unsigned char;
using U16 = unsigned short;
using U32 = unsigned int;

// One level's kernels, a converting and a measuring one per pair, named
// to_from, and the shortest source they are worth calling for.
struct UtfKernels {
  size_t min_units;
  ConvertKernel<U8, U8> convert8_8;
  ConvertKernel<U8, U16> convert8_16;
  ConvertKernel<U8, U32> convert8_32;
  ConvertKernel<U16, U8> convert16_8;
  ConvertKernel<U16, U16> convert16_16;
  ConvertKernel<U16, U32> convert16_32;
  ConvertKernel<U32, U8> convert32_8;
  ConvertKernel<U32, U16> convert32_16;
  ConvertKernel<U32, U32> convert32_32;
  MeasureKernel<U8> measure8_8;
  MeasureKernel<U16> measure8_16;
  MeasureKernel<U32> measure8_32;
  MeasureKernel<U8> measure16_8;
  MeasureKernel<U16> measure16_16;
  MeasureKernel<U32> measure16_32;
  MeasureKernel<U8> measure32_8;
  MeasureKernel<U16> measure32_16;
  MeasureKernel<U32> measure32_32;
};

// The table of the level chosen for this process. The choice is made on
// first use and kept in one pointer; two threads that make it at once make
// the same one. The scalar level's table has no kernels and a min_units no
// source reaches.
extern std::atomic<const UtfKernels*> g_active_utf_kernels;
const UtfKernels* ChooseUtfKernels();
inline const UtfKernels* ActiveUtfKernels() {
  const UtfKernels* k = g_active_utf_kernels.load(std::memory_order_relaxed);
  return __builtin_expect(k != nullptr, 1) ? k : ChooseUtfKernels();
}

// The tables of the vector levels (x86-64 builds only).
extern const UtfKernels kSse2UtfKernels;
extern const UtfKernels kAvx2UtfKernels;
extern const UtfKernels kAvx512UtfKernels;

// The kernels of the pair To from From.
template <typename To, typename From>
ConvertKernel<To, From> ConvertKernelOf(const UtfKernels& k);
template <typename To, typename From>
MeasureKernel<From> MeasureKernelOf(const UtfKernels& k);

#define KY_UTF_KERNEL_PAIR(To, From, convert, measure)                            \
  template <>                                                                     \
  inline ConvertKernel<To, From> ConvertKernelOf<To, From>(const UtfKernels& k) { \
    return k.convert;                                                             \
  }                                                                               \
  template <>                                                                     \
  inline MeasureKernel<From> MeasureKernelOf<To, From>(const UtfKernels& k) {     \
    return k.measure;                                                             \
  }
KY_UTF_KERNEL_PAIR(U8, U8, convert8_8, measure8_8)
KY_UTF_KERNEL_PAIR(U8, U16, convert8_16, measure8_16)
KY_UTF_KERNEL_PAIR(U8, U32, convert8_32, measure8_32)
KY_UTF_KERNEL_PAIR(U16, U8, convert16_8, measure16_8)
KY_UTF_KERNEL_PAIR(U16, U16, convert16_16, measure16_16)
KY_UTF_KERNEL_PAIR(U16, U32, convert16_32, measure16_32)
KY_UTF_KERNEL_PAIR(U32, U8, convert32_8, measure32_8)
KY_UTF_KERNEL_PAIR(U32, U16, convert32_16, measure32_16)
KY_UTF_KERNEL_PAIR(U32, U32, convert32_32, measure32_32)
#undef KY_UTF_KERNEL_PAIR

// A level's table, from its kernel template K<To, From, kWrite>, whose
// static Run(d, room, s, n) both converts (kWrite) and measures (d null,
// room SIZE_MAX), and whose kMinUnits is the table's min_units. K is local to
// the level's translation unit, and so is everything instantiated from it
// here.
template <template <typename, typename, bool> class K>
struct UtfKernelTable {
  template <typename To, typename From>
  static KernelProgress Convert(To* d, size_t room, const From* s, size_t n) {
    return K<To, From, true>::Run(d, room, s, n);
  }
  template <typename To, typename From>
  static KernelProgress Measure(const From* s, size_t n) {
    return K<To, From, false>::Run(nullptr, ~size_t{0}, s, n);
  }
  static constexpr UtfKernels kTable = {
      K<U8, U8, true>::kMinUnits, &Convert<U8, U8>,   &Convert<U8, U16>,  &Convert<U8, U32>,
      &Convert<U16, U8>,          &Convert<U16, U16>, &Convert<U16, U32>, &Convert<U32, U8>,
      &Convert<U32, U16>,         &Convert<U32, U32>, &Measure<U8, U8>,   &Measure<U8, U16>,
      &Measure<U8, U32>,          &Measure<U16, U8>,  &Measure<U16, U16>, &Measure<U16, U32>,
      &Measure<U32, U8>,          &Measure<U32, U16>, &Measure<U32, U32>,
  };
};

}  // namespace ky::detail

#endif  // KY_SRC_UTF_KERNELS_H
