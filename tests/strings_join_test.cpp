// Joins, fixed-width fields, spans and the bounded append. Destinations are
// filled with a sentinel first, so every byte stored and not stored is
// checked.
#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <random>
#include <string>

#include "ky/memory.h"
#include "ky/strings.h"
#include "support/test_allocator.h"

namespace {

constexpr char kSentinel = '#';

struct Dst {
  char buf[32];
  Dst() { std::memset(buf, kSentinel, sizeof buf); }
  // The bytes up to the first sentinel: what the call stored, NULs shown.
  std::string Stored() const {
    return std::string(buf,
                       static_cast<const char*>(std::memchr(buf, kSentinel, sizeof buf)) - buf);
  }
};

const char* kArr[] = {"a", nullptr, "bc"};
const size_t kLens[] = {1, 4, 1};

TEST(StrJoin, ArrayAndVariadicFormsAgree) {
  struct Case {
    const char* name;
    char* (*join)(char*);
    std::string stored;  // bytes stored, NUL included
    size_t end;          // offset of the result
  };
  const Case cases[] = {
      {"stracpy", [](char* d) { return ky_stracpy(d, 3, kArr); }, std::string("abc\0", 4), 0},
      {"stracpy_ep", [](char* d) { return ky_stracpy_ep(d, 3, kArr); }, std::string("abc\0", 4), 3},
      {"strvacpy", [](char* d) { return ky_strvacpy(d, 3, "a", (char*)0, "bc"); },
       std::string("abc\0", 4), 0},
      {"strvacpy_ep", [](char* d) { return ky_strvacpy_ep(d, 3, "a", (char*)0, "bc"); },
       std::string("abc\0", 4), 3},
      {"strvlacpy", [](char* d) { return ky_strvlacpy(d, "a", "", "bc", (char*)0); },
       std::string("abc\0", 4), 0},
      {"strvlacpy_ep", [](char* d) { return ky_strvlacpy_ep(d, "ab", "c", (char*)0, "x"); },
       std::string("abc\0", 4), 3},
      // A cut piece stores no NUL; a short one's NUL is overwritten.
      {"strancpy", [](char* d) { return ky_strancpy(d, 3, kArr, kLens); }, std::string("ab\0", 3),
       0},
      {"strancpy_ep", [](char* d) { return ky_strancpy_ep(d, 3, kArr, kLens); },
       std::string("ab\0", 3), 2},
      {"strvlancpy",
       [](char* d) { return ky_strvlancpy(d, "abcd", (size_t)2, "xyz", (size_t)5, (char*)0); },
       std::string("abxyz\0", 6), 0},
      {"strvlancpy_ep",
       [](char* d) { return ky_strvlancpy_ep(d, "abcd", (size_t)2, "xyz", (size_t)5, (char*)0); },
       std::string("abxyz\0", 6), 5},
      {"strvancpy", [](char* d) { return ky_strvancpy(d, 2, "abcd", (size_t)0, "xyz", (size_t)2); },
       std::string("xy\0", 3), 0},
      {"strvancpy_ep",
       [](char* d) { return ky_strvancpy_ep(d, 2, "abcd", (size_t)0, "xyz", (size_t)2); },
       std::string("xy\0", 3), 2},
      // Empty lists store nothing at all.
      {"stracpy count 0", [](char* d) { return ky_stracpy(d, 0, kArr); }, "", 0},
      {"stracpy null arr", [](char* d) { return ky_stracpy_ep(d, 2, nullptr); }, "", 0},
      {"strvancpy count 0", [](char* d) { return ky_strvancpy_ep(d, 0); }, "", 0},
      {"strvlancpy null first", [](char* d) { return ky_strvlancpy_ep(d, (char*)0); }, "", 0},
      {"stracpy only nulls", [](char* d) { return ky_stracpy_ep(d, 1, kArr + 1); }, "", 0},
      // The kept asymmetries: counted array joins store a NUL for count 0, and
      // without lens they join whole strings and return dst even as _ep.
      {"strancpy count 0", [](char* d) { return ky_strancpy_ep(d, 0, kArr, kLens); },
       std::string("\0", 1), 0},
      {"strancpy_ep null lens", [](char* d) { return ky_strancpy_ep(d, 3, kArr, nullptr); },
       std::string("abc\0", 4), 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Dst d;
    char* r = c.join(d.buf);
    EXPECT_EQ(d.Stored(), c.stored);
    EXPECT_EQ(r - d.buf, static_cast<ptrdiff_t>(c.end));
  }
  EXPECT_EQ(ky_stracpy(nullptr, 3, kArr), nullptr);
  EXPECT_EQ(ky_strvlancpy(nullptr, "a", (size_t)1, (char*)0), nullptr);
}

TEST(StrJoin, MeasuresMatchWhatTheJoinsStore) {
  EXPECT_EQ(ky_stralen(3, kArr), 3u);
  EXPECT_EQ(ky_stralen(3, nullptr), 0u);
  EXPECT_EQ(ky_stranlen(3, kArr, kLens), 2u);
  EXPECT_EQ(ky_stranlen(3, kArr, nullptr), 3u);
  EXPECT_EQ(ky_strvalen(3, "a", (char*)0, "bc"), 3u);
  EXPECT_EQ(ky_strvanlen(2, "abcd", (size_t)0, "xyz", (size_t)2), 2u);
  EXPECT_EQ(ky_strvlalen("ab", "", "cde", (char*)0), 5u);
  EXPECT_EQ(ky_strvlalen((char*)0), 0u);
  EXPECT_EQ(ky_strvlanlen("abcd", (size_t)2, "xyz", (size_t)5, (char*)0), 5u);
}

TEST(StrFill, FieldsOfFixedWidth) {
  struct Case {
    const char* name;
    char* (*fill)(char*);
    std::string stored;
  };
  const Case cases[] = {
      {"nbcpy short", [](char* d) { return ky_strnbcpy(d, "ab", 5); }, "ab   "},
      {"nbcpy long", [](char* d) { return ky_strnbcpy(d, "abcdef", 3); }, "abc"},
      {"nfcpy null src", [](char* d) { return ky_strnfcpy(d, nullptr, 3, '.'); }, "..."},
      {"nfcpy n 0", [](char* d) { return ky_strnfcpy(d, "ab", 0, '.'); }, ""},
      {"nbzcpy long", [](char* d) { return ky_strnbzcpy(d, "abcdef", 3); },
       std::string("abc\0", 4)},
      {"nfzcpy short", [](char* d) { return ky_strnfzcpy(d, "a", 3, '0'); },
       std::string("a00\0", 4)},
      {"nfzcpy n 0", [](char* d) { return ky_strnfzcpy(d, "ab", 0, '.'); }, std::string("\0", 1)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Dst d;
    EXPECT_EQ(c.fill(d.buf), d.buf);
    EXPECT_EQ(d.Stored(), c.stored);
  }
  EXPECT_EQ(ky_strnbzcpy(nullptr, "a", 2), nullptr);
}

TEST(StrFill, CursorFormCutsToWhatRemains) {
  Dst d;
  char* cursor = d.buf;
  size_t remaining = 9;
  EXPECT_EQ(ky_strnbcpy_ex(&cursor, &remaining, "ab", 4), d.buf);
  EXPECT_EQ(ky_strnfcpy_ex(&cursor, &remaining, "xyz", 3, '-'), d.buf + 4);
  // Only 2 of the 6 bytes fit: they are written, and the null result says so.
  EXPECT_EQ(ky_strnfcpy_ex(&cursor, &remaining, "12345678", 6, '-'), nullptr);
  EXPECT_EQ(d.Stored(), "ab  xyz12");
  EXPECT_EQ(cursor, d.buf + 9);
  EXPECT_EQ(remaining, 0u);
  EXPECT_EQ(ky_strnbcpy_ex(&cursor, &remaining, "a", 0), cursor);  // width 0 always fits
  EXPECT_EQ(ky_strnbcpy_ex(nullptr, &remaining, "a", 1), nullptr);
}

// Spans against index scans over random text and sets of every size, both
// sides of the 4-byte boundary where the set test changes.
TEST(StrSpan, AgainstModel) {
  std::mt19937 rng(7);
  const std::string alphabet = "ab =:,;\t\x80\xff";
  for (int round = 0; round < 3000; ++round) {
    std::string s, set;
    for (size_t i = rng() % 12; i; --i) s += alphabet[rng() % alphabet.size()];
    for (size_t i = rng() % 7; i; --i) set += alphabet[rng() % alphabet.size()];
    const size_t n = rng() % 14;
    const size_t limit = n ? std::min(n, s.size()) : s.size();
    size_t spn = 0, cspn = 0;
    while (spn < limit && set.find(s[spn]) != std::string::npos) ++spn;
    while (cspn < limit && set.find(s[cspn]) == std::string::npos) ++cspn;
    SCOPED_TRACE(s + "|" + set + "|" + std::to_string(n));
    EXPECT_EQ(ky_strnspn(s.c_str(), n, set.c_str(), 0), spn);
    EXPECT_EQ(ky_strncspn(s.c_str(), n, set.c_str(), set.size()), cspn);
  }
  EXPECT_EQ(ky_strncspn("key=value", 0, "=:", 0), 3u);
  EXPECT_EQ(ky_strnspn("aaaa", 2, "a", 1), 2u);
  EXPECT_EQ(ky_strncspn("abc", 0, nullptr, 0), 3u);
  EXPECT_EQ(ky_strncspn("abc", 2, "", 0), 2u);
  EXPECT_EQ(ky_strnspn("abc", 0, nullptr, 0), 0u);
  EXPECT_EQ(ky_strnspn(nullptr, 0, "a", 0), 0u);
  // Bytes above 0x7F reach the predicate as unsigned char values.
  EXPECT_EQ(ky_strnfspn("12\xff"
                        "3",
                        0, isdigit),
            2u);
  EXPECT_EQ(ky_strnfcspn("ab\xff"
                         "3",
                         0, isdigit),
            3u);
  EXPECT_EQ(ky_strnfspn("123", 2, isdigit), 2u);
  EXPECT_EQ(ky_strnfspn("123", 0, nullptr), 0u);
}

TEST(StrAppend, GrowsTheCallersBlockExactly) {
  ky::test::AllocScope scope;
  char* p = ky_strdup("abc");
  ASSERT_EQ(ky_strnnapp(&p, 100, "defgh", 3), p);
  EXPECT_STREQ(p, "abcdef");
  EXPECT_EQ(ky::test::BlockSize(p), 7u);
  ASSERT_EQ(ky_strnnapp(&p, 2, "x", 5), p);  // the text is taken as its first 2 bytes
  EXPECT_STREQ(p, "abx");
  ASSERT_EQ(ky_strnnapp(&p, 0, "def", 3), p);  // bufn 0 replaces the text
  EXPECT_STREQ(p, "def");
  EXPECT_EQ(ky_strnnapp(&p, 100, "", 3), p);
  EXPECT_EQ(ky_strnnapp(&p, 100, nullptr, 3), p);
  EXPECT_STREQ(p, "def");
  // A failed resize keeps the caller's block and text.
  char* const before = p;
  ky::test::FailRequest(1);
  EXPECT_EQ(ky_strnnapp_dbg(1, 2, 3, &p, 100, "ghi", 3), nullptr);
  EXPECT_EQ(p, before);
  EXPECT_STREQ(p, "def");
  ky_free(p);

  char* fresh = nullptr;
  ASSERT_NE(ky_strnnapp(&fresh, 0, "defgh", 3), nullptr);
  EXPECT_STREQ(fresh, "def");
  EXPECT_EQ(ky::test::BlockSize(fresh), 4u);
  ky_free(fresh);
  EXPECT_EQ(ky_strnnapp(nullptr, 0, "a", 1), nullptr);
}

}  // namespace
