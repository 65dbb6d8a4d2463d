// Base64, Base32 and hex encoding and decoding over the data encoder tables.
#include <gtest/gtest.h>

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

constexpr unsigned char kSentinel = 0xA5;

// Code page 037 positions of the symbols, written out here so that the
// EBCDIC vectors do not lean on the tables under test.
unsigned char ToEbcdic(unsigned char c) {
  if (c >= 'A' && c <= 'I') return 0xC1 + (c - 'A');
  if (c >= 'J' && c <= 'R') return 0xD1 + (c - 'J');
  if (c >= 'S' && c <= 'Z') return 0xE2 + (c - 'S');
  if (c >= 'a' && c <= 'i') return 0x81 + (c - 'a');
  if (c >= 'j' && c <= 'r') return 0x91 + (c - 'j');
  if (c >= 's' && c <= 'z') return 0xA2 + (c - 's');
  if (c >= '0' && c <= '9') return 0xF0 + (c - '0');
  return c == '+' ? 0x4E : c == '/' ? 0x61 : c == '=' ? 0x7E : 0;
}

std::string Ebcdic(std::string s) {
  for (char& c : s) c = static_cast<char>(ToEbcdic(static_cast<unsigned char>(c)));
  return s;
}

// Encodes into and decodes from buffers of exactly the stated length with
// sentinels behind them.
template <Type T, Encoding E>
void ExpectCodec(const std::string& bytes, const std::string& text) {
  std::vector<char> enc(ky::data_encode_length<T, E>(bytes.size()) + 8, kSentinel);
  const size_t n = ky::data_encode<T, E>(bytes.data(), bytes.size(), enc.data());
  EXPECT_EQ(std::string(enc.data(), n), text)
      << "type " << static_cast<int>(T) << " encoding " << static_cast<int>(E);
  EXPECT_EQ(std::string(enc.end() - 8, enc.end()), std::string(8, kSentinel));

  std::vector<char> dec(ky::data_decode_length<T, E>(text.data(), text.size()) + 8, kSentinel);
  const auto r = ky::data_decode<T, E>(text.data(), text.size(), dec.data());
  ASSERT_TRUE(r.ok()) << text << " failed at " << r.offset;
  EXPECT_EQ(r.offset, text.size());
  EXPECT_EQ(std::string(dec.data(), r.length), bytes);
  EXPECT_EQ(std::string(dec.begin() + r.length, dec.end()), std::string(8, kSentinel));
}

TEST(DataCodec, Rfc4648Vectors) {
  struct Case {
    const char *bytes, *b64, *b32, *b32hex, *b16;
  };
  static const Case kCases[] = {
      {"", "", "", "", ""},
      {"f", "Zg==", "MY======", "CO======", "66"},
      {"fo", "Zm8=", "MZXQ====", "CPNG====", "666F"},
      {"foo", "Zm9v", "MZXW6===", "CPNMU===", "666F6F"},
      {"foob", "Zm9vYg==", "MZXW6YQ=", "CPNMUOG=", "666F6F62"},
      {"fooba", "Zm9vYmE=", "MZXW6YTB", "CPNMUOJ1", "666F6F6261"},
      {"foobar", "Zm9vYmFy", "MZXW6YTBOI======", "CPNMUOJ1E8======", "666F6F626172"},
  };
  for (const Case& c : kCases) {
    ExpectCodec<ky::data_encoder_type::base64, ky::encoding::ascii>(c.bytes, c.b64);
    ExpectCodec<ky::data_encoder_type::base64, ky::encoding::native>(c.bytes, c.b64);
    ExpectCodec<ky::data_encoder_type::base64, ky::encoding::ebcdic>(c.bytes, Ebcdic(c.b64));
    ExpectCodec<ky::data_encoder_type::base32, ky::encoding::ascii>(c.bytes, c.b32);
    ExpectCodec<ky::data_encoder_type::base32, ky::encoding::ebcdic>(c.bytes, Ebcdic(c.b32));
    ExpectCodec<ky::data_encoder_type::base32hex, ky::encoding::ascii>(c.bytes, c.b32hex);
    ExpectCodec<ky::data_encoder_type::hex_upper, ky::encoding::ascii_variant>(c.bytes, c.b16);
    ExpectCodec<ky::data_encoder_type::hex_upper, ky::encoding::ebcdic>(c.bytes, Ebcdic(c.b16));
  }
}

// The text with the case of every letter flipped, in the encoding's family
// (EBCDIC letters sit at 0x81..0xA9 and 0xC1..0xE9, low nibble 1..9).
std::string FlipCase(std::string s, Encoding e) {
  const bool ebcdic = e == ky::encoding::ebcdic;
  for (char& ch : s) {
    const unsigned char c = static_cast<unsigned char>(ch);
    const unsigned folded = c & 0xBFu;
    if (ebcdic ? folded >= 0x81 && folded <= 0xA9 && (c & 0x0Fu) - 1 < 9 : std::isalpha(c) != 0) {
      ch = static_cast<char>(c ^ (ebcdic ? 0x40 : 0x20));
    }
  }
  return s;
}

template <Type T, Encoding E>
void RoundTrips() {
  const int t = static_cast<int>(T);
  SCOPED_TRACE(testing::Message() << "type " << t << " encoding " << static_cast<int>(E));
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
    if (t >= 4 && t % 2 == 0) {
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

template <int... I>
void RoundTripAll(std::integer_sequence<int, I...>) {
  (RoundTrips<static_cast<Type>(I / 4 + 1), static_cast<Encoding>(I % 4)>(), ...);
}

TEST(DataCodec, RoundTripsEveryTypeAndEncoding) {
  RoundTripAll(std::make_integer_sequence<int, 14 * 4>());
}

// A bad byte at every position of a long text: the block loop must hand the
// right offset over, and nothing may land past the stated length.
template <Type T, Encoding E>
void RejectsEveryBadByte() {
  std::string text;
  ky::data_encode<T, E>("0123456789abcdefghijklmnopqrstu", 31, text);
  const int t = static_cast<int>(T);
  const size_t data_end =
      t > 10 ? text.size() - 1
             : text.find_last_not_of(
                   static_cast<char>(ky::basic_data_encoder<T, E>::encode_tbl_[t <= 2 ? 64 : 32]));
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

TEST(DataCodec, RejectsEveryBadByte) {
  RejectsEveryBadByte<ky::data_encoder_type::base64, ky::encoding::ascii>();
  RejectsEveryBadByte<ky::data_encoder_type::base64url, ky::encoding::ebcdic>();
  RejectsEveryBadByte<ky::data_encoder_type::base32_anycase, ky::encoding::ascii>();
  RejectsEveryBadByte<ky::data_encoder_type::base32hex_lower, ky::encoding::ebcdic>();
  RejectsEveryBadByte<ky::data_encoder_type::hex_lower_anycase, ky::encoding::native>();
}

TEST(DataCodec, RejectsBadPaddingAndLength) {
  using F = ky::data_decode_result (*)(const char*, size_t, std::string&);
  const F b64 = ky::data_decode<ky::data_encoder_type::base64, ky::encoding::ascii>;
  const F b32 = ky::data_decode<ky::data_encoder_type::base32, ky::encoding::ascii>;
  const F hex = ky::data_decode<ky::data_encoder_type::hex_upper, ky::encoding::ascii>;
  struct Case {
    F decode;
    const char* text;
    data_decode_status status;
    size_t offset;
  };
  const Case kCases[] = {
      {b64, "QQ", data_decode_status::bad_padding, 2},        // padding left out
      {b64, "QQ=", data_decode_status::bad_padding, 2},       // short
      {b64, "QQ===", data_decode_status::bad_padding, 2},     // one too many
      {b64, "QQ======", data_decode_status::bad_padding, 2},  // a whole group more
      {b64, "QUJD====", data_decode_status::bad_padding, 4},  // padding after whole groups
      {b64, "====", data_decode_status::bad_padding, 0},
      {b64, "QQ==QUJD", data_decode_status::bad_padding, 2},  // padding inside
      {b64, "Q===", data_decode_status::truncated, 1},        // 6 bits make no byte
      {b64, "QUJDQ", data_decode_status::truncated, 5},
      {b64, "QR==", data_decode_status::trailing_bits, 1},
      {b64, "QUJ=", data_decode_status::trailing_bits, 2},
      {b64, "Zm9v\n", data_decode_status::invalid_symbol, 4},  // no white space
      {b32, "MY=====", data_decode_status::bad_padding, 2},
      {b32, "MZ======", data_decode_status::trailing_bits, 1},
      {b32, "MZX=====", data_decode_status::truncated, 3},
      {b32, "MZXW6YQ", data_decode_status::bad_padding, 7},
      {b32, "MZXW6YR=", data_decode_status::trailing_bits, 6},
      {hex, "ABC", data_decode_status::truncated, 3},
      {hex, "AB=", data_decode_status::invalid_symbol, 2},  // hex has no padding
      {hex, "ab", data_decode_status::invalid_symbol, 0},
  };
  for (const Case& c : kCases) {
    std::string out = "kept";
    const auto r = c.decode(c.text, std::strlen(c.text), out);
    EXPECT_EQ(r.status, c.status) << c.text;
    EXPECT_EQ(r.offset, c.offset) << c.text;
    EXPECT_EQ(out, "kept") << c.text;
  }
}

}  // namespace
