// ReadLine over fuzzer-chosen text, sizes and delimiters: the lines must tile
// the text exactly, each ending at its first delimiter, and stay inside the
// block, also after an extension that moves it midway.
//   input: delimiter, length byte (0: measure to the first NUL), extension
//   byte, then the text; the block holds the text and one more byte.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "ky/memory.h"
#include "ky/text_buffer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 3) return 0;
  const char delimiter = static_cast<char>(data[0]);
  const size_t textLength = data[1];
  const size_t more = data[2];
  const char* src = reinterpret_cast<const char*>(data + 3);
  const size_t n = size - 3;

  char* block = static_cast<char*>(ky_malloc(n + 1));
  if (!block) return 0;
  std::memcpy(block, src, n);
  block[n] = 'x';  // SetBuffer must put the terminator in itself
  ky::TextBuffer text(16);
  if (!text.SetBuffer(block, n + 1, textLength)) std::abort();

  size_t expected = textLength == 0 ? strnlen(src, n) : (textLength < n + 1 ? textLength : n);
  if (text.GetLength() != expected || text.GetBuffer()[expected] != '\0') std::abort();
  const std::string whole(src, expected);

  std::string joined;
  size_t len;
  for (size_t count = 0;; ++count) {
    const char* line = text.ReadLine(&len, delimiter);
    if (!line) break;
    const char* base = text.GetBuffer();
    if (len == 0 || line < base || line + len > base + text.GetLength()) std::abort();
    const char* hit =
        delimiter ? static_cast<const char*>(std::memchr(line, delimiter, len)) : nullptr;
    const bool last = line + len == base + text.GetLength();
    // A line ends right after its first delimiter, or at the end of the text.
    if (hit ? hit != line + len - 1 : !last) std::abort();
    joined.append(line, len);
    if (count == 0 && more != 0 && !text._ExtendBuffer(more)) std::abort();
  }
  if (len != 0 || joined != whole) std::abort();
  return 0;
}
