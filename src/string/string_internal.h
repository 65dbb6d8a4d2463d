// Internal to libvokyutil: not installed, not to be included outside src/.
#ifndef KY_SRC_STRING_INTERNAL_H
#define KY_SRC_STRING_INTERNAL_H

#include <cstddef>
#include <cstdint>

namespace ky::detail {

// A destination of n bytes at dst has room only when its end lies above its
// start: n == 0 and sizes whose end address wraps both mean "no room".
inline bool HasRoom(const void* dst, size_t n) {
  const auto start = reinterpret_cast<uintptr_t>(dst);
  return start + n > start;
}

}  // namespace ky::detail

#endif  // KY_SRC_STRING_INTERNAL_H
