// Spans over a byte set or a predicate: one counting loop, four membership
// tests.
#include <cstdint>
#include <cstring>

#include "ky/strings.h"

namespace {

// Counts leading bytes of s for which in(byte) equals want, stopping at the
// NUL and, for n != 0, after n bytes.
template <bool Want, class In>
size_t Span(const char* s, size_t n, In in) {
  const size_t limit = n ? n : static_cast<size_t>(-1);
  size_t i = 0;
  while (i < limit && s[i] != '\0' && in(static_cast<unsigned char>(s[i])) == Want) ++i;
  return i;
}

// Membership of a byte set. Small sets, the usual separators, are compared
// directly; larger ones go through a 256-bit map built once per call.
struct ByteSet {
  ByteSet(const char* set, size_t setn) : size(setn ? setn : std::strlen(set)) {
    if (size <= 4) {
      std::memcpy(small, set, size);
    } else {
      std::memset(map, 0, sizeof map);
      for (size_t i = 0; i < size; ++i) {
        const auto b = static_cast<unsigned char>(set[i]);
        map[b >> 6] |= uint64_t{1} << (b & 63);
      }
    }
  }
  bool operator()(unsigned char b) const {
    if (size > 4) return (map[b >> 6] >> (b & 63)) & 1;
    bool hit = false;
    for (size_t i = 0; i < size; ++i) hit |= static_cast<unsigned char>(small[i]) == b;
    return hit;
  }
  size_t size;
  char small[4];
  uint64_t map[4];
};

}  // namespace

extern "C" {

size_t ky_strnspn(const char* s, size_t n, const char* set, size_t setn) {
  if (!s || !set) return 0;
  return Span<true>(s, n, ByteSet(set, setn));
}

size_t ky_strncspn(const char* s, size_t n, const char* set, size_t setn) {
  if (!s) return 0;
  if (!set) return Span<true>(s, n, [](unsigned char) { return true; });
  // One separator, the usual case of the name-value splitters: the C
  // library's vector scans find it (or the NUL) instead of a byte loop.
  if ((setn ? setn : std::strlen(set)) == 1) {
    if (!n) return static_cast<size_t>(::strchrnul(s, set[0]) - s);
    // Measured first, so the search never reads past the NUL.
    const size_t len = ::strnlen(s, n);
    const void* hit = std::memchr(s, set[0], len);
    return hit ? static_cast<size_t>(static_cast<const char*>(hit) - s) : len;
  }
  return Span<false>(s, n, ByteSet(set, setn));
}

size_t ky_strnfspn(const char* s, size_t n, int (*pred)(int)) {
  if (!s || !pred) return 0;
  return Span<true>(s, n, [pred](unsigned char b) { return pred(b) != 0; });
}

size_t ky_strnfcspn(const char* s, size_t n, int (*pred)(int)) {
  if (!s || !pred) return 0;
  return Span<false>(s, n, [pred](unsigned char b) { return pred(b) != 0; });
}

}  // extern "C"
