// Length, copy and duplicate primitives, bounded printf forms and message
// templates. Exhaustion at every request of the allocating ones is in
// alloc_sweep_test.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <tuple>

#include "ky/memory.h"
#include "ky/strings.h"
#include "support/test_allocator.h"

namespace {

TEST(StrLen, NullZeroAndBound) {
  EXPECT_TRUE(ky_strlen(nullptr) == 0 && ky_strlen("abc") == 3);
  EXPECT_TRUE(ky_strnlen(nullptr, 5) == 0 && ky_strnlen("abc", 0) == 0);
  EXPECT_TRUE(ky_strnlen("abc", 2) == 2 && ky_strnlen("abc", SIZE_MAX) == 3);
  // An unterminated buffer: the byte at offset n is never read (ASan would see it).
  const std::unique_ptr<char[]> exact(new char[3]{'x', 'y', 'z'});
  EXPECT_EQ(ky_strnlen(exact.get(), 3), 3u);
}

using CopyFn = char* (*)(char*, const char*, size_t);
char* Cpy(char* d, const char* s, size_t) { return ky_strcpy(d, s); }
char* CpyEp(char* d, const char* s, size_t) { return ky_strcpy_ep(d, s); }

// Each copy runs into a sentinel-filled buffer and the whole buffer is
// compared, so a byte stored past the contract (padding, a stray NUL) shows.
// ky_strxncpy's n is a capacity, the NUL stored only if it fits;
// ky_strxnzcpy's n counts characters, the NUL always follows them.
TEST(StrCopy, CopyTable) {
  const CopyFn xn = ky_strxncpy, xn_ep = ky_strxncpy_ep;
  const CopyFn xnz = ky_strxnzcpy, xnz_ep = ky_strxnzcpy_ep;
  const std::string nul(1, '\0');
  // plain form, _ep form, source, n, the destination afterwards (NULs
  // included), the _ep result as an offset from the destination
  // clang-format off
  const std::tuple<CopyFn, CopyFn, const char*, size_t, std::string, ptrdiff_t> cases[] = {
      {xn, xn_ep, "abc", 3, "abc", 3}, {xn, xn_ep, "abc", 4, "abc" + nul, 3},
      {xn, xn_ep, "abc", 10, "abc" + nul, 3}, {xn, xn_ep, "abc", 0, "", 0},
      {xn, xn_ep, "abc", SIZE_MAX, "", 0},  // the end address wraps: no room
      {xn, xn_ep, "", 3, nul, 0}, {xn, xn_ep, "abcdef", 2, "ab", 2}, {xn, xn_ep, nullptr, 3, "", 0},
      {xnz, xnz_ep, "abc", 3, "abc" + nul, 3}, {xnz, xnz_ep, "abc", 0, nul, 0},
      {xnz, xnz_ep, "abc", SIZE_MAX, nul, 0}, {xnz, xnz_ep, "abcdef", 2, "ab" + nul, 2},
      {xnz, xnz_ep, "ab", 10, "ab" + nul, 2}, {xnz, xnz_ep, "", 5, nul, 0},
      {xnz, xnz_ep, nullptr, 3, "", 0},
      {Cpy, CpyEp, "hello", 0, "hello" + nul, 5}, {Cpy, CpyEp, "", 0, nul, 0},
      {Cpy, CpyEp, nullptr, 0, "", 0}};
  // clang-format on
  for (const auto& [plain, ep, src, n, stored, end] : cases) {
    SCOPED_TRACE(std::string(src ? src : "(null)") + " n=" + std::to_string(n));
    const std::string expected = stored + std::string(16 - stored.size(), '#');
    char a[16], b[16];
    std::memset(a, '#', sizeof a);
    std::memset(b, '#', sizeof b);
    EXPECT_EQ(plain(a, src, n), a);
    EXPECT_EQ(std::string(a, sizeof a), expected);
    EXPECT_EQ(ep(b, src, n) - b, end);
    EXPECT_EQ(std::string(b, sizeof b), expected);
  }
  EXPECT_EQ(ky_strxnzcpy_ep(nullptr, "abc", 3), nullptr);
}

// Both forms write into '#'-filled buffers and the whole buffer is compared.
TEST(Snprintf, FitsCutsAndRefuses) {
  const std::string cut = std::string("abc\0####", 8), none(8, '#');
  // size, text, ky_snprintf's result, ky_snzprintf's, the buffer after either
  // clang-format off
  const std::tuple<size_t, const char*, int, int, std::string> cases[] = {
      {8, "42-x", 4, 4, std::string("42-x\0###", 8)}, {8, "", 0, 0, std::string("\0#######", 8)},
      {4, "abcdef", -1, 3, cut}, {4, "abcd", -1, 3, cut},  // exactly full is a cut
      {1, "a", -1, 0, std::string("\0#######", 8)}, {0, "abc", 0, 0, none},
      {SIZE_MAX, "abc", 0, 0, none}};  // the end address wraps: no room
  // clang-format on
  for (const auto& [size, text, plain, z, stored] : cases) {
    char a[8], b[8];
    std::memset(a, '#', sizeof a);
    std::memset(b, '#', sizeof b);
    EXPECT_EQ(ky_snprintf(a, size, "%s", text), plain) << text << " size " << size;
    EXPECT_EQ(ky_snzprintf(b, size, "%s", text), z) << text << " size " << size;
    EXPECT_EQ(std::string(a, sizeof a), stored);
    EXPECT_EQ(std::string(b, sizeof b), stored);
  }
  char buf[8] = "#######";
  EXPECT_EQ(ky_snprintf(nullptr, 8, "abc"), 0);
  EXPECT_EQ(ky_snprintf(buf, 8, nullptr), 0);
  EXPECT_EQ(ky_snprintf(buf, 8, "%d|%s", -7, "z"), 4);
  EXPECT_STREQ(buf, "-7|z");
}

// Pieces follow each other; a cut parks the cursor on the last byte. With
// nothing left, the next call loses the last character: callers stop at the
// first null result.
TEST(SnprintfEx, PiecesCutsAndSteppingBack) {
  char buf[10];
  std::memset(buf, '#', sizeof buf);
  char* cursor = buf;
  size_t remaining = 8;
  // piece, result (-1: null), cursor, remaining, raw, the buffer afterwards
  // clang-format off
  const std::tuple<const char*, ptrdiff_t, ptrdiff_t, size_t, int, const char*> steps[] = {
      {"abcd", 0, 4, 4, 4, "abcd"}, {"", 4, 4, 4, 0, "abcd"}, {"ef", 4, 6, 2, 2, "abcdef"},
      {"ghij", -1, 7, 0, -1, "abcdefg"}, {"x", -1, 6, 0, 0, "abcdef"}};
  // clang-format on
  for (const auto& [piece, result, at, left, raw, stored] : steps) {
    int got = 99;
    char* r = ky_snprintf_ex2(&cursor, &remaining, &got, "%s", piece);
    EXPECT_EQ(r ? r - buf : -1, result) << piece;
    EXPECT_TRUE(cursor == buf + at && remaining == left && got == raw) << piece;
    EXPECT_STREQ(buf, stored);
  }
  EXPECT_EQ(std::string(buf + 8, 2), "##");
  remaining = 4;  // the form without raw, after the steps
  EXPECT_EQ(ky_snprintf_ex(&cursor, &remaining, "%d", 5), buf + 6);
  EXPECT_STREQ(buf, "abcdef5");
  EXPECT_EQ(ky_snprintf_ex(nullptr, &remaining, "x"), nullptr);
  EXPECT_EQ(ky_snprintf_ex(&cursor, nullptr, "x"), nullptr);
}

// Every template is expanded with the arguments {"x", "y", null}.
TEST(FormatMessage, TemplateTable) {
  // clang-format off
  const std::pair<const char*, std::string> cases[] = {
      {"{0} and {1}", "x and y"}, {"'{0}'", "{0}"}, {"it''s", "it's"},
      {"'it''s {1}' {1}", "it's {1} y"}, {"{3}", "{3}"}, {"{0", "{0"}, {"{x}", "{x}"},
      {"{-1}", "{-1}"}, {"{2}|", "|"},  // a null argument expands to nothing
      {"{99999999999999999999}", "{99999999999999999999}"},
      {"{0}{0}{1}{0}", "xxyx"}, {"{00}", "x"}, {"a\\nb", "a\nb"},
      {"\\a\\b\\t\\v\\f\\r\\\"\\'\\?\\\\", "\a\b\t\v\f\r\"'?\\"},
      {"\\101", "A"}, {"\\1012", "A2"}, {"\\7", "\7"}, {"\\8", "\\8"},
      {"\\477", "?"},  // low eight bits of octal 477
      {"\\x41", "A"}, {"\\x4", "\\x4"}, {"\\x4g", "\\x4g"}, {"\\xZZ", "\\xZZ"}, {"\\q", "\\q"},
      {"\\x-1", "\xff"}, {"\\x 9", "\t"},  // as strtol reads them: sign and blank
      {"end\\", "end\\"}, {"'\\n{'", "\n{"},  // escapes work inside quotes
      {"'", ""}, {"", ""}};
  // clang-format on
  const char* args[] = {"x", "y", nullptr};
  for (const auto& [fmt, expected] : cases) {
    ky::test::AllocScope scope;
    char* r = ky_FormatMessage(fmt, 3, args);
    ASSERT_NE(r, nullptr) << fmt;
    EXPECT_EQ(std::string(r), expected) << fmt;
    ky_free(r);
  }
}

// Each result is a block of its own from ky_malloc: a duplicate of exactly
// the size its contract gives, a template of at least its text.
TEST(Allocating, BlocksFromTheHooks) {
  ky::test::AllocScope scope;
  const std::string big(5000, 'z');
  const char* args[] = {"x"};
  const char* bigs[] = {big.c_str()};
  // the result, its text, its block size (0: at least the text)
  // clang-format off
  const std::tuple<char*, std::string, size_t> cases[] = {
      {ky_strdup("abc"), "abc", 4}, {ky_strndup("abcdef", 3), "abc", 4},
      {ky_strndup("ab", 100), "ab", 101},  // n + 1 reserved whatever the source's length
      {ky_strdup_dbg(1, 2, 3, "xy"), "xy", 3}, {ky_strndup_dbg(UINTPTR_MAX, 0, 7, "xyz", 1), "x", 2},
      // absent, uncounted and repeated arguments
      {ky_FormatMessage("[{0}]", 1, nullptr), "[]", 0}, {ky_FormatMessage("[{0}]", 0, args), "[{0}]", 0},
      {ky_FormatMessage("[{0}]", -3, args), "[{0}]", 0},
      {ky_FormatMessage("{0}-{0}-{0}", 1, bigs), big + "-" + big + "-" + big, 0},
      {ky_FormatMessageWithArgs("plain", 0), "plain", 0}};
  // clang-format on
  for (const auto& [block, text, size] : cases) {
    ASSERT_NE(block, nullptr) << text;
    EXPECT_EQ(block, text);
    const size_t got = ky::test::BlockSize(block);  // SIZE_MAX: not from ky_malloc
    EXPECT_TRUE(size ? got == size : got != SIZE_MAX && got > text.size()) << text << ": " << got;
    ky_free(block);
  }
  EXPECT_TRUE(!ky_strdup(nullptr) && !ky_strdup_dbg(1, 2, 3, nullptr) && !ky_strndup(nullptr, 4));
  // n + 1 would wrap to a 0-byte block that the copy then overruns.
  EXPECT_EQ(ky_strndup("abc", SIZE_MAX), nullptr);
  EXPECT_TRUE(!ky_FormatMessage(nullptr, 1, args) && !ky_FormatMessageWithArgs("x", -1));
  EXPECT_EQ(ky_FormatMessageWithArgs(nullptr, 1, "a"), nullptr);  // the array is freed
}

}  // namespace
