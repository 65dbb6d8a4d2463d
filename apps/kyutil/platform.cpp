// kyutil lines, and the text buffer part of the demo.
#include <cstdio>
#include <cstring>

#include "commands.h"
#include "ky/memory.h"
#include "ky/text_buffer.h"

namespace kyutil {

int RunLines(int argc, char** argv) {
  if (argc != 2) return UsageError("lines", "needs exactly one FILE");
  ky::TextBuffer text(0);
  if (!text.LoadFile(argv[1])) {
    std::fprintf(stderr, "kyutil lines: cannot read '%s'\n", argv[1]);
    return kExitFailure;
  }
  size_t lines = 0, longest = 0, n;
  for (const char* line; (line = text.ReadLine(&n, '\n'));) {
    ++lines;
    if (line[n - 1] == '\n') --n;
    if (n > longest) longest = n;
  }
  std::printf("%zu %zu %s\n", lines, longest, argv[1]);
  return kExitOk;
}

void DemoTextBuffer() {
  std::puts("== text buffer: lines handed out in place");
  const char sample[] = "alpha\n\ngamma delta\nno final delimiter";
  char* block = static_cast<char*>(ky_malloc(sizeof sample));
  if (!block) return;
  std::memcpy(block, sample, sizeof sample);
  ky::TextBuffer text(64);
  text.SetBuffer(block, 0, 0);  // the object owns the block from here on
  size_t n;
  for (const char* line; (line = text.ReadLine(&n, '\n'));) {
    std::printf("  ReadLine -> %2zu bytes \"", n);
    for (size_t i = 0; i < n; ++i) {
      if (line[i] == '\n') {
        std::fputs("\\n", stdout);
      } else {
        std::putchar(line[i]);
      }
    }
    std::puts("\"");
  }
  text._ExtendBuffer(100);
  std::printf("  after _ExtendBuffer(100): length %zu, capacity %zu (length + 100 + 64 + 1)\n",
              text.GetLength(), text.GetCapacity());
  size_t capacity = 0;
  char* released = text.ReleaseBuffer(&capacity);
  std::printf("  ReleaseBuffer -> block of %zu bytes, now the caller's to ky_free\n", capacity);
  ky_free(released);
}

}  // namespace kyutil
