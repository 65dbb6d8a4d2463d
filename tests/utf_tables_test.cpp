#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "ky/utf.h"

namespace {

using ky::utf::case_convert;
using ky::utf::ToLower;
using ky::utf::ToUpper;
using namespace std::string_literals;

// Every code point, and values beyond Unicode, against the data file. The
// tables carry only its cased letters (Lu or Ll) up to 0x104FF; the counts
// pin the 6.1 data, as a newer file adds letters.
TEST(CaseTables, EveryCodePointMatchesTheData) {
  std::map<unsigned, unsigned> upper, lower;
  std::ifstream in(KY_CASE_DATA);
  ASSERT_TRUE(in) << KY_CASE_DATA;
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::vector<std::string> f;
    std::stringstream s(line);
    for (std::string field; std::getline(s, field, ';');) f.push_back(field);
    f.resize(4);
    const unsigned cp = std::stoul(f[0], nullptr, 16);
    if (cp > 0x104FF || (f[1] != "Lu" && f[1] != "Ll")) continue;
    if (!f[2].empty()) upper[cp] = std::stoul(f[2], nullptr, 16);
    if (!f[3].empty()) lower[cp] = std::stoul(f[3], nullptr, 16);
  }
  ASSERT_EQ(upper.size(), 1004u);
  ASSERT_EQ(lower.size(), 970u);
  for (unsigned cp = 0; cp <= 0x110000; ++cp) {
    auto u = upper.find(cp), l = lower.find(cp);
    ASSERT_EQ(case_convert<ToUpper>(cp), u == upper.end() ? cp : u->second) << std::hex << cp;
    ASSERT_EQ(case_convert<ToLower>(cp), l == lower.end() ? cp : l->second) << std::hex << cp;
  }
  EXPECT_EQ(case_convert<ToUpper>(0xFFFFFFFFu), 0xFFFFFFFFu);
}

// Deliberate gaps, which the filter above also implies: titlecase letters map
// to nothing in either direction, nor do non-letters (0x345), letters without
// a one-to-one counterpart (0xDF) or anything past 0x104FF. A titlecase
// letter can still be a target.
TEST(CaseTables, DeliberateGaps) {
  for (unsigned cp : {0x1C5u, 0x1F88u, 0x1F8Fu, 0xDFu, 0x345u, 0x10500u}) {
    EXPECT_EQ(case_convert<ToUpper>(cp), cp) << std::hex << cp;
    EXPECT_EQ(case_convert<ToLower>(cp), cp) << std::hex << cp;
  }
  EXPECT_EQ(case_convert<ToUpper>(0x1F80), 0x1F88u);
  EXPECT_EQ(case_convert<ToLower>(0x1E9E), 0xDFu);
}

TEST(CaseTables, Utf8) {
  EXPECT_EQ(ky::utf::case_convert_utf8<ToUpper>("\xCE\xB1\xCF\x82 \xC3\x9F"s),
            "\xCE\x91\xCE\xA3 \xC3\x9F");
  // Two bytes become three; an ill-formed byte becomes U+FFFD; NUL is kept.
  EXPECT_EQ(ky::utf::case_convert_utf8<ToLower>("\xC8\xBA\xFFQ\0Z"s),
            "\xE2\xB1\xA5\xEF\xBF\xBDq\0z"s);
  EXPECT_EQ(ky::utf::case_convert_utf8<ToLower>(nullptr, 4), "");
}

TEST(CharTypes, AllBytes) {
  for (unsigned b = 0; b < 256; ++b) {
    const bool digit = b >= '0' && b <= '9';
    const bool letter = (b >= 'A' && b <= 'Z') || (b >= 'a' && b <= 'z');
    const bool hex = digit || (b >= 'A' && b <= 'F') || (b >= 'a' && b <= 'f');
    const bool space = b == ' ' || (b >= 0x09 && b <= 0x0D);
    const unsigned expected = (digit ? 0x01 : 0) | (hex ? 0x02 : 0) | (letter ? 0x04 : 0) |
                              (digit || letter ? 0x08 : 0) | (space ? 0x10 : 0);
    EXPECT_EQ(ky::utf::_char_types[b], expected) << b;
  }
}

}  // namespace
