// Internal to libvokyutil: not installed, not to be included outside src/.
//
// The kernels of the SSE2 and AVX2 levels: blocks of sixteen units (and, into
// UTF-8, of up to 64 bytes) for the shapes real text takes (ASCII runs,
// European text of one- and two-byte forms, CJK of three-byte forms), UTF-32
// four code points at a time, and the character-by-character decoder for all
// else. Included by one translation unit per level, which defines KY_UTF_ISA
// and builds it with its target options; built for AVX2, ASCII runs move 32
// units a step.
#ifndef KY_SRC_UTF_KERNEL_SSE_H
#define KY_SRC_UTF_KERNEL_SSE_H

#include <immintrin.h>

#include <climits>
#include <cstdint>
#include <cstring>

#include "kernels.h"
#include "unit_codec.h"

namespace ky::detail {
inline namespace KY_UTF_ISA {
namespace {

// ASCII runs. Text is mostly ASCII even when it is not all ASCII, so a run of
// units below 0x80 is moved sixteen at a time: each becomes one unit in any
// form. Only counted sources take this path (a NUL-terminated source may end
// anywhere inside a vector), and nothing is stored beyond the run itself, so
// the destination past the output is never disturbed.
template <typename From>
constexpr bool kHasAsciiRuns = !std::is_same_v<From, unsigned int>;

template <typename To>
inline void StoreBytes(To* d, __m128i v) {
  if constexpr (std::is_same_v<To, unsigned char>) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d), v);
  } else {
    const __m128i zero = _mm_setzero_si128();
    const __m128i lo = _mm_unpacklo_epi8(v, zero);
    const __m128i hi = _mm_unpackhi_epi8(v, zero);
    if constexpr (std::is_same_v<To, unsigned short>) {
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d), lo);
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 8), hi);
    } else {
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm_unpacklo_epi16(lo, zero));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 4), _mm_unpackhi_epi16(lo, zero));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 8), _mm_unpacklo_epi16(hi, zero));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 12), _mm_unpackhi_epi16(hi, zero));
    }
  }
}

// Loads sixteen source units as sixteen bytes (meaningful only where ASCII)
// and returns a mask with a bit set for each unit that is not ASCII.
inline unsigned LoadAscii16(const unsigned char* s, __m128i& v) {
  v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
  return static_cast<unsigned>(_mm_movemask_epi8(v));
}

inline unsigned LoadAscii16(const unsigned short* s, __m128i& v) {
  const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
  const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 8));
  const __m128i high = _mm_set1_epi16(static_cast<short>(0xFF80));
  const __m128i zero = _mm_setzero_si128();
  const __m128i ascii = _mm_packs_epi16(_mm_cmpeq_epi16(_mm_and_si128(a, high), zero),
                                        _mm_cmpeq_epi16(_mm_and_si128(b, high), zero));
  v = _mm_packus_epi16(a, b);
  return ~static_cast<unsigned>(_mm_movemask_epi8(ascii)) & 0xFFFF;
}

// Moves N (4 or 8) ASCII units from s to d, whatever their types.
template <size_t N, typename To, typename From>
inline void PutAscii(To* d, const From* s) {
  __m128i bytes;  // the N units as bytes, low first
  if constexpr (std::is_same_v<From, unsigned char> && N == 8) {
    bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(s));
  } else if constexpr (std::is_same_v<From, unsigned char>) {
    int32_t four;
    std::memcpy(&four, s, 4);
    bytes = _mm_cvtsi32_si128(four);
  } else if constexpr (N == 8) {
    bytes =
        _mm_packus_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s)), _mm_setzero_si128());
  } else {
    bytes =
        _mm_packus_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(s)), _mm_setzero_si128());
  }
  const __m128i zero = _mm_setzero_si128();
  if constexpr (std::is_same_v<To, unsigned char>) {
    if constexpr (N == 8) {
      _mm_storel_epi64(reinterpret_cast<__m128i*>(d), bytes);
    } else {
      const int32_t four = _mm_cvtsi128_si32(bytes);
      std::memcpy(d, &four, 4);
    }
  } else {
    const __m128i units = _mm_unpacklo_epi8(bytes, zero);
    if constexpr (std::is_same_v<To, unsigned short>) {
      if constexpr (N == 8) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d), units);
      } else {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(d), units);
      }
    } else {
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm_unpacklo_epi16(units, zero));
      if constexpr (N == 8) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 4), _mm_unpackhi_epi16(units, zero));
      }
    }
  }
}

// Moves the k (below 16) ASCII units at s to d exactly, with two overlapping
// moves instead of a loop whose length the branch predictor cannot know.
template <typename To, typename From>
inline void PutAsciiPrefix(To* d, const From* s, size_t k) {
  if (k >= 8) {
    PutAscii<8>(d, s);
    PutAscii<8>(d + k - 8, s + k - 8);
  } else if (k >= 4) {
    PutAscii<4>(d, s);
    PutAscii<4>(d + k - 4, s + k - 4);
  } else {
    for (size_t i = 0; i < k; ++i) d[i] = static_cast<To>(s[i]);
  }
}

// From kFirstK + 16 - k, sixteen bytes of which the first k are set.
inline constexpr unsigned char kFirstK[32] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                              0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};

// Moves the run of ASCII units at s, at most `limit` of them, to d (when
// kWrite) and returns its length; s[0] is known to be ASCII.
template <bool kWrite, typename To, typename From>
inline size_t AsciiRun(To* d, const From* s, size_t limit) {
  size_t i = 0;
#if defined(__AVX2__)
  // Thirty-two units a step while the run lasts; the sixteen-unit steps
  // below find where it ends.
  for (; i + 32 <= limit; i += 32) {
    __m256i v;  // the 32 units as bytes
    if constexpr (std::is_same_v<From, unsigned char>) {
      v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + i));
      if (_mm256_movemask_epi8(v) != 0) break;
    } else {
      const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + i));
      const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + i + 16));
      if (!_mm256_testz_si256(_mm256_or_si256(a, b), _mm256_set1_epi16(static_cast<short>(0xFF80))))
        break;
      v = _mm256_permute4x64_epi64(_mm256_packus_epi16(a, b), 0xD8);
    }
    if constexpr (kWrite) {
      if constexpr (std::is_same_v<To, unsigned char>) {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i), v);
      } else if constexpr (std::is_same_v<To, unsigned short>) {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i),
                            _mm256_cvtepu8_epi16(_mm256_castsi256_si128(v)));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i + 16),
                            _mm256_cvtepu8_epi16(_mm256_extracti128_si256(v, 1)));
      } else {
        const __m128i lo = _mm256_castsi256_si128(v), hi = _mm256_extracti128_si256(v, 1);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i), _mm256_cvtepu8_epi32(lo));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i + 8),
                            _mm256_cvtepu8_epi32(_mm_srli_si128(lo, 8)));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i + 16), _mm256_cvtepu8_epi32(hi));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i + 24),
                            _mm256_cvtepu8_epi32(_mm_srli_si128(hi, 8)));
      }
    }
  }
#endif
  for (; i + 16 <= limit; i += 16) {
    __m128i v;
    const unsigned mask = LoadAscii16(s + i, v);
    if (mask != 0) {
      // The vector says exactly where the run ends.
      const size_t k = static_cast<size_t>(__builtin_ctz(mask));
      if constexpr (kWrite && std::is_same_v<To, unsigned char>) {
        // One store of the vector, merged with what the destination held
        // past the run, instead of a store sized by branches on k, which
        // mispredict where runs have random lengths.
        const __m128i keep = _mm_loadu_si128(reinterpret_cast<const __m128i*>(kFirstK + 16 - k));
        const __m128i held = _mm_loadu_si128(reinterpret_cast<const __m128i*>(d + i));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + i),
                         _mm_or_si128(_mm_and_si128(keep, v), _mm_andnot_si128(keep, held)));
      } else if constexpr (kWrite) {
        PutAsciiPrefix(d + i, s + i, k);
      }
      return i + k;
    }
    if constexpr (kWrite) StoreBytes(d + i, v);
  }
  for (; i < limit && s[i] < 0x80; ++i) {
    if constexpr (kWrite) d[i] = static_cast<To>(s[i]);
  }
  return i;
}

// Text in one script repeats one sequence length, so two UTF-8 characters of
// two or of three bytes are recognised in one compare and decoded together.
// Decodes, writes (when kWrite) and consumes them, returning the number of
// destination units, or returns 0 and touches nothing when the next two
// characters are not both such. The caller guarantees 8 readable bytes and
// room for 6 units. Same rules as Decoder::DecodeWord, applied twice.
template <bool kWrite, typename To>
inline size_t TwoCharacters(To* d, const unsigned char*& s, size_t& n) {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  uint64_t w;
  std::memcpy(&w, s, 8);
  if ((w & 0xC0E0C0E0) == 0x80C080C0) {
    if constexpr (kWrite) {
      if constexpr (std::is_same_v<To, unsigned char>) {
        std::memcpy(d, s, 4);
      } else {
        d[0] = static_cast<To>(((w & 0x1F) << 6) | ((w >> 8) & 0x3F));
        d[1] = static_cast<To>(((w >> 10) & 0x7C0) | ((w >> 24) & 0x3F));
      }
    }
    s += 4;
    n -= 4;
    return std::is_same_v<To, unsigned char> ? 4 : 2;
  }
  if ((w & 0xC0C0F0C0C0F0) == 0x8080E08080E0) {
    const uint32_t a = static_cast<uint32_t>(w);
    const uint32_t b = static_cast<uint32_t>(w >> 24);
    const uint32_t cp0 = ((a & 0x0F) << 12) | ((a >> 2) & 0xFC0) | ((a >> 16) & 0x3F);
    const uint32_t cp1 = ((b & 0x0F) << 12) | ((b >> 2) & 0xFC0) | ((b >> 16) & 0x3F);
    if ((cp0 & 0xF800) == 0xD800 || (cp1 & 0xF800) == 0xD800) return 0;
    if constexpr (kWrite) {
      if constexpr (std::is_same_v<To, unsigned char>) {
        std::memcpy(d, s, 6);
      } else {
        d[0] = static_cast<To>(cp0);
        d[1] = static_cast<To>(cp1);
      }
    }
    s += 6;
    n -= 6;
    return std::is_same_v<To, unsigned char> ? 6 : 2;
  }
#else
  (void)d;
  (void)s;
  (void)n;
#endif
  return 0;
}

inline unsigned ByteMask(__m128i v, int and_mask, int equals) {
  const __m128i m = _mm_and_si128(v, _mm_set1_epi8(static_cast<char>(and_mask)));
  return static_cast<unsigned>(
      _mm_movemask_epi8(_mm_cmpeq_epi8(m, _mm_set1_epi8(static_cast<char>(equals)))));
}

// W (16, 32 or 64) bytes of UTF-8 read at s, and masks of them with a bit per
// byte.
template <size_t W>
struct ByteBlock {
  using Bits = std::conditional_t<W == 64, uint64_t, uint32_t>;
  __m128i v[W / 16];
  explicit ByteBlock(const unsigned char* s) {
    for (size_t i = 0; i < W / 16; ++i) {
      v[i] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 16 * i));
    }
  }
  Bits Mask(int and_mask, int equals) const {
    Bits m = 0;
    for (size_t i = 0; i < W / 16; ++i) m |= Bits{ByteMask(v[i], and_mask, equals)} << (16 * i);
    return m;
  }
  Bits High() const {
    Bits m = 0;
    for (size_t i = 0; i < W / 16; ++i) {
      m |= static_cast<Bits>(static_cast<unsigned>(_mm_movemask_epi8(v[i]))) << (16 * i);
    }
    return m;
  }
};

// Mixed text a block at a time: W UTF-8 bytes b, read at s, of ASCII and
// complete sequences are validated with one set of masks instead of a branch
// per character, which is what mispredicts in text that alternates between
// ASCII and other letters. The rules are the decoder's: a block passes only if
// each of its characters would decode well-formed (0xF4 only up to 0x8F, no
// encoded surrogates, overlong forms accepted), and a sequence cut by the end
// of the block is left for the next step. Into UTF-8 the bytes are the output
// and every length is taken; 64 bytes a step then make a quarter of the
// steps, each of which waits on where the last one ended. Into UTF-16 and
// UTF-32 (W is 16) the values are built in vector lanes and only ASCII and
// two-byte forms are taken, as in European text (runs of longer forms go
// faster through ThreeByteBlock8 and TwoCharacters). Returns the source bytes
// consumed (0: not such a block; nothing touched) and adds the destination
// units to `out`. Needs W readable bytes and room for W units.
template <bool kWrite, typename To, size_t W>
inline size_t MixedBlock(To* d, const unsigned char* s, const ByteBlock<W>& b, size_t& out) {
  constexpr bool kSame = std::is_same_v<To, unsigned char>;
  static_assert(W == 16 || kSame, "the squeeze takes sixteen lanes");
  using Bits = typename ByteBlock<W>::Bits;
  constexpr Bits kAll = static_cast<Bits>(~uint64_t{0} >> (64 - W));
  constexpr Bits kTop = Bits{1} << (W - 1);
  const Bits ascii = ~b.High() & kAll;
  // All ASCII is AsciiRun's; it would also make sixteen units of output,
  // one more than the room the squeeze below may touch.
  if (ascii == kAll) return 0;
  const Bits cont = b.Mask(0xC0, 0x80);
  const Bits lead2 = b.Mask(0xE0, 0xC0);
  const Bits lead3 = kSame ? b.Mask(0xF0, 0xE0) : 0;
  // Four-byte leads are rare outside emoji; their masks are made only when
  // the block has a byte of 0xF0 or more.
  Bits f4 = 0, lead4 = 0;
  if constexpr (kSame) {
    if (b.Mask(0xF0, 0xF0) != 0) {
      f4 = b.Mask(0xFF, 0xF4);
      lead4 = b.Mask(0xFC, 0xF0) | f4;
    }
  }
  // A sequence that does not end inside the block ends the block before it.
  // A branch, not a select: the next block's address then comes from the
  // prediction instead of waiting for the masks.
  const Bits cut = (lead2 & kTop) | (lead3 & (3 * (kTop >> 1))) | (lead4 & (7 * (kTop >> 2)));
  unsigned m = W;
  if (__builtin_expect(cut != 0, 0)) m = static_cast<unsigned>(__builtin_ctzll(cut));
  const Bits keep = static_cast<Bits>(~uint64_t{0} >> (64 - m));
  if (((ascii | cont | lead2 | lead3 | lead4 | ~keep) & kAll) != kAll) return 0;  // other bytes
  // The continuations that the kept leads call for, and no others. `want` is
  // not cut to the block: a kept sequence that runs into a cut lead fails.
  const Bits l2 = lead2 & keep, l3 = lead3 & keep, l4 = lead4 & keep;
  const Bits want = (l2 << 1) | (l3 << 1) | (l3 << 2) | (l4 << 1) | (l4 << 2) | (l4 << 3);
  if ((cont & keep) != (want & kAll)) return 0;
  if constexpr (kSame) {
    // 0xED followed by 0xA0..0xBF encodes a surrogate; 0xF4 past 0x8F lies
    // above 0x10FFFF.
    if (((l3 & b.Mask(0xFF, 0xED)) << 1) & b.Mask(0xE0, 0xA0)) return 0;
    if (f4 != 0 && (((f4 & keep) << 1) & ~b.Mask(0xF0, 0x80) & kAll) != 0) return 0;
    // The bytes are the output (m is W - 3 to W): two overlapping copies of
    // half a block, which never read the destination back.
    if constexpr (kWrite) {
      std::memcpy(d, s, W / 2);
      std::memcpy(d + m - W / 2, s + m - W / 2, W / 2);
    }
    out += m;
    return m;
  } else {
    const unsigned starts = (ascii | lead2) & keep;
    const size_t count = static_cast<size_t>(__builtin_popcount(starts));
    if constexpr (kWrite) {
      // Each lane's value as if a character started there; the lanes that
      // hold continuation bytes are then squeezed out.
      const __m128i zero = _mm_setzero_si128();
      const __m128i v = b.v[0];
      const __m128i next = _mm_srli_si128(v, 1);
      alignas(16) uint16_t lanes[16];
      for (int half = 0; half < 2; ++half) {
        const __m128i x = half ? _mm_unpackhi_epi8(v, zero) : _mm_unpacklo_epi8(v, zero);
        const __m128i y = half ? _mm_unpackhi_epi8(next, zero) : _mm_unpacklo_epi8(next, zero);
        const __m128i two = _mm_or_si128(_mm_slli_epi16(_mm_and_si128(x, _mm_set1_epi16(0x1F)), 6),
                                         _mm_and_si128(y, _mm_set1_epi16(0x3F)));
        const __m128i is_ascii = _mm_cmplt_epi16(x, _mm_set1_epi16(0x80));
        const __m128i value =
            _mm_or_si128(_mm_and_si128(is_ascii, x), _mm_andnot_si128(is_ascii, two));
        _mm_store_si128(reinterpret_cast<__m128i*>(lanes + 8 * half), value);
      }
      // Branch-free squeeze: every lane is stored, and only a start advances.
      // The store after the last start lands one unit past the output; that
      // unit is put back as it was.
      const To saved = d[count];
      size_t j = 0;
      for (unsigned i = 0; i < m; ++i) {
        d[j] = static_cast<To>(lanes[i]);
        j += (starts >> i) & 1;
      }
      d[count] = saved;
    }
    out += count;
    return m;
  }
}

// UTF-8 to UTF-16 and UTF-32 for CJK text: fifteen bytes of five three-byte
// forms, none a surrogate, become five units, their values built in vector
// lanes as if a character started at each byte. Returns the source bytes
// consumed (0: not such a block; nothing touched). Needs 16 readable bytes
// and room for 5 units.
template <bool kWrite, typename To>
inline size_t ThreeByteBlock8(To* d, const unsigned char* s) {
  const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
  if ((ByteMask(v, 0xF0, 0xE0) & 0x7FFF) != 0x1249 ||
      (ByteMask(v, 0xC0, 0x80) & 0x7FFF) != 0x6DB6) {
    return 0;
  }
  if ((ByteMask(v, 0xFF, 0xED) << 1) & ByteMask(v, 0xE0, 0xA0) & 0x2492) return 0;
  if constexpr (kWrite) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i v1 = _mm_srli_si128(v, 1), v2 = _mm_srli_si128(v, 2);
    auto values = [&](__m128i x, __m128i y, __m128i z) {
      return _mm_or_si128(_mm_or_si128(_mm_slli_epi16(x, 12),
                                       _mm_slli_epi16(_mm_and_si128(y, _mm_set1_epi16(0x3F)), 6)),
                          _mm_and_si128(z, _mm_set1_epi16(0x3F)));
    };
    const __m128i lo = values(_mm_unpacklo_epi8(v, zero), _mm_unpacklo_epi8(v1, zero),
                              _mm_unpacklo_epi8(v2, zero));
    const __m128i hi = values(_mm_unpackhi_epi8(v, zero), _mm_unpackhi_epi8(v1, zero),
                              _mm_unpackhi_epi8(v2, zero));
    d[0] = static_cast<To>(_mm_extract_epi16(lo, 0));
    d[1] = static_cast<To>(_mm_extract_epi16(lo, 3));
    d[2] = static_cast<To>(_mm_extract_epi16(lo, 6));
    d[3] = static_cast<To>(_mm_extract_epi16(hi, 1));
    d[4] = static_cast<To>(_mm_extract_epi16(hi, 4));
  }
  return 15;
}

// Eight UTF-16 units.
inline __m128i Load8(const unsigned short* s) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
}

// UTF-16 to UTF-8 for European text: eight units u below 0x800 become one
// or two bytes each without a branch per unit. Returns the bytes written (0:
// not such a block; nothing touched). Needs room for 17 bytes.
template <bool kWrite>
inline size_t TwoByteBlock16(unsigned char* d, __m128i u) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i below800 =
      _mm_cmpeq_epi16(_mm_and_si128(u, _mm_set1_epi16(static_cast<short>(0xF800))), zero);
  if (_mm_movemask_epi8(below800) != 0xFFFF) return 0;
  const __m128i ascii =
      _mm_cmpeq_epi16(_mm_and_si128(u, _mm_set1_epi16(static_cast<short>(0xFF80))), zero);
  const unsigned ascii_bytes = static_cast<unsigned>(_mm_movemask_epi8(ascii));
  // Two bytes per lane, first byte low: ASCII as itself (second byte unused),
  // others as the lead 0xC0 | u >> 6 and the trail 0x80 | (u & 0x3F).
  const __m128i lead = _mm_or_si128(_mm_srli_epi16(u, 6), _mm_set1_epi16(0xC0));
  const __m128i trail = _mm_or_si128(_mm_and_si128(u, _mm_set1_epi16(0x3F)), _mm_set1_epi16(0x80));
  const __m128i first = _mm_or_si128(_mm_and_si128(ascii, u), _mm_andnot_si128(ascii, lead));
  const __m128i pairs = _mm_or_si128(first, _mm_slli_epi16(trail, 8));
  // Bytes of output: 8 plus one per non-ASCII unit.
  const size_t count = 8 + static_cast<size_t>(__builtin_popcount(~ascii_bytes & 0xFFFF)) / 2;
  if constexpr (kWrite) {
    alignas(16) uint16_t lanes[8];
    _mm_store_si128(reinterpret_cast<__m128i*>(lanes), pairs);
    // Every lane stores two bytes and advances by its length; an ASCII lane's
    // spare byte is overwritten by the next lane, and that of the last is put
    // back as it was. No branch: in European text whether eight units are
    // all ASCII, or the last one is, cannot be predicted.
    const unsigned char saved = d[count];
    size_t j = 0;
    for (int i = 0; i < 8; ++i) {
      std::memcpy(d + j, &lanes[i], 2);
      j += 2 - ((ascii_bytes >> (2 * i)) & 1);
    }
    d[count] = saved;
  }
  return count;
}

// UTF-16 to UTF-8 for CJK text: eight units u of 0x800..0xFFFF, none a
// surrogate, become three bytes each at fixed places. Returns the bytes
// written (0: not such a block; nothing touched). Needs room for 24 bytes.
template <bool kWrite>
inline size_t ThreeByteBlock16(unsigned char* d, __m128i u) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i below800 =
      _mm_cmpeq_epi16(_mm_and_si128(u, _mm_set1_epi16(static_cast<short>(0xF800))), zero);
  const __m128i surrogate =
      _mm_cmpeq_epi16(_mm_and_si128(u, _mm_set1_epi16(static_cast<short>(0xF800))),
                      _mm_set1_epi16(static_cast<short>(0xD800)));
  if (_mm_movemask_epi8(_mm_or_si128(below800, surrogate)) != 0) return 0;
  if constexpr (kWrite) {
    const __m128i b0 = _mm_or_si128(_mm_srli_epi16(u, 12), _mm_set1_epi16(0xE0));
    const __m128i b1 = _mm_or_si128(_mm_and_si128(_mm_srli_epi16(u, 6), _mm_set1_epi16(0x3F)),
                                    _mm_set1_epi16(0x80));
    const __m128i b2 = _mm_or_si128(_mm_and_si128(u, _mm_set1_epi16(0x3F)), _mm_set1_epi16(0x80));
    // b0 | b1 << 8 | b2 << 16 in 32-bit lanes, four units per vector.
    const __m128i lo01 = _mm_or_si128(b0, _mm_slli_epi16(b1, 8));
    const __m128i a = _mm_or_si128(_mm_unpacklo_epi16(lo01, zero),
                                   _mm_slli_epi32(_mm_unpacklo_epi16(b2, zero), 16));
    const __m128i b = _mm_or_si128(_mm_unpackhi_epi16(lo01, zero),
                                   _mm_slli_epi32(_mm_unpackhi_epi16(b2, zero), 16));
    alignas(16) uint32_t lanes[8];
    _mm_store_si128(reinterpret_cast<__m128i*>(lanes), a);
    _mm_store_si128(reinterpret_cast<__m128i*>(lanes + 4), b);
    // Four-byte stores, each next one overwriting the spare byte; the last
    // stores its three bytes only.
    for (int i = 0; i < 7; ++i) std::memcpy(d + 3 * i, &lanes[i], 4);
    std::memcpy(d + 21, &lanes[7], 3);
  }
  return 24;
}

// Four UTF-32 code points at once, when all are valid: each lane makes its
// whole output (1 to 4 bytes, or 1 or 2 units) in one 32-bit value, which is
// stored whole at the place of its character, the next one's overwriting
// what it does not use; the destination past the last is put back as it
// was. No branch per character: in text that changes script every few
// characters, which length comes next cannot be predicted. Returns the units
// written (0: an invalid one among them; nothing touched). Needs 4 readable
// units and room for 20.
template <bool kWrite, typename To>
inline size_t CodePoints4(To* d, const unsigned int* s) {
  const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
  // Unsigned compares as signed ones on values offset by 2^31.
  const __m128i bias = _mm_set1_epi32(INT32_MIN);
  const auto at_least = [&](__m128i x, int bound) {
    return _mm_cmpgt_epi32(_mm_xor_si128(x, bias), _mm_set1_epi32(INT32_MIN + bound - 1));
  };
  const __m128i surrogate =
      _mm_xor_si128(at_least(_mm_sub_epi32(v, _mm_set1_epi32(0xD800)), 0x800), _mm_set1_epi32(-1));
  if (_mm_movemask_epi8(_mm_or_si128(surrogate, at_least(v, 0x110000))) != 0) return 0;
  if constexpr (std::is_same_v<To, unsigned int>) {
    if constexpr (kWrite) _mm_storeu_si128(reinterpret_cast<__m128i*>(d), v);
    return 4;
  } else if (_mm_movemask_epi8(at_least(v, std::is_same_v<To, unsigned char> ? 0x80 : 0x10000)) ==
             0) {
    // One unit each (ASCII into UTF-8, the BMP into UTF-16): a pack. The
    // signed pack of the values less 0x8000, then 0x8000 back, keeps 16 bits.
    if constexpr (kWrite) {
      if constexpr (std::is_same_v<To, unsigned char>) {
        const int32_t units = _mm_cvtsi128_si32(
            _mm_packus_epi16(_mm_packs_epi32(v, _mm_setzero_si128()), _mm_setzero_si128()));
        std::memcpy(d, &units, 4);
      } else {
        const __m128i half = _mm_set1_epi32(0x8000);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(d),
                         _mm_add_epi16(_mm_packs_epi32(_mm_sub_epi32(v, half), _mm_setzero_si128()),
                                       _mm_set1_epi16(INT16_MIN)));
      }
    }
    return 4;
  } else {
    const __m128i ge10000 = at_least(v, 0x10000);
    __m128i out;
    // Lanes of 0 or -1 per condition; a lane's length is 1 less their sum.
    __m128i length = _mm_sub_epi32(_mm_set1_epi32(1), ge10000);
    const __m128i m3f = _mm_set1_epi32(0x3F), m80 = _mm_set1_epi32(0x80);
    if constexpr (std::is_same_v<To, unsigned char>) {
      const __m128i ge80 = at_least(v, 0x80), ge800 = at_least(v, 0x800);
      length = _mm_sub_epi32(_mm_sub_epi32(length, ge80), ge800);
      const __m128i t0 = _mm_or_si128(_mm_and_si128(v, m3f), m80);
      const __m128i t1 = _mm_or_si128(_mm_and_si128(_mm_srli_epi32(v, 6), m3f), m80);
      const __m128i t2 = _mm_or_si128(_mm_and_si128(_mm_srli_epi32(v, 12), m3f), m80);
      const __m128i two = _mm_or_si128(_mm_or_si128(_mm_srli_epi32(v, 6), _mm_set1_epi32(0xC0)),
                                       _mm_slli_epi32(t0, 8));
      const __m128i three =
          _mm_or_si128(_mm_or_si128(_mm_srli_epi32(v, 12), _mm_set1_epi32(0xE0)),
                       _mm_or_si128(_mm_slli_epi32(t1, 8), _mm_slli_epi32(t0, 16)));
      const __m128i four =
          _mm_or_si128(_mm_or_si128(_mm_srli_epi32(v, 18), _mm_set1_epi32(0xF0)),
                       _mm_or_si128(_mm_slli_epi32(t2, 8),
                                    _mm_or_si128(_mm_slli_epi32(t1, 16), _mm_slli_epi32(t0, 24))));
      const auto pick = [](__m128i mask, __m128i yes, __m128i no) {
        return _mm_or_si128(_mm_and_si128(mask, yes), _mm_andnot_si128(mask, no));
      };
      out = pick(ge10000, four, pick(ge800, three, pick(ge80, two, v)));
    } else {
      // A supplementary code point's pair, high unit first.
      const __m128i x = _mm_sub_epi32(v, _mm_set1_epi32(0x10000));
      const __m128i pair = _mm_or_si128(
          _mm_or_si128(_mm_srli_epi32(x, 10), _mm_set1_epi32(0xD800)),
          _mm_slli_epi32(
              _mm_or_si128(_mm_and_si128(v, _mm_set1_epi32(0x3FF)), _mm_set1_epi32(0xDC00)), 16));
      out = _mm_or_si128(_mm_and_si128(ge10000, pair), _mm_andnot_si128(ge10000, v));
    }
    alignas(16) uint32_t lanes[4], lengths[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(lanes), out);
    _mm_store_si128(reinterpret_cast<__m128i*>(lengths), length);
    const size_t count = lengths[0] + lengths[1] + lengths[2] + lengths[3];
    if constexpr (kWrite) {
      constexpr size_t kLane = 4 / sizeof(To);  // units a lane stores
      To saved[kLane];
      std::memcpy(saved, d + count, sizeof saved);
      size_t j = 0;
      for (int i = 0; i < 4; ++i) {
        std::memcpy(d + j, &lanes[i], 4);
        j += lengths[i];
      }
      std::memcpy(d + count, saved, sizeof saved);
    }
    return count;
  }
}

// Eight UTF-16 units u, surrogate pairs among them, into UTF-32 at d: each
// lane makes its unit's code point (a high surrogate's, that of its pair)
// and is stored at the place of its character, a low surrogate's taking no
// place; the destination past the last is put back as it was. A high
// surrogate as the eighth unit is left for the next step. Returns what was
// taken ({0, 0}: a surrogate without its partner; nothing touched). Needs
// room for 9.
template <bool kWrite>
inline KernelProgress PairedUnits8(unsigned int* d, __m128i u) {
  const __m128i top = _mm_and_si128(u, _mm_set1_epi16(static_cast<short>(0xFC00)));
  const auto units = [&](int value) {  // two mask bits a unit
    return static_cast<unsigned>(
        _mm_movemask_epi8(_mm_cmpeq_epi16(top, _mm_set1_epi16(static_cast<short>(value)))));
  };
  const unsigned high = units(0xD800), low = units(0xDC00);
  if (((high << 2) & 0xFFFF) != low) return {0, 0};
  const size_t in = (high >> 14) != 0 ? 7 : 8;
  const size_t out = in - static_cast<size_t>(__builtin_popcount(low)) / 2;
  if constexpr (kWrite) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i next = _mm_srli_si128(u, 2);
    const __m128i m3ff = _mm_set1_epi32(0x3FF);
    alignas(16) uint32_t lanes[8];
    for (int half = 0; half < 2; ++half) {
      const __m128i w = half ? _mm_unpackhi_epi16(u, zero) : _mm_unpacklo_epi16(u, zero);
      const __m128i x = half ? _mm_unpackhi_epi16(next, zero) : _mm_unpacklo_epi16(next, zero);
      const __m128i pair = _mm_add_epi32(
          _mm_or_si128(_mm_slli_epi32(_mm_and_si128(w, m3ff), 10), _mm_and_si128(x, m3ff)),
          _mm_set1_epi32(0x10000));
      const __m128i is_high =
          _mm_cmpeq_epi32(_mm_and_si128(w, _mm_set1_epi32(0xFC00)), _mm_set1_epi32(0xD800));
      _mm_store_si128(reinterpret_cast<__m128i*>(lanes + 4 * half),
                      _mm_or_si128(_mm_and_si128(is_high, pair), _mm_andnot_si128(is_high, w)));
    }
    const unsigned saved = d[out];
    size_t j = 0;
    for (size_t i = 0; i < in; ++i) {
      d[j] = lanes[i];
      j += 1 - ((low >> (2 * i)) & 1);
    }
    d[out] = saved;
  }
  return {in, out};
}

// The kernel of the pair: blocks while they pass, the decoder for single
// well-formed characters, and a return at the first ill-formed one or where
// less than a vector of source or room is left.
template <typename To, typename From, bool kWrite>
struct Kernel {
  static constexpr size_t kMinUnits = 4;
  static KernelProgress Run(To* d, size_t r, const From* s, size_t n);
};

template <typename To, typename From, bool kWrite>
KernelProgress Kernel<To, From, kWrite>::Run(To* d, size_t r, const From* s, size_t n) {
  const From* const s0 = s;
  const size_t r0 = r;
  // Moves past `out` destination units written and `in` source units read;
  // measuring (!kWrite) has no destination pointer to move.
  const auto advance = [&](size_t out, size_t in) {
    if constexpr (kWrite) d += out;
    r -= out;
    s += in;
    n -= in;
  };
  // While a whole vector of source and of room remains, neither the end of
  // the source nor the room need testing per character.
  constexpr size_t kSafe = 16;
  // Where a block failed, blocks are not tried again for its length: text
  // with characters the block test cannot take (four-byte forms, or
  // three-byte ones outside UTF-8 to UTF-8) goes character by character.
  [[maybe_unused]] const From* no_block_before = s;
  while (n >= kSafe && r >= kSafe) {
    if constexpr (std::is_same_v<From, unsigned int>) {
      if (r >= 20) {
        if (const size_t k = CodePoints4<kWrite>(d, s)) {
          advance(k, 4);
          continue;
        }
      }
    }
    if constexpr (std::is_same_v<From, unsigned char>) {
      // Into UTF-16 and UTF-32, runs of three-byte forms (CJK) go faster
      // through ThreeByteBlock8.
      if (s >= no_block_before && (std::is_same_v<To, unsigned char> || (*s & 0xF0) != 0xE0)) {
        const ByteBlock<16> first(s);
        if (first.High() != 0) {
          // Into UTF-8, 64 bytes where there is source and room for them,
          // else (or where those do not pass) 16.
          auto block = [&](size_t & k) __attribute__((always_inline))->size_t {
            if constexpr (std::is_same_v<To, unsigned char>) {
              if (n >= 64 && r >= 64) {
                if (const size_t used = MixedBlock<kWrite>(d, s, ByteBlock<64>(s), k)) return used;
              }
            }
            return MixedBlock<kWrite>(d, s, ByteBlock<16>(s), k);
          };
          size_t k = 0;
          if (size_t used = block(k)) {
            // Text of one kind stays of that kind: keep to blocks while
            // they pass.
            do {
              advance(k, used);
              if (n < kSafe || r < kSafe) break;
              k = 0;
              used = block(k);
            } while (used != 0);
            continue;
          }
          no_block_before = s + kSafe;
        }
      }
    }
    if constexpr (std::is_same_v<From, unsigned short> && std::is_same_v<To, unsigned char>) {
      // ASCII, runs or the ASCII before the next other unit, goes through
      // AsciiRun; from a unit above 0x7F, text below U+0800 goes eight units
      // a step through TwoByteBlock16 and CJK through ThreeByteBlock16. No
      // block takes a surrogate, which goes straight to Character.
      if (r >= 24 && *s >= 0x80 && (*s & 0xF800) != 0xD800) {
        size_t k = TwoByteBlock16<kWrite>(d, Load8(s));
        if (k == 0) k = ThreeByteBlock16<kWrite>(d, Load8(s));
        if (k != 0) {
          advance(k, 8);
          // Text of one kind stays of that kind: European text keeps to the
          // two-byte block, ASCII between its letters included.
          while (n >= kSafe && r >= 24 && (k = TwoByteBlock16<kWrite>(d, Load8(s))) != 0) {
            advance(k, 8);
          }
          continue;
        }
      }
    }
    if constexpr (std::is_same_v<From, unsigned short> && !std::is_same_v<To, unsigned char>) {
      // Into UTF-16 and UTF-32 every unit but a surrogate is itself: eight a
      // step, whatever their script, or those before the first surrogate.
      const __m128i u = Load8(s);
      const __m128i top = _mm_and_si128(u, _mm_set1_epi16(static_cast<short>(0xF800)));
      const unsigned surrogates = static_cast<unsigned>(
          _mm_movemask_epi8(_mm_cmpeq_epi16(top, _mm_set1_epi16(static_cast<short>(0xD800)))));
      if (surrogates == 0) {
        if constexpr (kWrite && std::is_same_v<To, unsigned short>) {
          _mm_storeu_si128(reinterpret_cast<__m128i*>(d), u);
        } else if constexpr (kWrite) {
          const __m128i zero = _mm_setzero_si128();
          _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm_unpacklo_epi16(u, zero));
          _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 4), _mm_unpackhi_epi16(u, zero));
        }
        advance(8, 8);
        continue;
      }
      if constexpr (std::is_same_v<To, unsigned int>) {
        const KernelProgress p = PairedUnits8<kWrite>(d, u);
        if (p.in != 0) {
          advance(p.out, p.in);
          continue;
        }
      }
      if (const size_t k = static_cast<size_t>(__builtin_ctz(surrogates)) / 2) {
        if constexpr (kWrite) {
          for (size_t i = 0; i < k; ++i) d[i] = s[i];
        }
        advance(k, k);
        continue;
      }
    }
    if constexpr (kHasAsciiRuns<From>) {
      if (*s < 0x80) {
        const size_t k = AsciiRun<kWrite>(d, s, n < r ? n : r);
        advance(k, k);
        continue;
      }
    }
    if constexpr (std::is_same_v<From, unsigned char> && !std::is_same_v<To, unsigned char>) {
      if ((*s & 0xF0) == 0xE0 && ThreeByteBlock8<kWrite>(d, s) != 0) {
        // Text of one script keeps to one length: stay with blocks while
        // they pass.
        do {
          advance(5, 15);
        } while (n >= kSafe && r >= kSafe && ThreeByteBlock8<kWrite>(d, s) != 0);
        continue;
      }
    }
    if constexpr (std::is_same_v<From, unsigned char>) {
      if (const size_t k = TwoCharacters<kWrite>(d, s, n)) {
        if constexpr (kWrite) d += k;
        r -= k;
        continue;
      }
    }
    const Decoded c = Decoder<From, true>::Decode(s, n);
    if (c.len == 0) return {static_cast<size_t>(s - s0), r0 - r};
    const size_t k = Encoder<To>::template Length<From>(c);
    if constexpr (kWrite) Encoder<To>::template Put<From>(d, s, c, k);
    advance(k, c.len);
  }
  // Less than a vector of source or room is left: ASCII runs as above, and
  // other characters one at a time while they fit.
  while (n != 0 && r != 0) {
    if constexpr (kHasAsciiRuns<From>) {
      if (*s < 0x80) {
        const size_t k = AsciiRun<kWrite>(d, s, n < r ? n : r);
        advance(k, k);
        continue;
      }
    }
    const Decoded c = Decoder<From, true>::Decode(s, n);
    if (c.len == 0) break;
    const size_t k = Encoder<To>::template Length<From>(c);
    if (k > r) break;
    if constexpr (kWrite) Encoder<To>::template Put<From>(d, s, c, k);
    advance(k, c.len);
  }
  return {static_cast<size_t>(s - s0), r0 - r};
}

}  // namespace
}  // namespace KY_UTF_ISA
}  // namespace ky::detail

#endif  // KY_SRC_UTF_KERNEL_SSE_H
