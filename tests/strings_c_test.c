/* The flat interface used from C99: the headers compile as C and the entries
 * link and run without any C++ on the caller's side. */
#include <stdio.h>
#include <string.h>

#include "ky/memory.h"
#include "ky/platform.h"
#include "ky/strings.h"

static int failures = 0;

#define CHECK(cond)                                              \
  do {                                                           \
    if (!(cond)) {                                               \
      fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #cond); \
      ++failures;                                                \
    }                                                            \
  } while (0)

int main(void) {
  char buf[16];
  const char* args[2] = {"C", "99"};
  char* msg;
  char* cursor = buf;
  size_t remaining = sizeof buf;

  CHECK(ky_strnlen("abc", 2) == 2);
  CHECK(ky_strxnzcpy_ep(buf, "abcdef", 2) == buf + 2 && strcmp(buf, "ab") == 0);
  CHECK(ky_snzprintf(buf, 4, "%s", "abcdef") == 3);
  CHECK(ky_snprintf_ex(&cursor, &remaining, "%d", 12) == buf && remaining == 14);

  msg = ky_FormatMessage("{0}{1}", 2, args);
  CHECK(msg != NULL && strcmp(msg, "C99") == 0);
  ky_free(msg);

  CHECK(ky_strtspclen(" \tab\t ") == 2);
  CHECK(strcmp(ky_strtrimnzcpy(buf, sizeof buf, "\n trim \n"), "trim") == 0);

  CHECK(ky_strcasestr("Hello World", "WORLD") != NULL);

  msg = ky_strndupupr_dbg(0, 0, 0, "case", 2);
  CHECK(msg != NULL && strcmp(msg, "CA") == 0);
  ky_free(msg);

  msg = ky_strdup_dbg(0, 0, 0, "dup");
  CHECK(msg != NULL && strcmp(msg, "dup") == 0);
  ky_free(msg);

  printf("%d passed, %d failed\n", failures ? 0 : 1, failures ? 1 : 0);
  return failures != 0;
}
