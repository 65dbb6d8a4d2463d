// File: ky/codecs.h
//
// Character-set tables (ASCII/EBCDIC), binary-to-text encoder alphabets, URL decoding and integer
// formatting.
//
// The tables are constant, locale-free data exported by the library; the code that reads them is
// inline in callers. Every table may be read from any thread.
#ifndef KY_CODECS_H
#define KY_CODECS_H

#include "ky/export.h"

#ifdef __cplusplus

#include <sstream>
#include <string>

namespace ky {

namespace encoding {
// The character family a codec template works in. native is the platform's own family, which on
// every supported platform is the ASCII family; ascii_variant is a further ASCII-compatible family
// whose tables equal those of ascii; ebcdic uses the letter and digit positions of code page 037.
enum Encoding { native = 0, ascii = 1, ebcdic = 2, ascii_variant = 3 };
}  // namespace encoding

namespace language {
// Selects a set of case tables; latin covers the 26 unaccented letters.
enum Language { latin = 1 };
}  // namespace language

template <typename CharT, language::Language L>
struct char_casing;

// Case tables indexed by a byte, each holding the mapped byte. Only the 26 unaccented letters
// change; every other byte maps to itself (bytes above 0x7F in ASCII, non-letters in EBCDIC).
template <>
struct char_casing<char, language::latin> {
  // ASCII A..Z to a..z.
  static KY_API const unsigned char ascii_tolower_[256];
  // ASCII a..z to A..Z.
  static KY_API const unsigned char ascii_toupper_[256];
  // EBCDIC upper-case letters (0xC1..0xE9) to lower case (0x40 less).
  static KY_API const unsigned char ebcdic_tolower_[256];
  // EBCDIC lower-case letters (0x81..0xA9) to upper case (0x40 more).
  static KY_API const unsigned char ebcdic_toupper_[256];
  // Each EBCDIC (code page 037) byte as its ISO-8859-1 character, with a..z folded to A..Z.
  // Letters with diacritics keep their case.
  static KY_API const unsigned char ebcdic_to_asciiupper_[256];
};

// The characters of the digit values 0..35 in family E: "0123456789abcdefghijklmnopqrstuvwxyz"
// and its upper-case form. Not NUL-terminated. Defined for CharT = char.
template <typename CharT, encoding::Encoding E>
struct basic_numeric_to_char {
  // Digits, then lower-case letters.
  static KY_API const CharT tochar_lower_[36];
  // Digits, then upper-case letters.
  static KY_API const CharT tochar_upper_[36];
};

// tonum_ holds the digit value of each byte in family E: 0..9 for the digits, 10..35 for the
// letters of either case, else one of the markers below. The markers are all at least 252, so a
// reader in base b accepts a byte as a digit exactly when its value is below b. Defined for
// CharT = char.
template <typename CharT, encoding::Encoding E>
struct basic_char_to_numeric {
  enum { white_space = 0xFC, plus_sign = 0xFD, minus_sign = 0xFE, not_digit = 0xFF };
  // Digit value or marker of each byte.
  static KY_API const unsigned char tonum_[256];
};

namespace data_encoder_type {
// Binary-to-text codecs. The padded ones (base64 .. base32hex_lower_anycase) pad with "="; the
// anycase ones also decode the other case of their alphabet's letters.
enum Type {
  base64 = 1,
  base64url = 2,
  base32 = 3,
  base32_anycase = 4,
  base32_lower = 5,
  base32_lower_anycase = 6,
  base32hex = 7,
  base32hex_anycase = 8,
  base32hex_lower = 9,
  base32hex_lower_anycase = 10,
  hex_upper = 11,
  hex_upper_anycase = 12,
  hex_lower = 13,
  hex_lower_anycase = 14
};
}  // namespace data_encoder_type

// The two tables that determine a binary-to-text codec in family E.
//
// encode_tbl_ points at a NUL-terminated alphabet: the 64, 32 or 16 symbols in value order, then
// the padding character for the padded types. Types that differ only in what decoding accepts share
// one alphabet, and ascii and ascii_variant share every alphabet. The native pointers are bound to
// the ascii alphabets when the library is loaded: code running before the library's initialisers
// (another library's static constructors) may find some of them null.
//
// decode_tbl_ maps each byte to its symbol value, to decode_padding for the padding character, and
// to decode_invalid otherwise. It has no marker for white space: a decoder that skips it tests for
// it itself.
//
// ky::data_encode and ky::data_decode (<ky/data_codec.h>, included below) are the codec loops
// over these tables.
template <data_encoder_type::Type T, encoding::Encoding E>
struct basic_data_encoder {
  enum { decode_padding = 0xFE, decode_invalid = 0xFF };
  // The alphabet, padding character included.
  static KY_API const char* encode_tbl_;
  // Symbol value, decode_padding or decode_invalid of each byte.
  static KY_API const unsigned char decode_tbl_[256];
};

// The library defines the tables of every instance declared here.
#define KY_CODECS_DIGIT_TABLES(E)                                                \
  template <>                                                                    \
  KY_API const char basic_numeric_to_char<char, encoding::E>::tochar_lower_[36]; \
  template <>                                                                    \
  KY_API const char basic_numeric_to_char<char, encoding::E>::tochar_upper_[36]; \
  template <>                                                                    \
  KY_API const unsigned char basic_char_to_numeric<char, encoding::E>::tonum_[256];

#define KY_CODECS_ENCODER_TABLES(T, E)                                                   \
  template <>                                                                            \
  KY_API const char* basic_data_encoder<data_encoder_type::T, encoding::E>::encode_tbl_; \
  template <>                                                                            \
  KY_API const unsigned char                                                             \
      basic_data_encoder<data_encoder_type::T, encoding::E>::decode_tbl_[256];

#define KY_CODECS_FAMILY_TABLES(E)                     \
  KY_CODECS_DIGIT_TABLES(E)                            \
  KY_CODECS_ENCODER_TABLES(base64, E)                  \
  KY_CODECS_ENCODER_TABLES(base64url, E)               \
  KY_CODECS_ENCODER_TABLES(base32, E)                  \
  KY_CODECS_ENCODER_TABLES(base32_anycase, E)          \
  KY_CODECS_ENCODER_TABLES(base32_lower, E)            \
  KY_CODECS_ENCODER_TABLES(base32_lower_anycase, E)    \
  KY_CODECS_ENCODER_TABLES(base32hex, E)               \
  KY_CODECS_ENCODER_TABLES(base32hex_anycase, E)       \
  KY_CODECS_ENCODER_TABLES(base32hex_lower, E)         \
  KY_CODECS_ENCODER_TABLES(base32hex_lower_anycase, E) \
  KY_CODECS_ENCODER_TABLES(hex_upper, E)               \
  KY_CODECS_ENCODER_TABLES(hex_upper_anycase, E)       \
  KY_CODECS_ENCODER_TABLES(hex_lower, E)               \
  KY_CODECS_ENCODER_TABLES(hex_lower_anycase, E)

KY_CODECS_FAMILY_TABLES(native)
KY_CODECS_FAMILY_TABLES(ascii)
KY_CODECS_FAMILY_TABLES(ebcdic)
KY_CODECS_FAMILY_TABLES(ascii_variant)

#undef KY_CODECS_FAMILY_TABLES
#undef KY_CODECS_ENCODER_TABLES
#undef KY_CODECS_DIGIT_TABLES

// Decodes percent-escapes ("%" and two hex digits of either case) and appends the result to out;
// with PlusIsSpace, "+" also stands for a space (form encoding). E selects the family of input and
// output: in ebcdic the escape, plus sign and space are the code page 037 bytes 0x6C, 0x4E, 0x40.
//
// A malformed escape is no error: the "%" is kept and decoding goes on with the byte after it, so
// "%zz" and "%4" come out as written. A NUL byte ends the input in every form. A null text, or a
// length of 0, leaves out unchanged. Each operator returns out and never clears it. Stateless; safe
// on any thread.
//
// Instantiated for both flags and the four Encodings.
template <bool PlusIsSpace, encoding::Encoding E>
struct basic_url_decoder {
  // At most length bytes of text, after reserving length bytes of room in out. The two digits of an
  // escape are read without regard to length, so an escape starting in the last two bytes looks up
  // to two bytes past text + length: those bytes must be readable (a NUL ends the look at once).
  KY_API std::string& operator()(std::string& out, const char* text, unsigned long length) const;
  // The whole of text, as the counted form with text.size().
  KY_API std::string& operator()(std::string& out, const std::string& text) const;
  // A NUL-terminated text.
  KY_API std::string& operator()(std::string& out, const char* text) const;
};

extern template struct basic_url_decoder<false, encoding::native>;
extern template struct basic_url_decoder<false, encoding::ascii>;
extern template struct basic_url_decoder<false, encoding::ebcdic>;
extern template struct basic_url_decoder<false, encoding::ascii_variant>;
extern template struct basic_url_decoder<true, encoding::native>;
extern template struct basic_url_decoder<true, encoding::ascii>;
extern template struct basic_url_decoder<true, encoding::ebcdic>;
extern template struct basic_url_decoder<true, encoding::ascii_variant>;

// Replaces out with the text of value as a default string stream inserts it
// (for int: decimal, a '-' for negatives, no padding, digits grouped only if
// the global locale at the call groups them) and returns out. Exhausted
// memory throws std::bad_alloc and leaves out unchanged. The library provides
// the instance for std::string and int.
template <class CharT, class Traits, class Alloc, class T>
std::basic_string<CharT, Traits, Alloc>& to_basic_string(
    std::basic_string<CharT, Traits, Alloc>& out, const T& value) {
  std::basic_stringstream<CharT, Traits, Alloc> stream;
  stream << value;
  out = stream.str();
  return out;
}

extern template KY_API std::string&
to_basic_string<char, std::char_traits<char>, std::allocator<char>, int>(std::string&, const int&);

}  // namespace ky

// Encoding and decoding loops over the data encoder tables.
#include "ky/data_codec.h"

#endif  // __cplusplus

#endif  // KY_CODECS_H
