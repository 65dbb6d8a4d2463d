// White-space trimming and case conversion against naive models, and the
// asymmetries both families keep on purpose.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "ky/memory.h"
#include "ky/strings.h"
#include "support/random_text.h"
#include "support/test_allocator.h"

namespace {

using namespace std::string_literals;

using ky::test::Text;
bool BlankTab(char c) { return c == ' ' || c == '\t'; }
bool LocaleSpace(char c) { return std::isspace(static_cast<int>(c)) != 0; }
std::string UpToNul(const std::string& s, size_t n) {
  return s.substr(0, std::min(s.find('\0'), n));
}

// Lead and trimmed length of the bytes an entry may see, by index scans.
std::pair<size_t, size_t> Model(const std::string& seen, bool (*white)(char)) {
  size_t first = 0, last = seen.size();
  while (first < last && white(seen[first])) ++first;
  while (last > first && white(seen[last - 1])) --last;
  return {first, last - first};
}

// Tables ordered so that the index tells the form. Kernels (NUL-terminated, at
// most n, exactly n) and in-place trims: three isspace forms, three blank-tab.
const std::pair<void (*)(const char*, size_t, size_t*, size_t*), size_t (*)(const char*, size_t)>
    kKernels[] = {
        {[](const char* s, size_t, size_t* a, size_t* b) { ky_strtrimlen(s, a, b); },
         [](const char* s, size_t) { return ky_strtlen(s); }},
        {ky_strntrimlen, ky_strntlen},
        {ky_strxntrimlen, ky_strxntlen},
        {[](const char* s, size_t, size_t* a, size_t* b) { ky_strtrimspclen(s, a, b); },
         [](const char* s, size_t) { return ky_strtspclen(s); }},
        {ky_strntrimspclen, ky_strntspclen},
        {ky_strxntrimspclen, ky_strxntspclen},
};
char* (*const kInPlace[])(char*) = {ky_strltrim,    ky_strrtrim,    ky_strtrim,
                                    ky_strltrimspc, ky_strrtrimspc, ky_strtrimspc};
// Copies: bit 0 nzcpy, bit 1 rtrim, bit 2 counted src, bit 3 blank and tab.
#define NB(f) [](char* d, size_t size, const char* s, size_t) { return f(d, size, s); }
char* (*const kCopies[])(char*, size_t, const char*, size_t) = {
    NB(ky_strtrimncpy),    NB(ky_strtrimnzcpy),    NB(ky_strrtrimncpy),    NB(ky_strrtrimnzcpy),
    ky_strntrimncpy,       ky_strntrimnzcpy,       ky_strnrtrimncpy,       ky_strnrtrimnzcpy,
    NB(ky_strtrimspcncpy), NB(ky_strtrimspcnzcpy), NB(ky_strrtrimspcncpy), NB(ky_strrtrimspcnzcpy),
    ky_strntrimspcncpy,    ky_strntrimspcnzcpy,    ky_strnrtrimspcncpy,    ky_strnrtrimspcnzcpy};

// A copy's destination afterwards: sentinels except for what the model says
// is stored. An all-white source leaves no text, so a right-only copy drops
// its leading run too.
std::string ModelCopy(size_t form, const std::string& s, size_t srcn, size_t size) {
  const std::string seen = UpToNul(s, form & 4 ? srcn : SIZE_MAX);
  const auto [lead, len] = Model(seen, form & 8 ? BlankTab : LocaleSpace);
  std::string out = !len ? "" : seen.substr(form & 2 ? 0 : lead, form & 2 ? lead + len : len);
  out = out.substr(0, form & 1 ? size - 1 : size);
  if (out.size() < size) out += '\0';
  return out + std::string(16 - out.size(), '#');
}

// Random text of blanks, tabs, line breaks, form feeds, letters and the odd
// NUL; each input in an exact-size heap block, so a read past its end shows
// under ASan. Kernels run at every bound, copies at every size and bound.
TEST(StrTrim, AgainstModel) {
  std::mt19937 rng(20261123);
  for (int round = 0; round < 500; ++round) {
    const std::string s = Text(rng, "  \t\n\r\v\faZ\xa0\0"s, 11), text = UpToNul(s, SIZE_MAX);
    SCOPED_TRACE(testing::PrintToString(s));
    const std::vector<char> exact(s.begin(), s.end()), block(s.c_str(), s.c_str() + s.size() + 1);
    for (size_t i = 0; i < 6; ++i) {
      for (size_t n = 0; n <= s.size(); ++n) {
        const std::string seen = i % 3 == 2 ? s.substr(0, n) : UpToNul(s, i % 3 ? n : SIZE_MAX);
        const auto want = Model(seen, i < 3 ? LocaleSpace : BlankTab);
        size_t lead = SIZE_MAX, len = SIZE_MAX;
        // The exact form needs no terminator at all.
        kKernels[i].first(i % 3 == 2 ? exact.data() : block.data(), n, &lead, &len);
        ASSERT_EQ(std::make_pair(lead, len), want) << i << " n=" << n;
        ASSERT_EQ(kKernels[i].second(block.data(), n), want.second) << i << " n=" << n;
      }
      // In place (left, right, both), every byte of the buffer checked. A
      // right trim of all-white text cuts at the start of what it is given.
      const auto [lead, len] = Model(text, i < 3 ? LocaleSpace : BlankTab);
      const size_t start = i % 3 != 1 ? lead : 0, end = len ? lead + len : start;
      std::vector<char> buf = block, want = block;
      if (i % 3) want[end] = '\0';
      ASSERT_EQ(kInPlace[i](buf.data()), buf.data() + start) << i;
      ASSERT_EQ(buf, want) << i;
    }
    for (size_t form = 0; form < 16; ++form) {
      for (size_t size = form & 1; size <= s.size() + 2; ++size) {
        const size_t srcn = rng() % (s.size() + 2);
        std::string dst(16, '#');
        ASSERT_EQ(kCopies[form](&dst[0], size, block.data(), srcn), &dst[0]);
        ASSERT_EQ(dst, ModelCopy(form, s, srcn, size)) << form << " " << size << " " << srcn;
      }
    }
  }
}

TEST(StrTrim, KeptAsymmetriesAndNulls) {
  char buf[8];
  auto run = [&](char* (*fn)(char*, size_t, const char*), size_t size, const char* src) {
    std::memset(buf, '#', sizeof buf);
    EXPECT_EQ(fn(buf, size, src), buf);
    return std::string(buf, sizeof buf);
  };
  // size 0 on an nzcpy form: size - 1 wraps, so the whole trimmed text is
  // stored with no NUL. Callers never pass 0 there; the cap stays plain.
  EXPECT_EQ(run(ky_strtrimnzcpy, 0, " ab "), "ab######");
  EXPECT_EQ(run(ky_strrtrimspcnzcpy, 0, " ab "), " ab#####");
  EXPECT_EQ(run(ky_strtrimnzcpy, 5, nullptr), "\0#######"s);  // null src: empty
  EXPECT_EQ(ky_strtrimncpy(nullptr, 5, "a"), nullptr);
  EXPECT_EQ(ky_strnrtrimnzcpy(nullptr, 5, "a", 1), nullptr);
  char white[] = "   ";
  EXPECT_EQ(ky_strrtrim(white), white);  // all white: cut at the start
  EXPECT_EQ(std::string(white, 4), "\0  \0"s);
  for (auto fn : kInPlace) EXPECT_EQ(fn(nullptr), nullptr);
  for (const auto& [measure, tlen] : kKernels) {
    size_t lead = 7, len = 7;
    measure(nullptr, 5, &lead, &len);
    EXPECT_EQ(lead + len + tlen(nullptr, 5), 0u);
    measure(" x", 2, nullptr, nullptr);  // both outputs skipped
  }
}

char Lower(char c) { return static_cast<char>(std::tolower(static_cast<int>(c))); }
char Upper(char c) { return static_cast<char>(std::toupper(static_cast<int>(c))); }
std::string Map(std::string s, char (*map)(char)) {
  std::transform(s.begin(), s.end(), s.begin(), map);
  return s;
}

// The plain copy is the model of its converting twins: same result offset,
// same sentinel-filled buffer afterwards with each byte converted (sentinel
// and NUL have no case). Every bound and a null on either side.
#define NN(f) [](char* d, const char* s, size_t) { return f(d, s); }
TEST(StrCase, CopiesKeepThePlainCopyContracts) {
  using Copy = char* (*)(char*, const char*, size_t);
  const std::tuple<Copy, Copy, Copy> forms[] = {
      {NN(ky_strcpy), NN(ky_strcpylwr), NN(ky_strcpyupr)},
      {NN(ky_strcpy_ep), NN(ky_strcpylwr_ep), NN(ky_strcpyupr_ep)},
      {ky_strxncpy, ky_strxncpylwr, ky_strxncpyupr},
      {ky_strxncpy_ep, ky_strxncpylwr_ep, ky_strxncpyupr_ep},
      {ky_strxnzcpy, ky_strxnzcpylwr, ky_strxnzcpyupr},
      {ky_strxnzcpy_ep, ky_strxnzcpylwr_ep, ky_strxnzcpyupr_ep},
  };
  for (const auto& [plain_fn, lwr, upr] : forms) {
    for (const char* src :
         {"MiXeD 123", "", "ABCDEFGHIJKLMNOPQRSTUVW", "\xc4\xe4Z", (const char*)0}) {
      for (size_t n : {size_t{0}, size_t{1}, size_t{3}, size_t{4}, size_t{23}, SIZE_MAX}) {
        std::string plain(24, '#');
        const ptrdiff_t end = plain_fn(&plain[0], src, n) - plain.data();
        for (auto [fn, map] : {std::pair{lwr, Lower}, std::pair{upr, Upper}}) {
          std::string got(24, '#');
          ASSERT_EQ(fn(&got[0], src, n) - got.data(), end) << "n=" << n;
          ASSERT_EQ(got, Map(plain, map)) << "n=" << n;
        }
      }
    }
    EXPECT_EQ(lwr(nullptr, "a", 3), nullptr);
    EXPECT_EQ(upr(nullptr, "a", 3), nullptr);
  }
}

TEST(StrCase, InPlace) {
  char mixed[] = "MiXeD 123";
  for (auto [fn, want] : {std::pair{ky_strlwr, "mixed 123"},
                          {ky_strupr, "MIXED 123"},
                          {ky_strtolwr, "mixed 123"},
                          {ky_strtoupr, "MIXED 123"}}) {
    EXPECT_EQ(fn(mixed), mixed);
    EXPECT_STREQ(mixed, want);
    EXPECT_EQ(fn(nullptr), nullptr);
  }
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

// Whole-string duplicates take strlen + 1 bytes, counted ones always n + 1;
// each makes one request, and refused it returns null and keeps nothing.
TEST(StrCase, Duplicates) {
  ky::test::AllocScope scope;
  const std::tuple<char* (*)(const char*), const char*, size_t> dups[] = {
      {[](const char* s) { return ky_strduplwr(s); }, "abc", 4},
      {[](const char* s) { return ky_strdupupr(s); }, "ABC", 4},
      {[](const char* s) { return ky_strduplwr_dbg(1, 2, 3, s); }, "abc", 4},
      {[](const char* s) { return ky_strdupupr_dbg(1, 2, 3, s); }, "ABC", 4},
      {[](const char* s) { return ky_strnduplwr(s, 10); }, "abc", 11},
      {[](const char* s) { return ky_strndupupr(s, 2); }, "AB", 3},
      {[](const char* s) { return ky_strnduplwr_dbg(1, 2, 3, s, 2); }, "ab", 3},
      {[](const char* s) { return ky_strndupupr_dbg(1, 2, 3, s, 10); }, "ABC", 11},
  };
  for (const auto& [dup, want, block] : dups) {
    char* p = dup("aBc");
    EXPECT_STREQ(p, want);
    EXPECT_EQ(ky::test::BlockSize(p), block);
    ky_free(p);
    EXPECT_EQ(dup(nullptr), nullptr);
    ky::test::FailRequest(1);
    EXPECT_EQ(dup("aBc"), nullptr);
  }
  EXPECT_EQ(ky_strnduplwr("abc", SIZE_MAX), nullptr);  // n + 1 would wrap to 0 bytes
}

// Random haystacks and needles over a small alphabet, so that near matches
// are common, against an index scan of the folded strings; the haystack in an
// exact-size heap block so that a read past its NUL shows under ASan.
TEST(StrCase, SearchAgainstModel) {
  EXPECT_EQ(ky_strcasestr(nullptr, "a"), nullptr);
  EXPECT_EQ(ky_strcasestr("a", nullptr), nullptr);
  std::mt19937 rng(1123);
  for (int round = 0; round < 3000; ++round) {
    const std::string hay = round ? Text(rng, "aAbB \t\n\xc4", 20) : "aaab";
    const std::string needle = round ? Text(rng, "aAbB \t\n\xc4", 4) : "AB";
    const std::vector<char> block(hay.c_str(), hay.c_str() + hay.size() + 1);
    const char* r = ky_strcasestr(block.data(), needle.c_str());
    ASSERT_EQ(r ? static_cast<size_t>(r - block.data()) : std::string::npos,
              Map(hay, Lower).find(Map(needle, Lower)))
        << '"' << hay << "\" / \"" << needle << '"';
  }
}

}  // namespace
