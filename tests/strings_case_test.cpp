// Case conversion and case-insensitive search.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "ky/memory.h"
#include "ky/strings.h"
#include "support/test_allocator.h"

namespace {

char Lower(char c) { return static_cast<char>(std::tolower(static_cast<int>(c))); }
char Upper(char c) { return static_cast<char>(std::toupper(static_cast<int>(c))); }

using CopyFn = char* (*)(char*, const char*, size_t);
template <char* (*F)(char*, const char*)>
char* Unbounded(char* d, const char* s, size_t) {
  return F(d, s);
}

// The plain copy is the model of its converting twin: same result offset,
// same sentinel-filled buffer afterwards with each byte converted (sentinel
// and NUL have no case). Every bound and a null on either side.
TEST(StrCaseCopy, KeepsThePlainCopyContracts) {
  struct Pair {
    CopyFn plain, converting;
    char (*map)(char);
  } const pairs[] = {
      {Unbounded<ky_strcpy>, Unbounded<ky_strcpylwr>, Lower},
      {Unbounded<ky_strcpy>, Unbounded<ky_strcpyupr>, Upper},
      {Unbounded<ky_strcpy_ep>, Unbounded<ky_strcpylwr_ep>, Lower},
      {Unbounded<ky_strcpy_ep>, Unbounded<ky_strcpyupr_ep>, Upper},
      {ky_strxncpy, ky_strxncpylwr, Lower},
      {ky_strxncpy, ky_strxncpyupr, Upper},
      {ky_strxncpy_ep, ky_strxncpylwr_ep, Lower},
      {ky_strxncpy_ep, ky_strxncpyupr_ep, Upper},
      {ky_strxnzcpy, ky_strxnzcpylwr, Lower},
      {ky_strxnzcpy, ky_strxnzcpyupr, Upper},
      {ky_strxnzcpy_ep, ky_strxnzcpylwr_ep, Lower},
      {ky_strxnzcpy_ep, ky_strxnzcpyupr_ep, Upper},
  };
  for (const Pair& p : pairs) {
    for (const char* src :
         {"MiXeD 123", "", "ABCDEFGHIJKLMNOPQRSTUVW", "\xc4\xe4Z", (const char*)nullptr}) {
      for (size_t n : {size_t{0}, size_t{1}, size_t{3}, size_t{4}, size_t{23}, SIZE_MAX}) {
        std::string want(24, '#'), got(24, '#');
        const char* plain_end = p.plain(&want[0], src, n);
        const char* end = p.converting(&got[0], src, n);
        std::transform(want.begin(), want.end(), want.begin(), p.map);
        ASSERT_EQ(got, want) << &p - pairs << " n=" << n;
        ASSERT_EQ(end - got.data(), plain_end - want.data()) << &p - pairs << " n=" << n;
      }
    }
    EXPECT_EQ(p.converting(nullptr, "a", 3), nullptr);
  }
}

TEST(StrCaseInPlace, ConvertsAndLeavesOtherBytes) {
  char mixed[] = "MiXeD 123";
  EXPECT_EQ(ky_strlwr(mixed), mixed);
  EXPECT_STREQ(mixed, "mixed 123");
  EXPECT_STREQ(ky_strtoupr(mixed), "MIXED 123");
  for (auto fn : {ky_strlwr, ky_strupr, ky_strtolwr, ky_strtoupr}) EXPECT_EQ(fn(nullptr), nullptr);

  // ky_strtolwr stores only the bytes it changes, so text with nothing to
  // convert may lie in read-only memory.
  const long page = sysconf(_SC_PAGESIZE);
  void* map = mmap(nullptr, page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(map, MAP_FAILED);
  std::strcpy(static_cast<char*>(map), "lower 123 \xe9");
  ASSERT_EQ(mprotect(map, page, PROT_READ), 0);
  EXPECT_EQ(ky_strtolwr(static_cast<char*>(map)), map);
  munmap(map, page);
}

TEST(StrCaseDup, BlocksAndExhaustion) {
  ky::test::AllocScope scope;
  char* d = ky_strduplwr("ABC def");
  EXPECT_STREQ(d, "abc def");
  EXPECT_EQ(ky::test::BlockSize(d), 8u);
  ky_free(d);
  d = ky_strndupupr_dbg(1, 2, 3, "ab", 10);  // always n + 1 bytes
  EXPECT_STREQ(d, "AB");
  EXPECT_EQ(ky::test::BlockSize(d), 11u);
  ky_free(d);

  // Each duplicate makes one request; refused, it returns null and keeps nothing.
  char* (*const dups[])(const char*, size_t) = {
      [](const char* s, size_t) { return ky_strduplwr(s); },
      [](const char* s, size_t) { return ky_strdupupr(s); },
      [](const char* s, size_t) { return ky_strduplwr_dbg(0, 0, 0, s); },
      [](const char* s, size_t) { return ky_strdupupr_dbg(0, 0, 0, s); },
      ky_strnduplwr,
      ky_strndupupr,
      [](const char* s, size_t n) { return ky_strnduplwr_dbg(0, 0, 0, s, n); },
      [](const char* s, size_t n) { return ky_strndupupr_dbg(0, 0, 0, s, n); }};
  for (auto dup : dups) {
    EXPECT_EQ(dup(nullptr, 3), nullptr);
    ky::test::FailRequest(1);
    EXPECT_EQ(dup("Abc", 3), nullptr);
  }
  EXPECT_EQ(ky_strnduplwr("abc", SIZE_MAX), nullptr);  // n + 1 would wrap to 0 bytes
}

// Random haystacks and needles over a small alphabet, so that near matches
// are common, against an index scan of the folded strings; the haystack in an
// exact-size heap block so that a read past its NUL shows under ASan.
TEST(StrCaseStr, AgainstModel) {
  EXPECT_EQ(ky_strcasestr(nullptr, "a"), nullptr);
  EXPECT_EQ(ky_strcasestr("a", nullptr), nullptr);
  std::mt19937 rng(1123);
  const char alphabet[] = {'a', 'A', 'b', 'B', ' ', '\t', '\n', '\xc4'};
  auto text = [&](size_t max) {
    std::string s(rng() % (max + 1), ' ');
    for (char& c : s) c = alphabet[rng() % sizeof alphabet];
    return s;
  };
  auto fold = [](std::string s) {
    std::transform(s.begin(), s.end(), s.begin(), Lower);
    return s;
  };
  for (int round = 0; round < 3000; ++round) {
    const std::string hay = round == 0 ? "aaab" : text(20), needle = round == 0 ? "AB" : text(4);
    std::vector<char> block(hay.c_str(), hay.c_str() + hay.size() + 1);
    const char* r = ky_strcasestr(block.data(), needle.c_str());
    ASSERT_EQ(r ? static_cast<size_t>(r - block.data()) : std::string::npos,
              fold(hay).find(fold(needle)))
        << '"' << hay << "\" / \"" << needle << '"';
  }
}

}  // namespace
