// Internal to libvokyutil: not installed, not to be included outside src/.
//
// One decoder per encoding form and one encoder per form: the rules by which
// the whole transcoding engine (scalar loop, vector kernels, enumerator) tells
// where a character ends, what it means and how long its output is.
//
// The code is built again in each kernel translation unit with that unit's
// target options; the inline namespace KY_UTF_ISA, defined by the including
// unit, keeps each build's functions apart so that the linker never merges a
// vector build of one into the code the baseline runs.
#ifndef KY_SRC_UTF_UNIT_CODEC_H
#define KY_SRC_UTF_UNIT_CODEC_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#ifndef KY_UTF_ISA
#define KY_UTF_ISA base
#endif

namespace ky::detail {
inline namespace KY_UTF_ISA {

// One decoded character: its code point and its length in source units; a
// length of 0 means the first unit does not start a well-formed character.
struct Decoded {
  uint32_t cp;
  uint32_t len;
};

constexpr Decoded kIllFormed = {0, 0};

inline bool IsContinuation(uint32_t b) { return (b & 0xC0) == 0x80; }

// Decoders. `avail` is the number of units that may be read at s; with
// kBounded false the source is NUL-terminated and avail is ignored: the
// continuation tests run in order and the terminator fails the first one it
// meets, so nothing past it is read. A sequence that needs more units than are
// available is ill-formed at its lead, never left pending.
template <typename From, bool kBounded>
struct Decoder;

template <bool kBounded>
struct Decoder<unsigned char, kBounded> {
  static Decoded Decode(const unsigned char* s, size_t avail) {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    if (kBounded && avail >= 4) return DecodeWord(s);
#endif
    const uint32_t b = s[0];
    if (b < 0x80) return {b, 1};
    if ((b & 0xE0) == 0xC0) {
      if (kBounded && avail < 2) return kIllFormed;
      const uint32_t c1 = s[1];
      if (!IsContinuation(c1)) return kIllFormed;
      // Overlong two-byte forms (0xC0, 0xC1) decode as written: stored data
      // depends on 0xC0 0x80 meaning U+0000.
      return {((b & 0x1F) << 6) | (c1 & 0x3F), 2};
    }
    if ((b & 0xF0) == 0xE0) {
      if (kBounded && avail < 3) return kIllFormed;
      const uint32_t c1 = s[1];
      if (!IsContinuation(c1)) return kIllFormed;
      const uint32_t c2 = s[2];
      if (!IsContinuation(c2)) return kIllFormed;
      const uint32_t cp = ((b & 0x0F) << 12) | ((c1 & 0x3F) << 6) | (c2 & 0x3F);
      if ((cp & 0xF800) == 0xD800) return kIllFormed;  // an encoded surrogate
      return {cp, 3};
    }
    // 0xF4 leads only up to 0x10FFFF; nothing else bounds the four-byte forms.
    if ((b & 0xFC) == 0xF0 || b == 0xF4) {
      if (kBounded && avail < 4) return kIllFormed;
      const uint32_t c1 = s[1];
      if (b == 0xF4 ? (c1 & 0xF0) != 0x80 : !IsContinuation(c1)) return kIllFormed;
      const uint32_t c2 = s[2];
      if (!IsContinuation(c2)) return kIllFormed;
      const uint32_t c3 = s[3];
      if (!IsContinuation(c3)) return kIllFormed;
      return {((b & 0x07) << 18) | ((c1 & 0x3F) << 12) | ((c2 & 0x3F) << 6) | (c3 & 0x3F), 4};
    }
    return kIllFormed;
  }

#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  // The same rules on four bytes read at once (all four must be readable):
  // the lead's bit pattern and its continuations are tested in one compare.
  static Decoded DecodeWord(const unsigned char* s) {
    uint32_t w;
    std::memcpy(&w, s, 4);
    if ((w & 0x80) == 0) return {w & 0xFF, 1};
    if ((w & 0xC0E0) == 0x80C0) return {((w & 0x1F) << 6) | ((w >> 8) & 0x3F), 2};
    if ((w & 0xC0C0F0) == 0x8080E0) {
      const uint32_t cp = ((w & 0x0F) << 12) | ((w >> 2) & 0xFC0) | ((w >> 16) & 0x3F);
      if ((cp & 0xF800) == 0xD800) return kIllFormed;
      return {cp, 3};
    }
    // Leads 0xF0..0xF7 with three continuations; 0xF5..0xF7, and 0xF4 past
    // 0x8F, lie above 0x10FFFF.
    if ((w & 0xC0C0C0F8) == 0x808080F0 && (w & 0xFF) <= 0xF4 &&
        ((w & 0xFF) != 0xF4 || (w & 0x3000) == 0)) {
      return {
          ((w & 0x07) << 18) | ((w & 0x3F00) << 4) | ((w & 0x3F0000) >> 10) | ((w >> 24) & 0x3F),
          4};
    }
    return kIllFormed;
  }
#endif
};

template <bool kBounded>
struct Decoder<unsigned short, kBounded> {
  static Decoded Decode(const unsigned short* s, size_t avail) {
    const uint32_t u = s[0];
    if ((u & 0xF800) != 0xD800) return {u, 1};
    if ((u & 0xFC00) == 0xD800 && (!kBounded || avail >= 2)) {
      const uint32_t low = s[1];  // the terminator, at worst, which is no low surrogate
      if ((low & 0xFC00) == 0xDC00) return {(((u & 0x3FF) << 10) | (low & 0x3FF)) + 0x10000, 2};
    }
    return kIllFormed;
  }
};

inline bool IsScalarValue(uint32_t v) { return v < 0xD800 || (v >= 0xE000 && v <= 0x10FFFF); }

template <bool kBounded>
struct Decoder<unsigned int, kBounded> {
  static Decoded Decode(const unsigned int* s, size_t) {
    const uint32_t v = s[0];
    return IsScalarValue(v) ? Decoded{v, 1} : kIllFormed;
  }
};

// Encoders. The output length of a character depends on the code point and,
// for the two forms that keep a UTF-8 source's shape, on its source length:
// UTF-8 to UTF-8 copies the bytes as they came (overlong forms included), and
// a four-byte UTF-8 form is always a pair in UTF-16.
template <typename To>
struct Encoder;

template <>
struct Encoder<unsigned char> {
  static constexpr size_t kReplacementLength = 3;
  static size_t ValueLength(uint32_t cp) {
    return cp < 0x80 ? 1 : cp < 0x800 ? 2 : cp < 0x10000 ? 3 : 4;
  }
  template <typename From>
  static size_t Length(Decoded c) {
    if constexpr (std::is_same_v<From, unsigned char>) {
      return c.len;
    } else {
      return ValueLength(c.cp);
    }
  }
  static void PutValue(unsigned char* d, uint32_t cp, size_t n) {
    switch (n) {
      case 1:
        d[0] = static_cast<unsigned char>(cp);
        break;
      case 2:
        d[0] = static_cast<unsigned char>(0xC0 | (cp >> 6));
        d[1] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
        break;
      case 3:
        d[0] = static_cast<unsigned char>(0xE0 | (cp >> 12));
        d[1] = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
        d[2] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
        break;
      default:
        d[0] = static_cast<unsigned char>(0xF0 | (cp >> 18));
        d[1] = static_cast<unsigned char>(0x80 | ((cp >> 12) & 0x3F));
        d[2] = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
        d[3] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
        break;
    }
  }
  template <typename From>
  static void Put(unsigned char* d, const From* s, Decoded c, size_t n) {
    if constexpr (std::is_same_v<From, unsigned char>) {
      for (size_t i = 0; i < n; ++i) d[i] = s[i];
    } else {
      PutValue(d, c.cp, n);
    }
  }
  static void PutReplacement(unsigned char* d) {
    d[0] = 0xEF;
    d[1] = 0xBF;
    d[2] = 0xBD;
  }
};

template <>
struct Encoder<unsigned short> {
  static constexpr size_t kReplacementLength = 1;
  static size_t ValueLength(uint32_t cp) { return cp < 0x10000 ? 1 : 2; }
  template <typename From>
  static size_t Length(Decoded c) {
    if constexpr (std::is_same_v<From, unsigned char>) {
      return c.len == 4 ? 2 : 1;
    } else {
      return ValueLength(c.cp);
    }
  }
  // The pair formula runs in 32-bit unsigned arithmetic and is truncated to
  // 16 bits: for an overlong four-byte UTF-8 form (cp < 0x10000) it wraps,
  // and data stored that way is read back by the same rule.
  static void PutValue(unsigned short* d, uint32_t cp, size_t n) {
    if (n == 1) {
      d[0] = static_cast<unsigned short>(cp);
    } else {
      d[0] = static_cast<unsigned short>(((cp - 0x10000) >> 10) | 0xD800);
      d[1] = static_cast<unsigned short>((cp & 0x3FF) | 0xDC00);
    }
  }
  template <typename From>
  static void Put(unsigned short* d, const From*, Decoded c, size_t n) {
    PutValue(d, c.cp, n);
  }
  static void PutReplacement(unsigned short* d) { d[0] = 0xFFFD; }
};

template <>
struct Encoder<unsigned int> {
  static constexpr size_t kReplacementLength = 1;
  static size_t ValueLength(uint32_t) { return 1; }
  template <typename From>
  static size_t Length(Decoded) {
    return 1;
  }
  static void PutValue(unsigned int* d, uint32_t cp, size_t) { d[0] = cp; }
  template <typename From>
  static void Put(unsigned int* d, const From*, Decoded c, size_t) {
    d[0] = c.cp;
  }
  static void PutReplacement(unsigned int* d) { d[0] = 0xFFFD; }
};

}  // namespace KY_UTF_ISA
}  // namespace ky::detail

#endif  // KY_SRC_UTF_UNIT_CODEC_H
