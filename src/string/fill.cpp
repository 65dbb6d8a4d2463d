// Fixed-width fields and the bounded append to a heap string.
#include <cstring>

#include "ky/memory.h"
#include "ky/strings.h"
#include "string_internal.h"

using ky::detail::HasRoom;

extern "C" {

char* ky_strnfcpy(char* dst, const char* src, size_t n, int fill) {
  if (!dst || !HasRoom(dst, n)) return dst;
  // The copy's NUL, if it stored one, is the first byte the fill overwrites.
  char* const end = src ? ky_strxncpy_ep(dst, src, n) : dst;
  std::memset(end, fill, static_cast<size_t>(dst + n - end));
  return dst;
}

char* ky_strnbcpy(char* dst, const char* src, size_t n) { return ky_strnfcpy(dst, src, n, ' '); }

char* ky_strnfzcpy(char* dst, const char* src, size_t n, int fill) {
  if (!dst) return dst;
  ky_strnfcpy(dst, src, n, fill);
  dst[n] = '\0';
  return dst;
}

char* ky_strnbzcpy(char* dst, const char* src, size_t n) { return ky_strnfzcpy(dst, src, n, ' '); }

char* ky_strnfcpy_ex(char** cursor, size_t* remaining, const char* src, size_t width, int fill) {
  if (!cursor || !remaining) return nullptr;
  char* const start = *cursor;
  const size_t w = width < *remaining ? width : *remaining;
  char* const result = w == width ? start : nullptr;
  if (w == 0) return result;
  ky_strnfcpy(start, src, w, fill);
  *cursor = start + w;
  *remaining -= w;
  return result;
}

char* ky_strnbcpy_ex(char** cursor, size_t* remaining, const char* src, size_t width) {
  return ky_strnfcpy_ex(cursor, remaining, src, width, ' ');
}

char* ky_strnnapp(char** buf, size_t bufn, const char* src, size_t srcn) {
  if (!buf) return nullptr;
  if (!*buf) return *buf = ky_strndup(src, srcn);
  if (srcn == 0 || !src || *src == '\0') return *buf;
  const size_t add = ky_strnlen(src, srcn);
  const size_t have = ky_strnlen(*buf, bufn);
  auto* block = static_cast<char*>(ky_realloc(*buf, have + add + 1));
  // A failed resize leaves the caller's block where it was, still theirs.
  if (!block) return nullptr;
  std::memcpy(block + have, src, add);
  block[have + add] = '\0';
  return *buf = block;
}

char* ky_strnnapp_dbg(uintptr_t, uintptr_t, uintptr_t, char** buf, size_t bufn, const char* src,
                      size_t srcn) {
  return ky_strnnapp(buf, bufn, src, srcn);
}

}  // extern "C"
