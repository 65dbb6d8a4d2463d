// kyutil trim and kyutil case: line filters that show the string toolkit's
// trimming and case rules, and their part of the demo.
#include <cstdio>
#include <cstring>
#include <iostream>
#include <string>

#include "commands.h"
#include "ky/memory.h"
#include "ky/strings.h"

namespace kyutil {
namespace {

// Feeds every line of stdin (without its newline) to edit, which may change
// the line and returns the text to print.
template <class Edit>
int FilterLines(Edit edit) {
  std::string line;
  while (std::getline(std::cin, line)) {
    const char* out = edit(line);
    std::fputs(out, stdout);
    std::fputc('\n', stdout);
  }
  return std::ferror(stdout) ? kExitFailure : kExitOk;
}

using InPlaceTrim = char* (*)(char*);

// Text for the demo with tabs and newlines shown as escapes.
std::string Escaped(const char* s) {
  std::string out;
  for (; *s; ++s) out += *s == '\n' ? "\\n" : *s == '\t' ? "\\t" : std::string(1, *s);
  return out;
}

void ByteCase(std::string& line, bool upper) {
  if (upper) {
    ky_strupr(&line[0]);
  } else {
    ky_strlwr(&line[0]);
  }
}

}  // namespace

int RunTrim(int argc, char** argv) {
  bool spc = false;
  enum { kBoth, kLeft, kRight } ends = kBoth;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--spc") == 0) {
      spc = true;
    } else if (std::strcmp(argv[i], "--left") == 0) {
      ends = kLeft;
    } else if (std::strcmp(argv[i], "--right") == 0) {
      ends = kRight;
    } else {
      return UsageError("trim", "unknown option");
    }
  }
  const InPlaceTrim table[2][3] = {{ky_strtrim, ky_strltrim, ky_strrtrim},
                                   {ky_strtrimspc, ky_strltrimspc, ky_strrtrimspc}};
  const InPlaceTrim trim = table[spc][ends];
  return FilterLines([trim](std::string& line) { return trim(&line[0]); });
}

int RunCase(int argc, char** argv) {
  int upper = -1;
  bool utf8 = false;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--utf8") == 0) {
      utf8 = true;
    } else if (std::strcmp(argv[i], "--upper") == 0) {
      upper = 1;
    } else if (std::strcmp(argv[i], "--lower") == 0) {
      upper = 0;
    } else {
      return UsageError("case", "unknown option");
    }
  }
  if (upper < 0) return UsageError("case", "say --upper or --lower");
  // Whole characters map through the Unicode tables, whose results may differ
  // in length from the input; bytes map in place through the locale.
  if (utf8) return CaseUtf8(upper == 1);
  return FilterLines([upper](std::string& line) {
    ByteCase(line, upper == 1);
    return line.c_str();
  });
}

void DemoStringsEdit() {
  std::puts("== strings: trimming and case");
  char line[] = "\t padded \n ";
  char spc[sizeof line];
  std::memcpy(spc, line, sizeof line);
  std::printf("ky_strtrim(\"\\t padded \\n \") -> \"%s\"\n", ky_strtrim(line));
  std::printf("ky_strtrimspc(\"\\t padded \\n \") -> \"%s\" (only blank and tab are white)\n",
              Escaped(ky_strtrimspc(spc)).c_str());
  char buf[8];
  std::memset(buf, '#', sizeof buf);
  ky_strtrimncpy(buf, 3, " abc ");
  std::printf("ky_strtrimncpy(buf, 3, \" abc \") -> \"%.3s\" and no NUL\n", buf);
  ky_strtrimnzcpy(buf, 3, " abc ");
  std::printf("ky_strtrimnzcpy(buf, 3, \" abc \") -> \"%s\"\n", buf);
  ky_strrtrimnzcpy(buf, sizeof buf, "  ab  ");
  std::printf("ky_strrtrimnzcpy(buf, 8, \"  ab  \") -> \"%s\"\n", buf);
  ky_strrtrimnzcpy(buf, sizeof buf, "   ");
  std::printf("ky_strrtrimnzcpy(buf, 8, \"   \") -> \"%s\" (all white: nothing kept)\n", buf);

  char* dup = ky_strnduplwr("CONFIG.Name", 6);
  std::printf("ky_strnduplwr(\"CONFIG.Name\", 6) -> \"%s\"\n", dup ? dup : "(null)");
  ky_free(dup);
  const char* text = "Content-Type: text/plain";
  const char* hit = ky_strcasestr(text, "TEXT/");
  std::printf("ky_strcasestr(\"%s\", \"TEXT/\") -> offset %d\n", text,
              hit ? static_cast<int>(hit - text) : -1);
}

}  // namespace kyutil
