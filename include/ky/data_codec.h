// File: ky/data_codec.h
//
// Encoding bytes to Base64, Base32 and hexadecimal text and decoding it back,
// for every ky::basic_data_encoder<T, E> of <ky/codecs.h>: the alphabet and
// the reverse table of the type and character family decide everything, so
// EBCDIC text and the any-case types need no code of their own. Part of
// <ky/codecs.h>, which includes this file; everything here is inline and
// exports nothing.
//
// Padded types (Base64, Base32) write and require the padding of RFC 4648:
// the text is whole groups of 4 or 8 symbols, the last one filled up with the
// padding character. The hexadecimal types have no padding and take an even
// number of digits. Decoding is strict: no white space, no missing or extra
// padding, and the bits of the last symbol that do not make a whole byte must
// be zero, so every byte string has exactly one text per type.
//
// All functions are safe on any thread. They read the type's tables only;
// the alphabet pointers of Encoding 0 are set when the library is loaded, so
// code that runs before that (another library's static constructors) must
// use Encoding 1.
#ifndef KY_DATA_CODEC_H
#define KY_DATA_CODEC_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <string>

#include "ky/codecs.h"

namespace ky {

// Why a decoding failed; see data_decode_result::offset for where.
enum class data_decode_status {
  ok,
  invalid_symbol,  // a byte that is neither a symbol of the type nor padding
  bad_padding,     // padding inside the text, too much or too little of it
  trailing_bits,   // the last symbol carries bits that make no whole byte
  truncated,       // the symbols end inside a byte (e.g. an odd hex digit)
};

// Result of a decoding. On success `offset` is the length of the text and
// `length` the number of bytes stored. On failure `offset` is the offset in
// the text of the offending byte (for bad_padding: where the padding starts,
// or the end of the text when padding is missing; for truncated: the end of
// the symbols; for trailing_bits: the last symbol), and `length` counts the
// bytes already stored for the text before it.
struct data_decode_result {
  // ok, or why the text was rejected.
  data_decode_status status;
  // The end of the text on success, else where the fault is.
  size_t offset;
  // Bytes stored.
  size_t length;
  // Whether the whole text decoded.
  bool ok() const { return status == data_decode_status::ok; }
};

namespace detail {

// The layout of a type's text: each symbol holds `bits` bits; a group of
// `group_symbols` symbols holds `group_bytes` bytes and ends a padded text.

template <data_encoder_type::Type T>
struct data_codec_shape {
  enum : unsigned {
    bits = static_cast<int>(T) <= 2    ? 6u
           : static_cast<int>(T) <= 10 ? 5u
                                       : 4u,
    group_bytes = bits == 6   ? 3u
                  : bits == 5 ? 5u
                              : 1u,
    group_symbols = group_bytes * 8 / bits,
    padded = bits != 4,
    mask = (1u << bits) - 1,
  };
};

// Every pair of symbols, indexed by the 2 * bits bits that they encode: the
// encoder maps 12 bits of Base64 (10 of Base32, 8 of hex) with one load
// instead of two. Built from the alphabet on first use.
template <data_encoder_type::Type T, encoding::Encoding E>
struct data_symbol_pairs {
  typedef data_codec_shape<T> shape;
  char sym[1u << (2 * shape::bits)][2];

  data_symbol_pairs() {
    const auto* a = basic_data_encoder<T, E>::encode_tbl_;
    for (unsigned i = 0; i < (1u << (2 * shape::bits)); ++i) {
      sym[i][0] = static_cast<char>(a[i >> shape::bits]);
      sym[i][1] = static_cast<char>(a[i & shape::mask]);
    }
  }

  static const data_symbol_pairs& get() {
    static const data_symbol_pairs table;
    return table;
  }
};

// The decode table spread over the four places of a quad of symbols: entry
// [k][c] holds the value of c shifted to place k of 4 * bits bits, so that a
// quad decodes with four loads and three ORs; bytes that are no symbol set
// the top byte, which no quad of values reaches. Built on first use.
template <data_encoder_type::Type T, encoding::Encoding E>
struct data_quad_values {
  typedef data_codec_shape<T> shape;
  uint32_t val[4][256];

  data_quad_values() {
    for (unsigned c = 0; c < 256; ++c) {
      const unsigned v = basic_data_encoder<T, E>::decode_tbl_[c];
      for (unsigned k = 0; k < 4; ++k) {
        val[k][c] = v >> shape::bits ? 0xFF000000u : v << (shape::bits * (3 - k));
      }
    }
  }

  static const data_quad_values& get() {
    static const data_quad_values table;
    return table;
  }
};

// The 8 bytes at p as a big-endian number: the first byte in the top bits.
inline uint64_t load_be64(const unsigned char* p) {
  uint64_t x;
  memcpy(&x, p, 8);
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  x = __builtin_bswap64(x);
#endif
  return x;
}

// Stores the top `bytes` bytes of x at p, first the highest; writes 8 bytes
// when the destination has room for them, so the compiler emits one store.
inline void store_be(unsigned char* p, uint64_t x, unsigned bytes, bool room_for_8) {
  if (room_for_8) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    x = __builtin_bswap64(x);
#endif
    memcpy(p, &x, 8);
  } else {
    for (unsigned k = 0; k < bytes; ++k) p[k] = static_cast<unsigned char>(x >> (56 - 8 * k));
  }
}

// Number of padding characters that end the text (0 for hex).
template <data_encoder_type::Type T, encoding::Encoding E>
inline size_t data_trailing_padding(const unsigned char* s, size_t n) {
  if (!data_codec_shape<T>::padded) return 0;
  size_t p = 0;
  while (p < n && basic_data_encoder<T, E>::decode_tbl_[s[n - 1 - p]] == 0xFE) ++p;
  return p;
}

}  // namespace detail

// Length of the text for n bytes: 4 symbols per started 3 bytes for Base64,
// 8 per started 5 bytes for Base32 (both padded), 2 per byte for hex.
template <data_encoder_type::Type T, encoding::Encoding E>
inline size_t data_encode_length(size_t n) {
  typedef detail::data_codec_shape<T> shape;
  return (n / shape::group_bytes + (n % shape::group_bytes != 0)) * shape::group_symbols;
}

// Writes the text for the n bytes at src to dst, which must hold exactly
// data_encode_length<T, E>(n) characters; adds no NUL. Returns that length.
// src and dst may be null when n is 0.
template <data_encoder_type::Type T, encoding::Encoding E>
inline size_t data_encode(const void* src, size_t n, char* dst) {
  typedef detail::data_codec_shape<T> shape;
  const unsigned G = shape::group_bytes, B = shape::bits, pair_mask = (1u << 2 * B) - 1;
  const auto& pairs = detail::data_symbol_pairs<T, E>::get().sym;
  const unsigned char* s = static_cast<const unsigned char*>(src);
  const unsigned char* const end = s + n;
  char* d = dst;
  // Eight symbols (B bytes) a step from one 8-byte load while the load stays
  // inside the input.
  while (end - s > 8) {
    const uint64_t x = detail::load_be64(s);
    memcpy(d, pairs[x >> (64 - 2 * B)], 2);
    memcpy(d + 2, pairs[(x >> (64 - 4 * B)) & pair_mask], 2);
    memcpy(d + 4, pairs[(x >> (64 - 6 * B)) & pair_mask], 2);
    memcpy(d + 6, pairs[(x >> (64 - 8 * B)) & pair_mask], 2);
    s += B;
    d += 8;
  }
  for (; static_cast<size_t>(end - s) >= G; s += G) {
    uint64_t x = 0;
    for (unsigned k = 0; k < G; ++k) x = x << 8 | s[k];
    for (unsigned k = 0; k < shape::group_symbols / 2; ++k, d += 2) {
      memcpy(d, pairs[(x >> (G * 8 - 2 * B * (k + 1))) & pair_mask], 2);
    }
  }
  const size_t rest = static_cast<size_t>(end - s);
  if (rest != 0) {
    const auto* alphabet = basic_data_encoder<T, E>::encode_tbl_;
    uint64_t x = 0;
    for (unsigned k = 0; k < G; ++k) x = x << 8 | (k < rest ? s[k] : 0u);
    const size_t used = (rest * 8 + B - 1) / B;
    for (size_t k = 0; k < shape::group_symbols; ++k) {
      // The padding character follows the symbols in the alphabet.
      const uint64_t v = k < used ? (x >> (G * 8 - B * (k + 1))) & shape::mask : shape::mask + 1;
      *d++ = static_cast<char>(alphabet[v]);
    }
  }
  return static_cast<size_t>(d - dst);
}

// Appends the text for the n bytes at src to out. src may be null when n is 0.
// Throws what std::string throws when it cannot grow.
template <data_encoder_type::Type T, encoding::Encoding E>
inline void data_encode(const void* src, size_t n, std::string& out) {
  const size_t old = out.size();
  out.resize(old + data_encode_length<T, E>(n));
  data_encode<T, E>(src, n, &out[0] + old);
}

// Number of bytes that data_decode stores for the n characters at src: exact
// for valid text, and never exceeded for any text. Looks only at the padding
// at the end. src may be null when n is 0.
template <data_encoder_type::Type T, encoding::Encoding E>
inline size_t data_decode_length(const char* src, size_t n) {
  typedef detail::data_codec_shape<T> shape;
  const size_t d =
      n - detail::data_trailing_padding<T, E>(reinterpret_cast<const unsigned char*>(src), n);
  return d / shape::group_symbols * shape::group_bytes + d % shape::group_symbols * shape::bits / 8;
}

// Decodes the n characters at src into dst, which must hold
// data_decode_length<T, E>(src, n) bytes; stores nothing beyond that, even
// for invalid text. Any-case types accept either case of their letters.
// Returns the status, the offset of a failure and the bytes stored (see
// data_decode_result). src and dst may be null when n is 0.
template <data_encoder_type::Type T, encoding::Encoding E>
inline data_decode_result data_decode(const char* src, size_t n, void* dst) {
  typedef detail::data_codec_shape<T> shape;
  const unsigned B = shape::bits;
  // A local copy of the table's address: stores through `out` may alias
  // anything, and must not make the compiler reload it per symbol.
  const unsigned char* const tbl = &basic_data_encoder<T, E>::decode_tbl_[0];
  const unsigned char* const s = reinterpret_cast<const unsigned char*>(src);
  unsigned char* const out = static_cast<unsigned char*>(dst);
  const size_t d = n - detail::data_trailing_padding<T, E>(s, n);
  const size_t room = d / shape::group_symbols * shape::group_bytes;
  const auto& quad = detail::data_quad_values<T, E>::get().val;
  size_t i = 0, o = 0;
  // Sixteen symbols a step without a branch per symbol: no quad of values
  // reaches the top byte that bad bytes set, so one test of the OR of the
  // step finds any bad byte in it. The symbol loop below then decodes that
  // step again and names the byte. Sixteen symbols are whole groups, two
  // runs of B bytes, each stored with one 8-byte store while room allows.
  while (d - i >= 16) {
    const unsigned char* c = s + i;
    const uint32_t a0 = quad[0][c[0]] | quad[1][c[1]] | quad[2][c[2]] | quad[3][c[3]];
    const uint32_t a1 = quad[0][c[4]] | quad[1][c[5]] | quad[2][c[6]] | quad[3][c[7]];
    const uint32_t b0 = quad[0][c[8]] | quad[1][c[9]] | quad[2][c[10]] | quad[3][c[11]];
    const uint32_t b1 = quad[0][c[12]] | quad[1][c[13]] | quad[2][c[14]] | quad[3][c[15]];
    if ((a0 | a1 | b0 | b1) >> 24) break;
    const bool wide = room - o >= B + 8;
    detail::store_be(out + o, (static_cast<uint64_t>(a0) << 4 * B | a1) << (64 - 8 * B), B, wide);
    detail::store_be(out + o + B, (static_cast<uint64_t>(b0) << 4 * B | b1) << (64 - 8 * B), B,
                     wide);
    i += 16;
    o += 2 * B;
  }
  unsigned acc = 0, held = 0;
  for (; i < d; ++i) {
    const unsigned v = tbl[s[i]];
    if (v >> B) {
      // Padding counted from the end stops at the first symbol, so padding
      // seen here has symbols after it.
      return data_decode_result{
          v == 0xFE ? data_decode_status::bad_padding : data_decode_status::invalid_symbol, i, o};
    }
    acc = (acc << B | v) & 0xFFFFu;
    held += B;
    if (held >= 8) {
      held -= 8;
      out[o++] = static_cast<unsigned char>(acc >> held);
    }
  }
  // A whole symbol left over cannot come from any byte string.
  if (held >= B) return data_decode_result{data_decode_status::truncated, d, o};
  // Padding fills the last group exactly; a text of whole groups has none.
  const size_t r = d % shape::group_symbols;
  if (n - d != (r == 0 ? 0 : shape::group_symbols - r)) {
    return data_decode_result{data_decode_status::bad_padding, d, o};
  }
  if (acc & ((1u << held) - 1))
    return data_decode_result{data_decode_status::trailing_bits, d - 1, o};
  return data_decode_result{data_decode_status::ok, n, o};
}

// Decodes the n characters at src and appends the bytes to out. On failure
// out is left as it was; the result tells why and where. src may be null when
// n is 0. Throws what std::string throws when it cannot grow.
template <data_encoder_type::Type T, encoding::Encoding E>
inline data_decode_result data_decode(const char* src, size_t n, std::string& out) {
  const size_t old = out.size();
  out.resize(old + data_decode_length<T, E>(src, n));
  const data_decode_result r = data_decode<T, E>(src, n, &out[0] + old);
  out.resize(r.ok() ? old + r.length : old);
  return r;
}

}  // namespace ky

#endif  // KY_DATA_CODEC_H
