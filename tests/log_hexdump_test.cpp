#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "ky/log.h"
#include "support/test_allocator.h"

namespace {

using ky::test::AllocScope;

std::string Dump(const std::string& data, size_t perLine, const char* prefix = nullptr,
                 const char* lineEnd = nullptr) {
  char* text = prefix || lineEnd
                   ? ky_log_hexdump_ex(prefix, lineEnd, data.data(), data.size(), perLine)
                   : ky_log_hexdump(data.data(), data.size(), perLine);
  if (!text) return "(null)";
  std::string out = text;
  ky_log_hexdump_free(text);
  return out;
}

// Line by line with snprintf, the way a reader of the format would write it.
std::string Reference(const std::string& data, size_t n, const std::string& prefix,
                      const std::string& end) {
  std::string out;
  bool marked = false;
  for (size_t off = 0; off < data.size(); off += n) {
    const size_t left = data.size() - off;
    if (off > 0 && left > n && data.compare(off, n, data, off - n, n) == 0) {
      if (!marked) out += prefix + std::string(7, ' ') + "*" + std::string(4 * n + 3, ' ') + end;
      marked = true;
      continue;
    }
    marked = false;
    char cell[16];
    std::snprintf(cell, sizeof cell, "%08x  ", static_cast<unsigned>(off & 0xffffffffu));
    out += prefix + cell;
    std::string chars;
    for (size_t i = 0; i < n; ++i) {
      if (off + i < data.size()) {
        const auto b = static_cast<unsigned char>(data[off + i]);
        std::snprintf(cell, sizeof cell, "%02x ", b);
        out += cell;
        chars += b >= 32 && b < 127 ? static_cast<char>(b) : '.';
      } else {
        out += "   ";
        chars += ' ';
      }
    }
    out += " " + chars + end;
  }
  return out;
}

TEST(HexDump, Examples) {
  EXPECT_EQ(Dump("AB\n", 4), "00000000  41 42 0a     AB. \n");
  EXPECT_EQ(Dump("", 16), "");
  EXPECT_EQ(Dump(std::string("\x00\x1f\x20\x7e\x7f\x80\xff", 7), 7),
            "00000000  00 1f 20 7e 7f 80 ff  .. ~...\n");
  EXPECT_EQ(Dump("hello", 8, "> ", "\r\n"), "> 00000000  68 65 6c 6c 6f           hello   \r\n");
  EXPECT_EQ(Dump("abcdefgh", 4, "", nullptr),
            "00000000  61 62 63 64  abcd\n00000004  65 66 67 68  efgh\n");
}

TEST(HexDump, FoldsRunsOfEqualLines) {
  const std::string marker = "       *" + std::string(67, ' ') + "\n";
  const std::string zeros16 = "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00  ................\n";
  // 36 bytes, the first two lines equal: line, marker, short last line.
  std::string data(32, '\0');
  data += "WXYZ";
  EXPECT_EQ(Dump(data, 16), "00000000  " + zeros16 + marker + "00000020  57 58 59 5a" +
                                std::string(38, ' ') + "WXYZ" + std::string(12, ' ') + "\n");
  // The last line is never folded, even when equal.
  EXPECT_EQ(Dump(std::string(48, '\0'), 16),
            "00000000  " + zeros16 + marker + "00000020  " + zeros16);
  // One marker for a whole run; a differing line ends it.
  const std::string marker2 = "       *" + std::string(11, ' ') + "\n";
  EXPECT_EQ(Dump("aaaaaaaab", 2), "00000000  61 61  aa\n" + marker2 + "00000008  62     b \n");
  EXPECT_EQ(Dump("aaaaabab", 2),
            "00000000  61 61  aa\n" + marker2 + "00000004  61 62  ab\n00000006  61 62  ab\n");
}

TEST(HexDump, AgreesWithReferenceOnRandomData) {
  std::mt19937 rng(7);
  for (int round = 0; round < 300; ++round) {
    const size_t n = 1 + rng() % 24;
    std::string data;
    const size_t len = rng() % 200;
    // Runs of repeated chunks so that folding happens often.
    while (data.size() < len) {
      std::string chunk(1 + rng() % 8, '\0');
      for (char& c : chunk) c = static_cast<char>(rng() % 4 == 0 ? rng() : 'a' + rng() % 2);
      const int repeats = 1 + static_cast<int>(rng() % 6);
      for (int i = 0; i < repeats; ++i) data += chunk;
    }
    data.resize(len);
    const std::string prefix = round % 3 ? "" : "| ";
    const char* end = round % 2 ? "\n" : "\r\n";
    ASSERT_EQ(Dump(data, n, prefix.c_str(), end), Reference(data, n, prefix, end))
        << "round " << round;
  }
}

TEST(HexDump, AllocationAndFailures) {
  AllocScope scope;
  const std::string data(100, 'x');
  char* text = ky_log_hexdump_ex("ab", "\r\n", data.data(), data.size(), 16);
  ASSERT_NE(text, nullptr);
  // Seven lines of 2 + 64 + 12 + 2 bytes and the NUL: a spare byte per line.
  EXPECT_EQ(ky::test::BlockSize(text), 7u * 80 + 1);
  ky_log_hexdump_free(text);

  text = ky_log_hexdump(nullptr, 0, 16);
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(ky::test::BlockSize(text), 1u);
  EXPECT_STREQ(text, "");
  ky_log_hexdump_free(text);
  ky_log_hexdump_free(nullptr);

  ky::test::FailRequest(1);
  EXPECT_EQ(ky_log_hexdump(data.data(), data.size(), 16), nullptr);
  EXPECT_EQ(ky_log_hexdump(data.data(), data.size(), 0), nullptr);
  EXPECT_EQ(ky_log_hexdump(nullptr, 5, 16), nullptr);
  EXPECT_EQ(ky_log_hexdump(data.data(), SIZE_MAX / 2, SIZE_MAX / 4), nullptr);
}

}  // namespace
