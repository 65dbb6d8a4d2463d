// White-space trimming: every kernel, trimmed length, in-place trim and copy
// against a naive model, and the asymmetries the family keeps on purpose.
#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "ky/strings.h"

namespace {

bool BlankTab(char c) { return c == ' ' || c == '\t'; }
bool LocaleSpace(char c) { return std::isspace(static_cast<int>(c)) != 0; }

// The model: lead and trimmed length of the bytes an entry may see, found by
// plain index scans from both ends.
struct Trim {
  size_t lead, len;
};
Trim Model(const std::string& seen, bool (*white)(char)) {
  size_t first = 0, last = seen.size();
  while (first < last && white(seen[first])) ++first;
  while (last > first && white(seen[last - 1])) --last;
  return {first, last - first};
}
std::string UpToNul(const std::string& s, size_t n) {
  return s.substr(0, std::min(s.find('\0'), n));
}

enum class Bound { kNul, kAtMost, kExact };
struct Kernel {
  void (*measure)(const char*, size_t, size_t*, size_t*);
  size_t (*tlen)(const char*, size_t);
  bool (*white)(char);
  Bound bound;
};
const Kernel kKernels[] = {
    {[](const char* s, size_t, size_t* a, size_t* b) { ky_strtrimlen(s, a, b); },
     [](const char* s, size_t) { return ky_strtlen(s); }, LocaleSpace, Bound::kNul},
    {ky_strntrimlen, ky_strntlen, LocaleSpace, Bound::kAtMost},
    {ky_strxntrimlen, ky_strxntlen, LocaleSpace, Bound::kExact},
    {[](const char* s, size_t, size_t* a, size_t* b) { ky_strtrimspclen(s, a, b); },
     [](const char* s, size_t) { return ky_strtspclen(s); }, BlankTab, Bound::kNul},
    {ky_strntrimspclen, ky_strntspclen, BlankTab, Bound::kAtMost},
    {ky_strxntrimspclen, ky_strxntspclen, BlankTab, Bound::kExact},
};

struct InPlace {
  char* (*fn)(char*);
  bool (*white)(char);
  bool left, right;
};
const InPlace kInPlace[] = {
    {ky_strltrim, LocaleSpace, true, false}, {ky_strrtrim, LocaleSpace, false, true},
    {ky_strtrim, LocaleSpace, true, true},   {ky_strltrimspc, BlankTab, true, false},
    {ky_strrtrimspc, BlankTab, false, true}, {ky_strtrimspc, BlankTab, true, true},
};

using Copy = char* (*)(char*, size_t, const char*, size_t);
template <char* (*F)(char*, size_t, const char*)>
char* NoBound(char* d, size_t size, const char* s, size_t) {
  return F(d, size, s);
}
struct CopyForm {
  Copy fn;
  bool (*white)(char);
  bool bounded, right_only, always_nul;
};
const CopyForm kCopies[] = {
    {NoBound<ky_strtrimncpy>, LocaleSpace, false, false, false},
    {NoBound<ky_strtrimnzcpy>, LocaleSpace, false, false, true},
    {NoBound<ky_strrtrimncpy>, LocaleSpace, false, true, false},
    {NoBound<ky_strrtrimnzcpy>, LocaleSpace, false, true, true},
    {ky_strntrimncpy, LocaleSpace, true, false, false},
    {ky_strntrimnzcpy, LocaleSpace, true, false, true},
    {ky_strnrtrimncpy, LocaleSpace, true, true, false},
    {ky_strnrtrimnzcpy, LocaleSpace, true, true, true},
    {NoBound<ky_strtrimspcncpy>, BlankTab, false, false, false},
    {NoBound<ky_strtrimspcnzcpy>, BlankTab, false, false, true},
    {NoBound<ky_strrtrimspcncpy>, BlankTab, false, true, false},
    {NoBound<ky_strrtrimspcnzcpy>, BlankTab, false, true, true},
    {ky_strntrimspcncpy, BlankTab, true, false, false},
    {ky_strntrimspcnzcpy, BlankTab, true, false, true},
    {ky_strnrtrimspcncpy, BlankTab, true, true, false},
    {ky_strnrtrimspcnzcpy, BlankTab, true, true, true},
};

// A copy's destination afterwards: sentinels except for what the model says
// is stored. An all-white source leaves no text, so a right-only copy drops
// its leading run too.
std::string ModelCopy(const CopyForm& f, const std::string& s, size_t srcn, size_t size) {
  const std::string seen = UpToNul(s, f.bounded ? srcn : std::string::npos);
  const Trim m = Model(seen, f.white);
  std::string out =
      m.len == 0 ? "" : seen.substr(f.right_only ? 0 : m.lead, m.len + (f.right_only ? m.lead : 0));
  out = out.substr(0, f.always_nul ? size - 1 : size);
  if (out.size() < size) out += '\0';
  return out + std::string(16 - out.size(), '#');
}

// Random text of blanks, tabs, line breaks, form feeds, letters and the odd
// NUL; each input in an exact-size heap block, so a read past its end shows
// under ASan. Kernels run at every bound, copies at every size and bound.
TEST(StrTrim, AgainstModel) {
  std::mt19937 rng(20261123);
  const char alphabet[] = {' ', ' ', '\t', '\n', '\r', '\v', '\f', 'a', 'Z', '\xa0', '\0'};
  for (int round = 0; round < 500; ++round) {
    std::string s(rng() % 12, ' ');
    for (char& c : s) c = alphabet[rng() % sizeof alphabet];
    SCOPED_TRACE(testing::PrintToString(s));
    std::vector<char> exact(s.begin(), s.end()), block(s.c_str(), s.c_str() + s.size() + 1);
    for (const Kernel& k : kKernels) {
      for (size_t n = 0; n <= s.size(); ++n) {
        const std::string seen = k.bound == Bound::kExact
                                     ? s.substr(0, n)
                                     : UpToNul(s, k.bound == Bound::kNul ? SIZE_MAX : n);
        const Trim want = Model(seen, k.white);
        size_t lead = SIZE_MAX, len = SIZE_MAX;
        // The exact form needs no terminator at all.
        k.measure(k.bound == Bound::kExact ? exact.data() : block.data(), n, &lead, &len);
        ASSERT_EQ(lead, want.lead) << "n=" << n;
        ASSERT_EQ(len, want.len) << "n=" << n;
        ASSERT_EQ(k.tlen(block.data(), n), want.len);
      }
    }
    for (const CopyForm& f : kCopies) {
      for (size_t size = f.always_nul ? 1 : 0; size <= s.size() + 2; ++size) {
        const size_t srcn = rng() % (s.size() + 2);
        std::string dst(16, '#');
        ASSERT_EQ(f.fn(&dst[0], size, block.data(), srcn), &dst[0]);
        ASSERT_EQ(dst, ModelCopy(f, s, srcn, size))
            << &f - kCopies << " size " << size << " srcn " << srcn;
      }
    }
    for (const InPlace& t : kInPlace) {
      std::vector<char> buf = block;
      const std::string seen = UpToNul(s, SIZE_MAX);
      const Trim m = Model(seen, t.white);
      // A right trim of all-white text cuts at the start of what it is given.
      const size_t start = t.left ? m.lead : 0, end = !t.right ? seen.size()
                                                      : m.len  ? m.lead + m.len
                                                               : start;
      const char* r = t.fn(buf.data());
      ASSERT_EQ(r, buf.data() + start);
      ASSERT_EQ(std::string(r), seen.substr(start, end - start));
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
  EXPECT_EQ(run(ky_strtrimncpy, 0, " ab "), "########");
  EXPECT_EQ(run(ky_strtrimnzcpy, 5, nullptr), std::string("\0#######", 8));  // null src: empty
  EXPECT_EQ(ky_strtrimncpy(nullptr, 5, "a"), nullptr);
  EXPECT_EQ(ky_strnrtrimnzcpy(nullptr, 5, "a", 1), nullptr);

  char white[] = "   ";
  EXPECT_EQ(ky_strrtrim(white), white);  // all white: cut at the start
  EXPECT_EQ(std::string(white, 4), std::string("\0  \0", 4));
  EXPECT_EQ(ky_strltrim(white + 1), white + 3);
  for (const InPlace& t : kInPlace) EXPECT_EQ(t.fn(nullptr), nullptr);
  for (const Kernel& k : kKernels) {
    size_t lead = 7, len = 7;
    k.measure(nullptr, 5, &lead, &len);
    EXPECT_EQ(lead + len + k.tlen(nullptr, 5), 0u);
    k.measure(" x", 2, nullptr, nullptr);  // both outputs skipped
  }
}

}  // namespace
