#include <gtest/gtest.h>

#include <cstring>
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

// Mappings of the data file that the tables carry: a cased letter (Lu or
// Ll) at most 0x104FF.
struct Mappings {
  std::map<unsigned, unsigned> upper, lower;
};

const Mappings& FromDataFile() {
  static const Mappings m = [] {
    Mappings r;
    std::ifstream in(KY_CASE_DATA);
    EXPECT_TRUE(in) << KY_CASE_DATA;
    std::string line;
    while (std::getline(in, line)) {
      if (line.empty() || line[0] == '#') continue;
      std::vector<std::string> f;
      std::stringstream s(line);
      for (std::string field; std::getline(s, field, ';');) f.push_back(field);
      f.resize(4);
      const unsigned cp = std::stoul(f[0], nullptr, 16);
      if (cp > 0x104FF || (f[1] != "Lu" && f[1] != "Ll")) continue;
      if (!f[2].empty()) r.upper[cp] = std::stoul(f[2], nullptr, 16);
      if (!f[3].empty()) r.lower[cp] = std::stoul(f[3], nullptr, 16);
    }
    return r;
  }();
  return m;
}

template <ky::utf::CaseConversionType C>
std::vector<unsigned> HighParts() {
  typedef ky::utf::utf32_casing_lookup_table<C> table;
  std::vector<unsigned> highs;
  for (unsigned hi = 0; hi <= table::msw_upperbound_; ++hi) {
    const unsigned block = table::msw_lookup_[hi];
    if (block == 0xFF) continue;
    EXPECT_EQ(block, highs.size()) << "blocks run in order of high part";
    highs.push_back(hi);
  }
  return highs;
}

template <ky::utf::CaseConversionType C>
size_t MappedEntries() {
  typedef ky::utf::utf32_casing_lookup_table<C> table;
  size_t n = 0;
  for (unsigned hi = 0; hi <= table::msw_upperbound_; ++hi) {
    const unsigned block = table::msw_lookup_[hi];
    if (block == 0xFF) continue;
    for (unsigned lo = 0; lo < 256; ++lo) n += table::lsb_lookup_[block][lo] != 0xFFFFFFFFu;
  }
  return n;
}

TEST(CaseTables, Layout) {
  EXPECT_EQ(ky::utf::utf32_casing_lookup_table<ToUpper>::msw_upperbound_, 0x104u);
  EXPECT_EQ(ky::utf::utf32_casing_lookup_table<ToLower>::msw_upperbound_, 0x104u);
  EXPECT_EQ(HighParts<ToUpper>(),
            (std::vector<unsigned>{0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x1D, 0x1E, 0x1F, 0x21, 0x2C,
                                   0x2D, 0xA6, 0xA7, 0xFF, 0x104}));
  EXPECT_EQ(HighParts<ToLower>(),
            (std::vector<unsigned>{0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x10, 0x1E, 0x1F, 0x21, 0x2C,
                                   0xA6, 0xA7, 0xFF, 0x104}));
  EXPECT_EQ(MappedEntries<ToUpper>(), 1004u);
  EXPECT_EQ(MappedEntries<ToLower>(), 970u);
}

// Every code point, and values beyond Unicode, against the data file.
TEST(CaseTables, EveryCodePointMatchesTheData) {
  const Mappings& m = FromDataFile();
  ASSERT_EQ(m.upper.size(), 1004u);
  ASSERT_EQ(m.lower.size(), 970u);
  for (unsigned cp = 0; cp <= 0x110000; ++cp) {
    auto u = m.upper.find(cp), l = m.lower.find(cp);
    ASSERT_EQ(case_convert<ToUpper>(cp), u == m.upper.end() ? cp : u->second) << std::hex << cp;
    ASSERT_EQ(case_convert<ToLower>(cp), l == m.lower.end() ? cp : l->second) << std::hex << cp;
  }
  EXPECT_EQ(case_convert<ToUpper>(0xFFFFFFFFu), 0xFFFFFFFFu);
}

TEST(CaseTables, KnownPairsAndDeliberateGaps) {
  struct Case {
    unsigned cp, upper, lower;
  };
  const Case cases[] = {
      // Pairs that a wrong data file or filter would lose.
      {0xFF, 0x178, 0xFF},
      {0xB5, 0x39C, 0xB5},
      {0x131, 0x49, 0x131},
      {0x1E9E, 0x1E9E, 0xDF},
      {0x10C0, 0x10C0, 0x2D20},
      {0x10428, 0x10400, 0x10428},
      {0x1F80, 0x1F88, 0x1F80},
      // Titlecase letters map to nothing in either direction.
      {0x1C5, 0x1C5, 0x1C5},
      {0x1F88, 0x1F88, 0x1F88},
      {0x1F8F, 0x1F8F, 0x1F8F},
      // Not a cased letter, no one-to-one upper case, or too new.
      {0x345, 0x345, 0x345},
      {0xDF, 0xDF, 0xDF},
      {0x37F, 0x37F, 0x37F},
      {0xA7AD, 0xA7AD, 0xA7AD},
      {0x13F8, 0x13F8, 0x13F8},
      {0xAB70, 0xAB70, 0xAB70},
      {0x10D0, 0x10D0, 0x10D0},
      {0x1C90, 0x1C90, 0x1C90},
      {0x104FF, 0x104FF, 0x104FF},
      {0x10500, 0x10500, 0x10500},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(case_convert<ToUpper>(c.cp), c.upper) << std::hex << c.cp;
    EXPECT_EQ(case_convert<ToLower>(c.cp), c.lower) << std::hex << c.cp;
  }
}

TEST(CaseTables, BufferAndUtf8) {
  unsigned int text[] = {0x73, 0xDF, 0x3C2, 0x1C5, 0x10428, 0x110000, 0};
  ky::utf::case_convert<ToUpper>(text, 6);
  const unsigned int upper[] = {0x53, 0xDF, 0x3A3, 0x1C5, 0x10400, 0x110000, 0};
  EXPECT_EQ(std::memcmp(text, upper, sizeof text), 0);

  EXPECT_EQ(ky::utf::case_convert_utf8<ToUpper>(std::string("stra\xC3\x9F"
                                                            "e \xCE\xB1\xCF\x82")),
            "STRA\xC3\x9F"
            "E \xCE\x91\xCE\xA3");
  // Two bytes become three; an ill-formed byte becomes U+FFFD; NUL is kept.
  EXPECT_EQ(ky::utf::case_convert_utf8<ToLower>(std::string("\xC8\xBA\xFFQ\0Z", 6)),
            std::string("\xE2\xB1\xA5\xEF\xBF\xBDq\0z", 9));
  EXPECT_EQ(ky::utf::case_convert_utf8<ToLower>(nullptr, 4), "");
  EXPECT_EQ(ky::utf::case_convert_utf8<ToLower>(std::string()), "");
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
