#include <cstdio>
#include <cstring>

#include "ky/memory.h"
#include "ky/strings.h"

int main() {
  const char* args[] = {"installed"};
  char* text = ky_FormatMessage("vokyutil {0}", 1, args);
  const bool ok = text && std::strcmp(text, "vokyutil installed") == 0;
  std::puts(text ? text : "(null)");
  ky_free(text);
  return ok ? 0 : 1;
}
