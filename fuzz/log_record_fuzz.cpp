// The record writers and the hex dump over arbitrary names, positions and
// messages. The input is split at NUL bytes into name, function, file,
// message and hex-dump prefix; the first byte picks line ends, a null name,
// the level and the bytes per dump line. Records go to a memory file through
// its /proc path; the text read back must hold only normalised line ends and
// end with the record's line end and separator. The dump must be whole lines
// of the documented width.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ky/log.h"

namespace {

int MemoryFile() {
  static const int fd = memfd_create("ky_log_fuzz", 0);
  return fd;
}

std::string Contents(int fd) {
  std::string out;
  char chunk[1 << 16];
  off_t at = 0;
  ssize_t n;
  while ((n = pread(fd, chunk, sizeof chunk, at)) > 0) {
    out.append(chunk, static_cast<size_t>(n));
    at += n;
  }
  return out;
}

void CheckLineEnds(const std::string& text, bool crlf) {
  for (size_t i = 0; i < text.size(); ++i) {
    if (crlf) {
      if (text[i] == '\r' && (i + 1 >= text.size() || text[i + 1] != '\n')) std::abort();
      if (text[i] == '\n' && (i == 0 || text[i - 1] != '\r')) std::abort();
    } else if (text[i] == '\r') {
      std::abort();
    }
  }
}

void Record(const char* path, LogFileHandle** slot, int mode, bool crlf, const char* name,
            int level, const char* file, const char* function, const char* format, ...) {
  va_list args;
  va_start(args, format);
  ky_log_ex_va(path, slot, mode, crlf, name, level, file, 7, function, format, args);
  va_end(args);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const uint8_t flags = data[0];
  std::vector<std::string> pieces(5);
  size_t k = 0;
  for (size_t i = 1; i < size; ++i) {
    if (data[i] == 0 && k + 1 < pieces.size()) {
      ++k;
    } else {
      pieces[k] += static_cast<char>(data[i]);
    }
  }
  const bool crlf = flags & 1;
  const char* name = flags & 2 ? nullptr : pieces[0].c_str();
  const int level = static_cast<int>(flags >> 2) - 10;
  const char* eol = crlf ? "\r\n" : "\n";

  const int fd = MemoryFile();
  if (fd < 0) return 0;
  char path[64];
  std::snprintf(path, sizeof path, "/proc/self/fd/%d", fd);

  // One record per call.
  if (ftruncate(fd, 0) != 0) return 0;
  Record(path, nullptr, OpenPerCall, crlf, name, level, pieces[2].c_str(), pieces[1].c_str(), "%s",
         pieces[3].c_str());
  std::string text = Contents(fd);
  CheckLineEnds(text, crlf);
  const std::string tail = std::string(eol) + eol;
  if (text.size() < tail.size() + 1 || text[0] != '{' ||
      text.compare(text.size() - tail.size(), tail.size(), tail) != 0) {
    std::abort();
  }
  if (text.size() > 2 * (1023 + 8191 + 16383) + 4 * 2) std::abort();

  // The same through a held handle, with free text between records.
  if (ftruncate(fd, 0) != 0) return 0;
  LogFileHandle* slot = nullptr;
  Record(path, &slot, OpenAndHold, crlf, name, level, "f", "g", "%s", pieces[3].c_str());
  if (!slot) std::abort();
  ky_log_ex_writetext(path, &slot, UseHeld, crlf, pieces[4].c_str());
  Record(path, &slot, UseHeldAndRelease, crlf, name, level, "f", "g", "%s", "");
  if (slot) std::abort();
  CheckLineEnds(Contents(fd), crlf);

  // The hex dump of the whole input.
  const size_t perLine = flags % 33 + 1;
  const std::string prefix = pieces[4].c_str();  // the last piece may hold NULs
  char* dump = ky_log_hexdump_ex(prefix.c_str(), eol, data, size, perLine);
  if (!dump) std::abort();
  const size_t width = prefix.size() + 4 * perLine + 11 + std::strlen(eol);
  const size_t length = std::strlen(dump);
  const size_t lines = (size + perLine - 1) / perLine;
  if (length % width != 0 || length > lines * width || length == 0) std::abort();
  for (size_t at = 0; at < length; at += width) {
    if (dump[at + width - 1] != '\n' || std::memcmp(dump + at, prefix.data(), prefix.size()) != 0) {
      std::abort();
    }
  }
  ky_log_hexdump_free(dump);
  return 0;
}
