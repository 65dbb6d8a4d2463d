// Bounded printf forms and message templates.
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ky/memory.h"
#include "ky/strings.h"
#include "string_internal.h"

namespace {

// Both passes of a template expansion walk the same grammar; only the sink
// differs. Measuring first lets the result be sized for every occurrence of a
// placeholder, so a template naming an argument twice still gets its full text.
struct CountingSink {
  size_t size = 0;
  void Put(char) { ++size; }
  void Put(const char*, size_t n) { size += n; }
};

struct WritingSink {
  char* out;
  void Put(char c) { *out++ = c; }
  void Put(const char* s, size_t n) {
    std::memcpy(out, s, n);
    out += n;
  }
};

char EscapeByte(char c) {
  switch (c) {
    case 'a':
      return '\a';
    case 'b':
      return '\b';
    case 't':
      return '\t';
    case 'n':
      return '\n';
    case 'v':
      return '\v';
    case 'f':
      return '\f';
    case 'r':
      return '\r';
    case '"':
      return '"';
    case '\'':
      return '\'';
    case '?':
      return '?';
    case '\\':
      return '\\';
    default:
      return 0;
  }
}

// Reads up to `width` bytes of p (stopping at its NUL) with strtol in `base`,
// so leading blanks and signs count exactly as strtol takes them. Returns how
// many characters strtol consumed and stores the value.
size_t ReadNumber(const char* p, size_t width, int base, long* value) {
  char digits[4] = {};
  const size_t avail = ::strnlen(p, width);
  std::memcpy(digits, p, avail);
  char* end = nullptr;
  *value = std::strtol(digits, &end, base);
  return static_cast<size_t>(end - digits);
}

// Handles the backslash at p[0]; returns the bytes consumed (1 when the
// backslash stands as written).
template <class Sink>
size_t Escape(const char* p, Sink& out) {
  const char next = p[1];
  if (char mapped = EscapeByte(next)) {
    out.Put(mapped);
    return 2;
  }
  long value = 0;
  if (next >= '0' && next <= '7') {
    const size_t read = ReadNumber(p + 1, 3, 8, &value);
    out.Put(static_cast<char>(value & 0xFF));
    return 1 + read;
  }
  if (next == 'x' && ReadNumber(p + 2, 2, 16, &value) == 2) {
    out.Put(static_cast<char>(value & 0xFF));
    return 4;
  }
  out.Put('\\');
  return 1;
}

// Handles the opening brace at p[0] outside quotes; returns the bytes consumed
// (1 when the brace does not open a valid placeholder and stands as written).
template <class Sink>
size_t Placeholder(const char* p, int count, const char** args, Sink& out) {
  if (p[1] >= '0' && p[1] <= '9') {
    char* end = nullptr;
    const int saved = errno;
    const long index = std::strtol(p + 1, &end, 10);
    errno = saved;
    if (*end == '}' && index < count) {  // strtol saturates, so index >= 0 here
      const char* arg = args ? args[index] : nullptr;
      if (arg) out.Put(arg, std::strlen(arg));
      return static_cast<size_t>(end + 1 - p);
    }
  }
  out.Put('{');
  return 1;
}

template <class Sink>
void Expand(const char* fmt, int count, const char** args, Sink& out) {
  bool quoted = false;
  const char* p = fmt;
  while (*p) {
    switch (*p) {
      case '\\':
        p += Escape(p, out);
        break;
      case '\'':
        if (p[1] == '\'') {
          out.Put('\'');
          p += 2;
        } else {
          quoted = !quoted;
          ++p;
        }
        break;
      case '{':
        if (quoted) {
          out.Put(*p++);
        } else {
          p += Placeholder(p, count, args, out);
        }
        break;
      default:
        out.Put(*p++);
    }
  }
}

}  // namespace

extern "C" {

int ky_vsnprintf(char* buf, size_t size, const char* fmt, va_list args) {
  if (!buf || !fmt || !ky::detail::HasRoom(buf, size)) return 0;
  const int r = std::vsnprintf(buf, size, fmt, args);
  if (r >= 0 && static_cast<size_t>(r) < size) return r;
  buf[size - 1] = '\0';
  return -1;
}

int ky_vsnzprintf(char* buf, size_t size, const char* fmt, va_list args) {
  const int r = ky_vsnprintf(buf, size, fmt, args);
  if (r >= 0) return r;
  // Sizes beyond INT_MAX are outside the int result; report what fits.
  return size - 1 > INT_MAX ? INT_MAX : static_cast<int>(size - 1);
}

int ky_snprintf(char* buf, size_t size, const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  const int r = ky_vsnprintf(buf, size, fmt, args);
  va_end(args);
  return r;
}

int ky_snzprintf(char* buf, size_t size, const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  const int r = ky_vsnzprintf(buf, size, fmt, args);
  va_end(args);
  return r;
}

char* ky_vsnprintf_ex2(char** cursor, size_t* remaining, int* raw, const char* fmt, va_list args) {
  if (!cursor || !remaining || !*cursor) return nullptr;
  char* const piece = *cursor;
  const int r = ky_vsnprintf(piece, *remaining, fmt, args);
  if (raw) *raw = r;
  if (r >= 0 && static_cast<size_t>(r) < *remaining) {
    *cursor += r;
    *remaining -= static_cast<size_t>(r);
    return piece;
  }
  // Cut (or already full): park the cursor on the last byte, which holds the
  // NUL. With nothing remaining this steps back over the previous output's
  // last character, which callers avoid by stopping at the first null.
  *cursor = piece + *remaining - 1;
  **cursor = '\0';
  *remaining = 0;
  return nullptr;
}

char* ky_vsnprintf_ex(char** cursor, size_t* remaining, const char* fmt, va_list args) {
  return ky_vsnprintf_ex2(cursor, remaining, nullptr, fmt, args);
}

char* ky_snprintf_ex(char** cursor, size_t* remaining, const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  char* r = ky_vsnprintf_ex2(cursor, remaining, nullptr, fmt, args);
  va_end(args);
  return r;
}

char* ky_snprintf_ex2(char** cursor, size_t* remaining, int* raw, const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  char* r = ky_vsnprintf_ex2(cursor, remaining, raw, fmt, args);
  va_end(args);
  return r;
}

char* ky_FormatMessage(const char* fmt, int count, const char** args) {
  if (!fmt) return nullptr;
  CountingSink measure;
  Expand(fmt, count, args, measure);
  auto* block = static_cast<char*>(ky_malloc(measure.size + 1));
  if (!block) return nullptr;
  WritingSink write{block};
  Expand(fmt, count, args, write);
  *write.out = '\0';
  return block;
}

char* ky_FormatMessageVa(const char* fmt, int count, va_list args) {
  // A negative count asks for an impossible size and so fails like exhaustion.
  if (count < 0) return nullptr;
  auto* array =
      static_cast<const char**>(ky_malloc(static_cast<size_t>(count) * sizeof(const char*)));
  if (!array) return nullptr;
  for (int i = 0; i < count; ++i) array[i] = va_arg(args, const char*);
  char* result = ky_FormatMessage(fmt, count, array);
  ky_free(array);
  return result;
}

char* ky_FormatMessageWithArgs(const char* fmt, int count, ...) {
  va_list args;
  va_start(args, count);
  char* r = ky_FormatMessageVa(fmt, count, args);
  va_end(args);
  return r;
}

char* ky_FormatMessage_dbg(uintptr_t, uintptr_t, uintptr_t, const char* fmt, int count,
                           const char** args) {
  return ky_FormatMessage(fmt, count, args);
}

char* ky_FormatMessageVa_dbg(uintptr_t, uintptr_t, uintptr_t, const char* fmt, int count,
                             va_list args) {
  return ky_FormatMessageVa(fmt, count, args);
}

char* ky_FormatMessageWithArgs_dbg(uintptr_t, uintptr_t, uintptr_t, const char* fmt, int count,
                                   ...) {
  va_list args;
  va_start(args, count);
  char* r = ky_FormatMessageVa(fmt, count, args);
  va_end(args);
  return r;
}

}  // extern "C"
