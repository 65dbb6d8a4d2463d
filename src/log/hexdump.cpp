// Hex dump text with runs of equal lines folded into one marker line.
#include <cstdint>
#include <cstring>

#include "ky/log.h"
#include "ky/memory.h"

namespace {

constexpr char kDigits[] = "0123456789abcdef";

// Printable in the C locale, whatever locale the process runs in: the dump
// must read the same on every machine.
bool Printable(unsigned char c) { return c >= 0x20 && c < 0x7f; }

char* Put(char* out, const char* s, size_t n) {
  std::memcpy(out, s, n);
  return out + n;
}

char* PutOffset(char* out, size_t offset) {
  const auto low = static_cast<uint32_t>(offset);
  for (int i = 7; i >= 0; --i) out[7 - i] = kDigits[(low >> (4 * i)) & 0xf];
  return out + 8;
}

}  // namespace

extern "C" {

char* ky_log_hexdump_ex(const char* prefix, const char* lineEnd, const void* data, size_t length,
                        size_t perLine) {
  if (perLine == 0 || (!data && length)) return nullptr;
  if (!prefix) prefix = "";
  if (!lineEnd) lineEnd = "\n";
  const size_t prefixLen = std::strlen(prefix);
  const size_t endLen = std::strlen(lineEnd);
  const size_t lines = length / perLine + (length % perLine != 0);
  // One spare byte per line beyond what a line takes, plus the NUL.
  size_t perLineSize = 0;
  size_t size = 0;
  if (__builtin_mul_overflow(perLine, size_t{4}, &perLineSize) ||
      __builtin_add_overflow(perLineSize, prefixLen + 12, &perLineSize) ||
      __builtin_add_overflow(perLineSize, endLen, &perLineSize) ||
      __builtin_mul_overflow(perLineSize, lines, &size) ||
      __builtin_add_overflow(size, size_t{1}, &size)) {
    return nullptr;
  }
  auto* const text = static_cast<char*>(ky_malloc(size));
  if (!text) return nullptr;

  const auto* bytes = static_cast<const unsigned char*>(data);
  const size_t body = 4 * perLine + 11;
  char* out = text;
  bool marked = false;  // a marker line stands for the current run
  for (size_t offset = 0; offset < length; offset += perLine) {
    const size_t left = length - offset;
    const unsigned char* line = bytes + offset;
    // Only a full line that is not the last one may fold, so the dump always
    // shows where the data ends.
    if (offset != 0 && left > perLine && std::memcmp(line, line - perLine, perLine) == 0) {
      if (!marked) {
        out = Put(out, prefix, prefixLen);
        std::memset(out, ' ', body);
        out[7] = '*';
        out = Put(out + body, lineEnd, endLen);
        marked = true;
      }
      continue;
    }
    marked = false;
    const size_t n = left < perLine ? left : perLine;
    out = Put(out, prefix, prefixLen);
    out = PutOffset(out, offset);
    *out++ = ' ';
    *out++ = ' ';
    for (size_t i = 0; i < n; ++i) {
      out[0] = kDigits[line[i] >> 4];
      out[1] = kDigits[line[i] & 0xf];
      out[2] = ' ';
      out += 3;
    }
    std::memset(out, ' ', 3 * (perLine - n) + 1);
    out += 3 * (perLine - n) + 1;
    for (size_t i = 0; i < n; ++i) out[i] = Printable(line[i]) ? static_cast<char>(line[i]) : '.';
    std::memset(out + n, ' ', perLine - n);
    out = Put(out + perLine, lineEnd, endLen);
  }
  *out = '\0';
  return text;
}

char* ky_log_hexdump(const void* data, size_t length, size_t perLine) {
  return ky_log_hexdump_ex(nullptr, nullptr, data, length, perLine);
}

void ky_log_hexdump_free(char* dump) { ky_free(dump); }

}  // extern "C"
