// Length, copy and duplicate primitives. The copies lean on the C library's
// vectorised strnlen and memcpy: the results are fixed, the loops are not, and
// strnlen never looks past the bound or the NUL.
#include <cstring>

#include "ky/memory.h"
#include "ky/strings.h"
#include "string_internal.h"

using ky::detail::HasRoom;

extern "C" {

size_t ky_strlen(const char* s) { return s ? std::strlen(s) : 0; }

size_t ky_strnlen(const char* s, size_t n) { return s ? ::strnlen(s, n) : 0; }

char* ky_strcpy(char* dst, const char* src) {
  if (dst && src) std::strcpy(dst, src);
  return dst;
}

char* ky_strcpy_ep(char* dst, const char* src) {
  if (!dst || !src) return dst;
  return ::stpcpy(dst, src);
}

char* ky_strxncpy_ep(char* dst, const char* src, size_t n) {
  if (!dst || !src || !HasRoom(dst, n)) return dst;
  const size_t len = ::strnlen(src, n);
  std::memcpy(dst, src, len);
  if (len == n) return dst + n;  // capacity filled: no NUL, by contract
  dst[len] = '\0';
  return dst + len;
}

char* ky_strxncpy(char* dst, const char* src, size_t n) {
  ky_strxncpy_ep(dst, src, n);
  return dst;
}

char* ky_strxnzcpy_ep(char* dst, const char* src, size_t n) {
  if (!dst || !src) return dst;
  if (!HasRoom(dst, n)) {
    *dst = '\0';
    return dst;
  }
  const size_t len = ::strnlen(src, n);
  std::memcpy(dst, src, len);
  dst[len] = '\0';
  return dst + len;
}

char* ky_strxnzcpy(char* dst, const char* src, size_t n) {
  ky_strxnzcpy_ep(dst, src, n);
  return dst;
}

char* ky_strdup(const char* s) {
  if (!s) return nullptr;
  const size_t size = std::strlen(s) + 1;
  auto* block = static_cast<char*>(ky_malloc(size));
  if (block) std::memcpy(block, s, size);
  return block;
}

char* ky_strndup(const char* s, size_t n) {
  // n + 1 must not wrap to a 0-byte request that the copy would then overrun.
  if (!s || n == SIZE_MAX) return nullptr;
  auto* block = static_cast<char*>(ky_malloc(n + 1));
  if (block) ky_strxnzcpy(block, s, n);
  return block;
}

char* ky_strdup_dbg(uintptr_t, uintptr_t, uintptr_t, const char* s) { return ky_strdup(s); }

char* ky_strndup_dbg(uintptr_t, uintptr_t, uintptr_t, const char* s, size_t n) {
  return ky_strndup(s, n);
}

}  // extern "C"
