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

constexpr char kSentinel = '#';

// A destination pre-filled with sentinels, so every byte the entry stores (and
// every byte it should not have stored) shows in a whole-buffer comparison.
struct Dest {
  char bytes[16];
  Dest() { std::memset(bytes, kSentinel, sizeof bytes); }
  // The expected buffer: `stored` at the start, sentinels after it.
  static std::string With(const std::string& stored) {
    return stored + std::string(16 - stored.size(), kSentinel);
  }
  std::string All() const { return std::string(bytes, sizeof bytes); }
};

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

struct CopyCase {
  CopyFn plain, ep;
  const char* src;
  size_t n;
  std::string stored;  // what the destination holds afterwards, NULs included
  ptrdiff_t end;       // the _ep result, as an offset from dst
};

// ky_strxncpy: n is a capacity, the NUL is stored only if it fits.
// ky_strxnzcpy: n counts characters, the NUL always follows them.
TEST(StrCopy, BoundedCopyTable) {
  const CopyFn xn = ky_strxncpy, xn_ep = ky_strxncpy_ep;
  const CopyFn xnz = ky_strxnzcpy, xnz_ep = ky_strxnzcpy_ep;
  const CopyCase cases[] = {
      {xn, xn_ep, "abc", 3, "abc", 3},
      {xn, xn_ep, "abc", 4, std::string("abc\0", 4), 3},
      {xn, xn_ep, "abc", 10, std::string("abc\0", 4), 3},
      {xn, xn_ep, "abc", 0, "", 0},
      {xn, xn_ep, "", 3, std::string("\0", 1), 0},
      {xn, xn_ep, "abcdef", 2, "ab", 2},
      {xnz, xnz_ep, "abc", 3, std::string("abc\0", 4), 3},
      {xnz, xnz_ep, "abc", 0, std::string("\0", 1), 0},
      {xnz, xnz_ep, "abcdef", 2, std::string("ab\0", 3), 2},
      {xnz, xnz_ep, "ab", 10, std::string("ab\0", 3), 2},
      {xnz, xnz_ep, "", 5, std::string("\0", 1), 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.plain == xn ? "xncpy " : "xnzcpy ") + c.src +
                 " n=" + std::to_string(c.n));
    Dest a, b;
    EXPECT_EQ(c.plain(a.bytes, c.src, c.n), a.bytes);
    EXPECT_EQ(a.All(), Dest::With(c.stored));
    EXPECT_EQ(c.ep(b.bytes, c.src, c.n) - b.bytes, c.end);
    EXPECT_EQ(b.All(), Dest::With(c.stored));
  }
}

// A size whose end address wraps means "no room", like 0.
TEST(StrCopy, WrappingSizeMeansNoRoom) {
  Dest a, b;
  EXPECT_EQ(ky_strxncpy_ep(a.bytes, "abc", SIZE_MAX), a.bytes);
  EXPECT_EQ(a.All(), Dest::With(""));
  EXPECT_EQ(ky_strxnzcpy_ep(b.bytes, "abc", SIZE_MAX), b.bytes);
  EXPECT_EQ(b.All(), Dest::With(std::string("\0", 1)));
}

TEST(StrCopy, NullArgumentsStoreNothing) {
  Dest d;
  EXPECT_EQ(ky_strcpy(d.bytes, nullptr), d.bytes);
  EXPECT_EQ(ky_strcpy_ep(d.bytes, nullptr), d.bytes);
  EXPECT_EQ(ky_strxncpy(d.bytes, nullptr, 3), d.bytes);
  EXPECT_EQ(ky_strxncpy_ep(d.bytes, nullptr, 3), d.bytes);
  EXPECT_EQ(ky_strxnzcpy(d.bytes, nullptr, 3), d.bytes);
  EXPECT_EQ(ky_strxnzcpy_ep(d.bytes, nullptr, 3), d.bytes);
  EXPECT_EQ(d.All(), Dest::With(""));
  EXPECT_EQ(ky_strcpy(nullptr, "abc"), nullptr);
  EXPECT_EQ(ky_strxnzcpy_ep(nullptr, "abc", 3), nullptr);
}

TEST(StrCopy, CpyAndEndPointer) {
  Dest a, b, c;
  EXPECT_EQ(ky_strcpy(a.bytes, "hello"), a.bytes);
  EXPECT_EQ(a.All(), Dest::With(std::string("hello\0", 6)));
  EXPECT_EQ(ky_strcpy_ep(b.bytes, "hello"), b.bytes + 5);
  EXPECT_EQ(b.All(), Dest::With(std::string("hello\0", 6)));
  EXPECT_EQ(ky_strcpy_ep(c.bytes, ""), c.bytes);
  EXPECT_EQ(c.All(), Dest::With(std::string("\0", 1)));
}

// Chained bounded copies pick up where the last one ended.
TEST(StrCopy, XncpyEpChains) {
  Dest d;
  char* p = ky_strxncpy_ep(d.bytes, "abc", 8);
  p = ky_strxncpy_ep(p, "def", 8 - static_cast<size_t>(p - d.bytes));
  p = ky_strxncpy_ep(p, "ghijk", 8 - static_cast<size_t>(p - d.bytes));
  EXPECT_EQ(p, d.bytes + 8);
  EXPECT_EQ(d.All(), Dest::With("abcdefgh"));
}

TEST(StrDup, BlocksComeFromTheHooksWithTheContractSize) {
  AllocScope scope;
  char* a = ky_strdup("abc");
  char* b = ky_strndup("abcdef", 3);
  char* c = ky_strndup("ab", 100);
  char* d = ky_strdup_dbg(1, 2, 3, "xy");
  char* e = ky_strndup_dbg(UINTPTR_MAX, 0, 7, "xyz", 1);
  ASSERT_TRUE(a && b && c && d && e);
  EXPECT_STREQ(a, "abc");
  EXPECT_EQ(ky::test::BlockSize(a), 4u);
  EXPECT_STREQ(b, "abc");
  EXPECT_EQ(ky::test::BlockSize(b), 4u);
  // The reserved size is n + 1 whatever the source's length.
  EXPECT_STREQ(c, "ab");
  EXPECT_EQ(ky::test::BlockSize(c), 101u);
  EXPECT_STREQ(d, "xy");
  EXPECT_STREQ(e, "x");
  EXPECT_EQ(scope.Taken(), 5u);
  for (char* p : {a, b, c, d, e}) ky_free(p);
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
