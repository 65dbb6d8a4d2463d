// White-space trimming. Every entry is a thin shell over one measuring kernel
// per white-space rule; the bound of the input (NUL, at most n, exactly n) and
// the shape of the copy are template arguments, so the 35 names share one loop.
#include <cctype>
#include <cstring>

#include "ky/strings.h"

namespace {

// isspace sees the byte as the platform's char widens it, so bytes 0x80-0xFF
// reach the locale's table as negative values, like every classification
// call of the toolkit.
struct LocaleSpace {
#ifdef __GLIBC__
  // The calling thread's classification table, fetched once per call: the
  // same answers as isspace without a library call per byte. It is indexed
  // from -128, as the widened char needs.
  const unsigned short* table = *__ctype_b_loc();
  bool White(char c) const { return (table[static_cast<int>(c)] & _ISspace) != 0; }
#else
  bool White(char c) const { return std::isspace(static_cast<int>(c)) != 0; }
#endif
};

struct BlankTab {
  bool White(char c) const { return c == ' ' || c == '\t'; }
};

enum class Bound { kNul, kAtMost, kExact };

struct Trim {
  size_t lead;
  size_t len;
};

// NUL is white under neither rule, so the leading skip stops at the end of a
// NUL-terminated or n-bounded string without a separate test; in the exact
// form a NUL is an ordinary byte and may end the trimmed text.
template <class Rule, Bound B>
Trim Measure(const char* s, size_t n) {
  if (!s) return {0, 0};
  const Rule rule;
  size_t lead = 0;
  if (B == Bound::kNul) {
    while (rule.White(s[lead])) ++lead;
  } else {
    while (lead < n && rule.White(s[lead])) ++lead;
  }
  size_t len = B == Bound::kNul      ? std::strlen(s + lead)
               : B == Bound::kAtMost ? ::strnlen(s + lead, n - lead)
                                     : n - lead;
  while (len != 0 && rule.White(s[lead + len - 1])) --len;
  return {lead, len};
}

template <class Rule, Bound B>
void Store(const char* s, size_t n, size_t* lead, size_t* len) {
  const Trim t = Measure<Rule, B>(s, n);
  if (lead) *lead = t.lead;
  if (len) *len = t.len;
}

template <class Rule>
char* LeftTrim(char* s) {
  return s ? s + Measure<Rule, Bound::kNul>(s, 0).lead : s;
}

template <class Rule>
char* RightTrim(char* s) {
  if (!s) return s;
  const Trim t = Measure<Rule, Bound::kNul>(s, 0);
  // An all-white string is cut at its start, not after its leading run.
  s[t.len != 0 ? t.lead + t.len : 0] = '\0';
  return s;
}

enum class Ends { kBoth, kRightOnly };
enum class Nul { kIfItFits, kAlways };

// The capacity of a kAlways copy is size - 1, which wraps for size 0 so that
// the whole trimmed text is stored with no NUL: callers never pass 0 there,
// and the copy stays a plain cap with no branch for it.
template <class Rule, Bound B, Ends E, Nul Z>
char* TrimCopy(char* dst, size_t size, const char* src, size_t srcn) {
  if (!dst) return dst;
  const Trim t = Measure<Rule, B>(src, srcn);
  // A right-only copy of an all-white source is empty, its leading white
  // space dropped with the rest: there is no text for it to lead into.
  size_t count = t.len == 0 ? 0 : E == Ends::kRightOnly ? t.lead + t.len : t.len;
  const size_t cap = Z == Nul::kAlways ? size - 1 : size;
  if (count > cap) count = cap;
  // The measured stretch holds no NUL, so a plain copy of count bytes is the
  // bounded copy that stores no terminator.
  if (count != 0) std::memcpy(dst, src + (E == Ends::kRightOnly ? 0 : t.lead), count);
  if (size > count) dst[count] = '\0';
  return dst;
}

constexpr size_t kNoBound = 0;  // ignored by the NUL-terminated forms

}  // namespace

extern "C" {

int ky_isspace(int c) { return std::isspace(c); }

void ky_strtrimlen(const char* s, size_t* lead, size_t* len) {
  Store<LocaleSpace, Bound::kNul>(s, kNoBound, lead, len);
}
void ky_strntrimlen(const char* s, size_t n, size_t* lead, size_t* len) {
  Store<LocaleSpace, Bound::kAtMost>(s, n, lead, len);
}
void ky_strxntrimlen(const char* s, size_t n, size_t* lead, size_t* len) {
  Store<LocaleSpace, Bound::kExact>(s, n, lead, len);
}
void ky_strtrimspclen(const char* s, size_t* lead, size_t* len) {
  Store<BlankTab, Bound::kNul>(s, kNoBound, lead, len);
}
void ky_strntrimspclen(const char* s, size_t n, size_t* lead, size_t* len) {
  Store<BlankTab, Bound::kAtMost>(s, n, lead, len);
}
void ky_strxntrimspclen(const char* s, size_t n, size_t* lead, size_t* len) {
  Store<BlankTab, Bound::kExact>(s, n, lead, len);
}

size_t ky_strtlen(const char* s) { return Measure<LocaleSpace, Bound::kNul>(s, kNoBound).len; }
size_t ky_strntlen(const char* s, size_t n) {
  return Measure<LocaleSpace, Bound::kAtMost>(s, n).len;
}
size_t ky_strxntlen(const char* s, size_t n) {
  return Measure<LocaleSpace, Bound::kExact>(s, n).len;
}
size_t ky_strtspclen(const char* s) { return Measure<BlankTab, Bound::kNul>(s, kNoBound).len; }
size_t ky_strntspclen(const char* s, size_t n) {
  return Measure<BlankTab, Bound::kAtMost>(s, n).len;
}
size_t ky_strxntspclen(const char* s, size_t n) {
  return Measure<BlankTab, Bound::kExact>(s, n).len;
}

char* ky_strltrim(char* s) { return LeftTrim<LocaleSpace>(s); }
char* ky_strrtrim(char* s) { return RightTrim<LocaleSpace>(s); }
char* ky_strtrim(char* s) { return RightTrim<LocaleSpace>(LeftTrim<LocaleSpace>(s)); }
char* ky_strltrimspc(char* s) { return LeftTrim<BlankTab>(s); }
char* ky_strrtrimspc(char* s) { return RightTrim<BlankTab>(s); }
char* ky_strtrimspc(char* s) { return RightTrim<BlankTab>(LeftTrim<BlankTab>(s)); }

#define KY_TRIM_COPY(name, rule, ends, nul)                                  \
  char* name(char* dst, size_t size, const char* src) {                      \
    return TrimCopy<rule, Bound::kNul, ends, nul>(dst, size, src, kNoBound); \
  }
#define KY_NTRIM_COPY(name, rule, ends, nul)                                \
  char* name(char* dst, size_t size, const char* src, size_t srcn) {        \
    return TrimCopy<rule, Bound::kAtMost, ends, nul>(dst, size, src, srcn); \
  }

KY_TRIM_COPY(ky_strtrimncpy, LocaleSpace, Ends::kBoth, Nul::kIfItFits)
KY_TRIM_COPY(ky_strtrimnzcpy, LocaleSpace, Ends::kBoth, Nul::kAlways)
KY_TRIM_COPY(ky_strrtrimncpy, LocaleSpace, Ends::kRightOnly, Nul::kIfItFits)
KY_TRIM_COPY(ky_strrtrimnzcpy, LocaleSpace, Ends::kRightOnly, Nul::kAlways)
KY_NTRIM_COPY(ky_strntrimncpy, LocaleSpace, Ends::kBoth, Nul::kIfItFits)
KY_NTRIM_COPY(ky_strntrimnzcpy, LocaleSpace, Ends::kBoth, Nul::kAlways)
KY_NTRIM_COPY(ky_strnrtrimncpy, LocaleSpace, Ends::kRightOnly, Nul::kIfItFits)
KY_NTRIM_COPY(ky_strnrtrimnzcpy, LocaleSpace, Ends::kRightOnly, Nul::kAlways)
KY_TRIM_COPY(ky_strtrimspcncpy, BlankTab, Ends::kBoth, Nul::kIfItFits)
KY_TRIM_COPY(ky_strtrimspcnzcpy, BlankTab, Ends::kBoth, Nul::kAlways)
KY_TRIM_COPY(ky_strrtrimspcncpy, BlankTab, Ends::kRightOnly, Nul::kIfItFits)
KY_TRIM_COPY(ky_strrtrimspcnzcpy, BlankTab, Ends::kRightOnly, Nul::kAlways)
KY_NTRIM_COPY(ky_strntrimspcncpy, BlankTab, Ends::kBoth, Nul::kIfItFits)
KY_NTRIM_COPY(ky_strntrimspcnzcpy, BlankTab, Ends::kBoth, Nul::kAlways)
KY_NTRIM_COPY(ky_strnrtrimspcncpy, BlankTab, Ends::kRightOnly, Nul::kIfItFits)
KY_NTRIM_COPY(ky_strnrtrimspcnzcpy, BlankTab, Ends::kRightOnly, Nul::kAlways)

#undef KY_TRIM_COPY
#undef KY_NTRIM_COPY

}  // extern "C"
