// Codec tables against expectations built here from first principles: the
// RFC 4648 alphabets typed out, and the code page 037 positions of the letters,
// digits and the few punctuation marks the codecs use. URL decoding in every
// family, with EBCDIC cases translated from their ASCII text.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "ky/codecs.h"

namespace {

using ky::encoding::Encoding;
using Casing = ky::char_casing<char, ky::language::latin>;
using U8 = unsigned char;

const Encoding kEncodings[] = {ky::encoding::native, ky::encoding::ascii, ky::encoding::ebcdic,
                               ky::encoding::ascii_variant};

bool IsUpper(char c) { return c >= 'A' && c <= 'Z'; }
bool IsLower(char c) { return c >= 'a' && c <= 'z'; }

// The byte of an ASCII character in family e. EBCDIC letters sit in three
// runs per case (A-I, J-R, S-Z), 0x40 below for lower case.
U8 InFamily(char c, Encoding e) {
  if (e != ky::encoding::ebcdic) return static_cast<U8>(c);
  if (IsUpper(c))
    return c <= 'I' ? 0xC1 + (c - 'A') : c <= 'R' ? 0xD1 + (c - 'J') : 0xE2 + (c - 'S');
  if (IsLower(c)) return InFamily(static_cast<char>(c - 'a' + 'A'), e) - 0x40;
  if (c >= '0' && c <= '9') return 0xF0 + (c - '0');
  switch (c) {
    case '+':
      return 0x4E;
    case '/':
      return 0x61;
    case '-':
      return 0x60;
    case '_':
      return 0x6D;
    case '=':
      return 0x7E;
    case ' ':
      return 0x40;
    case '.':
      return 0x4B;
    case '%':
      return 0x6C;
  }
  ADD_FAILURE() << "no EBCDIC position for " << c;
  return 0;
}

std::string InFamily(const std::string& s, Encoding e) {
  std::string out;
  for (char c : s) out += static_cast<char>(InFamily(c, e));
  return out;
}

TEST(CharCasing, AsciiTablesMoveOnlyTheLetters) {
  for (int b = 0; b < 256; ++b) {
    const char c = static_cast<char>(b);
    EXPECT_EQ(Casing::ascii_tolower_[b], IsUpper(c) ? b + 0x20 : b) << b;
    EXPECT_EQ(Casing::ascii_toupper_[b], IsLower(c) ? b - 0x20 : b) << b;
  }
}

TEST(CharCasing, EbcdicTablesMoveOnlyTheLetters) {
  std::vector<int> lower(256, -1), upper(256, -1);  // byte -> its other case
  for (char c = 'A'; c <= 'Z'; ++c) {
    const U8 u = InFamily(c, ky::encoding::ebcdic);
    const U8 l = InFamily(static_cast<char>(c + 0x20), ky::encoding::ebcdic);
    lower[u] = l;
    upper[l] = u;
  }
  for (int b = 0; b < 256; ++b) {
    EXPECT_EQ(Casing::ebcdic_tolower_[b], lower[b] >= 0 ? lower[b] : b) << b;
    EXPECT_EQ(Casing::ebcdic_toupper_[b], upper[b] >= 0 ? upper[b] : b) << b;
  }
  EXPECT_EQ(Casing::ebcdic_tolower_[0x4A], 0x4A);
  EXPECT_EQ(Casing::ascii_toupper_[0xE4], 0xE4);
}

TEST(CharCasing, EbcdicToAsciiUpper) {
  for (char c = 'A'; c <= 'Z'; ++c) {
    EXPECT_EQ(Casing::ebcdic_to_asciiupper_[InFamily(c, ky::encoding::ebcdic)], c);
    EXPECT_EQ(Casing::ebcdic_to_asciiupper_[InFamily(c + 0x20, ky::encoding::ebcdic)], c);
  }
  for (char c : std::string("0123456789+/-_= .")) {
    EXPECT_EQ(Casing::ebcdic_to_asciiupper_[InFamily(c, ky::encoding::ebcdic)], U8(c)) << c;
  }
  // Code page 037 is a permutation of Latin-1: after folding, every byte value
  // is hit once, except that A..Z are hit twice and a..z never.
  std::vector<int> hits(256);
  for (int b = 0; b < 256; ++b) ++hits[Casing::ebcdic_to_asciiupper_[b]];
  for (int v = 0; v < 256; ++v) {
    EXPECT_EQ(hits[v], IsUpper(char(v)) ? 2 : IsLower(char(v)) ? 0 : 1) << v;
  }
}

template <Encoding E>
void CheckDigitTables() {
  using ToChar = ky::basic_numeric_to_char<char, E>;
  using ToNum = ky::basic_char_to_numeric<char, E>;
  const std::string lower = "0123456789abcdefghijklmnopqrstuvwxyz";
  const std::string upper = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
  EXPECT_EQ(std::string(ToChar::tochar_lower_, 36), InFamily(lower, E));
  EXPECT_EQ(std::string(ToChar::tochar_upper_, 36), InFamily(upper, E));

  std::vector<int> want(256, ToNum::not_digit);
  for (int v = 0; v < 36; ++v) {
    want[InFamily(lower[v], E)] = v;
    want[InFamily(upper[v], E)] = v;
  }
  const std::vector<int> space = E == ky::encoding::ebcdic
                                     ? std::vector<int>{0x05, 0x0B, 0x0C, 0x0D, 0x25, 0x40}
                                     : std::vector<int>{0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x20};
  for (int b : space) want[b] = ToNum::white_space;
  want[InFamily('+', E)] = ToNum::plus_sign;
  want[InFamily('-', E)] = ToNum::minus_sign;
  for (int b = 0; b < 256; ++b)
    EXPECT_EQ(ToNum::tonum_[b], want[b]) << "encoding " << E << " byte " << b;
}

TEST(DigitTables, EveryFamily) {
  CheckDigitTables<ky::encoding::native>();
  CheckDigitTables<ky::encoding::ascii>();
  CheckDigitTables<ky::encoding::ebcdic>();
  CheckDigitTables<ky::encoding::ascii_variant>();
  // No marker may pass as a digit of base 36.
  EXPECT_GE((+ky::basic_char_to_numeric<char, ky::encoding::ascii>::white_space), 36);
}

// What each type's tables must say, typed from RFC 4648.
struct TypeSpec {
  const char* alphabet;
  bool padded;
  bool anycase;
  int owner;  // the type whose alphabet string this one shares
};
const char kB64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
const char kB64Url[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
const char kB32[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";
const char kB32Lower[] = "abcdefghijklmnopqrstuvwxyz234567";
const char kB32Hex[] = "0123456789ABCDEFGHIJKLMNOPQRSTUV";
const char kB32HexLower[] = "0123456789abcdefghijklmnopqrstuv";
const TypeSpec kTypes[15] = {
    {},
    {kB64, true, false, 1},
    {kB64Url, true, false, 2},
    {kB32, true, false, 3},
    {kB32, true, true, 3},
    {kB32Lower, true, false, 5},
    {kB32Lower, true, true, 5},
    {kB32Hex, true, false, 7},
    {kB32Hex, true, true, 7},
    {kB32HexLower, true, false, 9},
    {kB32HexLower, true, true, 9},
    {"0123456789ABCDEF", false, false, 11},
    {"0123456789ABCDEF", false, true, 11},
    {"0123456789abcdef", false, false, 13},
    {"0123456789abcdef", false, true, 13},
};

struct Tables {
  const char* const* encode;
  const U8* decode;
};

template <Encoding E, int... I>
std::vector<Tables> FamilyTables(std::integer_sequence<int, I...>) {
  return {{&ky::basic_data_encoder<ky::data_encoder_type::Type(I + 1), E>::encode_tbl_,
           ky::basic_data_encoder<ky::data_encoder_type::Type(I + 1), E>::decode_tbl_}...};
}

// All[e][t] for encoding e and type t (index 0 unused).
std::vector<std::vector<Tables>> AllTables() {
  std::vector<std::vector<Tables>> all;
  const auto seq = std::make_integer_sequence<int, 14>();
  all.push_back(FamilyTables<ky::encoding::native>(seq));
  all.push_back(FamilyTables<ky::encoding::ascii>(seq));
  all.push_back(FamilyTables<ky::encoding::ebcdic>(seq));
  all.push_back(FamilyTables<ky::encoding::ascii_variant>(seq));
  for (auto& family : all) family.insert(family.begin(), Tables{nullptr, nullptr});
  return all;
}

TEST(DataEncoderTables, AlphabetsOfEveryTypeAndFamily) {
  const auto all = AllTables();
  for (Encoding e : kEncodings) {
    for (int t = 1; t <= 14; ++t) {
      SCOPED_TRACE("encoding " + std::to_string(e) + " type " + std::to_string(t));
      const TypeSpec& spec = kTypes[t];
      const char* alphabet = *all[e][t].encode;
      ASSERT_NE(alphabet, nullptr);
      EXPECT_EQ(alphabet, InFamily(std::string(spec.alphabet) + (spec.padded ? "=" : ""), e));
      EXPECT_EQ(alphabet, *all[e][spec.owner].encode) << "types of one alphabet share its string";
      if (e != ky::encoding::ebcdic) {
        EXPECT_EQ(alphabet, *all[ky::encoding::ascii][t].encode) << "ASCII families share strings";
      }
    }
  }
}

TEST(DataEncoderTables, DecodeTablesOfEveryTypeAndFamily) {
  const auto all = AllTables();
  for (Encoding e : kEncodings) {
    for (int t = 1; t <= 14; ++t) {
      SCOPED_TRACE("encoding " + std::to_string(e) + " type " + std::to_string(t));
      const TypeSpec& spec = kTypes[t];
      std::vector<int> want(256, 0xFF);
      for (int v = 0; spec.alphabet[v]; ++v) {
        const char c = spec.alphabet[v];
        want[InFamily(c, e)] = v;
        if (spec.anycase && (IsUpper(c) || IsLower(c))) want[InFamily(c ^ 0x20, e)] = v;
      }
      if (spec.padded) want[InFamily('=', e)] = 0xFE;
      for (int b = 0; b < 256; ++b) ASSERT_EQ(all[e][t].decode[b], want[b]) << "byte " << b;
    }
  }
}

TEST(DataEncoderTables, SpotValues) {
  namespace t = ky::data_encoder_type;
  namespace en = ky::encoding;
  const U8* b64 = ky::basic_data_encoder<t::base64, en::ascii>::decode_tbl_;
  EXPECT_EQ(b64['A'], 0);
  EXPECT_EQ(b64['/'], 63);
  EXPECT_EQ(b64['='], (ky::basic_data_encoder<t::base64, en::ascii>::decode_padding));
  EXPECT_EQ(b64['-'], (ky::basic_data_encoder<t::base64, en::ascii>::decode_invalid));
  EXPECT_EQ((ky::basic_data_encoder<t::base32_anycase, en::ascii>::decode_tbl_['a']), 0);
  EXPECT_EQ((ky::basic_data_encoder<t::base32, en::ascii>::decode_tbl_['a']), 0xFF);
  EXPECT_EQ((ky::basic_data_encoder<t::hex_upper_anycase, en::ascii>::decode_tbl_['f']), 15);
  EXPECT_EQ((ky::basic_data_encoder<t::hex_upper, en::ascii>::decode_tbl_['f']), 0xFF);
  EXPECT_EQ((ky::basic_data_encoder<t::base64, en::ebcdic>::decode_tbl_[0x7E]), 0xFE);
  EXPECT_EQ((ky::basic_data_encoder<t::base64, en::ebcdic>::decode_tbl_[0xF0]), 52);
  // UUID text and the other hex users read these two alphabets directly.
  EXPECT_STREQ((ky::basic_data_encoder<t::hex_lower, en::native>::encode_tbl_), "0123456789abcdef");
  EXPECT_STREQ((ky::basic_data_encoder<t::hex_upper, en::native>::encode_tbl_), "0123456789ABCDEF");
}

// URL cases in ASCII text, translated into each family. In the results,
// "{XX}" is the raw byte an escape decodes to, the same in every family.
struct UrlCase {
  const char* text;
  const char* form;   // want with "+" as a space
  const char* plain;  // want with "+" kept
};

const UrlCase kUrlCases[] = {
    {"", "", ""},
    {"abc", "abc", "abc"},
    {"a+b%20c%2Bd", "a b{20}c{2B}d", "a+b{20}c{2B}d"},
    {"%4a%4A", "{4A}{4A}", "{4A}{4A}"},
    {"%00%ff%FF%80", "{00}{FF}{FF}{80}", "{00}{FF}{FF}{80}"},
    // A malformed escape keeps its "%" and decoding resumes right after it.
    {"%g1", "%g1", "%g1"},
    {"%zz", "%zz", "%zz"},
    {"%4", "%4", "%4"},
    {"%", "%", "%"},
    {"%%41", "%{41}", "%{41}"},
    {"%4%41", "%4{41}", "%4{41}"},
    {"100%", "100%", "100%"},
    {"++", "  ", "++"},
};

std::string Want(const char* s, Encoding e) {
  std::string out;
  for (; *s; ++s) {
    if (*s == '{') {
      out += static_cast<char>(std::stoi(std::string(s + 1, 2), nullptr, 16));
      s += 3;
    } else {
      out += static_cast<char>(InFamily(*s, e));
    }
  }
  return out;
}

template <bool PlusIsSpace, Encoding E>
void CheckUrlCases() {
  SCOPED_TRACE("plus is space " + std::to_string(PlusIsSpace) + ", encoding " + std::to_string(E));
  const ky::basic_url_decoder<PlusIsSpace, E> decode;
  for (const UrlCase& c : kUrlCases) {
    const std::string text = InFamily(c.text, E);
    const std::string want = Want(PlusIsSpace ? c.form : c.plain, E);
    std::string out = "pre";
    EXPECT_EQ(&decode(out, text.c_str()), &out);
    EXPECT_EQ(out, "pre" + want) << c.text;
    out.clear();
    decode(out, text);
    EXPECT_EQ(out, want) << c.text;
    out.clear();
    decode(out, text.c_str(), text.size());
    EXPECT_EQ(out, want) << c.text;
  }
}

TEST(UrlDecoder, EveryInstantiation) {
  CheckUrlCases<false, ky::encoding::native>();
  CheckUrlCases<false, ky::encoding::ascii>();
  CheckUrlCases<false, ky::encoding::ebcdic>();
  CheckUrlCases<false, ky::encoding::ascii_variant>();
  CheckUrlCases<true, ky::encoding::native>();
  CheckUrlCases<true, ky::encoding::ascii>();
  CheckUrlCases<true, ky::encoding::ebcdic>();
  CheckUrlCases<true, ky::encoding::ascii_variant>();
}

TEST(UrlDecoder, EbcdicEscapeIsReadInEbcdic) {
  const ky::basic_url_decoder<true, ky::encoding::ebcdic> decode;
  std::string out;
  EXPECT_EQ(decode(out, "\x6C\xC3\xF1"), "\xC1");
  // The ASCII "%" and "+" are ordinary bytes there.
  out.clear();
  EXPECT_EQ(decode(out, "%41+"), "%41+");
}

TEST(UrlDecoder, NulAndLengthEndTheInput) {
  const ky::basic_url_decoder<true, ky::encoding::ascii> decode;
  std::string out;
  EXPECT_EQ(decode(out, std::string("ab\0cd", 5)), "ab");
  out.clear();
  EXPECT_EQ(decode(out, "a+b+c", 3), "a b");
  out.clear();
  // An escape split by the bound is still read whole: the digits are looked
  // at past the length, as the bound only limits where an escape may start.
  EXPECT_EQ(decode(out, "x%41", 2), "xA");
  out.clear();
  EXPECT_EQ(decode(out,
                   "%\0"
                   "41"),
            "%");
}

TEST(UrlDecoder, NullOrEmptyLeavesOutAlone) {
  const ky::basic_url_decoder<false, ky::encoding::ascii> decode;
  std::string out = "kept";
  EXPECT_EQ(decode(out, nullptr), "kept");
  EXPECT_EQ(decode(out, nullptr, 5), "kept");
  EXPECT_EQ(decode(out, "abc", 0), "kept");
  EXPECT_EQ(decode(out, "%41"), "keptA");
  EXPECT_EQ(decode(out, "%42"), "keptAB");
}

}  // namespace
