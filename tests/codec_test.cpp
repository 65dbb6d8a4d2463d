// Codec tables against expectations built here from first principles: the
// RFC 4648 alphabets typed out, and the code page 037 positions of the letters,
// digits and the few punctuation marks the codecs use. Then URL decoding and
// the Base64, Base32 and hex loops over the tables, in every family.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "ky/codecs.h"

namespace {

using ky::data_decode_status;
using ky::encoding::Encoding;
using Type = ky::data_encoder_type::Type;
using Casing = ky::char_casing<char, ky::language::latin>;
using U8 = unsigned char;
constexpr Encoding kAscii = ky::encoding::ascii, kEbcdic = ky::encoding::ebcdic;
constexpr U8 kSentinel = 0xA5;

bool IsUpper(int c) { return c >= 'A' && c <= 'Z'; }
bool IsLower(int c) { return c >= 'a' && c <= 'z'; }
// Types 4, 6, .. 14 also decode the other case; each shares the alphabet of the type before it.
constexpr bool AnyCase(int t) { return t >= 4 && t % 2 == 0; }

// The byte of an ASCII character in family e. EBCDIC letters sit in three
// runs per case (A-I, J-R, S-Z), 0x40 below for lower case.
U8 InFamily(char c, Encoding e) {
  static const char kPunct[] = "+/-_= .%";
  static const U8 kEbcdicPunct[] = {0x4E, 0x61, 0x60, 0x6D, 0x7E, 0x40, 0x4B, 0x6C};
  if (e != kEbcdic) return static_cast<U8>(c);
  if (IsUpper(c))
    return c <= 'I' ? 0xC1 + (c - 'A') : c <= 'R' ? 0xD1 + (c - 'J') : 0xE2 + (c - 'S');
  if (IsLower(c)) return InFamily(static_cast<char>(c - 0x20), e) - 0x40;
  if (c >= '0' && c <= '9') return 0xF0 + (c - '0');
  const char* p = c ? std::strchr(kPunct, c) : nullptr;
  EXPECT_TRUE(p) << "no EBCDIC position for " << c;
  return p ? kEbcdicPunct[p - kPunct] : 0;
}

std::string InFamily(const std::string& s, Encoding e) {
  std::string out;
  for (char c : s) out += static_cast<char>(InFamily(c, e));
  return out;
}

// Only the 26 letters change case. Code page 037 is a permutation of Latin-1:
// folded to ASCII upper case, every byte value is hit once, A..Z twice, a..z never.
TEST(CharCasing, TablesMoveOnlyTheLetters) {
  std::vector<int> lower(256), upper(256), hits(256);
  for (int b = 0; b < 256; ++b) lower[b] = upper[b] = b;
  for (char c = 'A'; c <= 'Z'; ++c) {
    const U8 u = InFamily(c, kEbcdic), l = InFamily(static_cast<char>(c + 0x20), kEbcdic);
    lower[u] = l;
    upper[l] = u;
    EXPECT_EQ(Casing::ebcdic_to_asciiupper_[u], c);
    EXPECT_EQ(Casing::ebcdic_to_asciiupper_[l], c);
  }
  for (char c : std::string("0123456789+/-_= ."))
    EXPECT_EQ(Casing::ebcdic_to_asciiupper_[InFamily(c, kEbcdic)], U8(c)) << c;
  for (int b = 0; b < 256; ++b) {
    EXPECT_EQ(Casing::ascii_tolower_[b], IsUpper(b) ? b + 0x20 : b) << b;
    EXPECT_EQ(Casing::ascii_toupper_[b], IsLower(b) ? b - 0x20 : b) << b;
    EXPECT_EQ(Casing::ebcdic_tolower_[b], lower[b]) << b;
    EXPECT_EQ(Casing::ebcdic_toupper_[b], upper[b]) << b;
    ++hits[Casing::ebcdic_to_asciiupper_[b]];
  }
  for (int v = 0; v < 256; ++v) EXPECT_EQ(hits[v], IsUpper(v) ? 2 : IsLower(v) ? 0 : 1) << v;
}

template <Encoding E>
void CheckDigitTables() {
  using ToNum = ky::basic_char_to_numeric<char, E>;
  using ToChar = ky::basic_numeric_to_char<char, E>;
  const std::string lower = "0123456789abcdefghijklmnopqrstuvwxyz";
  const std::string upper = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
  EXPECT_EQ(std::string(ToChar::tochar_lower_, 36), InFamily(lower, E));
  EXPECT_EQ(std::string(ToChar::tochar_upper_, 36), InFamily(upper, E));
  std::vector<int> want(256, ToNum::not_digit);
  for (int v = 0; v < 36; ++v) want[InFamily(lower[v], E)] = want[InFamily(upper[v], E)] = v;
  for (const char* p = E == kEbcdic ? "\x05\x0B\x0C\x0D\x25\x40" : "\t\n\v\f\r "; *p; ++p)
    want[U8(*p)] = ToNum::white_space;
  want[InFamily('+', E)] = ToNum::plus_sign;
  want[InFamily('-', E)] = ToNum::minus_sign;
  for (int b = 0; b < 256; ++b)
    EXPECT_EQ(ToNum::tonum_[b], want[b]) << "family " << E << " byte " << b;
}

template <int... E>
void CheckAllDigitTables(std::integer_sequence<int, E...>) {
  (CheckDigitTables<static_cast<Encoding>(E)>(), ...);
}

TEST(DigitTables, EveryFamily) { CheckAllDigitTables(std::make_integer_sequence<int, 4>()); }

// The alphabet of type t typed from RFC 4648, padding included. Types 5, 6,
// 9, 10, 13 and 14 are the lower-case forms of the two before them.
std::string Alphabet(int t) {
  const std::string b64 = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
  std::string a = t == 1    ? b64 + "+/="
                  : t == 2  ? b64 + "-_="
                  : t <= 6  ? "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567="
                  : t <= 10 ? "0123456789ABCDEFGHIJKLMNOPQRSTUV="
                            : "0123456789ABCDEF";
  if (t >= 3 && (t - 3) / 2 % 2)
    for (char& c : a) c = static_cast<char>(std::tolower(static_cast<U8>(c)));
  return a;
}

// The alphabet against the typed one and the decode table against one built
// from it. Types of one alphabet share its string; ASCII families share all.
template <Type T, Encoding E>
void CheckTables() {
  using Enc = ky::basic_data_encoder<T, E>;
  const char* alphabet = Enc::encode_tbl_;
  const std::string typed = Alphabet(T);
  ASSERT_NE(alphabet, nullptr);
  EXPECT_EQ(alphabet, InFamily(typed, E));
  EXPECT_EQ(alphabet, (ky::basic_data_encoder<Type(AnyCase(T) ? T - 1 : T), E>::encode_tbl_));
  EXPECT_EQ(alphabet,
            (ky::basic_data_encoder < T, E == kEbcdic ? kEbcdic : kAscii > ::encode_tbl_));
  std::vector<int> want(256, 0xFF);
  for (int v = 0; v < static_cast<int>(typed.size()); ++v) {
    const char c = typed[v];
    want[InFamily(c, E)] = c == '=' ? 0xFE : v;
    if (AnyCase(T) && (IsUpper(c) || IsLower(c))) want[InFamily(c ^ 0x20, E)] = v;
  }
  for (int b = 0; b < 256; ++b) ASSERT_EQ(Enc::decode_tbl_[b], want[b]) << "byte " << b;
}

// URL cases in ASCII text, translated into each family. In the results,
// "{XX}" is the raw byte an escape decodes to, the same in every family.
// Each case: the input, the result with "+" as a space, the result with "+" kept.
const char* const kUrlCases[][3] = {
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
  SCOPED_TRACE("plus is space " + std::to_string(PlusIsSpace) + ", family " + std::to_string(E));
  const ky::basic_url_decoder<PlusIsSpace, E> decode;
  for (const auto& c : kUrlCases) {
    const std::string text = InFamily(c[0], E);
    const std::string want = Want(c[PlusIsSpace ? 1 : 2], E);
    std::string out = "pre";  // each form appends and returns out
    EXPECT_EQ(&decode(out, text.c_str()), &out);
    EXPECT_EQ(&decode(out, text), &out);
    EXPECT_EQ(&decode(out, text.c_str(), text.size()), &out);
    EXPECT_EQ(out, "pre" + want + want + want) << c[0];
  }
}

template <int... I>
void CheckUrlCasesAll(std::integer_sequence<int, I...>) {
  (CheckUrlCases<I / 4 == 1, static_cast<Encoding>(I % 4)>(), ...);
}

TEST(UrlDecoder, EveryInstantiation) { CheckUrlCasesAll(std::make_integer_sequence<int, 8>()); }

TEST(UrlDecoder, EdgesOfTheInput) {
  const ky::basic_url_decoder<true, kAscii> decode;
  std::string out;
  EXPECT_EQ(decode(out, std::string("ab\0cd", 5)), "ab");  // a NUL ends counted input too
  EXPECT_EQ(decode(out.erase(), "a+b+c", 3), "a b");
  // An escape split by the bound is still read whole: the digits are looked
  // at past the length, as the bound only limits where an escape may start.
  EXPECT_EQ(decode(out.erase(), "x%41", 2), "xA");
  EXPECT_EQ(decode(out.erase(), "%\00041"), "%");
  // In EBCDIC the ASCII "%" and "+" are ordinary bytes.
  EXPECT_EQ((ky::basic_url_decoder<true, kEbcdic>()(out.erase(), "\x6C\xC3\xF1%41+")), "\xC1%41+");
  // Null or empty input leaves out alone, and out is never cleared.
  out = "kept";
  EXPECT_EQ(decode(out, nullptr), "kept");
  EXPECT_EQ(decode(out, nullptr, 5), "kept");
  EXPECT_EQ(decode(out, "abc", 0), "kept");
  EXPECT_EQ(decode(decode(out, "%41"), "%42"), "keptAB");
}

// Encodes into and decodes from buffers of exactly the stated length with
// sentinels behind them.
template <Type T, Encoding E>
void ExpectCodec(const std::string& bytes, const std::string& text) {
  std::vector<char> enc(ky::data_encode_length<T, E>(bytes.size()) + 8, kSentinel);
  const size_t n = ky::data_encode<T, E>(bytes.data(), bytes.size(), enc.data());
  EXPECT_EQ(std::string(enc.data(), n), text);
  EXPECT_EQ(std::string(enc.end() - 8, enc.end()), std::string(8, kSentinel));

  std::vector<char> dec(ky::data_decode_length<T, E>(text.data(), text.size()) + 8, kSentinel);
  const auto r = ky::data_decode<T, E>(text.data(), text.size(), dec.data());
  ASSERT_TRUE(r.ok()) << text << " failed at " << r.offset;
  EXPECT_EQ(r.offset, text.size());
  EXPECT_EQ(std::string(dec.data(), r.length), bytes);
  EXPECT_EQ(std::string(dec.begin() + r.length, dec.end()), std::string(8, kSentinel));
}

TEST(DataCodec, Rfc4648Vectors) {
  namespace t = ky::data_encoder_type;
  static const char* const kCases[][5] = {
      // bytes, Base64, Base32, Base32 hex, hex
      {"", "", "", "", ""},
      {"f", "Zg==", "MY======", "CO======", "66"},
      {"fo", "Zm8=", "MZXQ====", "CPNG====", "666F"},
      {"foo", "Zm9v", "MZXW6===", "CPNMU===", "666F6F"},
      {"foob", "Zm9vYg==", "MZXW6YQ=", "CPNMUOG=", "666F6F62"},
      {"fooba", "Zm9vYmE=", "MZXW6YTB", "CPNMUOJ1", "666F6F6261"},
      {"foobar", "Zm9vYmFy", "MZXW6YTBOI======", "CPNMUOJ1E8======", "666F6F626172"},
  };
  for (const auto& c : kCases) {
    ExpectCodec<t::base64, kAscii>(c[0], c[1]);
    ExpectCodec<t::base64, kEbcdic>(c[0], InFamily(c[1], kEbcdic));
    ExpectCodec<t::base32, kAscii>(c[0], c[2]);
    ExpectCodec<t::base32, kEbcdic>(c[0], InFamily(c[2], kEbcdic));
    ExpectCodec<t::base32hex, kAscii>(c[0], c[3]);
    ExpectCodec<t::hex_upper, ky::encoding::ascii_variant>(c[0], c[4]);
    ExpectCodec<t::hex_upper, kEbcdic>(c[0], InFamily(c[4], kEbcdic));
  }
}

// The text with the case of every letter flipped, by the case tables checked above.
std::string FlipCase(std::string s, Encoding e) {
  const U8* up = e == kEbcdic ? Casing::ebcdic_toupper_ : Casing::ascii_toupper_;
  const U8* low = e == kEbcdic ? Casing::ebcdic_tolower_ : Casing::ascii_tolower_;
  for (char& ch : s) ch = static_cast<char>(up[U8(ch)] != U8(ch) ? up[U8(ch)] : low[U8(ch)]);
  return s;
}

template <Type T, Encoding E>
void RoundTrips() {
  const int t = static_cast<int>(T);
  std::mt19937 rng(t * 4 + static_cast<int>(E));
  for (size_t len : {0, 1, 2, 3, 4, 5, 6, 7, 9, 15, 16, 17, 31, 64, 100, 1000}) {
    std::string bytes(len, '\0');
    for (char& c : bytes) c = static_cast<char>(rng());
    std::string text = "prefix";
    ky::data_encode<T, E>(bytes.data(), bytes.size(), text);
    ASSERT_EQ(text.compare(0, 6, "prefix"), 0);
    text.erase(0, 6);
    ExpectCodec<T, E>(bytes, text);

    // Any-case types take the other case; the strict Base32 and hex ones
    // reject it at the first flipped letter (Base64 uses both cases).
    const std::string flipped = FlipCase(text, E);
    std::string out = "x";
    const auto r = ky::data_decode<T, E>(flipped.data(), flipped.size(), out);
    if (AnyCase(t)) {
      EXPECT_TRUE(r.ok());
      EXPECT_EQ(out, "x" + bytes);
    } else if (t >= 3 && flipped != text) {
      EXPECT_EQ(r.status, data_decode_status::invalid_symbol);
      EXPECT_EQ(r.offset,
                static_cast<size_t>(std::mismatch(text.begin(), text.end(), flipped.begin()).first -
                                    text.begin()));
      EXPECT_EQ(out, "x") << "a failed decoding leaves the string as it was";
    }
  }
}

// A bad byte at every position of a long text: the block loop must hand the
// right offset over, and nothing may land past the stated length.
template <Type T, Encoding E>
void RejectsEveryBadByte() {
  std::string text;
  ky::data_encode<T, E>("0123456789abcdefghijklmnopqrstu", 31, text);
  const size_t data_end = text.find_last_not_of(static_cast<char>(InFamily('=', E)));
  for (int b = 0; b < 256; ++b) {
    const unsigned v = ky::basic_data_encoder<T, E>::decode_tbl_[b];
    if (v < 0xFE) continue;
    for (size_t at = 0; at <= data_end; ++at) {
      if (v == 0xFE && at == data_end) continue;  // joins the padding at the end
      std::string bad = text;
      bad[at] = static_cast<char>(b);
      std::vector<char> out(ky::data_decode_length<T, E>(bad.data(), bad.size()) + 4, kSentinel);
      const auto r = ky::data_decode<T, E>(bad.data(), bad.size(), out.data());
      ASSERT_EQ(r.status,
                v == 0xFE ? data_decode_status::bad_padding : data_decode_status::invalid_symbol)
          << "byte " << b << " at " << at;
      ASSERT_EQ(r.offset, at);
      ASSERT_EQ(std::string(out.end() - 4, out.end()), std::string(4, kSentinel));
    }
  }
}

template <Type T, Encoding E>
void CheckInstance() {
  SCOPED_TRACE(testing::Message() << "type " << T << " family " << E);
  CheckTables<T, E>();
  RoundTrips<T, E>();
  RejectsEveryBadByte<T, E>();
}

template <int... I>
void CheckAllInstances(std::integer_sequence<int, I...>) {
  (CheckInstance<static_cast<Type>(I / 4 + 1), static_cast<Encoding>(I % 4)>(), ...);
}

TEST(DataCodec, EveryTypeAndFamily) {
  CheckAllInstances(std::make_integer_sequence<int, 14 * 4>());
}

TEST(DataCodec, RejectsBadPaddingAndLength) {
  using F = ky::data_decode_result (*)(const char*, size_t, std::string&);
  const F b64 = ky::data_decode<ky::data_encoder_type::base64, kAscii>;
  const F b32 = ky::data_decode<ky::data_encoder_type::base32, kAscii>;
  const F hex = ky::data_decode<ky::data_encoder_type::hex_upper, kAscii>;
  using S = data_decode_status;
  const struct {
    F decode;
    const char* text;
    S status;
    size_t offset;
  } kCases[] = {
      {b64, "QQ", S::bad_padding, 2},        // padding left out
      {b64, "QQ=", S::bad_padding, 2},       // short
      {b64, "QQ===", S::bad_padding, 2},     // one too many
      {b64, "QQ======", S::bad_padding, 2},  // a whole group more
      {b64, "QUJD====", S::bad_padding, 4},  // padding after whole groups
      {b64, "====", S::bad_padding, 0},
      {b64, "QQ==QUJD", S::bad_padding, 2},  // padding inside
      {b64, "Q===", S::truncated, 1},        // 6 bits make no byte
      {b64, "QUJDQ", S::truncated, 5},
      {b64, "QR==", S::trailing_bits, 1},
      {b64, "QUJ=", S::trailing_bits, 2},
      {b64, "Zm9v\n", S::invalid_symbol, 4},  // no white space
      {b32, "MY=====", S::bad_padding, 2},
      {b32, "MZ======", S::trailing_bits, 1},
      {b32, "MZX=====", S::truncated, 3},
      {b32, "MZXW6YQ", S::bad_padding, 7},
      {b32, "MZXW6YR=", S::trailing_bits, 6},
      {hex, "ABC", S::truncated, 3},
      {hex, "AB=", S::invalid_symbol, 2},  // hex has no padding
      {hex, "ab", S::invalid_symbol, 0},
  };
  for (const auto& c : kCases) {
    std::string out = "kept";
    const auto r = c.decode(c.text, std::strlen(c.text), out);
    EXPECT_EQ(r.status, c.status) << c.text;
    EXPECT_EQ(r.offset, c.offset) << c.text;
    EXPECT_EQ(out, "kept") << c.text;
  }
}

}  // namespace
