// Length, copy and duplicate primitives, and the allocation contract.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "ky/memory.h"
#include "ky/strings.h"
#include "support/test_allocator.h"

namespace {

using ky::test::AllocScope;

TEST(StrLen, NullZeroAndBound) {
  EXPECT_EQ(ky_strlen(nullptr), 0u);
  EXPECT_EQ(ky_strlen("abc"), 3u);
  EXPECT_EQ(ky_strnlen(nullptr, 5), 0u);
  EXPECT_EQ(ky_strnlen("abc", 0), 0u);
  EXPECT_EQ(ky_strnlen("abc", 2), 2u);
  EXPECT_EQ(ky_strnlen("abc", SIZE_MAX), 3u);
  // An unterminated buffer: the byte at offset n is never read (ASan would see it).
  char* exact = new char[3]{'x', 'y', 'z'};
  EXPECT_EQ(ky_strnlen(exact, 3), 3u);
  delete[] exact;
}

using CopyFn = char* (*)(char*, const char*, size_t);
char* Cpy(char* d, const char* s, size_t) { return ky_strcpy(d, s); }
char* CpyEp(char* d, const char* s, size_t) { return ky_strcpy_ep(d, s); }

struct CopyCase {
  CopyFn plain, ep;
  const char* src;
  size_t n;
  std::string stored;  // what the destination holds afterwards, NULs included
  ptrdiff_t end;       // the _ep result, as an offset from dst
};

// Each copy runs into a sentinel-filled buffer and the whole buffer is
// compared, so a byte stored past the contract (padding, a stray NUL) shows.
// ky_strxncpy's n is a capacity, the NUL stored only if it fits;
// ky_strxnzcpy's n counts characters, the NUL always follows them.
TEST(StrCopy, CopyTable) {
  const CopyFn xn = ky_strxncpy, xn_ep = ky_strxncpy_ep;
  const CopyFn xnz = ky_strxnzcpy, xnz_ep = ky_strxnzcpy_ep;
  const std::string nul(1, '\0');
  const CopyCase cases[] = {
      {xn, xn_ep, "abc", 3, "abc", 3},
      {xn, xn_ep, "abc", 4, "abc" + nul, 3},
      {xn, xn_ep, "abc", 10, "abc" + nul, 3},
      {xn, xn_ep, "abc", 0, "", 0},
      {xn, xn_ep, "abc", SIZE_MAX, "", 0},  // the end address wraps: no room
      {xn, xn_ep, "", 3, nul, 0},
      {xn, xn_ep, "abcdef", 2, "ab", 2},
      {xn, xn_ep, nullptr, 3, "", 0},
      {xnz, xnz_ep, "abc", 3, "abc" + nul, 3},
      {xnz, xnz_ep, "abc", 0, nul, 0},
      {xnz, xnz_ep, "abc", SIZE_MAX, nul, 0},
      {xnz, xnz_ep, "abcdef", 2, "ab" + nul, 2},
      {xnz, xnz_ep, "ab", 10, "ab" + nul, 2},
      {xnz, xnz_ep, "", 5, nul, 0},
      {xnz, xnz_ep, nullptr, 3, "", 0},
      {Cpy, CpyEp, "hello", 0, "hello" + nul, 5},
      {Cpy, CpyEp, "", 0, nul, 0},
      {Cpy, CpyEp, nullptr, 0, "", 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.src ? c.src : "(null)") + " n=" + std::to_string(c.n));
    const std::string expected = c.stored + std::string(16 - c.stored.size(), '#');
    char a[16], b[16];
    std::memset(a, '#', sizeof a);
    std::memset(b, '#', sizeof b);
    EXPECT_EQ(c.plain(a, c.src, c.n), a);
    EXPECT_EQ(std::string(a, sizeof a), expected);
    EXPECT_EQ(c.ep(b, c.src, c.n) - b, c.end);
    EXPECT_EQ(std::string(b, sizeof b), expected);
  }
  EXPECT_EQ(ky_strxnzcpy_ep(nullptr, "abc", 3), nullptr);
}

// Chained bounded copies pick up where the last one ended.
TEST(StrCopy, XncpyEpChains) {
  char d[8];
  char* p = ky_strxncpy_ep(d, "abc", 8);
  p = ky_strxncpy_ep(p, "def", 8 - static_cast<size_t>(p - d));
  p = ky_strxncpy_ep(p, "ghijk", 8 - static_cast<size_t>(p - d));
  EXPECT_EQ(p, d + 8);
  EXPECT_EQ(std::string(d, 8), "abcdefgh");
}

TEST(StrDup, BlocksComeFromTheHooksWithTheContractSize) {
  AllocScope scope;
  struct {
    char* block;
    const char* text;
    size_t size;
  } cases[] = {
      {ky_strdup("abc"), "abc", 4},
      {ky_strndup("abcdef", 3), "abc", 4},
      {ky_strndup("ab", 100), "ab", 101},  // n + 1 reserved whatever the source's length
      {ky_strdup_dbg(1, 2, 3, "xy"), "xy", 3},
      {ky_strndup_dbg(UINTPTR_MAX, 0, 7, "xyz", 1), "x", 2},
  };
  for (const auto& c : cases) {
    ASSERT_NE(c.block, nullptr) << c.text;
    EXPECT_STREQ(c.block, c.text);
    EXPECT_EQ(ky::test::BlockSize(c.block), c.size) << c.text;
    ky_free(c.block);
  }
}

TEST(StrDup, NullAndExhaustion) {
  AllocScope scope;
  EXPECT_EQ(ky_strdup(nullptr), nullptr);
  EXPECT_EQ(ky_strdup_dbg(1, 2, 3, nullptr), nullptr);
  EXPECT_EQ(ky_strndup(nullptr, 4), nullptr);
  // n + 1 would wrap to a 0-byte block that the copy then overruns.
  EXPECT_EQ(ky_strndup("abc", SIZE_MAX), nullptr);
  ky::test::FailRequest(1);
  EXPECT_EQ(ky_strdup("abc"), nullptr);
  ky::test::FailRequest(1);
  EXPECT_EQ(ky_strndup("abc", 2), nullptr);
}

// The test allocator itself: a failed resize leaves the caller's block alone.
TEST(AllocHooks, FailedReallocKeepsTheBlock) {
  AllocScope scope;
  char* p = ky_strdup("keep");
  ky::test::FailRequest(1);
  EXPECT_EQ(ky_realloc(p, 1000), nullptr);
  EXPECT_STREQ(p, "keep");
  EXPECT_EQ(ky::test::BlockSize(p), 5u);
  ky_free(p);
}

}  // namespace
