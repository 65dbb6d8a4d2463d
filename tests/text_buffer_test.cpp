#include "ky/text_buffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "ky/memory.h"
#include "support/scratch.h"
#include "support/test_allocator.h"

namespace {

using namespace ky::test;
using namespace std::string_literals;
using Lines = std::vector<std::string>;

// A block from the hooks holding exactly the bytes of s, without a NUL unless
// s has one, so ASan catches any read past the size given to SetBuffer.
char* Block(const std::string& s) {
  char* p = static_cast<char*>(ky_malloc(s.size()));
  std::memcpy(p, s.data(), s.size());
  return p;
}

void ExpectState(const ky::TextBuffer& text, const char* buffer, size_t length, size_t capacity,
                 const char* cursor) {
  EXPECT_EQ(text.GetBuffer(), buffer);
  EXPECT_EQ(text.GetLength(), length);
  EXPECT_EQ(text.GetCapacity(), capacity);
  EXPECT_EQ(text.GetCursor(), cursor);
}

Lines ReadAll(ky::TextBuffer& text, char delimiter) {
  Lines lines;
  size_t n = 99;
  for (const char* line; (line = text.ReadLine(&n, delimiter));) lines.emplace_back(line, n);
  EXPECT_EQ(n, 0u);
  // The end is sticky, and the length pointer is optional.
  EXPECT_EQ(text.ReadLine(nullptr, delimiter), nullptr);
  return lines;
}

// SetBuffer sizes the text; ReadLine splits after each delimiter, without
// changing the block.
TEST(TextBuffer, SetBufferThenReadLines) {
  const struct {
    std::string bytes;  // the whole block
    size_t size, textLength, length, capacity;
    char delimiter;
    Lines lines;
  } cases[] = {
      {"a\nbc\0"s, 0, 0, 4, 5, '\n', {"a\n", "bc"}},
      {"a\nbc\n\0"s, 0, 0, 5, 6, '\n', {"a\n", "bc\n"}},
      {"a\n\nb\0"s, 0, 0, 4, 5, '\n', {"a\n", "\n", "b"}},
      {"\0"s, 0, 0, 0, 1, '\n', {}},
      {"x,y,,z\0"s, 0, 0, 6, 7, ',', {"x,", "y,", ",", "z"}},
      // Delimiter 0 only ever meets the end: the rest is one line.
      {"a\nb\n\0"s, 0, 0, 4, 5, '\0', {"a\nb\n"}},
      // A length given by the caller holds even across NUL bytes of the text.
      {"a\0b\nc\0"s, 7, 5, 5, 7, '\n', {"a\0b\n"s, "c"}},
      // A length reaching the block's end is cut to leave room for the NUL.
      {"xxxx"s, 4, 9, 3, 4, '\n', {"xxx"}},
      {"xxxx"s, 4, 4, 3, 4, '\n', {"xxx"}},
      {"xxxx"s, 4, 2, 2, 4, '\n', {"xx"}},
      // Length 0 measures up to a NUL within size - 1 bytes only.
      {"ab\0xxx"s, 6, 0, 2, 6, '\n', {"ab"}},
      {"abcd"s, 4, 0, 3, 4, '\n', {"abc"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.bytes));
    AllocScope scope;
    ky::TextBuffer text(0);
    char* block = Block(c.bytes);
    ASSERT_TRUE(text.SetBuffer(block, c.size, c.textLength));
    ExpectState(text, block, c.length, c.capacity, block);
    EXPECT_EQ(block[c.length], '\0');
    EXPECT_EQ(ReadAll(text, c.delimiter), c.lines);
    EXPECT_EQ(std::string(block, c.length), c.bytes.substr(0, c.length));
  }
}

TEST(TextBuffer, AdoptsAndReleasesBlocks) {
  AllocScope scope;
  char* kept = nullptr;
  {
    ky::TextBuffer text(0);
    ASSERT_TRUE(text.SetBuffer(Block("one\0"s), 0, 0));
    ASSERT_TRUE(text.SetBuffer(kept = Block("two\0"s), 0, 0));
    EXPECT_EQ(scope.Taken(), 1u);             // the first block was freed
    ASSERT_TRUE(text.SetBuffer(kept, 4, 0));  // adopting its own block again
    EXPECT_EQ(BlockSize(kept), 4u);
    // A null text clears but keeps the block.
    text.ReadLine(nullptr, '\n');
    EXPECT_FALSE(text.SetBuffer(nullptr, 4, 0));
    ExpectState(text, kept, 0, 4, kept);
    EXPECT_EQ(kept[0], '\0');
    size_t capacity = 0;
    EXPECT_EQ(text.ReleaseBuffer(&capacity), kept);
    EXPECT_EQ(capacity, 4u);
    ExpectState(text, nullptr, 0, 0, nullptr);
    EXPECT_EQ(text.ReadLine(nullptr, '\n'), nullptr);
    EXPECT_EQ(text.ReleaseBuffer(&capacity), nullptr);
    EXPECT_EQ(capacity, 0u);
  }
  EXPECT_EQ(BlockSize(kept), 4u);  // the destructor left the released block alone
  ky_free(kept);
}

TEST(TextBuffer, ExtendKeepsTheCursorWhenTheBlockMoves) {
  AllocScope scope;
  ky::TextBuffer text(7);
  ASSERT_TRUE(text.SetBuffer(Block("first\nsecond\n\0"s), 0, 0));
  ASSERT_NE(text.ReadLine(nullptr, '\n'), nullptr);
  // Large enough that the block cannot grow where it is in most allocators.
  ASSERT_TRUE(text._ExtendBuffer(1 << 20));
  const size_t capacity = (1u << 20) + 13 + 7 + 1;  // length + more + growBy + 1
  EXPECT_EQ(BlockSize(text.GetBuffer()), capacity);
  EXPECT_EQ(ReadAll(text, '\n'), Lines{"second\n"});
  // Failure, or a size that would overflow, changes nothing.
  char* before = text.GetBuffer();
  FailRequest(1);
  EXPECT_FALSE(text._ExtendBuffer(1));
  EXPECT_FALSE(text._ExtendBuffer(SIZE_MAX - 5));
  ExpectState(text, before, 13, capacity, before + 13);
  // Without a block, an empty one is made.
  ky::TextBuffer empty(4);
  ASSERT_TRUE(empty._ExtendBuffer(3));
  ASSERT_NE(empty.GetBuffer(), nullptr);
  ExpectState(empty, empty.GetBuffer(), 0, 8, empty.GetBuffer());
  EXPECT_EQ(empty.ReadLine(nullptr, '\n'), nullptr);
}

// The text ends at the first NUL byte; the block holds the whole file and a
// terminator. A file of many megabytes takes the path that advises huge pages:
// every byte must still arrive in place.
TEST(TextBuffer, LoadFile) {
  ScratchDir dir;
  const std::string path = dir / "file";
  std::string big(9u << 20, 'x');
  for (size_t i = 0; i < big.size(); i += 4093) big[i] = '\n';
  AllocScope scope;
  ky::TextBuffer text(0);
  for (const std::string& content : {"one\n\nthree"s, "ab\0cd"s, ""s, big}) {
    std::ofstream(path, std::ios::binary) << content;
    ASSERT_TRUE(text.LoadFile(path.c_str()));
    char* block = text.GetBuffer();
    ExpectState(text, block, std::min(content.size(), content.find('\0')), content.size() + 1,
                block);
    EXPECT_EQ(BlockSize(block), content.size() + 1);
    EXPECT_TRUE(std::string(block, content.size() + 1) == content + '\0');
    EXPECT_EQ(scope.Taken(), 1u);  // each load replaced the block before it
  }
}

TEST(TextBuffer, FailedLoadLeavesTheObjectClearedAndUsable) {
  ScratchDir dir;
  const std::string path = dir / "lines";
  std::ofstream(path, std::ios::binary) << "a\nb\n";
  AllocScope scope;
  ky::TextBuffer text(0);
  // No memory, no file, a directory.
  for (const std::string& p : {path, dir / "missing", dir.path}) {
    SCOPED_TRACE(p);
    ASSERT_TRUE(text.LoadFile(path.c_str()));
    text.ReadLine(nullptr, '\n');  // cursor mid-text
    char* block = text.GetBuffer();
    if (p == path) FailRequest(1);
    EXPECT_FALSE(text.LoadFile(p.c_str()));
    ExpectState(text, block, 0, 5, block);
    EXPECT_EQ(text.ReadLine(nullptr, '\n'), nullptr);
    EXPECT_EQ(scope.Taken(), 1u);
  }
  EXPECT_FALSE(text.LoadFile(nullptr));
  ASSERT_TRUE(text.LoadFile(path.c_str()));
  EXPECT_EQ(ReadAll(text, '\n'), (Lines{"a\n", "b\n"}));
}

}  // namespace
