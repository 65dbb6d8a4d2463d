// Slow, obvious model of the transcoding rules: decodes one character at a
// time by the textbook bit layout and appends it whole, room permitting.
#ifndef KY_TESTS_REFERENCE_UTF_REFERENCE_H
#define KY_TESTS_REFERENCE_UTF_REFERENCE_H

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "ky/utf.h"

namespace ky::test {

struct RefChar {
  uint32_t cp;
  size_t len;  // source units; 0: the first unit is ill-formed
};

inline RefChar RefDecode(const unsigned char* s, size_t n) {
  const uint32_t b = s[0];
  const size_t len = b < 0x80 ? 1 : b < 0xC0 ? 0 : b < 0xE0 ? 2 : b < 0xF0 ? 3 : b < 0xF5 ? 4 : 0;
  if (len == 0 || len > n) return {0, 0};
  uint32_t cp = len == 1 ? b : b & (0x7F >> len);
  for (size_t i = 1; i < len; ++i) {
    if ((s[i] & 0xC0) != 0x80) return {0, 0};
    cp = cp << 6 | (s[i] & 0x3F);
  }
  // Overlong forms pass; encoded surrogates and values above 0x10FFFF do not.
  if ((len == 3 && cp >= 0xD800 && cp <= 0xDFFF) || cp > 0x10FFFF) return {0, 0};
  return {cp, len};
}

inline RefChar RefDecode(const unsigned short* s, size_t n) {
  const uint32_t u = s[0], v = n >= 2 ? s[1] : 0;
  if (u < 0xD800 || u > 0xDFFF) return {u, 1};
  const bool pair = u < 0xDC00 && v >= 0xDC00 && v <= 0xDFFF;  // high, then low
  return {0x10000 + ((u - 0xD800) << 10) + (v - 0xDC00), pair ? size_t{2} : 0};
}

inline RefChar RefDecode(const unsigned int* s, size_t) {
  return {s[0], s[0] < 0xD800 || (s[0] >= 0xE000 && s[0] <= 0x10FFFF) ? size_t{1} : 0};
}

// The units character c, decoded from s, becomes (U+FFFD when ill-formed).
template <typename To, typename From>
std::vector<To> RefEncode(const From* s, RefChar c) {
  const uint32_t cp = c.len ? c.cp : 0xFFFD;
  constexpr bool kFrom8 = std::is_same_v<From, unsigned char>;
  if constexpr (std::is_same_v<To, unsigned char>) {
    if (kFrom8 && c.len != 0) return std::vector<To>(s, s + c.len);  // as it came, overlong or not
    const int k = cp < 0x80 ? 1 : cp < 0x800 ? 2 : cp < 0x10000 ? 3 : 4;
    const uint32_t lead[] = {0, 0, 0xC0, 0xE0, 0xF0};
    std::vector<To> out{static_cast<To>(k == 1 ? cp : lead[k] | cp >> (6 * (k - 1)))};
    for (int j = k - 2; j >= 0; --j) out.push_back(static_cast<To>(0x80 | (cp >> 6 * j & 0x3F)));
    return out;
  } else if (std::is_same_v<To, unsigned short> && (kFrom8 ? c.len == 4 : cp > 0xFFFF)) {
    // A four-byte UTF-8 form is always a pair, truncated to 16 bits when overlong.
    return {static_cast<To>((cp - 0x10000) >> 10 | 0xD800), static_cast<To>(0xDC00 | (cp & 0x3FF))};
  }
  return {static_cast<To>(cp)};
}

template <typename To>
struct RefResult {
  std::vector<To> out;
  size_t consumed = 0;
  utf::ConvertResult result = utf::ConvertOk;
};

// The conversion of n units at s into `room` units.
template <typename To, typename From>
RefResult<To> RefConvert(const From* s, size_t n, utf::InvalidSequenceOption opt,
                         size_t room = SIZE_MAX) {
  RefResult<To> r;
  for (size_t& i = r.consumed; i < n && r.result == utf::ConvertOk;) {
    const RefChar c = RefDecode(s + i, n - i);
    const bool skip = c.len == 0 && opt == utf::SkipInvalid;
    const bool stop = c.len == 0 && (opt == utf::StopOnInvalid || opt == utf::RejectInvalid);
    const std::vector<To> units = skip || stop ? std::vector<To>() : RefEncode<To, From>(s + i, c);
    if (r.out.size() == room || r.out.size() + units.size() > room) {  // even for no units
      r.result = utf::ConvertDestinationFull;
    } else if (stop) {
      if (opt == utf::RejectInvalid) r.out.clear();
      r.result = utf::ConvertInvalidSequence;
    } else {
      r.out.insert(r.out.end(), units.begin(), units.end());
      i += c.len ? c.len : 1;  // one unit for an ill-formed start
    }
  }
  return r;
}

}  // namespace ky::test

#endif  // KY_TESTS_REFERENCE_UTF_REFERENCE_H
