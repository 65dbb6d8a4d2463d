// kyutil split: a line filter that shows how the string toolkit cuts fields
// and name=value pairs, and its part of the demo (joins, fields, spans).
#include <cstdio>
#include <cstring>
#include <iostream>
#include <string>

#include "commands.h"
#include "ky/memory.h"
#include "ky/strings.h"

namespace kyutil {
namespace {

// Prints one field or part in brackets, so empty ones show.
void Show(const char* text, size_t len, bool trim) {
  size_t lead = 0;
  if (trim) ky_strntrimlen(text, len, &lead, &len);
  std::printf("[%.*s]", static_cast<int>(len), text + lead);
}

}  // namespace

int RunSplit(int argc, char** argv) {
  const char* seps = ",";
  bool trim = false, pair = false;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--sep") == 0 && i + 1 < argc) {
      seps = argv[++i];
    } else if (std::strcmp(argv[i], "--trim") == 0) {
      trim = true;
    } else if (std::strcmp(argv[i], "--pair") == 0) {
      pair = true;
    } else {
      return UsageError("split", "unknown option or missing value");
    }
  }
  std::string line;
  while (std::getline(std::cin, line)) {
    if (pair) {
      const char *name, *value;
      size_t name_len, value_len;
      const int found = ky_SplitNameValueMultiSepEx(line.c_str(), 0, seps, 0, trim, trim, &name,
                                                    &name_len, &value, &value_len);
      Show(name ? name : "", name_len, false);
      if (found) Show(value ? value : "", value_len, false);
    } else {
      char** fields;
      size_t count;
      char* text = ky_SplitStringEx(line.c_str(), seps, &fields, &count);
      if (!text) return kExitFailure;
      for (size_t i = 0; i < count; ++i) {
        if (i) std::fputc(' ', stdout);
        Show(fields[i], std::strlen(fields[i]), trim);
      }
      ky_free(fields);
      ky_free(text);
    }
    std::fputc('\n', stdout);
  }
  return std::ferror(stdout) ? kExitFailure : kExitOk;
}

void DemoStringsList() {
  std::puts("== strings: joins, fields, spans and splitting");
  char buf[32];
  const char* parts[] = {"/var", nullptr, "/log", "/app.log"};
  const size_t need = ky_stralen(4, parts);
  ky_stracpy(buf, 4, parts);
  std::printf("ky_stracpy(buf, 4, {\"/var\", null, \"/log\", \"/app.log\"}) -> \"%s\" (%zu)\n", buf,
              need);
  ky_strvlancpy(buf, "abcd", size_t{2}, "xyz", size_t{5}, static_cast<char*>(nullptr));
  std::printf("ky_strvlancpy(buf, \"abcd\", 2, \"xyz\", 5, null) -> \"%s\"\n", buf);
  char* cursor = buf;
  size_t left = sizeof buf;
  ky_strnbcpy_ex(&cursor, &left, "ID", 4);
  ky_strnfcpy_ex(&cursor, &left, "42", 6, '.');
  *cursor = '\0';
  std::printf("fields of 4 and 6: \"%s\"\n", buf);
  std::printf("ky_strncspn(\"key=value\", 0, \"=:\", 0) -> %zu\n",
              ky_strncspn("key=value", 0, "=:", 0));
  char** fields;
  size_t count;
  char* text = ky_SplitString("a,,b,", ',', &fields, &count);
  std::printf("ky_SplitString(\"a,,b,\", ',') -> %zu fields:", count);
  for (size_t i = 0; text && i < count; ++i) std::printf(" [%s]", fields[i]);
  std::puts("");
  ky_free(fields);
  ky_free(text);
  const char *name, *value;
  size_t nl, vl;
  ky_SplitNameValue(" key = some value ", '=', &name, &nl, &value, &vl);
  std::printf("ky_SplitNameValue(\" key = some value \", '=') -> [%.*s] [%.*s]\n",
              static_cast<int>(nl), name, static_cast<int>(vl), value);
}

}  // namespace kyutil
