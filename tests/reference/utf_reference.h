// Slow, obvious reference for the transcoding rules: decodes one character at
// a time from the rule tables, byte by byte, and writes into a vector with no
// room limit. The tests compare the library's vector code against it.
#ifndef KY_TESTS_REFERENCE_UTF_REFERENCE_H
#define KY_TESTS_REFERENCE_UTF_REFERENCE_H

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "ky/utf.h"

namespace ky::test {

struct RefChar {
  bool ok;
  uint32_t cp;
  size_t len;  // source units
};

inline RefChar RefDecode(const unsigned char* s, size_t avail) {
  const uint32_t b = s[0];
  if (b <= 0x7F) return {true, b, 1};
  size_t need = 0;
  if (b >= 0xC0 && b <= 0xDF) need = 2;
  if (b >= 0xE0 && b <= 0xEF) need = 3;
  if (b >= 0xF0 && b <= 0xF3) need = 4;
  if (b == 0xF4 && avail >= 2 && s[1] >= 0x80 && s[1] <= 0x8F) need = 4;
  if (need == 0 || avail < need) return {false, 0, 1};
  uint32_t cp = b & (need == 2 ? 0x1F : need == 3 ? 0x0F : 0x07);
  for (size_t i = 1; i < need; ++i) {
    if (s[i] < 0x80 || s[i] > 0xBF) return {false, 0, 1};
    cp = (cp << 6) | (s[i] & 0x3F);
  }
  if (need == 3 && cp >= 0xD800 && cp <= 0xDFFF) return {false, 0, 1};
  return {true, cp, need};
}

inline RefChar RefDecode(const unsigned short* s, size_t avail) {
  const uint32_t u = s[0];
  if (u < 0xD800 || u > 0xDFFF) return {true, u, 1};
  if (u <= 0xDBFF && avail >= 2 && s[1] >= 0xDC00 && s[1] <= 0xDFFF) {
    return {true, 0x10000 + ((u - 0xD800) << 10) + (s[1] - 0xDC00u), 2};
  }
  return {false, 0, 1};
}

inline RefChar RefDecode(const unsigned int* s, size_t) {
  const uint32_t v = s[0];
  const bool ok = v <= 0xD7FF || (v >= 0xE000 && v <= 0x10FFFF);
  return {ok, v, 1};
}

// Appends the encoding of a well-formed character decoded from a source of
// unit type From.
template <typename To, typename From>
void RefEncode(std::vector<To>& out, const From* s, RefChar c) {
  const uint32_t cp = c.cp;
  if constexpr (std::is_same_v<To, unsigned char>) {
    if constexpr (std::is_same_v<From, unsigned char>) {
      out.insert(out.end(), s, s + c.len);  // copied as it came
    } else if (cp < 0x80) {
      out.push_back(static_cast<To>(cp));
    } else if (cp < 0x800) {
      out.push_back(static_cast<To>(0xC0 + (cp >> 6)));
      out.push_back(static_cast<To>(0x80 + (cp & 0x3F)));
    } else if (cp < 0x10000) {
      out.push_back(static_cast<To>(0xE0 + (cp >> 12)));
      out.push_back(static_cast<To>(0x80 + ((cp >> 6) & 0x3F)));
      out.push_back(static_cast<To>(0x80 + (cp & 0x3F)));
    } else {
      out.push_back(static_cast<To>(0xF0 + (cp >> 18)));
      out.push_back(static_cast<To>(0x80 + ((cp >> 12) & 0x3F)));
      out.push_back(static_cast<To>(0x80 + ((cp >> 6) & 0x3F)));
      out.push_back(static_cast<To>(0x80 + (cp & 0x3F)));
    }
  } else if constexpr (std::is_same_v<To, unsigned short>) {
    const bool pair = std::is_same_v<From, unsigned char> ? c.len == 4 : cp > 0xFFFF;
    if (pair) {
      // Truncated to 16 bits, so overlong four-byte forms wrap.
      out.push_back(static_cast<To>((((cp - 0x10000) >> 10) | 0xD800) & 0xFFFF));
      out.push_back(static_cast<To>(0xDC00 + (cp & 0x3FF)));
    } else {
      out.push_back(static_cast<To>(cp));
    }
  } else {
    out.push_back(cp);
  }
}

template <typename To>
void RefReplacement(std::vector<To>& out) {
  if constexpr (std::is_same_v<To, unsigned char>) {
    out.insert(out.end(), {0xEF, 0xBF, 0xBD});
  } else {
    out.push_back(0xFFFD);
  }
}

template <typename To>
struct RefResult {
  std::vector<To> out;
  size_t consumed = 0;
  utf::ConvertResult result = utf::ConvertOk;
};

// The conversion of n units at s with unlimited room.
template <typename To, typename From>
RefResult<To> RefConvert(const From* s, size_t n, utf::InvalidSequenceOption opt) {
  RefResult<To> r;
  size_t i = 0;
  while (i < n) {
    const RefChar c = RefDecode(s + i, n - i);
    if (c.ok) {
      RefEncode<To, From>(r.out, s + i, c);
      i += c.len;
      continue;
    }
    if (opt == utf::StopOnInvalid || opt == utf::RejectInvalid) {
      if (opt == utf::RejectInvalid) r.out.clear();
      r.result = utf::ConvertInvalidSequence;
      break;
    }
    if (opt == utf::ReplaceInvalid) RefReplacement(r.out);
    ++i;
  }
  r.consumed = i;
  return r;
}

}  // namespace ky::test

#endif  // KY_TESTS_REFERENCE_UTF_REFERENCE_H
