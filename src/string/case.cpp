// Case conversion and case-insensitive search. One converting copy loop per
// case function; the copy, duplicate and in-place entries are shells that add
// the bound and NUL rules of the plain copies around it.
#include <cctype>
#include <cstdint>
#include <cstring>

#include "ky/memory.h"
#include "ky/strings.h"
#include "string_internal.h"

using ky::detail::HasRoom;

namespace {

// The byte goes to the case function as the platform's char widens it (bytes
// 0x80-0xFF negative), and the low byte of the answer is kept. With glibc the
// current locale's map is read once per call from the table that tolower and
// toupper themselves index (-128..255): the same answers without a call per
// byte, which is what keeps ky_strcasestr near the C library's search.
struct Lower {
#ifdef __GLIBC__
  const int32_t* table = *__ctype_tolower_loc();
  char Map(char c) const { return static_cast<char>(table[static_cast<int>(c)]); }
#else
  char Map(char c) const { return static_cast<char>(std::tolower(static_cast<int>(c))); }
#endif
  static bool Other(char c) { return std::isupper(static_cast<int>(c)) != 0; }
};

struct Upper {
#ifdef __GLIBC__
  const int32_t* table = *__ctype_toupper_loc();
  char Map(char c) const { return static_cast<char>(table[static_cast<int>(c)]); }
#else
  char Map(char c) const { return static_cast<char>(std::toupper(static_cast<int>(c))); }
#endif
  static bool Other(char c) { return std::islower(static_cast<int>(c)) != 0; }
};

// Copies and converts up to n bytes of src, stopping before its NUL; returns
// the count copied. The NUL itself never reaches the case function.
template <class Case>
size_t ConvertCopy(char* dst, const char* src, size_t n) {
  const Case to;
  size_t i = 0;
  for (; i < n && src[i] != '\0'; ++i) dst[i] = to.Map(src[i]);
  return i;
}

template <class Case>
char* ConvertInPlace(char* s) {
  if (s) ConvertCopy<Case>(s, s, SIZE_MAX);
  return s;
}

// Rewrites only the bytes of the other case: a byte already in the wanted
// case, or with no case, is not stored again.
template <class Case>
char* ConvertOtherInPlace(char* s) {
  if (!s) return s;
  const Case to;
  for (char* p = s; *p != '\0'; ++p) {
    if (Case::Other(*p)) *p = to.Map(*p);
  }
  return s;
}

template <class Case>
char* CopyEp(char* dst, const char* src) {
  if (!dst || !src) return dst;
  char* end = dst + ConvertCopy<Case>(dst, src, SIZE_MAX);
  *end = '\0';
  return end;
}

template <class Case>
char* CapacityCopyEp(char* dst, const char* src, size_t n) {
  if (!dst || !src || !HasRoom(dst, n)) return dst;
  const size_t len = ConvertCopy<Case>(dst, src, n);
  if (len == n) return dst + n;  // capacity filled: no NUL, as ky_strxncpy
  dst[len] = '\0';
  return dst + len;
}

template <class Case>
char* TerminatedCopyEp(char* dst, const char* src, size_t n) {
  if (!dst || !src) return dst;
  const size_t len = HasRoom(dst, n) ? ConvertCopy<Case>(dst, src, n) : 0;
  dst[len] = '\0';
  return dst + len;
}

template <class Case>
char* Dup(const char* s) {
  if (!s) return nullptr;
  auto* block = static_cast<char*>(ky_malloc(std::strlen(s) + 1));
  if (block) CopyEp<Case>(block, s);
  return block;
}

// Always n + 1 bytes, like ky_strndup: callers pass the size they want kept.
template <class Case>
char* NDup(const char* s, size_t n) {
  if (!s || n == SIZE_MAX) return nullptr;  // n + 1 would wrap to 0 bytes
  auto* block = static_cast<char*>(ky_malloc(n + 1));
  if (block) TerminatedCopyEp<Case>(block, s, n);
  return block;
}

}  // namespace

extern "C" {

char* ky_strlwr(char* s) { return ConvertInPlace<Lower>(s); }
char* ky_strupr(char* s) { return ConvertInPlace<Upper>(s); }
char* ky_strtolwr(char* s) { return ConvertOtherInPlace<Lower>(s); }
char* ky_strtoupr(char* s) { return ConvertOtherInPlace<Upper>(s); }

char* ky_strcpylwr_ep(char* dst, const char* src) { return CopyEp<Lower>(dst, src); }
char* ky_strcpyupr_ep(char* dst, const char* src) { return CopyEp<Upper>(dst, src); }
char* ky_strcpylwr(char* dst, const char* src) {
  CopyEp<Lower>(dst, src);
  return dst;
}
char* ky_strcpyupr(char* dst, const char* src) {
  CopyEp<Upper>(dst, src);
  return dst;
}

char* ky_strxncpylwr_ep(char* dst, const char* src, size_t n) {
  return CapacityCopyEp<Lower>(dst, src, n);
}
char* ky_strxncpyupr_ep(char* dst, const char* src, size_t n) {
  return CapacityCopyEp<Upper>(dst, src, n);
}
char* ky_strxncpylwr(char* dst, const char* src, size_t n) {
  CapacityCopyEp<Lower>(dst, src, n);
  return dst;
}
char* ky_strxncpyupr(char* dst, const char* src, size_t n) {
  CapacityCopyEp<Upper>(dst, src, n);
  return dst;
}

char* ky_strxnzcpylwr_ep(char* dst, const char* src, size_t n) {
  return TerminatedCopyEp<Lower>(dst, src, n);
}
char* ky_strxnzcpyupr_ep(char* dst, const char* src, size_t n) {
  return TerminatedCopyEp<Upper>(dst, src, n);
}
char* ky_strxnzcpylwr(char* dst, const char* src, size_t n) {
  TerminatedCopyEp<Lower>(dst, src, n);
  return dst;
}
char* ky_strxnzcpyupr(char* dst, const char* src, size_t n) {
  TerminatedCopyEp<Upper>(dst, src, n);
  return dst;
}

char* ky_strduplwr(const char* s) { return Dup<Lower>(s); }
char* ky_strdupupr(const char* s) { return Dup<Upper>(s); }
char* ky_strnduplwr(const char* s, size_t n) { return NDup<Lower>(s, n); }
char* ky_strndupupr(const char* s, size_t n) { return NDup<Upper>(s, n); }

char* ky_strduplwr_dbg(uintptr_t, uintptr_t, uintptr_t, const char* s) { return Dup<Lower>(s); }
char* ky_strdupupr_dbg(uintptr_t, uintptr_t, uintptr_t, const char* s) { return Dup<Upper>(s); }
char* ky_strnduplwr_dbg(uintptr_t, uintptr_t, uintptr_t, const char* s, size_t n) {
  return NDup<Lower>(s, n);
}
char* ky_strndupupr_dbg(uintptr_t, uintptr_t, uintptr_t, const char* s, size_t n) {
  return NDup<Upper>(s, n);
}

// The plain quadratic search, comparing each candidate from its last byte
// backwards: a needle that shares a long prefix with the text fails on its
// first comparison instead of its last. The haystack is never measured up
// front; its end is found by the walk.
char* ky_strcasestr(const char* haystack, const char* needle) {
  if (!haystack || !needle) return nullptr;
  if (*needle == '\0') return const_cast<char*>(haystack);
  // Walk both strings together: a haystack shorter than the needle ends first.
  size_t len = 0;
  for (; needle[len] != '\0'; ++len) {
    if (haystack[len] == '\0') return nullptr;
  }
  const Lower fold;
  const char last = fold.Map(needle[len - 1]);
  for (const char* candidate = haystack;; ++candidate) {
    if (fold.Map(candidate[len - 1]) == last) {
      size_t i = len - 1;
      while (i != 0 && fold.Map(candidate[i - 1]) == fold.Map(needle[i - 1])) --i;
      if (i == 0) return const_cast<char*>(candidate);
    }
    if (candidate[len] == '\0') return nullptr;
  }
}

}  // extern "C"
