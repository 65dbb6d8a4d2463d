/* A C99 program built against the unpacked libvokyutil-dev tree: the flat
   headers, the link-time libraries and the runtime packages beside them. */
#include <stdio.h>
#include <string.h>

#include "ky/memory.h"
#include "ky/platform.h"
#include "ky/strings.h"

int main(void) {
  const char* args[] = {"packaged"};
  char* text = ky_FormatMessage("vokyutil {0}", 1, args);
  char name[8];
  int ok = text && strcmp(text, "vokyutil packaged") == 0;
  ky_strxnzcpy(name, "truncated", sizeof name - 1);
  ok = ok && strcmp(name, "truncat") == 0 && ky_TempDir() != NULL;
  puts(text ? text : "(null)");
  ky_free(text);
  return ok ? 0 : 1;
}
