// The path text helpers over arbitrary paths and buffer sizes. The input is
// split at its first NUL into a path and a second component; the first byte
// picks the sizes. Every helper works in exact-size heap buffers so that a
// store or read past a bound shows, and each result is checked against what
// the helper promises: separators collapsed, a directory part that ends in
// '/', a file name free of '/', and joins that hold every character of both
// parts when there is room.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ky/platform.h"

namespace {

void Check(bool ok) {
  if (!ok) std::abort();
}

std::string Collapsed(const std::string& s) {
  std::string out;
  for (const char c : s) {
    if (!(c == '/' && !out.empty() && out.back() == '/')) out += c;
  }
  return out;
}

// A heap block of exactly n bytes holding s (cut or unterminated as it falls).
std::vector<char> Block(const std::string& s, size_t n) {
  std::vector<char> b(n, 'Z');
  std::memcpy(b.data(), s.data(), std::min(n, s.size() + 1));
  return b;
}

std::string StripTrailing(std::string s) {
  while (!s.empty() && s.back() == '/') s.pop_back();
  return s;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const unsigned flags = data[0];
  const std::string input(reinterpret_cast<const char*>(data) + 1, size - 1);
  const size_t nul = input.find('\0');
  const std::string path = input.substr(0, nul);
  const std::string more = nul == std::string::npos ? "" : input.substr(nul + 1).c_str();

  // Collapsing separators, over the whole path and over a prefix of it.
  for (const size_t examine : {path.size(), path.empty() ? 0 : flags % path.size() + 1}) {
    std::vector<char> b = Block(path, path.size() + 1);
    ky_FixPath(b.data(), examine);
    const std::string head = path.substr(0, examine);
    const std::string want =
        head.compare(0, 2, "//") == 0 ? "/" + Collapsed(head.substr(1)) : Collapsed(head);
    Check(examine == 0 ? std::string(b.data()) == path : std::string(b.data()) == want);
  }

  // Directory part and file name.
  for (const int ignore : {0, 1}) {
    std::vector<char> b = Block(path, path.size() + 1);
    const std::string dir = ky_PathStripFileNameEx(b.data(), ignore);
    Check(path.compare(0, dir.size(), dir) == 0);
    Check(dir.empty() || dir.back() == '/');
    const std::string rest = path.substr(dir.size());
    Check(ignore ? StripTrailing(rest).find('/') == std::string::npos
                 : rest.find('/') == std::string::npos);
    const size_t outSize = flags % 16 + 1;
    std::vector<char> out(outSize, 'Z');
    ky_PathDirectoryEx(out.data(), outSize, path.c_str(), ignore);
    Check(std::string(out.data()) == dir.substr(0, outSize - 1));
  }
  const char* name = ky_PathFileName(path.c_str());
  Check(name >= path.c_str() && name <= path.c_str() + path.size());
  Check(std::strchr(name, '/') == nullptr);
  Check(path.substr(0, static_cast<size_t>(name - path.c_str())) ==
        std::string(ky_PathStripFileName(Block(path, path.size() + 1).data())));

  // Appending and joining, with room to spare and with a cut.
  for (const size_t room : {path.size() + more.size() + 3, size_t{flags % 24 + 1}}) {
    std::vector<char> b = Block(path, room);
    ky_AppendPath(b.data(), room, more.c_str());
    const size_t len = ::strnlen(b.data(), room);
    Check(len < room);
    std::vector<char> j(room, 'Z');
    ky_JoinPath(j.data(), room, path.c_str(), more.c_str());
    Check(std::string(j.data()) == std::string(b.data()));
    if (room <= path.size() + more.size() + 2) continue;
    // With room, nothing but separators at the seam is lost.
    const std::string joined = b.data();
    std::string lead = more;
    while (!lead.empty() && lead[0] == '/') lead.erase(0, 1);
    Check(joined.size() >= lead.size() &&
          joined.compare(joined.size() - lead.size(), lead.size(), lead) == 0);
    Check(path.empty() || joined.compare(0, StripTrailing(path).size(), StripTrailing(path)) == 0);
    if (!path.empty()) Check(joined[StripTrailing(path).size()] == '/');
  }
  return 0;
}
