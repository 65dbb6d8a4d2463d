// kyutil format, and the string toolkit's part of the demo.
#include <cstdio>
#include <vector>

#include "commands.h"
#include "ky/memory.h"
#include "ky/strings.h"

namespace kyutil {

int RunFormat(int argc, char** argv) {
  if (argc < 2) return UsageError("format", "missing TEMPLATE");
  std::vector<const char*> args(argv + 2, argv + argc);
  char* text = ky_FormatMessage(argv[1], static_cast<int>(args.size()), args.data());
  if (!text) {
    std::fputs("kyutil format: out of memory\n", stderr);
    return kExitFailure;
  }
  std::puts(text);
  ky_free(text);
  return kExitOk;
}

void DemoStrings() {
  std::puts("== strings: bounded copies and formatting");
  char buf[8];
  char* end = ky_strxnzcpy_ep(buf, "truncated", 5);
  std::printf("ky_strxnzcpy_ep(buf, \"truncated\", 5) -> \"%s\", end at offset %d\n", buf,
              static_cast<int>(end - buf));
  std::printf("ky_strnlen(\"abcdef\", 4) -> %zu\n", ky_strnlen("abcdef", 4));
  int r = ky_snprintf(buf, sizeof buf, "%s", "overflowing");
  std::printf("ky_snprintf(buf, 8, \"%%s\", \"overflowing\") -> %d, \"%s\"\n", r, buf);
  r = ky_snzprintf(buf, sizeof buf, "%s", "overflowing");
  std::printf("ky_snzprintf(buf, 8, \"%%s\", \"overflowing\") -> %d, \"%s\"\n", r, buf);

  char line[32];
  char* cursor = line;
  size_t remaining = sizeof line;
  for (const char* word : {"cursor ", "forms ", "append"}) {
    ky_snprintf_ex(&cursor, &remaining, "%s", word);
  }
  std::printf("three ky_snprintf_ex pieces -> \"%s\", %zu bytes left\n", line, remaining);

  const char* args[] = {"log", "3"};
  char* msg = ky_FormatMessage("wrote {0} records to '{1}', it''s {1}\\x21", 2, args);
  std::printf(
      "ky_FormatMessage(\"wrote {0} records to '{1}', it''s {1}\\\\x21\", "
      "[\"log\", \"3\"]) -> \"%s\"\n",
      msg ? msg : "(null)");
  ky_free(msg);
}

}  // namespace kyutil
