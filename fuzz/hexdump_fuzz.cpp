// ky_log_hexdump_ex over arbitrary bytes, line widths, prefixes and line
// ends. The first byte picks the bytes per line and the line end, the second
// the prefix length; the rest is the data. The dump is read back: every line
// has the fixed width, the prefix and the line end, offsets count up, each
// byte shows as hex and as its printable character or '.', and a marker line
// stands for a run of lines equal to the one before it. Unfolding the dump
// must give the data back exactly.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "ky/log.h"
#include "ky/memory.h"

namespace {

void Check(bool ok) {
  if (!ok) std::abort();
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const char* const kEnds[] = {"\n", "\r\n", "", " |\n"};
  const size_t perLine = data[0] % 40 + 1;
  const char* lineEnd = kEnds[(data[0] / 40) % 4];
  const size_t prefixLen = data[1] % 8;
  data += 2;
  size -= 2;
  const std::string prefix(reinterpret_cast<const char*>(data), std::min(prefixLen, size));
  // The prefix is text: it ends at its first NUL.
  const std::string shownPrefix = prefix.c_str();

  char* dump = ky_log_hexdump_ex(shownPrefix.c_str(), lineEnd, data, size, perLine);
  Check(dump != nullptr);
  const size_t endLen = std::strlen(lineEnd);
  const size_t body = 4 * perLine + 11;
  const size_t width = shownPrefix.size() + body + endLen;
  const size_t length = std::strlen(dump);
  Check(length % width == 0);

  std::string back;
  std::string previous;
  bool marker = false;  // the line before was a marker
  for (size_t at = 0; at < length; at += width) {
    const char* line = dump + at;
    Check(std::memcmp(line, shownPrefix.data(), shownPrefix.size()) == 0);
    Check(std::memcmp(line + shownPrefix.size() + body, lineEnd, endLen) == 0);
    line += shownPrefix.size();
    if (std::memcmp(line, "       *", 8) == 0) {
      Check(!marker && !previous.empty() && previous.size() == perLine);
      Check(std::string(line + 8, body - 8) == std::string(body - 8, ' '));
      marker = true;
      continue;
    }
    size_t offset = 0;
    for (int i = 0; i < 8; ++i) offset = offset * 16 + static_cast<size_t>(HexDigit(line[i]));
    Check(offset == back.size() % (size_t{1} << 32) || marker);
    if (marker) {
      // The run the marker stands for: copies of the line before it.
      Check(offset > back.size() && (offset - back.size()) % perLine == 0);
      while (back.size() < offset) back += previous;
      marker = false;
    }
    Check(line[8] == ' ' && line[9] == ' ');
    const size_t n = std::min(perLine, size - back.size());
    std::string bytes;
    for (size_t i = 0; i < n; ++i) {
      const char* hex = line + 10 + 3 * i;
      const auto byte = static_cast<unsigned char>(HexDigit(hex[0]) * 16 + HexDigit(hex[1]));
      Check(hex[2] == ' ');
      const char shown = line[10 + 3 * perLine + 1 + i];
      Check(shown == (byte >= 0x20 && byte < 0x7f ? static_cast<char>(byte) : '.'));
      bytes += static_cast<char>(byte);
    }
    previous = bytes;
    back += bytes;
  }
  Check(!marker);  // the last line always shows
  Check(back == std::string(reinterpret_cast<const char*>(data), size));
  Check(size != 0 || length == 0);
  ky_log_hexdump_free(dump);
  return 0;
}
