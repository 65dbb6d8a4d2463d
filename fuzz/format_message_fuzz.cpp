// ky_FormatMessage over random templates and arguments. The input is split at
// NUL bytes: the first piece is the template, the rest are arguments (at most
// 16), and the first byte picks how many arguments the call is told about.
// The result must be a NUL-terminated block from which each argument can only
// have come whole; the bounded printf forms get the same template as text.
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ky/memory.h"
#include "ky/strings.h"

namespace {

char* CursorForm(char** cursor, size_t* remaining, const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  char* r = ky_vsnprintf_ex(cursor, remaining, fmt, args);
  va_end(args);
  return r;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const int declared = static_cast<int>(data[0] % 20) - 2;  // -2..17, some past the array
  std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
  std::vector<std::string> pieces;
  size_t start = 0;
  for (size_t i = 0; i <= text.size(); ++i) {
    if (i == text.size() || text[i] == '\0') {
      pieces.push_back(text.substr(start, i - start));
      start = i + 1;
    }
  }
  const std::string& fmt = pieces[0];
  std::vector<const char*> args;
  for (size_t i = 1; i < pieces.size() && args.size() < 16; ++i) {
    args.push_back(pieces[i] == "null" ? nullptr : pieces[i].c_str());
  }
  while (static_cast<int>(args.size()) < declared) args.push_back(nullptr);
  const int count = declared;

  char* out = ky_FormatMessage(fmt.c_str(), count, args.data());
  if (!out) std::abort();
  // Every output byte comes from the template, an argument or an escape, so
  // the text is never longer than the template plus every argument at every
  // placeholder position it could fill.
  size_t longest_arg = 0;
  for (const char* a : args) {
    if (a) longest_arg = std::max(longest_arg, std::strlen(a));
  }
  if (std::strlen(out) > fmt.size() * (1 + longest_arg)) std::abort();
  ky_free(out);

  // The same bytes as a plain text piece through the cursor form, in a buffer
  // sized from the first byte.
  std::vector<char> buf(data[0] % 64 + 1);
  char* cursor = buf.data();
  size_t remaining = buf.size();
  CursorForm(&cursor, &remaining, "%s", fmt.c_str());
  if (cursor < buf.data() || cursor >= buf.data() + buf.size() || *cursor != '\0') std::abort();
  return 0;
}
