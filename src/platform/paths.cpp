// Path text, file tests and the temporary directory.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "../string/string_internal.h"
#include "ky/platform.h"
#include "ky/strings.h"

namespace {

// Length of the directory part that a file-name strip keeps: up to and
// including the last '/', or, when trailing separators are ignored, up to the
// separator before the last component.
size_t CutPoint(const char* path, bool ignoreTrailing) {
  size_t end = std::strlen(path);
  if (ignoreTrailing) {
    while (end > 0 && path[end - 1] == '/') --end;
    if (end == 0) return 0;
  }
  while (end > 0 && path[end - 1] != '/') --end;
  return end;
}

}  // namespace

extern "C" {

char* ky_FixPath(char* path, size_t size) {
  if (!path || size == 0) return path;
  size_t read = 0;
  size_t write = 0;
  if (path[0] == '/' && path[1] == '/') {
    // A leading "//" names a network location on some systems: keep the
    // first separator as it stands so that exactly two survive.
    if (size == 1) {
      path[1] = '\0';
      return path;
    }
    read = write = 1;
  }
  char last = '\0';
  for (; read < size && path[read] != '\0'; ++read) {
    const char c = path[read];
    if (c == '/' && last == '/') continue;
    path[write++] = c;
    last = c;
  }
  path[write] = '\0';
  return path;
}

char* ky_PathStripFileNameEx(char* path, int ignoreTrailingSeparators) {
  if (path) path[CutPoint(path, ignoreTrailingSeparators != 0)] = '\0';
  return path;
}

char* ky_PathStripFileName(char* path) { return ky_PathStripFileNameEx(path, 0); }

const char* ky_PathFileName(const char* path) {
  if (!path) return path;
  const char* slash = std::strrchr(path, '/');
  return slash ? slash + 1 : path;
}

char* ky_PathDirectoryEx(char* out, size_t outSize, const char* path,
                         int ignoreTrailingSeparators) {
  if (!out || !ky::detail::HasRoom(out, outSize)) return out;
  size_t keep = path ? CutPoint(path, ignoreTrailingSeparators != 0) : 0;
  if (keep > outSize - 1) keep = outSize - 1;
  if (keep) std::memcpy(out, path, keep);
  out[keep] = '\0';
  return out;
}

char* ky_PathDirectory(char* out, size_t outSize, const char* path) {
  return ky_PathDirectoryEx(out, outSize, path, 0);
}

char* ky_AppendPath(char* buffer, size_t size, const char* more) {
  if (!buffer || !ky::detail::HasRoom(buffer, size)) return buffer;
  const size_t limit = size - 1;  // characters that fit before the NUL
  const size_t len = ::strnlen(buffer, size);
  size_t base = len;
  while (base > 0 && buffer[base - 1] == '/') --base;
  if (base >= limit) {
    buffer[limit] = '\0';
    return buffer;
  }

  size_t at;
  if (base != 0 || len != 0) {
    // A buffer of separators only is the root and stays "/".
    at = base;
    buffer[at++] = '/';
  } else if (!more) {
    buffer[0] = '\0';
    return buffer;
  } else {
    // An empty buffer takes more as it stands, so an absolute path stays
    // absolute.
    at = 0;
    if (more[0] == '/') buffer[at++] = '/';
  }
  if (at >= limit || !more) {
    buffer[at] = '\0';
    return buffer;
  }

  size_t lead = 0;
  while (more[lead] == '/') ++lead;
  // A network-style "//host" keeps both separators; three or more collapse.
  if (len == 0 && lead == 2 && more[lead] != '\0') buffer[at++] = '/';
  const size_t n = ::strnlen(more + lead, limit - at);
  std::memcpy(buffer + at, more + lead, n);
  buffer[at + n] = '\0';
  return buffer;
}

char* ky_JoinPath(char* buffer, size_t size, const char* first, const char* second) {
  if (!buffer || !ky::detail::HasRoom(buffer, size)) return buffer;
  // The capacity copy may leave the buffer unterminated when first fills it;
  // the append measures within size and cuts there.
  if (first) {
    ky_strxncpy(buffer, first, size);
  } else {
    buffer[0] = '\0';
  }
  return ky_AppendPath(buffer, size, second);
}

int ky_DirExists(const char* path) {
  struct stat st;
  return path && ::stat(path, &st) == 0 && S_ISDIR(st.st_mode) ? 1 : 0;
}

int ky_FileExists(const char* path) { return path && ::access(path, F_OK) == 0 ? 1 : 0; }

bool ky_DeleteFile(const char* path) { return path && ::unlink(path) == 0; }

const char* ky_TempDir(void) {
  // An empty TEMP is taken as set on purpose: it names the current directory.
  if (const char* temp = std::getenv("TEMP")) return temp;
  if (const char* tmp = std::getenv("TMP")) return tmp;
  return "/tmp";
}

char* ky_FullPath(void) { return nullptr; }

}  // extern "C"
