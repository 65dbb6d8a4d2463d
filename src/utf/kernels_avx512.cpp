// The AVX-512 level's kernels (BW, VL, VBMI, VBMI2). A block is 64 bytes of
// UTF-8, 32 units of UTF-16 or 16 of UTF-32, and a short one at the end of
// the source is read through a mask, so short fields run here too.
//
// Each block is classified at once: masks with a bit per unit say which
// units lead a character of which length and which continue one, and the
// decoder's rules become mask arithmetic (a lead's continuations are exactly
// the continuation bytes; 0xED is not followed by 0xA0..0xBF; 0xF4 not by
// 0x90..0xBF; a high surrogate is followed by a low one and a low one
// preceded by a high one). A character cut by the end of the block waits for
// the next block. Where an ill-formed sequence is found, the characters
// before it are taken and the kernel stops at it.
//
// Transcoding computes, for every unit of the block, the output as if a
// character started there, in lanes wide enough for it, and then compresses
// the lanes of the units that do start one into contiguous output. Stores
// are masked to the output's length, so nothing past the output is touched.
#define KY_UTF_ISA avx512
#include <immintrin.h>

#include "kernels.h"
#include "unit_codec.h"

namespace ky::detail {
inline namespace KY_UTF_ISA {
namespace {

// The block helpers return several masks and vectors at once; inlined, they
// stay in registers instead of going through memory.
#define KY_ALWAYS_INLINE inline __attribute__((always_inline))

// The low k bits (k at most 64).
inline uint64_t Low(size_t k) { return _bzhi_u64(~uint64_t{0}, static_cast<unsigned>(k)); }
inline unsigned Count(uint64_t m) { return static_cast<unsigned>(_mm_popcnt_u64(m)); }
inline size_t Min(size_t a, size_t b) { return a < b ? a : b; }

// ---------------------------------------------------------------- UTF-8 source

// One block of UTF-8: the bytes (zero past the source) and masks over them.
struct Utf8Block {
  __m512i v;
  uint64_t take;    // the bytes of the whole, well-formed characters taken
  uint64_t starts;  // their first bytes
  uint64_t four;    // the first bytes of four-byte forms among them
  bool stop;        // an ill-formed sequence follows what is taken
};

// How many of the last bytes of the len at p belong to a character cut by
// the end: its lead is there and its sequence runs past. From plain loads
// and selects, so that where the next block starts never waits on the
// classification of this one.
KY_ALWAYS_INLINE size_t CutBack(const U8* p, size_t len) {
  const auto lead = [&](size_t back, unsigned from) {
    return len >= back && p[len - back] >= from && p[len - back] <= 0xF4;
  };
  size_t back = lead(1, 0xC0) ? 1 : 0;
  back = lead(2, 0xE0) ? 2 : back;
  return lead(3, 0xF0) ? 3 : back;
}

// Classifies the len (1..64) bytes at s, of which the first `whole` hold
// only whole characters.
KY_ALWAYS_INLINE Utf8Block Classify8(const U8* s, size_t len, size_t whole) {
  Utf8Block b;
  const uint64_t valid = Low(len);
  b.v = _mm512_maskz_loadu_epi8(valid, s);
  const uint64_t high = _mm512_movepi8_mask(b.v);
  if (high == 0) {
    b.take = b.starts = valid;
    b.four = 0;
    b.stop = false;
    return b;
  }
  const auto at_least = [&](int x) {
    return static_cast<uint64_t>(
        _mm512_cmpge_epu8_mask(b.v, _mm512_set1_epi8(static_cast<char>(x))));
  };
  const uint64_t ge_c0 = at_least(0xC0), ge_e0 = at_least(0xE0), ge_f0 = at_least(0xF0),
                 ge_f5 = at_least(0xF5);
  const uint64_t ascii = valid & ~high, cont = high & ~ge_c0;
  const uint64_t lead2 = ge_c0 & ~ge_e0, lead3 = ge_e0 & ~ge_f0, lead4 = ge_f0 & ~ge_f5;
  // A lead whose sequence would run past the block (or the source) waits.
  const uint64_t keep = Low(whole);
  const uint64_t l2 = lead2 & keep, l3 = lead3 & keep, l4 = lead4 & keep;
  const uint64_t want = (l2 << 1) | (l3 << 1) | (l3 << 2) | (l4 << 1) | (l4 << 2) | (l4 << 3);
  // Where a character is ill-formed: a continuation that no lead calls
  // for, a byte that is never a lead, an encoded surrogate, a value past
  // 0x10FFFF; and, for a continuation missing, the lead that called for it.
  uint64_t bad = ((cont & ~want) | ge_f5) & keep;
  if (l3 | l4) {
    const auto equal = [&](int x) {
      return static_cast<uint64_t>(
          _mm512_cmpeq_epi8_mask(b.v, _mm512_set1_epi8(static_cast<char>(x))));
    };
    bad |= l3 & equal(0xED) & (at_least(0xA0) >> 1);
    bad |= l4 & equal(0xF4) & (at_least(0x90) >> 1);
  }
  const uint64_t starts = (ascii | l2 | l3 | l4) & keep;
  const uint64_t missing = want & ~cont;
  if (missing != 0) {
    const uint64_t before = starts & Low(static_cast<size_t>(_tzcnt_u64(missing)));
    bad |= uint64_t{1} << (63 - __builtin_clzll(before));
  }
  b.stop = bad != 0;
  b.take = b.stop ? keep & Low(static_cast<size_t>(_tzcnt_u64(bad))) : keep;
  b.starts = starts & b.take;
  b.four = l4 & b.take;
  return b;
}

// Byte kFirst + j of the block `cur` (followed by `next`) in lane j of
// kLaneBits (16 or 32) bits, zero-extended: one byte permute with a constant
// index.
template <int kLaneBits, unsigned kFirst>
struct LaneBytes {
  static constexpr int kStep = kLaneBits / 8;
  struct Index {
    unsigned char i[64];
  };
  static constexpr Index Make() {
    Index x{};
    for (int j = 0; j < 64; j += kStep) x.i[j] = static_cast<unsigned char>(kFirst + j / kStep);
    return x;
  }
  alignas(64) static constexpr Index kIndex = Make();
  static KY_ALWAYS_INLINE __m512i Of(__m512i cur, __m512i next) {
    constexpr uint64_t kLow = kLaneBits == 16 ? 0x5555555555555555ull : 0x1111111111111111ull;
    return _mm512_maskz_permutex2var_epi8(kLow, cur, _mm512_load_si512(kIndex.i), next);
  }
};

// Calls f(std::integral_constant<unsigned, first>) for first = 0, kStep,
// 2 kStep, ... below `count` (at most 64).
template <unsigned kStep, unsigned kFirst = 0, typename F>
KY_ALWAYS_INLINE void ForEachLaneGroup(size_t count, F&& f) {
  if constexpr (kFirst < 64) {
    if (kFirst < count) {
      f(std::integral_constant<unsigned, kFirst>{});
      ForEachLaneGroup<kStep, kFirst + kStep>(count, f);
    }
  }
}

// UTF-16 units for the 32 bytes of `cur` from `first`: every lane holds the
// unit that a character starting there gives (a four-byte form, marked in
// `four64`, its high surrogate, and the lane after it the low one).
template <unsigned first>
KY_ALWAYS_INLINE __m512i Utf16Lanes(__m512i cur, __m512i next, uint64_t four64) {
  const __m512i x0 = LaneBytes<16, first>::Of(cur, next);
  const __m512i m3f = _mm512_set1_epi16(0x3F);
  const __m512i t1 = _mm512_and_si512(LaneBytes<16, first + 1>::Of(cur, next), m3f);
  const __m512i t2 = _mm512_and_si512(LaneBytes<16, first + 2>::Of(cur, next), m3f);
  const __m512i t12 = _mm512_or_si512(_mm512_slli_epi16(t1, 6), t2);
  const __m512i two =
      _mm512_or_si512(_mm512_slli_epi16(_mm512_and_si512(x0, _mm512_set1_epi16(0x1F)), 6), t1);
  const __m512i three = _mm512_or_si512(_mm512_slli_epi16(x0, 12), t12);
  const uint32_t lead2 = _mm512_cmpge_epu16_mask(x0, _mm512_set1_epi16(0xC0));
  const uint32_t lead3 = _mm512_cmpge_epu16_mask(x0, _mm512_set1_epi16(0xE0));
  __m512i out = _mm512_mask_mov_epi16(x0, lead2, two);
  out = _mm512_mask_mov_epi16(out, lead3, three);
  const uint32_t four = static_cast<uint32_t>(four64 >> first);
  if (four | static_cast<uint32_t>((four64 << 1) >> first)) {
    // The pair formula in 16-bit arithmetic: an overlong four-byte form
    // (a code point below 0x10000) wraps exactly as the 32-bit one does.
    const __m512i top =
        _mm512_or_si512(_mm512_slli_epi16(_mm512_and_si512(x0, _mm512_set1_epi16(7)), 8),
                        _mm512_or_si512(_mm512_slli_epi16(t1, 2), _mm512_srli_epi16(t2, 4)));
    const __m512i high = _mm512_or_si512(_mm512_sub_epi16(top, _mm512_set1_epi16(0x40)),
                                         _mm512_set1_epi16(static_cast<short>(0xD800)));
    const __m512i low = _mm512_or_si512(_mm512_and_si512(t12, _mm512_set1_epi16(0x3FF)),
                                        _mm512_set1_epi16(static_cast<short>(0xDC00)));
    out = _mm512_mask_mov_epi16(out, four, high);
    out = _mm512_mask_mov_epi16(out, static_cast<uint32_t>((four64 << 1) >> first), low);
  }
  return out;
}

// Code points for the 16 bytes of `cur` from `first`, one per lane, as if a
// character started there; `four64` marks the four-byte leads.
template <unsigned first>
KY_ALWAYS_INLINE __m512i Utf32Lanes(__m512i cur, __m512i next, uint64_t four64) {
  const __m512i x0 = LaneBytes<32, first>::Of(cur, next);
  const __m512i m3f = _mm512_set1_epi32(0x3F);
  const __m512i t1 = _mm512_and_si512(LaneBytes<32, first + 1>::Of(cur, next), m3f);
  const __m512i t2 = _mm512_and_si512(LaneBytes<32, first + 2>::Of(cur, next), m3f);
  const __m512i t12 = _mm512_or_si512(_mm512_slli_epi32(t1, 6), t2);
  const __m512i two =
      _mm512_or_si512(_mm512_slli_epi32(_mm512_and_si512(x0, _mm512_set1_epi32(0x1F)), 6), t1);
  const __m512i three =
      _mm512_or_si512(_mm512_slli_epi32(_mm512_and_si512(x0, _mm512_set1_epi32(0x0F)), 12), t12);
  __m512i out =
      _mm512_mask_mov_epi32(x0, _mm512_cmpge_epu32_mask(x0, _mm512_set1_epi32(0xC0)), two);
  out = _mm512_mask_mov_epi32(out, _mm512_cmpge_epu32_mask(x0, _mm512_set1_epi32(0xE0)), three);
  const auto four = static_cast<__mmask16>(four64 >> first);
  if (four) {
    const __m512i t3 = _mm512_and_si512(LaneBytes<32, first + 3>::Of(cur, next), m3f);
    const __m512i cp =
        _mm512_or_si512(_mm512_slli_epi32(_mm512_and_si512(x0, _mm512_set1_epi32(7)), 18),
                        _mm512_or_si512(_mm512_slli_epi32(t12, 6), t3));
    out = _mm512_mask_mov_epi32(out, four, cp);
  }
  return out;
}

// Stores the 32-bit lanes of `lanes` at o, in order, and returns the end.
KY_ALWAYS_INLINE U32* PutLanes(U32* o, __mmask16 lanes, __m512i v) {
  const unsigned c = Count(lanes);
  _mm512_mask_storeu_epi32(o, static_cast<__mmask16>(Low(c)),
                           _mm512_maskz_compress_epi32(lanes, v));
  return o + c;
}

// Stores 64 ASCII bytes as 64 units.
template <typename To>
KY_ALWAYS_INLINE void PutAscii(To* o, __m512i v) {
  if constexpr (std::is_same_v<To, U8>) {
    _mm512_storeu_si512(o, v);
  } else if constexpr (std::is_same_v<To, U16>) {
    _mm512_storeu_si512(o, _mm512_cvtepu8_epi16(_mm512_castsi512_si256(v)));
    _mm512_storeu_si512(o + 32, _mm512_cvtepu8_epi16(_mm512_extracti64x4_epi64(v, 1)));
  } else {
    _mm512_storeu_si512(o, _mm512_cvtepu8_epi32(_mm512_castsi512_si128(v)));
    _mm512_storeu_si512(o + 16, _mm512_cvtepu8_epi32(_mm512_extracti32x4_epi32(v, 1)));
    _mm512_storeu_si512(o + 32, _mm512_cvtepu8_epi32(_mm512_extracti32x4_epi32(v, 2)));
    _mm512_storeu_si512(o + 48, _mm512_cvtepu8_epi32(_mm512_extracti32x4_epi32(v, 3)));
  }
}

// The bytes of the block before each byte, kBack (1..3) back: the last of
// `prev` before the first of `cur`.
template <int kBack>
KY_ALWAYS_INLINE __m512i Before(__m512i prev, __m512i cur) {
  struct Index {
    unsigned char i[64];
  };
  static constexpr Index kIndex = [] {
    Index x{};
    for (int j = 0; j < 64; ++j) x.i[j] = static_cast<unsigned char>(64 + j - kBack);
    return x;
  }();
  return _mm512_permutex2var_epi8(prev, _mm512_loadu_si512(kIndex.i), cur);
}

// Writes the output of the characters that start at the bytes `starts` of
// the block `cur` (followed by `next`, where the last of them may end), of
// which `four` marks the four-byte forms, at o; into UTF-8 the bytes `take`.
template <typename To>
KY_ALWAYS_INLINE void PutBlock8(To* o, __m512i cur, __m512i next, uint64_t take, uint64_t starts,
                                uint64_t four) {
  // Lane groups past the last lane that gives output are not made.
  const auto end = [](uint64_t lanes) {
    return 64 - static_cast<size_t>(__builtin_clzll(lanes | 1));
  };
  if constexpr (std::is_same_v<To, U8>) {
    _mm512_mask_storeu_epi8(o, take, cur);
  } else if constexpr (std::is_same_v<To, U16>) {
    const uint64_t units = starts | (four << 1);
    ForEachLaneGroup<32>(end(units), [&](auto first) {
      const auto lanes = static_cast<uint32_t>(units >> first);
      const __m512i u = _mm512_maskz_compress_epi16(lanes, Utf16Lanes<first>(cur, next, four));
      const unsigned c = Count(lanes);
      _mm512_mask_storeu_epi16(o, static_cast<uint32_t>(Low(c)), u);
      o += c;
    });
  } else {
    ForEachLaneGroup<16>(end(starts), [&](auto first) {
      o = PutLanes(o, static_cast<__mmask16>(starts >> first), Utf32Lanes<first>(cur, next, four));
    });
  }
}

// What the bytes one, two and three back tell of a block `cur` after `prev`:
// which bytes continue a character, which a lead calls to continue one, and
// which are ill-formed. A block passes when the two agree and no byte is
// 0xF5..0xFF, 0xED is not followed by 0xA0..0xBF (a surrogate) and 0xF4 not
// by 0x90..0xBF (past 0x10FFFF); no character's bounds are needed, so
// blocks can follow each other at a fixed stride.
struct Check8 {
  uint64_t cont, want, bad;
};

KY_ALWAYS_INLINE Check8 Check(__m512i prev, __m512i cur) {
  const auto at_least = [](__m512i v, int x) {
    return _mm512_cmpge_epu8_mask(v, _mm512_set1_epi8(static_cast<char>(x)));
  };
  const auto after = [&](__m512i back, int lead, int from) {
    return _mm512_mask_cmpge_epu8_mask(
        _mm512_cmpeq_epi8_mask(back, _mm512_set1_epi8(static_cast<char>(lead))), cur,
        _mm512_set1_epi8(static_cast<char>(from)));
  };
  Check8 c;
  const __m512i back1 = Before<1>(prev, cur);
  c.cont = _mm512_cmplt_epi8_mask(cur, _mm512_set1_epi8(-64));
  // A byte from 0xF5 on leads nothing and fails by itself.
  c.want = at_least(back1, 0xC0) | at_least(Before<2>(prev, cur), 0xE0) |
           at_least(Before<3>(prev, cur), 0xF0);
  c.bad =
      (c.want ^ c.cont) | at_least(cur, 0xF5) | after(back1, 0xED, 0xA0) | after(back1, 0xF4, 0x90);
  return c;
}

// Converts (or, without kWrite, measures) whole blocks of 64 bytes at a
// fixed stride from `in` on (a character's start), advancing `in` and `out`
// past them, for as long as each block and the bytes its last character
// runs into are well-formed. Where one block starts never waits on the
// classification of the one before, so they overlap. The last character of
// a block is written with it, and the next block's start holds its rest;
// where the stride stops, `in` moves past that rest to the next character.
// It stops, besides, at an ASCII block (the ASCII loop's), at a four-byte
// form cut into UTF-16 (its pair would straddle two blocks' lanes), where
// the room may not take a block, and within 128 bytes of the end.
template <typename To, bool kWrite>
KY_ALWAYS_INLINE void Whole8(To* d, size_t room, const U8* s, size_t n, size_t& in, size_t& out) {
  if (n - in < 128) return;
  const size_t start = in;
  __m512i cur = _mm512_loadu_si512(s + in);
  Check8 c = Check(_mm512_setzero_si512(), cur);
  // Into UTF-8 the rest of a block's last character is written when the
  // stride stops.
  constexpr size_t kRoom = std::is_same_v<To, U8> ? 67 : 64;
  while (n - in >= 128 && room - out >= kRoom) {
    if (c.want == 0 && _mm512_movepi8_mask(cur) == 0) break;
    const __m512i next = _mm512_loadu_si512(s + in + 64);
    const Check8 cn = Check(cur, next);
    const uint64_t four = _mm512_cmpge_epu8_mask(cur, _mm512_set1_epi8(static_cast<char>(0xF0)));
    if ((c.bad | (cn.bad & 7)) != 0 || (std::is_same_v<To, U16> && (four >> 63) != 0)) break;
    const uint64_t starts = ~c.cont;
    size_t k;
    if constexpr (std::is_same_v<To, U8>) {
      k = 64;
    } else if constexpr (std::is_same_v<To, U16>) {
      k = Count(starts) + Count(four);
    } else {
      k = Count(starts);
    }
    if (k > room - out) break;
    if constexpr (kWrite) PutBlock8(d + out, cur, next, ~uint64_t{0}, starts, four);
    out += k;
    in += 64;
    cur = next;
    c = cn;
  }
  // The bytes at the start of `cur` that end the last block's character.
  size_t rest = 0;
  if (const size_t back = in != start ? CutBack(s + in - 3, 3) : 0) {
    const unsigned lead = s[in - back];
    rest = (lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2) - back;
  }
  if (rest != 0) {
    if constexpr (std::is_same_v<To, U8>) {
      if constexpr (kWrite) _mm512_mask_storeu_epi8(d + out, Low(rest), cur);
      out += rest;
    }
    in += rest;
  }
}

template <typename To, bool kWrite>
KernelProgress RunFrom8(To* d, size_t room, const U8* s, size_t n) {
  size_t in = 0, out = 0;
  while (in < n) {
    // ASCII a whole vector at a time while it lasts: no masks to make.
    if (n - in >= 64 && room - out >= 64) {
      const __m512i v = _mm512_loadu_si512(s + in);
      if (_mm512_movepi8_mask(v) == 0) {
        if constexpr (kWrite) PutAscii(d + out, v);
        in += 64;
        out += 64;
        continue;
      }
    }
    // Then well-formed blocks at a fixed stride; what they leave, a block
    // classified for its characters' bounds.
    const size_t before = in;
    Whole8<To, kWrite>(d, room, s, n, in, out);
    if (in != before) continue;
    const size_t len = Min(n - in, 64);
    const size_t whole = len - CutBack(s + in, len);
    if (whole == 0) break;
    const Utf8Block b = Classify8(s + in, len, whole);
    const size_t took = Count(b.take);
    size_t k;
    if constexpr (std::is_same_v<To, U8>) {
      k = took;
    } else if constexpr (std::is_same_v<To, U16>) {
      k = Count(b.starts) + Count(b.four);
    } else {
      k = Count(b.starts);
    }
    if (k > room - out) break;
    if constexpr (kWrite) PutBlock8(d + out, b.v, _mm512_setzero_si512(), b.take, b.starts, b.four);
    out += k;
    if (b.stop) {
      in += took;
      break;
    }
    in += whole;
  }
  return {in, out};
}

// ------------------------------------------------------ UTF-8 from code points

// Writes the UTF-8 of the code points in the lanes of `lanes` (valid scalar
// values) at o and returns the bytes written.
KY_ALWAYS_INLINE unsigned PutCodePointsUtf8(U8* o, __m512i cp, __mmask16 lanes) {
  const __m512i m3f = _mm512_set1_epi32(0x3F), m80 = _mm512_set1_epi32(0x80);
  const __m512i trail0 = _mm512_or_si512(_mm512_and_si512(cp, m3f), m80);
  const __m512i trail1 = _mm512_or_si512(_mm512_and_si512(_mm512_srli_epi32(cp, 6), m3f), m80);
  const __m512i trail2 = _mm512_or_si512(_mm512_and_si512(_mm512_srli_epi32(cp, 12), m3f), m80);
  const __m512i two =
      _mm512_or_si512(_mm512_or_si512(_mm512_srli_epi32(cp, 6), _mm512_set1_epi32(0xC0)),
                      _mm512_slli_epi32(trail0, 8));
  const __m512i three =
      _mm512_or_si512(_mm512_or_si512(_mm512_srli_epi32(cp, 12), _mm512_set1_epi32(0xE0)),
                      _mm512_or_si512(_mm512_slli_epi32(trail1, 8), _mm512_slli_epi32(trail0, 16)));
  const __mmask16 ge80 = _mm512_cmpge_epu32_mask(cp, _mm512_set1_epi32(0x80));
  const __mmask16 ge800 = _mm512_cmpge_epu32_mask(cp, _mm512_set1_epi32(0x800));
  const __mmask16 ge10000 = _mm512_cmpge_epu32_mask(cp, _mm512_set1_epi32(0x10000));
  __m512i bytes = _mm512_mask_mov_epi32(cp, ge80, two);
  bytes = _mm512_mask_mov_epi32(bytes, ge800, three);
  if (ge10000 & lanes) {
    const __m512i four = _mm512_or_si512(
        _mm512_or_si512(_mm512_srli_epi32(cp, 18), _mm512_set1_epi32(0xF0)),
        _mm512_or_si512(
            _mm512_slli_epi32(trail2, 8),
            _mm512_or_si512(_mm512_slli_epi32(trail1, 16), _mm512_slli_epi32(trail0, 24))));
    bytes = _mm512_mask_mov_epi32(bytes, ge10000, four);
  }
  // The length in every byte of its lane; the bytes below it are kept.
  const __m512i one = _mm512_set1_epi32(0x01010101);
  __m512i length = _mm512_maskz_mov_epi32(lanes, one);
  length = _mm512_mask_add_epi32(length, ge80 & lanes, length, one);
  length = _mm512_mask_add_epi32(length, ge800 & lanes, length, one);
  length = _mm512_mask_add_epi32(length, ge10000 & lanes, length, one);
  const uint64_t keep = _mm512_cmplt_epu8_mask(_mm512_set1_epi32(0x03020100), length);
  const unsigned c = Count(keep);
  _mm512_mask_storeu_epi8(o, Low(c), _mm512_maskz_compress_epi8(keep, bytes));
  return c;
}

// The lanes of sixteen units from `first` (0 or 16) of 32 16-bit lanes,
// widened to 32 bits.
KY_ALWAYS_INLINE __m512i Widen16(__m512i u, unsigned first) {
  return _mm512_cvtepu16_epi32(first ? _mm512_extracti64x4_epi64(u, 1) : _mm512_castsi512_si256(u));
}

// --------------------------------------------------------------- UTF-16 source

// The unit kBy (1 or -1) after each of the 32 in u. A high surrogate taken
// never ends a block, nor does a low one taken start one, so its partner is
// always among the 32.
template <int kBy>
KY_ALWAYS_INLINE __m512i Shifted(__m512i u) {
  struct Index {
    uint16_t i[32];
  };
  static constexpr Index kIndex = [] {
    Index x{};
    for (int j = 0; j < 32; ++j) x.i[j] = static_cast<uint16_t>((j + kBy) & 31);
    return x;
  }();
  return _mm512_permutexvar_epi16(_mm512_loadu_si512(kIndex.i), u);
}

// One block of up to 32 UTF-16 units and the well-formed prefix of it.
struct Utf16Block {
  __m512i u;
  uint32_t take;  // the units of the whole, well-formed characters taken
  uint32_t high;  // the high surrogates among them
  uint32_t low;   // and the low ones
  bool stop;      // an ill-formed unit follows what is taken
};

// Classifies the len (1..32) units at s, of which the first `whole` hold only
// whole characters.
KY_ALWAYS_INLINE Utf16Block Classify16(const U16* s, size_t len, size_t whole) {
  Utf16Block b;
  const auto valid = static_cast<uint32_t>(Low(len));
  b.u = _mm512_maskz_loadu_epi16(valid, s);
  const __m512i top = _mm512_and_si512(b.u, _mm512_set1_epi16(static_cast<short>(0xFC00)));
  const uint32_t high =
      _mm512_cmpeq_epi16_mask(top, _mm512_set1_epi16(static_cast<short>(0xD800))) & valid;
  const uint32_t low =
      _mm512_cmpeq_epi16_mask(top, _mm512_set1_epi16(static_cast<short>(0xDC00))) & valid;
  uint32_t take = static_cast<uint32_t>(Low(whole));
  // Out of pairing: a low surrogate after no high one, or a unit other than
  // a low one after a high one; the character in error is then the high one.
  const uint32_t odd = (low ^ (high << 1)) & valid;
  b.stop = odd != 0;
  if (b.stop) {
    const unsigned at = _tzcnt_u32(odd);
    take &= static_cast<uint32_t>(Low(at != 0 && ((high >> (at - 1)) & 1) ? at - 1 : at));
  }
  b.take = take;
  b.high = high & take;
  b.low = low & take;
  return b;
}

// Writes the k bytes of UTF-8 of the units taken in b at o, when
// none of them takes three bytes (European text, and ASCII with emoji): every
// unit's bytes fit its own lane, a pair's first two in the high surrogate's
// and the last two in the low one's, and one compress takes all 32. ge80
// marks the taken units from 0x80.
KY_ALWAYS_INLINE void PutShortUtf8(U8* o, const Utf16Block& b, uint32_t ge80, size_t k) {
  const __m512i u = b.u;
  const __m512i m3f = _mm512_set1_epi16(0x3F), m80 = _mm512_set1_epi16(0x80);
  const __m512i last = _mm512_or_si512(_mm512_and_si512(u, m3f), m80);
  __m512i bytes = _mm512_mask_mov_epi16(
      u, ge80,
      _mm512_or_si512(_mm512_or_si512(_mm512_srli_epi16(u, 6), _mm512_set1_epi16(0xC0)),
                      _mm512_slli_epi16(last, 8)));
  if (b.high) {
    const __m512i prev = Shifted<-1>(u);
    const __m512i top =
        _mm512_add_epi16(_mm512_and_si512(u, _mm512_set1_epi16(0x3FF)), _mm512_set1_epi16(0x40));
    const __m512i byte0 = _mm512_or_si512(_mm512_srli_epi16(top, 8), _mm512_set1_epi16(0xF0));
    const __m512i byte1 = _mm512_or_si512(_mm512_and_si512(_mm512_srli_epi16(top, 2), m3f), m80);
    const __m512i byte2 = _mm512_or_si512(
        _mm512_or_si512(_mm512_slli_epi16(_mm512_and_si512(prev, _mm512_set1_epi16(3)), 4),
                        _mm512_and_si512(_mm512_srli_epi16(u, 6), _mm512_set1_epi16(0xF))),
        m80);
    bytes =
        _mm512_mask_mov_epi16(bytes, b.high, _mm512_or_si512(byte0, _mm512_slli_epi16(byte1, 8)));
    bytes = _mm512_mask_mov_epi16(bytes, b.low, _mm512_or_si512(byte2, _mm512_slli_epi16(last, 8)));
  }
  const uint64_t keep =
      _pdep_u64(b.take, 0x5555555555555555ull) | _pdep_u64(ge80, 0xAAAAAAAAAAAAAAAAull);
  _mm512_mask_storeu_epi8(o, Low(k), _mm512_maskz_compress_epi8(keep, bytes));
}

// Writes the k bytes of UTF-8 of the units taken in b at o; `next` holds the
// unit after each, ge80 and ge800 mark the taken units from 0x80 and 0x800.
// Every unit's bytes are made in 16-bit lanes (the first two in one vector,
// the rest in another: a pair's four bytes sit in its high surrogate's
// lanes, its low one gives none), and the two vectors are interleaved into
// four bytes a unit and compressed, sixteen units at a time.
KY_ALWAYS_INLINE void PutUtf8(U8* o, const Utf16Block& b, __m512i next, uint32_t ge80,
                              uint32_t ge800, size_t k) {
  const __m512i u = b.u;
  const __m512i m3f = _mm512_set1_epi16(0x3F), m80 = _mm512_set1_epi16(0x80);
  const __m512i last = _mm512_or_si512(_mm512_and_si512(u, m3f), m80);
  const __m512i mid = _mm512_or_si512(_mm512_and_si512(_mm512_srli_epi16(u, 6), m3f), m80);
  __m512i first2 = _mm512_mask_mov_epi16(
      u, ge80,
      _mm512_or_si512(_mm512_or_si512(_mm512_srli_epi16(u, 6), _mm512_set1_epi16(0xC0)),
                      _mm512_slli_epi16(last, 8)));
  first2 = _mm512_mask_mov_epi16(
      first2, ge800,
      _mm512_or_si512(_mm512_or_si512(_mm512_srli_epi16(u, 12), _mm512_set1_epi16(0xE0)),
                      _mm512_slli_epi16(mid, 8)));
  __m512i rest = last;
  // Each unit's length in both bytes of its lane.
  const __m512i one = _mm512_set1_epi16(0x0101);
  __m512i length = _mm512_maskz_mov_epi16(b.take, one);
  length = _mm512_mask_add_epi16(length, ge80, length, one);
  length = _mm512_mask_add_epi16(length, ge800, length, one);
  if (b.high) {
    // The code point's bits above the low ten, from the high surrogate.
    const __m512i top =
        _mm512_add_epi16(_mm512_and_si512(u, _mm512_set1_epi16(0x3FF)), _mm512_set1_epi16(0x40));
    const __m512i byte0 = _mm512_or_si512(_mm512_srli_epi16(top, 8), _mm512_set1_epi16(0xF0));
    const __m512i byte1 = _mm512_or_si512(_mm512_and_si512(_mm512_srli_epi16(top, 2), m3f), m80);
    const __m512i byte2 = _mm512_or_si512(
        _mm512_or_si512(_mm512_slli_epi16(_mm512_and_si512(top, _mm512_set1_epi16(3)), 4),
                        _mm512_and_si512(_mm512_srli_epi16(next, 6), _mm512_set1_epi16(0xF))),
        m80);
    const __m512i byte3 = _mm512_or_si512(_mm512_and_si512(next, m3f), m80);
    first2 =
        _mm512_mask_mov_epi16(first2, b.high, _mm512_or_si512(byte0, _mm512_slli_epi16(byte1, 8)));
    rest = _mm512_mask_mov_epi16(rest, b.high, _mm512_or_si512(byte2, _mm512_slli_epi16(byte3, 8)));
    length = _mm512_mask_mov_epi16(length, b.high, _mm512_set1_epi16(0x0404));
    length = _mm512_mask_mov_epi16(length, b.low, _mm512_setzero_si512());
  }
  // Unpacking interleaves within 128-bit lanes; this order of the units makes
  // its low halves units 0..15 and its high halves units 16..31.
  alignas(64) static constexpr uint16_t kOrder[32] = {0,  1,  2,  3,  16, 17, 18, 19, 4,  5,  6,
                                                      7,  20, 21, 22, 23, 8,  9,  10, 11, 24, 25,
                                                      26, 27, 12, 13, 14, 15, 28, 29, 30, 31};
  const __m512i order = _mm512_load_si512(kOrder);
  first2 = _mm512_permutexvar_epi16(order, first2);
  rest = _mm512_permutexvar_epi16(order, rest);
  length = _mm512_permutexvar_epi16(order, length);
  const __m512i index = _mm512_set1_epi32(0x03020100);
  const uint64_t keep_lo = _mm512_cmplt_epu8_mask(index, _mm512_unpacklo_epi16(length, length));
  const uint64_t keep_hi = _mm512_cmplt_epu8_mask(index, _mm512_unpackhi_epi16(length, length));
  const unsigned c = Count(keep_lo);
  _mm512_mask_storeu_epi8(o, Low(c),
                          _mm512_maskz_compress_epi8(keep_lo, _mm512_unpacklo_epi16(first2, rest)));
  _mm512_mask_storeu_epi8(o + c, Low(k - c),
                          _mm512_maskz_compress_epi8(keep_hi, _mm512_unpackhi_epi16(first2, rest)));
}

template <typename To, bool kWrite>
KernelProgress RunFrom16(To* d, size_t room, const U16* s, size_t n) {
  size_t in = 0, out = 0;
  if constexpr (!kWrite) {
    // Measuring ASCII needs only its length: 64 units a step.
    while (n - in >= 64) {
      const __m512i a = _mm512_loadu_si512(s + in), b = _mm512_loadu_si512(s + in + 32);
      if (_mm512_cmpge_epu16_mask(_mm512_or_si512(a, b), _mm512_set1_epi16(0x80)) != 0) break;
      in += 64;
      out += 64;
    }
  }
  while (in < n) {
    // ASCII a whole vector at a time while it lasts: no masks to make.
    if (n - in >= 32 && room - out >= 32) {
      const __m512i u = _mm512_loadu_si512(s + in);
      if (_mm512_cmpge_epu16_mask(u, _mm512_set1_epi16(0x80)) == 0) {
        if constexpr (kWrite) {
          if constexpr (std::is_same_v<To, U8>) {
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + out), _mm512_cvtepi16_epi8(u));
          } else if constexpr (std::is_same_v<To, U16>) {
            _mm512_storeu_si512(d + out, u);
          } else {
            _mm512_storeu_si512(d + out, Widen16(u, 0));
            _mm512_storeu_si512(d + out + 16, Widen16(u, 16));
          }
        }
        in += 32;
        out += 32;
        continue;
      }
    }
    const size_t len = Min(n - in, 32);
    // A high surrogate as the last unit waits for the next block.
    const size_t whole = len - ((s[in + len - 1] & 0xFC00) == 0xD800);
    if (whole == 0) break;
    const Utf16Block b = Classify16(s + in, len, whole);
    const size_t took = Count(b.take);
    uint32_t ge80 = 0, ge800 = 0;
    size_t k;
    if constexpr (std::is_same_v<To, U8>) {
      // One byte a unit, one more from 0x80, one more from 0x800; a
      // surrogate's three are one too many (a pair is four bytes).
      ge80 = _mm512_cmpge_epu16_mask(b.u, _mm512_set1_epi16(0x80)) & b.take;
      ge800 = _mm512_cmpge_epu16_mask(b.u, _mm512_set1_epi16(0x800)) & b.take;
      k = took + Count(ge80) + Count(ge800) - Count(b.high) - Count(b.low);
    } else if constexpr (std::is_same_v<To, U16>) {
      k = took;
    } else {
      k = took - Count(b.low);
    }
    if (k > room - out) break;
    if constexpr (kWrite) {
      To* o = d + out;
      if constexpr (std::is_same_v<To, U16>) {
        _mm512_mask_storeu_epi16(o, b.take, b.u);
      } else if constexpr (std::is_same_v<To, U8>) {
        if (ge80 == 0) {
          _mm256_mask_storeu_epi8(o, b.take, _mm512_cvtepi16_epi8(b.u));
        } else if ((ge800 & ~(b.high | b.low)) == 0) {
          PutShortUtf8(o, b, ge80, k);
        } else {
          PutUtf8(o, b, Shifted<1>(b.u), ge80, ge800, k);
        }
      } else if (b.high == 0) {
        // No pairs: each unit is its code point.
        _mm512_mask_storeu_epi32(o, static_cast<__mmask16>(b.take), Widen16(b.u, 0));
        _mm512_mask_storeu_epi32(o + 16, static_cast<__mmask16>(b.take >> 16), Widen16(b.u, 16));
      } else {
        // The low surrogates squeezed out first, each high one keeping its
        // partner in a second vector; then sixteen units at a time in 32-bit
        // lanes, a pair's code point made in its high one's lane.
        const uint32_t kept = b.take & ~b.low;
        const __m512i unit = _mm512_maskz_compress_epi16(kept, b.u);
        const __m512i partner = _mm512_maskz_compress_epi16(kept, Shifted<1>(b.u));
        const uint32_t high = _pext_u32(b.high, kept);
        const __m512i m3ff = _mm512_set1_epi32(0x3FF);
        for (unsigned first = 0; first < k; first += 16) {
          const __m512i w = Widen16(unit, first);
          const __m512i pair =
              _mm512_add_epi32(_mm512_or_si512(_mm512_slli_epi32(_mm512_and_si512(w, m3ff), 10),
                                               _mm512_and_si512(Widen16(partner, first), m3ff)),
                               _mm512_set1_epi32(0x10000));
          _mm512_mask_storeu_epi32(
              o + first, static_cast<__mmask16>(Low(k - first)),
              _mm512_mask_mov_epi32(w, static_cast<__mmask16>(high >> first), pair));
        }
      }
    }
    out += k;
    if (b.stop) {
      in += took;
      break;
    }
    in += whole;
  }
  return {in, out};
}

// --------------------------------------------------------------- UTF-32 source

template <typename To, bool kWrite>
KernelProgress RunFrom32(To* d, size_t room, const U32* s, size_t n) {
  size_t in = 0, out = 0;
  while (in < n) {
    const auto valid = static_cast<__mmask16>(Low(Min(n - in, 16)));
    const __m512i u = _mm512_maskz_loadu_epi32(valid, s + in);
    // Surrogates and values past 0x10FFFF are ill-formed; the units before
    // the first are taken.
    const __mmask16 bad = (_mm512_cmplt_epu32_mask(_mm512_sub_epi32(u, _mm512_set1_epi32(0xD800)),
                                                   _mm512_set1_epi32(0x800)) |
                           _mm512_cmpgt_epu32_mask(u, _mm512_set1_epi32(0x10FFFF))) &
                          valid;
    const auto take = static_cast<__mmask16>(bad ? valid & Low(_tzcnt_u32(bad)) : valid);
    const size_t took = Count(take);
    const __mmask16 ge10000 = _mm512_cmpge_epu32_mask(u, _mm512_set1_epi32(0x10000)) & take;
    size_t k;
    if constexpr (std::is_same_v<To, U8>) {
      k = took + Count(_mm512_cmpge_epu32_mask(u, _mm512_set1_epi32(0x80)) & take) +
          Count(_mm512_cmpge_epu32_mask(u, _mm512_set1_epi32(0x800)) & take) + Count(ge10000);
    } else if constexpr (std::is_same_v<To, U16>) {
      k = took + Count(ge10000);
    } else {
      k = took;
    }
    if (took == 0 || k > room - out) break;
    if constexpr (kWrite) {
      To* o = d + out;
      if constexpr (std::is_same_v<To, U8>) {
        PutCodePointsUtf8(o, u, take);
      } else if constexpr (std::is_same_v<To, U16>) {
        // A supplementary code point's lane holds its pair, high unit first;
        // its upper half is kept with it.
        const __m512i v = _mm512_sub_epi32(u, _mm512_set1_epi32(0x10000));
        const __m512i pair = _mm512_or_si512(
            _mm512_or_si512(_mm512_srli_epi32(v, 10), _mm512_set1_epi32(0xD800)),
            _mm512_slli_epi32(_mm512_or_si512(_mm512_and_si512(u, _mm512_set1_epi32(0x3FF)),
                                              _mm512_set1_epi32(0xDC00)),
                              16));
        const __m512i units = _mm512_mask_mov_epi32(u, ge10000, pair);
        const auto lanes =
            static_cast<uint32_t>(_pdep_u32(take, 0x55555555u) | _pdep_u32(ge10000, 0xAAAAAAAAu));
        _mm512_mask_storeu_epi16(o, static_cast<uint32_t>(Low(k)),
                                 _mm512_maskz_compress_epi16(lanes, units));
      } else {
        _mm512_mask_storeu_epi32(o, take, u);
      }
    }
    in += took;
    out += k;
    if (bad) break;
  }
  return {in, out};
}

template <typename To, typename From, bool kWrite>
struct Kernel {
  // Short sources run here too: a block shorter than a vector is read and
  // written through masks.
  static constexpr size_t kMinUnits = 4;
  static KernelProgress Run(To* d, size_t room, const From* s, size_t n) {
    if constexpr (std::is_same_v<From, U8>) {
      return RunFrom8<To, kWrite>(d, room, s, n);
    } else if constexpr (std::is_same_v<From, U16>) {
      return RunFrom16<To, kWrite>(d, room, s, n);
    } else {
      return RunFrom32<To, kWrite>(d, room, s, n);
    }
  }
};

}  // namespace
}  // namespace KY_UTF_ISA

const UtfKernels kAvx512UtfKernels = UtfKernelTable<Kernel>::kTable;

}  // namespace ky::detail
